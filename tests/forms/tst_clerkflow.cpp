// What a clerk does with the register, on the demo data of SQLite and PostgreSQL: opens a new agreement
// from the list, fills it in, saves it, finds it at the bottom of the list, opens it again and changes it;
// once by keyboard alone, once by mouse, and once with the mistakes a clerk makes on the way. Everything
// goes through key and mouse events on the real widgets; the entry form is driven while it is "modal".

#include "data/schema.h"
#include "forms/agreement/frmagreementreg.h"
#include "forms/list/frmmaster.h"
#include "module/modulecontext.h"
#include "platform/database/connection.h"
#include "platform/grid/flexgrid.h"
#include "platform/ui/seams.h"
#include "suite/suite.h"
#include "support/formtest.h"
#include "support/testdb.h"
#include "support/testsupport.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QComboBox>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QRadioButton>
#include <QStyle>
#include <QStyleOptionComboBox>
#include <QTest>
#include <functional>

namespace demo = agr::schema::demo;
using agr::col;
using agr::FrmAgreementreg;
using agr::FrmMaster;
using agr::ListCol;
using platform::FlexGrid;

using agrtest::activate;
using agrtest::cellCentre;

namespace {

const QDate &Today = agrtest::DemoToday;
const QString &Caption = agrtest::FormCaption;

// Keys go where the focus is, as they do for the clerk.
QWidget *focused()
{
    return QApplication::focusWidget();
}

void press(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
{
    QWidget *target = focused();
    QVERIFY2(target, "no widget has the focus");
    QTest::keyClick(target, key, modifiers);
}

void type(const QString &text)
{
    QWidget *target = focused();
    QVERIFY2(target, "no widget has the focus");
    QTest::keyClicks(target, text);
}

// Alt+K clicks OK (a unique access key clicks its button after a short press animation); the save then
// unloads the form.
void saveWithAccessKey(FrmAgreementreg *form)
{
    QPointer<FrmAgreementreg> open(form);
    press(Qt::Key_K, Qt::AltModifier);
    QTRY_VERIFY(!open || !open->isVisible());
}

// Opens a combo box's list with the mouse and clicks the item.
void clickItem(QComboBox *combo, const QString &text)
{
    const int item = combo->findText(text);
    QVERIFY2(item >= 0, qPrintable(text));
    // The arrow opens the list; on an editable box the rest of it is for typing.
    QStyleOptionComboBox option;
    option.initFrom(combo);
    option.editable = combo->isEditable();
    const QRect arrow =
        combo->style()->subControlRect(QStyle::CC_ComboBox, &option, QStyle::SC_ComboBoxArrow, combo);
    QTest::mouseClick(combo, Qt::LeftButton, {}, arrow.center());
    QAbstractItemView *view = combo->view();
    QTRY_VERIFY(view->isVisible());
    const QModelIndex index = view->model()->index(item, combo->modelColumn(), view->rootIndex());
    view->scrollTo(index);
    const QRect rect = view->visualRect(index);
    // The mouse travels across the item before it clicks: until it has moved, a release only ends the
    // click that opened the list.
    QTest::mouseMove(view->viewport(), rect.topLeft() + QPoint(2, 2));
    QTest::mouseMove(view->viewport(), rect.center());
    QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, rect.center());
    QTRY_VERIFY(!view->isVisible());
}

// The header record of the department's agreement with this number.
platform::Recordset storedAgreement(platform::Connection &con, const QString &number)
{
    return con.Execute(QStringLiteral("select * from agreementregister where agrDepartmentid=1 and "
                                      "agragreementNo='") +
                       number + QLatin1Char('\''));
}

} // namespace

class tst_ClerkFlow : public QObject
{
    Q_OBJECT

    std::unique_ptr<platform::Connection> m_con;
    QList<platform::MsgBoxCall> m_boxes;
    // What the clerk does while the entry form is open; set before each opening.
    std::function<void(FrmAgreementreg *)> m_clerk;
    int m_openings = 0;

    bool openList(const QString &url);
    FrmMaster *list() const { return agr::frmMaster(); }
    // The list as the clerk sees it after the entry form went away.
    void backToList();
    QString listCell(int row, ListCol column) const
    {
        return list()->mfgMaster->TextMatrix(row, col(column));
    }

private Q_SLOTS:
    void initTestCase() { suite::registerInProcess(); }
    void init();
    void cleanup();

    void keyboardOnly_data() { agrtest::addBackends(); }
    void keyboardOnly();
    void mouseOnly_data() { agrtest::addBackends(); }
    void mouseOnly();
    void mistakesCorrected_data() { agrtest::addBackends(); }
    void mistakesCorrected();
};

