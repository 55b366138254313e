#pragma once
// Who may use the register: the database login and the user ids and departments mapped to it
// (aLoginUsers, aLoginDepartments), the clerk's login on PostgreSQL with only the privileges a clerk's
// work needs, and the departments kept apart there by row-level security.

#include <QList>
#include <QString>

namespace platform {
class Connection;
}

namespace agr::schema {

// The login the connection acts under: the session's user on a database server, the operating-system
// account on an embedded SQLite file (and on an ODBC data source that cannot tell its user).
QString currentLogin(platform::Connection &con);
QString operatingSystemAccount();

// The user ids and the departments mapped to a login, in ascending order.
QList<int> usersOfLogin(platform::Connection &con, const QString &login);
QList<int> departmentsOfLogin(platform::Connection &con, const QString &login);
// Adds the mapping rows that are missing.
void MapLogin(platform::Connection &con, const QString &login, int userId, const QList<int> &departments);

// PostgreSQL: row-level security on the register's header and detail tables, each row visible and
// writable only for a login mapped to its department; the tables' owner is not bound. Every login mapped in
// aLoginUsers gets ClerkGrants again, so that a clerk made before a table existed may use it. Idempotent;
// nothing on the other engines.
void SecureSchema(platform::Connection &con);

// PostgreSQL: creates the login when it does not exist (without a password: the site's authentication
// decides how it logs in), gives it on this database exactly the privileges of ClerkGrants and takes any
// other away, and maps it to the user and departments. Raises on the other engines and for a name that is
// not a plain identifier.
void CreateClerk(platform::Connection &con, const QString &login, int userId, const QList<int> &departments);

// The demo's clerk login on PostgreSQL.
inline constexpr char DemoClerkLogin[] = "agr_clerk";

struct TableGrant
{
    const char *table;
    const char *privileges;
};
// What a clerk's login may do, table by table; every other table of the schema is closed to it.
const QList<TableGrant> &ClerkGrants();

} // namespace agr::schema
