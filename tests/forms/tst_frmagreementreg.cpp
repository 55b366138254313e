// The entry form frmAgreementreg and the list form's opening procedures, on the demo data of SQLite and
// PostgreSQL: saving new and changed agreements, numbers, validation, keys, the closing question, cancelled
// agreements, payments, and a failed save.

#include "data/schema.h"
#include "forms/agreement/frmagreementreg.h"
#include "forms/list/frmmaster.h"
#include "module/basagreementreg.h"
#include "module/modulecontext.h"
#include "platform/database/connection.h"
#include "platform/grid/flexgrid.h"
#include "platform/ui/controls.h"
#include "platform/ui/seams.h"
#include "platform/ui/units.h"
#include "suite/suite.h"
#include "support/formtest.h"
#include "support/testdb.h"
#include "support/testsupport.h"

#include <QApplication>
#include <QComboBox>
#include <QDateEdit>
#include <QGroupBox>
#include <QImage>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QRadioButton>
#include <QSignalSpy>
#include <QTabBar>
#include <QTabWidget>
#include <QTest>
#include <QTreeWidget>

namespace demo = agr::schema::demo;
using agr::FrmAgreementreg;
using agrtest::countRows;
using agrtest::scalar;
using platform::FlexGrid;

namespace {

const QDate &Today = agrtest::DemoToday;
const QString &Caption = agrtest::FormCaption;

void setRow(FlexGrid *grid, int row, const QStringList &cells)
{
    if (grid->Rows() <= row)
        grid->setRows(row + 1);
    for (int c = 0; c < cells.size(); ++c)
        grid->setTextMatrix(row, c + 1, cells.at(c));
}

// Everything a clerk can see of the form's controls, and the grids' own state, one line each.
QStringList formState(FrmAgreementreg *form)
{
    QStringList state;
    const QList<QObject *> controls = platform::formControls(form);
    for (QObject *control : controls) {
        auto *w = qobject_cast<QWidget *>(control);
        QString line = control->objectName() + QLatin1Char('|') + platform::controlValueText(control) +
                       QLatin1Char('|') + platform::tag(control);
        if (w)
            line += QStringLiteral("|enabled %1 hidden %2").arg(w->isEnabled()).arg(w->isHidden());
        if (auto *combo = qobject_cast<QComboBox *>(control))
            line += QStringLiteral("|items %1 index %2 text %3")
                        .arg(combo->count())
                        .arg(combo->currentIndex())
                        .arg(combo->currentText());
        if (auto *grid = qobject_cast<FlexGrid *>(control)) {
            line += QStringLiteral("|top %1").arg(grid->TopRow());
            line += QStringLiteral("|%1x%2 at %3,%4 sel %5,%6 format %7 widths")
                        .arg(grid->Rows())
                        .arg(grid->Cols())
                        .arg(grid->Row())
                        .arg(grid->Col())
                        .arg(grid->RowSel())
                        .arg(grid->ColSel())
                        .arg(grid->FormatString());
            for (int c = 0; c < grid->Cols(); ++c)
                line += QLatin1Char(' ') + QString::number(grid->ColWidth(c)) + QLatin1Char('/') +
                        QString::number(grid->cellBackColorAt(1, c));
        }
        if (auto *list = qobject_cast<QTreeWidget *>(control))
            line += QStringLiteral("|rows %1").arg(list->topLevelItemCount());
        state << line;
    }
    // Raising a tab page reorders Qt's children: the order of the lines says nothing.
    state.sort();
    state << QStringLiteral("page %1 focus %2 saved %3 id %4")
                 .arg(form->SSTab1->currentIndex())
                 .arg(form->focusWidget() ? form->focusWidget()->objectName() : QString())
                 .arg(form->saved)
                 .arg(form->agreementId);
    return state;
}

void showActive(QWidget *form)
{
    form->show();
    QApplication::setActiveWindow(form);
    QVERIFY(QTest::qWaitForWindowActive(form));
}

// The form as the clerk sees it when it opens: shown, laid out and painted, with all six tabs whole and
// nothing over them.
QImage look(FrmAgreementreg *form)
{
    showActive(form);
    QCoreApplication::processEvents();
    const QTabBar *strip = form->SSTab1->tabBar();
    for (int tab = 0; tab < strip->count(); ++tab)
        [&] { QVERIFY2(strip->rect().contains(strip->tabRect(tab)), qPrintable(strip->tabText(tab))); }();
    for (const QWidget *part : strip->findChildren<QWidget *>())
        [&] { QVERIFY2(!part->isVisible(), qPrintable(part->objectName())); }();
    return form->grab().toImage();
}

// Where two pictures of the form differ, for the message of a failed comparison.
QString difference(const QImage &a, const QImage &b)
{
    if (a.size() != b.size())
        return QStringLiteral("size %1x%2, new %3x%4")
            .arg(a.width())
            .arg(a.height())
            .arg(b.width())
            .arg(b.height());
    QRect differs;
    for (int y = 0; y < a.height(); ++y) {
        for (int x = 0; x < a.width(); ++x) {
            if (a.pixel(x, y) != b.pixel(x, y))
                differs |= QRect(x, y, 1, 1);
        }
    }
    return QStringLiteral("pixels differ in %1,%2 %3x%4")
        .arg(differs.x())
        .arg(differs.y())
        .arg(differs.width())
        .arg(differs.height());
}

} // namespace

