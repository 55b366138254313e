// scans repair: copies grown by the older loading of the scanned-copies form (each opening and OK stored
// copy k as copies 1..k one after the other) get their own bytes back, after one, two and three such
// cycles with a copy added in between; what cannot be told exactly is left alone, and a second run finds
// nothing more. The older rule is played here with plain statements, as that form stored its copies.

#include "host/scans/scanrepair.h"

#include "data/schema.h"
#include "platform/database/connection.h"
#include "support/testdb.h"
#include "support/testsupport.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QImage>
#include <QProcess>
#include <QTest>

namespace {

using agrtest::jpeg;

namespace demo = agr::schema::demo;

struct Copy
{
    QString serialNo;
    QString name;
    QVariant image; // QByteArray, or invalid for NULL
    int department = demo::DepartmentId;
    bool operator==(const Copy &other) const = default;
};

const QString Select = QStringLiteral("Select * from AgreementScanCopyDetails where agsAgreementID = ");

// In the order the form loads them.
QList<Copy> copies(platform::Connection &con, int agreementId)
{
    QList<Copy> result;
    for (platform::Recordset rs = con.Execute(Select + QString::number(agreementId)); !rs.isEOF();
         rs.MoveNext())
        result << Copy{rs[QStringLiteral("agsDetailID")].text(),
                       rs[QStringLiteral("agsAgreementName")].joinEmpty(),
                       rs[QStringLiteral("agsDocuments")].isNull()
                           ? QVariant()
                           : QVariant(rs[QStringLiteral("agsDocuments")].Value().toByteArray()),
                       rs[QStringLiteral("agsDepartmentID")].toInteger()};
    return result;
}

void store(platform::Connection &con, int agreementId, const QList<Copy> &list)
{
    platform::Command insert(con);
    insert.setCommandText(QStringLiteral(
        "insert into AgreementScanCopyDetails (agsCompanyID,agsAgreementID,agsDepartmentID,agsDetailID,"
        "agsAgreementName,agsDocuments) values (?,?,?,?,?,?)"));
    insert.ParametersRefresh();
    for (const Copy &copy : list)
        insert.Execute(
            {demo::CompanyId, agreementId, copy.department, copy.serialNo.toInt(), copy.name, copy.image});
}

// One opening and OK as the form did it before: copy k stored as copies 1..k, null images dropped, the
// copies added meanwhile stored after them with their row's number, all under the opening department.
void olderCycle(platform::Connection &con, int agreementId, const QList<Copy> &added = {})
{
    QList<Copy> loaded;
    for (const Copy &copy : copies(con, agreementId))
        if (copy.image.isValid())
            loaded << copy;
    QByteArray stream;
    for (Copy &copy : loaded) {
        stream += copy.image.toByteArray();
        copy.image = stream;
        copy.department = demo::DepartmentId;
    }
    for (Copy copy : added) {
        copy.serialNo = QString::number(loaded.size() + 1);
        loaded << copy;
    }
    con.BeginTrans();
    con.Execute(QStringLiteral("Delete from AgreementScanCopyDetails where agsAgreementID = ") +
                QString::number(agreementId));
    store(con, agreementId, loaded);
    con.CommitTrans();
}

} // namespace

class tst_ScanRepair : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void undoAndPictures();
    void repairsGrownCopies_data() { agrtest::addBackends(); }
    void repairsGrownCopies();
};

