// Opening the agreement list and one search keystroke, at 1,000, 10,000 and 100,000 agreements, on SQLite
// and (when AGR_TEST_PG is set) PostgreSQL. Each opening is printed beside the raw cost of the same list
// statement read field by field into QStrings, and the search's first keystroke (which sorts the column)
// beside a plain sort of that column's texts, both measured in the same run; and what the fill spends on the
// sort heads the grid keeps for every cell.

#include "data/schema.h"
#include "forms/list/frmmaster.h"
#include "module/modulecontext.h"
#include "platform/database/connection.h"
#include "platform/database/dialect.h"
#include "platform/grid/flexgrid.h"
#include "platform/grid/flexgridmodel.h"
#include "platform/runtime/errors.h"
#include "support/testsupport.h"

#include "benchsupport.h"

#include <QComboBox>
#include <QLineEdit>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QTest>

#include <algorithm>
#include <ctime>
#include <vector>

namespace {

namespace demo = agr::schema::demo;
using bench::line;
using bench::median;
using bench::ms;

const QDate Today(2026, 11, 15);
constexpr int Sizes[] = {1000, 10000, 100000};
constexpr int Repeats = 3;

// The process's CPU time: the machine may be busy with other work while the wall clock runs.
double cpuMs()
{
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return double(now.tv_sec) * 1e3 + double(now.tv_nsec) / 1e6;
}

// Agreements 1..to of department 1, from `from` on, in one transaction with multi-row inserts. Every tenth
// is cancelled; the dates fall inside the back period before Today.
void insertAgreements(platform::Connection &con, int from, int to)
{
    constexpr int Batch = 500;
    con.BeginTrans();
    for (int first = from; first <= to; first += Batch) {
        QString sql =
            QStringLiteral("insert into agreementregister (agragreementid,agrDepartmentid,agragreementNo,"
                           "agragreementdate,agragreementdesc,agragreementtype,agrapplicableTo,"
                           "agragreementwith,agrcancelled) values ");
        const int last = std::min(to, first + Batch - 1);
        for (int id = first; id <= last; ++id) {
            const QDate date = Today.addDays(-(id % demo::BackNoOfDays));
            sql += QStringLiteral("(%1,%2,'AG/%1','%3','Agreement number %1 for services','%4','Head Office',"
                                  "'Party %5',%6)")
                       .arg(id)
                       .arg(demo::DepartmentId)
                       .arg(date.toString(QStringLiteral("yyyyMMdd")))
                       .arg(id % 3 ? QStringLiteral("Service") : QStringLiteral("Lease"))
                       .arg(id % 97)
                       .arg(id % 10 == 0 ? 1 : 0);
            if (id < last)
                sql += QLatin1Char(',');
        }
        con.Execute(sql);
    }
    con.CommitTrans();
}

struct RawTimes
{
    double connection = 0; // Connection::Execute and Field::joinEmpty
    double query = 0;      // QSqlQuery, forward only, value().toString()
    int rows = 0;
};

RawTimes rawRead(platform::Connection &con, const QString &sql)
{
    RawTimes times;
    std::vector<double> viaConnection, viaQuery;
    for (int r = 0; r < Repeats; ++r) {
        QElapsedTimer timer;
        timer.start();
        platform::Recordset rs = con.Execute(sql);
        const int fields = rs.fieldCount();
        int rows = 0;
        qsizetype characters = 0;
        for (; !rs.isEOF(); rs.MoveNext(), ++rows)
            for (int j = 0; j < fields; ++j)
                characters += rs.Fields(j).joinEmpty().size();
        viaConnection.push_back(ms(timer));
        times.rows = rows;

        timer.restart();
        QSqlQuery query(con.database());
        query.setForwardOnly(true);
        if (!query.exec(con.dialect().translate(sql)))
            platform::Raise(platform::err::DatabaseError, QStringLiteral("bench"),
                            QStringLiteral("raw query failed"));
        const int columns = query.record().count();
        while (query.next())
            for (int j = 0; j < columns; ++j)
                characters += query.value(j).toString().size();
        viaQuery.push_back(ms(timer));
        Q_UNUSED(characters);
    }
    times.connection = median(viaConnection);
    times.query = median(viaQuery);
    return times;
}

void runBackend(const QString &label, platform::Connection &con)
{
    agr::schema::CreateSchema(con);
    agr::schema::LoadDemoData(con, Today);
    con.Execute(QStringLiteral("delete from agreementregister"));

    agrtest::setDemoContext(&con);

    int stored = 0;
    double lastOpen = 0;
    for (const int size : Sizes) {
        QElapsedTimer timer;
        timer.start();
        insertAgreements(con, stored + 1, size);
        stored = size;
        line(QStringLiteral("%1 %2: inserted up to %2 agreements in %3 ms")
                 .arg(label)
                 .arg(size)
                 .arg(ms(timer), 0, 'f', 0));

        // Opening: the form built and loaded (list read, grid filled, named, coloured), the view told.
        std::vector<double> opens;
        QString listSql;
        int rows = 0;
        for (int r = 0; r < Repeats; ++r) {
            timer.restart();
            agr::FrmMaster *form = agr::frmMaster();
            form->mfgMaster->flush();
            opens.push_back(ms(timer));
            listSql = form->listSql;
            rows = form->mfgMaster->Rows() - 1;
            agr::unloadFrmMaster();
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        }
        const RawTimes raw = rawRead(con, listSql);
        const double open = median(opens);
        lastOpen = open;
        line(QStringLiteral(
                 "%1 %2: open %3 ms for %4 rows; raw Connection read %5 ms (ratio %6); raw QSqlQuery read "
                 "%7 ms (ratio %8)")
                 .arg(label)
                 .arg(size)
                 .arg(open, 0, 'f', 1)
                 .arg(rows)
                 .arg(raw.connection, 0, 'f', 1)
                 .arg(open / raw.connection, 0, 'f', 2)
                 .arg(raw.query, 0, 'f', 1)
                 .arg(open / raw.query, 0, 'f', 2));
        if (rows != raw.rows || rows != size)
            line(QStringLiteral("%1 %2: MISMATCH grid rows %3, raw rows %4")
                     .arg(label)
                     .arg(size)
                     .arg(rows)
                     .arg(raw.rows));
    }

    // The first keystroke at the largest size, twice on a newly opened list: typed the moment the search
    // column is chosen (the grid then works the order out on the spot), and typed after a clerk's pause (the
    // grid has worked it out ahead, off the user-interface thread). Both must land on the same row.
    const QString searchColumn = QStringLiteral("agragreementno");
    auto chooseSearchColumn = [&](agr::FrmMaster *list) {
        list->show();
        QCoreApplication::processEvents();
        list->cboSearch->setCurrentIndex(list->cboSearch->findText(searchColumn, Qt::MatchFixedString));
        list->txtsearch->setFocus();
    };
    auto firstKey = [&](agr::FrmMaster *list, double *landedId, double *cpu) {
        QElapsedTimer keyTimer;
        const double cpuBefore = cpuMs();
        keyTimer.start();
        QTest::keyClick(list->txtsearch, Qt::Key_A);
        QCoreApplication::processEvents();
        const double took = ms(keyTimer);
        *cpu = cpuMs() - cpuBefore;
        *landedId = list->mfgMaster->TextMatrix(list->mfgMaster->Row(), 0).toDouble();
        return took;
    };

    agr::FrmMaster *form = agr::frmMaster();
    chooseSearchColumn(form);
    double landedAtOnce = 0;
    double atOnceCpu = 0;
    const double atOnce = firstKey(form, &landedAtOnce, &atOnceCpu);
    agr::unloadFrmMaster();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);