class TestFrmAgreementreg : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        suite::registerInProcess();
        // A text cursor that does not blink, so that two pictures of a form are alike.
        QApplication::setCursorFlashTime(0);
    }
    void init();
    void cleanup();

    void layoutAndLoad_data() { agrtest::addBackends(); }
    void layoutAndLoad();
    void newAgreementSaved_data() { agrtest::addBackends(); }
    void newAgreementSaved();
    void numberSequence_data() { agrtest::addBackends(); }
    void numberSequence();
    void validationStops_data() { agrtest::addBackends(); }
    void validationStops();
    void partySelection_data() { agrtest::addBackends(); }
    void partySelection();
    void editReplacesDetails_data() { agrtest::addBackends(); }
    void editReplacesDetails();
    void cancelledOpensReadOnly_data() { agrtest::addBackends(); }
    void cancelledOpensReadOnly();
    void keys_data() { agrtest::addBackends(); }
    void keys();
    void closingQuestion_data() { agrtest::addBackends(); }
    void closingQuestion();
    void failedSaveLeavesNoTrace_data() { agrtest::addBackends(); }
    void failedSaveLeavesNoTrace();
    void keptFormOpensAsNew_data() { agrtest::addBackends(); }
    void keptFormOpensAsNew();

private:
    // A demo database as the module context's connection, with the list form loaded.
    bool openDemo(const QString &url);
    void selectListRow(int agreementId);
    // The entry form as the list's Edit opens it (the modal show returns at once).
    FrmAgreementreg *openForEdit(int agreementId);
    FrmAgreementreg *openNew();

    std::unique_ptr<platform::Connection> m_con;
    QList<platform::MsgBoxCall> m_boxes;
    int m_answer = platform::vb::OK;
};

void TestFrmAgreementreg::init()
{
    m_boxes.clear();
    m_answer = platform::vb::OK;
    platform::setMsgBoxResponder([this](const platform::MsgBoxCall &call) {
        m_boxes.append(call);
        return m_answer;
    });
    platform::setModalHandler([](QWidget *) {});
}

void TestFrmAgreementreg::cleanup()
{
    agrtest::endFormTest(m_con);
}

bool TestFrmAgreementreg::openDemo(const QString &url)
{
    m_con = agrtest::openDemo(url);
    if (!m_con)
        return false;
    agr::frmMaster();
    return true;
}

void TestFrmAgreementreg::selectListRow(int agreementId)
{
    FlexGrid *list = agr::frmMaster()->mfgMaster;
    for (int row = 1; row < list->Rows(); ++row) {
        if (list->TextMatrix(row, 0) == QString::number(agreementId)) {
            list->setRow(row);
            return;
        }
    }
    QFAIL("agreement not in the list");
}

FrmAgreementreg *TestFrmAgreementreg::openForEdit(int agreementId)
{
    selectListRow(agreementId);
    agr::frmMaster()->CmdEdit_Click();
    return agr::frmAgreementregIfLoaded();
}

FrmAgreementreg *TestFrmAgreementreg::openNew()
{
    agr::frmMaster()->cmdnew_Click();
    return agr::frmAgreementregIfLoaded();
}

