#include "gridlayoutservice.h"

#include "data/schema.h"
#include "platform/database/connection.h"
#include "platform/grid/flexgrid.h"
#include "platform/runtime/errors.h"
#include "platform/ui/units.h"

#include <QEvent>
#include <QHeaderView>
#include <QPointer>
#include <QSet>

#include <cstdio>

namespace suite {

namespace {

const QString Source = QStringLiteral("GridLayout.GridLayoutService");
const QString Table = QLatin1String(agr::schema::table::GridSettings);

// Lives as a child of the grid. Programmatic width changes also emit sectionResized, so only resizes
// between a press (or double-click) on the header and the release are the user's; they are written once,
// at the release, rather than on every step of the drag.
class WidthRecorder : public QObject
{
    Q_OBJECT
public:
    static constexpr char Name[] = "gridLayoutWidthRecorder";

    explicit WidthRecorder(platform::FlexGrid *grid) : QObject(grid), m_grid(grid)
    {
        setObjectName(QLatin1String(Name));
        QHeaderView *header = grid->horizontalHeader();
        header->viewport()->installEventFilter(this);
        connect(header, &QHeaderView::sectionResized, this, [this](int column, int, int) {
            if (m_userResizing)
                m_pending.insert(column);
        });
    }

    void bind(qint16 userId, qint16 companyId, platform::Connection *connection)
    {
        m_userId = userId;
        m_companyId = companyId;
        m_connection = connection;
    }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        switch (event->type()) {
        case QEvent::MouseButtonPress:
        case QEvent::MouseButtonDblClick:
            m_userResizing = true;
            break;
        case QEvent::MouseButtonRelease:
            m_userResizing = false;
            store();
            break;
        default:
            break;
        }
        return QObject::eventFilter(watched, event);
    }

private:
    void store()
    {
        const QSet<int> columns = std::exchange(m_pending, {});
        if (columns.isEmpty() || !m_connection || !m_connection->isOpen())
            return;
        // A width that cannot be kept is not worth an error box in the middle of a drag: say so and go on.
        platform::Trap(
            [&] {
                platform::Command remove(*m_connection);
                remove.setCommandText(QStringLiteral("delete from ") + Table +
                                      QStringLiteral(" where UserID=? and CompanyID=? and GridName=?"
                                                     " and ColumnIndex=?"));
                remove.ParametersRefresh();
                platform::Command insert(*m_connection);
                insert.setCommandText(
                    QStringLiteral("insert into ") + Table +
                    QStringLiteral(" (UserID, CompanyID, GridName, ColumnIndex, ColumnWidth)"
                                   " values (?,?,?,?,?)"));
                insert.ParametersRefresh();
                const QString gridName = m_grid->objectName();
                for (const int column : columns) {
                    if (column >= m_grid->Cols())
                        continue;
                    remove.Execute({m_userId, m_companyId, gridName, column});
                    // The header's own size: the user's drag has not necessarily reached the grid's store.
                    const int twips =
                        platform::pixelsToTwips(m_grid->horizontalHeader()->sectionSize(column), m_grid);
                    insert.Execute({m_userId, m_companyId, gridName, column, twips});
                }
            },
            [](const platform::RuntimeError &e) {
                std::fprintf(stderr, "%s: column width not stored: %s\n", qPrintable(Source), e.what());
            });
    }

    platform::FlexGrid *m_grid;
    QPointer<platform::Connection> m_connection;
    qint16 m_userId = 0;
    qint16 m_companyId = 0;
    bool m_userResizing = false;
    QSet<int> m_pending;
};

} // namespace

GridLayoutService::GridLayoutService(QObject *parent) : QObject(parent) {}

void GridLayoutService::fnGridSettings(qint16 userId, qint16 companyId, platform::FlexGrid *grid,
                                       platform::Connection *&connection)
{
    if (!grid || !connection)
        platform::Raise(platform::err::ObjectRequired, Source, QStringLiteral("Object required"));

    platform::Command select(*connection);
    select.setCommandText(QStringLiteral("select ColumnIndex, ColumnWidth from ") + Table +
                          QStringLiteral(" where UserID=? and CompanyID=? and GridName=?"));
    select.ParametersRefresh();
    platform::Recordset rs = select.Execute({userId, companyId, grid->objectName()});
    for (; !rs.isEOF(); rs.MoveNext()) {
        const int column = rs.Fields(0).toLong();
        const int width = rs.Fields(1).toLong();
        if (column < 0 || column >= grid->Cols() || width <= 0 || grid->ColWidth(column) == 0)
            continue;
        grid->setColWidth(column, width);
    }

    auto *recorder =
        grid->findChild<WidthRecorder *>(QLatin1String(WidthRecorder::Name), Qt::FindDirectChildrenOnly);
    if (!recorder)
        recorder = new WidthRecorder(grid);
    recorder->bind(userId, companyId, connection);
}

} // namespace suite

#include "gridlayoutservice.moc"
