// The suite's six services through their ProgIDs and interfaces, on SQLite and PostgreSQL.

#include "data/contracts.h"
#include "data/schema.h"
#include "data/services.h"
#include "platform/database/connection.h"
#include "platform/grid/flexgrid.h"
#include "platform/runtime/registry.h"
#include "platform/ui/controls.h"
#include "platform/ui/units.h"
#include "suite/suite.h"
#include "support/testdb.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QHeaderView>
#include <QLineEdit>
#include <QListWidget>
#include <QRadioButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTreeWidget>

extern "C" {
platform::HRESULT DllRegisterServer();
platform::HRESULT DllUnregisterServer();
platform::HRESULT DllGetClassObject(const char *clsid, platform::ClassFactory *factory);
platform::HRESULT DllCanUnloadNow();
}

using agr::Service;
using agrtest::countRows;
namespace progid = agr::progid;

namespace {

QString lastStatement(const platform::Connection &con)
{
    return con.statementLog().isEmpty() ? QString() : con.statementLog().constLast().text;
}

platform::FlexGrid *listGrid(QWidget *parent)
{
    auto *grid = new platform::FlexGrid(parent);
    grid->setObjectName(QStringLiteral("mfgMaster"));
    grid->setCols(4);
    grid->setRows(3);
    grid->setColWidth(0, 0);
    grid->setColWidth(1, 1200);
    grid->setColWidth(2, 1500);
    grid->setColWidth(3, 900);
    grid->setGeometry(0, 0, 600, 300);
    grid->flush();
    return grid;
}

// The user drags the right edge of a column's header by dx pixels.
void dragColumnEdge(platform::FlexGrid *grid, int column, int dx)
{
    QHeaderView *header = grid->horizontalHeader();
    const int edge = header->sectionViewportPosition(column) + header->sectionSize(column) - 1;
    const int y = header->height() / 2;
    QTest::mousePress(header->viewport(), Qt::LeftButton, {}, QPoint(edge, y));
    QTest::mouseMove(header->viewport(), QPoint(edge + dx / 2, y));
    QTest::mouseMove(header->viewport(), QPoint(edge + dx, y));
    QTest::mouseRelease(header->viewport(), Qt::LeftButton, {}, QPoint(edge + dx, y));
}

} // namespace

class TestServices : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void dbReturnField_data() { agrtest::addBackends(); }
    void dbReturnField();
    void dbNextMaxNo_data() { agrtest::addBackends(); }
    void dbNextMaxNo();
    void dbPopulateComboorList_data() { agrtest::addBackends(); }
    void dbPopulateComboorList();
    void dbPaymentList_data() { agrtest::addBackends(); }
    void dbPaymentList();
    void generalTextValidateNum();
    void generalSelectComboItem();
    void auditAndFaultLogs_data() { agrtest::addBackends(); }
    void auditAndFaultLogs();
    void auditBaseline();
    void gridSettings_data() { agrtest::addBackends(); }
    void gridSettings();
    void themeKeepsCancelledRowsRed();
    void componentExports();

private:
    QTemporaryDir m_registryDir;
};

void TestServices::initTestCase()
{
    if (!qEnvironmentVariableIsSet("AGR_COMPONENT_REGISTRY"))
        qputenv("AGR_COMPONENT_REGISTRY",
                m_registryDir.filePath(QStringLiteral("registry.json")).toLocal8Bit());
    suite::registerInProcess();
}

