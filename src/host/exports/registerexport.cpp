#include "host/exports/registerexport.h"

#include "host/exports/csv.h"
#include "host/hostsupport.h"

#include "platform/database/connection.h"
#include "platform/runtime/conversions.h"
#include "platform/runtime/savefile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <xlsxwriter.h>

#include <algorithm>

namespace host {

namespace {

constexpr CellKind Int = CellKind::Integer;
constexpr CellKind Num = CellKind::Number;
constexpr CellKind Txt = CellKind::Text;
constexpr CellKind Day = CellKind::Date;
constexpr CellKind YesNo = CellKind::YesNo;

// The agreements' own columns in the order they are stored.
const QList<ExportColumn> &headerColumns()
{
    static const QList<ExportColumn> columns = {
        {QStringLiteral("Agreement ID"), QStringLiteral("agragreementid"), Int},
        {QStringLiteral("Department"), QStringLiteral("agrDepartmentid"), Int},
        {QStringLiteral("Agreement No"), QStringLiteral("agragreementNo"), Txt},
        {QStringLiteral("Agreement Date"), QStringLiteral("agragreementdate"), Day},
        {QStringLiteral("Description"), QStringLiteral("agragreementdesc"), Txt},
        {QStringLiteral("Type"), QStringLiteral("agragreementtype"), Txt},
        {QStringLiteral("Shop ID"), QStringLiteral("agrapplicableshopid"), Int},
        {QStringLiteral("Godown ID"), QStringLiteral("agrapplicablegodownid"), Int},
        {QStringLiteral("Applicable To"), QStringLiteral("agrapplicableTo"), Txt},
        {QStringLiteral("Valid From"), QStringLiteral("agrValidFromdate"), Day},
        {QStringLiteral("Valid To"), QStringLiteral("agrValidTodate"), Day},
        {QStringLiteral("Signed On"), QStringLiteral("agrSigneddate"), Day},
        {QStringLiteral("Customer ID"), QStringLiteral("agrwithCustomerid"), Int},
        {QStringLiteral("Supplier ID"), QStringLiteral("agrwithsupplierid"), Int},
        {QStringLiteral("Agreement With"), QStringLiteral("agragreementwith"), Txt},
        {QStringLiteral("Agency Head Office Address"), QStringLiteral("agrAgencyHOaddress"), Txt},
        {QStringLiteral("Agency Contact No"), QStringLiteral("agrAgencyContactNo"), Txt},
        {QStringLiteral("Agency E-mail"), QStringLiteral("agrAgencyEmailid"), Txt},
        {QStringLiteral("Agency Finance Address"), QStringLiteral("agragencyfindepaddress"), Txt},
        {QStringLiteral("Finance Contact No"), QStringLiteral("agrfinancecontactNo"), Txt},
        {QStringLiteral("Finance E-mail"), QStringLiteral("agrfinanceEmailid"), Txt},
        {QStringLiteral("Lawyer"), QStringLiteral("agrLawyer"), Txt},
        {QStringLiteral("Physical File Location"), QStringLiteral("agrPhysicalfileLOC"), Txt},
        {QStringLiteral("Reference No"), QStringLiteral("agrReferenceNo"), Txt},
        {QStringLiteral("No of Pages"), QStringLiteral("agrNoofPages"), Num},
        {QStringLiteral("Point of Contact"), QStringLiteral("agrPointofContact"), Txt},
        {QStringLiteral("Contact Address"), QStringLiteral("agrPOCaddress"), Txt},
        {QStringLiteral("Contact Phone"), QStringLiteral("agrPOCcontactNo"), Txt},
        {QStringLiteral("Contact Designation"), QStringLiteral("agrPOCdesignation"), Txt},
        {QStringLiteral("Contact E-mail"), QStringLiteral("agrPOCemailid"), Txt},
        {QStringLiteral("Alert Days"), QStringLiteral("alertnoofdays"), Num},
        {QStringLiteral("Alert Remarks"), QStringLiteral("alertremarks"), Txt},
        {QStringLiteral("Cancelled"), QStringLiteral("agrcancelled"), YesNo},
    };
    return columns;
}

QString fieldList(const QList<ExportColumn> &columns)
{
    QStringList fields;
    for (const ExportColumn &c : columns)
        fields << c.field;
    return fields.join(QStringLiteral(", "));
}

QString fromCondition(const QString &dateField, const QDate &from)
{
    if (!from.isValid())
        return QString();
    return QStringLiteral(" and ") + dateField + QStringLiteral(" >= '") +
           from.toString(QStringLiteral("yyyyMMdd")) + QLatin1Char('\'');
}

// A detail list: the agreement's number and id, then the list's own columns, in the order of the rows.
ExportSheet detailSheet(const QString &name, const QString &table, const QString &prefix,
                        const QString &idField, const QString &serialField, const QList<ExportColumn> &own,
                        qint16 department, const QDate &from)
{
    QList<ExportColumn> columns = {{QStringLiteral("Agreement No"), QStringLiteral("h.agragreementNo"), Txt},
                                   {QStringLiteral("Agreement ID"), QStringLiteral("h.agragreementid"), Int}};
    for (ExportColumn c : own) {
        c.field = QStringLiteral("d.") + c.field;
        columns.append(c);
    }
    const QString statement =
        QStringLiteral("select ") + fieldList(columns) + QStringLiteral(" from agreementregister h, ") +
        table + QStringLiteral(" d where h.agrDepartmentid = ") + QString::number(department) +
        QStringLiteral(" and d.") + prefix + QStringLiteral("Departmentid = h.agrDepartmentid and d.") +
        idField + QStringLiteral(" = h.agragreementid") +
        fromCondition(QStringLiteral("h.agragreementdate"), from) +
        QStringLiteral(" order by h.agragreementid, d.") + serialField;
    return {name, columns, statement};
}

QByteArray utf8(const QString &text)
{
    return text.toUtf8();
}

// One workbook written in constant memory: each sheet row by row, the file made at close under a name of
// its own and put in the target's place once whole.
class Workbook
{
public:
    explicit Workbook(const QString &file) : m_file(file)
    {
        lxw_workbook_options options{};
        options.constant_memory = LXW_TRUE;
        m_book = workbook_new_opt(QFile::encodeName(m_file.temporaryPath()).constData(), &options);
        if (!m_book)
            throw Failure(QStringLiteral("cannot start the workbook ") + file);
        m_bold = workbook_add_format(m_book);
        format_set_bold(m_bold);
        m_date = workbook_add_format(m_book);
        format_set_num_format(m_date, "dd/mm/yyyy");
    }
    ~Workbook()
    {
        if (m_book)
            lxw_workbook_free(m_book); // given up: no file is written
    }
    Workbook(const Workbook &) = delete;
    Workbook &operator=(const Workbook &) = delete;

