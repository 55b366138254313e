// PostgreSQL: the suite's functions live in the database (installed once, idempotently), convert() is
// rewritten to cast(), and the session reads day-first dates so that 'dd/mm/yyyy' text is a date.

#include "platform/database/dialect.h"

#include "platform/runtime/errors.h"
#include "platform/runtime/savefile.h"

#include <QFileInfo>
#include <QLoggingCategory>
#include <QProcess>
#include <QSqlError>
#include <QStandardPaths>

namespace platform {

namespace {

Q_LOGGING_CATEGORY(lcKeyLocks, "agr.platform.keylocks")

// A session-level advisory lock, taken and released on the dialect's lock session: the save's own session
// may be inside a transaction that an error has aborted, where no statement runs until a rollback.
class AdvisoryHold : public KeyLock::Holder
{
public:
    AdvisoryHold(QString session, qint64 key) : m_session(std::move(session)), m_key(key) {}
    ~AdvisoryHold() override
    {
        QSqlDatabase db = QSqlDatabase::database(m_session, false);
        if (!db.isOpen())
            return; // the session has ended, and the server released its locks with it
        QSqlQuery unlock(db);
        if (!unlock.exec(QStringLiteral("select pg_advisory_unlock(") + QString::number(m_key) +
                         QLatin1Char(')')))
            qCWarning(lcKeyLocks) << "cannot release the lock" << m_key << ":"
                                  << unlock.lastError().databaseText().trimmed();
    }

private:
    QString m_session;
    qint64 m_key;
};

// Raised whenever the functions below change, so that an older installation is replaced.
const char InstalledVersion[] = "agr-dialect 2";

const char *const InstallStatements[] = {
    "create or replace function len(text) returns integer language sql immutable as "
    "$$ select length(rtrim($1, ' ')) $$",
    "create or replace function len(numeric) returns integer language sql immutable as "
    "$$ select length(cast($1 as text)) $$",
    "create or replace function isnumeric(text) returns integer language sql immutable as "
    "$$ select case when $1 ~ '^[ \\t\\r\\n]*[+-]?([0-9]+[.]?[0-9]*|[.][0-9]+)([eE][+-]?[0-9]+)?[ "
    "\\t\\r\\n]*$' "
    "then 1 else 0 end $$",
    "create or replace function isnumeric(numeric) returns integer language sql immutable as "
    "$$ select case when $1 is null then 0 else 1 end $$",
    // Days from the second date to the third, as the suite's datediff(day, ...) counts them; other parts
    // give NULL.
    "create or replace function datediff(text, date, date) returns integer language sql immutable as "
    "$$ select case when lower($1) in ('day', 'dd', 'd') then $3 - $2 end $$",
    "create or replace function isnull(text, text) returns text language sql immutable as "
    "$$ select coalesce($1, $2) $$",
    "create or replace function isnull(text, integer) returns text language sql immutable as "
    "$$ select coalesce($1, cast($2 as text)) $$",
    "create or replace function isnull(integer, integer) returns integer language sql immutable as "
    "$$ select coalesce($1, $2) $$",
    "create or replace function isnull(bigint, integer) returns bigint language sql immutable as "
    "$$ select coalesce($1, $2) $$",
    "create or replace function isnull(bigint, bigint) returns bigint language sql immutable as "
    "$$ select coalesce($1, $2) $$",
    "create or replace function isnull(numeric, numeric) returns numeric language sql immutable as "
    "$$ select coalesce($1, $2) $$",
    "create or replace function isnull(double precision, double precision) returns double precision "
    "language sql immutable as $$ select coalesce($1, $2) $$",
    "create or replace function isnull(date, date) returns date language sql immutable as "
    "$$ select coalesce($1, $2) $$",
    "create or replace function isnull(timestamp, timestamp) returns timestamp language sql immutable as "
    "$$ select coalesce($1, $2) $$",
};

QString conninfoValue(const QString &value)
{
    QString quoted = value;
    quoted.replace(QLatin1Char('\\'), QStringLiteral("\\\\"));
    quoted.replace(QLatin1Char('\''), QStringLiteral("\\'"));
    return QLatin1Char('\'') + quoted + QLatin1Char('\'');
}

// Runs one of PostgreSQL's own client programs against the connection's database. The password travels in
// the child's environment, never on its command line, where any account could read it.
void runClient(Connection &con, const char *program, QStringList arguments)
{
    const QString name = QLatin1String(program);
    const QString path = QStandardPaths::findExecutable(name);
    if (path.isEmpty())
        Raise(err::FileNotFound, name,
              name + QStringLiteral(" was not found: install PostgreSQL's client programs (on Debian the "
                                    "package postgresql-client) or put them on the PATH"));
    const QSqlDatabase &db = con.database();
    QStringList conninfo = {QStringLiteral("dbname=") + conninfoValue(db.databaseName())};
    if (!db.hostName().isEmpty())
        conninfo << QStringLiteral("host=") + conninfoValue(db.hostName());
    if (db.port() > 0)
        conninfo << QStringLiteral("port=") + QString::number(db.port());
    if (!db.userName().isEmpty())
        conninfo << QStringLiteral("user=") + conninfoValue(db.userName());
    for (const QString &option : db.connectOptions().split(QLatin1Char(';'), Qt::SkipEmptyParts))
        conninfo << option.section(QLatin1Char('='), 0, 0).trimmed() + QLatin1Char('=') +
                        conninfoValue(option.section(QLatin1Char('='), 1));
    arguments << QStringLiteral("--dbname=") + conninfo.join(QLatin1Char(' '));

    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    if (!db.password().isEmpty())
        environment.insert(QStringLiteral("PGPASSWORD"), db.password());
    process.setProcessEnvironment(environment);
    process.setProcessChannelMode(QProcess::SeparateChannels);
    process.start(path, arguments);
    if (!process.waitForStarted(-1))
        Raise(err::FileNotFound, name,
              QStringLiteral("cannot start ") + path + QStringLiteral(": ") + process.errorString());
    process.waitForFinished(-1);
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) {
        QStringList lines = QString::fromLocal8Bit(process.readAllStandardError())
                                .split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        // Its first error says what went wrong; what follows repeats where.
        QString first =
            lines.isEmpty() ? QStringLiteral("ended with status %1").arg(process.exitCode()) : lines.first();
        for (const QString &line : std::as_const(lines)) {
            if (line.contains(QLatin1String("error:"))) {
                first = line;
                break;
            }
        }
        Raise(err::DatabaseError, name, name + QStringLiteral(" failed: ") + first.trimmed());
    }
}

class PostgresDialect : public Dialect
{
public:
    ~PostgresDialect() override { closeLockSession(); }

