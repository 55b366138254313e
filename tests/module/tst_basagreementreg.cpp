// The module helpers of basagreementReg: rights test, Enter key filter, change test, error logging and the
// standard error trap, with the fault log read back from SQLite and PostgreSQL.

#include "data/schema.h"
#include "forms/list/frmmaster.h"
#include "forms/list/listrefresh.h"
#include "module/basagreementreg.h"
#include "module/modulecontext.h"
#include "platform/database/connection.h"
#include "platform/grid/flexgrid.h"
#include "platform/runtime/registry.h"
#include "platform/ui/controls.h"
#include "suite/suite.h"
#include "support/testdb.h"
#include "support/testsupport.h"

#include <QApplication>
#include <QLineEdit>
#include <QTest>

namespace bas = agr::bas;

namespace {

struct Fault
{
    QString form, user, procedure, description, mode;
    qint32 number = 0;
};

QList<Fault> faults(platform::Connection &con)
{
    QList<Fault> rows;
    platform::Recordset rs = con.Execute(QStringLiteral(
        "select FormName, UserName, ProcedureName, ErrorNumber, ErrorDescription, EntryMode from aFaultLog"
        " order by FaultID"));
    for (; !rs.isEOF(); rs.MoveNext())
        rows.append({rs["FormName"].joinEmpty(), rs["UserName"].joinEmpty(), rs["ProcedureName"].joinEmpty(),
                     rs["ErrorDescription"].joinEmpty(), rs["EntryMode"].joinEmpty(),
                     rs["ErrorNumber"].toLong()});
    return rows;
}

// The list form of the module, loaded from con for the demo department as Show would.
platform::FlexGrid *loadList(platform::Connection *con)
{
    agrtest::setDemoContext(con);
    return agr::frmMaster()->mfgMaster;
}

void unloadList()
{
    agr::unloadFrmMaster();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    agr::context().setConnection(nullptr);
}

void insertAgreement(platform::Connection &con, int id, const QString &description)
{
    con.Execute(
        QStringLiteral("insert into agreementregister (agragreementid, agrDepartmentid, agragreementNo,"
                       " agragreementdate, agragreementdesc, agragreementtype, agrapplicableTo,"
                       " agragreementwith, agrcancelled) values (%1, 1, 'AG/%1', '20261115', '%2', 'Lease',"
                       " 'Head office', 'Apex Retail', 0)")
            .arg(id)
            .arg(description));
}

QString criterionFor(int id)
{
    return QStringLiteral("agragreementid=%1 and agrDepartmentid=1").arg(id);
}

bool logged(const platform::Connection &con, const QString &statement)
{
    for (const platform::LoggedStatement &s : con.statementLog()) {
        if (s.text == statement)
            return true;
    }
    return false;
}

} // namespace

class TestBasAgreementReg : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { suite::registerInProcess(); }
    void init()
    {
        agr::context().userId = agr::schema::demo::ClerkUserId;
        bas::entryMode() = QStringLiteral("E");
    }
    void rightsTest();
    void enterKeyFilter();
    void changeTest();
    void errorLog_data() { agrtest::addBackends(); }
    void errorLog();
    void trap_data() { agrtest::addBackends(); }
    void trap();
    void errorLogWithoutDatabase();
    void listRefresh_data() { agrtest::addBackends(); }
    void listRefresh();
    void listRefreshIntoEmptyList_data() { agrtest::addBackends(); }
    void listRefreshIntoEmptyList();
};

void TestBasAgreementReg::rightsTest()
{
    bas::rightsString() = QStringLiteral(" admin ");
    for (const char *code : {"N", "E", "D", "P", "A", "ADMIN"})
        QVERIFY2(!bas::RightsTest(code), code);
    QCOMPARE(bas::rightsString(), "ADMIN");

    bas::rightsString() = QStringLiteral("NEDP");
    QString code = QStringLiteral(" n ");
    QVERIFY(bas::RightsTest(code));
    QCOMPARE(code, "N");
    QVERIFY(bas::RightsTest("P"));
    QVERIFY(!bas::RightsTest("X"));

    bas::rightsString() = QStringLiteral(" ne ");
    QVERIFY(!bas::RightsTest("D"));
    QCOMPARE(bas::rightsString(), "NE");
    bas::rightsString().clear();
    QVERIFY(!bas::RightsTest("N"));

    // Only blanks are trimmed: a rights text that ends in a line break is not "ADMIN".
    bas::rightsString() = QStringLiteral("ADMIN\r\n");
    QVERIFY(bas::RightsTest("N"));
    QCOMPARE(bas::rightsString(), "ADMIN\r\n");
}

