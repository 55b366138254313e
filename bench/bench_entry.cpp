// The entry form: saving a new agreement with 200 rows in each of its five detail grids (cmdOK_Click), and
// opening it again for edit from the list (CmdEdit_Click): the first opening of a session, which builds
// the form, the usual one, which finds the widgets the last opening left, and one after the popup has walked
// every row; and the popup itself. On SQLite and (when AGR_TEST_PG is set) PostgreSQL. Each is printed
// beside the raw cost of the same work measured in the same run: the same 1 + 5 x 200 parameterised inserts
// through Command in one transaction, and the same selects read field by field through the connection.
// Last, the same save with the full-text index's triggers and without them.

#include "data/schema.h"
#include "data/searchindex.h"
#include "forms/agreement/frmagreementreg.h"
#include "forms/list/frmmaster.h"
#include "forms/popup/frmpopup.h"
#include "module/basagreementreg.h"
#include "module/modulecontext.h"
#include "platform/database/connection.h"
#include "platform/grid/flexgrid.h"
#include "platform/runtime/errors.h"
#include "platform/ui/seams.h"
#include "support/testsupport.h"

#include "benchsupport.h"

#include <QComboBox>
#include <QDateEdit>
#include <QLineEdit>
#include <QPushButton>

#include <vector>

