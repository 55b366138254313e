#pragma once
// The register's tables, the suite's master tables it reads, and the tables of the stand-alone services,
// created on SQLite or PostgreSQL; and the demo data of a fresh install.

#include <QDate>
#include <QStringList>

#include <vector>

namespace platform {
class Connection;
}

namespace agr::schema {

struct CreateReport
{
    QStringList created;  // tables created by this call
    QStringList existing; // tables that were already there and were left alone
    int fromVersion = 0;  // the schema's version the database had (0: made before versions were stored)
    int toVersion = 0;    // and has now
    QStringList steps;    // what each upgrade step run by this call did, in order
};

// The schema's versions. Each step brings a database of the version before it to its own version; a new
// table, column, index or trigger an older database lacks is one step appended at the end of the list in
// schema.cpp (with the next number), and never an edit of an earlier step. A step runs after the missing
// tables of tables() were created, on an upgraded database and on a new one alike, so it adds only what is
// missing; it runs inside a transaction with its record, so it asks (a column's presence, say) instead of
// letting a statement fail, which would end the transaction on PostgreSQL. The database keeps one row per
// step it went through in aSchemaVersion.
struct SchemaStep
{
    int version;
    const char *what; // "the activity log's chain of hashes", as init-db reports it
    void (*apply)(platform::Connection &con);
};
const std::vector<SchemaStep> &SchemaSteps();
// The database's own id (a random UUID, lower case, without braces): read, or made and stored the first time
// it is asked for. It stays with the database when the file is moved, copied by backup or restored, so
// that what is named by it (the calendar's UIDs) stays the same. Raises on a database error.
QString DatabaseIdentity(platform::Connection &con);
// The version this program makes and understands: the last step's.
int SchemaVersion();
// The version the database records; 0 when it records none (made before versions were stored, or empty).
int StoredSchemaVersion(platform::Connection &con);

// Creates what is missing, runs the steps the database has not been through and records them; changes
// nothing else that exists. Raises SchemaTooNew, before it changes anything, for a database of a newer
// version than SchemaVersion().
CreateReport CreateSchema(platform::Connection &con);
inline constexpr int SchemaTooNew = 20601;
// "the database's schema is version 3, newer than this program's 2: use the program that made it, or a
// newer one", or "" when the program understands the database's version.
QString NewerSchemaText(int storedVersion);
// True when every table of the schema exists; missing receives the names of those that do not.
bool SchemaPresent(platform::Connection &con, QStringList *missing = nullptr);
// Every table of the schema, in the order of creation.
QStringList tableNames();

// The demo install. Loads nothing and returns false when the demo company already exists. Dates of the
// demo agreements are placed within the back period before today.
bool LoadDemoData(platform::Connection &con, const QDate &today);

// Tables of the stand-alone services (not the module's own):
//   aActivityLog  (LogID identity, CompanyID, DepartmentID, UserID, InterfaceID, AgreementID double,
//                  AgreementNo text, ActionCode text, FormName text, ActionDateTime datetime,
//                  PrevHash text, RowHash text: a chain of SHA-256 hashes)
//   aFaultLog     (FaultID identity, FormName, UserName, ProcedureName, ErrorNumber integer, ErrorSource,
//                  ErrorDescription, EntryMode, LoggedAt datetime)
//   aGridSettings (UserID, CompanyID, GridName, ColumnIndex, ColumnWidth integer twips),
//                  one row per user, company, grid and column
//   aKeyCounters  (TableName, KeyColumn text, LastValue integer): the last key the database service
//                  handed out for a table (as its table name reads) and key column
//   aLoginUsers   (LoginName text, UserID integer): the users a database login may act as
//   aLoginDepartments (LoginName text, DepartmentID smallint): the departments it may act for
// Tables of the host (the renewal alerts' state and the calendar's sequence numbers; docs/database.md):
//   aRenewalAlerts, aRenewalAlertHistory, aRenewalAlertRuns, aRenewalSnoozes, aRenewalCalendar
//   aDatabaseIdentity (Singleton smallint key, always 1; DatabaseID text; CreatedAt datetime): the random
//                  id that tells this database from every other, made once and kept by backups
//   aSchemaVersion (Version integer key, Description text, AppliedAt datetime): the upgrade steps the
//                  database went through
namespace table {
inline constexpr char ActivityLog[] = "aActivityLog";
inline constexpr char FaultLog[] = "aFaultLog";
inline constexpr char GridSettings[] = "aGridSettings";
inline constexpr char KeyCounters[] = "aKeyCounters";
inline constexpr char LoginUsers[] = "aLoginUsers";
inline constexpr char LoginDepartments[] = "aLoginDepartments";
inline constexpr char RenewalAlerts[] = "aRenewalAlerts";
inline constexpr char RenewalAlertHistory[] = "aRenewalAlertHistory";
inline constexpr char RenewalAlertRuns[] = "aRenewalAlertRuns";
inline constexpr char RenewalSnoozes[] = "aRenewalSnoozes";
inline constexpr char RenewalCalendar[] = "aRenewalCalendar";
inline constexpr char DatabaseIdentity[] = "aDatabaseIdentity";
inline constexpr char SchemaVersion[] = "aSchemaVersion";
} // namespace table

namespace demo {
inline constexpr int CompanyId = 1;
inline constexpr int DepartmentId = 1;
inline constexpr int OtherDepartmentId = 2;
inline constexpr int InterfaceId = 1003;
inline constexpr int ClerkUserId = 1; // rights "NEDP"
inline constexpr int AdminUserId = 2; // rights "ADMIN"
inline constexpr int BackNoOfDays = 30;
inline constexpr char Prefix[] = "AG/";
inline constexpr int OtherCompanyId = 2;            // one shop, godown, customer and vendor, for filtering
inline constexpr int AgreementCount = 12;           // department 1: ids 1..12, numbers AG/1..AG/12
inline constexpr int OtherDepartmentAgreements = 2; // department 2: ids 1 and 2, numbers AG/1 and AG/2
inline constexpr int CancelledAgreementId = 6;      // department 1
inline constexpr int PaidAgreementId = 1;           // two payment vouchers are booked against it
inline constexpr int DetailedAgreementId = 1;       // rows in all five detail tables
// Near the end of their term on the day the data is dated from: department 1's agreement 7 ends in 10
// days (due for renewal), agreement 4 ended 2 days ago (expired); the cancelled agreement 6 would end in 3
// days and department 2's agreement 1 ends in 7.
inline constexpr int DueAgreementId = 7;
inline constexpr int DueInDays = 10;
inline constexpr int ExpiredAgreementId = 4;
inline constexpr int ExpiredDaysAgo = 2;
} // namespace demo

} // namespace agr::schema
