// The full-text index and the search: texts written by any program are found where they were written, a
// typed page is found by a word printed on it, departments stay apart, and what a clerk types never breaks
// the query.

#include "host/search/scanreader.h"
#include "host/search/search.h"
#include "host/windows/searchwindow.h"

#include "data/access.h"
#include "data/schema.h"
#include "data/searchindex.h"
#include "platform/grid/flexgrid.h"
#include "platform/ui/seams.h"
#include "support/testdb.h"

#include <QBuffer>
#include <QDir>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QTest>

namespace {

using host::SearchResult;

SearchResult find(platform::Connection &con, const QString &text, const QList<int> &departments = {1, 2})
{
    const host::SearchQuery query = host::parseSearch(text);
    if (!query.refusal.isEmpty())
        qWarning() << "refused:" << query.refusal;
    return host::findAgreements(con, query, departments);
}

// "dept/id" of every hit, in order.
QStringList keys(const SearchResult &result)
{
    QStringList out;
    for (const host::SearchHit &hit : result.hits)
        out << QStringLiteral("%1/%2").arg(hit.departmentId).arg(hit.agreementId);
    return out;
}

QStringList placesOf(const SearchResult &result)
{
    QStringList out;
    for (const host::SearchHit &hit : result.hits)
        for (const host::SearchMatch &match : hit.matches)
            out << match.place;
    return out;
}

// A page as a scanner would give it: black type on white, as JPEG.
QByteArray typedPage(const QStringList &lines)
{
    QImage page(1400, 160 + 110 * int(lines.size()), QImage::Format_RGB32);
    page.fill(Qt::white);
    page.setDotsPerMeterX(11811); // 300 dpi
    page.setDotsPerMeterY(11811);
    QPainter painter(&page);
    painter.setPen(Qt::black);
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPixelSize(56);
    painter.setFont(font);
    for (int i = 0; i < lines.size(); ++i)
        painter.drawText(80, 140 + 110 * i, lines.at(i));
    painter.end();
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    page.save(&buffer, "JPG", 90);
    return bytes;
}

void storeScan(platform::Connection &con, int agreement, int department, int detail, const QString &name,
               const QByteArray &bytes)
{
    platform::Command insert(con);
    insert.setCommandText(
        QStringLiteral("insert into AgreementScanCopyDetails (agsCompanyID, agsAgreementID, "
                       "agsDepartmentID, agsDetailID, agsAgreementName, agsDocuments) values "
                       "(1,?,?,?,?,?)"));
    insert.ParametersRefresh();
    insert.Execute({agreement, department, detail, name, bytes});
}

} // namespace

class tst_search : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyPlaceFound_data() { agrtest::addBackends(); }
    void everyPlaceFound();
    void plainSqlKeepsItRight_data() { agrtest::addBackends(); }
    void plainSqlKeepsItRight();
    void existingRowsIndexed_data() { agrtest::addBackends(); }
    void existingRowsIndexed();
    void departmentsApart_data() { agrtest::addBackends(); }
    void departmentsApart();
    void scannedPages_data() { agrtest::addBackends(); }
    void scannedPages();
    void pagesDecodedToGrey();
    void hostileText_data() { agrtest::addBackends(); }
    void hostileText();
    void commonWordsWhileTyping_data() { agrtest::addBackends(); }
    void commonWordsWhileTyping();
    void windowOverTheList_data() { agrtest::addBackends(); }
    void windowOverTheList();
    void sampleThenWeighed_data() { agrtest::addBackends(); }
    void sampleThenWeighed();
};

