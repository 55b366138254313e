#include "selectionformula.h"

#include "platform/runtime/errors.h"

namespace suite {

namespace {

// Deeper nesting than any report needs is refused, so that no formula can exhaust the stack.
constexpr int MaxDepth = 64;

enum class Kind
{
    End,
    Field,
    Number,
    Text,
    Compare,
    Open,
    Close,
    And,
    Or,
    Not
};

struct Token
{
    Kind kind = Kind::End;
    QString text; // the field's SQL name, the number, the text, or the operator
    qsizetype at = 0;
};

class Parser
{
public:
    Parser(const QString &formula, const QHash<QString, QString> &tables)
        : m_formula(formula), m_tables(tables)
    {
        next();
    }

    SelectionCondition run()
    {
        SelectionCondition result;
        if (m_token.kind == Kind::End)
            return result;
        result.sql = expression(0);
        if (m_token.kind != Kind::End)
            fail(QStringLiteral("unexpected \"%1\"").arg(tokenText()));
        result.values = m_values;
        return result;
    }

private:
    [[noreturn]] void fail(const QString &what) const
    {
        platform::Raise(FormulaError, QStringLiteral("Crystal.CRPE.Application"),
                        QStringLiteral("Error in formula: %1 at position %2").arg(what).arg(m_token.at + 1));
    }

    QString tokenText() const
    {
        return m_formula.mid(m_token.at, std::max<qsizetype>(1, m_token.text.size()));
    }

    static bool isNameChar(QChar c) { return c.isLetterOrNumber() || c == QLatin1Char('_'); }

    void next()
    {
        qsizetype i = m_pos;
        while (i < m_formula.size() && m_formula.at(i).isSpace())
            ++i;
        m_token = Token{Kind::End, QString(), i};
        if (i >= m_formula.size()) {
            m_pos = i;
            return;
        }
        const QChar c = m_formula.at(i);
        if (c == QLatin1Char('{')) {
            const qsizetype close = m_formula.indexOf(QLatin1Char('}'), i);
            if (close < 0)
                fail(QStringLiteral("a field without its closing }"));
            const QString inside = m_formula.mid(i + 1, close - i - 1).trimmed();
            const qsizetype dot = inside.indexOf(QLatin1Char('.'));
            const QString table = dot < 0 ? QString() : inside.left(dot).trimmed();
            const QString field = dot < 0 ? QString() : inside.mid(dot + 1).trimmed();
            if (table.isEmpty() || field.isEmpty())
                fail(QStringLiteral("a field must be written {Table.field}"));
            for (const QChar f : field) {
                if (!isNameChar(f))
                    fail(QStringLiteral("\"%1\" is no field name").arg(field));
            }
            const auto found = m_tables.constFind(table.toLower());
            if (found == m_tables.constEnd())
                fail(QStringLiteral("the report has no table \"%1\"").arg(table));
            m_token = Token{Kind::Field, *found + QLatin1Char('.') + field, i};
            m_pos = close + 1;
            return;
        }
        if (c.isDigit() || c == QLatin1Char('.') ||
            (c == QLatin1Char('-') && i + 1 < m_formula.size() &&
             (m_formula.at(i + 1).isDigit() || m_formula.at(i + 1) == QLatin1Char('.')))) {
            qsizetype j = i + 1;
            while (j < m_formula.size() && (m_formula.at(j).isDigit() || m_formula.at(j) == QLatin1Char('.')))
                ++j;
            m_token = Token{Kind::Number, m_formula.mid(i, j - i), i};
            bool ok = false;
            m_token.text.toDouble(&ok);
            if (!ok)
                fail(QStringLiteral("\"%1\" is no number").arg(m_token.text));
            m_pos = j;
            return;
        }
        if (c == QLatin1Char('"') || c == QLatin1Char('\'')) {
            // A quote inside a text is written twice.
            QString text;
            qsizetype j = i + 1;
            for (;; ++j) {
                if (j >= m_formula.size())
                    fail(QStringLiteral("a text without its closing quote"));
                if (m_formula.at(j) == c) {
                    if (j + 1 < m_formula.size() && m_formula.at(j + 1) == c) {
                        text += c;
                        ++j;
                        continue;
                    }
                    break;
                }
                text += m_formula.at(j);
            }
            m_token = Token{Kind::Text, text, i};
            m_pos = j + 1;
            return;
        }
        for (const char *op : {"<>", "<=", ">=", "=", "<", ">"}) {
            const QLatin1String symbol(op);
            if (QStringView(m_formula).mid(i).startsWith(symbol)) {
                m_token = Token{Kind::Compare, symbol, i};
                m_pos = i + symbol.size();
                return;
            }
        }
        if (c == QLatin1Char('(') || c == QLatin1Char(')')) {
            m_token = Token{c == QLatin1Char('(') ? Kind::Open : Kind::Close, QString(c), i};
            m_pos = i + 1;
            return;
        }
        if (c.isLetter()) {
            qsizetype j = i;
            while (j < m_formula.size() && isNameChar(m_formula.at(j)))
                ++j;
            const QString word = m_formula.mid(i, j - i);
            const QString lower = word.toLower();
            const Kind kind = lower == QLatin1String("and")   ? Kind::And
                              : lower == QLatin1String("or")  ? Kind::Or
                              : lower == QLatin1String("not") ? Kind::Not
                                                              : Kind::End;
            m_token = Token{kind, word, i};
            if (kind == Kind::End)
                fail(QStringLiteral("\"%1\" is not part of the formula language").arg(word));
            m_pos = j;
            return;
        }
        m_token = Token{Kind::End, QString(c), i};
        fail(QStringLiteral("\"%1\" is not part of the formula language").arg(c));
    }