    void startSheet(const ExportSheet &sheet)
    {
        m_sheetName = sheet.name;
        m_sheet = workbook_add_worksheet(m_book, utf8(sheet.name).constData());
        if (!m_sheet)
            throw Failure(QStringLiteral("cannot add the sheet ") + sheet.name);
        for (int c = 0; c < sheet.columns.size(); ++c) {
            const ExportColumn &column = sheet.columns.at(c);
            const double width = column.kind == CellKind::Date ? 12
                                 : column.kind == CellKind::Text
                                     ? std::max<double>(18, double(column.caption.size()) + 2)
                                     : std::max<double>(8, double(column.caption.size()) + 2);
            worksheet_set_column(m_sheet, lxw_col_t(c), lxw_col_t(c), width, nullptr);
            check(worksheet_write_string(m_sheet, 0, lxw_col_t(c), utf8(column.caption).constData(), m_bold),
                  0, column.caption);
        }
        worksheet_freeze_panes(m_sheet, 1, 0);
        m_columns = sheet.columns;
    }

    void write(lxw_row_t row, int column, const Cell &cell)
    {
        const auto c = lxw_col_t(column);
        switch (cell.type) {
        case Cell::Type::Blank:
            return;
        case Cell::Type::Number:
            check(worksheet_write_number(m_sheet, row, c, cell.number, nullptr), row,
                  m_columns.at(column).caption);
            return;
        case Cell::Type::Date: {
            lxw_datetime when{};
            when.year = cell.date.year();
            when.month = cell.date.month();
            when.day = cell.date.day();
            check(worksheet_write_datetime(m_sheet, row, c, &when, m_date), row,
                  m_columns.at(column).caption);
            return;
        }
        case Cell::Type::Text:
            check(worksheet_write_string(m_sheet, row, c, utf8(cell.text).constData(), nullptr), row,
                  m_columns.at(column).caption);
            return;
        }
    }