void TestFrmAgreementreg::layoutAndLoad()
{
    AGR_FETCH_URL();
    if (!openDemo(url))
        return;
    FrmAgreementreg *form = openNew();
    QVERIFY(form);
    QCOMPARE(form->windowTitle(), "Agreement Register");
    QStringList tabs;
    for (int i = 0; i < form->SSTab1->count(); ++i)
        tabs << form->SSTab1->tabText(i);
    QCOMPARE(tabs, QStringList({"&General", "Age&ncy Details", "Contents Deta&ils", "S&ummary Details",
                                "&Finance details", "Payment Details"}));
    QCOMPARE(form->mfgsigndetails->FormatString(), "|SNo |Sign By |Position |Date |Agency ");
    QCOMPARE(form->mfgwitnessdetails->FormatString(), "|SNo |Witness |Position |Date |Address|Agency ");
    QCOMPARE(form->mfgfinance->FormatString(), "|SNo |Terms and Conditions ");
    QCOMPARE(form->mfgsigndetails->ColWidth(1), 1750);
    QCOMPARE(form->mfgwitnessdetails->ColWidth(5), 3900);
    for (FlexGrid *grid : {form->mfgsigndetails, form->mfgwitnessdetails, form->mfgcontent, form->mfgsummary,
                           form->mfgfinance}) {
        QCOMPARE(grid->ColWidth(0), 0);
        QCOMPARE(grid->Rows(), 2);
    }
    QCOMPARE(form->lvwPayment->headerItem()->text(5), "Amount");
    QCOMPARE(form->dtpsigned->displayFormat(), "dd/MM/yyyy");
    QVERIFY(form->dtpvalidto->calendarPopup());

    // The processing date, lookups as stored in this department, and no scan copies for a new agreement.
    QCOMPARE(form->txtdate->text(), "15/11/2026");
    QCOMPARE(form->dtpvalidfrom->date(), Today);
    QCOMPARE(form->cbolawyer->count(), 3);
    QCOMPARE(form->cbotype->count(), 7);
    QVERIFY(form->cbotype->findText(QStringLiteral("Insurance")) >= 0);
    QCOMPARE(form->cbotype->currentText(), "");
    QVERIFY(!form->cmdScan->isEnabled());
    form->cmdcancel_Click();
    QVERIFY(!agr::frmAgreementregIfLoaded());

    // A stored agreement can be given scan copies; a fresh form is built for it.
    form = openForEdit(2);
    QVERIFY(form->cmdScan->isEnabled());
}

void TestFrmAgreementreg::newAgreementSaved()
{
    AGR_FETCH_URL();
    if (!openDemo(url))
        return;
    FrmAgreementreg *form = openNew();
    QPointer<FrmAgreementreg> alive(form);
    showActive(form);

    form->cbotype->setEditText(QStringLiteral("  Lease "));
    form->txtdesc->setText(QStringLiteral("  Rent of the new shop  "));
    form->txtnoofpages->setText(QStringLiteral("12 pages"));
    form->txtalertnoofdays->setText(QStringLiteral("45"));
    form->dtpsigned->setDate(QDate(2026, 11, 1));
    form->dtpvalidfrom->setDate(QDate(2026, 11, 1));
    form->dtpvalidto->setDate(QDate(2029, 10, 31));
    QTest::mouseClick(form->optgodown, Qt::LeftButton);
    form->cboapplicable->setFocus();
    QTest::keyClick(form->cboapplicable, Qt::Key_Down); // the second godown of company 1
    QTest::keyClick(form->cboapplicable, Qt::Key_Down);
    QCOMPARE(form->txtapplicable->text(), "Industrial Estate Godown");
    QTest::mouseClick(form->optsupplier, Qt::LeftButton);
    form->cboagency->setCurrentIndex(0);
    Q_EMIT form->cboagency->activated(0);
    QCOMPARE(form->txtagency->text(), "Prime Packaging");
    setRow(form->mfgsigndetails, 1, {"1", "Ravi Kumar", "Director", "01/11/2026", "Y"});
    setRow(form->mfgsigndetails, 2, {"2", " S. Ganesh ", "Proprietor", "02/11/2026", "y"});
    setRow(form->mfgcontent, 1, {"1", "Lease deed"});
    setRow(form->mfgcontent, 2, {"", ""}); // saved too: the current row decides for the whole grid
    form->mfgsigndetails->setRow(1);
    form->mfgcontent->setRow(1);
    QTest::mouseClick(form->cmdOK, Qt::LeftButton);

    QVERIFY(m_boxes.isEmpty());
    QVERIFY(!agr::frmAgreementregIfLoaded());
    QCOMPARE(m_con->transactionLevel(), 0);
    const QString where = QStringLiteral("agrDepartmentid=1 and agragreementid=13");
    platform::Recordset rs = m_con->Execute(QStringLiteral("select * from agreementregister where ") + where);
    QVERIFY(!rs.isEOF());
    QCOMPARE(rs["agragreementNo"].text(), "AG/13");
    QCOMPARE(rs["agragreementdate"].toDate(), Today);
    QCOMPARE(rs["agragreementdesc"].text(), "Rent of the new shop");
    QCOMPARE(rs["agragreementtype"].text(), "Lease");
    QVERIFY(rs["agrapplicableshopid"].isNull());
    QCOMPARE(rs["agrapplicablegodownid"].toLong(), 2);
    QVERIFY(rs["agrwithCustomerid"].isNull());
    QCOMPARE(rs["agrwithsupplierid"].toLong(), 2); // the godown's id, not the supplier's
    QCOMPARE(rs["agragreementwith"].text(), "Prime Packaging");
    for (const char *column : {"agragencyfindepaddress", "agrfinancecontactNo", "agrfinanceEmailid"})
        QVERIFY2(rs[QLatin1String(column)].isNull(), column);
    QCOMPARE(rs["agrReferenceNo"].text(), "");
    QCOMPARE(rs["agrNoofPages"].toDouble(), 12.0);
    QCOMPARE(rs["alertnoofdays"].toDouble(), 45.0);
    QCOMPARE(rs["agrValidTodate"].toDate(), QDate(2029, 10, 31));
    QCOMPARE(rs["agrcancelled"].toLong(), 0);

    rs = m_con->Execute(
        QStringLiteral("select agsSignedBy, agsSignedDate, agsAgency from AgreementSignedDetails "
                       "where agsAgreementid=13 and agsDepartmentid=1 order by agsDetailid"));
    QCOMPARE(rs.RecordCount(), 2);
    QCOMPARE(rs["agsAgency"].toLong(), 1);
    QCOMPARE(rs["agsSignedDate"].toDate(), QDate(2026, 11, 1));
    rs.MoveNext();
    QCOMPARE(rs["agsSignedBy"].text(), " S. Ganesh "); // grid cells are stored as they stand
    QCOMPARE(rs["agsAgency"].toLong(), 0);
    QCOMPARE(countRows(*m_con, QStringLiteral("AgreementContents"), QStringLiteral("agcAgreementid=13")), 2);
    QCOMPARE(countRows(*m_con, QStringLiteral("AgreementDetails"), QStringLiteral("agdAgreementid=13")), 0);
    QCOMPARE(countRows(*m_con, QStringLiteral("aActivityLog"),
                       QStringLiteral("AgreementNo='AG/13' and ActionCode='N'")),
             1);

    // The list shows the new agreement as its current row.
    FlexGrid *list = agr::frmMaster()->mfgMaster;
    QCOMPARE(list->TextMatrix(list->Row(), agr::col(agr::ListCol::Number)), "AG/13");
}