void tst_ClerkFlow::init()
{
    m_boxes.clear();
    m_clerk = {};
    m_openings = 0;
    platform::setMsgBoxResponder([this](const platform::MsgBoxCall &call) {
        m_boxes << call;
        return platform::vb::OK;
    });
    platform::setModalHandler([this](QWidget *window) {
        auto *form = qobject_cast<FrmAgreementreg *>(window);
        QVERIFY(form);
        ++m_openings;
        QVERIFY(activate(form));
        if (m_clerk)
            m_clerk(form);
    });
}

void tst_ClerkFlow::cleanup()
{
    agrtest::endFormTest(m_con);
}

bool tst_ClerkFlow::openList(const QString &url)
{
    m_con = agrtest::openDemo(url);
    if (!m_con)
        return false;
    const bool active = activate(agr::frmMaster());
    if (!active)
        QTest::qFail("the list did not become active", __FILE__, __LINE__);
    return active;
}

void tst_ClerkFlow::backToList()
{
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!agr::frmAgreementregIfLoaded());
    QVERIFY(activate(list()));
}

void tst_ClerkFlow::keyboardOnly()
{
    AGR_FETCH_URL();
    if (!openList(url))
        return;
    FlexGrid *grid = list()->mfgMaster;
    const int rowsBefore = grid->Rows();

    m_clerk = [this](FrmAgreementreg *form) {
        // Enter walks the header from the number on.
        QCOMPARE(focused(), form->txtagreementNo);
        press(Qt::Key_Return);
        QCOMPARE(focused(), form->txtdate);
        press(Qt::Key_Return);
        QCOMPARE(focused(), form->cbotype);
        type(QStringLiteral("Franchise"));
        press(Qt::Key_Return);
        QCOMPARE(focused(), form->txtdesc);
        type(QStringLiteral("Franchise of the station shop"));
        press(Qt::Key_Return);
        QCOMPARE(focused(), form->txtrefno);
        type(QStringLiteral("REF-77"));

        press(Qt::Key_P, Qt::AltModifier);
        QTRY_VERIFY(form->optShop->isChecked());
        press(Qt::Key_Return);
        QCOMPARE(focused(), form->cboapplicable);
        press(Qt::Key_Down);
        press(Qt::Key_Down);
        QCOMPARE(form->txtapplicable->text(), "Station Road Shop");
        press(Qt::Key_Return);
        QCOMPARE(focused(), form->txtapplicable);

        // C is shared with Close: the key only moves the focus to Customer, and Space chooses it.
        press(Qt::Key_C, Qt::AltModifier);
        QCOMPARE(focused(), form->optcustomer);
        press(Qt::Key_Space);
        QVERIFY(form->optcustomer->isChecked());
        press(Qt::Key_Return);
        QCOMPARE(focused(), form->cboagency);
        press(Qt::Key_Down);
        press(Qt::Key_Down);
        QCOMPARE(form->txtagency->text(), "Bharat Wholesale");
        press(Qt::Key_Return);
        press(Qt::Key_Return);
        QCOMPARE(focused(), form->txtalertnoofdays);
        type(QStringLiteral("4x5"));
        QCOMPARE(form->txtalertnoofdays->text(), "45");

        saveWithAccessKey(form);
    };
    press(Qt::Key_Return, Qt::ControlModifier);
    QCOMPARE(m_openings, 1);
    QVERIFY(m_boxes.isEmpty());
    backToList();

    // The new agreement is the last row, numbered after the demo's twelve, and selected whole.
    QCOMPARE(grid->Rows(), rowsBefore + 1);
    const int row = grid->Rows() - 1;
    QCOMPARE(listCell(row, ListCol::Number), "AG/13");
    QCOMPARE(listCell(row, ListCol::Description), "Franchise of the station shop");
    QCOMPARE(listCell(row, ListCol::Type), "Franchise");
    QCOMPARE(grid->Row(), row);
    QCOMPARE(grid->RowSel(), row);
    QCOMPARE(grid->ColSel(), grid->Cols() - 1);

    m_clerk = [this](FrmAgreementreg *form) {
        QCOMPARE(form->txtagreementNo->text(), "AG/13");
        QCOMPARE(form->cbotype->currentText(), "Franchise");
        QCOMPARE(form->txtdesc->text(), "Franchise of the station shop");
        QCOMPARE(form->txtrefno->text(), "REF-77");
        QVERIFY(form->optShop->isChecked());
        QCOMPARE(form->cboapplicable->currentText(), "Station Road Shop");
        QCOMPARE(form->txtapplicable->text(), "Station Road Shop");
        QVERIFY(form->optcustomer->isChecked());
        QCOMPARE(form->cboagency->currentText(), "Bharat Wholesale");
        QCOMPARE(form->txtagency->text(), "Bharat Wholesale");
        QCOMPARE(form->txtalertnoofdays->text(), "45");

        press(Qt::Key_E, Qt::AltModifier);
        QCOMPARE(focused(), form->txtdesc);
        press(Qt::Key_A, Qt::ControlModifier);
        type(QStringLiteral("Franchise renewed"));
        saveWithAccessKey(form);
    };
    press(Qt::Key_D, Qt::ControlModifier);
    QCOMPARE(focused(), grid);
    press(Qt::Key_Return);
    QCOMPARE(m_openings, 2);
    QVERIFY(m_boxes.isEmpty());
    backToList();

    QCOMPARE(grid->Rows(), rowsBefore + 1);
    QCOMPARE(grid->Row(), row);
    QCOMPARE(listCell(row, ListCol::Number), "AG/13");
    QCOMPARE(listCell(row, ListCol::Description), "Franchise renewed");

    platform::Recordset rs = storedAgreement(*m_con, QStringLiteral("AG/13"));
    QVERIFY(!rs.isEOF());
    QCOMPARE(rs.RecordCount(), 1);
    QCOMPARE(rs["agragreementid"].toLong(), 13);
    QCOMPARE(rs["agragreementdesc"].text(), "Franchise renewed");
    QCOMPARE(rs["agragreementtype"].text(), "Franchise");
    QCOMPARE(rs["agrReferenceNo"].text(), "REF-77");
    QCOMPARE(rs["agrapplicableshopid"].toLong(), 2);
    QVERIFY(rs["agrapplicablegodownid"].isNull());
    QCOMPARE(rs["agrapplicableTo"].text(), "Station Road Shop");
    QCOMPARE(rs["agrwithCustomerid"].toLong(), 2);
    QCOMPARE(rs["agragreementwith"].text(), "Bharat Wholesale");
    QCOMPARE(rs["alertnoofdays"].toDouble(), 45.0);
    QCOMPARE(rs["agragreementdate"].toDate(), Today);
}