// A word written in each indexed place is found there, in any case and without its accents.
void tst_search::everyPlaceFound()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url, true, true);
    if (!con)
        return;
    con->Execute(
        QStringLiteral("update agreementregister set agrReferenceNo='Ref Quokka', alertremarks='Call "
                       "Marmot first', agrLawyer='R. Pangolin', agrPhysicalfileLOC='Cabinet Ocelot', "
                       "agragreementwith='Tapir Traders', agrapplicableTo='Shop Narwhal', "
                       "agragreementtype='Lease Axolotl' where agrDepartmentid=1 and agragreementid=3"));
    con->Execute(QStringLiteral("insert into AgreementDetails values (3, 1, 7, 'Summary Wombat')"));
    con->Execute(
        QStringLiteral("insert into AgreementSignedDetails (agsagreementid, agsDepartmentid, agsDetailid, "
                       "agsSignedBy, agsPosition) values (3, 1, 1, 'R. Kumarasamy', 'Partner')"));
    con->Execute(QStringLiteral("insert into AgreementWitnessDetails (agwAgreementid, agwDepartmentid, "
                                "agwDetailid, agwSignedBy, agwPostion, agwWitenessAddress) values (3, 1, 2, "
                                "'S. Iyer', 'Clerk', '12 Lemur Street')"));
    con->Execute(
        QStringLiteral("insert into AgreementFinancialDetails values (3, 1, 4, 'Payment within 30 days, "
                       "penalty for late delivery')"));
    con->Execute(
        QStringLiteral("insert into AgreementContents values (3, 1, 5, 'Clause on Façade repairs')"));

    const QList<QPair<QString, QString>> expected = {
        {QStringLiteral("quokka"), QStringLiteral("reference")},
        {QStringLiteral("MARMOT"), QStringLiteral("remarks")},
        {QStringLiteral("pangolin"), QStringLiteral("lawyer")},
        {QStringLiteral("ocelot"), QStringLiteral("location")},
        {QStringLiteral("tapir"), QStringLiteral("party")},
        {QStringLiteral("narwhal"), QStringLiteral("applicable")},
        {QStringLiteral("axolotl"), QStringLiteral("type")},
        {QStringLiteral("wombat"), QStringLiteral("summary")},
        {QStringLiteral("kumara*"), QStringLiteral("signatory")},
        {QStringLiteral("lemur"), QStringLiteral("witness")},
        {QStringLiteral("\"late delivery\""), QStringLiteral("terms")},
        {QStringLiteral("facade"), QStringLiteral("content")},
        {QStringLiteral("AG/3"), QStringLiteral("number")},
    };
    for (const auto &[word, place] : expected) {
        const SearchResult result = find(*con, word);
        QCOMPARE(keys(result), QStringList{QStringLiteral("1/3")});
        QVERIFY2(placesOf(result).contains(place),
                 qPrintable(word + QStringLiteral(": ") + placesOf(result).join(QLatin1Char(','))));
    }
    // Every term must be held, in any of the agreement's places; the excerpt marks the words.
    QCOMPARE(keys(find(*con, QStringLiteral("wombat lemur"))), QStringList{QStringLiteral("1/3")});
    QVERIFY(find(*con, QStringLiteral("wombat zebu")).hits.isEmpty());
    QVERIFY(find(*con, QStringLiteral("\"delivery late\"")).hits.isEmpty());
    const SearchResult terms = find(*con, QStringLiteral("penalty"));
    QCOMPARE(terms.hits.value(0).matches.value(0).excerpt,
             QStringLiteral("Payment within 30 days, [penalty] for "
                            "late delivery"));
    QCOMPARE(host::placeCaption(terms.hits.value(0).matches.value(0)), QStringLiteral("terms line 4"));
}

