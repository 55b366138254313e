#include "dialect.h"

#include "platform/runtime/errors.h"

#include <QCryptographicHash>
#include <QSqlDriver>
#include <QSqlError>
#include <QtEndian>
#include <vector>

namespace platform {

namespace {

// A statement cut into pieces that the rewrites can recognise without ever looking inside a string
// literal, a quoted identifier or a comment.
enum class TokenKind
{
    Space,
    Comment,
    String,
    QuotedName,
    Word,
    Number,
    Symbol
};

struct Token
{
    TokenKind kind;
    qsizetype start;
    qsizetype length;
};

bool isWordStart(QChar c)
{
    return c.isLetter() || c == QLatin1Char('_') || c == QLatin1Char('@') || c == QLatin1Char('#');
}

bool isWordChar(QChar c)
{
    return c.isLetterOrNumber() || c == QLatin1Char('_') || c == QLatin1Char('@') || c == QLatin1Char('#') ||
           c == QLatin1Char('$');
}

// Scans to the closing quote; a doubled quote stands for itself. An unclosed quote runs to the end.
qsizetype quotedEnd(const QString &sql, qsizetype i, QChar close)
{
    const qsizetype n = sql.size();
    ++i;
    while (i < n) {
        if (sql.at(i) == close) {
            if (i + 1 < n && sql.at(i + 1) == close) {
                i += 2;
                continue;
            }
            return i + 1;
        }
        ++i;
    }
    return n;
}

std::vector<Token> tokenize(const QString &sql)
{
    std::vector<Token> tokens;
    const qsizetype n = sql.size();
    qsizetype i = 0;
    while (i < n) {
        const QChar c = sql.at(i);
        const qsizetype start = i;
        TokenKind kind = TokenKind::Symbol;
        if (c.isSpace()) {
            while (i < n && sql.at(i).isSpace())
                ++i;
            kind = TokenKind::Space;
        } else if (c == QLatin1Char('-') && i + 1 < n && sql.at(i + 1) == QLatin1Char('-')) {
            while (i < n && sql.at(i) != QLatin1Char('\n'))
                ++i;
            kind = TokenKind::Comment;
        } else if (c == QLatin1Char('/') && i + 1 < n && sql.at(i + 1) == QLatin1Char('*')) {
            const qsizetype close = sql.indexOf(QStringLiteral("*/"), i + 2);
            i = close < 0 ? n : close + 2;
            kind = TokenKind::Comment;
        } else if (c == QLatin1Char('\'')) {
            i = quotedEnd(sql, i, c);
            kind = TokenKind::String;
        } else if (c == QLatin1Char('"') || c == QLatin1Char('`')) {
            i = quotedEnd(sql, i, c);
            kind = TokenKind::QuotedName;
        } else if (c == QLatin1Char('[')) {
            i = quotedEnd(sql, i, QLatin1Char(']'));
            kind = TokenKind::QuotedName;
        } else if (isWordStart(c)) {
            while (i < n && isWordChar(sql.at(i)))
                ++i;
            kind = TokenKind::Word;
        } else if (c.isDigit()) {
            while (i < n && (sql.at(i).isLetterOrNumber() || sql.at(i) == QLatin1Char('.')))
                ++i;
            kind = TokenKind::Number;
        } else {
            ++i;
        }
        tokens.push_back({kind, start, i - start});
    }
    return tokens;
}

bool isSymbol(const QString &sql, const Token &t, char symbol)
{
    return t.kind == TokenKind::Symbol && sql.at(t.start) == QLatin1Char(symbol);
}

// The next token that is neither blank nor a comment, or tokens.size().
size_t nextSignificant(const std::vector<Token> &tokens, size_t i)
{
    while (i < tokens.size() && (tokens[i].kind == TokenKind::Space || tokens[i].kind == TokenKind::Comment))
        ++i;
    return i;
}

// Is the word at i a function call: followed by "(" and not qualified by a preceding ".".
bool isCall(const QString &sql, const std::vector<Token> &tokens, size_t i)
{
    const size_t next = nextSignificant(tokens, i + 1);
    if (next >= tokens.size() || !isSymbol(sql, tokens[next], '('))
        return false;
    return i == 0 || !isSymbol(sql, tokens[i - 1], '.');
}

// The index of the ")" that closes the "(" at open, or tokens.size() when it is missing.
size_t matchingParen(const QString &sql, const std::vector<Token> &tokens, size_t open)
{
    int depth = 0;
    for (size_t i = open; i < tokens.size(); ++i) {
        if (isSymbol(sql, tokens[i], '('))
            ++depth;
        else if (isSymbol(sql, tokens[i], ')') && --depth == 0)
            return i;
    }
    return tokens.size();
}

QString span(const QString &sql, const std::vector<Token> &tokens, size_t from, size_t to)
{
    if (from >= to)
        return QString();
    const qsizetype start = tokens[from].start;
    const qsizetype end = tokens[to - 1].start + tokens[to - 1].length;
    return sql.mid(start, end - start);
}

class ConvertRewriter
{
public:
    ConvertRewriter(const QString &sql, const std::function<QString(const QString &)> &mapType)
        : m_sql(sql), m_tokens(tokenize(sql)), m_mapType(mapType)
    {
    }