    form = agr::frmMaster();
    chooseSearchColumn(form);
    QStringList listed; // the search column as the list shows it before the search sorts it
    listed.reserve(form->mfgMaster->Rows());
    for (int row = 1; row < form->mfgMaster->Rows(); ++row)
        listed << form->mfgMaster->TextMatrix(row, 1);
    // What the fill spends on the sort heads it keeps for every cell: the same heads worked out again for
    // the texts the grid holds.
    QStringList cells;
    cells.reserve(qsizetype(form->mfgMaster->Rows()) * form->mfgMaster->Cols());
    for (int row = 1; row < form->mfgMaster->Rows(); ++row)
        for (int col = 0; col < form->mfgMaster->Cols(); ++col)
            cells << form->mfgMaster->TextMatrix(row, col);
    QElapsedTimer timer;
    timer.start();
    quint64 headSum = 0;
    for (const QString &cell : std::as_const(cells))
        headSum += platform::FlexGridModel::headOf(cell).low;
    const double headsCost = ms(timer);
    line(QStringLiteral("%1 %2: sort heads for the %3 cells filled: %4 ms, %5% of the open%6")
             .arg(label)
             .arg(stored)
             .arg(cells.size())
             .arg(headsCost, 0, 'f', 1)
             .arg(100 * headsCost / lastOpen, 0, 'f', 1)
             .arg(headSum == 0 ? QStringLiteral(" (no heads)") : QString()));

