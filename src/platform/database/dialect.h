#pragma once
// One class per database engine: what each engine needs so that the suite's dialect runs unchanged
// (functions registered or installed, syntax rewritten, dates compared as dates), and the column types
// that the schema is created with.

#include "platform/database/connection.h"

#include <QHash>
#include <QSqlError>
#include <QSqlQuery>
#include <QString>
#include <QStringList>
#include <functional>
#include <memory>

namespace platform {

// Identity: an integer key that the database numbers itself on insert.
enum class ColumnType
{
    SmallInt,
    Integer,
    BigInt,
    Double,
    Text,
    Date,
    DateTime,
    Blob,
    Identity
};

class Dialect
{
public:
    virtual ~Dialect() = default;
    static std::unique_ptr<Dialect> create(Backend backend);

    virtual Backend backend() const = 0;
    virtual QString driverName() const = 0; // "QSQLITE", "QPSQL", "QODBC"

    // Called right after the connection opens: register functions and collations, set date styles.
    virtual void prepare(QSqlDatabase &db) = 0;
    // Installs what must live in the database itself (PostgreSQL functions). Idempotent.
    virtual void install(Connection &con) = 0;
    // Begins a transaction on db; false when the engine refused, with the reason in the query or db.
    virtual bool beginTransaction(QSqlDatabase &db, QSqlError &error) const;

    // Holds the lock named key for con until the returned holder is destroyed (Connection::lockKey): it
    // must exclude other connections of this process and of others, outlast con's transactions, be
    // releasable whatever state con's transaction is in, and go when the process dies. Raises when the
    // lock cannot be taken. By default nothing is held.
    virtual std::unique_ptr<KeyLock::Holder> lockKey(Connection &con, const QString &key);

    // The statement text as this engine must receive it. String literals are never changed.
    virtual QString translate(const QString &sql) const = 0;

    // A column type for CREATE TABLE on this engine.
    virtual QString columnType(ColumnType type) const = 0;
    // A whole column for CREATE TABLE: its name, its type and the checks the engine needs to refuse what
    // the suite's server refuses (by default the name and the type).
    virtual QString columnDefinition(const QString &name, ColumnType type) const;
    // NOT NULL for a column of a table written a row per statement and watched by row triggers: on SQLite
    // a NOT NULL that undoes the whole statement makes every insert of such a table keep a statement
    // journal, while one that stops the statement where it stands needs none. A one-row statement fails
    // the same either way. By default plain NOT NULL.
    virtual QString notNullOfWatchedRows() const;
    // A whole column of such a table. On SQLite its dates go without their check: any check, like any
    // NOT NULL that undoes the whole statement, makes every insert of a watched table keep a statement
    // journal, which cost a save of 1,000 detail lines a third of what keeping the search index costs.
    // By default the column as columnDefinition makes it.
    virtual QString columnOfWatchedRows(const QString &name, ColumnType type) const;
    // How a table's identity-free "does it exist" check is written.
    virtual bool tableExists(Connection &con, const QString &table) const = 0;

    // A copy of the whole database in file, consistent while other connections keep writing, and checked
    // before it counts; the file appears only when whole (ReplaceOnCommit). Raises with the reason (the
    // default: the engine has no backup).
    virtual void backup(Connection &con, const QString &file) const;
    // Makes the database hold what the copy in file (made by backup on this engine) holds, all or nothing,
    // in the place of what it held. Raises with the reason.
    virtual void restore(Connection &con, const QString &file) const;
    // Whether the database holds tables of its own.
    virtual bool holdsTables(Connection &con) const;

    // Turns a value as the driver returned it into the value the module expects (dates kept as text on
    // SQLite come back as QDate). declaredType is the column's declared type where the driver knows it.
    virtual QVariant readValue(const QVariant &raw, const QString &declaredType) const = 0;
    // The declared type of each result column of an executed query, "" where values are taken as the
    // driver returns them; readValue is called only for columns with a declared type. Empty by default.
    virtual QStringList declaredTypes(const QSqlQuery &query) const;

    // The types of the markers of the statement just prepared on db, where the engine tells them; and a
    // value as the engine must receive it for a marker of that type (the server takes blank text for 0
    // in a number and for 1 January 1900 in a date). By default: none, and the value unchanged.
    virtual QStringList preparedParameterTypes(QSqlDatabase &db) const;
    virtual QVariant parameterValue(const QVariant &value, const QString &parameterType) const;

protected:
    // A 64-bit number for a lock's name, the same in every process and on every machine.
    static qint64 keyNumber(const QString &key);
    // True when countSql, a count(*) with one marker, counts any row for name; raises when it fails.
    static bool countsAny(Connection &con, const QString &countSql, const QString &name);
};

// The tokenizer-based rewrite shared by the engines: replaces convert(type, expr) by cast(expr as type')
// where type' is the engine's spelling, and renames functions (only where a name is followed by "(").
QString rewriteConvert(const QString &sql, const std::function<QString(const QString &)> &mapType);
QString renameFunctions(const QString &sql, const QHash<QString, QString> &lowerNameToNew);
// datediff(day, start, end): the date part, a bare word in the suite's dialect, becomes a text literal
// ('day') that the engines' own datediff functions take.
QString quoteDateParts(const QString &sql);
// The number of "?" markers outside string literals, quoted identifiers and comments.
int countParameterMarkers(const QString &sql);

namespace detail {
std::unique_ptr<Dialect> makeSqliteDialect();
std::unique_ptr<Dialect> makePostgresDialect();
} // namespace detail

} // namespace platform