void TestServices::dbReturnField()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url, true, true);
    if (!con)
        return;
    Service<agr::IDbService> db(progid::DbService);
    // Late binding by name works as well as the interface.
    QVERIFY(db.object()->setProperty("adocon", QVariant::fromValue(con.get())));
    QVERIFY(db.object()->setProperty("strTableName", QStringLiteral("aUsers")));
    QCOMPARE(db->adocon(), con.get());

    QCOMPARE(db->fnReturnField(QStringLiteral("UserName"), QStringLiteral(" userid=1")).toString(), "clerk");
    QCOMPARE(lastStatement(*con), "select UserName from aUsers where  userid=1");
    QVERIFY(!db->fnReturnField(QStringLiteral("UserName"), QStringLiteral(" userid=99")).isValid());

    db->setStrTableName(QStringLiteral("aPackageSettings"));
    QCOMPARE(db->fnReturnField(QStringLiteral("BackNoOfDays")).toInt(), agr::schema::demo::BackNoOfDays);
    QCOMPARE(lastStatement(*con), "select BackNoOfDays from aPackageSettings");

    // A table name that carries its own where clause gets no second "where".
    db->setStrTableName(QStringLiteral("ausers where userid=2"));
    QCOMPARE(db->fnReturnField(QStringLiteral("username")).toString(), "admin");
    QCOMPARE(lastStatement(*con), "select username from ausers where userid=2");
    QCOMPARE(db->fnReturnField(QStringLiteral("username"), QStringLiteral("CompanyID=1")).toString(),
             "admin");
    QCOMPARE(lastStatement(*con), "select username from ausers where userid=2 and CompanyID=1");

    db->setStrTableName(QStringLiteral("nosuchtable"));
    QVERIFY_THROWS_EXCEPTION(platform::RuntimeError, db->fnReturnField(QStringLiteral("x")));
    db->setAdocon(nullptr);
    QVERIFY_THROWS_EXCEPTION(platform::RuntimeError, db->fnReturnField(QStringLiteral("x")));
}

void TestServices::dbNextMaxNo()
{
    AGR_FETCH_URL();
    auto empty = agrtest::openFresh(url, true, false);
    auto demo = agrtest::openFresh(url, true, true);
    if (!empty || !demo)
        return;
    const QString key = QStringLiteral("agragreementid");
    Service<agr::IDbService> db(progid::DbService);
    db->setStrTableName(QStringLiteral("agreementregister"));
    db->setAdocon(empty.get());
    QCOMPARE(db->fnGetNextMaxNo(key), 1);
    // A value is handed out once, whether or not anything was stored with it.
    QCOMPARE(db->fnGetNextMaxNo(key), 2);
    db->setAdocon(demo.get());
    QCOMPARE(db->fnGetNextMaxNo(key), agr::schema::demo::AgreementCount + 1);
    // A table name that carries its own where clause counts on its own, from its own largest key.
    db->setStrTableName(QStringLiteral("agreementregister where agrDepartmentid=2"));
    QCOMPARE(db->fnGetNextMaxNo(key), agr::schema::demo::OtherDepartmentAgreements + 1);
    db->setStrTableName(QStringLiteral("agreementregister where agragreementNo<>'AG/1'"));
    QCOMPARE(db->fnGetNextMaxNo(key), agr::schema::demo::AgreementCount + 1);

    // A key stored by other means moves the counter past it.
    demo->Execute(
        QStringLiteral("insert into agreementregister (agragreementid, agrDepartmentid) values (40, 1)"));
    db->setStrTableName(QStringLiteral("agreementregister"));
    QCOMPARE(db->fnGetNextMaxNo(key), 41);

    // Another connection, another service: the two take turns on one counter.
    platform::Connection other;
    other.Open(demo->url());
    Service<agr::IDbService> second(progid::DbService);
    second->setAdocon(&other);
    second->setStrTableName(QStringLiteral("agreementregister"));
    QList<qint32> drawn;
    for (int i = 0; i < 3; ++i) {
        drawn << db->fnGetNextMaxNo(key);
        drawn << second->fnGetNextMaxNo(key);
    }
    QCOMPARE(drawn, (QList<qint32>{42, 43, 44, 45, 46, 47}));

    // Inside a caller's transaction on a server the value is drawn apart from it: the other connection is
    // not kept waiting, and the caller's rollback does not give the value back.
    if (demo->backend() == platform::Backend::PostgreSQL) {
        demo->BeginTrans();
        QCOMPARE(db->fnGetNextMaxNo(key), 48);
        QCOMPARE(second->fnGetNextMaxNo(key), 49);
        demo->RollbackTrans();
        QCOMPARE(db->fnGetNextMaxNo(key), 50);
    }

    // The largest 32-bit key has no next one.
    demo->Execute(QStringLiteral(
        "insert into agreementregister (agragreementid, agrDepartmentid) values (2147483646, 1)"));
    QCOMPARE(db->fnGetNextMaxNo(key), 2147483647);
    QVERIFY_THROWS_EXCEPTION(platform::RuntimeError, db->fnGetNextMaxNo(key));

    db->setAdocon(nullptr);
    QVERIFY_THROWS_EXCEPTION(platform::RuntimeError, db->fnGetNextMaxNo(key));
}