    QString run() { return rewrite(0, m_tokens.size()); }

private:
    QString rewrite(size_t from, size_t to)
    {
        QString out;
        size_t i = from;
        while (i < to) {
            const Token &t = m_tokens[i];
            if (t.kind == TokenKind::Word && t.length == 7 &&
                QStringView(m_sql)
                        .mid(t.start, t.length)
                        .compare(QLatin1String("convert"), Qt::CaseInsensitive) == 0 &&
                isCall(m_sql, m_tokens, i)) {
                const size_t open = nextSignificant(m_tokens, i + 1);
                const size_t close = matchingParen(m_sql, m_tokens, open);
                const size_t comma = topLevelComma(open + 1, close);
                // convert(type, expr) only; a style argument or a malformed call is left for the engine
                // to reject.
                if (close < to && comma < close && topLevelComma(comma + 1, close) >= close) {
                    const QString type = span(m_sql, m_tokens, open + 1, comma).trimmed();
                    const QString expr = rewrite(comma + 1, close).trimmed();
                    out += QStringLiteral("cast(") + expr + QStringLiteral(" as ") + m_mapType(type) +
                           QLatin1Char(')');
                    i = close + 1;
                    continue;
                }
            }
            out += QStringView(m_sql).mid(t.start, t.length);
            ++i;
        }
        return out;
    }

    size_t topLevelComma(size_t from, size_t to) const
    {
        int depth = 0;
        for (size_t i = from; i < to; ++i) {
            if (isSymbol(m_sql, m_tokens[i], '('))
                ++depth;
            else if (isSymbol(m_sql, m_tokens[i], ')'))
                --depth;
            else if (depth == 0 && isSymbol(m_sql, m_tokens[i], ','))
                return i;
        }
        return to;
    }

    const QString &m_sql;
    std::vector<Token> m_tokens;
    const std::function<QString(const QString &)> &m_mapType;
};

// The engine that speaks the suite's dialect natively: statements pass unchanged.
class OdbcDialect : public Dialect
{
public:
    Backend backend() const override { return Backend::ODBC; }
    QString driverName() const override { return QStringLiteral("QODBC"); }
    void prepare(QSqlDatabase &) override {}
    void install(Connection &) override {}
    QString translate(const QString &sql) const override { return sql; }

    QString columnType(ColumnType type) const override
    {
        switch (type) {
        case ColumnType::SmallInt:
            return QStringLiteral("smallint");
        case ColumnType::Integer:
            return QStringLiteral("int");
        case ColumnType::BigInt:
            return QStringLiteral("bigint");
        case ColumnType::Double:
            return QStringLiteral("float");
        case ColumnType::Text:
            return QStringLiteral("varchar(255)");
        case ColumnType::Date:
        case ColumnType::DateTime:
            return QStringLiteral("datetime");
        case ColumnType::Blob:
            return QStringLiteral("image");
        case ColumnType::Identity:
            return QStringLiteral("int identity(1,1) primary key");
        }
        return QString();
    }

    bool tableExists(Connection &con, const QString &table) const override
    {
        const QStringList tables = con.database().tables(QSql::Tables);
        return tables.contains(table, Qt::CaseInsensitive);
    }

