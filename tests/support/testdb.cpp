#include "testdb.h"

#include "data/schema.h"
#include "platform/runtime/errors.h"

#include <QCoreApplication>
#include <QDir>
#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>

#include <csignal>
#include <sys/types.h>
#include <unistd.h>

namespace agrtest {

namespace {

// The value of the "postgresql" row when AGR_TEST_PG is not set.
const QString PgUnset = QStringLiteral("postgresql:");
const QString SqliteRow = QStringLiteral("sqlite:");
const QString DbPrefix = QStringLiteral("agrt_");

QString serverUrl()
{
    return qEnvironmentVariable("AGR_TEST_PG");
}

// Folders of earlier runs whose process is gone (a crashed or killed test cannot remove its own).
void removeLeftoverFolders()
{
    const QDir temp(QDir::tempPath());
    const QStringList folders =
        temp.entryList({QStringLiteral("agrtest-*")}, QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString &name : folders) {
        bool numeric = false;
        const pid_t pid = name.section(QLatin1Char('-'), 1, 1).toInt(&numeric);
        if (numeric && pid != ::getpid() && ::kill(pid, 0) != 0)
            QDir(temp.filePath(name)).removeRecursively();
    }
}

QTemporaryDir &sqliteFolder()
{
    static QTemporaryDir dir = [] {
        removeLeftoverFolders();
        return QTemporaryDir(QDir::tempPath() + QStringLiteral("/agrtest-%1-XXXXXX").arg(::getpid()));
    }();
    return dir;
}

int nextNumber()
{
    static int counter = 0;
    return ++counter;
}

// One connection to the server's own database, used to create and drop the test databases.
class PgServer
{
public:
    static PgServer &instance()
    {
        static PgServer server;
        return server;
    }

    // Returns the URL of a new database; raises when the server refuses.
    QString create()
    {
        ensureOpen();
        const QString name =
            DbPrefix % QString::number(::getpid()) % QLatin1Char('_') % QString::number(nextNumber());
        m_admin->Execute(QStringLiteral("create database ") + name);
        m_created.append(name);
        return withDatabase(m_url, name);
    }

    void dropAll()
    {
        if (!m_admin || !m_admin->isOpen())
            return;
        for (const QString &name : std::as_const(m_created))
            dropQuietly(name);
        m_created.clear();
        m_admin->Close();
        m_admin.reset();
    }

private:
    void ensureOpen()
    {
        if (m_admin && m_admin->isOpen())
            return;
        m_url = serverUrl();
        m_admin = std::make_unique<platform::Connection>();
        m_admin->Open(m_url);
        dropLeftovers();
        qAddPostRoutine([] { PgServer::instance().dropAll(); });
    }

    // Databases of earlier runs whose process is gone (a crash or a killed test leaves them behind).
    void dropLeftovers()
    {
        platform::Recordset rs =
            m_admin->Execute(QStringLiteral("select datname from pg_database where datname like 'agrt\\_%'"));
        QStringList stale;
        for (; !rs.isEOF(); rs.MoveNext()) {
            const QString name = rs.Fields(0).text();
            const QStringList parts = name.split(QLatin1Char('_'));
            bool numeric = false;
            const pid_t pid = parts.size() == 3 ? parts.at(1).toInt(&numeric) : 0;
            if (numeric && pid != ::getpid() && ::kill(pid, 0) != 0)
                stale.append(name);
        }
        for (const QString &name : std::as_const(stale))
            dropQuietly(name);
    }

    void dropQuietly(const QString &name)
    {
        platform::Trap(
            [&] { m_admin->Execute(QStringLiteral("drop database if exists ") + name + " with (force)"); },
            [&](const platform::RuntimeError &e) {
                qWarning("could not drop test database %s: %s", qPrintable(name), e.what());
            });
    }

