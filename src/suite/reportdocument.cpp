#include "reportdocument.h"

#include "selectionformula.h"

#include "platform/database/connection.h"
#include "platform/runtime/errors.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace suite {

namespace {

const QString Source = QStringLiteral("Crystal.CRPE.Application");
constexpr int InvalidFileName = 20507;
constexpr int UnableToLoad = 20525;

// A field's text as the report shows it: "name" or "name|yesno" / "name|money".
QString shown(const platform::Field &field, QStringView format)
{
    if (field.isNull())
        return QString();
    if (format == QLatin1String("yesno"))
        return field.Value().toInt() != 0 ? QStringLiteral("Yes") : QStringLiteral("No");
    if (format == QLatin1String("money"))
        return QString::number(field.Value().toDouble(), 'f', 2);
    return field.joinEmpty().trimmed();
}

QString fieldText(const platform::Recordset &rs, QStringView placeholder)
{
    const qsizetype bar = placeholder.indexOf(QLatin1Char('|'));
    if (bar < 0)
        return shown(rs[placeholder.toString()], {});
    return shown(rs[placeholder.left(bar).toString()], placeholder.mid(bar + 1));
}

} // namespace

namespace {

// A text between two placeholders or groups that holds no letter or digit (", ", " · ") separates them:
// it is printed only between two parts that print something.
bool separates(QStringView literal)
{
    for (const QChar c : literal) {
        if (c.isLetterOrNumber())
            return false;
    }
    return true;
}

struct Filled
{
    QString text;
    bool hasValue = false; // a placeholder in it had a value
};

// Fills the template from i to the closing bracket of the group it is in (or to its end), leaving i after
// that bracket.
Filled fillFrom(QStringView templ, qsizetype &i, bool inGroup,
                const std::function<QString(QStringView)> &value)
{
    struct Token
    {
        QString text;
        bool item = false; // a placeholder or a group; otherwise text of the template
    };
    QList<Token> tokens;
    Filled filled;
    QString literal;
    const auto endLiteral = [&] {
        if (!literal.isEmpty())
            tokens.append({literal, false});
        literal.clear();
    };
    while (i < templ.size()) {
        const QChar c = templ.at(i);
        if (c == QLatin1Char('{')) {
            const qsizetype close = templ.indexOf(QLatin1Char('}'), i);
            if (close < 0) {
                literal += templ.mid(i);
                i = templ.size();
                break;
            }
            endLiteral();
            const QString v = value(templ.mid(i + 1, close - i - 1));
            filled.hasValue = filled.hasValue || !v.isEmpty();
            tokens.append({v, true});
            i = close + 1;
        } else if (c == QLatin1Char('[')) {
            endLiteral();
            ++i;
            const Filled group = fillFrom(templ, i, true, value);
            filled.hasValue = filled.hasValue || group.hasValue;
            tokens.append({group.hasValue ? group.text : QString(), true});
        } else if (c == QLatin1Char(']') && inGroup) {
            ++i;
            break;
        } else {
            literal += c;
            ++i;
        }
    }
    endLiteral();

    bool printedBefore = false;
    for (qsizetype t = 0; t < tokens.size(); ++t) {
        const Token &token = tokens.at(t);
        if (token.item) {
            filled.text += token.text;
            printedBefore = printedBefore || !token.text.isEmpty();
            continue;
        }
        const bool between = t > 0 && t + 1 < tokens.size() && tokens.at(t - 1).item && tokens.at(t + 1).item;
        if (!between || !separates(token.text) || (printedBefore && !tokens.at(t + 1).text.isEmpty()))
            filled.text += token.text;
    }
    return filled;
}

} // namespace

QString fillPlaceholders(const QString &templ, const std::function<QString(QStringView)> &value)
{
    qsizetype i = 0;
    return fillFrom(templ, i, false, value).text;
}