void tst_ClerkFlow::mouseOnly()
{
    AGR_FETCH_URL();
    if (!openList(url))
        return;
    FlexGrid *grid = list()->mfgMaster;
    const int rowsBefore = grid->Rows();

    m_clerk = [](FrmAgreementreg *form) {
        clickItem(form->cbotype, QStringLiteral("Lease"));
        QCOMPARE(form->cbotype->currentText(), "Lease");
        QTest::mouseClick(form->txtdesc, Qt::LeftButton);
        type(QStringLiteral("Godown lease"));
        QTest::mouseClick(form->optgodown, Qt::LeftButton);
        clickItem(form->cboapplicable, QStringLiteral("Central Godown"));
        QCOMPARE(form->txtapplicable->text(), "Central Godown");
        QTest::mouseClick(form->optcustomer, Qt::LeftButton);
        clickItem(form->cboagency, QStringLiteral("Coastal Traders"));
        QCOMPARE(form->txtagency->text(), "Coastal Traders");
        QTest::mouseClick(form->cmdOK, Qt::LeftButton);
    };
    QTest::mouseClick(list()->cmdnew, Qt::LeftButton);
    QCOMPARE(m_openings, 1);
    QVERIFY(m_boxes.isEmpty());
    backToList();
    QCOMPARE(grid->Rows(), rowsBefore + 1);
    const int row = grid->Rows() - 1;
    QCOMPARE(listCell(row, ListCol::Number), "AG/13");
    QCOMPARE(grid->Row(), row);

    // Another row first, so that the double click is what picks the agreement.
    QTest::mouseClick(grid->viewport(), Qt::LeftButton, {}, cellCentre(grid, 2, col(ListCol::Number)));
    QCOMPARE(grid->Row(), 2);
    m_clerk = [](FrmAgreementreg *form) {
        QCOMPARE(form->txtagreementNo->text(), "AG/13");
        QCOMPARE(form->cbotype->currentText(), "Lease");
        QCOMPARE(form->txtdesc->text(), "Godown lease");
        QVERIFY(form->optgodown->isChecked());
        QCOMPARE(form->cboapplicable->currentText(), "Central Godown");
        QVERIFY(form->optcustomer->isChecked());
        QCOMPARE(form->cboagency->currentText(), "Coastal Traders");

        // The party changes to a supplier; the description is replaced.
        QTest::mouseClick(form->txtdesc, Qt::LeftButton);
        press(Qt::Key_A, Qt::ControlModifier);
        type(QStringLiteral("Godown lease, supplier side"));
        QTest::mouseClick(form->optsupplier, Qt::LeftButton);
        clickItem(form->cboagency, QStringLiteral("Swift Logistics"));
        QTest::mouseClick(form->cmdOK, Qt::LeftButton);
    };
    QTest::mouseDClick(grid->viewport(), Qt::LeftButton, {},
                       cellCentre(grid, row, col(ListCol::Description)));
    QCOMPARE(m_openings, 2);
    QVERIFY(m_boxes.isEmpty());
    backToList();
    QCOMPARE(grid->Rows(), rowsBefore + 1);
    QCOMPARE(listCell(row, ListCol::Number), "AG/13");
    QCOMPARE(listCell(row, ListCol::Description), "Godown lease, supplier side");
    QCOMPARE(listCell(2, ListCol::Number), "AG/2"); // the row clicked first is untouched

    platform::Recordset rs = storedAgreement(*m_con, QStringLiteral("AG/13"));
    QCOMPARE(rs.RecordCount(), 1);
    QCOMPARE(rs["agragreementdesc"].text(), "Godown lease, supplier side");
    QVERIFY(rs["agrapplicableshopid"].isNull());
    QCOMPARE(rs["agrapplicablegodownid"].toLong(), 1);
    QVERIFY(rs["agrwithCustomerid"].isNull());
    QCOMPARE(rs["agragreementwith"].text(), "Swift Logistics");
}