    Backend backend() const override { return Backend::PostgreSQL; }
    QString driverName() const override { return QStringLiteral("QPSQL"); }

    void prepare(QSqlDatabase &db) override
    {
        QSqlQuery q(db);
        if (!q.exec(QStringLiteral("SET DateStyle TO 'ISO, DMY'")) ||
            !q.exec(QStringLiteral("SET client_min_messages TO warning")))
            Raise(err::DatabaseError, driverName(),
                  QStringLiteral("cannot prepare the session: ") + q.lastError().databaseText().trimmed());
    }

    void install(Connection &con) override
    {
        const QString marker =
            QStringLiteral("select '") + QLatin1String(InstalledVersion) + QLatin1Char('\'');
        QSqlQuery q(con.database());
        q.setForwardOnly(true);
        if (q.exec(QStringLiteral("select prosrc from pg_proc where proname = 'agr_dialect_version'")) &&
            q.next() && q.value(0).toString().contains(marker))
            return;
        QStringList statements;
        for (const char *statement : InstallStatements)
            statements.append(QString::fromUtf8(statement));
        statements.append(QStringLiteral("create or replace function agr_dialect_version() returns text "
                                         "language sql immutable as $$ ") +
                          marker + QStringLiteral(" $$"));
        // Without the rights to create functions the statements that use them fail later, clearly; the
        // marker goes last so that a partial installation is tried again on the next open.
        for (const QString &statement : std::as_const(statements))
            if (!q.exec(statement))
                return;
    }

