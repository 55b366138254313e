// The dialects on any text. As a statement: each engine's translation never fails; a statement without
// convert() is left as it is (PostgreSQL) or only has its reserved function names replaced (SQLite), keeps
// its markers and translates to itself again; the same text inside a string literal, a quoted name or a
// comment is never touched, and as convert()'s expression it is moved whole into the cast. As values: the
// functions, the date check and the date collation that SQLite connections get take the text, its bytes
// and a number cut from it without failing, and a date read back is a valid one.

#include "fuzzsupport.h"
#include "platform/database/connection.h"
#include "platform/database/dialect.h"

#include <QCoreApplication>
#include <QVariant>
#include <memory>

namespace {

struct Engines
{
    std::unique_ptr<platform::Dialect> sqlite = platform::Dialect::create(platform::Backend::SQLite);
    std::unique_ptr<platform::Dialect> postgres = platform::Dialect::create(platform::Backend::PostgreSQL);
    platform::Connection connection;
    std::unique_ptr<platform::Command> functions;
    std::unique_ptr<platform::Command> collation;
};

Engines *engines = nullptr;

void translatesUntouched(const QString &sql, const char *rule)
{
    fuzz::check(engines->sqlite->translate(sql) == sql, rule, sql);
    fuzz::check(engines->postgres->translate(sql) == sql, rule, sql);
}

void asStatement(const QString &sql)
{
    const QString forSqlite = engines->sqlite->translate(sql);
    const QString forPostgres = engines->postgres->translate(sql);
    if (!sql.contains(QLatin1String("convert"), Qt::CaseInsensitive)) {
        fuzz::check(forPostgres == sql, "PostgreSQL takes statements without convert() as written", sql);
        fuzz::check(platform::countParameterMarkers(forSqlite) == platform::countParameterMarkers(sql),
                    "renaming keeps the markers", sql);
        fuzz::check(engines->sqlite->translate(forSqlite) == forSqlite,
                    "a translated statement stays as it is", sql);
    }

    QString literal = sql;
    literal.replace(QLatin1Char('\''), QStringLiteral("''"));
    literal = QLatin1Char('\'') + literal + QLatin1Char('\'');
    translatesUntouched(literal, "a string literal is never changed");
    translatesUntouched(QStringLiteral("select ") + literal + QStringLiteral(" from t"),
                        "a string literal is never changed");

    QString name = sql;
    name.replace(QLatin1Char('"'), QStringLiteral("\"\""));
    translatesUntouched(QLatin1Char('"') + name + QLatin1Char('"'), "a quoted name is never changed");

    QString comment = sql;
    comment.replace(QStringLiteral("*/"), QStringLiteral("* /"));
    translatesUntouched(QStringLiteral("/*") + comment + QStringLiteral("*/"), "a comment is never changed");

    // convert(int, 'text') becomes a cast of the same literal.
    const QString convert = QStringLiteral("select convert(int, ") + literal + QStringLiteral(") from t");
    fuzz::check(engines->sqlite->translate(convert) ==
                    QStringLiteral("select cast(") + literal + QStringLiteral(" as integer) from t"),
                "convert's expression is moved whole", literal);
    fuzz::check(engines->postgres->translate(convert) ==
                    QStringLiteral("select cast(") + literal + QStringLiteral(" as integer) from t"),
                "convert's expression is moved whole", literal);
}

void asValues(const uint8_t *data, size_t size, const QString &text)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const qint64 count = size ? qint64(static_cast<int8_t>(data[0])) * (size % 7 + 1) : 0;
    const QString firstHalf = text.left(text.size() / 2);
    const QString secondHalf = text.mid(text.size() / 2);
    fuzz::raisesOnly(
        [&] {
            platform::Recordset rs = engines->functions->Execute(
                {text, text, count, text, count, text, bytes, bytes, count, bytes, QVariant(), text});
            fuzz::check(rs.RecordCount() == 1, "the functions give one row", text);
            platform::Recordset dates = engines->collation->Execute(
                {firstHalf, secondHalf, firstHalf, secondHalf, text, bytes, text});
            fuzz::check(dates.RecordCount() == 1, "the comparison gives one row", text);
        },
        {}, "the registered functions take any value");

    const QVariant read = engines->sqlite->readValue(text, QStringLiteral("DATETEXT"));
    fuzz::check(read.typeId() != QMetaType::QDate || read.toDate().isValid(), "a date read back is valid",
                text);
    const QVariant stamp = engines->sqlite->readValue(text, QStringLiteral("DATETIMETEXT"));
    fuzz::check(stamp.typeId() != QMetaType::QDateTime || stamp.toDateTime().isValid(),
                "a date and time read back is valid", text);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    new QCoreApplication(*argc, *argv);
    engines = new Engines;
    engines->connection.setStatementLogEnabled(false);
    engines->connection.Open(QStringLiteral(":memory:"));
    engines->functions = std::make_unique<platform::Command>(engines->connection);
    engines->functions->setCommandText(
        QStringLiteral("select len(?), right(?, ?), left(?, ?), isnumeric(?), len(?), right(?, ?), "
                       "isnumeric(?), isnull(?, ?)"));
    engines->functions->ParametersRefresh();
    engines->collation = std::make_unique<platform::Command>(engines->connection);
    engines->collation->setCommandText(
        QStringLiteral("select ? < ? collate AGRDATE, ? = ? collate AGRDATE, agr_isdate(?), agr_isdate(?), "
                       "max(x collate AGRDATE) from "
                       "(select ? as x union all select '20261115' union all select '15/11/2026')"));
    engines->collation->ParametersRefresh();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString text = fuzz::text(data, size);
    asStatement(text);
    asValues(data, size, text);
    return 0;
}