    QVariant readValue(const QVariant &raw, const QString &) const override { return raw; }
};

} // namespace

bool Dialect::countsAny(Connection &con, const QString &countSql, const QString &name)
{
    QSqlQuery q(con.database());
    const bool prepared = q.prepare(countSql);
    q.addBindValue(name);
    if (!prepared || !q.exec() || !q.next())
        con.raiseDriverError(q.lastError(), q.lastQuery());
    return q.value(0).toInt() > 0;
}

QString Dialect::notNullOfWatchedRows() const
{
    return QStringLiteral("NOT NULL");
}

QString Dialect::columnDefinition(const QString &name, ColumnType type) const
{
    return name + QLatin1Char(' ') + columnType(type);
}

QString Dialect::columnOfWatchedRows(const QString &name, ColumnType type) const
{
    return columnDefinition(name, type);
}

QStringList Dialect::declaredTypes(const QSqlQuery &) const
{
    return {};
}

QStringList Dialect::preparedParameterTypes(QSqlDatabase &) const
{
    return {};
}

QVariant Dialect::parameterValue(const QVariant &value, const QString &) const
{
    return value;
}

std::unique_ptr<Dialect> Dialect::create(Backend backend)
{
    switch (backend) {
    case Backend::SQLite:
        return detail::makeSqliteDialect();
    case Backend::PostgreSQL:
        return detail::makePostgresDialect();
    case Backend::ODBC:
        return std::make_unique<OdbcDialect>();
    }
    return nullptr;
}

QString rewriteConvert(const QString &sql, const std::function<QString(const QString &)> &mapType)
{
    if (!sql.contains(QLatin1String("convert"), Qt::CaseInsensitive))
        return sql;
    return ConvertRewriter(sql, mapType).run();
}

QString renameFunctions(const QString &sql, const QHash<QString, QString> &lowerNameToNew)
{
    const std::vector<Token> tokens = tokenize(sql);
    QString out;
    out.reserve(sql.size() + 16);
    for (size_t i = 0; i < tokens.size(); ++i) {
        const Token &t = tokens[i];
        const QStringView text = QStringView(sql).mid(t.start, t.length);
        if (t.kind == TokenKind::Word) {
            const auto found = lowerNameToNew.constFind(text.toString().toLower());
            if (found != lowerNameToNew.constEnd() && isCall(sql, tokens, i)) {
                out += found.value();
                continue;
            }
        }
        out += text;
    }
    return out;
}

QString quoteDateParts(const QString &sql)
{
    if (!sql.contains(QLatin1String("datediff"), Qt::CaseInsensitive))
        return sql;
    const std::vector<Token> tokens = tokenize(sql);
    QString out;
    out.reserve(sql.size() + 8);
    size_t quoteAt = tokens.size(); // the token to write as a literal
    for (size_t i = 0; i < tokens.size(); ++i) {
        const Token &t = tokens[i];
        const QStringView text = QStringView(sql).mid(t.start, t.length);
        if (i == quoteAt) {
            out += QLatin1Char('\'') + text.toString().toLower() + QLatin1Char('\'');
            continue;
        }
        if (t.kind == TokenKind::Word && text.compare(QLatin1String("datediff"), Qt::CaseInsensitive) == 0 &&
            isCall(sql, tokens, i)) {
            const size_t part = nextSignificant(tokens, nextSignificant(tokens, i + 1) + 1);
            if (part < tokens.size() && tokens[part].kind == TokenKind::Word)
                quoteAt = part;
        }
        out += text;
    }
    return out;
}

int countParameterMarkers(const QString &sql)
{
    int count = 0;
    for (const Token &t : tokenize(sql))
        if (t.kind == TokenKind::Symbol && sql.at(t.start) == QLatin1Char('?'))
            ++count;
    return count;
}

std::unique_ptr<KeyLock::Holder> Dialect::lockKey(Connection &, const QString &)
{
    return nullptr;
}

qint64 Dialect::keyNumber(const QString &key)
{
    const QByteArray digest = QCryptographicHash::hash(key.toUtf8(), QCryptographicHash::Sha256);
    return qFromBigEndian<qint64>(digest.constData());
}

bool Dialect::beginTransaction(QSqlDatabase &db, QSqlError &error) const
{
    const bool begun = db.transaction();
    if (!begun)
        error = db.lastError();
    return begun;
}

void Dialect::backup(Connection &, const QString &) const
{
    Raise(err::DatabaseError, driverName(), QStringLiteral("this kind of database has no backup here"));
}

void Dialect::restore(Connection &, const QString &) const
{
    Raise(err::DatabaseError, driverName(), QStringLiteral("this kind of database has no restore here"));
}

bool Dialect::holdsTables(Connection &) const
{
    return true;
}

} // namespace platform
