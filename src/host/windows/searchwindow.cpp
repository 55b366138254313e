#include "host/windows/searchwindow.h"

#include "platform/database/connection.h"
#include "platform/grid/flexgrid.h"
#include "platform/ui/seams.h"
#include "platform/ui/units.h"

#include <QApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QTimer>
#include <QVBoxLayout>

#include <optional>

namespace host {

namespace {

int col(FindCol column)
{
    return static_cast<int>(column);
}

} // namespace

SearchWindow::SearchWindow(SearchThread &searches, Select select, QWidget *parent)
    : QDialog(parent), m_searches(searches), m_select(std::move(select)), m_slow(new QTimer(this))
{
    setObjectName(QStringLiteral("frmFindAgreements"));
    setWindowTitle(QStringLiteral("Find agreements"));
    txtFind = new QLineEdit(this);
    txtFind->setObjectName(QStringLiteral("txtFind"));
    txtFind->setPlaceholderText(QStringLiteral("words, \"a phrase\", a prefix*"));
    lblStatus = new QLabel(this);
    lblStatus->setObjectName(QStringLiteral("lblStatus"));
    mfgHits = new platform::FlexGrid(this);
    mfgHits->setObjectName(QStringLiteral("mfgHits"));
    mfgHits->setCols(4);
    mfgHits->setFixedCols(0);
    mfgHits->setRows(1);
    mfgHits->setFormatString(QStringLiteral("<Agreement No|<Description|<Where|<Found"));
    mfgHits->setColWidth(col(FindCol::Number), 1400);
    mfgHits->setColWidth(col(FindCol::Description), 3600);
    mfgHits->setColWidth(col(FindCol::Where), 2400);
    mfgHits->setColWidth(col(FindCol::Excerpt), 5200);
    mfgHits->setSelMode(1);

    // An answer within a moment replaces the hits at once; a later one is announced, so that the clerk
    // never reads the old hits as the new ones.
    m_slow->setSingleShot(true);
    m_slow->setInterval(150);
    connect(m_slow, &QTimer::timeout, this, [this] { lblStatus->setText(QStringLiteral("Searching...")); });
    connect(&m_searches, &SearchThread::answered, this, &SearchWindow::showAnswer);
    connect(txtFind, &QLineEdit::textChanged, this, &SearchWindow::refresh);
    connect(txtFind, &QLineEdit::returnPressed, this, &SearchWindow::choose);
    connect(mfgHits, &platform::FlexGrid::KeyPress, this, [this](qint16 &keyAscii) {
        if (keyAscii == platform::key::Enter) {
            keyAscii = 0;
            choose();
        }
    });
    connect(mfgHits, &platform::FlexGrid::DblClick, this, &SearchWindow::choose);

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(txtFind);
    layout->addWidget(mfgHits, 1);
    layout->addWidget(lblStatus);
    resize(platform::twipsToPixels(12800, this), 420);
    txtFind->setFocus();
}

void SearchWindow::refresh()
{
    const QString text = txtFind->text();
    m_chooseWhenAnswered = false;
    m_wanted = 0;
    m_answered = false;
    m_slow->stop();
    const SearchQuery query = parseSearch(text, true);
    if (text.trimmed().isEmpty() || !query.refusal.isEmpty()) {
        showAnswer({});
        lblStatus->setText(text.trimmed().isEmpty() ? QString() : query.refusal);
        return;
    }
    m_wanted = m_searches.ask(query);
    m_slow->start();
}

void SearchWindow::showAnswer(const SearchAnswer &answer)
{
    if (answer.ticket != m_wanted)
        return;
    // The weighed answer replacing a sample keeps the agreement the clerk has chosen, where it is among
    // its hits.
    const int row = mfgHits->Row();
    const std::optional<SearchHit> chosen = m_answered && row >= 1 && row <= m_hits.size()
                                                ? std::optional<SearchHit>(m_hits.at(row - 1))
                                                : std::nullopt;
    m_answered = true;
    m_slow->stop();
    m_hits = answer.result.hits;
    // No hits leave the heading alone, rather than a blank row that looks chosen.
    mfgHits->setRows(int(m_hits.size()) + 1);
    int keep = 1;
    for (int i = 0; i < m_hits.size(); ++i) {
        const SearchHit &hit = m_hits.at(i);
        const SearchMatch match = hit.matches.value(0);
        mfgHits->setTextMatrix(i + 1, col(FindCol::Number), hit.number);
        mfgHits->setTextMatrix(i + 1, col(FindCol::Description),
                               hit.description +
                                   (hit.cancelled ? QStringLiteral(" (cancelled)") : QString()));
        mfgHits->setTextMatrix(i + 1, col(FindCol::Where), placeCaption(match));
        mfgHits->setTextMatrix(i + 1, col(FindCol::Excerpt), match.excerpt);
        if (chosen && hit.departmentId == chosen->departmentId && hit.agreementId == chosen->agreementId)
            keep = i + 1;
    }
    if (!m_hits.isEmpty()) {
        mfgHits->setRow(keep);
        mfgHits->setCol(0);
        mfgHits->setColSel(mfgHits->Cols() - 1);
    }
    if (keep > 1)
        mfgHits->ensureRowVisible(keep);
    if (!answer.failure.isEmpty())
        lblStatus->setText(QStringLiteral("The search failed: ") + answer.failure);
    else if (m_hits.isEmpty())
        lblStatus->setText(QStringLiteral("No agreement of the department holds that."));
    else if (answer.sample)
        lblStatus->setText(QStringLiteral("%1 of %2 agreements found first (%3 ms); best first in a moment")
                               .arg(m_hits.size())
                               .arg(answer.result.total)
                               .arg(answer.ms));
    else
        lblStatus->setText(
            QStringLiteral("%1 of %2 agreements, best first (%3 ms)%4")
                .arg(m_hits.size())
                .arg(answer.result.total)
                .arg(answer.ms)
                .arg(answer.result.partial ? QStringLiteral("; a word is very common") : QString()));
    if (m_chooseWhenAnswered) {
        m_chooseWhenAnswered = false;
        choose();
    }
}

void SearchWindow::choose()
{
    if (searching()) {
        m_chooseWhenAnswered = true;
        return;
    }
    const int row = mfgHits->Row();
    if (row < 1 || row > m_hits.size())
        return;
    QString why;
    if (m_select && !m_select(m_hits.at(row - 1), why)) {
        lblStatus->setText(why);
        return;
    }
    accept();
}

ListSearchShortcut::ListSearchShortcut(platform::Connection &con, qint16 department,
                                       std::function<void()> scansStored)
    : m_con(con), m_department(department), m_scansStored(std::move(scansStored))
{
    qApp->installEventFilter(this);
}

ListSearchShortcut::~ListSearchShortcut()
{
    qApp->removeEventFilter(this);
}

bool ListSearchShortcut::selectInList(QWidget *list, const SearchHit &hit, QString &why)
{
    auto *grid = list ? list->findChild<platform::FlexGrid *>(QStringLiteral("mfgMaster")) : nullptr;
    if (!grid) {
        why = QStringLiteral("The agreement list is not open.");
        return false;
    }
    const QString id = QString::number(hit.agreementId);
    for (int row = grid->FixedRows(); row < grid->Rows(); ++row) {
        if (grid->TextMatrix(row, 0) == id && !grid->TextMatrix(row, 1).isEmpty()) {
            grid->setRow(row);
            grid->setCol(0);
            grid->setColSel(grid->Cols() - 1);
            grid->ensureRowVisible(row);
            grid->setFocus();
            return true;
        }
    }
    why = QStringLiteral("%1 is not in the list: it is dated before the list's first day.").arg(hit.number);
    return false;
}

bool ListSearchShortcut::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::Hide && m_scansStored &&
        watched->objectName() == QLatin1String("FrmScanCopies")) {
        m_scansStored();
        return false;
    }
    if (event->type() != QEvent::KeyPress || m_open)
        return false;
    auto *key = static_cast<QKeyEvent *>(event);
    if (key->key() != Qt::Key_F || key->modifiers() != (Qt::ControlModifier | Qt::ShiftModifier))
        return false;
    auto *widget = qobject_cast<QWidget *>(watched);
    QWidget *list = widget ? widget->window() : nullptr;
    if (!list || list->objectName() != QLatin1String("FrmMaster"))
        return false;
    m_open = true;
    if (!m_searches)
        m_searches = std::make_unique<SearchThread>(m_con.url(), QList<int>{m_department});
    SearchWindow window(*m_searches,
                        [list](const SearchHit &hit, QString &why) { return selectInList(list, hit, why); });
    platform::showModal(&window, list);
    m_open = false;
    return true;
}

} // namespace host
