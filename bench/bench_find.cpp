// bench_find: the full-text search against the same question asked with LIKE over the register's tables,
// the keystrokes of the search window, what keeping the index adds to a save, and reading a 300-dpi A4 scan
// against Tesseract alone on the same pixels. Agreements: AGR_BENCH_FIND_AGREEMENTS (default 100,000), each
// with 20 lines in each of the five detail tables; AGR_BENCH_FIND_ONLY=sqlite or postgresql runs one backend;
// AGR_BENCH_FIND_SCANS_ONLY=1 reads the scans alone, on an empty register (AGR_BENCH_FIND_SCAN_ROUNDS rounds,
// 5 unless set), AGR_BENCH_FIND_NO_SCANS=1 leaves them out; AGR_BENCH_FIND_TYPING_ONLY=1 times the window's
// keystrokes alone; AGR_BENCH_FIND_REGISTER=FILE keeps the SQLite register in FILE, filled by the first run
// and only searched by the later ones.

#include "benchsupport.h"

#include "data/schema.h"
#include "data/searchindex.h"
#include "host/search/scanreader.h"
#include "host/search/search.h"

#include <QBuffer>
#include <QImage>
#include <QPainter>

#include <omp.h>
#include <tesseract/baseapi.h>

#include <ctime>
#include <functional>