    QString translate(const QString &sql) const override
    {
        return quoteDateParts(rewriteConvert(sql, mapType));
    }

    std::unique_ptr<KeyLock::Holder> lockKey(Connection &con, const QString &key) override
    {
        const qint64 number = keyNumber(key);
        QSqlError failure;
        {
            QSqlDatabase session = lockSession(con);
            QSqlQuery lock(session);
            if (lock.exec(QStringLiteral("select pg_advisory_lock(") + QString::number(number) +
                          QLatin1Char(')')))
                return std::make_unique<AdvisoryHold>(m_lockSession, number);
            failure = lock.lastError();
        }
        closeLockSession(); // a broken session is opened anew by the next lock
        con.raiseDriverError(failure, QStringLiteral("lockKey"));
    }

    QString columnType(ColumnType type) const override
    {
        switch (type) {
        case ColumnType::SmallInt:
            return QStringLiteral("smallint");
        case ColumnType::Integer:
            return QStringLiteral("integer");
        case ColumnType::BigInt:
            return QStringLiteral("bigint");
        case ColumnType::Double:
            return QStringLiteral("double precision");
        case ColumnType::Text:
            return QStringLiteral("text");
        case ColumnType::Date:
            return QStringLiteral("date");
        case ColumnType::DateTime:
            return QStringLiteral("timestamp");
        case ColumnType::Blob:
            return QStringLiteral("bytea");
        case ColumnType::Identity:
            return QStringLiteral("serial primary key");
        }
        return QString();
    }

    bool tableExists(Connection &con, const QString &table) const override
    {
        return countsAny(
            con,
            QStringLiteral("select count(*) from information_schema.tables "
                           "where table_schema = current_schema() and lower(table_name) = lower(?)"),
            table);
    }

    QVariant readValue(const QVariant &raw, const QString &) const override { return raw; }

    // pg_dump's custom format, taken from one snapshot while clerks keep saving; read back by pg_restore
    // (its table of contents) before it takes its name.
    void backup(Connection &con, const QString &file) const override
    {
        ReplaceOnCommit pending(file, ReplaceOnCommit::Access::OwnerOnly);
        runClient(con, "pg_dump",
                  {QStringLiteral("--format=custom"), QStringLiteral("--no-password"),
                   QStringLiteral("--file=") + pending.temporaryPath()});
        QProcess check;
        const QString restore = QStandardPaths::findExecutable(QStringLiteral("pg_restore"));
        if (!restore.isEmpty()) {
            check.start(restore, {QStringLiteral("--list"), pending.temporaryPath()});
            check.waitForFinished(-1);
            if (check.exitStatus() != QProcess::NormalExit || check.exitCode() != 0)
                Raise(err::DatabaseError, QStringLiteral("pg_restore"),
                      QStringLiteral("pg_restore cannot read the copy pg_dump wrote: ") +
                          QString::fromLocal8Bit(check.readAllStandardError()).trimmed());
        }
        pending.commit();
    }

    // One transaction: a failure leaves the database as it was. Objects are owned by the login that
    // restores; the grants in the copy name the logins of the database it came from. What the copy holds is
    // dropped first when there: the dialect's functions, which every connection installs, always are.
    void restore(Connection &con, const QString &file) const override
    {
        if (!QFileInfo::exists(file))
            Raise(err::FileNotFound, driverName(), QStringLiteral("no backup file ") + file);
        runClient(con, "pg_restore",
                  {QStringLiteral("--no-owner"), QStringLiteral("--single-transaction"),
                   QStringLiteral("--no-password"), QStringLiteral("--clean"), QStringLiteral("--if-exists"),
                   file});
    }

