// The report's layout: each record from a new page under the page header, its title and lines wrapped at
// the page's width, its captioned fields in two pairs of columns, its lists as ruled tables whose caption
// row comes again on every page they continue on. Text is measured from cached advances and painted line
// by line, and the same measuring runs twice (the page count first, for "Page n of m"), so both passes
// break the pages in the same places.

#include "reportdocument.h"

#include "platform/runtime/errors.h"

#include <QFontMetricsF>
#include <QGlyphRun>
#include <QPagedPaintDevice>
#include <QPainter>
#include <QRawFont>
#include <QTextLayout>

#include <array>
#include <cmath>
#include <vector>

namespace suite {

namespace {

const QString Source = QStringLiteral("Crystal.CRPE.Application");
constexpr int CannotPaint = 20545;

const QColor CaptionBack(0xdb, 0xe5, 0xf0);
const QColor Rule(0xc3, 0xcf, 0xdc);

// A font at the device's resolution. Text of the Latin letters is measured and set from each letter's
// glyph and advance, kept after the letter's first use: no shaping, and the width measured is the width
// drawn. Text with other letters is shaped, as combining marks and ligatures change its glyphs and width.
class Face
{
public:
    Face(QPaintDevice &device, qreal points, bool bold = false, bool italic = false)
        : font(sized(points, bold, italic)), raw(QRawFont::fromFont(font)), m_metrics(font, &device)
    {
        raw.setPixelSize(points * device.logicalDpiY() / 72.0);
        ascent = m_metrics.ascent();
        lineSpacing = m_metrics.lineSpacing();
    }

    struct Glyph
    {
        quint32 index = 0;
        qreal advance = -1;
    };
    bool simple(QStringView text) const
    {
        if (!raw.isValid())
            return false;
        for (const QChar c : text)
            if (c.unicode() >= m_glyphs.size())
                return false;
        return true;
    }
    // A letter of simple text; a control character is set as a blank.
    const Glyph &glyph(char16_t u) const
    {
        Glyph &g = m_glyphs[u];
        if (g.advance < 0) {
            const QList<quint32> index = raw.glyphIndexesForString(QString(QChar(u < 0x20 ? u' ' : u)));
            const QList<QPointF> advance = raw.advancesForGlyphIndexes(index);
            g.index = index.value(0);
            g.advance = advance.isEmpty() ? 0 : advance.first().x();
        }
        return g;
    }
    qreal advance(QStringView text) const
    {
        if (!simple(text))
            return m_metrics.horizontalAdvance(text.toString());
        qreal width = 0;
        for (const QChar c : text)
            width += glyph(c.unicode()).advance;
        return width;
    }

    const QFont font;
    QRawFont raw;
    qreal ascent = 0;
    qreal lineSpacing = 0;

private:
    static QFont sized(qreal points, bool bold, bool italic)
    {
        QFont font(QStringLiteral("DejaVu Sans"), -1, bold ? QFont::Bold : QFont::Normal, italic);
        font.setPointSizeF(points);
        return font;
    }