void TestBasAgreementReg::enterKeyFilter()
{
    QWidget window;
    auto *first = new QLineEdit(&window);
    auto *second = new QLineEdit(&window);
    second->move(0, 40);
    window.show();
    QApplication::setActiveWindow(&window);
    QVERIFY(QTest::qWaitForWindowActive(&window));
    first->setFocus();
    QTRY_COMPARE(QApplication::focusWidget(), first);

    qint16 key = 'a';
    bas::EnterKeyFilter(key);
    QCOMPARE(key, qint16('a'));
    QCOMPARE(QApplication::focusWidget(), first);

    key = 13;
    bas::EnterKeyFilter(key);
    QCOMPARE(key, qint16(13)); // the control still receives Enter
    QTRY_COMPARE(QApplication::focusWidget(), second);
}

void TestBasAgreementReg::changeTest()
{
    QWidget form;
    auto *txt = new QLineEdit(QStringLiteral("abc "), &form);
    txt->setObjectName(QStringLiteral("txtdesc"));
    QVERIFY(bas::ChangeTest(&form)); // no baseline yet: compared with an empty Tag
    platform::setTag(txt, QStringLiteral("abc"));
    QVERIFY(!bas::ChangeTest(&form));
    txt->setText(QStringLiteral("abc\t")); // only blanks are trimmed
    QVERIFY(bas::ChangeTest(&form));
    txt->setText(QStringLiteral("abd"));
    QVERIFY(bas::ChangeTest(&form));
}

void TestBasAgreementReg::errorLog()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url, true, true);
    if (!con)
        return;
    agr::context().setConnection(con.get());

    const QList<QPair<qint32, qint32>> cuts{
        {123456, 23456}, {-12345, 12345}, {-1234, -1234}, {3021, 3021}, {-2147217900, 17900}};
    for (const auto &[raised, cut] : cuts) {
        qint32 number = raised;
        QString mode = QStringLiteral("E");
        bas::ErrorLog(QStringLiteral("frmAgreementreg"), qint16(agr::schema::demo::ClerkUserId),
                      QStringLiteral("cmdOK_Click"), number, QStringLiteral("test"),
                      QStringLiteral("went wrong"), mode, true);
        QCOMPARE(number, cut);
    }
    QVERIFY(logged(*con, QStringLiteral("select username from ausers where userid=1")));

    const QList<Fault> rows = faults(*con);
    QCOMPARE(rows.size(), cuts.size());
    for (int i = 0; i < rows.size(); ++i) {
        QCOMPARE(rows[i].number, cuts[i].second);
        QCOMPARE(rows[i].user, "clerk");
        QCOMPARE(rows[i].form, "frmAgreementreg");
        QCOMPARE(rows[i].procedure, "cmdOK_Click");
        QCOMPARE(rows[i].description, "went wrong");
        QCOMPARE(rows[i].mode, "E");
    }

    // An unknown user is still logged, without a name.
    qint32 number = 5;
    QString mode;
    bas::ErrorLog(QStringLiteral("FrmMaster"), 99, QStringLiteral("Form_Load"), number, QString(), QString(),
                  mode, true);
    QCOMPARE(faults(*con).constLast().user, "");
    agr::context().setConnection(nullptr);
}

void TestBasAgreementReg::trap()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url, true, true);
    if (!con)
        return;
    agr::context().setConnection(con.get());
    bas::entryMode() = QStringLiteral("N");
    QWidget form;
    form.setObjectName(QStringLiteral("frmAgreementreg"));

    bool after = false;
    QVERIFY(!bas::Trap(&form, "cmdScan_Click", [&] {
        platform::Raise(platform::err::TypeMismatch, QStringLiteral("test"), QStringLiteral("Type mismatch"));
        after = true;
    }));
    QVERIFY(!after);
    QVERIFY(bas::Trap(&form, "Form_Load", [&] { after = true; }));
    QVERIFY(after);
    QVERIFY(!bas::Trap(nullptr, "ListRefresh",
                       [&] { con->Execute(QStringLiteral("select nothing from nosuchtable")); }));

    const QList<Fault> rows = faults(*con);
    QCOMPARE(rows.size(), 2);
    QCOMPARE(rows[0].form, "frmAgreementreg");
    QCOMPARE(rows[0].procedure, "cmdScan_Click");
    QCOMPARE(rows[0].number, platform::err::TypeMismatch);
    QCOMPARE(rows[0].description, "Type mismatch");
    QCOMPARE(rows[0].mode, "N");
    QCOMPARE(rows[0].user, "clerk");
    QCOMPARE(rows[1].form, "basagreementReg");
    QCOMPARE(rows[1].procedure, "ListRefresh");
    QVERIFY(!rows[1].description.isEmpty());
    agr::context().setConnection(nullptr);
}