// Rows written by plain SQL: the new words are found and the old ones are gone, whatever the statement.
void tst_search::plainSqlKeepsItRight()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url, true, true);
    if (!con)
        return;
    con->Execute(QStringLiteral("insert into AgreementContents values (4, 1, 1, 'Old clause Gecko')"));
    con->Execute(QStringLiteral("insert into AgreementContents values (4, 1, 2, 'Old clause Gecko')"));
    QCOMPARE(keys(find(*con, QStringLiteral("gecko"))), QStringList{QStringLiteral("1/4")});

    // One of two equal rows changed: the other still holds the word.
    con->Execute(QStringLiteral("update AgreementContents set agcContentdesc='New clause Iguana' where "
                                "agcAgreementid=4 and agcDepartmentid=1 and agcDetailid=1"));
    QCOMPARE(keys(find(*con, QStringLiteral("iguana"))), QStringList{QStringLiteral("1/4")});
    QCOMPARE(keys(find(*con, QStringLiteral("gecko"))), QStringList{QStringLiteral("1/4")});
    con->Execute(QStringLiteral("delete from AgreementContents where agcAgreementid=4 and agcDetailid=2"));
    QVERIFY(find(*con, QStringLiteral("gecko")).hits.isEmpty());

    // The header: a changed description, and a key moved to another agreement id.
    con->Execute(QStringLiteral("update agreementregister set agragreementdesc='Hire of a Capybara' where "
                                "agrDepartmentid=1 and agragreementid=5"));
    QCOMPARE(keys(find(*con, QStringLiteral("capybara"))), QStringList{QStringLiteral("1/5")});
    con->Execute(QStringLiteral("update agreementregister set agragreementid=55 where agrDepartmentid=1 and "
                                "agragreementid=5"));
    QCOMPARE(keys(find(*con, QStringLiteral("capybara"))), QStringList{QStringLiteral("1/55")});
    // Cancelling changes no indexed text; the hit says so.
    con->Execute(QStringLiteral("update agreementregister set agrcancelled=1 where agragreementid=55"));
    QVERIFY(find(*con, QStringLiteral("capybara")).hits.value(0).cancelled);
    con->Execute(QStringLiteral("delete from agreementregister where agragreementid=55"));
    QVERIFY(find(*con, QStringLiteral("capybara")).hits.isEmpty());
    // Deleting all details the way the save does leaves none of their words.
    QCOMPARE(placesOf(find(*con, QStringLiteral("receipt"))), QStringList{QStringLiteral("content")});
    con->Execute(
        QStringLiteral("delete from AgreementContents where agcAgreementid=1 and agcDepartmentid=1"));
    QVERIFY(find(*con, QStringLiteral("receipt")).hits.isEmpty());
    // Any indexed column of a detail row, its keys included: a witness's address, then the row moved to
    // another agreement.
    con->Execute(QStringLiteral("insert into AgreementWitnessDetails (agwAgreementid, agwDepartmentid, "
                                "agwDetailid, agwSignedBy, agwPostion, agwWitenessAddress) values (4, 1, 1, "
                                "'S. Iyer', 'Clerk', '12 Lemur Street')"));
    con->Execute(QStringLiteral("update AgreementWitnessDetails set agwWitenessAddress='3 Serval Road' where "
                                "agwAgreementid=4 and agwDepartmentid=1"));
    QCOMPARE(keys(find(*con, QStringLiteral("serval"))), QStringList{QStringLiteral("1/4")});
    QVERIFY(find(*con, QStringLiteral("lemur")).hits.isEmpty());
    con->Execute(QStringLiteral(
        "update AgreementWitnessDetails set agwAgreementid=2 where agwAgreementid=4 and agwDepartmentid=1"));
    QCOMPARE(keys(find(*con, QStringLiteral("serval"))), QStringList{QStringLiteral("1/2")});

    // One transaction writing an agreement before and after a search, and another agreement between: every
    // row written is found once it is committed. PostgreSQL brings the index up to date inside the
    // transaction too, though it names the rows written only as it commits.
    con->BeginTrans();
    con->Execute(QStringLiteral("insert into AgreementContents values (2, 1, 7, 'Clause Marmoset')"));
    const SearchResult before = find(*con, QStringLiteral("marmoset"));
    if (con->backend() == platform::Backend::PostgreSQL)
        QCOMPARE(keys(before), QStringList{QStringLiteral("1/2")});
    con->Execute(QStringLiteral("insert into AgreementContents values (3, 1, 7, 'Clause Marmoset')"));
    con->Execute(QStringLiteral("insert into AgreementContents values (2, 1, 8, 'Clause Wombat')"));
    con->CommitTrans();
    QCOMPARE(keys(find(*con, QStringLiteral("marmoset"))).size(), 2);
    QCOMPARE(keys(find(*con, QStringLiteral("wombat"))), QStringList{QStringLiteral("1/2")});
    // Rolled back: nothing of it is found, and what the agreement held still is.
    con->BeginTrans();
    con->Execute(QStringLiteral("update AgreementContents set agcContentdesc='Clause Quokka' where "
                                "agcAgreementid=2 and agcDetailid=8"));
    con->RollbackTrans();
    QVERIFY(find(*con, QStringLiteral("quokka")).hits.isEmpty());
    QCOMPARE(keys(find(*con, QStringLiteral("wombat"))), QStringList{QStringLiteral("1/2")});
}

// A database made before the index (or whose index was dropped) gets it from init-db, filled.
void tst_search::existingRowsIndexed()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url, true, true);
    if (!con)
        return;
    con->Execute(QStringLiteral("insert into AgreementContents values (2, 1, 9, 'Clause Okapi')"));
    // As a database of an earlier version: no index table and no triggers.
    const bool pg = con->backend() == platform::Backend::PostgreSQL;
    platform::Recordset triggers = con->Execute(
        pg ? QStringLiteral(
                 "select tgname, tgrelid::regclass::text from pg_trigger where tgname like 'agr_ix_%'")
           : QStringLiteral("select name, tbl_name from sqlite_master where type = 'trigger'"));
    QStringList drops;
    for (; !triggers.isEOF(); triggers.MoveNext())
        drops << QStringLiteral("drop trigger ") + triggers.Fields(0).text() +
                     (pg ? QStringLiteral(" on ") + triggers.Fields(1).text() : QString());
    for (const QString &drop : std::as_const(drops))
        con->Execute(drop);
    if (!pg)
        con->Execute(QStringLiteral("drop table agrSearchFts"));
    con->Execute(QStringLiteral("drop table agrSearchRows"));
    con->Execute(QStringLiteral("insert into AgreementContents values (2, 1, 10, 'Clause Tamarin')"));
    agr::schema::CreateSchema(*con);
    QCOMPARE(keys(find(*con, QStringLiteral("okapi"))), QStringList{QStringLiteral("1/2")});
    QCOMPARE(keys(find(*con, QStringLiteral("tamarin"))), QStringList{QStringLiteral("1/2")});
    QCOMPARE(keys(find(*con, QStringLiteral("lease"))).size(), 3);
    // Creating it again changes nothing; a rebuild gives the same index.
    const int rows = agrtest::countRows(*con, QStringLiteral("agrSearchRows"));
    agr::schema::CreateSchema(*con);
    agr::schema::RebuildSearchIndex(*con);
    QCOMPARE(agrtest::countRows(*con, QStringLiteral("agrSearchRows")), rows);
    QCOMPARE(keys(find(*con, QStringLiteral("okapi"))), QStringList{QStringLiteral("1/2")});
    // SQLite's index of an earlier version has no list of its words: they are listed, and a prefix typed
    // finds them.
    if (!pg) {
        con->Execute(QStringLiteral("drop index ix_agrsearchwords_word"));
        con->Execute(QStringLiteral("delete from agrSearchWords"));
        agr::schema::CreateSchema(*con);
        const SearchResult typed = host::findAgreements(
            *con, host::parseSearch(QStringLiteral("tamar"), true), {}, 50, host::RowsPerTermWhileTyping);
        QCOMPARE(keys(typed), QStringList{QStringLiteral("1/2")});
    }
}

