#include "access.h"

#include "schema.h"
#include "searchindex.h"

#include "platform/database/connection.h"
#include "platform/runtime/errors.h"

#include <QRegularExpression>
#include <algorithm>

#if defined(Q_OS_UNIX)
#include <pwd.h>
#include <unistd.h>
#endif

namespace agr::schema {

namespace {

using platform::Backend;

constexpr char ReadWrite[] = "SELECT, INSERT, UPDATE, DELETE";
constexpr char Read[] = "SELECT";
// Logs are appended to and read, never changed.
constexpr char Append[] = "SELECT, INSERT";

// The register's header and detail tables with their department column.
// The register's header and detail tables and the host's renewal tables with their department column; a
// login's own put-aside day is its own besides.
struct DepartmentTable
{
    const char *table;
    const char *department;
    const char *also = nullptr;
};
constexpr DepartmentTable DepartmentTables[] = {
    {"agreementregister", "agrDepartmentid"},
    {"AgreementDetails", "agdDepartmentid"},
    {"AgreementSignedDetails", "agsDepartmentid"},
    {"AgreementWitnessDetails", "agwDepartmentid"},
    {"AgreementFinancialDetails", "agfDepartmentid"},
    {"AgreementContents", "agcDepartmentid"},
    {table::RenewalAlerts, "DepartmentID"},
    {table::RenewalAlertHistory, "DepartmentID"},
    {table::RenewalAlertRuns, "DepartmentID"},
    {table::RenewalSnoozes, "DepartmentID", "LoginName = session_user"},
    {table::RenewalCalendar, "DepartmentID"},
    {table::SearchRows, "DepartmentID"},
    {table::SearchWords, "DepartmentID"},
};

constexpr char DepartmentPolicy[] = "agr_departments";
constexpr char OwnLoginPolicy[] = "agr_own_login";

QString quoted(const QString &text)
{
    QString inner = text;
    inner.replace(QLatin1Char('\''), QStringLiteral("''"));
    return QLatin1Char('\'') + inner + QLatin1Char('\'');
}

QString identifier(const QString &name)
{
    QString inner = name;
    inner.replace(QLatin1Char('"'), QStringLiteral("\"\""));
    return QLatin1Char('"') + inner + QLatin1Char('"');
}

QList<int> intsOf(platform::Connection &con, const QString &sql)
{
    QList<int> values;
    for (platform::Recordset rs = con.Execute(sql); !rs.isEOF(); rs.MoveNext())
        values << rs.Fields(0).toLong();
    return values;
}

bool policyExists(platform::Connection &con, const QString &table, const char *policy)
{
    platform::Recordset rs =
        con.Execute(QStringLiteral("select count(*) from pg_policies where schemaname = current_schema() and "
                                   "tablename = lower(") +
                    quoted(table) + QStringLiteral(") and policyname = ") + quoted(QLatin1String(policy)));
    return rs.Fields(0).toLong() > 0;
}

void createPolicy(platform::Connection &con, const QString &table, const char *policy, const QString &rule)
{
    con.Execute(QStringLiteral("alter table ") + table + QStringLiteral(" enable row level security"));
    if (!policyExists(con, table, policy))
        con.Execute(QStringLiteral("create policy ") + QLatin1String(policy) + QStringLiteral(" on ") +
                    table + rule);
}

// Exactly ClerkGrants' privileges, with the sequences behind the identity columns it may insert into.
void grantClerk(platform::Connection &con, const QString &role)
{
    for (const TableGrant &grant : ClerkGrants()) {
        const QString table = QLatin1String(grant.table);
        con.Execute(QStringLiteral("grant ") + QLatin1String(grant.privileges) + QStringLiteral(" on ") +
                    table + QStringLiteral(" to ") + role);
        if (!QLatin1String(grant.privileges).contains(QLatin1String("INSERT")))
            continue;
        // The numbers of an identity column come from its sequence.
        platform::Recordset sequences = con.Execute(
            QStringLiteral(
                "select pg_get_serial_sequence(table_name, column_name) from "
                "information_schema.columns where table_schema = current_schema() and table_name = "
                "lower(") +
            quoted(table) + QStringLiteral(") and column_default like 'nextval(%'"));
        for (; !sequences.isEOF(); sequences.MoveNext())
            con.Execute(QStringLiteral("grant usage on sequence ") + sequences.Fields(0).text() +
                        QStringLiteral(" to ") + role);
    }
}

} // namespace

const QList<TableGrant> &ClerkGrants()
{
    static const QList<TableGrant> grants = {
        // The register's own tables. Agreements are cancelled, never deleted; details and scanned copies
        // are replaced wholesale.
        {"agreementregister", "SELECT, INSERT, UPDATE"},
        {"AgreementDetails", ReadWrite},
        {"AgreementSignedDetails", ReadWrite},
        {"AgreementWitnessDetails", ReadWrite},
        {"AgreementFinancialDetails", ReadWrite},
        {"AgreementContents", ReadWrite},
        {"AgreementScanCopyDetails", ReadWrite},
        // The services' tables.
        {table::GridSettings, ReadWrite},
        {table::KeyCounters, "SELECT, INSERT, UPDATE"},
        {table::ActivityLog, Append},
        {table::FaultLog, Append},
        // The host's renewal alerts: their state changes, their history is appended to.
        {table::RenewalAlerts, "SELECT, INSERT, UPDATE"},
        {table::RenewalAlertHistory, Append},
        {table::RenewalAlertRuns, "SELECT, INSERT, UPDATE"},
        {table::RenewalSnoozes, "SELECT, INSERT, UPDATE"},
        {table::RenewalCalendar, "SELECT, INSERT, UPDATE"},
        // Read by the calendar; made by the first program that needs it when init-db has not.
        {table::DatabaseIdentity, Append},
        // The full-text index: its triggers write it as its owner; the program reading scanned pages in
        // the clerk's session stores their text and index rows, and takes what it read off the queue.
        {table::SearchRows, "SELECT, INSERT, DELETE"},
        {table::SearchWords, Read},
        {table::ScanText, "SELECT, INSERT"},
        {table::ScanUnread, "SELECT, DELETE"},
        // The masters, and the login's own mapping.
        {"acompanymaster", Read},
        {"adepartmentmaster", Read},
        {"aFinancialYear", Read},
        {"aPrefix", Read},
        {"acustomermaster", Read},
        {"avendormaster", Read},
        {"ashops", Read},
        {"agodown", Read},
        {"aUsers", Read},
        {"aUserRights", Read},
        {"aPackageSettings", Read},
        {"atables", Read},
        {"atablecolumns", Read},
        {"aHqPaymentVoucherHeader", Read},
        {"aHQpaymentvoucherdebitdetails", Read},
        {table::LoginUsers, Read},
        {table::LoginDepartments, Read},
        // Every command asks which version the database is.
        {table::SchemaVersion, Read},
    };
    return grants;
}

QString operatingSystemAccount()
{
#if defined(Q_OS_UNIX)
    if (const passwd *account = ::getpwuid(::geteuid()); account && account->pw_name)
        return QString::fromLocal8Bit(account->pw_name);
    return qEnvironmentVariable("USER");
#else
    return qEnvironmentVariable("USERNAME");
#endif
}

QString currentLogin(platform::Connection &con)
{
    switch (con.backend()) {
    case Backend::SQLite:
        return operatingSystemAccount();
    case Backend::PostgreSQL:
        return con.Execute(QStringLiteral("select session_user")).Fields(0).text();
    case Backend::ODBC:
        break;
    }
    // A data source on a server knows its user; one on a file (SQLite through ODBC) does not, and the file
    // is then the account's, as the embedded database is.
    QString login;
    if (!platform::Trap([&] { login = con.Execute(QStringLiteral("select current_user")).Fields(0).text(); },
                        {}))
        login = operatingSystemAccount();
    return login;
}

QList<int> usersOfLogin(platform::Connection &con, const QString &login)
{
    return intsOf(con, QStringLiteral("select UserID from ") + QLatin1String(table::LoginUsers) +
                           QStringLiteral(" where LoginName = ") + quoted(login) +
                           QStringLiteral(" order by UserID"));
}

QList<int> departmentsOfLogin(platform::Connection &con, const QString &login)
{
    return intsOf(con, QStringLiteral("select DepartmentID from ") + QLatin1String(table::LoginDepartments) +
                           QStringLiteral(" where LoginName = ") + quoted(login) +
                           QStringLiteral(" order by DepartmentID"));
}

void MapLogin(platform::Connection &con, const QString &login, int userId, const QList<int> &departments)
{
    if (!usersOfLogin(con, login).contains(userId)) {
        platform::Command insert(con);
        insert.setCommandText(QStringLiteral("insert into ") + QLatin1String(table::LoginUsers) +
                              QStringLiteral(" (LoginName, UserID) values (?,?)"));
        insert.ParametersRefresh();
        insert.Execute({login, userId});
    }
    const QList<int> mapped = departmentsOfLogin(con, login);
    for (int department : departments) {
        if (mapped.contains(department))
            continue;
        platform::Command insert(con);
        insert.setCommandText(QStringLiteral("insert into ") + QLatin1String(table::LoginDepartments) +
                              QStringLiteral(" (LoginName, DepartmentID) values (?,?)"));
        insert.ParametersRefresh();
        insert.Execute({login, department});
    }
}

void SecureSchema(platform::Connection &con)
{
    if (con.backend() != Backend::PostgreSQL)
        return;
    const QString mapped = QStringLiteral(" in (select DepartmentID from ") +
                           QLatin1String(table::LoginDepartments) +
                           QStringLiteral(" where LoginName = session_user)");
    for (const DepartmentTable &t : DepartmentTables) {
        QString rule = QStringLiteral("(") + QLatin1String(t.department) + mapped + QLatin1Char(')');
        if (t.also)
            rule = QStringLiteral("(") + rule + QStringLiteral(" and ") + QLatin1String(t.also) +
                   QLatin1Char(')');
        createPolicy(con, QLatin1String(t.table), DepartmentPolicy,
                     QStringLiteral(" using ") + rule + QStringLiteral(" with check ") + rule);
    }
    // A login reads only its own mapping.
    for (const char *mapping : {table::LoginUsers, table::LoginDepartments})
        createPolicy(con, QLatin1String(mapping), OwnLoginPolicy,
                     QStringLiteral(" for select using (LoginName = session_user)"));
    // Clerks made before a table was added get their privileges on it with the upgrade that adds it.
    QStringList clerks;
    platform::Recordset rs =
        con.Execute(QStringLiteral("select distinct LoginName from ") + QLatin1String(table::LoginUsers) +
                    QStringLiteral(" where LoginName <> current_user and LoginName in "
                                   "(select rolname from pg_roles where not rolsuper)"));
    for (; !rs.isEOF(); rs.MoveNext())
        clerks << rs.Fields(0).text();
    for (const QString &clerk : std::as_const(clerks))
        grantClerk(con, identifier(clerk));
}

void CreateClerk(platform::Connection &con, const QString &login, int userId, const QList<int> &departments)
{
    const QString source = QStringLiteral("init-db");
    if (con.backend() != Backend::PostgreSQL)
        platform::Raise(platform::err::DatabaseError, source,
                        QStringLiteral("a clerk's login is created on PostgreSQL only"));
    static const QRegularExpression plain(QStringLiteral("^[A-Za-z_][A-Za-z0-9_.@-]{0,62}$"));
    if (!plain.match(login).hasMatch())
        platform::Raise(
            platform::err::DatabaseError, source,
            QStringLiteral("'%1' is not a plain login name (letters, digits, _ . @ -)").arg(login));
    const QString role = identifier(login);
    // Another init-db may create the same login at the same moment: the cluster's roles are shared.
    con.Execute(QStringLiteral("do $$ begin if not exists (select 1 from pg_roles where rolname = ") +
                quoted(login) + QStringLiteral(") then create role ") + role +
                QStringLiteral(" login; end if; exception when duplicate_object or unique_violation then "
                               "null; end $$"));

    const QString schema =
        identifier(con.Execute(QStringLiteral("select current_schema()")).Fields(0).text());
    con.Execute(QStringLiteral("revoke create on schema ") + schema + QStringLiteral(" from public"));
    con.Execute(QStringLiteral("grant usage on schema ") + schema + QStringLiteral(" to ") + role);
    con.Execute(QStringLiteral("revoke all on all tables in schema ") + schema + QStringLiteral(" from ") +
                role);
    con.Execute(QStringLiteral("revoke all on all sequences in schema ") + schema + QStringLiteral(" from ") +
                role);
    grantClerk(con, role);
    MapLogin(con, login, userId, departments);
}

} // namespace agr::schema
