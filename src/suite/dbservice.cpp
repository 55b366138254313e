#include "dbservice.h"

#include "platform/runtime/errors.h"

#include <QComboBox>
#include <QDate>
#include <QDateTime>
#include <QListWidget>
#include <QRegularExpression>
#include <QSignalBlocker>
#include <QTreeWidget>

namespace suite {

namespace {

const QString Source = QStringLiteral("SharedCore.DbService");

bool carriesWhere(const QString &tableName)
{
    static const QRegularExpression where(QStringLiteral("\\bwhere\\b"),
                                          QRegularExpression::CaseInsensitiveOption);
    return where.match(tableName).hasMatch();
}

// A text as an SQL string literal.
QString quoted(const QString &text)
{
    QString literal = text;
    literal.replace(QLatin1Char('\''), QStringLiteral("''"));
    return QLatin1Char('\'') + literal + QLatin1Char('\'');
}

bool isSerialNumber(const QString &expression)
{
    return expression.trimmed().compare(QLatin1String("slno"), Qt::CaseInsensitive) == 0;
}

bool isAmount(const QString &expression)
{
    return expression.trimmed().endsWith(QLatin1String("amount"), Qt::CaseInsensitive);
}

// How one value reads in the payment list: dates as dd/mm/yyyy, amounts with two decimals.
QString listText(const platform::Field &field, bool amount)
{
    const QVariant &value = field.Value();
    if (field.isNull())
        return QString();
    switch (value.metaType().id()) {
    case QMetaType::QDate:
        return value.toDate().toString(QStringLiteral("dd/MM/yyyy"));
    case QMetaType::QDateTime:
        return value.toDateTime().date().toString(QStringLiteral("dd/MM/yyyy"));
    default:
        break;
    }
    if (amount) {
        bool numeric = false;
        const double number = value.toDouble(&numeric);
        if (numeric)
            return QString::number(number, 'f', 2);
    }
    return field.joinEmpty();
}

} // namespace

DbService::DbService(QObject *parent) : QObject(parent) {}

void DbService::setAdocon(platform::Connection *connection)
{
    m_connection = connection;
}

platform::Connection *DbService::adocon() const
{
    return m_connection.data();
}

void DbService::setStrTableName(const QString &table)
{
    m_tableName = table;
}

QString DbService::strTableName() const
{
    return m_tableName;
}

platform::Connection &DbService::connection() const
{
    return *platform::required(m_connection.data(), Source,
                               QStringLiteral("Object required: adocon is not set"));
}

QString DbService::fromClause(const QString &where) const
{
    QString from = QStringLiteral(" from ") + m_tableName;
    if (!where.trimmed().isEmpty())
        from += (carriesWhere(m_tableName) ? QStringLiteral(" and ") : QStringLiteral(" where ")) + where;
    return from;
}

QVariant DbService::fnReturnField(const QString &field, const QString &where)
{
    platform::Recordset rs = connection().Execute(QStringLiteral("select ") + field + fromClause(where));
    if (rs.isEOF())
        return QVariant();
    return rs.Fields(0).Value();
}

platform::Connection &DbService::drawingConnection()
{
    platform::Connection &con = connection();
    // Outside a transaction each statement commits at once. On SQLite a caller's open transaction holds
    // the only write lock, so nobody can draw meanwhile; on a server the counter row would stay locked
    // (and go back on a rollback) until the caller ends its transaction, so the key is drawn on a
    // connection of the service's own.
    if (con.transactionLevel() == 0 || con.backend() == platform::Backend::SQLite)
        return con;
    if (!m_ownConnection || !m_ownConnection->isOpen() || m_ownConnection->url() != con.url()) {
        m_ownConnection = std::make_unique<platform::Connection>();
        m_ownConnection->Open(con.url());
    }
    return *m_ownConnection;
}

qint32 DbService::fnGetNextMaxNo(const QString &keyColumn)
{
    platform::Connection &con = drawingConnection();
    // One statement, so the database serialises the callers on the counter row: the row starts one above
    // the largest stored key and then moves on by one, but never stays at or below the largest stored key
    // (keys written by other means count too). A value once handed out is not handed out again, even when
    // its save stops. The where clause also keeps SQLite from reading "on conflict" as a join.
    const QString fresh = QStringLiteral("select ") + quoted(m_tableName.simplified().toLower()) +
                          QLatin1Char(',') + quoted(keyColumn.simplified().toLower()) +
                          QStringLiteral(",isnull(max(") + keyColumn + QStringLiteral("),0)+1") +
                          fromClause(QStringLiteral("1=1"));
    platform::Recordset rs = con.Execute(
        QStringLiteral("insert into aKeyCounters (TableName,KeyColumn,LastValue) ") + fresh +
        QStringLiteral(" on conflict (TableName,KeyColumn) do update set LastValue=case when "
                       "aKeyCounters.LastValue>=excluded.LastValue then aKeyCounters.LastValue+1 else "
                       "excluded.LastValue end returning LastValue"));
    return rs.Fields(0).toLong();
}

void DbService::populateComboorList(QWidget *comboOrList, const QString &keyColumn,
                                    const QString &displayColumn, const QString &where)
{
    auto *combo = qobject_cast<QComboBox *>(comboOrList);
    auto *list = qobject_cast<QListWidget *>(comboOrList);
    if (!combo && !list)
        platform::Raise(platform::err::ObjectRequired, Source,
                        QStringLiteral("Object required: a combo box or list box to fill"));

    platform::Recordset rs = connection().Execute(QStringLiteral("select ") + keyColumn + QLatin1Char(',') +
                                                  displayColumn + fromClause(where));
    // Filling is not a pick: the form's click handlers stay quiet and nothing ends up selected.
    const QSignalBlocker blocker(comboOrList);
    if (combo) {
        combo->clear();
        for (; !rs.isEOF(); rs.MoveNext())
            combo->addItem(rs.Fields(1).joinEmpty(), rs.Fields(0).Value());
        combo->setCurrentIndex(-1);
    } else {
        list->clear();
        for (; !rs.isEOF(); rs.MoveNext()) {
            auto *item = new QListWidgetItem(rs.Fields(1).joinEmpty(), list);
            item->setData(Qt::UserRole, rs.Fields(0).Value());
        }
        list->setCurrentRow(-1);
    }
}

void DbService::PopulateListviewlvwPayment(QTreeWidget *listView, const QString &tables, QString &criterion,
                                           const QString &col1, const QString &col2, const QString &col3,
                                           const QString &col4, const QString &col5, const QString &col6)
{
    platform::required(listView, Source, QStringLiteral("Object required: the list view to fill"));

    const QStringList expressions{col1, col2, col3, col4, col5, col6};
    // "slno" is not a column: the rows are numbered here. fieldOf maps each list column to its field.
    QStringList selected;
    QList<int> fieldOf;
    for (const QString &expression : expressions) {
        if (isSerialNumber(expression)) {
            fieldOf.append(-1);
        } else {
            fieldOf.append(int(selected.size()));
            selected.append(expression);
        }
    }
    if (selected.isEmpty())
        selected.append(QStringLiteral("1"));

    QString sql =
        QStringLiteral("select ") + selected.join(QLatin1Char(',')) + QStringLiteral(" from ") + tables;
    if (!criterion.trimmed().isEmpty())
        sql += QStringLiteral(" where ") + criterion;
    platform::Recordset rs = connection().Execute(sql);

    listView->clear();
    if (listView->columnCount() < expressions.size())
        listView->setColumnCount(int(expressions.size()));
    for (int serial = 1; !rs.isEOF(); rs.MoveNext(), ++serial) {
        auto *item = new QTreeWidgetItem(listView);
        for (int column = 0; column < expressions.size(); ++column) {
            const int field = fieldOf.at(column);
            const bool amount = isAmount(expressions.at(column));
            item->setText(column, field < 0 ? QString::number(serial) : listText(rs.Fields(field), amount));
            if (amount)
                item->setTextAlignment(column, Qt::AlignRight | Qt::AlignVCenter);
        }
    }
}

} // namespace suite