void TestServices::dbPopulateComboorList()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url, true, true);
    if (!con)
        return;
    Service<agr::IDbService> db(progid::DbService);
    db->setAdocon(con.get());

    QComboBox combo;
    combo.addItem(QStringLiteral("left from before"), 99);
    combo.setCurrentIndex(0);
    QSignalSpy picks(&combo, &QComboBox::currentIndexChanged);
    db->setStrTableName(QStringLiteral("ashops"));
    db->populateComboorList(&combo, QStringLiteral("shopid"), QStringLiteral("shopname"),
                            QStringLiteral("CompanyID=1"));
    QCOMPARE(lastStatement(*con), "select shopid,shopname from ashops where CompanyID=1");
    QHash<QString, int> shops;
    for (int i = 0; i < combo.count(); ++i)
        shops.insert(combo.itemText(i), combo.itemData(i).toInt());
    const QHash<QString, int> expected{
        {"Market Road Shop", 1}, {"Station Road Shop", 2}, {"Lake View Mall Shop", 3}};
    QCOMPARE(shops, expected);
    // Filling is not a pick: nothing selected, no signal for the form's click handler.
    QCOMPARE(combo.currentIndex(), -1);
    QCOMPARE(picks.count(), 0);

    QListWidget list;
    db->setStrTableName(QStringLiteral("avendormaster"));
    db->populateComboorList(&list, QStringLiteral("vendorid"), QStringLiteral("vendorname"),
                            QStringLiteral("CompanyID=2"));
    QCOMPARE(list.count(), 1);
    QCOMPARE(list.item(0)->text(), "Harbour Freight");
    QCOMPARE(list.item(0)->data(Qt::UserRole).toInt(), 4);

    QLineEdit notAList;
    QVERIFY_THROWS_EXCEPTION(platform::RuntimeError,
                             db->populateComboorList(&notAList, QStringLiteral("vendorid"),
                                                     QStringLiteral("vendorname"), QString()));
}

void TestServices::dbPaymentList()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url, true, true);
    if (!con)
        return;
    Service<agr::IDbService> db(progid::DbService);
    db->setAdocon(con.get());

    QTreeWidget lvwPayment;
    lvwPayment.setColumnCount(6);
    new QTreeWidgetItem(&lvwPayment, QStringList{QStringLiteral("stale")});
    const QString tables = QStringLiteral("aHqPaymentVoucherHeader pvh,aHQpaymentvoucherdebitdetails pvdd");
    QString criterion = QStringLiteral("pvh.phpaymentId=pvdd.PddPaymentID and pvdd.pddAgrrementTransID=") +
                        QString::number(agr::schema::demo::PaidAgreementId);
    const QString before = criterion;
    const auto fill = [&] {
        db->PopulateListviewlvwPayment(&lvwPayment, tables, criterion, QStringLiteral("slno"),
                                       QStringLiteral("pvh.phPaymentNo"), QStringLiteral("pvh.phPaymentDate"),
                                       QStringLiteral("pvh.phRemarks"), QStringLiteral("pvh.phPayee"),
                                       QStringLiteral("pvh.phAmount"));
    };
    fill();
    QCOMPARE(criterion, before);
    QCOMPARE(lastStatement(*con),
             "select pvh.phPaymentNo,pvh.phPaymentDate,pvh.phRemarks,pvh.phPayee,pvh.phAmount"
             " from " +
                 tables + " where " + criterion);
    QCOMPARE(lvwPayment.topLevelItemCount(), 2);
    QHash<QString, QStringList> rows;
    for (int i = 0; i < 2; ++i) {
        const QTreeWidgetItem *item = lvwPayment.topLevelItem(i);
        QCOMPARE(item->text(0), QString::number(i + 1));
        QStringList cells;
        for (int c = 2; c < 6; ++c)
            cells << item->text(c);
        rows.insert(item->text(1), cells);
    }
    // Demo vouchers are dated 25 and 3 days before the test's today, 15/11/2026.
    QCOMPARE(rows.value("HQPV/101"),
             QStringList({"21/10/2026", "Security deposit", "Sri Ganesh Estates", "270000.00"}));
    QCOMPARE(rows.value("HQPV/117"),
             QStringList({"12/11/2026", "Rent for this month", "Sri Ganesh Estates", "45000.00"}));

    criterion = QStringLiteral("pvh.phpaymentId=pvdd.PddPaymentID and pvdd.pddAgrrementTransID=2");
    fill();
    QCOMPARE(lvwPayment.topLevelItemCount(), 0);
}

