#pragma once
// The register in a spreadsheet: every header field of a department's agreements under a readable
// caption, with dates as dates, numbers as numbers and the cancelled flag as Yes/No. An XLSX workbook has
// the agreements on its first sheet and one sheet for each detail list and for the payments; a CSV file
// (RFC 4180, UTF-8) holds the agreements.

#include <QDate>
#include <QList>
#include <QString>
#include <QVariant>

namespace platform {
class Connection;
}

namespace host {

enum class CellKind
{
    Integer,
    Number,
    Text,
    Date,
    YesNo
};

struct ExportColumn
{
    QString caption;
    QString field; // as selected, table alias included
    CellKind kind;
};

struct ExportSheet
{
    QString name;
    QList<ExportColumn> columns;
    QString statement; // selects the columns in their order, in the suite's dialect
};

// The sheets: "Agreements", then "Signatories", "Witnesses", "Contents", "Summary", "Terms and
// Conditions" and "Payments", each over the agreements of the department dated on or after from (all of
// them when from is not a valid date).
QList<ExportSheet> exportSheets(qint16 department, const QDate &from);

// One value as the spreadsheet gets it. A value that is not what its column holds (text in a number
// column, text that is no date in a date column) is written as the text stored, never dropped.
struct Cell
{
    enum class Type
    {
        Blank,
        Number,
        Date,
        Text
    };
    Type type = Type::Blank;
    double number = 0;
    QDate date;
    QString text;
};
Cell cellOf(const QVariant &value, CellKind kind);

struct ExportCounts
{
    int agreements = 0;
    int detailRows = 0; // in the five detail sheets
    int payments = 0;
};

// Writes file by its extension, .xlsx or .csv (any case). A database error raises platform::RuntimeError;
// a file that cannot be written, or another extension, ends with host::Failure.
ExportCounts exportRegister(platform::Connection &con, qint16 department, const QDate &from,
                            const QString &file);

} // namespace host