void TestFrmAgreementreg::numberSequence()
{
    AGR_FETCH_URL();
    if (!openDemo(url))
        return;
    // Department 2 holds AG/1 and AG/2; only wholly numeric tails after the prefix count, as integers. A
    // number repeated by an older program is counted like any other.
    for (const char *number : {"AG/9", "AG/10", "AG/10", "AG/12A", "AG/", "XY/99"}) {
        m_con->Execute(
            QStringLiteral("insert into agreementregister (agragreementid, agrDepartmentid, "
                           "agragreementNo, agragreementdate) values (%1, 2, '%2', '20261101')")
                .arg(100 + countRows(*m_con, QStringLiteral("agreementregister"), QStringLiteral("1=1")))
                .arg(QLatin1String(number)));
    }
    agr::context().departmentId = demo::OtherDepartmentId;
    FrmAgreementreg *form = openNew();
    form->txtagreementNo->setText(QStringLiteral("MINE/1"));
    form->cbotype->setEditText(QStringLiteral("Lease"));
    form->cmdOK_Click();
    QCOMPARE(form->lastNumberText, "10");
    QCOMPARE(countRows(*m_con, QStringLiteral("agreementregister"),
                       QStringLiteral("agrDepartmentid=2 and agragreementNo='AG/11'")),
             1);
    QCOMPARE(
        countRows(*m_con, QStringLiteral("agreementregister"), QStringLiteral("agragreementNo='MINE/1'")), 0);

    // Department 0 cannot save a new agreement: the number statement is rejected, silently.
    agr::context().departmentId = 0;
    const int before = countRows(*m_con, QStringLiteral("agreementregister"), QStringLiteral("1=1"));
    form = openNew();
    QPointer<FrmAgreementreg> alive(form);
    form->cbotype->setEditText(QStringLiteral("Lease"));
    form->cmdOK_Click();
    QVERIFY(alive);
    QVERIFY(!form->cmdOK->isEnabled());
    QVERIFY(m_boxes.isEmpty());
    QVERIFY(!form->numberLock.isHeld());
    QCOMPARE(m_con->transactionLevel(), 0);
    QCOMPARE(countRows(*m_con, QStringLiteral("agreementregister"), QStringLiteral("1=1")), before);
    QCOMPARE(countRows(*m_con, QStringLiteral("aFaultLog"), QStringLiteral("1=1")), 0);
}

