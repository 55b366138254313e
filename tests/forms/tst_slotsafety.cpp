// No exception crosses Qt: a handler without a trap of its own (the scanned copies' OK, which logs nothing
// as defined) that raises ends at its connection, reported as the last-chance handler reports it, while the
// click that ran it returns normally.

#include "forms/list/frmmaster.h"
#include "forms/scancopies/frmscancopies.h"
#include "module/basagreementreg.h"
#include "platform/database/connection.h"
#include "platform/runtime/application.h"
#include "platform/ui/seams.h"
#include "suite/suite.h"
#include "support/formtest.h"
#include "support/testdb.h"
#include "support/testsupport.h"

#include <QLineEdit>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>

class tst_SlotSafety : public QObject
{
    Q_OBJECT

    std::unique_ptr<platform::Connection> m_con;
    QTemporaryDir m_appFolder;

private Q_SLOTS:
    void initTestCase()
    {
        suite::registerInProcess();
        QVERIFY(m_appFolder.isValid());
        qputenv("AGR_APP_PATH", m_appFolder.path().toLocal8Bit());
    }
    void cleanup()
    {
        platform::Application::setLastChanceHandler({});
        agrtest::endFormTest(m_con);
    }

    void failedStoreStaysInItsHandler_data() { agrtest::addBackends(); }
    void failedStoreStaysInItsHandler();
};

void tst_SlotSafety::failedStoreStaysInItsHandler()
{
    AGR_FETCH_URL();
    m_con = agrtest::openDemo(url);
    if (!m_con)
        return;
    platform::setModalHandler([](QWidget *) {});
    QStringList reported;
    platform::Application::setLastChanceHandler([&reported](const QString &text) { reported << text; });

    agr::frmMaster();
    agr::bas::currentAgreementId() = 3;
    agr::FrmScanCopies *form = agr::frmScanCopies();
    form->txtName->setText(QStringLiteral("Deed"));
    form->txtBrowse->setText(m_appFolder.filePath(QStringLiteral("gone.jpg")));
    form->cmdAdd_Click();
    QTest::mouseClick(form->cmdOK, Qt::LeftButton);

    QCOMPARE(reported.size(), 1);
    QVERIFY2(reported.first().contains(QLatin1String("gone.jpg")), qPrintable(reported.first()));
    // As defined: nothing is rolled back and the form stays open.
    QCOMPARE(agr::frmScanCopiesIfLoaded(), form);
    QCOMPARE(m_con->transactionLevel(), 1);
}

QTEST_MAIN(tst_SlotSafety)
#include "tst_slotsafety.moc"