void TestServices::generalTextValidateNum()
{
    Service<agr::IGeneralService> general(progid::GeneralService);
    QLineEdit box;
    const auto typed = [&](int key) {
        qint16 code = qint16(key);
        general->TextValidateNum(&box, code, 5);
        return int(code);
    };
    box.setText(QStringLiteral("12"));
    QCOMPARE(typed('7'), '7');
    QCOMPARE(typed('.'), '.');
    // Control keys are no typed characters: Backspace, Tab, Enter, Ctrl+A, C, V, X and Z pass.
    for (const int control : std::initializer_list<int>{8, 9, 13, 1, 3, 22, 24, 26})
        QCOMPARE(typed(control), control);
    for (const int rejected : std::initializer_list<int>{'a', 'Z', ' ', '-', ','})
        QCOMPARE(typed(rejected), 0);
    box.setText(QStringLiteral("1.2"));
    QCOMPARE(typed('.'), 0);
    // A full box takes no more digits, unless they replace a selection; backspace still works.
    box.setText(QStringLiteral("12345"));
    QCOMPARE(typed('6'), 0);
    QCOMPARE(typed('.'), 0);
    QCOMPARE(typed(8), 8);
    box.selectAll();
    QCOMPARE(typed('6'), '6');
}

void TestServices::generalSelectComboItem()
{
    Service<agr::IGeneralService> general(progid::GeneralService);
    QComboBox combo;
    combo.addItem(QStringLiteral("Rent"), qlonglong(1));
    combo.addItem(QStringLiteral("Lease"), 2);
    combo.addItem(QStringLiteral("rent "), QStringLiteral("3"));
    combo.addItem(QStringLiteral("Service"), QStringLiteral("abc"));

    general->SelectComboItemByName(&combo, QStringLiteral("Lease"));
    QCOMPARE(combo.currentIndex(), 1);
    general->SelectComboItemByName(&combo, QStringLiteral("rent"));
    QCOMPARE(combo.currentIndex(), -1);
    general->SelectComboItemByName(&combo, QStringLiteral("rent "));
    QCOMPARE(combo.currentIndex(), 2);

    general->SelectComboItemByValue(&combo, 2.0);
    QCOMPARE(combo.currentIndex(), 1);
    general->SelectComboItemByValue(&combo, QStringLiteral("1"));
    QCOMPARE(combo.currentIndex(), 0);
    general->SelectComboItemByValue(&combo, 3);
    QCOMPARE(combo.currentIndex(), 2);
    general->SelectComboItemByValue(&combo, QStringLiteral("abc"));
    QCOMPARE(combo.currentIndex(), 3);
    general->SelectComboItemByValue(&combo, 99);
    QCOMPARE(combo.currentIndex(), -1);
    general->SelectComboItemByValue(&combo, 1);
    general->SelectComboItemByValue(&combo, QVariant());
    QCOMPARE(combo.currentIndex(), -1);
}