void TestFrmAgreementreg::validationStops()
{
    AGR_FETCH_URL();
    if (!openDemo(url))
        return;
    FrmAgreementreg *form = openNew();
    showActive(form);
    const int before = countRows(*m_con, QStringLiteral("agreementregister"), QStringLiteral("1=1"));
    const auto stop = [&](const QString &message, QWidget *focus, bool numberDrawn) {
        m_boxes.clear();
        form->txtdesc->setFocus();
        form->txtagreementNo->clear();
        QTest::mouseClick(form->cmdOK, Qt::LeftButton);
        QCOMPARE(m_boxes.size(), 1);
        QCOMPARE(m_boxes.at(0).prompt, message);
        QCOMPARE(m_boxes.at(0).buttons, platform::vb::Information);
        QCOMPARE(m_boxes.at(0).title, Caption);
        QTRY_COMPARE(QApplication::focusWidget(), focus);
        QVERIFY(form->cmdOK->isEnabled());
        QCOMPARE(form->txtagreementNo->text(), numberDrawn ? QStringLiteral("AG/13") : QString());
        QVERIFY(!form->numberLock.isHeld()); // no other clerk's save waits for this one
    };

    stop(QStringLiteral("Enter Type"), form->cbotype, false);
    form->cbotype->setEditText(QStringLiteral(" "));
    form->dtpsigned->setDate(Today.addDays(1));
    stop(QStringLiteral("Signed Date Should be Less than Valid Date"), form->dtpsigned, false);
    form->dtpsigned->setDate(Today);
    form->dtpvalidto->setDate(Today.addDays(-1));
    stop(QStringLiteral("Valid From Date Should be Less than Vaild To Date"), form->dtpvalidfrom, false);
    form->dtpvalidto->setDate(Today);

    // Id and number are drawn before the parties are checked; the applicability comes first.
    QTest::mouseClick(form->optShop, Qt::LeftButton);
    QTest::mouseClick(form->optcustomer, Qt::LeftButton);
    stop(QStringLiteral("Select Shop"), form->cboapplicable, true);
    QTest::mouseClick(form->optgodown, Qt::LeftButton);
    stop(QStringLiteral("Select Godown"), form->cboapplicable, true);
    form->cboapplicable->setCurrentIndex(0);
    stop(QStringLiteral("Select Customer"), form->cboagency, true);
    QTest::mouseClick(form->optsupplier, Qt::LeftButton);
    stop(QStringLiteral("Select Supplier"), form->cboagency, true);
    QCOMPARE(countRows(*m_con, QStringLiteral("agreementregister"), QStringLiteral("1=1")), before);

    // A type of blanks passes and is stored empty.
    QTest::mouseClick(form->optothers, Qt::LeftButton);
    m_boxes.clear();
    form->cmdOK_Click();
    QVERIFY(m_boxes.isEmpty());
    QCOMPARE(scalar(*m_con, QStringLiteral("select agragreementtype from agreementregister where "
                                           "agragreementNo='AG/13' and agrDepartmentid=1"))
                 .toString(),
             "");
}

void TestFrmAgreementreg::partySelection()
{
    AGR_FETCH_URL();
    if (!openDemo(url))
        return;
    FrmAgreementreg *form = openNew();
    showActive(form);
    QTest::mouseClick(form->optShop, Qt::LeftButton);
    QCOMPARE(form->cboapplicable->count(), 3); // the shops of company 1 only
    QVERIFY(form->cboapplicable->isEnabled());
    QCOMPARE(form->cboapplicable->currentIndex(), -1);
    form->cboapplicable->setCurrentIndex(1);
    Q_EMIT form->cboapplicable->activated(1);
    QCOMPARE(form->txtapplicable->text(), "Station Road Shop");

    // Clicking the chosen option again refills the list and drops the pick.
    QTest::mouseClick(form->optShop, Qt::LeftButton);
    QCOMPARE(form->cboapplicable->currentIndex(), -1);
    QCOMPARE(form->txtapplicable->text(), "");

    QTest::mouseClick(form->optcustomer, Qt::LeftButton);
    form->cboagency->setCurrentIndex(2);
    Q_EMIT form->cboagency->activated(2);
    QTest::mouseClick(form->optHq, Qt::LeftButton);
    QCOMPARE(form->cboapplicable->count(), 0);
    QVERIFY(!form->cboapplicable->isEnabled());
    QCOMPARE(form->txtagency->text(), "Coastal Traders"); // the party group is untouched
    QTest::mouseClick(form->optothers, Qt::LeftButton);
    QVERIFY(!form->cboagency->isEnabled());
    QCOMPARE(form->txtagency->text(), "");
}