namespace {

using bench::line;

constexpr int DetailLines = 20;

// The numbers 1 to count as a relation with one column.
QString numbers(platform::Connection &con, const QString &name, const QString &column, int count)
{
    if (con.backend() == platform::Backend::PostgreSQL)
        return QStringLiteral("generate_series(1, %1) %2(%3)").arg(count).arg(name, column);
    return QStringLiteral(
               "(with recursive s(n) as (select 1 union all select n+1 from s where n < %1) select n "
               "as %3 from s) %2")
        .arg(count)
        .arg(name, column);
}

// The register is written without the index's triggers and the index made afterwards from the tables, as
// init-db makes it for an existing database: row by row it would take the bench's whole time.
void fillRegister(platform::Connection &con, int agreements)
{
    bench::dropSearchIndexTriggers(con);
    con.BeginTrans();
    con.Execute(
        QStringLiteral("insert into agreementregister (agragreementid, agrDepartmentid, agragreementNo, "
                       "agragreementdate, agragreementdesc, agragreementtype, agrReferenceNo, "
                       "agragreementwith, agrLawyer, agrPhysicalfileLOC, alertremarks) ") +
        QStringLiteral("select i, 1, 'AG/' || i, '20260101', 'Agreement on lex' || (i % 5000) || ' and vox' "
                       "|| (i % 3000), 'Type' || (i % 12), 'REF' || i, 'Party' || (i % 900), 'Lawyer' || "
                       "(i % 40), 'Shelf ' || (i % 300), 'Renew early' from ") +
        numbers(con, QStringLiteral("a"), QStringLiteral("i"), agreements));
    struct Detail
    {
        const char *table;
        const char *columns;
        const char *text;
    };
    const Detail details[] = {
        {"AgreementDetails", "agdAgreementid, agdDepartmentid, agdDetailid, agdDetails",
         "'Summary lex' || ((i*31+j*17) % 5000) || ' of term' || ((i+j*101) % 8000)"},
        {"AgreementSignedDetails", "agsagreementid, agsDepartmentid, agsDetailid, agsSignedBy, agsPosition",
         "'Signer' || ((i*7+j) % 20000), 'Director'"},
        {"AgreementWitnessDetails",
         "agwAgreementid, agwDepartmentid, agwDetailid, agwSignedBy, agwPostion, agwWitenessAddress",
         "'Witness' || ((i*3+j) % 20000), 'Clerk', j || ' Road vox' || ((i+j) % 3000)"},
        {"AgreementFinancialDetails", "agfAgreementid, agfDepartmentid, agffinanceDetailid, agffinanceDetail",
         "'Pay within ' || j || ' days of invoice lex' || ((i*13+j*7) % 5000)"},
        {"AgreementContents", "agcAgreementid, agcDepartmentid, agcDetailid, agcContentdesc",
         "'Clause lex' || ((i*31+j*17) % 5000) || ' vox' || ((i*7+j*13) % 3000) || ' shall apply to term' || "
         "((i+j*101) % 8000)"},
    };
    for (const Detail &d : details)
        con.Execute(QStringLiteral("insert into %1 (%2) select i, 1, j, %3 from ")
                        .arg(QLatin1String(d.table), QLatin1String(d.columns), QLatin1String(d.text)) +
                    numbers(con, QStringLiteral("a"), QStringLiteral("i"), agreements) +
                    QStringLiteral(" cross join ") +
                    numbers(con, QStringLiteral("d"), QStringLiteral("j"), DetailLines));
    // The rare words: one agreement in ten thousand has the penalty clause.
    con.Execute(
        QStringLiteral("update AgreementContents set agcContentdesc = agcContentdesc || ' penalty for late "
                       "zebrafish delivery' where agcDetailid = 3 and agcAgreementid % 10000 = 7"));
    con.CommitTrans();
    agr::schema::CreateSearchIndex(con);
}

// The same question with LIKE: every text column of the header and the five detail tables.
QString likeStatement(const QString &word)
{
    const QString w = QStringLiteral(" like '%") + word + QStringLiteral("%'");
    QStringList header;
    for (const char *c :
         {"agragreementNo", "agragreementdesc", "agragreementtype", "agrReferenceNo", "agragreementwith",
          "agrapplicableTo", "alertremarks", "agrLawyer", "agrPhysicalfileLOC"})
        header << QStringLiteral("lower(") + QLatin1String(c) + QLatin1Char(')') + w;
    return QStringLiteral("select agrDepartmentid, agragreementid from agreementregister where ") +
           header.join(QStringLiteral(" or ")) +
           QStringLiteral(" union select agdDepartmentid, agdAgreementid from AgreementDetails where "
                          "lower(agdDetails)") +
           w +
           QStringLiteral(" union select agsDepartmentid, agsagreementid from AgreementSignedDetails where "
                          "lower(agsSignedBy)") +
           w + QStringLiteral(" or lower(agsPosition)") + w +
           QStringLiteral(" union select agwDepartmentid, agwAgreementid from AgreementWitnessDetails where "
                          "lower(agwSignedBy)") +
           w + QStringLiteral(" or lower(agwPostion)") + w + QStringLiteral(" or lower(agwWitenessAddress)") +
           w +
           QStringLiteral(
               " union select agfDepartmentid, agfAgreementid from AgreementFinancialDetails where "
               "lower(agffinanceDetail)") +
           w +
           QStringLiteral(" union select agcDepartmentid, agcAgreementid from AgreementContents where "
                          "lower(agcContentdesc)") +
           w;
}

double processCpuMs()
{
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return double(now.tv_sec) * 1e3 + double(now.tv_nsec) / 1e6;
}

template <class Body> double medianMs(int runs, Body body)
{
    std::vector<double> times;
    for (int i = 0; i < runs; ++i) {
        QElapsedTimer t;
        t.start();
        body();
        times.push_back(bench::ms(t));
    }
    return bench::median(times);
}

// One save as the entry form makes it: the header updated, each detail table replaced, in one transaction.
void save(platform::Connection &con, int agreement, int round)
{
    con.BeginTrans();
    con.Execute(QStringLiteral("update agreementregister set agragreementdesc = 'Saved lex%1 round %2' where "
                               "agrDepartmentid = 1 and agragreementid = %3")
                    .arg(agreement % 5000)
                    .arg(round)
                    .arg(agreement));
    const QString id = QString::number(agreement);
    con.Execute(QStringLiteral("delete from AgreementContents where agcAgreementid=") + id +
                QStringLiteral(" and agcDepartmentid=1"));
    con.Execute(QStringLiteral("delete from AgreementDetails where agdAgreementid=") + id +
                QStringLiteral(" and agdDepartmentid=1"));
    con.Execute(QStringLiteral("delete from AgreementFinancialDetails where agfAgreementid=") + id +
                QStringLiteral(" and agfDepartmentid=1"));
    con.Execute(QStringLiteral("delete from AgreementSignedDetails where agsagreementid=") + id +
                QStringLiteral(" and agsDepartmentid=1"));
    con.Execute(QStringLiteral("delete from AgreementWitnessDetails where agwAgreementid=") + id +
                QStringLiteral(" and agwDepartmentid=1"));
    const QList<QPair<QString, int>> inserts = {
        {QStringLiteral("insert into AgreementContents (agcAgreementid, agcDepartmentid, agcDetailid, "
                        "agcContentdesc) values (?,?,?,?)"),
         4},
        {QStringLiteral(
             "insert into AgreementDetails (agdAgreementid, agdDepartmentid, agdDetailid, agdDetails) "
             "values (?,?,?,?)"),
         4},
        {QStringLiteral("insert into AgreementFinancialDetails (agfAgreementid, agfDepartmentid, "
                        "agffinanceDetailid, agffinanceDetail) values (?,?,?,?)"),
         4},
        {QStringLiteral("insert into AgreementSignedDetails (agsagreementid, agsDepartmentid, agsDetailid, "
                        "agsSignedBy, agsPosition) values (?,?,?,?,?)"),
         5},
        {QStringLiteral("insert into AgreementWitnessDetails (agwAgreementid, agwDepartmentid, agwDetailid, "
                        "agwSignedBy, agwPostion) values (?,?,?,?,?)"),
         5},
    };
    for (const auto &[sql, markers] : inserts) {
        platform::Command insert(con);
        insert.setCommandText(sql);
        insert.ParametersRefresh();
        for (int j = 1; j <= DetailLines; ++j) {
            QVariantList values = {agreement, 1, j,
                                   QStringLiteral("Line lex%1 vox%2 round %3").arg(j * 7).arg(j).arg(round)};
            if (markers == 5)
                values << QStringLiteral("Director");
            insert.Execute(values);
        }
    }
    con.CommitTrans();
}

QImage a4Page()
{
    QImage page(2480, 3508, QImage::Format_RGB32);
    page.fill(Qt::white);
    page.setDotsPerMeterX(11811);
    page.setDotsPerMeterY(11811);
    QPainter painter(&page);
    QFont font(QStringLiteral("DejaVu Serif"));
    font.setPixelSize(42);
    painter.setFont(font);
    painter.setPen(Qt::black);
    for (int i = 0; i < 45; ++i)
        painter.drawText(
            200, 260 + i * 70,
            QStringLiteral("%1. The lessee shall pay the rent for the premises within %2 days of the "
                           "invoice.")
                .arg(i + 1)
                .arg(10 + i));
    painter.end();
    return page;
}

// Reading a scan against Tesseract alone on the same pixels, with the same languages and resolution: rounds
// that alternate which goes first, medians of each, and where the reader's own time goes.
void readingScans(platform::Connection &con)
{
    const QImage page = a4Page();
    QByteArray jpeg;
    QBuffer buffer(&jpeg);
    buffer.open(QIODevice::WriteOnly);
    page.save(&buffer, "JPG", 85);
    host::PageReader reader;
    if (!reader.failure().isEmpty()) {
        line(QStringLiteral("  scans: skipped: ") + reader.failure());
        return;
    }
    const QImage grey = host::PageReader::decodeGrey(jpeg);
    tesseract::TessBaseAPI raw;
    raw.SetVariable("debug_file", "/dev/null");
    raw.Init(nullptr, reader.languages().toUtf8().constData());
    auto tesseractAlone = [&] {
        raw.SetImage(grey.constBits(), grey.width(), grey.height(), 1, int(grey.bytesPerLine()));
        raw.SetSourceResolution(300);
        delete[] raw.GetUTF8Text();
        raw.Clear();
    };
    // The engine as installed gives its parallel work a fixed team of OpenMP threads; the reader asks for
    // dynamic teams (the cores the load leaves free), and so does Tesseract alone in the rounds below.
    omp_set_dynamic(0);
    const double installed = medianMs(1, tesseractAlone);
    omp_set_dynamic(1);
    line(QStringLiteral("  scan: Tesseract as installed (a fixed team of OpenMP threads) %1 ms")
             .arg(installed, 0, 'f', 0));
    int copy = 0;
    // Each time other bytes, so that the page is read and not found by its hash.
    auto storeCopy = [&] {
        QByteArray bytes = jpeg;
        bytes.append(char(++copy));
        platform::Command insert(con);
        insert.setCommandText(
            QStringLiteral("insert into AgreementScanCopyDetails (agsCompanyID, agsAgreementID, "
                           "agsDepartmentID, agsDetailID, agsAgreementName, agsDocuments) values "
                           "(1, 1, 1, ?, 'A4', ?)"));
        insert.ParametersRefresh();
        insert.Execute({copy, bytes});
    };
    auto storedAndIndexed = [&] {
        storeCopy();
        host::readUnreadScans(con, reader, {});
    };
    const int rounds = qEnvironmentVariableIntValue("AGR_BENCH_FIND_SCAN_ROUNDS") > 0
                           ? qEnvironmentVariableIntValue("AGR_BENCH_FIND_SCAN_ROUNDS")
                           : 5;
    auto readerAlone = [&] { reader.read(jpeg); };
    // Wall time, and the process's CPU time (the engine's own threads included), which another program
    // busy on the machine disturbs less.
    struct Side
    {
        std::function<void()> body;
        std::vector<double> wall;
        std::vector<double> cpu;
    };
    Side sides[] = {{tesseractAlone, {}, {}}, {readerAlone, {}, {}}, {storedAndIndexed, {}, {}}};
    std::vector<double> ratios;
    for (int r = 0; r < rounds; ++r) {
        for (int i = 0; i < 3; ++i) {
            Side &side = sides[(r + i) % 3]; // each goes first in turn
            const double cpu = processCpuMs();
            side.wall.push_back(medianMs(1, side.body));
            side.cpu.push_back(processCpuMs() - cpu);
        }
        ratios.push_back(sides[2].wall.back() / sides[0].wall.back());
    }
    QStringList each;
    for (const double ratio : ratios)
        each << QString::number(ratio, 'f', 3);
    auto figures = [&](const Side &side) {
        return QStringLiteral("%1 ms (CPU %2 ms)")
            .arg(bench::median(side.wall), 0, 'f', 0)
            .arg(bench::median(side.cpu), 0, 'f', 0);
    };
    line(QStringLiteral(
             "  scan 300-dpi A4 (%1), %2 rounds, each side first in turn, medians: Tesseract alone %3; "
             "the reader on the bytes %4; stored copy read and indexed %5; ratio %6 (goal <= 1.1), "
             "CPU ratio %7; per round %8")
             .arg(reader.languages())
             .arg(rounds)
             .arg(figures(sides[0]), figures(sides[1]), figures(sides[2]))
             .arg(bench::median(sides[2].wall) / bench::median(sides[0].wall), 0, 'f', 3)
             .arg(bench::median(sides[2].cpu) / bench::median(sides[0].cpu), 0, 'f', 3)
             .arg(each.join(QLatin1Char(' '))));

    // The reader's own steps beside the engine, each the median of a few runs.
    const double decode = medianMs(5, [&] { host::PageReader::decodeGrey(jpeg); });
    const double viaRgb =
        medianMs(5, [&] { return QImage::fromData(jpeg).convertToFormat(QImage::Format_Grayscale8); });
    const double hash = medianMs(5, [&] { host::pageKey(jpeg); });
    const double stored = medianMs(5, storeCopy);
    const double blobRead = medianMs(5, [&] {
        con.Execute(QStringLiteral("select agsDocuments from AgreementScanCopyDetails where agsDetailID = ") +
                    QString::number(copy))
            .Fields(0)
            .Value()
            .toByteArray();
    });
    line(QStringLiteral("  scan steps (%1 KB JPEG): decode to grey %2 ms (through RGB: %6 ms), SHA-256 %3 "
                        "ms, storing the copy %4 ms, "
                        "reading it back %5 ms")
             .arg(jpeg.size() / 1024)
             .arg(decode, 0, 'f', 1)
             .arg(hash, 0, 'f', 1)
             .arg(stored, 0, 'f', 1)
             .arg(blobRead, 0, 'f', 1)
             .arg(viaRgb, 0, 'f', 1));
    raw.End();
}

} // namespace