void TestServices::auditAndFaultLogs()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url, true, false);
    if (!con)
        return;

    Service<agr::IAuditService> audit(progid::AuditService);
    QString mode = QStringLiteral("N");
    QVERIFY_THROWS_EXCEPTION(platform::RuntimeError,
                             audit->SaveActivityLogInfo(7, QStringLiteral("AG/7"), true, mode));
    platform::Connection *c = con.get();
    qint32 company = 1, user = 5, interfaceId = 1003;
    qint16 department = 2;
    audit->OpenObject(c, company, user, department, interfaceId, QDateTime::currentDateTime());
    QWidget form;
    form.setObjectName(QStringLiteral("frmAgreementreg"));
    audit->SaveActivityLogInfo(qint32(7), QStringLiteral("AG/7"), true, mode, &form);
    QString cancel = QStringLiteral("D");
    audit->SaveActivityLogInfo(8.0, QStringLiteral("AG/8"), true, cancel);

    platform::Recordset rs = con->Execute(QStringLiteral(
        "select CompanyID, DepartmentID, UserID, InterfaceID, AgreementID, AgreementNo, ActionCode,"
        " FormName, ActionDateTime from aActivityLog order by AgreementID"));
    QCOMPARE(rs.RecordCount(), 2);
    QCOMPARE(rs["CompanyID"].toLong(), 1);
    QCOMPARE(rs["DepartmentID"].toLong(), 2);
    QCOMPARE(rs["UserID"].toLong(), 5);
    QCOMPARE(rs["InterfaceID"].toLong(), 1003);
    QCOMPARE(rs["AgreementID"].toDouble(), 7.0);
    QCOMPARE(rs["AgreementNo"].text(), "AG/7");
    QCOMPARE(rs["ActionCode"].text(), "N");
    QCOMPARE(rs["FormName"].text(), "frmAgreementreg");
    QVERIFY(!rs["ActionDateTime"].isNull());
    rs.MoveNext();
    QCOMPARE(rs["AgreementID"].toDouble(), 8.0);
    QCOMPARE(rs["ActionCode"].text(), "D");
    QCOMPARE(rs["FormName"].joinEmpty(), "");

    QString formName = QStringLiteral("frmAgreementreg"), userName = QStringLiteral("clerk"),
            procedure = QStringLiteral("cmdOK_Click"), source = QStringLiteral("platform"),
            description = QStringLiteral("Invalid use of Null"), entryMode = QStringLiteral("E");
    qint32 number = 94;
    Service<agr::IFaultService> unbound(progid::FaultService);
    QVERIFY(
        !unbound->ErrorTrack(formName, userName, procedure, number, source, description, entryMode, true));
    Service<agr::IFaultService> fault(progid::FaultService);
    QVERIFY(fault.object()->setProperty("adocon", QVariant::fromValue(con.get())));
    QVERIFY(fault->ErrorTrack(formName, userName, procedure, number, source, description, entryMode, true));
    rs = con->Execute(QStringLiteral("select FormName, UserName, ProcedureName, ErrorNumber, ErrorSource,"
                                     " ErrorDescription, EntryMode, LoggedAt from aFaultLog"));
    QCOMPARE(rs.RecordCount(), 1);
    QCOMPARE(rs["FormName"].text(), formName);
    QCOMPARE(rs["UserName"].text(), userName);
    QCOMPARE(rs["ProcedureName"].text(), procedure);
    QCOMPARE(rs["ErrorNumber"].toLong(), 94);
    QCOMPARE(rs["ErrorSource"].text(), source);
    QCOMPARE(rs["ErrorDescription"].text(), description);
    QCOMPARE(rs["EntryMode"].text(), entryMode);
    QVERIFY(!rs["LoggedAt"].isNull());
}