    timer.restart();
    // The idle step that hands the work to another thread: the grid's own posted call, timed alone.
    QCoreApplication::sendPostedEvents(form->mfgMaster->model(), QEvent::MetaCall);
    const double idleStep = ms(timer);
    QCoreApplication::processEvents();
    QTest::qWait(300); // the clerk moves to the search box
    double landedAfterPause = 0;
    double firstCpu = 0;
    const double first = firstKey(form, &landedAfterPause, &firstCpu);

    // The raw baseline: the search column's texts, in the order the list showed them, copied out and sorted
    // by themselves in the same run.
    std::vector<double> rawSorts;
    for (int r = 0; r < Repeats; ++r) {
        QStringList texts = listed;
        texts.detach();
        timer.restart();
        std::stable_sort(texts.begin(), texts.end());
        rawSorts.push_back(ms(timer));
    }
    const double rawSort = median(rawSorts);

    const QString typed = QStringLiteral("g/7531");
    std::vector<double> keys, keyCpu;
    for (int round = 0; round < 4; ++round) {
        for (const QChar c : typed) {
            const double cpu = cpuMs();
            timer.restart();
            QTest::keyClicks(form->txtsearch, QString(c));
            QCoreApplication::processEvents();
            keys.push_back(ms(timer));
            keyCpu.push_back(cpuMs() - cpu);
        }
        form->txtsearch->setText(QStringLiteral("a"));
    }
    const QString landed = form->mfgMaster->TextMatrix(form->mfgMaster->Row(), 1);

    // Where a keystroke's time goes: the grid's check that the column is still in order, the search (which
    // runs that check too), and painting the visible rows.
    std::vector<double> checks, searches, paints;
    platform::FlexGrid &grid = *form->mfgMaster;
    for (int i = 0; i < 10; ++i) {
        timer.restart();
        grid.setCol(1);
        grid.setColSel(1);
        grid.setSort(platform::FlexGrid::SortStringAscending);
        checks.push_back(ms(timer));
        timer.restart();
        form->searchtheword(QStringLiteral("AG/75%1").arg(i));
        searches.push_back(ms(timer));
        timer.restart();
        grid.viewport()->repaint();
        paints.push_back(ms(timer));
    }
    line(QStringLiteral(
             "%1 %2: first keystroke after a pause %3 ms (CPU %4 ms; the idle step before it held "
             "the user-interface thread %5 ms); typed at once, no idle moment, %6 ms (CPU %7 ms); raw "
             "sort of the column's texts %8 ms (ratios %9 and %10)%11")
             .arg(label)
             .arg(stored)
             .arg(first, 0, 'f', 1)
             .arg(firstCpu, 0, 'f', 1)
             .arg(idleStep, 0, 'f', 2)
             .arg(atOnce, 0, 'f', 1)
             .arg(atOnceCpu, 0, 'f', 1)
             .arg(rawSort, 0, 'f', 1)
             .arg(first / rawSort, 0, 'f', 2)
             .arg(atOnce / rawSort, 0, 'f', 2)
             .arg(landedAtOnce == landedAfterPause ? QString() : QStringLiteral(" MISMATCH: landed apart")));
    line(QStringLiteral("%1 %2: next keystrokes median %3 ms, max %4 ms (landed on %5)")
             .arg(label)
             .arg(stored)
             .arg(median(keys), 0, 'f', 2)
             .arg(*std::max_element(keys.begin(), keys.end()), 0, 'f', 2)
             .arg(landed));
    line(QStringLiteral(
             "%1 %2: keystroke parts (median): sort check %3 ms, search with its check %4 ms, grid repaint "
             "%5 ms; keystroke CPU time median %6 ms")
             .arg(label)
             .arg(stored)
             .arg(median(checks), 0, 'f', 2)
             .arg(median(searches), 0, 'f', 2)
             .arg(median(paints), 0, 'f', 2)
             .arg(median(keyCpu), 0, 'f', 2));
    agr::unloadFrmMaster();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    agr::context().setConnection(nullptr);
}

} // namespace

int main(int argc, char **argv)
{
    return bench::runOnBackends(argc, argv, QStringLiteral("bench_list"), runBackend);
}