// Another department's agreement is never shown: by the departments asked for, and on PostgreSQL by
// row-level security whatever the statement asks.
void tst_search::departmentsApart()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url, true, true);
    if (!con)
        return;
    con->Execute(QStringLiteral("insert into AgreementContents values (1, 2, 1, 'Secret Jackal clause')"));
    con->Execute(QStringLiteral("insert into AgreementContents values (1, 1, 9, 'Open Jackal clause')"));
    QCOMPARE(keys(find(*con, QStringLiteral("jackal"), {1})), QStringList{QStringLiteral("1/1")});
    QCOMPARE(keys(find(*con, QStringLiteral("secret"), {1})), QStringList{});
    QCOMPARE(keys(find(*con, QStringLiteral("jackal"))).size(), 2);
    if (con->backend() != platform::Backend::PostgreSQL)
        return;
    agr::schema::CreateClerk(*con, QLatin1String(agr::schema::DemoClerkLogin), 1, {1});
    platform::Connection clerk;
    clerk.Open(agrtest::withLogin(con->url(), QLatin1String(agr::schema::DemoClerkLogin)));
    QCOMPARE(keys(find(clerk, QStringLiteral("jackal"), {})), QStringList{QStringLiteral("1/1")});
    QVERIFY(find(clerk, QStringLiteral("secret"), {}).hits.isEmpty());
    // The clerk's own saves keep the index right through the triggers, without rights on it beyond reading.
    clerk.Execute(QStringLiteral("insert into AgreementContents values (3, 1, 1, 'Clerk Hyena clause')"));
    clerk.Execute(
        QStringLiteral("delete from AgreementContents where agcAgreementid=1 and agcDepartmentid=1"));
    QCOMPARE(keys(find(clerk, QStringLiteral("hyena"), {})), QStringList{QStringLiteral("1/3")});
    QVERIFY(find(clerk, QStringLiteral("jackal"), {}).hits.isEmpty());
    QCOMPARE(keys(find(*con, QStringLiteral("jackal"))), QStringList{QStringLiteral("2/1")});
    // While typing, the words of another department are not the clerk's either: its many words make the
    // prefix a sample for the owner, not for the clerk.
    for (int line = 1; line <= agr::schema::SampledPrefixWords + 6; ++line)
        con->Execute(
            QStringLiteral("insert into AgreementContents values (1, 2, %1, 'Jackal%1')").arg(100 + line));
    clerk.Execute(QStringLiteral("insert into AgreementContents values (3, 1, 2, 'Jackalope')"));
    const host::SearchQuery typed = host::parseSearch(QStringLiteral("jack"), true);
    QVERIFY(host::findAgreements(*con, typed, {}, 50, host::RowsPerTermWhileTyping).partial);
    const SearchResult clerks = host::findAgreements(clerk, typed, {}, 50, host::RowsPerTermWhileTyping);
    QVERIFY(!clerks.partial);
    QCOMPARE(keys(clerks), QStringList{QStringLiteral("1/3")});
}