void ReportDocument::load(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        platform::Raise(InvalidFileName, Source, QStringLiteral("Invalid file name: ") + path);
    QJsonParseError error;
    const QJsonDocument json = QJsonDocument::fromJson(file.readAll(), &error);
    const auto refuse = [&](const QString &why) {
        platform::Raise(UnableToLoad, Source,
                        QStringLiteral("Unable to load report: ") + path + QStringLiteral(" (") + why +
                            QLatin1Char(')'));
    };
    if (json.isNull())
        refuse(error.errorString());
    const QJsonObject def = json.object();
    if (!def.value(QStringLiteral("records")).isString() || !def.value(QStringLiteral("section")).isArray())
        refuse(QStringLiteral("it has no records or no section"));

    QList<List> lists;
    for (const QJsonValue &value : def.value(QStringLiteral("lists")).toArray()) {
        const QJsonObject l = value.toObject();
        List list{l.value(QStringLiteral("name")).toString(),
                  l.value(QStringLiteral("sql")).toString(),
                  {},
                  {},
                  {}};
        for (const QJsonValue &c : l.value(QStringLiteral("columns")).toArray()) {
            const QJsonArray column = c.toArray();
            const QStringList field = column.at(1).toString().split(QLatin1Char('|'));
            list.columns.append(
                {column.at(0).toString(), field.value(0), field.value(1), column.at(2).toInt()});
        }
        const QJsonObject match = l.value(QStringLiteral("match")).toObject();
        for (auto it = match.begin(); it != match.end(); ++it) {
            list.listKey << it.key();
            list.recordKey << it.value().toString();
        }
        if (list.columns.isEmpty())
            refuse(QStringLiteral("list ") + list.name + QStringLiteral(" has no columns"));
        lists.append(list);
    }

    QList<Part> parts;
    for (const QJsonValue &value : def.value(QStringLiteral("section")).toArray()) {
        const QJsonObject p = value.toObject();
        Part part;
        if (p.contains(QStringLiteral("title"))) {
            const QJsonArray title = p.value(QStringLiteral("title")).toArray();
            part.kind = Part::Kind::Title;
            part.texts = {title.at(0).toString(), title.at(1).toString()};
        } else if (p.contains(QStringLiteral("line"))) {
            part.texts = {p.value(QStringLiteral("line")).toString()};
        } else if (p.contains(QStringLiteral("fields"))) {
            part.kind = Part::Kind::Fields;
            for (const QJsonValue &pair : p.value(QStringLiteral("fields")).toArray())
                part.texts << pair.toArray().at(0).toString() << pair.toArray().at(1).toString();
        } else if (p.contains(QStringLiteral("list"))) {
            part.kind = Part::Kind::List;
            part.texts = {p.value(QStringLiteral("heading")).toString()};
            const QString name = p.value(QStringLiteral("list")).toString();
            for (qsizetype i = 0; i < lists.size(); ++i)
                if (lists.at(i).name == name)
                    part.list = int(i);
            if (part.list < 0)
                refuse(QStringLiteral("no list named ") + name);
        } else {
            refuse(QStringLiteral("a part of the section is neither title, line, fields nor list"));
        }
        parts.append(part);
    }

    const QJsonObject header = def.value(QStringLiteral("header")).toObject();
    m_headerTitle = header.value(QStringLiteral("title")).toString();
    m_headerSubtitle = header.value(QStringLiteral("subtitle")).toString();
    m_headerRight.clear();
    for (const QJsonValue &line : header.value(QStringLiteral("right")).toArray())
        m_headerRight << line.toString();
    QHash<QString, QString> declared;
    const QJsonObject tables = def.value(QStringLiteral("tables")).toObject();
    for (auto it = tables.begin(); it != tables.end(); ++it)
        declared.insert(it.key().toLower(), it.value().toString());
    m_path = path;
    m_tables = declared;
    m_recordsSql = def.value(QStringLiteral("records")).toString();
    m_lists = lists;
    m_parts = parts;
    m_records.clear();
}

int ReportDocument::build(platform::Connection &con, const QString &selectionFormula)
{
    const SelectionCondition condition = translateSelectionFormula(selectionFormula, tables());
    const QString where = condition.sql.isEmpty() ? QStringLiteral("1=1") : condition.sql;
    const auto run = [&](const QString &sql) {
        platform::Command cmd(con);
        cmd.setCommandText(QString(sql).replace(QStringLiteral("{selection}"), where));
        cmd.ParametersRefresh();
        return cmd.Execute(condition.values);
    };
    const QChar separator(0x1f);

    // Each list is read once for all records and handed out by the fields it matches on.
    QList<QHash<QString, QList<QStringList>>> rowsByKey(m_lists.size());
    for (qsizetype l = 0; l < m_lists.size(); ++l) {
        const List &list = m_lists.at(l);
        for (platform::Recordset rs = run(list.sql); !rs.isEOF(); rs.MoveNext()) {
            QString key;
            for (const QString &k : list.listKey)
                key += rs[k].joinEmpty().trimmed() + separator;
            QStringList row;
            row.reserve(list.columns.size());
            for (const Column &c : list.columns)
                row << shown(rs[c.field], c.format);
            rowsByKey[l][key].append(row);
        }
    }

    QList<Record> records;
    for (platform::Recordset rs = run(m_recordsSql); !rs.isEOF(); rs.MoveNext()) {
        const auto value = [&](QStringView placeholder) { return fieldText(rs, placeholder); };
        Record record;
        record.texts.reserve(m_parts.size());
        for (const Part &part : m_parts) {
            QStringList texts;
            if (part.kind == Part::Kind::List) {
                const List &list = m_lists.at(part.list);
                QString key;
                for (const QString &k : list.recordKey)
                    key += rs[k].joinEmpty().trimmed() + separator;
                record.rows.append(rowsByKey.at(part.list).value(key));
                texts = part.texts;
            } else if (part.kind == Part::Kind::Fields) {
                for (qsizetype i = 0; i < part.texts.size(); ++i)
                    texts << (i % 2 == 0 ? part.texts.at(i) : fillPlaceholders(part.texts.at(i), value));
            } else {
                for (const QString &t : part.texts)
                    texts << fillPlaceholders(t, value);
            }
            record.texts.append(texts);
        }
        records.append(record);
    }
    m_records = records;
    return int(records.size());
}

} // namespace suite