void TestServices::auditBaseline()
{
    QWidget form;
    auto *txt = new QLineEdit(QStringLiteral("abc"), &form);
    txt->setObjectName(QStringLiteral("txtdesc"));
    auto *cbo = new QComboBox(&form);
    cbo->setObjectName(QStringLiteral("cbotype"));
    cbo->addItems({QStringLiteral("Lease"), QStringLiteral("Rent")});
    cbo->setCurrentIndex(1);
    auto *chk = new QCheckBox(&form);
    chk->setObjectName(QStringLiteral("chkagency"));
    chk->setChecked(true);
    auto *opt = new QRadioButton(&form);
    opt->setObjectName(QStringLiteral("optShop"));
    opt->setAutoExclusive(false);
    opt->setChecked(true);
    auto *dtp = new QDateEdit(QDate(2026, 11, 15), &form);
    dtp->setObjectName(QStringLiteral("dtpsigned"));
    auto *grid = new platform::FlexGrid(&form);
    grid->setObjectName(QStringLiteral("mfgcontent"));
    grid->setCols(3);
    grid->setRows(2);
    grid->setTextMatrix(1, 1, QStringLiteral("1"));
    grid->setTextMatrix(1, 2, QStringLiteral("Title deed"));

    Service<agr::IAuditService> audit(progid::AuditService);
    // Without a baseline every Tag is empty: a filled form differs, an empty one does not.
    QVERIFY(audit->DataChanged(&form));
    QWidget emptyForm;
    (new QLineEdit(&emptyForm))->setObjectName(QStringLiteral("txtrefno"));
    (new QCheckBox(&emptyForm))->setObjectName(QStringLiteral("chkagency"));
    QVERIFY(!audit->DataChanged(&emptyForm));

    audit->SaveInToTag(&form);
    QCOMPARE(platform::tag(txt), "abc");
    QCOMPARE(platform::tag(grid), "1Title deed");
    QVERIFY(!audit->DataChanged(&form));

    // Surrounding blanks and the letter case of grid cells are no change; date pickers are not tracked.
    txt->setText(QStringLiteral("abc "));
    grid->setTextMatrix(1, 2, QStringLiteral("TITLE DEED"));
    dtp->setDate(QDate(2027, 1, 1));
    QVERIFY(!audit->DataChanged(&form));

    const auto changedBy = [&](const std::function<void()> &change, const std::function<void()> &undo) {
        change();
        const bool changed = audit->DataChanged(&form);
        undo();
        return changed && !audit->DataChanged(&form);
    };
    QVERIFY(changedBy([&] { txt->setText(QStringLiteral("abd")); },
                      [&] { txt->setText(QStringLiteral("abc")); }));
    QVERIFY(changedBy([&] { cbo->setCurrentIndex(0); }, [&] { cbo->setCurrentIndex(1); }));
    QVERIFY(changedBy([&] { chk->setChecked(false); }, [&] { chk->setChecked(true); }));
    QVERIFY(changedBy([&] { opt->setChecked(false); }, [&] { opt->setChecked(true); }));
    QVERIFY(changedBy([&] { grid->setTextMatrix(1, 2, QStringLiteral("Lease deed")); },
                      [&] { grid->setTextMatrix(1, 2, QStringLiteral("Title deed")); }));
    // An empty row adds no text to the grid's concatenation.
    grid->setRows(3);
    QVERIFY(!audit->DataChanged(&form));
    grid->setRows(2);
    QVERIFY(changedBy([&] { grid->AddItem(QStringLiteral("\t2\tLease")); }, [&] { grid->setRows(2); }));
}

void TestServices::gridSettings()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url, true, false);
    if (!con)
        return;
    platform::Connection *c = con.get();
    const QString stored =
        QStringLiteral("select ColumnWidth from aGridSettings where UserID=1 and CompanyID=1"
                       " and GridName='mfgMaster' and ColumnIndex=2");

    QWidget window;
    window.resize(700, 400);
    platform::FlexGrid *grid = listGrid(&window);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    {
        // The module releases the service right after the call; the widths are still recorded.
        Service<agr::IGridLayoutService> layout(progid::GridLayoutService);
        layout->fnGridSettings(1, 1, grid, c);
    }
    QCOMPARE(grid->ColWidth(2), 1500);

    // Widths the program sets are not the user's.
    grid->setColWidth(3, 1000);
    grid->flush();
    QCOMPARE(countRows(*con, QStringLiteral("aGridSettings")), 0);

    const int before = grid->horizontalHeader()->sectionSize(2);
    dragColumnEdge(grid, 2, 40);
    dragColumnEdge(grid, 2, 20);
    const int after = grid->horizontalHeader()->sectionSize(2);
    QCOMPARE(after, before + 60);
    QCOMPARE(countRows(*con, QStringLiteral("aGridSettings")), 1);
    const int twips = con->Execute(stored).Fields(0).toLong();
    QCOMPARE(twips, platform::pixelsToTwips(after, grid));

    // A stored width for the hidden column does not show it.
    con->Execute(
        QStringLiteral("insert into aGridSettings (UserID, CompanyID, GridName, ColumnIndex, ColumnWidth)"
                       " values (1, 1, 'mfgMaster', 0, 2000)"));
    QWidget next;
    platform::FlexGrid *reopened = listGrid(&next);
    platform::FlexGrid *otherUser = listGrid(&next);
    Service<agr::IGridLayoutService> layout(progid::GridLayoutService);
    layout->fnGridSettings(1, 1, reopened, c);
    layout->fnGridSettings(2, 1, otherUser, c);
    QCOMPARE(reopened->ColWidth(2), twips);
    QCOMPARE(reopened->ColWidth(0), 0);
    QCOMPARE(reopened->ColWidth(1), 1200);
    QCOMPARE(otherUser->ColWidth(2), 1500);
}