// A typed page is found by a word printed on it; a file that is no picture is indexed as empty; the same
// bytes are not read twice; removing the copy removes its words.
void tst_search::scannedPages()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url, true, true);
    if (!con)
        return;
    host::PageReader reader;
    QVERIFY2(reader.failure().isEmpty(), qPrintable(reader.failure()));
    const QByteArray page = typedPage({QStringLiteral("LEASE DEED"), QStringLiteral("Signed by Ravi Kumar"),
                                       QStringLiteral("Penalty clause: Zanzibar")});
    storeScan(*con, 2, 1, 1, QStringLiteral("Signed deed"), page);
    storeScan(*con, 2, 1, 2, QStringLiteral("Not a picture"), QByteArray("%PDF-1.4 this is no picture"));
    QCOMPARE(agrtest::countRows(*con, QStringLiteral("agrScanUnread")), 2);

    host::ReadCounts counts = host::readUnreadScans(*con, reader, {});
    QCOMPARE(counts.read, 2);
    QCOMPARE(agrtest::countRows(*con, QStringLiteral("agrScanUnread")), 0);
    SearchResult result = find(*con, QStringLiteral("zanzibar"));
    QCOMPARE(keys(result), QStringList{QStringLiteral("1/2")});
    QCOMPARE(result.hits.value(0).matches.value(0).place, QStringLiteral("scan"));
    QCOMPARE(host::placeCaption(result.hits.value(0).matches.value(0)),
             QStringLiteral("page text of scan 1 'Signed deed'"));
    QCOMPARE(
        agrtest::scalar(*con, QStringLiteral("select Body from agrScanText where Languages = 'no picture'"))
            .toString(),
        QString());
    QVERIFY(agrtest::scalar(*con, QStringLiteral("select max(Confidence) from agrScanText")).toDouble() > 50);

    // The scans form stores the copies again (delete all, insert all): nothing is read again.
    con->Execute(QStringLiteral("Delete from AgreementScanCopyDetails where agsAgreementID = 2"));
    QVERIFY(find(*con, QStringLiteral("zanzibar")).hits.isEmpty());
    storeScan(*con, 2, 1, 1, QStringLiteral("Signed deed"), page);
    counts = host::readUnreadScans(*con, reader, {});
    QCOMPARE(counts.read, 0);
    QCOMPARE(counts.known, 1);
    QCOMPARE(keys(find(*con, QStringLiteral("zanzibar kumar"))), QStringList{QStringLiteral("1/2")});

    // A reader working for department 2 leaves department 1's copy queued.
    storeScan(*con, 3, 1, 1, QStringLiteral("Copy"), page);
    counts = host::readUnreadScans(*con, reader, {2});
    QCOMPARE(counts.skipped, 1);
    QCOMPARE(agrtest::countRows(*con, QStringLiteral("agrScanUnread")), 1);
}

// The grey the engine reads: a colour JPEG's luminance, close to the grey of its colours, with its
// resolution; a grey JPEG as it is; anything else as Qt reads it, and no picture as none.
void tst_search::pagesDecodedToGrey()
{
    const QByteArray colour = typedPage({QStringLiteral("Penalty clause: Zanzibar")});
    const QImage grey = host::PageReader::decodeGrey(colour);
    const QImage qtGrey = QImage::fromData(colour).convertToFormat(QImage::Format_Grayscale8);
    QCOMPARE(grey.format(), QImage::Format_Grayscale8);
    QCOMPARE(grey.size(), qtGrey.size());
    QCOMPARE(grey.dotsPerMeterX(), 11811);
    QCOMPARE(grey.dotsPerMeterY(), 11811);
    int furthest = 0;
    qint64 dark = 0;
    for (int y = 0; y < grey.height(); ++y) {
        const uchar *ours = grey.constScanLine(y);
        const uchar *theirs = qtGrey.constScanLine(y);
        for (int x = 0; x < grey.width(); ++x) {
            furthest = std::max(furthest, std::abs(int(ours[x]) - int(theirs[x])));
            dark += ours[x] < 128 ? 1 : 0;
        }
    }
    QVERIFY2(furthest <= 8, qPrintable(QString::number(furthest)));
    QVERIFY(dark > 1000); // the type is there

    QImage greyPage = QImage::fromData(colour).convertToFormat(QImage::Format_Grayscale8);
    QByteArray greyJpeg;
    QBuffer buffer(&greyJpeg);
    buffer.open(QIODevice::WriteOnly);
    greyPage.save(&buffer, "JPG", 90);
    QCOMPARE(host::PageReader::decodeGrey(greyJpeg), QImage::fromData(greyJpeg));

    QByteArray png;
    QBuffer pngBuffer(&png);
    pngBuffer.open(QIODevice::WriteOnly);
    greyPage.save(&pngBuffer, "PNG");
    QCOMPARE(host::PageReader::decodeGrey(png), greyPage);

    QVERIFY(host::PageReader::decodeGrey(QByteArray("\xFF\xD8\xFF\xE0 not the rest of a JPEG")).isNull());
    QVERIFY(host::PageReader::decodeGrey(colour.left(600)).width() <= grey.width()); // cut short: no crash
}

// What a clerk types is answered or refused with a reason; it never reaches the engine as syntax.
void tst_search::hostileText()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url, true, true);
    if (!con)
        return;
    const QStringList answered = {
        QStringLiteral("\"lease"),
        QStringLiteral("lease\" OR \"x"),
        QStringLiteral("NEAR(lease road)"),
        QStringLiteral("lease AND NOT"),
        QStringLiteral("-lease +road"),
        QStringLiteral("lease:* | !x"),
        QStringLiteral("'; drop table agreementregister; --"),
        QStringLiteral("lease*road^2"),
        QStringLiteral("\\\"lease\\\""),
        QStringLiteral("ag/1 \u00e9t\u00e9 \U0001F600"),
    };
    for (const QString &text : answered) {
        const host::SearchQuery query = host::parseSearch(text);
        QVERIFY2(query.refusal.isEmpty(), qPrintable(text));
        host::findAgreements(*con, query, {1, 2});
    }
    QVERIFY(!find(*con, QStringLiteral("\"lease")).hits.isEmpty());
    QCOMPARE(agrtest::countRows(*con, QStringLiteral("agreementregister")), 14);

    const QStringList refused = {QString(10000, QLatin1Char('a')), QStringLiteral("   "),
                                 QStringLiteral("\"\" * ()"), QStringLiteral("a*"),
                                 QStringLiteral("w ").repeated(17)};
    for (const QString &text : refused)
        QVERIFY2(!host::parseSearch(text).refusal.isEmpty(), qPrintable(text.left(40)));
    // While typing, the last word becomes a prefix once it has three letters.
    QCOMPARE(host::parseSearch(QStringLiteral("photoc"), true).terms.value(0).prefix, true);
    QCOMPARE(host::parseSearch(QStringLiteral("ph"), true).terms.value(0).prefix, false);
    QCOMPARE(keys(find(*con, QStringLiteral("photoc*"))).size(), 1);
}