void tst_ScanRepair::undoAndPictures()
{
    const QByteArray a = jpeg(Qt::red, 40, 30), b = jpeg(Qt::green, 30, 40), c = jpeg(Qt::blue, 50, 20);
    QCOMPARE(host::jpegPictures(a), 1);
    QCOMPARE(host::jpegPictures(a + b), 2);
    QCOMPARE(host::jpegPictures(a + "trailing bytes"), 1);
    QCOMPARE(host::jpegPictures(a + "trailing bytes" + b), 2); // a grown copy of such files
    QCOMPARE(host::jpegPictures(a + "\xFF\xD8\xFF but no picture"), 1);
    QCOMPARE(host::jpegPictures("not a picture"), 0);
    QCOMPARE(host::jpegPictures(a.left(a.size() - 2)), 0); // no end marker
    // A thumbnail inside an application segment is part of its picture.
    const QByteArray exif = QByteArray("Exif\0\0", 6) + b;
    QByteArray withThumbnail = a.left(2) + QByteArray("\xFF\xE1", 2);
    withThumbnail += char((exif.size() + 2) >> 8);
    withThumbnail += char((exif.size() + 2) & 0xFF);
    withThumbnail += exif + a.mid(2);
    QCOMPARE(host::jpegPictures(withThumbnail), 1);
    QCOMPARE(host::jpegPictures(withThumbnail + c), 2);

    // One cycle, two cycles with a copy added, and copies that never grew.
    QCOMPARE(host::undoGrowth({a, a + b}), QList<QByteArray>({a, b}));
    QCOMPARE(host::undoGrowth({a, a + a + b, a + a + b + c}), QList<QByteArray>({a, b, c}));
    QCOMPARE(host::undoGrowth({a, b, c}), QList<QByteArray>({a, b, c}));
    // The run starts at the first copy and ends at the first copy that does not begin with the one before.
    QCOMPARE(host::undoGrowth({a, b, b + c}), QList<QByteArray>({a, b, b + c}));
    QCOMPARE(host::undoGrowth({a, a}), QList<QByteArray>({a, a}));
    QCOMPARE(host::undoGrowth({}), QList<QByteArray>());
}