namespace {

namespace demo = agr::schema::demo;
using bench::line;
using bench::median;
using bench::ms;
using platform::FlexGrid;

const QDate Today(2026, 11, 15);
constexpr int DetailRows = 200;
constexpr int Repeats = 5;

// The cells of detail row i of each grid kind, from column 1 on.
QStringList signRow(int i)
{
    return {QString::number(i), QStringLiteral("Signatory %1").arg(i), QStringLiteral("Director"),
            QStringLiteral("01/11/2026"), i % 2 ? QStringLiteral("Y") : QStringLiteral("N")};
}
QStringList witnessRow(int i)
{
    return {QString::number(i),
            QStringLiteral("Witness %1").arg(i),
            QStringLiteral("Accountant"),
            QStringLiteral("02/11/2026"),
            QStringLiteral("%1 Church Street").arg(i),
            i % 3 ? QStringLiteral("N") : QStringLiteral("Y")};
}
QStringList textRow(int i, const char *what)
{
    return {QString::number(i),
            QStringLiteral("%1 line %2 of the agreement").arg(QLatin1String(what)).arg(i)};
}

void fillGrid(FlexGrid *grid, const std::function<QStringList(int)> &row)
{
    grid->setRows(DetailRows + 1);
    for (int i = 1; i <= DetailRows; ++i) {
        const QStringList cells = row(i);
        for (int c = 0; c < cells.size(); ++c)
            grid->setTextMatrix(i, c + 1, cells.at(c));
    }
    grid->setRow(1);
}

// The same inserts as a save of a new agreement, straight through Command; cpu (when given) takes the
// processor time.
double rawInserts(platform::Connection &con, qint32 id, bench::CpuTime *cpu = nullptr,
                  double *cpuMs = nullptr)
{
    const double cpuStart = cpu ? cpu->now() : 0;
    QElapsedTimer timer;
    timer.start();
    con.BeginTrans();
    platform::Command cmd(con);
    QStringList markers;
    for (int i = 0; i < 32; ++i)
        markers << QStringLiteral("?");
    cmd.setCommandText(
        QStringLiteral("insert into agreementregister (agragreementid,agrDepartmentid,agragreementNo,"
                       "agragreementdate,agragreementdesc,agragreementtype,agrapplicableshopid,"
                       "agrapplicablegodownid,agrapplicableTo,agrValidFromdate,agrValidTodate,agrSigneddate,"
                       "agrwithCustomerid,agrwithsupplierid,agragreementwith,agrAgencyHOaddress,"
                       "agrAgencyContactNo,agrAgencyEmailid,agragencyfindepaddress,agrfinancecontactNo,"
                       "agrfinanceEmailid,agrLawyer,agrPhysicalfileLOC,agrReferenceNo,agrNoofPages,"
                       "agrPointofContact,agrPOCaddress,agrPOCcontactNo,agrPOCdesignation,agrPOCemailid,"
                       "alertnoofdays,alertremarks) values (") +
        markers.join(QLatin1Char(',')) + QLatin1Char(')'));
    cmd.ParametersRefresh();
    const QVariant null;
    const QString text = QStringLiteral("text");
    cmd.Execute({id,
                 demo::DepartmentId,
                 QStringLiteral("RAW/%1").arg(id),
                 QStringLiteral("15/11/2026"),
                 text,
                 text,
                 null,
                 null,
                 text,
                 Today,
                 Today,
                 Today,
                 null,
                 null,
                 text,
                 text,
                 text,
                 text,
                 null,
                 null,
                 null,
                 text,
                 text,
                 text,
                 12.0,
                 text,
                 text,
                 text,
                 text,
                 text,
                 30.0,
                 text});

    const auto details = [&](const QString &sql, const std::function<QStringList(int)> &row,
                             int agencyColumn) {
        cmd.setCommandText(sql);
        cmd.ParametersRefresh();
        for (int i = 1; i <= DetailRows; ++i) {
            const QStringList cells = row(i);
            QVariantList values{id, demo::DepartmentId};
            for (int c = 0; c < cells.size(); ++c)
                values.append(c + 1 == agencyColumn ? QVariant(cells.at(c) == QLatin1String("Y") ? 1 : 0)
                                                    : QVariant(cells.at(c)));
            cmd.Execute(values);
        }
    };
    details(
        QStringLiteral("insert into AgreementDetails (agdAgreementid,agdDepartmentid,agdDetailid,agdDetails) "
                       "values (?,?,?,?)"),
        [](int i) { return textRow(i, "Summary"); }, 0);
    details(QStringLiteral("insert into AgreementSignedDetails (agsagreementid,agsDepartmentid,agsDetailid,"
                           "agsSignedBy,agsPosition,agsSignedDate,agsAgency) values (?,?,?,?,?,?,?)"),
            signRow, 5);
    details(QStringLiteral("insert into AgreementWitnessDetails (agwAgreementid,agwDepartmentid,agwDetailid,"
                           "agwSignedBy,agwPostion,agwSignedDate,agwWitenessAddress,agwAgency) "
                           "values (?,?,?,?,?,?,?,?)"),
            witnessRow, 6);
    details(
        QStringLiteral("insert into AgreementFinancialDetails (agfAgreementid,agfDepartmentid,"
                       "agffinanceDetailid,agffinanceDetail) values (?,?,?,?)"),
        [](int i) { return textRow(i, "Finance"); }, 0);
    details(
        QStringLiteral("insert into AgreementContents (agcAgreementid,agcDepartmentid,agcDetailid,"
                       "agcContentdesc) values (?,?,?,?)"),
        [](int i) { return textRow(i, "Content"); }, 0);
    con.CommitTrans();
    if (cpu)
        *cpuMs = cpu->now() - cpuStart;
    return ms(timer);
}

// The selects an opening for edit runs, each read whole, field by field, as text.
double rawSelects(platform::Connection &con, qint32 id, int *detailRows)
{
    const QString dept = QString::number(demo::DepartmentId);
    const QString key = QString::number(id);
    const QStringList statements = {
        QStringLiteral(
            "select distinct agrLawyer from agreementregister where agrLawyer<>'' and agrdepartmentid=") +
            dept,
        QStringLiteral(
            "select distinct agragreementtype from agreementregister where agragreementtype <>'' and "
            "agrdepartmentid=") +
            dept,
        QStringLiteral("select * from agreementregister where agrDepartmentid=") + dept +
            QStringLiteral(" and agragreementid=") + key,
        QStringLiteral("select pvh.phPaymentNo,pvh.phPaymentDate,pvh.phRemarks,pvh.phPayee,pvh.phAmount from "
                       "aHqPaymentVoucherHeader pvh,aHQpaymentvoucherdebitdetails pvdd where "
                       "pvh.phpaymentId=pvdd.PddPaymentID and pvdd.pddAgrrementTransID=") +
            key,
        QStringLiteral("select * from agreementdetails where agddepartmentid=") + dept +
            QStringLiteral(" and agdagreementid=") + key,
        QStringLiteral("select * from AgreementFinancialDetails where agfdepartmentid=") + dept +
            QStringLiteral(" and agfAgreementid=") + key,
        QStringLiteral("select * from AgreementContents where agcdepartmentid=") + dept +
            QStringLiteral(" and agcAgreementid=") + key,
        QStringLiteral("select * from AgreementSignedDetails where agsdepartmentid=") + dept +
            QStringLiteral(" and agsAgreementid=") + key,
        QStringLiteral("select * from AgreementWitnessDetails where agwdepartmentid=") + dept +
            QStringLiteral(" and agwAgreementid=") + key,
    };
    QElapsedTimer timer;
    timer.start();
    qsizetype characters = 0;
    *detailRows = 0;
    for (qsizetype s = 0; s < statements.size(); ++s) {
        platform::Recordset rs = con.Execute(statements.at(s));
        for (; !rs.isEOF(); rs.MoveNext()) {
            for (int f = 0; f < rs.fieldCount(); ++f)
                characters += rs.Fields(f).joinEmpty().size();
            if (s >= 4)
                ++*detailRows;
        }
    }
    Q_UNUSED(characters);
    return ms(timer);
}

// A new agreement with DetailRows rows in each detail grid, saved with OK: the save's time; cpu (when
// given) takes the processor time.
double saveNew(const QString &label, agr::FrmMaster *list, bench::CpuTime *cpu = nullptr,
               double *cpuMs = nullptr)
{
    list->cmdnew_Click();
    agr::FrmAgreementreg *form = agr::frmAgreementregIfLoaded();
    form->cbotype->setEditText(QStringLiteral("Service"));
    form->txtdesc->setText(QStringLiteral("Agreement with long detail lists"));
    fillGrid(form->mfgsigndetails, signRow);
    fillGrid(form->mfgwitnessdetails, witnessRow);
    fillGrid(form->mfgsummary, [](int i) { return textRow(i, "Summary"); });
    fillGrid(form->mfgfinance, [](int i) { return textRow(i, "Finance"); });
    fillGrid(form->mfgcontent, [](int i) { return textRow(i, "Content"); });

    const double cpuStart = cpu ? cpu->now() : 0;
    QElapsedTimer timer;
    timer.start();
    form->cmdOK_Click();
    const double took = ms(timer);
    if (cpu)
        *cpuMs = cpu->now() - cpuStart;
    if (agr::frmAgreementregIfLoaded())
        line(label + QStringLiteral(": the save did not complete"));
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    return took;
}

// What keeping the full-text index adds to a save: saves with the index's triggers and without them, in
// turns (with, without, without, with, ...), so that a database growing under both and the load of the
// machine are met alike. Between them only the triggers are dropped and made again. Besides the time on
// the clock, the processor time of the program and of the server.
void indexCost(const QString &label, platform::Connection &con, agr::FrmMaster *list)
{
    constexpr int Pairs = 60;
    struct Figures
    {
        std::vector<double> save, saveCpu, raw, rawCpu;
    } with, without;
    bench::CpuTime cpu(con);
    bench::SearchIndexTriggers triggers(con);
    const auto keep = [&](bool index) {
        // The first save after a change of the triggers reloads the table's triggers and compiles their
        // functions, as a session does once: it goes unmeasured.
        if (triggers.keep(index))
            saveNew(label, list);
    };
    for (int p = 0; p < Pairs; ++p) {
        for (const bool index : {p % 2 == 0, p % 2 != 0}) {
            keep(index);
            Figures &f = index ? with : without;
            double took = 0;
            f.save.push_back(saveNew(label, list, &cpu, &took));
            f.saveCpu.push_back(took);
            f.raw.push_back(rawInserts(con, -100 - 2 * p - int(index), &cpu, &took));
            f.rawCpu.push_back(took);
        }
    }
    keep(true);
    // Besides the ratio of the medians, the median of each pair's own ratio.
    const auto compare = [](const std::vector<double> &a, const std::vector<double> &b) {
        return QStringLiteral("%1 ms and %2 ms: +%3% (pair by pair +%4%)")
            .arg(median(a), 0, 'f', 1)
            .arg(median(b), 0, 'f', 1)
            .arg((median(a) / median(b) - 1) * 100, 0, 'f', 1)
            .arg((bench::pairedRatio(a, b) - 1) * 100, 0, 'f', 1);
    };
    line(QStringLiteral("%1: save with 5 x %2 detail rows with the full-text index and without it (goal <= "
                        "10%): %3; processor time %4; the raw inserts %5, processor time %6")
             .arg(label)
             .arg(DetailRows)
             .arg(compare(with.save, without.save))
             .arg(cpu.readable() ? compare(with.saveCpu, without.saveCpu) : QStringLiteral("not readable"))
             .arg(compare(with.raw, without.raw))
             .arg(cpu.readable() ? compare(with.rawCpu, without.rawCpu) : QStringLiteral("not readable")));
}

void runBackend(const QString &label, platform::Connection &con)
{
    agr::schema::CreateSchema(con);
    agr::schema::LoadDemoData(con, Today);

    agrtest::setDemoContext(&con);
    platform::setModalHandler([](QWidget *) {});
    platform::setMsgBoxResponder([](const platform::MsgBoxCall &) { return platform::vb::No; });

    agr::FrmMaster *list = agr::frmMaster();
    std::vector<double> saves, firsts, prepared, opens, fills, opensAfterPopup, popupOpens, popupRows,
        inserts, selects;
    for (int r = 0; r < Repeats; ++r) {
        saves.push_back(saveNew(label, list));

        // The saved agreement is the list's current row.
        const qint32 id = list->mfgMaster->TextMatrix(list->mfgMaster->Row(), 0).toInt();

        // An opening finds the widgets the last one (here: the new agreement just saved) left.
        QElapsedTimer timer;
        timer.start();
        list->CmdEdit_Click();
        opens.push_back(ms(timer));
        agr::FrmAgreementreg *form = agr::frmAgreementregIfLoaded();
        int shown = 0;
        for (FlexGrid *grid : {form->mfgsigndetails, form->mfgwitnessdetails, form->mfgcontent,
                               form->mfgsummary, form->mfgfinance})
            shown += grid->Rows() - 1;
        // The same opening once more while the form is still loaded: reading and filling alone.
        timer.restart();
        list->CmdEdit_Click();
        fills.push_back(ms(timer));

        // The popup in use: opened on the first row of each grid, then OK walks it to the last row.
        for (FlexGrid *grid : {form->mfgsigndetails, form->mfgwitnessdetails, form->mfgcontent,
                               form->mfgsummary, form->mfgfinance}) {
            timer.restart();
            form->grid_DblClick(grid);
            popupOpens.push_back(ms(timer));
            agr::Frmpopup *popup = agr::frmpopupIfLoaded();
            timer.restart();
            int accepted = 0;
            while (agr::frmpopupIfLoaded() == popup && accepted <= DetailRows) {
                popup->cmdOK_Click();
                ++accepted;
            }
            popupRows.push_back(ms(timer) / accepted);
            if (accepted != DetailRows || grid->Row() != DetailRows)
                line(QStringLiteral("%1: MISMATCH the popup accepted %2 rows and stopped on row %3")
                         .arg(label)
                         .arg(accepted)
                         .arg(grid->Row()));
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        }
        agr::unloadFrmAgreementreg(); // the closing question is answered No
        timer.restart();
        list->CmdEdit_Click();
        opensAfterPopup.push_back(ms(timer));
        agr::unloadFrmAgreementreg();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);

        // The first opening of a session builds the form.
        agr::discardFrmAgreementreg();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        timer.restart();
        list->CmdEdit_Click();
        firsts.push_back(ms(timer));
        agr::unloadFrmAgreementreg();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);