// While typing, a word or prefix held by more texts than are weighed is sampled, not weighed: the sample
// still holds only agreements of the departments asked for that hold every term.
void tst_search::commonWordsWhileTyping()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url, true, true);
    if (!con)
        return;
    for (int line = 1; line <= 6; ++line) {
        con->Execute(QStringLiteral("insert into AgreementContents values (%1, 1, 20, 'Kinkajou%2 clause')")
                         .arg(line % 3 + 1)
                         .arg(line));
        con->Execute(QStringLiteral("insert into AgreementContents values (3, 2, %1, 'Kinkajou%1 clause')")
                         .arg(20 + line));
    }
    con->Execute(QStringLiteral("insert into AgreementContents values (2, 1, 30, 'Tapir')"));
    const QStringList dept1 = {QStringLiteral("1/1"), QStringLiteral("1/2"), QStringLiteral("1/3")};
    // A prefix longer than the indexed ones, one of two or three letters, a whole word; alone and beside
    // a rare word.
    for (const QString &text : {QStringLiteral("kinkaj"), QStringLiteral("kin"), QStringLiteral("clause"),
                                QStringLiteral("tapir kinkaj"), QStringLiteral("clause tapir")}) {
        const SearchResult sample = host::findAgreements(*con, host::parseSearch(text, true), {1}, 50, 3);
        QVERIFY2(sample.partial, qPrintable(text));
        const bool withTapir = text.contains(QLatin1String("tapir"));
        QVERIFY2(withTapir || !sample.hits.isEmpty(), qPrintable(text));
        for (const QString &key : keys(sample))
            QVERIFY2(withTapir ? key == QLatin1String("1/2") : dept1.contains(key),
                     qPrintable(text + QLatin1Char(' ') + key));
    }
    // Weighed as usual when the word is rarer than that.
    const SearchResult weighed =
        host::findAgreements(*con, host::parseSearch(QStringLiteral("kinkajou4"), true), {1, 2}, 50, 3);
    QVERIFY(!weighed.partial);
    QCOMPARE(keys(weighed), QStringList{QStringLiteral("1/2")});

    // A prefix of many words and a word of many rows, at the window's own measure (answered from the
    // index's list of words; on PostgreSQL from the rows kept with it): only agreements of the departments
    // asked that hold the term still, whatever the rows of the words were when they were kept.
    platform::Command insert(*con);
    insert.setCommandText(QStringLiteral("insert into AgreementContents values (?, ?, ?, ?)"));
    insert.ParametersRefresh();
    for (int line = 1; line <= 2 * agr::schema::SampleRows; ++line)
        insert.Execute({line % 3 + 1, line % 2 + 1, 100 + line, QStringLiteral("Okapi%1 dugong").arg(line)});
    const SearchResult first = host::findAgreements(*con, host::parseSearch(QStringLiteral("okap"), true),
                                                    {1}, 50, host::RowsPerTermWhileTyping);
    QVERIFY(!first.hits.isEmpty());
    QVERIFY(first.partial);
    // A longer prefix of few texts is weighed at once, as find weighs it, whether one word begins with it
    // or several.
    for (const QString &text : {QStringLiteral("okapi510"), QStringLiteral("okapi17")}) {
        const host::SearchQuery query = host::parseSearch(text, true);
        const SearchResult typed = host::findAgreements(*con, query, {1}, 50, host::RowsPerTermWhileTyping);
        const SearchResult weighed = host::findAgreements(*con, query, {1}, 50, host::RowsPerTerm);
        QVERIFY2(!typed.partial && !typed.hits.isEmpty(), qPrintable(text));
        QCOMPARE(keys(typed), keys(weighed));
        for (qsizetype i = 0; i < typed.hits.size(); ++i)
            QCOMPARE(typed.hits.at(i).score, weighed.hits.at(i).score);
    }
    // Made anew, the words keep their first rows; then a third of those rows change.
    agr::schema::RebuildSearchIndex(*con);
    con->Execute(
        QStringLiteral("update AgreementContents set agcContentdesc = 'Zebu' where agcAgreementid = 2 "
                       "and agcDetailid > 100"));
    const QStringList holding = {QStringLiteral("1/1"), QStringLiteral("1/3")};
    for (const QString &text :
         {QStringLiteral("okap"), QStringLiteral("dugong "), QStringLiteral("okapi1")}) {
        const host::SearchQuery query = host::parseSearch(text, true);
        const SearchResult sample = host::findAgreements(*con, query, {1}, 50, host::RowsPerTermWhileTyping);
        QVERIFY2(!sample.hits.isEmpty(), qPrintable(text));
        for (const QString &key : keys(sample))
            QVERIFY2(holding.contains(key), qPrintable(text + QLatin1Char(' ') + key));
        if (text == QLatin1String("okap") ||
            (con->backend() == platform::Backend::PostgreSQL && text != QLatin1String("okapi1")))
            QVERIFY2(sample.partial, qPrintable(text));
        QStringList weighed = keys(host::findAgreements(*con, query, {1}, 50, host::RowsPerTerm));
        weighed.sort();
        QCOMPARE(weighed, holding);
    }
    // Every agreement holding the word saved again, its lines written anew: the sample has rows still.
    for (int agreement : {1, 3})
        con->Execute(
            QStringLiteral("update AgreementContents set agcContentdesc = agcContentdesc || ' again' "
                           "where agcAgreementid = %1 and agcDepartmentid = 1")
                .arg(agreement));
    const SearchResult again = host::findAgreements(*con, host::parseSearch(QStringLiteral("dugong "), true),
                                                    {1}, 50, host::RowsPerTermWhileTyping);
    QCOMPARE(again.partial, con->backend() == platform::Backend::PostgreSQL);
    QStringList sampled = keys(again);
    sampled.sort();
    QCOMPARE(sampled, holding);
}