    void enter(int depth) const
    {
        if (depth > MaxDepth)
            fail(QStringLiteral("the formula nests too deeply"));
    }

    QString expression(int depth)
    {
        enter(depth);
        QString sql = conjunction(depth + 1);
        while (m_token.kind == Kind::Or) {
            next();
            sql = QLatin1Char('(') + sql + QStringLiteral(" or ") + conjunction(depth + 1) + QLatin1Char(')');
        }
        return sql;
    }

    QString conjunction(int depth)
    {
        enter(depth);
        QString sql = negation(depth + 1);
        while (m_token.kind == Kind::And) {
            next();
            sql = QLatin1Char('(') + sql + QStringLiteral(" and ") + negation(depth + 1) + QLatin1Char(')');
        }
        return sql;
    }

    QString negation(int depth)
    {
        enter(depth);
        if (m_token.kind == Kind::Not) {
            next();
            return QStringLiteral("(not ") + negation(depth + 1) + QLatin1Char(')');
        }
        if (m_token.kind == Kind::Open) {
            next();
            const QString inner = expression(depth + 1);
            if (m_token.kind != Kind::Close)
                fail(QStringLiteral("a ( without its )"));
            next();
            return inner;
        }
        return comparison();
    }

    QString operand()
    {
        QString sql;
        switch (m_token.kind) {
        case Kind::Field:
            sql = m_token.text;
            break;
        case Kind::Number:
            sql = QStringLiteral("?");
            m_values.append(number(m_token.text));
            break;
        case Kind::Text:
            sql = QStringLiteral("?");
            m_values.append(m_token.text);
            break;
        case Kind::End:
            fail(QStringLiteral("the formula ends too soon"));
        default:
            fail(QStringLiteral("a field, number or text is wanted, not \"%1\"").arg(tokenText()));
        }
        next();
        return sql;
    }

    // A whole number as an integer; a fraction, or a whole number too long for one, as a Double.
    static QVariant number(const QString &text)
    {
        bool whole = false;
        const qlonglong integer = text.toLongLong(&whole);
        return whole ? QVariant(integer) : QVariant(text.toDouble());
    }

    QString comparison()
    {
        const QString left = operand();
        if (m_token.kind != Kind::Compare)
            fail(m_token.kind == Kind::End
                     ? QStringLiteral("a comparison is wanted")
                     : QStringLiteral("a comparison is wanted, not \"%1\"").arg(tokenText()));
        const QString op = m_token.text;
        next();
        const QString right = operand();
        return QLatin1Char('(') + left + QLatin1Char(' ') + op + QLatin1Char(' ') + right + QLatin1Char(')');
    }

    const QString &m_formula;
    const QHash<QString, QString> &m_tables;
    qsizetype m_pos = 0;
    Token m_token;
    QVariantList m_values;
};

} // namespace

SelectionCondition translateSelectionFormula(const QString &formula, const QHash<QString, QString> &tables)
{
    return Parser(formula, tables).run();
}

} // namespace suite