    QFontMetricsF m_metrics;
    mutable std::array<Glyph, 0x250> m_glyphs;
};

// Breaks text into lines no wider than width (the first line firstWidth): at line breaks, then between
// words, and inside a word too long for a line.
QStringList wrap(const QString &text, const Face &face, qreal width, qreal firstWidth)
{
    QStringList lines;
    const qreal space = face.advance(u" ");
    for (QStringView paragraph : QStringView(text).split(QLatin1Char('\n'))) {
        if (paragraph.endsWith(QLatin1Char('\r')))
            paragraph.chop(1);
        QString line;
        qreal used = 0;
        const auto limit = [&] { return lines.isEmpty() ? firstWidth : width; };
        const auto flush = [&] {
            lines << line;
            line.clear();
            used = 0;
        };
        for (QStringView word : paragraph.split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
            qreal w = face.advance(word);
            if (!line.isEmpty() && used + space + w > limit())
                flush();
            while (w > limit() && word.size() > 1) {
                // A word wider than the line: as many letters as fit, the rest on the next line.
                qsizetype fit = 1;
                qreal part = face.advance(word.left(1));
                while (fit < word.size() && part + face.advance(word.mid(fit, 1)) <= limit() - used)
                    part += face.advance(word.mid(fit++, 1));
                line += word.left(fit);
                flush();
                word = word.mid(fit);
                w = face.advance(word);
            }
            if (!line.isEmpty()) {
                line += QLatin1Char(' ');
                used += space;
            }
            line += word;
            used += w;
        }
        flush();
    }
    return lines;
}

struct Faces
{
    explicit Faces(QPaintDevice &device)
        : text(device, 9), bold(device, 9, true), italic(device, 9, false, true), heading(device, 11, true),
          title(device, 13, true), titleText(device, 13), headerTitle(device, 15, true)
    {
    }
    Face text, bold, italic, heading, title, titleText, headerTitle;
};

// Where the next line goes, and the pages so far. Without a painter it only counts.
class Pages
{
public:
    Pages(QPagedPaintDevice &device, QPainter *painter, const Faces &faces, const ReportDocument &report,
          const QString &headerTitle, const QString &headerSubtitle, const QStringList &headerRight,
          int pageCount)
        : m_device(device), m_painter(painter), m_faces(faces), m_report(report), m_headerTitle(headerTitle),
          m_headerSubtitle(headerSubtitle), m_headerRight(headerRight), m_pageCount(pageCount)
    {
        const QRect page = device.pageLayout().paintRectPixels(device.logicalDpiX());
        width = page.width();
        m_bottom = page.height();
        dpi = device.logicalDpiY();
        const qreal left = faces.headerTitle.lineSpacing + faces.text.lineSpacing;
        const qreal right = qMax<qsizetype>(1, headerRight.size()) * faces.text.lineSpacing;
        m_rule = qMax(left, right) + dpi / 30.0;
        m_top = m_rule + dpi / 10.0;
    }

    bool drawing() const { return m_painter != nullptr; }
    int pages() const { return m_pageNo; }
    qreal space() const { return m_bottom - y; }
    bool atTop() const { return y <= m_top; }

    void newPage()
    {
        flush();
        if (m_painter && m_pageNo > 0)
            m_device.newPage();
        ++m_pageNo;
        y = m_top;
        if (m_painter)
            drawHeader();
    }
    // Starts a page unless what follows fits on this one; a part that fits on no page starts here anyway.
    void need(qreal height)
    {
        if (y + height > m_bottom && !atTop())
            newPage();
    }