    QString m_url;
    std::unique_ptr<platform::Connection> m_admin;
    QStringList m_created;
};

void markUnavailable(const char *what)
{
    if (qEnvironmentVariableIsSet("CI"))
        QTest::qFail(what, __FILE__, __LINE__);
    else
        QTest::qSkip(what, __FILE__, __LINE__);
}

QString newDatabaseUrl(const QString &url)
{
    if (!backendReady(url))
        return QString();
    if (platform::backendOfUrl(url) == platform::Backend::SQLite) {
        QTemporaryDir &dir = sqliteFolder();
        if (!dir.isValid()) {
            QTest::qFail("cannot create a temporary folder for SQLite test databases", __FILE__, __LINE__);
            return QString();
        }
        return QStringLiteral("sqlite:") + dir.filePath(QStringLiteral("agrt_%1.db").arg(nextNumber()));
    }
    QString fresh;
    QString failure;
    platform::Trap([&] { fresh = PgServer::instance().create(); },
                   [&](const platform::RuntimeError &e) { failure = e.description(); });
    if (fresh.isEmpty()) {
        const QByteArray message = "cannot create a PostgreSQL test database: " + failure.toUtf8();
        QTest::qFail(message.constData(), __FILE__, __LINE__);
    }
    return fresh;
}

} // namespace

void addBackends()
{
    QTest::addColumn<QString>("url");
    QTest::newRow("sqlite") << SqliteRow;
    const QString pg = serverUrl();
    QTest::newRow("postgresql") << (pg.isEmpty() ? PgUnset : pg);
}

bool backendReady(const QString &url)
{
    if (url == PgUnset) {
        markUnavailable("PostgreSQL is not configured: AGR_TEST_PG is not set "
                        "(run the tests through scripts/with-postgres.sh)");
        return false;
    }
    return true;
}

QString freshUrl(const QString &url)
{
    return newDatabaseUrl(url);
}

QString hostDemoDatabase(const QString &url, QDate date)
{
    const QString db = newDatabaseUrl(url);
    if (db.isEmpty())
        return db;
    QStringList arguments{QStringLiteral("init-db"), QStringLiteral("--database"), db,
                          QStringLiteral("--demo")};
    if (date.isValid())
        arguments << QStringLiteral("--date") << date.toString(Qt::ISODate);
    QProcess host;
    host.start(QCoreApplication::applicationDirPath() + QStringLiteral("/agreement-register"), arguments);
    if (!host.waitForFinished(120000) || host.exitStatus() != QProcess::NormalExit || host.exitCode() != 0) {
        QTest::qFail(qPrintable(QStringLiteral("init-db failed: ") +
                                QString::fromUtf8(host.readAllStandardError()).trimmed()),
                     __FILE__, __LINE__);
        return QString();
    }
    return db;
}

QString withDatabase(const QString &url, const QString &database)
{
    const qsizetype authorityStart = url.indexOf(QStringLiteral("://"));
    if (authorityStart < 0)
        return url;
    const qsizetype pathStart = url.indexOf(QLatin1Char('/'), authorityStart + 3);
    const qsizetype queryStart = url.indexOf(QLatin1Char('?'), authorityStart + 3);
    const qsizetype authorityEnd =
        pathStart >= 0 && (queryStart < 0 || pathStart < queryStart) ? pathStart : queryStart;
    const QString head = authorityEnd < 0 ? url : url.left(authorityEnd);
    const QString query = queryStart < 0 ? QString() : url.mid(queryStart);
    return head + QLatin1Char('/') + database + query;
}

QString withLogin(const QString &url, const QString &login)
{
    const qsizetype authorityStart = url.indexOf(QStringLiteral("://"));
    if (authorityStart < 0)
        return url;
    const qsizetype at = url.indexOf(QLatin1Char('@'), authorityStart + 3);
    const qsizetype userStart = authorityStart + 3;
    return url.left(userStart) + login + (at < 0 ? QStringLiteral("@") + url.mid(userStart) : url.mid(at));
}

QVariant scalar(platform::Connection &con, const QString &sql)
{
    platform::Recordset rs = con.Execute(sql);
    return rs.isEOF() ? QVariant() : rs.Fields(0).Value();
}

int countRows(platform::Connection &con, const QString &table, const QString &where)
{
    return scalar(con, QStringLiteral("select count(*) from ") + table +
                           (where.isEmpty() ? QString() : QStringLiteral(" where ") + where))
        .toInt();
}

QStringList tableRows(platform::Connection &con, const QString &table)
{
    QStringList rows;
    for (platform::Recordset rs = con.Execute(QStringLiteral("select * from ") + table); !rs.isEOF();
         rs.MoveNext()) {
        QStringList values;
        for (int i = 0; i < rs.fieldCount(); ++i) {
            const QVariant value = rs.Fields(i).Value();
            if (rs.Fields(i).isNull())
                values << QStringLiteral("<null>");
            else if (value.typeId() == QMetaType::QByteArray)
                values << QString::fromLatin1(value.toByteArray().toHex());
            else
                values << value.toString();
        }
        rows << values.join(QLatin1Char('\x1f'));
    }
    rows.sort();
    return rows;
}

std::unique_ptr<platform::Connection> openFresh(const QString &url, bool schema, bool demo, QDate today)
{
    const QString fresh = newDatabaseUrl(url);
    if (fresh.isEmpty())
        return nullptr;
    auto con = std::make_unique<platform::Connection>();
    QString failure;
    const bool ok = platform::Trap(
        [&] {
            con->Open(fresh);
            if (schema || demo)
                agr::schema::CreateSchema(*con);
            if (demo)
                agr::schema::LoadDemoData(*con, today);
            con->setStatementLogEnabled(true); // the tests read what the module ran
        },
        [&](const platform::RuntimeError &e) { failure = QString::fromUtf8(e.what()); });
    if (!ok) {
        const QByteArray message =
            "cannot prepare the test database " + fresh.toUtf8() + ": " + failure.toUtf8();
        QTest::qFail(message.constData(), __FILE__, __LINE__);
        return nullptr;
    }
    return con;
}

} // namespace agrtest