void tst_ClerkFlow::mistakesCorrected()
{
    AGR_FETCH_URL();
    if (!openList(url))
        return;
    const int stored = agrtest::countRows(*m_con, QStringLiteral("agreementregister"));

    m_clerk = [this, stored](FrmAgreementreg *form) {
        QPointer<FrmAgreementreg> alive(form);
        // OK before anything is typed.
        QTest::mouseClick(form->cmdOK, Qt::LeftButton);
        QCOMPARE(m_boxes.size(), 1);
        QCOMPARE(m_boxes.at(0).prompt, "Enter Type");
        QCOMPARE(m_boxes.at(0).title, Caption);
        QVERIFY(alive && form->isVisible());
        QCOMPARE(focused(), form->cbotype);
        QVERIFY(form->cmdOK->isEnabled());

        // A type and the Shop option, but no shop picked.
        type(QStringLiteral("Lease"));
        press(Qt::Key_P, Qt::AltModifier);
        QTRY_VERIFY(form->optShop->isChecked());
        QTest::mouseClick(form->cmdOK, Qt::LeftButton);
        QCOMPARE(m_boxes.size(), 2);
        QCOMPARE(m_boxes.at(1).prompt, "Select Shop");
        QVERIFY(alive && form->isVisible());
        QVERIFY(form->cmdOK->isEnabled());
        QCOMPARE(focused(), form->cboapplicable);
        QCOMPARE(agrtest::countRows(*m_con, QStringLiteral("agreementregister")), stored);

        // The shop picked where the focus was put; now it saves.
        press(Qt::Key_Down);
        QCOMPARE(form->txtapplicable->text(), "Market Road Shop");
        QTest::mouseClick(form->cmdOK, Qt::LeftButton);
        QCOMPARE(m_boxes.size(), 2);
    };
    QTest::mouseClick(list()->cmdnew, Qt::LeftButton);
    QCOMPARE(m_openings, 1);
    backToList();
    QCOMPARE(agrtest::countRows(*m_con, QStringLiteral("agreementregister")), stored + 1);
    platform::Recordset rs = storedAgreement(*m_con, QStringLiteral("AG/13"));
    QCOMPARE(rs.RecordCount(), 1);
    // The save stopped by "Select Shop" had drawn id 13, which is never handed out again; the number is
    // read as the highest stored, so AG/13 is still free.
    QCOMPARE(rs["agragreementid"].toLong(), 14);
    QCOMPARE(rs["agragreementtype"].text(), "Lease");
    QCOMPARE(rs["agrapplicableshopid"].toLong(), 1);
    FlexGrid *grid = list()->mfgMaster;
    QCOMPARE(listCell(grid->Rows() - 1, ListCol::Number), "AG/13");
}

QTEST_MAIN(tst_ClerkFlow)
#include "tst_clerkflow.moc"