    // Text is gathered for the page and set when the page is done, all of one font at once.
    void text(const Face &face, qreal x, qreal top, const QString &line, Qt::Alignment align = Qt::AlignLeft)
    {
        if (!m_painter || line.isEmpty())
            return;
        if (align & Qt::AlignRight)
            x -= face.advance(line);
        if (face.simple(line)) {
            Run &run = runOf(face.raw);
            const qreal baseline = top + face.ascent;
            for (const QChar c : line) {
                const Face::Glyph &g = face.glyph(c.unicode());
                run.glyphs.append(g.index);
                run.positions.append(QPointF(x, baseline));
                x += g.advance;
            }
            return;
        }
        QTextLayout layout(line, face.font, &m_device);
        layout.beginLayout();
        layout.createLine();
        layout.endLayout();
        for (const QGlyphRun &shaped : layout.glyphRuns()) {
            Run &run = runOf(shaped.rawFont());
            run.glyphs.append(shaped.glyphIndexes());
            for (const QPointF &p : shaped.positions())
                run.positions.append(p + QPointF(x, top));
        }
    }
    // Sets the page's gathered text.
    void flush()
    {
        if (!m_painter)
            return;
        if (m_ruling) {
            m_painter->setPen(Qt::black);
            m_ruling = false;
        }
        for (Run &run : m_runs) {
            if (run.glyphs.isEmpty())
                continue;
            QGlyphRun glyphs;
            glyphs.setRawFont(run.font);
            glyphs.setGlyphIndexes(run.glyphs);
            glyphs.setPositions(run.positions);
            m_painter->drawGlyphRun(QPointF(), glyphs);
            run.glyphs.clear();
            run.positions.clear();
        }
    }
    void rule(QPointF from, QPointF to, const QColor &colour)
    {
        if (!m_painter)
            return;
        if (!m_ruling || m_painter->pen().color() != colour) {
            m_painter->setPen(QPen(colour, dpi / 150.0));
            m_ruling = true;
        }
        m_painter->drawLine(from, to);
    }
    void fill(const QRectF &area, const QColor &colour)
    {
        if (m_painter)
            m_painter->fillRect(area, colour);
    }
    qreal width = 0;
    qreal y = 0;
    qreal dpi = 300;

private:
    void drawHeader()
    {
        const auto value = [&](QStringView name) -> QString {
            if (name == QLatin1String("text1"))
                return m_report.textSlots.value(0);
            if (name == QLatin1String("text2"))
                return m_report.textSlots.value(1);
            if (name == QLatin1String("text3"))
                return m_report.textSlots.value(2);
            if (name == QLatin1String("printdate"))
                return m_report.printed.toString(QStringLiteral("dd/MM/yyyy HH:mm"));
            if (name == QLatin1String("page"))
                return QString::number(m_pageNo);
            if (name == QLatin1String("pages"))
                return QString::number(m_pageCount);
            return QString();
        };
        text(m_faces.headerTitle, 0, 0, fillPlaceholders(m_headerTitle, value));
        text(m_faces.text, 0, m_faces.headerTitle.lineSpacing, fillPlaceholders(m_headerSubtitle, value));
        qreal top = 0;
        for (const QString &line : m_headerRight) {
            text(m_faces.text, width, top, fillPlaceholders(line, value), Qt::AlignRight);
            top += m_faces.text.lineSpacing;
        }
        rule(QPointF(0, m_rule), QPointF(width, m_rule), Qt::black);
    }

    QPagedPaintDevice &m_device;
    QPainter *m_painter;
    const Faces &m_faces;
    const ReportDocument &m_report;
    const QString &m_headerTitle;
    const QString &m_headerSubtitle;
    const QStringList &m_headerRight;
    const int m_pageCount;
    struct Run
    {
        QRawFont font;
        QList<quint32> glyphs;
        QList<QPointF> positions;
    };
    Run &runOf(const QRawFont &font)
    {
        for (Run &run : m_runs)
            if (run.font == font)
                return run;
        m_runs.push_back({font, {}, {}});
        return m_runs.back();
    }

    std::vector<Run> m_runs;
    bool m_ruling = true;
    int m_pageNo = 0;
    qreal m_top = 0, m_rule = 0, m_bottom = 0;
};

// Rows of cells, each cell wrapped in its column; a row taller than the room left goes on, line by line,
// on the next page. A ruled table draws its caption row again at the top of each page it continues on.
class Table
{
public:
    struct Cell
    {
        const Face *face;
        QStringList lines;
        bool right = false;
    };

    Table(Pages &pages, QList<qreal> widths, qreal pad, bool ruled)
        : m_pages(pages), m_widths(std::move(widths)), m_pad(pad), m_ruled(ruled)
    {
        for (const qreal w : m_widths)
            m_total += w;
    }

    void setCaption(QList<Cell> caption) { m_caption = std::move(caption); }
    qreal rowHeight(const QList<Cell> &row) const { return lines(row) * lineSpacing(row) + 2 * m_pad; }

    QList<Cell> cells(const QStringList &texts, const QList<const Face *> &faces,
                      const QList<bool> &right) const
    {
        QList<Cell> row;
        for (qsizetype c = 0; c < texts.size(); ++c) {
            const qreal inner = m_widths.at(c) - 2 * m_pad;
            row.append({faces.at(c), wrap(texts.at(c), *faces.at(c), inner, inner), right.value(c)});
        }
        return row;
    }