        // The first opening of a session as the program has it: the list prepared the form while idle.
        agr::discardFrmAgreementreg();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        agr::prepareFrmAgreementreg();
        timer.restart();
        list->CmdEdit_Click();
        prepared.push_back(ms(timer));
        agr::unloadFrmAgreementreg();

        inserts.push_back(rawInserts(con, -1 - r)); // ids the save never draws
        int read = 0;
        selects.push_back(rawSelects(con, id, &read));
        if (shown != 5 * DetailRows || read != 5 * DetailRows)
            line(QStringLiteral("%1: MISMATCH the form showed %2 detail rows, the raw read %3 (of %4)")
                     .arg(label)
                     .arg(shown)
                     .arg(read)
                     .arg(5 * DetailRows));
    }

    const double save = median(saves), insert = median(inserts), open = median(opens),
                 select = median(selects);
    line(
        QStringLiteral("%1: save with 5 x %2 detail rows: cmdOK_Click %3 ms; raw %4 inserts %5 ms (ratio %6)")
            .arg(label)
            .arg(DetailRows)
            .arg(save, 0, 'f', 1)
            .arg(1 + 5 * DetailRows)
            .arg(insert, 0, 'f', 1)
            .arg(save / insert, 0, 'f', 2));
    // What the save's number lock adds: taken and released, 200 times, on the benchmark's connection.
    {
        constexpr int Locks = 200;
        QElapsedTimer timer;
        timer.start();
        for (int i = 0; i < Locks; ++i)
            con.lockKey(QStringLiteral("bench %1").arg(i % 4)).release();
        const double each = ms(timer) / Locks;
        line(QStringLiteral("%1: the number lock taken and released: %2 ms (%3 of the save)")
                 .arg(label)
                 .arg(each, 0, 'f', 3)
                 .arg(QString::number(100.0 * each / save, 'f', 2) + QLatin1Char('%')));
    }
    const double fill = median(fills), first = median(firsts), again = median(opensAfterPopup);
    line(QStringLiteral(
             "%1: open for edit: CmdEdit_Click %2 ms (widgets kept from the last opening), %3 ms "
             "(first of a session: form built), %4 ms (form still loaded); raw selects %5 ms (ratios "
             "%6, %7 and %8)")
             .arg(label)
             .arg(open, 0, 'f', 1)
             .arg(first, 0, 'f', 1)
             .arg(fill, 0, 'f', 1)
             .arg(select, 0, 'f', 1)
             .arg(open / select, 0, 'f', 2)
             .arg(first / select, 0, 'f', 2)
             .arg(fill / select, 0, 'f', 2));
    line(QStringLiteral(
             "%1: open for edit, first of a session with the form prepared while the list was idle: "
             "%2 ms (ratio %3)")
             .arg(label)
             .arg(median(prepared), 0, 'f', 1)
             .arg(median(prepared) / select, 0, 'f', 2));
    line(QStringLiteral(
             "%1: popup in use: opened on a row %2 ms, OK and on to the next row %3 ms; open for edit "
             "after it %4 ms (ratio %5)")
             .arg(label)
             .arg(median(popupOpens), 0, 'f', 2)
             .arg(median(popupRows), 0, 'f', 3)
             .arg(again, 0, 'f', 1)
             .arg(again / select, 0, 'f', 2));

    indexCost(label, con, list);

    agr::unloadFrmMaster();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    agr::context().setConnection(nullptr);
}

} // namespace

int main(int argc, char **argv)
{
    return bench::runOnBackends(argc, argv, QStringLiteral("bench_entry"), runBackend);
}
