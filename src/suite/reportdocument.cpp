#include "reportdocument.h"

#include "selectionformula.h"

#include "platform/database/connection.h"
#include "platform/runtime/errors.h"

#include <QAbstractTextDocumentLayout>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QPagedPaintDevice>
#include <QPainter>
#include <QTextDocument>

#include <functional>
#include <memory>
#include <vector>

namespace suite {

namespace {

const QString Source = QStringLiteral("Crystal.CRPE.Application");
constexpr int InvalidFileName = 20507;
constexpr int UnableToLoad = 20525;
constexpr int CannotPaint = 20545;

QString joined(const QJsonValue &value)
{
    if (value.isArray()) {
        QStringList lines;
        for (const QJsonValue &line : value.toArray())
            lines << line.toString();
        return lines.join(QLatin1Char('\n'));
    }
    return value.toString();
}

// A field's text as the report shows it: "name" or "name|yesno" / "name|money".
QString shown(const platform::Field &field, const QString &format)
{
    if (field.isNull())
        return QString();
    if (format == QLatin1String("yesno"))
        return field.Value().toInt() != 0 ? QStringLiteral("Yes") : QStringLiteral("No");
    if (format == QLatin1String("money"))
        return QString::number(field.Value().toDouble(), 'f', 2);
    return field.joinEmpty().trimmed();
}

// One record's fields by lower-cased name.
using Row = QHash<QString, QString>;

QString fill(const QString &templ, const std::function<QString(const QString &)> &value)
{
    QString out;
    out.reserve(templ.size() * 2);
    qsizetype i = 0;
    while (i < templ.size()) {
        const qsizetype open = templ.indexOf(QLatin1Char('{'), i);
        const qsizetype close = open < 0 ? -1 : templ.indexOf(QLatin1Char('}'), open);
        if (close < 0) {
            out += QStringView(templ).mid(i);
            break;
        }
        out += QStringView(templ).mid(i, open - i);
        out += value(templ.mid(open + 1, close - open - 1));
        i = close + 1;
    }
    return out;
}

struct Column
{
    QString caption;
    QString field;
    QString format;
    int widthPercent = 0; // 0: shared out by the table
    QString cell() const
    {
        return format == QLatin1String("money") ? QStringLiteral("<td align='right'>")
                                                : QStringLiteral("<td>");
    }
};

} // namespace

void ReportDocument::load(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        platform::Raise(InvalidFileName, Source, QStringLiteral("Invalid file name: ") + path);
    QJsonParseError error;
    const QJsonDocument json = QJsonDocument::fromJson(file.readAll(), &error);
    if (json.isNull() || !json.isObject() || !json.object().value(QStringLiteral("records")).isString())
        platform::Raise(
            UnableToLoad, Source,
            QStringLiteral("Unable to load report: ") + path +
                (json.isNull() ? QStringLiteral(" (") + error.errorString() + QLatin1Char(')') : QString()));
    m_path = path;
    m_definition = json.object();
}

QHash<QString, QString> ReportDocument::tables() const
{
    QHash<QString, QString> tables;
    const QJsonObject declared = m_definition.value(QStringLiteral("tables")).toObject();
    for (auto it = declared.begin(); it != declared.end(); ++it)
        tables.insert(it.key().toLower(), it.value().toString());
    return tables;
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

    // Each list is read once for all records and handed out by the fields it matches on.
    struct List
    {
        QList<Column> columns;
        QStringList listKey, recordKey;
        QHash<QString, QString> tables; // record key -> rendered rows
    };
    QHash<QString, List> lists;
    for (const QJsonValue &value : m_definition.value(QStringLiteral("lists")).toArray()) {
        const QJsonObject def = value.toObject();
        List list;
        for (const QJsonValue &c : def.value(QStringLiteral("columns")).toArray()) {
            const QStringList field = c.toArray().at(1).toString().split(QLatin1Char('|'));
            list.columns.append(
                {c.toArray().at(0).toString(), field.value(0), field.value(1), c.toArray().at(2).toInt()});
        }
        const QJsonObject match = def.value(QStringLiteral("match")).toObject();
        for (auto it = match.begin(); it != match.end(); ++it) {
            list.listKey << it.key();
            list.recordKey << it.value().toString();
        }
        for (platform::Recordset rs = run(def.value(QStringLiteral("sql")).toString()); !rs.isEOF();
             rs.MoveNext()) {
            QStringList key;
            for (const QString &k : list.listKey)
                key << rs[k].joinEmpty().trimmed();
            QString row = QStringLiteral("<tr>");
            for (const Column &c : list.columns)
                row += c.cell() + shown(rs[c.field], c.format).toHtmlEscaped() + QStringLiteral("</td>");
            list.tables[key.join(QLatin1Char('\x1f'))] += row + QStringLiteral("</tr>");
        }
        lists.insert(def.value(QStringLiteral("name")).toString(), list);
    }

    const QString section = joined(m_definition.value(QStringLiteral("section")));
    QStringList sections;
    int records = 0;
    for (platform::Recordset rs = run(m_definition.value(QStringLiteral("records")).toString()); !rs.isEOF();
         rs.MoveNext()) {
        const auto value = [&](const QString &placeholder) -> QString {
            if (placeholder.startsWith(QLatin1String("list:"))) {
                const auto found = lists.constFind(placeholder.mid(5));
                if (found == lists.constEnd())
                    return QString();
                QStringList key;
                for (const QString &k : found->recordKey)
                    key << rs[k].joinEmpty().trimmed();
                const QString rows = found->tables.value(key.join(QLatin1Char('\x1f')));
                if (rows.isEmpty())
                    return QStringLiteral("<p><i>None.</i></p>");
                QString head = QStringLiteral("<tr>");
                for (const Column &c : found->columns)
                    head += QStringLiteral("<th align='%1' bgcolor='#dbe5f0'%2>")
                                .arg(c.format == QLatin1String("money") ? QStringLiteral("right")
                                                                        : QStringLiteral("left"),
                                     c.widthPercent > 0 ? QStringLiteral(" width='%1%'").arg(c.widthPercent)
                                                        : QString()) +
                            c.caption.toHtmlEscaped() + QStringLiteral("</th>");
                return QStringLiteral("<table width='100%' cellspacing='0' cellpadding='3' border='1' "
                                      "style='border-collapse:collapse; border-color:#c3cfdc'>") +
                       head + QStringLiteral("</tr>") + rows + QStringLiteral("</table>");
            }
            const QStringList field = placeholder.split(QLatin1Char('|'));
            return shown(rs[field.value(0)], field.value(1)).toHtmlEscaped();
        };
        sections << fill(section, value);
        ++records;
    }
    if (records == 0)
        sections << QStringLiteral("<p>No agreement matches the selection.</p>");
    m_sections = sections;
    return records;
}

int ReportDocument::paint(QPagedPaintDevice &device) const
{
    QPainter painter(&device);
    if (!painter.isActive())
        platform::Raise(CannotPaint, Source,
                        QStringLiteral("Cannot print the report: the printer or file refused it"));
    const QRect page = device.pageLayout().paintRectPixels(device.logicalDpiX());
    const QSizeF area(page.width(), page.height());

    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPointSizeF(9);
    QTextDocument header;
    header.documentLayout()->setPaintDevice(&device);
    header.setDefaultFont(font);
    header.setDocumentMargin(0);
    header.setTextWidth(area.width());

    // Every record starts a page and is laid out as a document of its own, so that the work grows with the
    // pages and not with their square. The page count comes first, for "Page n of m".
    const auto headerHtml = [&](int pageNo, int pages) -> QString {
        const QString printedText = printed.toString(QStringLiteral("dd/MM/yyyy HH:mm"));
        return fill(m_definition.value(QStringLiteral("header")).toString(),
                    [&](const QString &name) {
                        if (name == QLatin1String("text1"))
                            return textSlots.value(0).toHtmlEscaped();
                        if (name == QLatin1String("text2"))
                            return textSlots.value(1).toHtmlEscaped();
                        if (name == QLatin1String("text3"))
                            return textSlots.value(2).toHtmlEscaped();
                        if (name == QLatin1String("printdate"))
                            return printedText;
                        if (name == QLatin1String("page"))
                            return QString::number(pageNo);
                        if (name == QLatin1String("pages"))
                            return QString::number(pages);
                        return QString();
                    }) +
               QStringLiteral("<hr/>");
    };
    header.setHtml(headerHtml(99999, 99999));
    const qreal headerHeight = header.size().height() + device.logicalDpiY() / 10.0;
    const qreal bodyHeight = area.height() - headerHeight;
    const auto laidOut = [&](QTextDocument &section, const QString &html) {
        section.documentLayout()->setPaintDevice(&device);
        section.setDefaultFont(font);
        section.setDocumentMargin(0);
        section.setHtml(html);
        section.setPageSize(QSizeF(area.width(), bodyHeight));
        return std::max(1, section.pageCount());
    };

    // Up to a thousand records stay laid out between the two passes; a longer register is laid out again.
    constexpr qsizetype KeptSections = 1000;
    const bool keep = m_sections.size() <= KeptSections;
    std::vector<std::unique_ptr<QTextDocument>> kept;
    std::vector<int> sectionPages;
    sectionPages.reserve(size_t(m_sections.size()));
    int pages = 0;
    for (const QString &html : m_sections) {
        auto section = std::make_unique<QTextDocument>();
        sectionPages.push_back(laidOut(*section, html));
        pages += sectionPages.back();
        if (keep)
            kept.push_back(std::move(section));
    }
    int pageNo = 0;
    for (qsizetype s = 0; s < m_sections.size(); ++s) {
        std::unique_ptr<QTextDocument> again;
        QTextDocument *section = keep ? kept[size_t(s)].get() : nullptr;
        if (!section) {
            again = std::make_unique<QTextDocument>();
            laidOut(*again, m_sections.at(s));
            section = again.get();
        }
        for (int i = 0; i < sectionPages[size_t(s)]; ++i) {
            if (pageNo > 0)
                device.newPage();
            ++pageNo;
            painter.save();
            header.setHtml(headerHtml(pageNo, pages));
            header.drawContents(&painter);
            painter.translate(0, headerHeight - i * bodyHeight);
            section->drawContents(&painter, QRectF(0, i * bodyHeight, area.width(), bodyHeight));
            painter.restore();
        }
    }
    return pages;
}

} // namespace suite
