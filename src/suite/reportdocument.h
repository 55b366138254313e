#pragma once
// A report of our own definition format (docs/report-format.md): the queries that read its records and
// their lists, and the HTML that lays out each record, which Qt's text document paginates. Painting puts
// the page header (the three text slots, the print date, "Page n of m") above each page's body.

#include <QDateTime>
#include <QHash>
#include <QJsonObject>
#include <QString>
#include <QStringList>

class QPagedPaintDevice;

namespace platform {
class Connection;
}

namespace suite {

class ReportDocument
{
public:
    // Reads a definition; raises 20507 when the file cannot be read and 20525 when it is no report.
    void load(const QString &path);
    QString path() const { return m_path; }
    // The report's tables as the selection formula names them: lower-cased name -> name in the queries.
    QHash<QString, QString> tables() const;

    // Reads the records the formula selects and their lists, and makes the body. Returns the record count.
    int build(platform::Connection &con, const QString &selectionFormula);
    // One piece of HTML per record; each starts a page.
    QStringList sections() const { return m_sections; }

    // The three text slots, and the time printed on every page.
    QStringList textSlots = {QString(), QString(), QString()};
    QDateTime printed = QDateTime::currentDateTime();

    // Paints every page onto a PDF writer or a printer; returns the page count.
    int paint(QPagedPaintDevice &device) const;

private:
    QString m_path;
    QJsonObject m_definition;
    QStringList m_sections;
};

} // namespace suite
