// A clerk's day in memory: the scanned copies of ten agreements stored one after another through the form's
// OK, on a connection opened as the program opens it. The resident size after the tenth store is that after
// the first, within a few MB: nothing the stores ran (a scan's bytes among them) stays behind.

#include "data/schema.h"
#include "forms/list/frmmaster.h"
#include "forms/scancopies/frmscancopies.h"
#include "module/basagreementreg.h"
#include "platform/database/connection.h"
#include "platform/ui/seams.h"
#include "suite/suite.h"
#include "support/formtest.h"
#include "support/testdb.h"
#include "support/testsupport.h"

#include <QFile>
#include <QLineEdit>
#include <QPushButton>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

#include <malloc.h>

namespace {

constexpr int Stores = 10;
constexpr int ScansPerStore = 4;
constexpr qsizetype ScanBytes = 5 * 1024 * 1024;
constexpr double AllowedGrowthMb = 8;

// The resident size of this process in MB, after the allocator has handed back what it keeps spare, so
// that the figure is what is still referenced.
double residentMb()
{
    malloc_trim(0);
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').first().toDouble() / 1024;
    }
    return -1;
}

} // namespace

class tst_DayMemory : public QObject
{
    Q_OBJECT

    std::unique_ptr<platform::Connection> m_con;
    QTemporaryDir m_appFolder;
    QTemporaryDir m_files;

private Q_SLOTS:
    void initTestCase()
    {
        suite::registerInProcess();
        QVERIFY(m_appFolder.isValid() && m_files.isValid());
        qputenv("AGR_APP_PATH", m_appFolder.path().toLocal8Bit());
    }
    void cleanup() { agrtest::endFormTest(m_con); }

    void scanStoresKeepNothing_data() { agrtest::addBackends(); }
    void scanStoresKeepNothing();
};

void tst_DayMemory::scanStoresKeepNothing()
{
    AGR_FETCH_URL();
    const QString fresh = agrtest::freshUrl(url);
    if (fresh.isEmpty())
        return;
    // As the host opens it: no statement log switched on.
    m_con = std::make_unique<platform::Connection>();
    m_con->Open(fresh);
    agr::schema::CreateSchema(*m_con);
    agr::schema::LoadDemoData(*m_con, agrtest::DemoToday);
    agrtest::setDemoContext(m_con.get());
    platform::setModalHandler([](QWidget *) {});

    QStringList scans;
    QByteArray bytes(ScanBytes, Qt::Uninitialized);
    for (int i = 0; i < ScansPerStore; ++i) {
        QRandomGenerator(quint32(i + 1))
            .fillRange(reinterpret_cast<quint32 *>(bytes.data()), bytes.size() / qsizetype(sizeof(quint32)));
        scans << m_files.filePath(QStringLiteral("scan%1.jpg").arg(i));
        QFile out(scans.last());
        QVERIFY(out.open(QIODevice::WriteOnly) && out.write(bytes) == bytes.size());
    }
    bytes = QByteArray();

    agr::frmMaster();
    double afterFirst = 0;
    for (int store = 1; store <= Stores; ++store) {
        // Each store for an agreement without copies, so that what is stored is the same every time.
        agr::bas::currentAgreementId() = 1000 + store;
        agr::FrmScanCopies *form = agr::frmScanCopies();
        for (int i = 0; i < ScansPerStore; ++i) {
            form->txtName->setText(QStringLiteral("Page %1").arg(i + 1));
            form->txtBrowse->setText(scans.at(i));
            form->cmdAdd_Click();
        }
        QTest::mouseClick(form->cmdOK, Qt::LeftButton);
        QVERIFY(!agr::frmScanCopiesIfLoaded());
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCOMPARE(agrtest::countRows(*m_con, QStringLiteral("AgreementScanCopyDetails"),
                                    QStringLiteral("agsAgreementID = %1").arg(1000 + store)),
                 ScansPerStore);
        if (store == 1)
            afterFirst = residentMb();
    }
    const double afterLast = residentMb();
    qInfo("resident size after 1 store: %.1f MB, after %d stores: %.1f MB (%d scans of %.0f MB each)",
          afterFirst, Stores, afterLast, ScansPerStore, ScanBytes / 1048576.0);
    QVERIFY(afterFirst > 0);
    QVERIFY2(afterLast - afterFirst < AllowedGrowthMb,
             qPrintable(QStringLiteral("grew by %1 MB").arg(afterLast - afterFirst)));
}

QTEST_MAIN(tst_DayMemory)
#include "tst_daymemory.moc"