    void add(const QList<Cell> &row, bool caption = false)
    {
        const qreal step = lineSpacing(row);
        const int total = lines(row);
        int from = 0;
        bool fresh = false; // a page begun for this row takes at least one of its lines
        while (from < total) {
            int fit = int(std::floor((m_pages.space() - 2 * m_pad) / step));
            if (fit < 1 && !fresh && !m_pages.atTop()) {
                endPage();
                m_pages.newPage();
                if (!caption && !m_caption.isEmpty())
                    add(m_caption, true);
                fresh = true;
                continue;
            }
            fit = qMax(1, fit);
            fresh = false;
            fit = qMin(fit, total - from);
            draw(row, from, fit, step, caption);
            from += fit;
        }
    }

    // Closes the rules of what this page holds.
    void endPage()
    {
        if (m_segmentTop < 0)
            return;
        if (m_ruled && m_pages.drawing()) {
            qreal x = 0;
            m_pages.rule(QPointF(0, m_segmentTop), QPointF(0, m_pages.y), Rule);
            for (const qreal w : m_widths) {
                x += w;
                m_pages.rule(QPointF(x, m_segmentTop), QPointF(x, m_pages.y), Rule);
            }
            m_pages.rule(QPointF(0, m_segmentTop), QPointF(x, m_segmentTop), Rule);
        }
        m_segmentTop = -1;
    }

private:
    static int lines(const QList<Cell> &row)
    {
        qsizetype most = 1;
        for (const Cell &cell : row)
            most = qMax(most, cell.lines.size());
        return int(most);
    }
    static qreal lineSpacing(const QList<Cell> &row)
    {
        qreal most = 0;
        for (const Cell &cell : row)
            most = qMax(most, cell.face->lineSpacing);
        return most;
    }

    void draw(const QList<Cell> &row, int from, int count, qreal step, bool caption)
    {
        const qreal height = count * step + 2 * m_pad;
        if (m_segmentTop < 0)
            m_segmentTop = m_pages.y;
        if (m_pages.drawing()) {
            if (caption)
                m_pages.fill(QRectF(0, m_pages.y, m_total, height), CaptionBack);
            qreal x = 0;
            for (qsizetype c = 0; c < row.size(); ++c) {
                const Cell &cell = row.at(c);
                const qreal left = cell.right ? x + m_widths.at(c) - m_pad : x + m_pad;
                for (int i = from; i < from + count && i < cell.lines.size(); ++i)
                    m_pages.text(*cell.face, left, m_pages.y + m_pad + (i - from) * step, cell.lines.at(i),
                                 cell.right ? Qt::AlignRight : Qt::AlignLeft);
                x += m_widths.at(c);
            }
            if (m_ruled)
                m_pages.rule(QPointF(0, m_pages.y + height), QPointF(m_total, m_pages.y + height), Rule);
        }
        m_pages.y += height;
    }