    void endSheet(lxw_row_t lastRow)
    {
        if (!m_columns.isEmpty())
            worksheet_autofilter(m_sheet, 0, 0, lastRow, lxw_col_t(m_columns.size() - 1));
    }

    void close(const QString &file)
    {
        const lxw_error error = workbook_close(m_book);
        m_book = nullptr;
        if (error != LXW_NO_ERROR)
            throw Failure(
                QStringLiteral("cannot write %1: %2").arg(file, QString::fromUtf8(lxw_strerror(error))));
        m_file.commit();
    }

private:
    void check(lxw_error error, lxw_row_t row, const QString &caption) const
    {
        if (error == LXW_NO_ERROR)
            return;
        throw Failure(QStringLiteral("sheet %1, row %2, %3: %4")
                          .arg(m_sheetName)
                          .arg(row + 1)
                          .arg(caption, QString::fromUtf8(lxw_strerror(error))));
    }

    platform::ReplaceOnCommit m_file;
    lxw_workbook *m_book = nullptr;
    lxw_worksheet *m_sheet = nullptr;
    lxw_format *m_bold = nullptr;
    lxw_format *m_date = nullptr;
    QString m_sheetName;
    QList<ExportColumn> m_columns;
};

int writeSheet(platform::Connection &con, const ExportSheet &sheet, Workbook &book)
{
    book.startSheet(sheet);
    platform::Recordset rs = con.Execute(sheet.statement);
    const int columns = int(sheet.columns.size());
    lxw_row_t row = 0;
    for (; !rs.isEOF(); rs.MoveNext()) {
        ++row;
        if (row >= LXW_ROW_MAX)
            throw Failure(
                QStringLiteral("the sheet %1 has more rows than a spreadsheet takes").arg(sheet.name));
        for (int c = 0; c < columns; ++c)
            book.write(row, c, cellOf(rs.Fields(c).Value(), sheet.columns.at(c).kind));
    }
    book.endSheet(row);
    return int(row);
}

QString csvText(const Cell &cell)
{
    switch (cell.type) {
    case Cell::Type::Blank:
        return QString();
    case Cell::Type::Number:
        return QString::number(cell.number, 'g', 15);
    case Cell::Type::Date:
        return cell.date.toString(Qt::ISODate);
    case Cell::Type::Text:
        return cell.text;
    }
    return QString();
}

// The file is written at once or not at all: a target that cannot be made is said before any reading.
void checkWritable(const QString &file)
{
    const QFileInfo info(file);
    if (!info.absoluteDir().exists())
        throw Failure(QStringLiteral("cannot write %1: the folder %2 does not exist")
                          .arg(file, info.absoluteDir().path()));
    if (info.exists() ? !info.isWritable() || info.isDir() : !QFileInfo(info.absolutePath()).isWritable())
        throw Failure(QStringLiteral("cannot write ") + file);
}

} // namespace

QList<ExportSheet> exportSheets(qint16 department, const QDate &from)
{
    const QString dept = QString::number(department);
    QList<ExportSheet> sheets;
    sheets.append({QStringLiteral("Agreements"), headerColumns(),
                   QStringLiteral("select ") + fieldList(headerColumns()) +
                       QStringLiteral(" from agreementregister where agrDepartmentid = ") + dept +
                       fromCondition(QStringLiteral("agragreementdate"), from) +
                       QStringLiteral(" order by agragreementid")});
    sheets.append(detailSheet(QStringLiteral("Signatories"), QStringLiteral("AgreementSignedDetails"),
                              QStringLiteral("ags"), QStringLiteral("agsagreementid"),
                              QStringLiteral("agsDetailid"),
                              {{QStringLiteral("Serial No"), QStringLiteral("agsDetailid"), Int},
                               {QStringLiteral("Signed By"), QStringLiteral("agsSignedBy"), Txt},
                               {QStringLiteral("Position"), QStringLiteral("agsPosition"), Txt},
                               {QStringLiteral("Signed On"), QStringLiteral("agsSignedDate"), Day},
                               {QStringLiteral("For the Agency"), QStringLiteral("agsAgency"), YesNo}},
                              department, from));
    sheets.append(detailSheet(QStringLiteral("Witnesses"), QStringLiteral("AgreementWitnessDetails"),
                              QStringLiteral("agw"), QStringLiteral("agwAgreementid"),
                              QStringLiteral("agwDetailid"),
                              {{QStringLiteral("Serial No"), QStringLiteral("agwDetailid"), Int},
                               {QStringLiteral("Witness"), QStringLiteral("agwSignedBy"), Txt},
                               {QStringLiteral("Position"), QStringLiteral("agwPostion"), Txt},
                               {QStringLiteral("Signed On"), QStringLiteral("agwSignedDate"), Day},
                               {QStringLiteral("Address"), QStringLiteral("agwWitenessAddress"), Txt},
                               {QStringLiteral("For the Agency"), QStringLiteral("agwAgency"), YesNo}},
                              department, from));
    sheets.append(detailSheet(QStringLiteral("Contents"), QStringLiteral("AgreementContents"),
                              QStringLiteral("agc"), QStringLiteral("agcAgreementid"),
                              QStringLiteral("agcDetailid"),
                              {{QStringLiteral("Serial No"), QStringLiteral("agcDetailid"), Int},
                               {QStringLiteral("Content"), QStringLiteral("agcContentdesc"), Txt}},
                              department, from));
    sheets.append(detailSheet(QStringLiteral("Summary"), QStringLiteral("AgreementDetails"),
                              QStringLiteral("agd"), QStringLiteral("agdAgreementid"),
                              QStringLiteral("agdDetailid"),
                              {{QStringLiteral("Serial No"), QStringLiteral("agdDetailid"), Int},
                               {QStringLiteral("Detail"), QStringLiteral("agdDetails"), Txt}},
                              department, from));
    sheets.append(detailSheet(QStringLiteral("Terms and Conditions"),
                              QStringLiteral("AgreementFinancialDetails"), QStringLiteral("agf"),
                              QStringLiteral("agfAgreementid"), QStringLiteral("agffinanceDetailid"),
                              {{QStringLiteral("Serial No"), QStringLiteral("agffinanceDetailid"), Int},
                               {QStringLiteral("Term"), QStringLiteral("agffinanceDetail"), Txt}},
                              department, from));

    // Payments name the agreement by its id alone, as the payment list reads them.
    const QList<ExportColumn> payments = {
        {QStringLiteral("Agreement No"), QStringLiteral("h.agragreementNo"), Txt},
        {QStringLiteral("Agreement ID"), QStringLiteral("h.agragreementid"), Int},
        {QStringLiteral("Payment No"), QStringLiteral("p.phPaymentNo"), Txt},
        {QStringLiteral("Payment Date"), QStringLiteral("p.phPaymentDate"), Day},
        {QStringLiteral("Payee"), QStringLiteral("p.phPayee"), Txt},
        {QStringLiteral("Remarks"), QStringLiteral("p.phRemarks"), Txt},
        {QStringLiteral("Voucher Amount"), QStringLiteral("p.phAmount"), Num},
        {QStringLiteral("Amount for the Agreement"), QStringLiteral("d.pddAmount"), Num},
    };
    sheets.append(
        {QStringLiteral("Payments"), payments,
         QStringLiteral("select ") + fieldList(payments) +
             QStringLiteral(" from agreementregister h, aHQpaymentvoucherdebitdetails d, "
                            "aHqPaymentVoucherHeader p where h.agrDepartmentid = ") +
             dept +
             QStringLiteral(" and d.pddAgrrementTransID = h.agragreementid and p.phpaymentId = "
                            "d.PddPaymentID") +
             fromCondition(QStringLiteral("h.agragreementdate"), from) +
             QStringLiteral(" order by h.agragreementid, p.phPaymentDate, p.phPaymentNo, d.pddDetailID")});
    return sheets;
}

Cell cellOf(const QVariant &value, CellKind kind)
{
    Cell cell;
    if (value.isNull())
        return cell;
    const int type = value.typeId();
    const bool numeric = type == QMetaType::Int || type == QMetaType::UInt || type == QMetaType::LongLong ||
                         type == QMetaType::ULongLong || type == QMetaType::Double ||
                         type == QMetaType::Short || type == QMetaType::UShort || type == QMetaType::Float;
    switch (kind) {
    case CellKind::Integer:
    case CellKind::Number:
    case CellKind::YesNo: {
        double number = 0;
        const bool isNumber =
            numeric ? (number = value.toDouble(), true) : platform::isNumericText(value.toString(), &number);
        if (isNumber && kind == CellKind::YesNo && (number == 0 || number == 1)) {
            cell.type = Cell::Type::Text;
            cell.text = number == 1 ? QStringLiteral("Yes") : QStringLiteral("No");
        } else if (isNumber) {
            cell.type = Cell::Type::Number;
            cell.number = number;
        } else {
            cell.text = value.toString();
        }
        break;
    }
    case CellKind::Date:
        if (type == QMetaType::QDate || type == QMetaType::QDateTime) {
            cell.type = Cell::Type::Date;
            cell.date = type == QMetaType::QDate ? value.toDate() : value.toDateTime().date();
        } else {
            cell.text = value.toString();
        }
        break;
    case CellKind::Text:
        cell.text = value.toString();
        break;
    }
    if (cell.type == Cell::Type::Blank && !cell.text.isEmpty())
        cell.type = Cell::Type::Text;
    return cell;
}

ExportCounts exportRegister(platform::Connection &con, qint16 department, const QDate &from,
                            const QString &file)
{
    const QString suffix = QFileInfo(file).suffix().toLower();
    if (suffix != QLatin1String("xlsx") && suffix != QLatin1String("csv"))
        throw Failure(QStringLiteral("export: the file must end in .xlsx or .csv, not '%1'").arg(file),
                      ExitUsage);
    checkWritable(file);
    const QList<ExportSheet> sheets = exportSheets(department, from);
    ExportCounts counts;

    if (suffix == QLatin1String("csv")) {
        const ExportSheet &agreements = sheets.first();
        QSaveFile out(file);
        if (!out.open(QIODevice::WriteOnly))
            throw Failure(QStringLiteral("cannot write %1: %2").arg(file, out.errorString()));
        QStringList captions;
        for (const ExportColumn &c : agreements.columns)
            captions << c.caption;
        QString chunk = csvRecord(captions);
        platform::Recordset rs = con.Execute(agreements.statement);
        QStringList fields;
        for (; !rs.isEOF(); rs.MoveNext()) {
            fields.clear();
            for (int c = 0; c < agreements.columns.size(); ++c)
                fields << csvText(cellOf(rs.Fields(c).Value(), agreements.columns.at(c).kind));
            chunk += csvRecord(fields);
            if (++counts.agreements % 1000 == 0) {
                out.write(chunk.toUtf8());
                chunk.clear();
            }
        }
        out.write(chunk.toUtf8());
        if (!out.commit())
            throw Failure(QStringLiteral("cannot write %1: %2").arg(file, out.errorString()));
        return counts;
    }

    Workbook book(file);
    for (qsizetype i = 0; i < sheets.size(); ++i) {
        const int rows = writeSheet(con, sheets.at(i), book);
        if (i == 0)
            counts.agreements = rows;
        else if (i + 1 == sheets.size())
            counts.payments = rows;
        else
            counts.detailRows += rows;
    }
    book.close(file);
    return counts;
}

} // namespace host
