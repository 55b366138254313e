#pragma once
// What the benchmarks share: a figure line on stdout, milliseconds and medians, and one run of the
// measurement on a new SQLite file and, when AGR_TEST_PG names a server, on a database created there for
// the run and dropped after it.

#include "platform/database/connection.h"
#include "platform/runtime/errors.h"
#include "suite/suite.h"
#include "support/testdb.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <functional>
#include <vector>

namespace bench {

inline void line(const QString &text)
{
    std::printf("%s\n", qPrintable(text));
    std::fflush(stdout);
}

inline double ms(const QElapsedTimer &timer)
{
    return double(timer.nsecsElapsed()) / 1e6;
}

// The processor time spent so far, in milliseconds, by this process and, on PostgreSQL, by the server
// process that serves the connection (read from its /proc entry, so only when it runs on this machine).
// Other programs' load stretches it far less than the time on the clock.
class CpuTime
{
public:
    explicit CpuTime(platform::Connection &con)
    {
        if (con.backend() == platform::Backend::PostgreSQL) {
            m_server.setFileName(
                QStringLiteral("/proc/%1/schedstat")
                    .arg(con.Execute(QStringLiteral("select pg_backend_pid()")).Fields(0).toLong()));
            m_readable = m_server.open(QIODevice::ReadOnly | QIODevice::Unbuffered);
        }
    }
    bool readable() const { return m_readable; }
    double now()
    {
        timespec own{};
        clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &own);
        double total = double(own.tv_sec) * 1e3 + double(own.tv_nsec) / 1e6;
        if (m_server.isOpen()) {
            m_server.seek(0);
            // The first field: nanoseconds on a processor.
            total += m_server.readAll().split(' ').value(0).toDouble() / 1e6;
        }
        return total;
    }

private:
    QFile m_server;
    bool m_readable = true;
};

// Drops the triggers that keep the full-text index, so that a write costs what it costs without it; the
// index itself stays (CreateSearchIndex makes the triggers again and fills it anew). Returns the statements
// that make the triggers again as they were, without filling the index.
inline QStringList dropSearchIndexTriggers(platform::Connection &con)
{
    const bool pg = con.backend() == platform::Backend::PostgreSQL;
    platform::Recordset rs = con.Execute(
        pg ? QStringLiteral("select tgname, tgrelid::regclass::text, pg_get_triggerdef(oid) from pg_trigger "
                            "where tgname like 'agr_ix_%'")
           : QStringLiteral("select name, tbl_name, sql from sqlite_master where type = 'trigger' and name "
                            "like 'agr_ix_%'"));
    QStringList drops, creates;
    for (; !rs.isEOF(); rs.MoveNext()) {
        drops << QStringLiteral("drop trigger ") + rs.Fields(0).text() +
                     (pg ? QStringLiteral(" on ") + rs.Fields(1).text() : QString());
        creates << rs.Fields(2).text();
    }
    for (const QString &drop : std::as_const(drops))
        con.Execute(drop);
    return creates;
}

// The index's triggers switched off and on again, as a benchmark alternates writes with and without them.
class SearchIndexTriggers
{
public:
    explicit SearchIndexTriggers(platform::Connection &con) : m_con(con) {}
    // Keeps the triggers (true) or drops them (false); true when that changed anything.
    bool keep(bool kept)
    {
        if (kept == m_kept)
            return false;
        if (kept) {
            for (const QString &statement : std::as_const(m_creates))
                m_con.Execute(statement);
        } else {
            m_creates = dropSearchIndexTriggers(m_con);
        }
        m_kept = kept;
        return true;
    }

private:
    platform::Connection &m_con;
    QStringList m_creates; // the statements that make them again
    bool m_kept = true;
};

inline double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// The median of each pair's own ratio, a[i] / b[i]: the two of a pair ran next to each other, so a machine
// that gets busier or quieter during the run moves both alike.
inline double pairedRatio(const std::vector<double> &a, const std::vector<double> &b)
{
    std::vector<double> ratios;
    for (size_t i = 0; i < a.size() && i < b.size(); ++i)
        ratios.push_back(a[i] / b[i]);
    return median(ratios);
}

using BackendRun = std::function<void(const QString &label, platform::Connection &con)>;

// The benchmark's main: runs run once per backend, offscreen, with the suite's services registered in the
// process. A backend that fails is reported in one line; the exit status is 1 when any failed.
inline int runOnBackends(int argc, char **argv, const QString &name, const BackendRun &run)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    suite::registerInProcess();

    const auto failed = [](const QString &label) {
        return [label](const platform::RuntimeError &e) {
            line(label + QStringLiteral(": failed: ") + QString::fromUtf8(e.what()));
        };
    };

    bool ok = platform::Trap(
        [&] {
            QTemporaryDir folder;
            platform::Connection sqlite;
            sqlite.Open(QStringLiteral("sqlite:") + folder.filePath(name + QStringLiteral(".db")));
            run(QStringLiteral("sqlite"), sqlite);
            sqlite.Close();
        },
        failed(QStringLiteral("sqlite")));

    const QString server = qEnvironmentVariable("AGR_TEST_PG");
    if (server.isEmpty()) {
        line(QStringLiteral("postgresql: skipped (AGR_TEST_PG is not set)"));
        return ok ? 0 : 1;
    }
    platform::Connection admin;
    const QString database = QStringLiteral("agr%1_%2").arg(name).arg(QCoreApplication::applicationPid());
    ok &= platform::Trap(
        [&] {
            admin.Open(server);
            admin.Execute(QStringLiteral("create database ") + database);
            platform::Connection pg;
            pg.Open(agrtest::withDatabase(server, database));
            run(QStringLiteral("postgresql"), pg);
            pg.Close();
        },
        failed(QStringLiteral("postgresql")));
    if (admin.isOpen())
        platform::Trap(
            [&] { admin.Execute(QStringLiteral("drop database if exists ") + database + " with (force)"); },
            {});
    return ok ? 0 : 1;
}

} // namespace bench