void tst_ScanRepair::repairsGrownCopies()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url, true, true);
    if (!con)
        return;
    const QByteArray pages[] = {jpeg(Qt::red, 64, 48),    jpeg(Qt::green, 48, 64), jpeg(Qt::blue, 80, 40),
                                jpeg(Qt::yellow, 40, 80), jpeg(Qt::cyan, 60, 60),  jpeg(Qt::magenta, 70, 50),
                                jpeg(Qt::gray, 50, 70)};
    const auto copy = [&](int serial, int page, const QString &name) {
        return Copy{QString::number(serial), name, QVariant(pages[page])};
    };
    // Agreements 1, 2 and 3 grow through one, two and three cycles, 2 and 3 with a copy added in the second.
    const QList<Copy> original = {copy(1, 0, "Deed"), copy(2, 1, "Annexure"), copy(3, 2, "Site plan")};
    QList<Copy> withAdded = original;
    withAdded << copy(4, 3, "Added later");
    for (int id : {1, 2, 3}) {
        store(*con, id, original);
        for (int cycle = 1; cycle <= id; ++cycle)
            olderCycle(*con, id, cycle == 2 ? QList<Copy>{copy(0, 3, "Added later")} : QList<Copy>{});
    }
    QCOMPARE(copies(*con, 3).at(2).image.toByteArray().size(),
             pages[0].size() * 6 + pages[1].size() * 3 + pages[2].size());
    // Agreement 4: a grown copy loaded before the copy it grew from, which does not fit the older rule.
    store(*con, 4, {Copy{"1", "Both", QVariant(pages[4] + pages[5])}, copy(2, 4, "First")});
    // Agreement 5: grown, but its second copy belongs to department 2, which the repair does not act for;
    // a null image stays as it is.
    store(*con, 5,
          {copy(1, 5, "Mine"), Copy{"2", "Theirs", QVariant(pages[5] + pages[6]), 2},
           Copy{"3", "Empty", QVariant()}});
    // Agreement 6 never grew. Agreement 7's second copy is its first with bytes after the picture's end:
    // taking the first away would leave no picture.
    store(*con, 6, {copy(1, 6, "Single")});
    store(*con, 7,
          {copy(1, 6, "Page"), Copy{"2", "Page with trailer", QVariant(pages[6] + "scanner trailer")}});
    const QList<Copy> grown4 = copies(*con, 4), grown5 = copies(*con, 5), six = copies(*con, 6),
                      seven = copies(*con, 7);

    const QList<int> departments = {demo::DepartmentId};
    const host::ScanRepair look = host::repairScans(*con, departments, false);
    // 1 and 2: copies 2 and 3 (the copy added in the second cycle is stored as added); 3: copies 2, 3, 4
    // (the added copy grew in the third cycle).
    QCOMPARE(look.changed(), 2 + 2 + 3);
    QCOMPARE(look.agreementsChanged, 3);
    QCOMPARE(look.leftAlone(), 3); // agreement 4's first copy and the second of agreements 5 and 7
    QCOMPARE(copies(*con, 1).at(1).image.toByteArray(), pages[0] + pages[1]); // nothing written
    qint64 grownBytes = 0;
    for (const host::ScanFinding &finding : look.findings) {
        if (finding.agreementId == 4)
            QVERIFY2(!finding.leftAlone.isEmpty(), qPrintable(finding.serialNo));
        if (finding.agreementId == 7)
            QVERIFY(finding.leftAlone.contains(QLatin1String("no JPEG picture")));
        if (finding.agreementId == 5) {
            QCOMPARE(finding.serialNo, "2");
            QVERIFY(finding.leftAlone.contains(QLatin1String("department")));
        }
        if (finding.leftAlone.isEmpty())
            grownBytes += finding.bytesBefore - finding.bytesAfter;
    }
    QVERIFY(grownBytes > 0);

    const host::ScanRepair done = host::repairScans(*con, departments, true);
    QCOMPARE(done.changed(), look.changed());
    QCOMPARE(copies(*con, 1), original);
    QCOMPARE(copies(*con, 2), withAdded);
    QCOMPARE(copies(*con, 3), withAdded);
    QCOMPARE(copies(*con, 4), grown4);
    QCOMPARE(copies(*con, 5), grown5);
    QCOMPARE(copies(*con, 6), six);
    QCOMPARE(copies(*con, 7), seven);
    QCOMPARE(con->transactionLevel(), 0);

    const host::ScanRepair again = host::repairScans(*con, departments, true);
    QCOMPARE(again.changed(), 0);
    QCOMPARE(again.leftAlone(), 3);
    QCOMPARE(copies(*con, 3), withAdded);

    // The command, as a person runs it: a grown agreement again, its lines and the total, then nothing.
    olderCycle(*con, 1);
    const auto run = [&](const QStringList &extra) {
        QProcess host;
        host.start(QCoreApplication::applicationDirPath() + QStringLiteral("/agreement-register"),
                   QStringList{QStringLiteral("scans"), QStringLiteral("repair"),
                               QStringLiteral("--database"), con->url(), QStringLiteral("--department"),
                               QString::number(demo::DepartmentId)} +
                       extra);
        host.waitForFinished(-1);
        const QString out = QString::fromUtf8(host.readAllStandardOutput());
        return qMakePair(host.exitCode(), out);
    };
    const auto [status, out] = run({QStringLiteral("--apply")});
    QCOMPARE(status, 0);
    QVERIFY2(out.contains(QStringLiteral("agreement 1 (department 1), copy 2: %1 bytes -> %2 bytes")
                              .arg(pages[0].size() + pages[1].size())
                              .arg(pages[1].size())),
             qPrintable(out));
    QVERIFY2(out.contains(QStringLiteral("2 copies of 1 agreement repaired: ")), qPrintable(out));
    QCOMPARE(copies(*con, 1), original);
    const auto [againStatus, againOut] = run({});
    QCOMPARE(againStatus, 0);
    QVERIFY2(againOut.contains(QStringLiteral("0 copies of 0 agreements to repair")), qPrintable(againOut));
    QVERIFY2(againOut.contains(QStringLiteral("3 left alone")), qPrintable(againOut));
}

QTEST_MAIN(tst_ScanRepair)
#include "tst_scanrepair.moc"
