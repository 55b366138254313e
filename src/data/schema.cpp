#include "schema.h"

#include "access.h"
#include "searchindex.h"

#include "platform/database/connection.h"
#include "platform/database/dialect.h"
#include "platform/runtime/errors.h"

#include <QDateTime>
#include <QSqlDatabase>
#include <QSqlRecord>
#include <QUuid>

#include <algorithm>
#include <vector>

namespace agr::schema {

namespace {

using platform::ColumnType;

struct Column
{
    const char *name;
    ColumnType type;
    const char *extra = ""; // NOT NULL, DEFAULT ...
};

// The keys of the detail lines: NOT NULL in the engine's form for tables that the search index's row
// triggers watch and that a save writes a line per statement (Dialect::notNullOfWatchedRows). The other
// columns of a table with such keys take that form too (Dialect::columnOfWatchedRows).
const char WatchedKey[] = "NOT NULL";

struct Table
{
    const char *name;
    std::vector<Column> columns;
    const char *constraint = nullptr;       // inside CREATE TABLE, after the columns
    std::vector<const char *> indexes = {}; // column lists, one CREATE INDEX each
};

constexpr ColumnType SmallInt = ColumnType::SmallInt;
constexpr ColumnType Integer = ColumnType::Integer;
constexpr ColumnType Double = ColumnType::Double;
constexpr ColumnType Text = ColumnType::Text;
constexpr ColumnType Date = ColumnType::Date;
constexpr ColumnType DateTime = ColumnType::DateTime;
constexpr ColumnType Blob = ColumnType::Blob;
constexpr ColumnType Identity = ColumnType::Identity;

// Column names are the register's own, misspellings included (agwPostion, agwWitenessAddress,
// pddAgrrementTransID); statements name them in any case, so they are created unquoted.
const std::vector<Table> &tables()
{
    static const std::vector<Table> all = {
        // The register's own tables.
        {"agreementregister",
         {{"agragreementid", Integer, "NOT NULL"},
          {"agrDepartmentid", SmallInt, "NOT NULL"},
          {"agragreementNo", Text},
          {"agragreementdate", Date},
          {"agragreementdesc", Text},
          {"agragreementtype", Text},
          {"agrapplicableshopid", Integer},
          {"agrapplicablegodownid", Integer},
          {"agrapplicableTo", Text},
          {"agrValidFromdate", Date},
          {"agrValidTodate", Date},
          {"agrSigneddate", Date},
          {"agrwithCustomerid", Integer},
          {"agrwithsupplierid", Integer},
          {"agragreementwith", Text},
          {"agrAgencyHOaddress", Text},
          {"agrAgencyContactNo", Text},
          {"agrAgencyEmailid", Text},
          {"agragencyfindepaddress", Text},
          {"agrfinancecontactNo", Text},
          {"agrfinanceEmailid", Text},
          {"agrLawyer", Text},
          {"agrPhysicalfileLOC", Text},
          {"agrReferenceNo", Text},
          {"agrNoofPages", Double},
          {"agrPointofContact", Text},
          {"agrPOCaddress", Text},
          {"agrPOCcontactNo", Text},
          {"agrPOCdesignation", Text},
          {"agrPOCemailid", Text},
          {"alertnoofdays", Double},
          {"alertremarks", Text},
          // The save never writes it, so a new agreement starts live.
          {"agrcancelled", SmallInt, "NOT NULL DEFAULT 0"}},
         "UNIQUE (agrDepartmentid, agragreementid)",
         // The list reads from a date on; what is due for renewal is found from a valid-to date on.
         {"agrDepartmentid, agragreementdate", "agrDepartmentid, agrValidTodate"}},
        {"AgreementDetails",
         {{"agdAgreementid", Integer, WatchedKey},
          {"agdDepartmentid", SmallInt, WatchedKey},
          {"agdDetailid", Integer},
          {"agdDetails", Text}},
         nullptr,
         {"agdDepartmentid, agdAgreementid"}},
        {"AgreementSignedDetails",
         {{"agsagreementid", Integer, WatchedKey},
          {"agsDepartmentid", SmallInt, WatchedKey},
          {"agsDetailid", Integer},
          {"agsSignedBy", Text},
          {"agsPosition", Text},
          {"agsSignedDate", Date},
          {"agsAgency", SmallInt}},
         nullptr,
         {"agsDepartmentid, agsagreementid"}},
        {"AgreementWitnessDetails",
         {{"agwAgreementid", Integer, WatchedKey},
          {"agwDepartmentid", SmallInt, WatchedKey},
          {"agwDetailid", Integer},
          {"agwSignedBy", Text},
          {"agwPostion", Text},
          {"agwSignedDate", Date},
          {"agwWitenessAddress", Text},
          {"agwAgency", SmallInt}},
         nullptr,
         {"agwDepartmentid, agwAgreementid"}},
        {"AgreementFinancialDetails",
         {{"agfAgreementid", Integer, WatchedKey},
          {"agfDepartmentid", SmallInt, WatchedKey},
          {"agffinanceDetailid", Integer},
          {"agffinanceDetail", Text}},
         nullptr,
         {"agfDepartmentid, agfAgreementid"}},
        {"AgreementContents",
         {{"agcAgreementid", Integer, WatchedKey},
          {"agcDepartmentid", SmallInt, WatchedKey},
          {"agcDetailid", Integer},
          {"agcContentdesc", Text}},
         nullptr,
         {"agcDepartmentid, agcAgreementid"}},
        // Scanned copies are read and deleted by agreement id alone.
        {"AgreementScanCopyDetails",
         {{"agsCompanyID", Integer},
          {"agsAgreementID", Integer, "NOT NULL"},
          {"agsDepartmentID", SmallInt},
          {"agsDetailID", Integer},
          {"agsAgreementName", Text},
          {"agsDocuments", Blob}},
         nullptr,
         {"agsAgreementID"}},

        // The suite's masters, which the register reads and never writes.
        {"acompanymaster", {{"CompanyID", Integer, "NOT NULL PRIMARY KEY"}, {"CompanyName", Text}}},
        {"adepartmentmaster",
         {{"DepartmentID", Integer, "NOT NULL PRIMARY KEY"},
          {"CompanyID", Integer},
          {"DepartmentName", Text}}},
        {"aFinancialYear",
         {{"FinancialId", Integer, "NOT NULL PRIMARY KEY"},
          {"FinancialYear", Text},
          {"FromDate", Date},
          {"ToDate", Date},
          {"CurFinancialYear", SmallInt, "NOT NULL DEFAULT 0"}}},
        {"aPrefix",
         {{"PrefixID", Identity},
          {"Prefix", Text},
          {"CompanyID", Integer},
          {"InterfaceID", Integer},
          {"FinancialId", Integer}}},
        {"acustomermaster",
         {{"customerid", Integer, "NOT NULL PRIMARY KEY"}, {"customername", Text}, {"CompanyID", Integer}}},
        {"avendormaster",
         {{"vendorid", Integer, "NOT NULL PRIMARY KEY"}, {"vendorname", Text}, {"CompanyID", Integer}}},
        {"ashops", {{"shopid", Integer, "NOT NULL PRIMARY KEY"}, {"shopname", Text}, {"CompanyID", Integer}}},
        {"agodown",
         {{"godownid", Integer, "NOT NULL PRIMARY KEY"}, {"godownname", Text}, {"CompanyID", Integer}}},
        {"aUsers", {{"userid", Integer, "NOT NULL PRIMARY KEY"}, {"UserName", Text}, {"CompanyID", Integer}}},
        {"aUserRights",
         {{"userid", Integer, "NOT NULL"}, {"interfaceid", Integer, "NOT NULL"}, {"FunctionRights", Text}},
         "UNIQUE (userid, interfaceid)"},
        {"aPackageSettings", {{"BackNoOfDays", Integer}}},
        {"atables", {{"tableid", Integer, "NOT NULL PRIMARY KEY"}, {"tablename", Text}}},
        // The list reads the columns without ORDER BY, so they are inserted in grid order; columnorder
        // records that order for anyone who needs to sort.
        {"atablecolumns",
         {{"tableid", Integer, "NOT NULL"},
          {"columnorder", Integer, "NOT NULL"},
          {"columnheader", Text},
          {"columnname", Text}}},
        {"aHqPaymentVoucherHeader",
         {{"phpaymentId", Integer, "NOT NULL PRIMARY KEY"},
          {"CompanyID", Integer},
          {"phPaymentNo", Text},
          {"phPaymentDate", Date},
          {"phRemarks", Text},
          {"phPayee", Text},
          {"phAmount", Double}}},
        {"aHQpaymentvoucherdebitdetails",
         {{"PddPaymentID", Integer, "NOT NULL"},
          {"pddDetailID", Integer},
          {"pddAgrrementTransID", Integer},
          {"pddAmount", Double}},
         nullptr,
         {"pddAgrrementTransID"}},

        // The stand-alone services' own tables.
        {table::ActivityLog,
         {{"LogID", Identity},
          {"CompanyID", Integer},
          {"DepartmentID", SmallInt},
          {"UserID", Integer},
          {"InterfaceID", Integer},
          {"AgreementID", Double},
          {"AgreementNo", Text},
          {"ActionCode", Text},
          {"FormName", Text},
          {"ActionDateTime", DateTime},
          // Each row's SHA-256 over its content and the previous row's hash, in hex.
          {"PrevHash", Text},
          {"RowHash", Text}}},
        {table::FaultLog,
         {{"FaultID", Identity},
          {"FormName", Text},
          {"UserName", Text},
          {"ProcedureName", Text},
          {"ErrorNumber", Integer},
          {"ErrorSource", Text},
          {"ErrorDescription", Text},
          {"EntryMode", Text},
          {"LoggedAt", DateTime}}},
        {table::GridSettings,
         {{"UserID", Integer, "NOT NULL"},
          {"CompanyID", Integer, "NOT NULL"},
          {"GridName", Text, "NOT NULL"},
          {"ColumnIndex", Integer, "NOT NULL"},
          {"ColumnWidth", Integer}},
         "UNIQUE (UserID, CompanyID, GridName, ColumnIndex)"},
        // The database service draws keys here, one row per table and key column, so that two callers
        // never receive the same value.
        {table::KeyCounters,
         {{"TableName", Text, "NOT NULL"},
          {"KeyColumn", Text, "NOT NULL"},
          {"LastValue", Integer, "NOT NULL"}},
         "PRIMARY KEY (TableName, KeyColumn)"},

        // The full-text index (searchindex.cpp): one row per indexed text of an agreement, the page text read
        // from scanned copies by the hash of their bytes, and the copies whose text is still to be read.
        {table::SearchRows,
         {{"RowID", Identity},
          {"DepartmentID", SmallInt},
          {"AgreementID", Integer, "NOT NULL"},
          {"Place", Text, "NOT NULL"},
          {"DetailID", Integer},
          {"Label", Text},
          {"Body", Text}},
         nullptr,
         // The second: a scanned copy's rows are found by its agreement alone, as the copies are.
         {"DepartmentID, AgreementID, Place", "AgreementID, Place"}},
        // The index's words (on SQLite under department 0, for all): a typed prefix is looked up here.
        {table::SearchWords, {{"DepartmentID", SmallInt, "NOT NULL"}, {"Word", Text, "NOT NULL"}}},
        {table::ScanText,
         {{"Sha256", Text, "NOT NULL PRIMARY KEY"},
          {"Body", Text},
          {"Confidence", Double},
          {"Languages", Text},
          {"ReadAt", DateTime}}},
        {table::ScanUnread,
         {{"QueueID", Identity}, {"AgreementID", Integer, "NOT NULL"}, {"DetailID", Integer}},
         nullptr,
         {"AgreementID, DetailID"}},

        // Who may use the register: a database login, the users it may act as and its departments.
        {table::LoginUsers,
         {{"LoginName", Text, "NOT NULL"}, {"UserID", Integer, "NOT NULL"}},
         "UNIQUE (LoginName, UserID)"},
        {table::LoginDepartments,
         {{"LoginName", Text, "NOT NULL"}, {"DepartmentID", SmallInt, "NOT NULL"}},
         "UNIQUE (LoginName, DepartmentID)"},

        // The host's own: the state of each renewal alert, one row per agreement, valid-to date and alert
        // days (a change of either arms a new one), with the history of what was done with it; the last
        // processing date on which a department's alerts were evaluated, so that days nobody ran are caught
        // up; the day until which a login put the renewal window aside; the calendar's sequence numbers.
        {table::RenewalAlerts,
         {{"AlertID", Identity},
          {"DepartmentID", SmallInt, "NOT NULL"},
          {"AgreementID", Integer, "NOT NULL"},
          {"ValidTo", Date, "NOT NULL"},
          {"AlertDays", Double, "NOT NULL"},
          {"DueDate", Date, "NOT NULL"},
          {"RaisedOn", Date, "NOT NULL"},
          {"State", Text, "NOT NULL"},
          {"StateBy", Text},
          {"StateAt", DateTime},
          {"SnoozedUntil", Date},
          {"EscalatedOn", Date}},
         "UNIQUE (DepartmentID, AgreementID, ValidTo, AlertDays)",
         // Each evaluation reads the alerts still wanting something; done and closed ones pile up.
         {"DepartmentID, State"}},
        {table::RenewalAlertHistory,
         {{"AlertID", Integer, "NOT NULL"},
          {"DepartmentID", SmallInt, "NOT NULL"},
          {"Action", Text, "NOT NULL"},
          {"LoginName", Text},
          {"ActedAt", DateTime},
          {"ProcessDate", Date},
          {"SnoozedUntil", Date},
          {"Note", Text}},
         nullptr,
         {"AlertID"}},
        {table::RenewalAlertRuns,
         {{"DepartmentID", SmallInt, "NOT NULL PRIMARY KEY"}, {"LastProcessDate", Date, "NOT NULL"}}},
        {table::RenewalSnoozes,
         {{"LoginName", Text, "NOT NULL"},
          {"DepartmentID", SmallInt, "NOT NULL"},
          {"SnoozedUntil", Date, "NOT NULL"}},
         "PRIMARY KEY (LoginName, DepartmentID)"},
        {table::RenewalCalendar,
         {{"DepartmentID", SmallInt, "NOT NULL"},
          {"AgreementID", Integer, "NOT NULL"},
          {"ValidTo", Date, "NOT NULL"},
          {"AlertDays", Double, "NOT NULL"},
          {"Sequence", Integer, "NOT NULL"}},
         "PRIMARY KEY (DepartmentID, AgreementID)"},
        // One row: the database's own id, so that what this database writes for other programs (the
        // calendar's UIDs) never collides with what another register writes.
        {table::DatabaseIdentity,
         {{"Singleton", SmallInt, "NOT NULL PRIMARY KEY CHECK (Singleton = 1)"},
          {"DatabaseID", Text, "NOT NULL"},
          {"CreatedAt", DateTime}}},

        // The upgrade steps the database went through; its highest Version is the schema's version.
        {table::SchemaVersion,
         {{"Version", Integer, "NOT NULL PRIMARY KEY"}, {"Description", Text}, {"AppliedAt", DateTime}}},
    };
    return all;
}

bool isWatched(const Table &table)
{
    return std::any_of(table.columns.cbegin(), table.columns.cend(),
                       [](const Column &c) { return c.extra == WatchedKey; });
}

QString createStatement(const Table &table, const platform::Dialect &dialect)
{
    const bool watched = isWatched(table);
    QStringList parts;
    for (const Column &column : table.columns) {
        const QString name = QLatin1String(column.name);
        QString part = watched ? dialect.columnOfWatchedRows(name, column.type)
                               : dialect.columnDefinition(name, column.type);
        if (column.extra == WatchedKey)
            part += QLatin1Char(' ') % dialect.notNullOfWatchedRows();
        else if (*column.extra)
            part += QLatin1Char(' ') % QLatin1String(column.extra);
        parts << part;
    }
    if (table.constraint)
        parts << QLatin1String(table.constraint);
    return QStringLiteral("CREATE TABLE ") % QLatin1String(table.name) % QStringLiteral(" (") %
           parts.join(QStringLiteral(", ")) % QLatin1Char(')');
}

void createIndexes(platform::Connection &con, const Table &table)
{
    const QString name = QString::fromLatin1(table.name).toLower();
    int n = 0;
    for (const char *columns : table.indexes) {
        con.Execute(QStringLiteral("CREATE INDEX IF NOT EXISTS ix_%1_%2 ON %1 (%3)")
                        .arg(name)
                        .arg(++n)
                        .arg(QLatin1String(columns)));
    }
}

// SQLite keeps a table's definition as written: a detail table made before its columns took the engine's
// form for watched rows (keys that stop a statement where it stands, dates without a check) is made again
// in that form, rows, order, indexes and the search index's triggers kept.
void remakeWatchedTables(platform::Connection &con)
{
    if (con.backend() != platform::Backend::SQLite)
        return;
    // The columns as written: a rename rewrites the table's name in the stored text, quoting it.
    const auto columnsOf = [](const QString &sql) { return sql.mid(sql.indexOf(QLatin1Char('('))); };
    bool remade = false;
    for (const Table &table : tables()) {
        if (!isWatched(table))
            continue;
        const QString name = QLatin1String(table.name);
        platform::Recordset stored = con.Execute(
            QStringLiteral("select sql from sqlite_master where type = 'table' and lower(name) = '") +
            name.toLower() + QLatin1Char('\''));
        if (stored.isEOF() ||
            columnsOf(stored.Fields(0).text()) == columnsOf(createStatement(table, con.dialect())))
            continue;
        // A column that another program added would not be copied: such a table stays as it is, slower.
        const QSqlRecord storedColumns = con.database().record(name);
        const auto known = [&table](const QString &column) {
            return std::any_of(table.columns.cbegin(), table.columns.cend(), [&column](const Column &c) {
                return column.compare(QLatin1String(c.name), Qt::CaseInsensitive) == 0;
            });
        };
        bool foreign = false;
        for (int i = 0; i < storedColumns.count(); ++i)
            foreign = foreign || !known(storedColumns.fieldName(i));
        if (foreign)
            continue;
        const QString newTable = name + QStringLiteral("_remade");
        Table copy = table;
        const QByteArray remadeName = newTable.toLatin1();
        copy.name = remadeName.constData();
        QStringList columns;
        for (const Column &c : table.columns)
            columns << QLatin1String(c.name);
        con.Execute(QStringLiteral("drop table if exists ") + newTable);
        con.Execute(createStatement(copy, con.dialect()));
        con.Execute(QStringLiteral("insert into ") + newTable + QStringLiteral(" (") +
                    columns.join(QLatin1Char(',')) + QStringLiteral(") select ") +
                    columns.join(QLatin1Char(',')) + QStringLiteral(" from ") + name +
                    QStringLiteral(" order by rowid"));
        con.Execute(QStringLiteral("drop table ") + name);
        con.Execute(QStringLiteral("alter table ") + newTable + QStringLiteral(" rename to ") + name);
        createIndexes(con, table);
        remade = true;
    }
    if (remade)
        RemakeSearchTriggers(con);
}

bool columnExists(platform::Connection &con, const char *table, const char *column)
{
    // Unquoted names are stored folded to lower case on PostgreSQL; SQLite finds a table in any case.
    return con.database().record(QString::fromLatin1(table).toLower()).indexOf(QLatin1String(column)) >= 0;
}

// Tables made before the activity log was chained lack its hash columns.
void addActivityLogHashes(platform::Connection &con)
{
    for (const char *column : {"PrevHash", "RowHash"}) {
        if (!columnExists(con, table::ActivityLog, column))
            con.Execute(QStringLiteral("alter table ") + QLatin1String(table::ActivityLog) +
                        QStringLiteral(" add ") + QLatin1String(column) + QLatin1Char(' ') +
                        con.dialect().columnType(ColumnType::Text));
    }
}

} // namespace

const std::vector<SchemaStep> &SchemaSteps()
{
    // Append only: a database records the numbers it went through.
    static const std::vector<SchemaStep> steps = {
        {1, "the activity log's chain of hashes; the schema's version is stored", addActivityLogHashes},
        {2, "the database's own id, which names it in the calendar's UIDs",
         [](platform::Connection &con) { DatabaseIdentity(con); }},
        {3, "the detail lines' keys in the form that keeps a save's inserts cheap", remakeWatchedTables},
        {4, "the signatories' and witnesses' dates without the check that made each of their inserts dear",
         remakeWatchedTables},
    };
    return steps;
}

QString DatabaseIdentity(platform::Connection &con)
{
    const QString select = QStringLiteral("select DatabaseID from ") + QLatin1String(table::DatabaseIdentity);
    platform::Recordset rs = con.Execute(select);
    if (rs.isEOF()) {
        // Two programs asking at once: the first row stays, and both read it.
        platform::Command insert(con);
        insert.setCommandText(
            QStringLiteral("insert into ") + QLatin1String(table::DatabaseIdentity) +
            QStringLiteral(" (Singleton, DatabaseID, CreatedAt) values (1, ?, ?) on conflict "
                           "(Singleton) do nothing"));
        insert.ParametersRefresh();
        insert.Execute({QUuid::createUuid().toString(QUuid::WithoutBraces), QDateTime::currentDateTime()});
        rs = con.Execute(select);
    }
    return rs.Fields(0).joinEmpty();
}

int SchemaVersion()
{
    return SchemaSteps().back().version;
}

int StoredSchemaVersion(platform::Connection &con)
{
    if (!con.dialect().tableExists(con, QLatin1String(table::SchemaVersion)))
        return 0;
    platform::Recordset rs =
        con.Execute(QStringLiteral("select max(Version) from ") + QLatin1String(table::SchemaVersion));
    return rs.isEOF() || rs.Fields(0).isNull() ? 0 : rs.Fields(0).Value().toInt();
}

QString NewerSchemaText(int storedVersion)
{
    if (storedVersion <= SchemaVersion())
        return QString();
    return QStringLiteral("the database's schema is version %1, newer than this program's %2: use the "
                          "program that made it, or a newer one")
        .arg(storedVersion)
        .arg(SchemaVersion());
}

QStringList tableNames()
{
    QStringList names;
    for (const Table &table : tables())
        names << QLatin1String(table.name);
    return names;
}

CreateReport CreateSchema(platform::Connection &con)
{
    platform::Dialect &dialect = con.dialect();
    dialect.install(con);
    CreateReport report;
    report.fromVersion = StoredSchemaVersion(con);
    const QString newer = NewerSchemaText(report.fromVersion);
    if (!newer.isEmpty())
        platform::Raise(SchemaTooNew, QStringLiteral("agr_schema"), newer);
    for (const Table &table : tables()) {
        const QString name = QLatin1String(table.name);
        const bool existed = dialect.tableExists(con, name);
        if (existed)
            report.existing << name;
        else
            con.Execute(createStatement(table, dialect));
        // An older database gets the indexes added since it was made.
        createIndexes(con, table);
        if (!existed)
            report.created << name;
    }
    platform::Command record(con);
    record.setCommandText(QStringLiteral("insert into ") + QLatin1String(table::SchemaVersion) +
                          QStringLiteral(" (Version, Description, AppliedAt) values (?, ?, ?)"));
    record.ParametersRefresh();
    for (const SchemaStep &step : SchemaSteps()) {
        if (step.version <= report.fromVersion)
            continue;
        // A step and its record land together, so that a failed step is run again by the next init-db.
        con.BeginTrans();
        try {
            step.apply(con);
            record.Execute({step.version, QLatin1String(step.what), QDateTime::currentDateTime()});
            con.CommitTrans();
        } catch (...) {
            platform::Trap([&] { con.RollbackTrans(); }, {});
            throw;
        }
        report.steps << QLatin1String(step.what);
    }
    report.toVersion = std::max(report.fromVersion, SchemaVersion());
    CreateSearchIndex(con);
    SecureSchema(con);
    return report;
}

bool SchemaPresent(platform::Connection &con, QStringList *missing)
{
    platform::Dialect &dialect = con.dialect();
    QStringList absent;
    for (const Table &table : tables()) {
        const QString name = QLatin1String(table.name);
        if (!dialect.tableExists(con, name))
            absent << name;
    }
    if (missing)
        *missing = absent;
    return absent.isEmpty();
}

} // namespace agr::schema