// Ctrl+Shift+F in the list opens the window; hits follow the typing; Enter selects the agreement in the
// list, and one the list does not show is told, not selected.
void tst_search::windowOverTheList()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url, true, true);
    if (!con)
        return;
    con->Execute(QStringLiteral("insert into AgreementContents values (9, 1, 1, 'Clause Meerkat')"));
    con->Execute(QStringLiteral("insert into AgreementContents values (4, 1, 1, 'Clause Mongoose')"));
    con->Execute(QStringLiteral("insert into AgreementContents values (9, 2, 1, 'Clause Meerkat')"));
    // A stand-in for the list: the window named as the module's, its grid with the ids in column 0.
    QWidget list;
    list.setObjectName(QStringLiteral("FrmMaster"));
    auto *grid = new platform::FlexGrid(&list);
    grid->setObjectName(QStringLiteral("mfgMaster"));
    grid->setCols(3);
    grid->setRows(4);
    const QStringList ids = {QStringLiteral("3"), QStringLiteral("9"), QStringLiteral("12")};
    for (int row = 1; row <= 3; ++row) {
        grid->setTextMatrix(row, 0, ids.at(row - 1));
        grid->setTextMatrix(row, 1, QStringLiteral("AG/") + ids.at(row - 1));
    }
    grid->setRow(1);
    list.show();
    QVERIFY(QTest::qWaitForWindowExposed(&list));

    host::ListSearchShortcut shortcut(*con, 1);
    QStringList seen;
    platform::setModalHandler([&](QWidget *form) {
        auto *window = qobject_cast<host::SearchWindow *>(form);
        QVERIFY(window);
        // Nothing found shows the heading alone, not a blank row that looks chosen.
        window->txtFind->setText(QStringLiteral("aardwolf"));
        QTRY_VERIFY(!window->searching());
        QCOMPARE(window->mfgHits->Rows(), 1);
        window->txtFind->clear();
        QTest::keyClicks(window->txtFind, QStringLiteral("mongoo"));
        QTRY_VERIFY(!window->searching());
        seen << window->mfgHits->TextMatrix(1, int(host::FindCol::Number)) + QLatin1Char(' ') +
                    window->mfgHits->TextMatrix(1, int(host::FindCol::Where));
        QTest::keyClick(window->txtFind, Qt::Key_Return);
        seen << window->lblStatus->text();
        // Enter before the answer has come: the agreement is chosen from the answer to the newest text,
        // never from the hits still shown or from a question the typing overtook.
        window->txtFind->setText(QStringLiteral("mongoose"));
        window->txtFind->setText(QStringLiteral("meerkat"));
        QTest::keyClick(window->txtFind, Qt::Key_Return);
        QVERIFY(window->searching());
        QTRY_VERIFY(!window->searching());
        QCOMPARE(window->hits().size(), 1);
        seen << window->mfgHits->TextMatrix(1, int(host::FindCol::Excerpt));
        QCOMPARE(window->result(), int(QDialog::Accepted));
    });
    QTest::keyClick(grid, Qt::Key_F, Qt::ControlModifier | Qt::ShiftModifier);
    platform::setModalHandler({});
    QCOMPARE(seen,
             (QStringList{QStringLiteral("AG/4 content line 1"),
                          QStringLiteral("AG/4 is not in the list: it is dated before the list's first day."),
                          QStringLiteral("Clause [Meerkat]")}));
    QCOMPARE(grid->Row(), 2);

    // A database the search thread cannot open is told in the window, not thrown at the clerk.
    host::SearchThread lost(
        QStringLiteral("sqlite:") + QDir::tempPath() + QStringLiteral("/no-such-folder/x.db"), {1});
    host::SearchWindow window(lost, {});
    window.txtFind->setText(QStringLiteral("meerkat"));
    // An answer to an older question is never shown.
    host::SearchAnswer stale;
    stale.result.hits.append(host::SearchHit{});
    Q_EMIT lost.answered(stale);
    QVERIFY(window.searching());
    QVERIFY(window.hits().isEmpty());
    QTRY_VERIFY(!window.searching());
    QVERIFY2(window.lblStatus->text().startsWith(QLatin1String("The search failed: ")),
             qPrintable(window.lblStatus->text()));
    QVERIFY(window.hits().isEmpty());
}