void TestFrmAgreementreg::editReplacesDetails()
{
    AGR_FETCH_URL();
    if (!openDemo(url))
        return;
    const QString dateBefore = scalar(*m_con, QStringLiteral("select agragreementdate from agreementregister "
                                                             "where agrDepartmentid=1 and agragreementid=1"))
                                   .toString();
    FrmAgreementreg *form = openForEdit(demo::DetailedAgreementId);
    QVERIFY(form);
    QCOMPARE(agr::bas::entryMode(), "E");
    QCOMPARE(form->txtagreementNo->text(), "AG/1");
    QCOMPARE(form->txtdate->text(), Today.addDays(-28).toString(QStringLiteral("dd/MM/yyyy")));
    QVERIFY(form->optShop->isChecked());
    QCOMPARE(form->cboapplicable->currentText(), "Market Road Shop");
    QVERIFY(form->optothers->isChecked());
    QCOMPARE(form->cbolawyer->currentText(), "K. Suresh");
    QCOMPARE(form->txtnoofpages->text(), "5");
    QCOMPARE(form->mfgsummary->Rows(), 4);
    QCOMPARE(form->mfgsigndetails->TextMatrix(2, agr::col(agr::SignCol::Agency)), "Y");
    QCOMPARE(form->mfgwitnessdetails->TextMatrix(1, agr::col(agr::WitnessCol::Address)), "12 Church Street");
    QCOMPARE(form->lvwPayment->topLevelItemCount(), 2);
    QVERIFY(form->cmdOK->isEnabled());

    // New text, one summary line instead of three, and a blank current row in the contents grid.
    form->txtdesc->setText(QStringLiteral("Lease renewed"));
    form->mfgsummary->setRows(2);
    setRow(form->mfgsummary, 1, {"1", "Only line"});
    form->mfgsummary->setRow(1);
    setRow(form->mfgcontent, 4, {"", ""});
    form->mfgcontent->setRow(4);
    form->cmdOK_Click();
    QVERIFY(!agr::frmAgreementregIfLoaded());

    platform::Recordset rs = m_con->Execute(
        QStringLiteral("select * from agreementregister where agrDepartmentid=1 and agragreementid=1"));
    QCOMPARE(rs["agragreementdesc"].text(), "Lease renewed");
    QCOMPARE(rs["agragreementNo"].text(), "AG/1");
    QCOMPARE(rs["agragreementdate"].Value().toString(), dateBefore);
    QCOMPARE(
        scalar(*m_con, QStringLiteral("select agdDetails from AgreementDetails where agdAgreementid=1 and "
                                      "agdDepartmentid=1"))
            .toString(),
        "Only line");
    QCOMPARE(countRows(*m_con, QStringLiteral("AgreementDetails"), QStringLiteral("agdAgreementid=1")), 2);
    QCOMPARE(countRows(*m_con, QStringLiteral("AgreementContents"), QStringLiteral("agcAgreementid=1")), 0);
    QCOMPARE(
        countRows(*m_con, QStringLiteral("AgreementFinancialDetails"), QStringLiteral("agfAgreementid=1")),
        2);
    QCOMPARE(countRows(*m_con, QStringLiteral("AgreementWitnessDetails"),
                       QStringLiteral("agwAgreementid=1 and agwDepartmentid=1 and agwAgency=1")),
             1);
    FlexGrid *list = agr::frmMaster()->mfgMaster;
    QCOMPARE(list->TextMatrix(list->Row(), agr::col(agr::ListCol::Description)), "Lease renewed");

    // An agreement without vouchers lists no payments; a null agency flag shows as N.
    m_con->Execute(
        QStringLiteral("update AgreementWitnessDetails set agwAgency=null where agwAgreementid=2"));
    form = openForEdit(2);
    QCOMPARE(form->lvwPayment->topLevelItemCount(), 0);
    QCOMPARE(form->mfgwitnessdetails->TextMatrix(1, agr::col(agr::WitnessCol::Agency)), "N");
}

void TestFrmAgreementreg::cancelledOpensReadOnly()
{
    AGR_FETCH_URL();
    if (!openDemo(url))
        return;
    FrmAgreementreg *form = openForEdit(demo::CancelledAgreementId);
    QVERIFY(!form->cmdOK->isEnabled());
    QCOMPARE(form->txtagreementNo->text(), "AG/6");
    QCOMPARE(form->txtdesc->text(), "Lease of godown at Industrial Estate");
    QVERIFY(form->optgodown->isChecked());
    QCOMPARE(form->cboapplicable->currentText(), "Industrial Estate Godown");
    QCOMPARE(form->txtagency->text(), "Patel Warehousing");
    QCOMPARE(form->txtpocemail->text(), "poc6@example.com");

    // Nothing can be saved, so closing after a change asks nothing.
    showActive(form);
    form->txtdesc->setText(QStringLiteral("changed"));
    form->cmdcancel_Click();
    QVERIFY(m_boxes.isEmpty());
    QVERIFY(!agr::frmAgreementregIfLoaded());
}