    bool holdsTables(Connection &con) const override
    {
        Recordset rs = con.Execute(QStringLiteral(
            "select count(*) from information_schema.tables where table_schema = current_schema()"));
        return rs.Fields(0).Value().toLongLong() > 0;
    }

    // The driver prepares on the server under names that count up; the newest is the one just made.
    QStringList preparedParameterTypes(QSqlDatabase &db) const override
    {
        QSqlQuery q(db);
        q.setForwardOnly(true);
        if (!q.exec(QStringLiteral(
                "select array_to_string(parameter_types::text[], ';') from pg_prepared_statements "
                "order by prepare_time desc, length(name) desc, name desc limit 1")) ||
            !q.next())
            return {};
        return q.value(0).toString().split(QLatin1Char(';'));
    }

    QVariant parameterValue(const QVariant &value, const QString &parameterType) const override
    {
        if (value.typeId() != QMetaType::QString || !value.toString().trimmed().isEmpty())
            return value;
        if (parameterType == QLatin1String("date"))
            return QDate(1900, 1, 1);
        if (parameterType.startsWith(QLatin1String("timestamp")))
            return QDateTime(QDate(1900, 1, 1), QTime(0, 0));
        if (parameterType == QLatin1String("integer") || parameterType == QLatin1String("smallint") ||
            parameterType == QLatin1String("bigint") || parameterType == QLatin1String("numeric") ||
            parameterType == QLatin1String("double precision") || parameterType == QLatin1String("real"))
            return 0;
        return value;
    }

private:
    // A second session with the connection's own parameters, opened at the first lock and kept while the
    // connection is open, so that a lock costs a round trip and not a log-on.
    QSqlDatabase lockSession(Connection &con)
    {
        if (!m_lockSession.isEmpty()) {
            if (QSqlDatabase session = QSqlDatabase::database(m_lockSession, false); session.isOpen())
                return session;
            closeLockSession();
        }
        const QString name = con.database().connectionName() + QStringLiteral("-locks");
        QSqlDatabase session = QSqlDatabase::cloneDatabase(con.database(), name);
        if (!session.open()) {
            const QSqlError error = session.lastError();
            session = QSqlDatabase();
            QSqlDatabase::removeDatabase(name);
            con.raiseDriverError(error, QStringLiteral("lockKey"));
        }
        m_lockSession = name;
        return session;
    }

    void closeLockSession()
    {
        if (m_lockSession.isEmpty())
            return;
        QSqlDatabase::database(m_lockSession, false).close();
        QSqlDatabase::removeDatabase(m_lockSession);
        m_lockSession.clear();
    }

    QString m_lockSession; // the QSqlDatabase connection name; empty until the first lock

    static QString mapType(const QString &type)
    {
        const QString t = type.trimmed().toLower();
        if (t == QLatin1String("int") || t == QLatin1String("integer"))
            return QStringLiteral("integer");
        if (t == QLatin1String("tinyint") || t == QLatin1String("bit"))
            return QStringLiteral("smallint");
        if (t == QLatin1String("float") || t.startsWith(QLatin1String("float(")))
            return QStringLiteral("double precision");
        if (t == QLatin1String("money"))
            return QStringLiteral("numeric(19,4)");
        if (t == QLatin1String("datetime") || t == QLatin1String("smalldatetime") ||
            t == QLatin1String("datetime2"))
            return QStringLiteral("timestamp");
        if (t.startsWith(QLatin1String("nvarchar")))
            return type.trimmed().mid(1);
        if (t.startsWith(QLatin1String("nchar")))
            return type.trimmed().mid(1);
        if (t.endsWith(QLatin1String("(max)")))
            return QStringLiteral("text");
        if (t == QLatin1String("varchar") || t == QLatin1String("char") || t == QLatin1String("ntext"))
            return QStringLiteral("text"); // without a length the server's default would cut the value
        return type.trimmed();
    }
};

} // namespace

std::unique_ptr<Dialect> detail::makePostgresDialect()
{
    return std::make_unique<PostgresDialect>();
}

} // namespace platform