void TestBasAgreementReg::errorLogWithoutDatabase()
{
    // The host never opened the connection: the fault goes to stderr only, and nothing escapes.
    platform::Connection closed;
    agr::context().setConnection(&closed);
    qint32 number = 1234567;
    QString mode = QStringLiteral("N");
    bas::ErrorLog(QStringLiteral("FrmMaster"), 1, QStringLiteral("Form_Load"), number, QString(),
                  QStringLiteral("closed"), mode, true);
    QCOMPARE(number, 34567);
    QVERIFY(!bas::Trap(nullptr, "RightsTest", [] { throw std::runtime_error("not a run-time error"); }));

    // Nor does anything escape when the fault service itself cannot be created.
    platform::ComponentRegistry::instance().unregisterInProcess(QLatin1String(agr::progid::FaultService));
    QVERIFY(!bas::Trap(nullptr, "RightsTest",
                       [] { platform::Raise(5, QString(), QStringLiteral("no service")); }));
    suite::registerInProcess();
    agr::context().setConnection(nullptr);
}

void TestBasAgreementReg::listRefresh()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url, true, true);
    if (!con)
        return;
    platform::FlexGrid *grid = loadList(con.get());
    const int rows = grid->Rows();
    QVERIFY(rows > 2);
    const QString listSql = bas::listSql();
    QVERIFY(listSql.contains(QLatin1String("order by")));

    // A new agreement is added at the end and selected; the serial number goes into column 0.
    const int newId = agr::schema::demo::AgreementCount + 1;
    insertAgreement(*con, newId, QStringLiteral("Godown lease"));
    bas::entryMode() = QStringLiteral("N");
    QString criterion = criterionFor(newId);
    qint32 serial = newId;
    con->clearStatementLog();
    bas::ListRefresh(criterion, serial);
    QVERIFY(logged(*con, listSql.left(listSql.indexOf(QLatin1String("order by"))) + " and " + criterion));
    QCOMPARE(grid->Rows(), rows + 1);
    QCOMPARE(grid->TextMatrix(rows, agr::col(agr::ListCol::AgreementId)), QString::number(newId));
    QCOMPARE(grid->TextMatrix(rows, agr::col(agr::ListCol::Number)), "AG/" + QString::number(newId));
    QCOMPARE(grid->TextMatrix(rows, agr::col(agr::ListCol::Date)), "15/11/2026");
    QCOMPARE(grid->TextMatrix(rows, agr::col(agr::ListCol::Description)), "Godown lease");
    QCOMPARE(grid->TextMatrix(rows, agr::col(agr::ListCol::Cancelled)), "No");
    QCOMPARE(grid->Row(), rows);
    QCOMPARE(grid->Col(), 0);
    QCOMPARE(grid->ColSel(), grid->Cols() - 1);

    // Editing rewrites the current row in place, whatever serial number is passed.
    const int row = 1;
    const QString id = grid->TextMatrix(row, 0);
    con->Execute(
        QStringLiteral("update agreementregister set agragreementdesc='Renewed', agragreementwith=null"
                       " where agrDepartmentid=1 and agragreementid=") +
        id);
    grid->setRow(row);
    bas::entryMode() = QStringLiteral("E");
    criterion = criterionFor(id.toInt());
    serial = 999;
    bas::ListRefresh(criterion, serial);
    QCOMPARE(grid->Rows(), rows + 1);
    QCOMPARE(grid->TextMatrix(row, 0), id);
    QCOMPARE(grid->TextMatrix(row, agr::col(agr::ListCol::Description)), "Renewed");
    QCOMPARE(grid->TextMatrix(row, agr::col(agr::ListCol::AgreementWith)), "");

    // An agreement the criterion does not find changes nothing.
    criterion = criterionFor(999);
    bas::entryMode() = QStringLiteral("N");
    bas::ListRefresh(criterion, serial);
    QCOMPARE(grid->Rows(), rows + 1);
    unloadList();
}

void TestBasAgreementReg::listRefreshIntoEmptyList()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url, true, false);
    if (!con)
        return;
    platform::FlexGrid *grid = loadList(con.get());
    QCOMPARE(grid->Rows(), 2);
    QCOMPARE(grid->TextMatrix(1, 0), "");

    // The blank row of an empty list takes the first agreement instead of staying above it.
    insertAgreement(*con, 1, QStringLiteral("First lease"));
    bas::entryMode() = QStringLiteral("N");
    QString criterion = criterionFor(1);
    qint32 serial = 1;
    bas::ListRefresh(criterion, serial);
    QCOMPARE(grid->Rows(), 2);
    QCOMPARE(grid->TextMatrix(1, 0), "1");
    QCOMPARE(grid->TextMatrix(1, agr::col(agr::ListCol::Description)), "First lease");
    QCOMPARE(grid->Row(), 1);
    unloadList();
}

QTEST_MAIN(TestBasAgreementReg)
#include "tst_basagreementreg.moc"