void TestFrmAgreementreg::keys()
{
    AGR_FETCH_URL();
    if (!openDemo(url))
        return;
    FrmAgreementreg *form = openNew();
    showActive(form);
    const auto enterMoves = [](QWidget *from, QWidget *to) {
        from->setFocus();
        QTRY_COMPARE(QApplication::focusWidget(), from);
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
        QCOMPARE(QApplication::focusWidget(), to);
    };
    QSignalSpy returnPressed(form->txtagreementNo, &QLineEdit::returnPressed);
    enterMoves(form->txtagreementNo, form->txtdate);
    QCOMPARE(returnPressed.count(), 1); // the box still receives its Enter
    enterMoves(form->cbotype, form->txtdesc);
    enterMoves(form->optHq, form->txtapplicable); // the empty combo box is disabled
    enterMoves(form->cmdOK, form->cmdcancel);
    QTest::mouseClick(form->optShop, Qt::LeftButton);
    enterMoves(form->optShop, form->cboapplicable);
    enterMoves(form->cboapplicable, form->txtapplicable);
    enterMoves(form->txtalertremarks, form->dtpsigned); // into the current page, past the tab strip
    enterMoves(form->dtpsigned, form->dtpvalidfrom);

    // Keys typed into an editable combo box's own line edit take the same road.
    form->cbotype->setFocus();
    QTest::keyClicks(form->cbotype->lineEdit(), QStringLiteral("Rent"));
    QTest::keyClick(form->cbotype->lineEdit(), Qt::Key_Return);
    QCOMPARE(form->cbotype->currentText(), "Rent");
    QCOMPARE(form->cbotype->count(), 7);
    QCOMPARE(QApplication::focusWidget(), form->txtdesc);

    form->SSTab1->setCurrentIndex(0);
    form->txtalertnoofdays->setFocus();
    QTest::keyClicks(form->txtalertnoofdays, QStringLiteral("1a2"));
    QCOMPARE(form->txtalertnoofdays->text(), "12");
    form->txtnoofpages->setFocus();
    QTest::keyClicks(form->txtnoofpages, QStringLiteral("1a2"));
    QCOMPARE(form->txtnoofpages->text(), "1a2");
}

void TestFrmAgreementreg::closingQuestion()
{
    AGR_FETCH_URL();
    if (!openDemo(url))
        return;
    // Opened and closed untouched: no question.
    FrmAgreementreg *form = openForEdit(2);
    showActive(form);
    QTest::mouseClick(form->cmdcancel, Qt::LeftButton);
    QVERIFY(m_boxes.isEmpty());
    QVERIFY(!agr::frmAgreementregIfLoaded());

    // A changed grid cell asks; No closes and drops the change.
    form = openForEdit(2);
    showActive(form);
    form->mfgcontent->setTextMatrix(1, agr::col(agr::DetailCol::Text), QStringLiteral("Revised schedule"));
    m_answer = platform::vb::No;
    form->close();
    QCOMPARE(m_boxes.size(), 1);
    QCOMPARE(m_boxes.at(0).prompt, "Do you want to save the changes?");
    QCOMPARE(m_boxes.at(0).buttons, 36);
    QCOMPARE(m_boxes.at(0).title, Caption);
    QVERIFY(!agr::frmAgreementregIfLoaded());
    QCOMPARE(countRows(*m_con, QStringLiteral("AgreementContents"),
                       QStringLiteral("agcContentdesc='Revised schedule'")),
             0);

    // Yes with an entry that does not pass keeps the form open; Yes with a good one saves and closes.
    form = openForEdit(2);
    QPointer<FrmAgreementreg> alive(form);
    showActive(form);
    form->cbotype->setEditText(QString());
    m_boxes.clear();
    m_answer = platform::vb::Yes;
    QTest::keyClick(form, Qt::Key_Escape);
    QCOMPARE(m_boxes.size(), 2);
    QCOMPARE(m_boxes.at(1).prompt, "Enter Type");
    QVERIFY(alive && form->isVisible());
    QCOMPARE(agr::frmAgreementregIfLoaded(), form);
    form->cbotype->setEditText(QStringLiteral("Contract"));
    form->close();
    QVERIFY(!agr::frmAgreementregIfLoaded());
    QCOMPARE(
        countRows(*m_con, QStringLiteral("agreementregister"),
                  QStringLiteral("agragreementid=2 and agrDepartmentid=1 and agragreementtype='Contract'")),
        1);
}