    Pages &m_pages;
    QList<qreal> m_widths;
    qreal m_pad;
    bool m_ruled;
    qreal m_total = 0;
    QList<Cell> m_caption;
    qreal m_segmentTop = -1;
};

// The widths of a list's columns: those given as a share of the page, and the rest shared equally.
QList<qreal> columnWidths(const QList<ReportDocument::Column> &columns, qreal width)
{
    int given = 0, open = 0;
    for (const auto &c : columns) {
        given += c.widthPercent;
        open += c.widthPercent > 0 ? 0 : 1;
    }
    const qreal share = open > 0 ? width * qMax(0, 100 - given) / 100.0 / open : 0;
    QList<qreal> widths;
    for (const auto &c : columns)
        widths << (c.widthPercent > 0 ? width * c.widthPercent / 100.0 : share);
    return widths;
}

// Lays out one record from a new page; returns nothing, the pages keep the count.
void layRecord(Pages &pages, const Faces &faces, const QList<ReportDocument::Part> &parts,
               const QList<ReportDocument::List> &lists, const ReportDocument::Record &record)
{
    using Kind = ReportDocument::Part::Kind;
    pages.newPage();
    const qreal gap = pages.dpi / 20.0;
    qsizetype listNo = 0;
    for (qsizetype p = 0; p < parts.size(); ++p) {
        const ReportDocument::Part &part = parts.at(p);
        const QStringList &texts = record.texts.at(p);
        switch (part.kind) {
        case Kind::Title: {
            // The bold text, then the plain text on the same line and wrapped below it.
            const qreal lead = faces.title.advance(texts.at(0)) + faces.title.advance(u"   ");
            const QStringList rest = wrap(texts.at(1), faces.titleText, pages.width, pages.width - lead);
            const qreal step = faces.title.lineSpacing;
            pages.need(step);
            pages.text(faces.title, 0, pages.y, texts.at(0));
            for (qsizetype i = 0; i < rest.size(); ++i) {
                if (i > 0) {
                    pages.y += step;
                    pages.need(step);
                }
                pages.text(faces.titleText, i == 0 ? lead : 0, pages.y, rest.at(i));
            }
            pages.y += step + gap / 2;
            break;
        }
        case Kind::Line:
            for (const QString &line : wrap(texts.at(0), faces.text, pages.width, pages.width)) {
                pages.need(faces.text.lineSpacing);
                pages.text(faces.text, 0, pages.y, line);
                pages.y += faces.text.lineSpacing;
            }
            pages.y += gap;
            break;
        case Kind::Fields: {
            Table table(pages,
                        {pages.width * 0.18, pages.width * 0.32, pages.width * 0.18, pages.width * 0.32},
                        gap / 2, false);
            for (qsizetype i = 0; i < texts.size(); i += 4) {
                const QStringList row = texts.mid(i, 4);
                table.add(table.cells(row, {&faces.bold, &faces.text, &faces.bold, &faces.text}, {}));
            }
            table.endPage();
            break;
        }
        case Kind::List: {
            const ReportDocument::List &list = lists.at(part.list);
            const QList<QStringList> &rows = record.rows.at(listNo++);
            Table table(pages, columnWidths(list.columns, pages.width), gap / 2, true);
            QStringList captions;
            QList<bool> right;
            QList<const Face *> plain, bold;
            for (const auto &c : list.columns) {
                captions << c.caption;
                right << (c.format == QLatin1String("money"));
                plain << &faces.text;
                bold << &faces.bold;
            }
            const qreal headingHeight = gap + faces.heading.lineSpacing + gap / 2;
            const QList<Table::Cell> caption = table.cells(captions, bold, right);
            QList<Table::Cell> first;
            if (rows.isEmpty()) {
                pages.need(headingHeight + faces.italic.lineSpacing);
            } else {
                table.setCaption(caption);
                first = table.cells(rows.first(), plain, right);
                pages.need(headingHeight + table.rowHeight(caption) + table.rowHeight(first));
            }
            pages.y += gap;
            pages.text(faces.heading, 0, pages.y, texts.at(0));
            pages.y += faces.heading.lineSpacing + gap / 2;
            if (rows.isEmpty()) {
                pages.text(faces.italic, 0, pages.y, QStringLiteral("None."));
                pages.y += faces.italic.lineSpacing;
                break;
            }
            table.add(caption, true);
            table.add(first);
            for (qsizetype r = 1; r < rows.size(); ++r)
                table.add(table.cells(rows.at(r), plain, right));
            table.endPage();
            break;
        }
        }
    }
}

} // namespace

int ReportDocument::paint(QPagedPaintDevice &device) const
{
    QPainter painter(&device);
    if (!painter.isActive())
        platform::Raise(CannotPaint, Source,
                        QStringLiteral("Cannot print the report: the printer or file refused it"));
    const Faces faces(device);
    const auto layAll = [&](QPainter *onto, int pageCount) {
        Pages pages(device, onto, faces, *this, m_headerTitle, m_headerSubtitle, m_headerRight, pageCount);
        for (const Record &record : m_records)
            layRecord(pages, faces, m_parts, m_lists, record);
        if (m_records.isEmpty()) {
            pages.newPage();
            pages.text(faces.text, 0, pages.y, QStringLiteral("No agreement matches the selection."));
        }
        pages.flush();
        return pages.pages();
    };
    // The page count first, for "Page n of m"; the measuring is the same both times.
    return layAll(&painter, layAll(nullptr, 0));
}

} // namespace suite
