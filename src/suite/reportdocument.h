#pragma once
// A report of our own definition format (docs/report-format.md): the queries that read its records and
// their lists, and the parts that each record prints (a title, lines of text, captioned fields, lists as
// tables). The layout is the engine's own: it measures text from cached glyph advances and paints straight
// onto the device, so that a register of thousands of pages costs little more than printing its text.

#include <QDateTime>
#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

#include <functional>

class QPagedPaintDevice;

namespace platform {
class Connection;
}

namespace suite {

// Replaces each {name} of a template by what value() gives for name. A part in [brackets] is printed only
// when a placeholder in it has a value, and a text of no letters or digits between two placeholders or
// parts (", ") only between two that print something, so that empty fields leave no separators behind.
QString fillPlaceholders(const QString &templ, const std::function<QString(QStringView)> &value);

class ReportDocument
{
public:
    // Reads a definition; raises 20507 when the file cannot be read and 20525 when it is no report.
    void load(const QString &path);
    QString path() const { return m_path; }
    // The report's tables as the selection formula names them: lower-cased name -> name in the queries.
    QHash<QString, QString> tables() const { return m_tables; }

    // Reads the records the formula selects and their lists. Returns the record count.
    int build(platform::Connection &con, const QString &selectionFormula);

    // The three text slots, and the time printed on every page.
    QStringList textSlots = {QString(), QString(), QString()};
    QDateTime printed = QDateTime::currentDateTime();

    // Paints every page onto a PDF writer or a printer; returns the page count.
    int paint(QPagedPaintDevice &device) const;

    // What the definition declares, read once by load().
    struct Column
    {
        QString caption;
        QString field;
        QString format;       // "", "yesno" or "money"
        int widthPercent = 0; // 0: an equal share of what the others leave
    };
    struct List
    {
        QString name;
        QString sql;
        QStringList listKey, recordKey;
        QList<Column> columns;
    };
    struct Part
    {
        enum class Kind
        {
            Title,
            Line,
            Fields,
            List
        };
        Kind kind = Kind::Line;
        // Title: the bold text and the plain text after it; Line: the text; Fields: caption, text, caption,
        // text ...; List: the heading.
        QStringList texts;
        int list = -1; // List: index into lists
    };
    // One record as printed: the filled texts of its parts in order, and the rows of each list part.
    struct Record
    {
        QList<QStringList> texts;
        QList<QList<QStringList>> rows;
    };

private:
    QString m_path;
    QHash<QString, QString> m_tables;
    QString m_recordsSql;
    QList<List> m_lists;
    QList<Part> m_parts;
    QString m_headerTitle, m_headerSubtitle;
    QStringList m_headerRight;
    QList<Record> m_records;
};

} // namespace suite