void TestFrmAgreementreg::failedSaveLeavesNoTrace()
{
    AGR_FETCH_URL();
    if (!openDemo(url))
        return;
    FrmAgreementreg *form = openNew();
    QPointer<FrmAgreementreg> alive(form);
    form->cbotype->setEditText(QStringLiteral("Lease"));
    setRow(form->mfgsummary, 1, {"1", "Summary"});
    setRow(form->mfgcontent, 1, {"1", "Deed"});
    form->mfgsummary->setRow(1);
    form->mfgcontent->setRow(1);
    m_con->Execute(QStringLiteral("drop table AgreementContents")); // the last table written

    form->cmdOK_Click();
    QVERIFY(alive);
    QVERIFY(!form->cmdOK->isEnabled());
    QVERIFY(!form->saved);
    QVERIFY(m_boxes.isEmpty());
    QCOMPARE(m_con->transactionLevel(), 1); // left open, as the host's transaction
    QVERIFY(!form->numberLock.isHeld());    // but the next number is free for the other clerks

    platform::Connection other;
    other.Open(m_con->url());
    QCOMPARE(countRows(other, QStringLiteral("agreementregister"), QStringLiteral("agragreementNo='AG/13'")),
             0);
    QCOMPARE(countRows(other, QStringLiteral("AgreementDetails"), QStringLiteral("agdAgreementid=13")), 0);
    QCOMPARE(countRows(other, QStringLiteral("aFaultLog"), QStringLiteral("1=1")), 0);
    other.Close();
}

// The form keeps its widgets between two openings; each opening must find them exactly as a new form has
// them, whatever the last one left behind.
void TestFrmAgreementreg::keptFormOpensAsNew()
{
    AGR_FETCH_URL();
    if (!openDemo(url))
        return;
    agr::discardFrmAgreementreg();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    FrmAgreementreg *form = openNew();
    const QStringList fresh = formState(form);
    // A kept form must look as a new one does, not only hold the same values.
    const QImage freshLook = look(form);
    const auto looksNew = [&](FrmAgreementreg *kept) {
        const QImage keptLook = look(kept);
        QVERIFY2(keptLook == freshLook, qPrintable(difference(keptLook, freshLook)));
    };
    QVERIFY(agr::unloadFrmAgreementreg());
    form = openNew();
    looksNew(form);
    QVERIFY(agr::unloadFrmAgreementreg());

    // A cancelled agreement with payments, a stored one with every detail list, changed on the way.
    for (int id : {6, 1}) {
        form = openForEdit(id);
        showActive(form);
        QTest::mouseClick(form->optgodown, Qt::LeftButton);
        form->SSTab1->setCurrentIndex(3);
        form->mfgsummary->setRow(form->mfgsummary->Rows() - 1);
        // Scrolled down in a visible grid, as a clerk leaves it.
        if (id == 1) {
            form->SSTab1->setCurrentIndex(0);
            form->mfgwitnessdetails->flush();
            form->mfgwitnessdetails->setTopRow(2);
            QCOMPARE(form->mfgwitnessdetails->TopRow(), 2);
        }
        form->mfgsummary->setCellBackColor(platform::vbRed);
        form->txtalertremarks->setFocus();
        QVERIFY(agr::unloadFrmAgreementreg());
        QVERIFY(!agr::frmAgreementregIfLoaded());
    }
    form = openNew();
    QCOMPARE(formState(form), fresh);
    looksNew(form);

    // Kept after a save too, and still as new when opened again, the tenth time as well.
    form->cbotype->setEditText(QStringLiteral("Lease"));
    setRow(form->mfgcontent, 1, {"1", "Deed"});
    form->cmdOK_Click();
    QVERIFY(!agr::frmAgreementregIfLoaded());
    form = openNew();
    QCOMPARE(formState(form), fresh);
    looksNew(form);
    for (int opening = 0; opening < 6; ++opening) {
        QVERIFY(agr::unloadFrmAgreementreg());
        form = openNew();
    }
    QCOMPARE(formState(form), fresh);
    looksNew(form);

    // Prepared while the list was idle (built and styled, never loaded): as new as well.
    QVERIFY(agr::unloadFrmAgreementreg());
    agr::discardFrmAgreementreg();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    agr::prepareFrmAgreementreg();
    QVERIFY(!agr::frmAgreementregIfLoaded());
    form = openNew();
    QCOMPARE(formState(form), fresh);
    looksNew(form);
}

QTEST_MAIN(TestFrmAgreementreg)
#include "tst_frmagreementreg.moc"
