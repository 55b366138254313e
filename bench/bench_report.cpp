// The register report: every agreement of a department (10,000, each with two rows in every detail list and
// a payment) written to PDF by the report engine, on SQLite and (when AGR_TEST_PG is set) PostgreSQL.
// Beside it, the raw limit measured in the same run: the same queries read field by field, plus the same
// text printed to PDF as one plain text document. AGR_BENCH_AGREEMENTS sets another count.

#include "data/schema.h"
#include "platform/database/connection.h"
#include "suite/reportdocument.h"
#include "suite/reportengine.h"
#include "suite/selectionformula.h"

#include "benchsupport.h"

#include <QAbstractTextDocumentLayout>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPageLayout>
#include <QPageSize>
#include <QPainter>
#include <QPdfWriter>
#include <QTemporaryDir>
#include <QTextDocument>

namespace {

using bench::line;
using bench::ms;

const QDate Today(2026, 11, 15);
constexpr int Department = 3; // a department of its own, beside the demo's

QString reportFile()
{
    return QCoreApplication::applicationDirPath() + QStringLiteral("/reports/rptAgreementRegister.rpt");
}

void fill(platform::Connection &con, int agreements)
{
    con.BeginTrans();
    platform::Command header(con);
    header.setCommandText(QStringLiteral(
        "insert into agreementregister (agragreementid,agrDepartmentid,agragreementNo,agragreementdate,"
        "agragreementdesc,agragreementtype,agrapplicableTo,agragreementwith,agrValidFromdate,agrValidTodate,"
        "agrSigneddate,agrLawyer,agrReferenceNo,agrAgencyHOaddress,alertnoofdays,alertremarks) "
        "values (?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?)"));
    header.ParametersRefresh();
    struct Detail
    {
        const char *sql;
        int texts;
    };
    const Detail details[] = {
        {"insert into AgreementSignedDetails "
         "(agsagreementid,agsDepartmentid,agsDetailid,agsSignedBy,agsPosition,"
         "agsSignedDate,agsAgency) values (?,?,?,?,?,'01/11/2026',1)",
         2},
        {"insert into AgreementWitnessDetails "
         "(agwAgreementid,agwDepartmentid,agwDetailid,agwSignedBy,agwPostion,"
         "agwSignedDate,agwWitenessAddress,agwAgency) values (?,?,?,?,?,'02/11/2026','12 Church Street',0)",
         2},
        {"insert into AgreementContents (agcAgreementid,agcDepartmentid,agcDetailid,agcContentdesc) values "
         "(?,?,?,?)",
         1},
        {"insert into AgreementDetails (agdAgreementid,agdDepartmentid,agdDetailid,agdDetails) values "
         "(?,?,?,?)",
         1},
        {"insert into AgreementFinancialDetails "
         "(agfAgreementid,agfDepartmentid,agffinanceDetailid,agffinanceDetail) "
         "values (?,?,?,?)",
         1},
    };
    std::vector<std::unique_ptr<platform::Command>> commands;
    for (const Detail &d : details) {
        commands.push_back(std::make_unique<platform::Command>(con));
        commands.back()->setCommandText(QLatin1String(d.sql));
        commands.back()->ParametersRefresh();
    }
    platform::Command voucher(con);
    voucher.setCommandText(
        QStringLiteral("insert into aHqPaymentVoucherHeader (phpaymentId,CompanyID,phPaymentNo,"
                       "phPaymentDate,phRemarks,phPayee,phAmount) values (?,1,?,'10/11/2026',"
                       "'Rent',?,?)"));
    voucher.ParametersRefresh();
    platform::Command debit(con);
    debit.setCommandText(QStringLiteral("insert into aHQpaymentvoucherdebitdetails (PddPaymentID,pddDetailID,"
                                        "pddAgrrementTransID,pddAmount) values (?,1,?,?)"));
    debit.ParametersRefresh();
    for (int id = 1; id <= agreements; ++id) {
        header.Execute(
            {id, Department, QStringLiteral("BR/%1").arg(id), QStringLiteral("01/11/2026"),
             QStringLiteral("Agreement %1 for the supply of goods and services to the branches of the "
                            "region, with its schedules")
                 .arg(id),
             QStringLiteral("Supply"), QStringLiteral("Branch %1").arg(id % 40),
             QStringLiteral("Party %1 Private Limited").arg(id % 300), Today, Today.addYears(2), Today,
             QStringLiteral("A. Lawyer"), QStringLiteral("REF/%1").arg(id),
             QStringLiteral("%1 Main Road").arg(id), 30, QStringLiteral("Renew in time")});
        for (size_t k = 0; k < commands.size(); ++k) {
            for (int row = 1; row <= 2; ++row) {
                QVariantList values{id, Department, row};
                for (int t = 0; t < details[k].texts; ++t)
                    values << QStringLiteral("Line %1 of list %2 of agreement %3").arg(row).arg(k).arg(id);
                commands[k]->Execute(values);
            }
        }
        voucher.Execute({100000 + id, QStringLiteral("BRPV/%1").arg(id),
                         QStringLiteral("Party %1").arg(id % 300), 1000.0 + id});
        debit.Execute({100000 + id, id, 1000.0 + id});
    }
    con.CommitTrans();
}

// The raw limit's first part: the report's queries, read field by field as text; returns the text.
QString readQueries(platform::Connection &con, const QString &formula)
{
    QFile file(reportFile());
    file.open(QIODevice::ReadOnly);
    const QJsonObject def = QJsonDocument::fromJson(file.readAll()).object();
    const suite::SelectionCondition condition = suite::translateSelectionFormula(
        formula, {{QStringLiteral("agreementregister"), QStringLiteral("AgreementRegister")}});
    QStringList statements{def.value(QStringLiteral("records")).toString()};
    for (const QJsonValue &list : def.value(QStringLiteral("lists")).toArray())
        statements << list.toObject().value(QStringLiteral("sql")).toString();
    QString text;
    for (QString sql : statements) {
        platform::Command cmd(con);
        cmd.setCommandText(sql.replace(QStringLiteral("{selection}"), condition.sql));
        cmd.ParametersRefresh();
        for (platform::Recordset rs = cmd.Execute(condition.values); !rs.isEOF(); rs.MoveNext()) {
            for (int f = 0; f < rs.fieldCount(); ++f)
                text += rs.Fields(f).joinEmpty() + QLatin1Char(' ');
            text += QLatin1Char('\n');
        }
    }
    return text;
}

// The raw limit's second part: that text as one plain text document, paginated onto a PDF.
int printPlain(const QString &text, const QString &path)
{
    QPdfWriter writer(path);
    writer.setResolution(300);
    writer.setPageLayout(QPageLayout(QPageSize(QPageSize::A4), QPageLayout::Portrait,
                                     QMarginsF(15, 12, 15, 12), QPageLayout::Millimeter));
    QPainter painter(&writer);
    const QRect page = writer.pageLayout().paintRectPixels(writer.logicalDpiX());
    QTextDocument document;
    document.documentLayout()->setPaintDevice(&writer);
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPointSizeF(9);
    document.setDefaultFont(font);
    document.setPlainText(text);
    document.setPageSize(page.size());
    const int pages = document.pageCount();
    for (int i = 0; i < pages; ++i) {
        if (i > 0)
            writer.newPage();
        painter.save();
        painter.translate(0, -i * page.height());
        document.drawContents(&painter, QRectF(0, i * page.height(), page.width(), page.height()));
        painter.restore();
    }
    return pages;
}

void runBackend(const QString &label, platform::Connection &con)
{
    agr::schema::CreateSchema(con);
    agr::schema::LoadDemoData(con, Today);
    const int agreements = qEnvironmentVariableIntValue("AGR_BENCH_AGREEMENTS") > 0
                               ? qEnvironmentVariableIntValue("AGR_BENCH_AGREEMENTS")
                               : 10000;
    QElapsedTimer timer;
    timer.start();
    fill(con, agreements);
    line(QStringLiteral("%1: %2 agreements stored in %3 s")
             .arg(label)
             .arg(agreements)
             .arg(ms(timer) / 1000, 0, 'f', 1));

    QTemporaryDir folder;
    platform::setHostDatabaseUrl(con.url());
    const QString formula = QStringLiteral("{AgreementRegister.agrDepartmentid}=%1").arg(Department);

    timer.restart();
    suite::ReportEngine engine;
    engine.LogOnServer(QStringLiteral("pdsodbc.dll"), QStringLiteral("admindsnv2"), QStringLiteral("adminv2"),
                       QString(), QString());
    auto *report = static_cast<suite::Report *>(engine.OpenReport(reportFile()));
    report->setTextSlot(1, QStringLiteral("Agreement Register"));
    report->setTextSlot(3, QStringLiteral("clerk"));
    report->setRecordSelectionFormula(formula);
    report->ExportPdf(folder.filePath(QStringLiteral("register.pdf")));
    const double engineMs = ms(timer);
    const int pages = report->pageCount();

    timer.restart();
    const QString text = readQueries(con, formula);
    const double readMs = ms(timer);
    timer.restart();
    const int plainPages = printPlain(text, folder.filePath(QStringLiteral("plain.pdf")));
    const double printMs = ms(timer);

    line(QStringLiteral(
             "%1: register of %2 agreements: %3 pages in %4 s (%5 pages/s); raw limit %6 s (queries read "
             "%7 s, the same text printed as %8 plain pages %9 s); ratio %10")
             .arg(label)
             .arg(agreements)
             .arg(pages)
             .arg(engineMs / 1000, 0, 'f', 1)
             .arg(pages / (engineMs / 1000), 0, 'f', 0)
             .arg((readMs + printMs) / 1000, 0, 'f', 1)
             .arg(readMs / 1000, 0, 'f', 1)
             .arg(plainPages)
             .arg(printMs / 1000, 0, 'f', 1)
             .arg(engineMs / (readMs + printMs), 0, 'f', 2));
    platform::setHostDatabaseUrl(QString());
}

} // namespace

int main(int argc, char **argv)
{
    return bench::runOnBackends(argc, argv, QStringLiteral("bench_report"), runBackend);
}
