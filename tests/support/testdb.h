#pragma once
// Databases for tests: every database test runs each case on SQLite and on PostgreSQL.
//
//   void tst_x::save_data() { agrtest::addBackends(); }
//   void tst_x::save()
//   {
//       AGR_FETCH_URL();
//       auto con = agrtest::openFresh(url); // schema created; demo data on request
//       if (!con)
//           return; // creating the database failed: the case is marked
//       ...
//   }
//
// The PostgreSQL row uses the server named by AGR_TEST_PG (scripts/with-postgres.sh sets it). Without it
// the row is skipped, or fails when the environment variable CI is set.

#include "platform/database/connection.h"

#include <QDate>
#include <QString>
#include <memory>

namespace agrtest {

// The test data column "url" (QString) and the rows "sqlite" and "postgresql" (in a test function's _data
// or, for every case, in initTestCase_data).
void addBackends();

// Checks that the row's backend can be used. When it cannot, marks the current case skipped (or failed
// under CI) and returns false; the caller then returns at once.
bool backendReady(const QString &url);

// The tests' processing date: the day the demo data is dated from and the module context processes on.
inline const QDate DemoToday(2026, 11, 15);

// A brand-new empty database on the row's backend, open, with the schema (and the demo data dated from
// today) when asked, and its statement log on. Returns nullptr after marking the case skipped or failed;
// the caller returns.
std::unique_ptr<platform::Connection> openFresh(const QString &url, bool schema = true, bool demo = false,
                                                QDate today = DemoToday);

// The URL of a brand-new empty database on the row's backend (for tests that run the host binary);
// "" after marking the case skipped or failed.
QString freshUrl(const QString &url);

// The URL of a brand-new database made by the host program's own init-db --demo (the demo data dated from
// date when given, else from the day it runs; on PostgreSQL the clerk's login is made too); "" after
// marking the case skipped or failed.
QString hostDemoDatabase(const QString &url, QDate date = {});

// postgresql://user@host:port/db?options with another database name.
QString withDatabase(const QString &url, const QString &database);

// postgresql://login@host:port/db: the same database under another login.
QString withLogin(const QString &url, const QString &login);

// The first field of the first row of sql; an invalid QVariant when there is no row.
QVariant scalar(platform::Connection &con, const QString &sql);
// The rows of table, or of those rows the where clause (without "where") selects.
int countRows(platform::Connection &con, const QString &table, const QString &where = QString());
// Every row of table as one text (values in column order, NULL and binary values told apart), sorted, so
// that two databases of one engine can be compared table by table.
QStringList tableRows(platform::Connection &con, const QString &table);

} // namespace agrtest

// Fetches the "url" column into a QString named url and returns from the case when the backend is not
// available.
#define AGR_FETCH_URL()                                                                                      \
    QFETCH(QString, url);                                                                                    \
    if (!agrtest::backendReady(url))                                                                         \
    return