// A sample shown while typing is followed, once the clerk pauses, by the weighed answer to the same text:
// find's hits, best first. A newer text overtakes the weighing, and Enter chooses from what is shown.
void tst_search::sampleThenWeighed()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url, true, true);
    if (!con)
        return;
    // The sample takes the first texts; the agreement that says it most is the last of them.
    for (int agreement = 1; agreement <= 4; ++agreement)
        con->Execute(QStringLiteral("insert into AgreementContents values (%1, 1, 20, '%2')")
                         .arg(agreement)
                         .arg(agreement == 4 ? QStringLiteral("Kinkajou kinkajou kinkajous kinkajou")
                                             : QStringLiteral("Kinkajou%1 clause").arg(agreement)));
    const host::SearchQuery typed = host::parseSearch(QStringLiteral("kinkaj"), true);
    const QStringList best = keys(host::findAgreements(*con, typed, {1}));
    QCOMPARE(best.value(0), QStringLiteral("1/4"));

    host::SearchThread searches(con->url(), {1}, 3, 0);
    QList<host::SearchAnswer> answers;
    connect(&searches, &host::SearchThread::answered, this,
            [&](const host::SearchAnswer &answer) { answers << answer; });
    const quint64 ticket = searches.ask(typed);
    QTRY_COMPARE(answers.size(), 2);
    QCOMPARE(answers.at(0).ticket, ticket);
    QVERIFY(answers.at(0).sample);
    QVERIFY(keys(answers.at(0).result) != best);
    QCOMPARE(answers.at(1).ticket, ticket);
    QVERIFY(!answers.at(1).sample);
    QCOMPARE(keys(answers.at(1).result), best);
    // A word rarer than what is weighed while typing is answered once.
    answers.clear();
    searches.ask(host::parseSearch(QStringLiteral("kinkajou2"), true));
    QTRY_COMPARE(answers.size(), 1);
    QVERIFY(!answers.at(0).sample);
    QCOMPARE(keys(answers.at(0).result), QStringList{QStringLiteral("1/2")});

    // The window shows the weighed hits in place of the sample.
    {
        host::SearchWindow window(searches, {});
        window.txtFind->setText(QStringLiteral("kinkaj"));
        QTRY_COMPARE(keys(SearchResult{window.hits()}), best);
        QVERIFY(!window.searching());
    }

    // Without a pause the sample stays: Enter chooses from it at once, and a weighed answer to a text
    // typed over is never shown.
    host::SearchThread typing(con->url(), {1}, 3, 3600 * 1000);
    QList<host::SearchAnswer> told;
    connect(&typing, &host::SearchThread::answered, this,
            [&](const host::SearchAnswer &answer) { told << answer; });
    QString chosen;
    host::SearchWindow window(typing, [&](const host::SearchHit &hit, QString &) {
        chosen = QStringLiteral("%1/%2").arg(hit.departmentId).arg(hit.agreementId);
        return true;
    });
    window.txtFind->setText(QStringLiteral("kinkaj"));
    QTRY_VERIFY(!window.searching());
    QCOMPARE(told.size(), 1);
    QVERIFY(told.at(0).sample);
    const QStringList sample = keys(SearchResult{window.hits()});
    QCOMPARE(sample, keys(told.at(0).result));
    window.txtFind->setText(QStringLiteral("kinkajou kin"));
    host::SearchAnswer overtaken = told.at(0);
    overtaken.sample = false;
    overtaken.result.hits = host::findAgreements(*con, typed, {1}).hits;
    Q_EMIT typing.answered(overtaken);
    QCOMPARE(keys(SearchResult{window.hits()}), sample);
    QTRY_VERIFY(!window.searching());
    QCOMPARE(told.size(), 3);
    QVERIFY(told.at(2).sample);
    QCOMPARE(keys(SearchResult{window.hits()}), keys(told.at(2).result));
    QTest::keyClick(window.txtFind, Qt::Key_Return);
    QCOMPARE(chosen, keys(told.at(2).result).value(0));
}

QTEST_MAIN(tst_search)
#include "tst_search.moc"
