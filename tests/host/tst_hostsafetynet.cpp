// The host's command run in this process, with a clerk at the module's windows: a save that fails after it
// began its transaction leaves the transaction open on the host's connection, and the host rolls it back
// once Show returns and records the fault, so that none of the half-written agreement is ever committed.

#include "host/commands/commands.h"
#include "platform/database/connection.h"
#include "platform/ui/seams.h"
#include "support/testdb.h"

#include <QApplication>
#include <QComboBox>
#include <QDialog>
#include <QFile>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>

#include <cstdio>
#include <unistd.h>

namespace {

// What the process writes to stderr while body runs.
QString stderrOf(const std::function<void()> &body, const QString &file)
{
    std::fflush(stderr);
    const int saved = ::dup(STDERR_FILENO);
    std::FILE *capture = std::fopen(QFile::encodeName(file).constData(), "w");
    ::dup2(::fileno(capture), STDERR_FILENO);
    body();
    std::fflush(stderr);
    ::dup2(saved, STDERR_FILENO);
    ::close(saved);
    std::fclose(capture);
    QFile read(file);
    return read.open(QIODevice::ReadOnly) ? QString::fromUtf8(read.readAll()) : QString();
}

} // namespace

class tst_HostSafetyNet : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

private Q_SLOTS:
    void initTestCase();
    void failedSaveIsRolledBack_data() { agrtest::addBackends(); }
    void failedSaveIsRolledBack();
};

void tst_HostSafetyNet::initTestCase()
{
    QVERIFY(m_dir.isValid());
    if (qEnvironmentVariableIsEmpty("AGR_COMPONENT_REGISTRY"))
        qputenv("AGR_COMPONENT_REGISTRY", m_dir.filePath(QStringLiteral("components.json")).toLocal8Bit());
}

void tst_HostSafetyNet::failedSaveIsRolledBack()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url, true, true);
    if (!con)
        return;
    // The contents table lost a column: the save writes the header, then fails on the contents.
    con->Execute(QStringLiteral("alter table AgreementContents rename column agcContentdesc to agcText"));
    const int agreements = agrtest::countRows(*con, QStringLiteral("agreementregister"));
    const int summaries = agrtest::countRows(*con, QStringLiteral("AgreementDetails"));

    bool failedOpen = false;
    bool sawHalfSave = true;
    int windows = 0;
    platform::setMsgBoxResponder([](const platform::MsgBoxCall &call) {
        return (call.buttons & 7) == platform::vb::YesNo ? platform::vb::No : platform::vb::OK;
    });
    platform::setModalHandler([&](QWidget *window) {
        if (window->objectName() == QLatin1String("frmDueForRenewal")) {
            window->close(); // the demo has agreements due for renewal
            return;
        }
        ++windows;
        window->show();
        if (window->objectName() == QLatin1String("FrmMaster")) {
            auto *cmdnew = window->findChild<QPushButton *>(QStringLiteral("cmdnew"));
            QVERIFY(cmdnew);
            QTest::mouseClick(cmdnew, Qt::LeftButton);
            window->close();
            return;
        }
        QCOMPARE(window->objectName(), QStringLiteral("frmAgreementreg"));
        auto *type = window->findChild<QComboBox *>(QStringLiteral("cbotype"));
        auto *ok = window->findChild<QPushButton *>(QStringLiteral("cmdok"));
        QVERIFY(type && ok);
        type->setEditText(QStringLiteral("Lease"));
        QTest::mouseClick(ok, Qt::LeftButton);
        // The save failed after its header: the form stays with OK disabled, and what it wrote is
        // invisible to anyone else while the transaction is open.
        failedOpen = window->isVisible() && !ok->isEnabled();
        platform::Connection other;
        other.Open(con->url());
        sawHalfSave = agrtest::countRows(other, QStringLiteral("agreementregister")) != agreements;
        other.Close();
        window->close();
    });

    int status = -1;
    const QString err = stderrOf(
        [&] {
            status = host::runModule({QStringLiteral("agreement-register"), QStringLiteral("--database"),
                                      con->url(), QStringLiteral("--date"), QStringLiteral("2026-11-15")});
        },
        m_dir.filePath(QStringLiteral("stderr-%1.txt").arg(QLatin1String(QTest::currentDataTag()))));
    platform::setModalHandler({});
    platform::setMsgBoxResponder({});

    QCOMPARE(status, 0);
    QCOMPARE(windows, 2);
    QVERIFY(failedOpen);
    QVERIFY(!sawHalfSave);
    QVERIFY2(err.contains(QStringLiteral("left a transaction open")) &&
                 err.contains(QStringLiteral("rolled back")),
             qPrintable(err));

    // Nothing of the failed save was committed, and the fault log says what happened (its row, written
    // after the rollback, would have gone with the transaction otherwise).
    QCOMPARE(agrtest::countRows(*con, QStringLiteral("agreementregister")), agreements);
    QCOMPARE(agrtest::countRows(*con, QStringLiteral("AgreementDetails")), summaries);
    QCOMPARE(agrtest::countRows(*con, QStringLiteral("aActivityLog")), 0);
    QCOMPARE(
        agrtest::countRows(*con, QStringLiteral("aFaultLog"),
                           QStringLiteral("ProcedureName='Show' and ErrorDescription like '%rolled back%' "
                                          "and UserName='clerk'")),
        1);
    // The connection is usable again: a second session saves nothing and leaves nothing open.
    const int faults = agrtest::countRows(*con, QStringLiteral("aFaultLog"));
    platform::setModalHandler([](QWidget *window) { window->close(); });
    status =
        host::runModule({QStringLiteral("agreement-register"), QStringLiteral("--database"), con->url()});
    platform::setModalHandler({});
    QCOMPARE(status, 0);
    QCOMPARE(agrtest::countRows(*con, QStringLiteral("aFaultLog")), faults);
}

QTEST_MAIN(tst_HostSafetyNet)
#include "tst_hostsafetynet.moc"