int main(int argc, char **argv)
{
    const int agreements = qEnvironmentVariableIntValue("AGR_BENCH_FIND_AGREEMENTS") > 0
                               ? qEnvironmentVariableIntValue("AGR_BENCH_FIND_AGREEMENTS")
                               : 100000;
    return bench::runOnBackends(
        argc, argv, QStringLiteral("find"), [&](const QString &label, platform::Connection &backendCon) {
            const QString only = qEnvironmentVariable("AGR_BENCH_FIND_ONLY");
            if (!only.isEmpty() && only != label) {
                line(label + QStringLiteral(": skipped (AGR_BENCH_FIND_ONLY=") + only + QLatin1Char(')'));
                return;
            }
            // A SQLite register kept in a file of its own is filled once and searched by later runs.
            const QString keptFile = qEnvironmentVariable("AGR_BENCH_FIND_REGISTER");
            const bool typingOnly = qEnvironmentVariableIntValue("AGR_BENCH_FIND_TYPING_ONLY") != 0;
            platform::Connection keptRegister;
            if (label == QLatin1String("sqlite") && !keptFile.isEmpty())
                keptRegister.Open(QStringLiteral("sqlite:") + keptFile);
            platform::Connection &con = keptRegister.isOpen() ? keptRegister : backendCon;
            con.setStatementLogEnabled(false);
            agr::schema::CreateSchema(con);
            if (qEnvironmentVariableIntValue("AGR_BENCH_FIND_SCANS_ONLY") != 0) {
                line(label + QStringLiteral(": the scans alone (AGR_BENCH_FIND_SCANS_ONLY)"));
                readingScans(con);
                return;
            }
            QElapsedTimer t;
            t.start();
            const int stored = agrtest::countRows(con, QStringLiteral("agreementregister"));
            if (stored == 0)
                fillRegister(con, agreements);
            line(QStringLiteral("%1: %2 agreements, %3 detail lines, %4 index rows %5 in %6 s")
                     .arg(label)
                     .arg(stored == 0 ? agreements : stored)
                     .arg((stored == 0 ? agreements : stored) * DetailLines * 5)
                     .arg(agrtest::countRows(con, QStringLiteral("agrSearchRows")))
                     .arg(stored == 0 ? QStringLiteral("written") : QStringLiteral("kept from before"))
                     .arg(bench::ms(t) / 1000, 0, 'f', 1));
            if (con.backend() == platform::Backend::PostgreSQL)
                con.Execute(QStringLiteral("vacuum analyze"));

            const QList<int> departments = {1};
            auto search = [&](const QString &text, bool typing = false) {
                return host::findAgreements(con, host::parseSearch(text, typing), departments, 50,
                                            typing ? host::RowsPerTermWhileTyping : host::RowsPerTerm);
            };
            // Questions of one term, so that LIKE asks exactly the same.
            const QStringList questions = {QStringLiteral("zebrafish"),
                                           QStringLiteral("\"late zebrafish delivery\""),
                                           QStringLiteral("lex4321"), QStringLiteral("signer12345")};
            for (const QString &q : typingOnly ? QStringList() : questions) {
                int hits = 0;
                const double findMs = medianMs(7, [&] { hits = search(q).total; });
                const QString words = host::parseSearch(q).terms.value(0).words.join(QLatin1Char(' '));
                int likeRows = 0;
                // LIKE reads every text: seconds a run at 100,000 agreements, once is enough there.
                const double likeMs = medianMs(agreements > 20000 ? 1 : 3, [&] {
                    likeRows = con.Execute(likeStatement(words)).RecordCount();
                });
                line(QStringLiteral(
                         "  find %1: %2 agreements in %3 ms; LIKE '%%4%' over the same tables: %5 in %6 ms; "
                         "ratio %7x (goal >= 50)")
                         .arg(q)
                         .arg(hits)
                         .arg(findMs, 0, 'f', 2)
                         .arg(words)
                         .arg(likeRows)
                         .arg(likeMs, 0, 'f', 1)
                         .arg(likeMs / findMs, 0, 'f', 0));
            }
            if (!typingOnly) {
                const double both = medianMs(7, [&] { search(QStringLiteral("penalty zebrafish")); });
                line(QStringLiteral("  find penalty zebrafish (two terms): %1 ms").arg(both, 0, 'f', 2));
            }
            // The window: one search per keystroke, the last word a prefix from its third letter; a sample
            // ("s" after its time) is weighed again once the clerk pauses, as find weighs it.
            for (const QString &typed :
                 {QStringLiteral("zebrafish"), QStringLiteral("penalty late"), QStringLiteral("signer1234"),
                  QStringLiteral("clause lex12"), QStringLiteral("clause")}) {
                std::vector<double> strokes;
                QStringList each;
                QList<int> sampled;
                for (int n = 1; n <= typed.size(); ++n) {
                    QElapsedTimer k;
                    k.start();
                    const bool sample = search(typed.left(n), true).partial;
                    strokes.push_back(bench::ms(k));
                    each << QString::number(strokes.back(), 'f', 1) +
                                (sample ? QStringLiteral("s") : QString());
                    if (sample)
                        sampled << n;
                }
                line(QStringLiteral(
                         "  typing '%1': per keystroke median %2 ms, slowest %3 ms (a frame is 16 ms): %4")
                         .arg(typed)
                         .arg(bench::median(strokes), 0, 'f', 2)
                         .arg(*std::max_element(strokes.begin(), strokes.end()), 0, 'f', 2)
                         .arg(each.join(QLatin1Char(' '))));
                if (!sampled.isEmpty()) {
                    std::vector<double> weighed;
                    for (int n : std::as_const(sampled)) {
                        QElapsedTimer w;
                        w.start();
                        host::findAgreements(con, host::parseSearch(typed.left(n), true), departments);
                        weighed.push_back(bench::ms(w));
                    }
                    line(QStringLiteral(
                             "    the %1 samples weighed after a pause: median %2 ms, slowest %3 ms")
                             .arg(sampled.size())
                             .arg(bench::median(weighed), 0, 'f', 1)
                             .arg(*std::max_element(weighed.begin(), weighed.end()), 0, 'f', 1));
                }
            }
            // The saves change the register and drop the index's triggers: a kept register is spared them.
            if (typingOnly || keptRegister.isOpen())
                return;
            const double common = medianMs(3, [&] { search(QStringLiteral("clause")); });
            line(QStringLiteral("  find clause (a word of every agreement): %1 ms").arg(common, 0, 'f', 1));

            if (label == QLatin1String("sqlite") &&
                qEnvironmentVariableIntValue("AGR_BENCH_FIND_NO_SCANS") == 0)
                readingScans(con);

            // Fifty saves, then the first search after them; then saves with the index kept and with its
            // triggers gone, in turns (with, without, without, with, ...), each on an agreement of its own,
            // so that pages read from disk and the machine's load are met alike. The first save after the
            // triggers change goes unmeasured.
            int round = 0;
            auto saveOnce = [&] {
                QElapsedTimer timer;
                timer.start();
                save(con, 1 + (round * 37) % agreements, round);
                ++round;
                return bench::ms(timer);
            };
            for (int i = 0; i < 50; ++i)
                saveOnce();
            save(con, 2, ++round);
            QElapsedTimer afterSave;
            afterSave.start();
            search(QStringLiteral("zebrafish"));
            line(QStringLiteral("  first search after %1 saves (the index takes their changes): %2 ms")
                     .arg(round)
                     .arg(bench::ms(afterSave), 0, 'f', 2));
            bench::SearchIndexTriggers triggers(con);
            std::vector<double> with, without;
            for (int p = 0; p < 25; ++p) {
                for (const bool index : {p % 2 == 0, p % 2 != 0}) {
                    if (triggers.keep(index))
                        saveOnce();
                    (index ? with : without).push_back(saveOnce());
                }
            }
            triggers.keep(true);
            const double indexed = bench::median(with);
            const double plain = bench::median(without);
            // An edit deletes the lines it writes again, which a new agreement's save (bench_entry, where
            // the goal of <= 10% is set) does not.
            line(
                QStringLiteral("  raw edit statements of one agreement (its header updated, its 5 x %1 lines "
                               "deleted and written again), in turns: %2 ms with the index, %3 ms without; "
                               "+%4% (pair by pair +%5%)")
                    .arg(DetailLines)
                    .arg(indexed, 0, 'f', 2)
                    .arg(plain, 0, 'f', 2)
                    .arg((indexed / plain - 1) * 100, 0, 'f', 1)
                    .arg((bench::pairedRatio(with, without) - 1) * 100, 0, 'f', 1));
        });
}