void TestServices::themeKeepsCancelledRowsRed()
{
    QWidget form;
    form.resize(500, 300);
    auto *txt = new QLineEdit(&form);
    txt->setObjectName(QStringLiteral("txtsearch"));
    platform::FlexGrid *grid = listGrid(&form);
    grid->setGeometry(0, 40, 480, 200);
    grid->setRow(2);
    for (int c = 0; c < grid->Cols(); ++c) {
        grid->setCol(c);
        grid->setCellBackColor(platform::vbRed);
    }
    grid->setRow(1);
    grid->setCol(1);
    auto *tabs = new QTabWidget(&form);
    tabs->addTab(new QWidget, QStringLiteral("&General"));

    Service<agr::IThemeService> theme(progid::ThemeService);
    theme->ApplyScreenTheme(&form);
    theme->Applytabcolor(tabs);
    QCOMPARE(txt->palette().color(QPalette::Base), QColor(Qt::white));
    QCOMPARE(tabs->palette().color(QPalette::Window), form.palette().color(QPalette::Window));
    QVERIFY(form.palette().color(QPalette::Window) != QColor(Qt::white));

    form.show();
    QVERIFY(QTest::qWaitForWindowExposed(&form));
    grid->flush();
    const QRect cell = grid->visualRect(grid->model()->index(1, 2)); // row 0 lives in the header
    QVERIFY(cell.isValid());
    const QColor painted = grid->viewport()->grab().toImage().pixelColor(cell.left() + 3, cell.center().y());
    QVERIFY2(painted.red() > 200 && painted.green() < 60 && painted.blue() < 60, qPrintable(painted.name()));
}

void TestServices::componentExports()
{
    platform::ClassFactory factory = nullptr;
    QCOMPARE(DllGetClassObject("{5b1e0c21-7a43-4d0e-9f61-2c8d3a90b101}", &factory), platform::S_OK);
    QVERIFY(factory);
    QCOMPARE(DllGetClassObject("{00000000-0000-0000-0000-000000000000}", &factory),
             platform::CLASS_E_CLASSNOTAVAILABLE);

    QCOMPARE(DllCanUnloadNow(), platform::S_OK);
    {
        Service<agr::IDbService> db(progid::DbService);
        Service<agr::IGeneralService> general(progid::GeneralService);
        Service<agr::IAuditService> audit(progid::AuditService);
        Service<agr::IThemeService> theme(progid::ThemeService);
        Service<agr::IGridLayoutService> layout(progid::GridLayoutService);
        Service<agr::IFaultService> fault(progid::FaultService);
        QCOMPARE(DllCanUnloadNow(), platform::S_FALSE);
    }
    QCOMPARE(DllCanUnloadNow(), platform::S_OK);

    auto &registry = platform::ComponentRegistry::instance();
    QCOMPARE(DllRegisterServer(), platform::S_OK);
    for (const char *id : {progid::DbService, progid::GeneralService, progid::AuditService,
                           progid::ThemeService, progid::GridLayoutService, progid::FaultService}) {
        QVERIFY2(registry.isRegistered(QLatin1String(id)), id);
        QVERIFY(registry.libraryOf(QLatin1String(id)).contains(QLatin1String("suite")));
    }
    QCOMPARE(DllUnregisterServer(), platform::S_OK);
    QVERIFY(!registry.isRegistered(QLatin1String(progid::FaultService)));
}

QTEST_MAIN(TestServices)
#include "tst_services.moc"
