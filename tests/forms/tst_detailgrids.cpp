// The entry form's five detail grids and the popup row editor, on the demo data of SQLite and PostgreSQL,
// driven as a clerk drives them: double clicks, right clicks and menu items, Ctrl+Enter, the popup's
// buttons and access keys. Rows entered through the popup are saved and read back on opening.

#include "data/schema.h"
#include "forms/agreement/frmagreementreg.h"
#include "forms/list/frmmaster.h"
#include "forms/popup/frmpopup.h"
#include "module/basagreementreg.h"
#include "module/modulecontext.h"
#include "platform/database/connection.h"
#include "platform/grid/flexgrid.h"
#include "platform/ui/seams.h"
#include "suite/suite.h"
#include "support/formtest.h"
#include "support/testdb.h"
#include "support/testsupport.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPointer>
#include <QPushButton>
#include <QRadioButton>
#include <QTabWidget>
#include <QTest>
#include <QTimer>

namespace demo = agr::schema::demo;
using agr::FrmAgreementreg;
using agr::Frmpopup;
using agrtest::countRows;
using platform::FlexGrid;

using agrtest::activate;
using agrtest::cellCentre;

namespace {

const QDate &Today = agrtest::DemoToday;
const QString &Caption = agrtest::FormCaption;

void doubleClick(FlexGrid *grid, int row)
{
    QTest::mouseDClick(grid->viewport(), Qt::LeftButton, {}, cellCentre(grid, row, 2));
}

// Right-clicks a row and picks the menu item by its name once the menu is open.
void menuItem(FlexGrid *grid, int row, const char *item)
{
    bool chosen = false;
    auto *poll = new QTimer;
    QObject::connect(poll, &QTimer::timeout, poll, [poll, item, &chosen] {
        auto *menu = qobject_cast<QMenu *>(QApplication::activePopupWidget());
        if (!menu)
            return;
        poll->stop();
        poll->deleteLater();
        const QList<QAction *> actions = menu->actions();
        for (QAction *action : actions) {
            if (action->objectName() == QLatin1String(item)) {
                QTest::mouseClick(menu, Qt::LeftButton, {}, menu->actionGeometry(action).center());
                chosen = true;
                return;
            }
        }
        menu->close();
    });
    poll->start(10);
    QTest::mouseClick(grid->viewport(), Qt::RightButton, {}, cellCentre(grid, row, 2));
    QTRY_VERIFY(chosen);
}

// Opens a grid's menu from the keyboard (the menu key, or Shift+F10) and chooses an item by its access key;
// returns where the menu stood.
QRect menuByKeys(FlexGrid *grid, Qt::Key opener, Qt::KeyboardModifiers modifiers, Qt::Key item)
{
    QRect shownAt;
    auto *poll = new QTimer;
    QObject::connect(poll, &QTimer::timeout, poll, [poll, item, &shownAt] {
        auto *menu = qobject_cast<QMenu *>(QApplication::activePopupWidget());
        if (!menu)
            return;
        poll->stop();
        poll->deleteLater();
        shownAt = menu->geometry();
        QTest::keyClick(menu, item);
    });
    poll->start(10);
    QTest::keyClick(grid, opener, modifiers);
    [&] { QTRY_VERIFY(shownAt.isValid()); }();
    return shownAt;
}

void key(QWidget *target, Qt::Key k, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
{
    QTest::keyClick(target, k, modifiers);
}

// Keys go where the focus is.
QWidget *focused()
{
    return QApplication::focusWidget();
}

QStringList rowCells(FlexGrid *grid, int row)
{
    QStringList cells;
    for (int c = 1; c < grid->Cols(); ++c)
        cells << grid->TextMatrix(row, c);
    return cells;
}

QList<bool> navigation(const Frmpopup *popup)
{
    return {popup->cmdFirst->isEnabled(), popup->cmdPrevious->isEnabled(), popup->cmdNext->isEnabled(),
            popup->cmdLast->isEnabled()};
}

} // namespace

class tst_DetailGrids : public QObject
{
    Q_OBJECT

    std::unique_ptr<platform::Connection> m_con;
    QList<platform::MsgBoxCall> m_boxes;
    int m_answer = platform::vb::OK;
    int m_popups = 0;

    bool openDemo(const QString &url);
    FrmAgreementreg *openNew();
    FrmAgreementreg *openForEdit(int agreementId);
    // The popup as the last double click, Ctrl+Enter or menu item showed it.
    Frmpopup *popup() const { return agr::frmpopupIfLoaded(); }
    void saveAndReopen(FrmAgreementreg *&form, int agreementId);

private Q_SLOTS:
    void initTestCase() { suite::registerInProcess(); }
    void init();
    void cleanup() { agrtest::endFormTest(m_con); }

    void eachGridFilledSavedAndReadBack_data() { agrtest::addBackends(); }
    void eachGridFilledSavedAndReadBack();
    void validationMessages_data() { agrtest::addBackends(); }
    void validationMessages();
    void editWalksRowsAndNavigation_data() { agrtest::addBackends(); }
    void editWalksRowsAndNavigation();
    void deleteKeepsPlaceholderAndRenumbers_data() { agrtest::addBackends(); }
    void deleteKeepsPlaceholderAndRenumbers();
    void cancelMenuAndClosingQuestion_data() { agrtest::addBackends(); }
    void cancelMenuAndClosingQuestion();
    void keyboardOnly_data() { agrtest::addBackends(); }
    void keyboardOnly();
};

void tst_DetailGrids::init()
{
    m_boxes.clear();
    m_answer = platform::vb::OK;
    m_popups = 0;
    platform::setMsgBoxResponder([this](const platform::MsgBoxCall &call) {
        m_boxes << call;
        return m_answer;
    });
    // The entry form and the popup stay open for the test to drive.
    platform::setModalHandler([this](QWidget *window) {
        if (qobject_cast<Frmpopup *>(window))
            ++m_popups;
        QVERIFY(activate(window));
    });
}

bool tst_DetailGrids::openDemo(const QString &url)
{
    m_con = agrtest::openDemo(url);
    if (!m_con)
        return false;
    agr::frmMaster();
    return true;
}

FrmAgreementreg *tst_DetailGrids::openNew()
{
    agr::frmMaster()->cmdnew_Click();
    return agr::frmAgreementregIfLoaded();
}

FrmAgreementreg *tst_DetailGrids::openForEdit(int agreementId)
{
    FlexGrid *list = agr::frmMaster()->mfgMaster;
    for (int row = 1; row < list->Rows(); ++row) {
        if (list->TextMatrix(row, 0) == QString::number(agreementId)) {
            list->setRow(row);
            agr::frmMaster()->CmdEdit_Click();
            return agr::frmAgreementregIfLoaded();
        }
    }
    return nullptr;
}

void tst_DetailGrids::saveAndReopen(FrmAgreementreg *&form, int agreementId)
{
    QPointer<FrmAgreementreg> open(form);
    QTest::mouseClick(form->cmdOK, Qt::LeftButton);
    QTRY_VERIFY(!open || !open->isVisible());
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!agr::frmAgreementregIfLoaded());
    form = openForEdit(agreementId);
    QVERIFY(form);
}

// Each grid filled through the popup (mouse), saved and read back in order after reopening.
void tst_DetailGrids::eachGridFilledSavedAndReadBack()
{
    AGR_FETCH_URL();
    if (!openDemo(url))
        return;
    FrmAgreementreg *form = openNew();
    QVERIFY(form);
    form->cbotype->setEditText(QStringLiteral("Lease"));

    struct Kind
    {
        FlexGrid *grid;
        int page;
        QString caption;
        QString label; // lbladdress for a one-text grid
    };
    const Kind kinds[] = {
        {form->mfgsigndetails, 0, QStringLiteral("Signed Details"), QString()},
        {form->mfgwitnessdetails, 0, QStringLiteral("Witness Details"), QString()},
        {form->mfgcontent, 2, QStringLiteral("Content Details"), QStringLiteral("Content :")},
        {form->mfgsummary, 3, QStringLiteral("Summary Details"), QStringLiteral("Summary :")},
        {form->mfgfinance, 4, QStringLiteral("Finance Details"), QStringLiteral("T.C Details:")},
    };
    for (const Kind &kind : kinds) {
        form->SSTab1->setCurrentIndex(kind.page);
        QVERIFY(activate(form));
        FlexGrid *grid = kind.grid;
        QCOMPARE(grid->Rows(), 2);

        // The placeholder row opens the popup to add, with no row to walk to.
        doubleClick(grid, 1);
        Frmpopup *p = popup();
        QVERIFY(p && p->isVisible());
        QCOMPARE(p->windowTitle(), kind.caption);
        QCOMPARE(agr::bas::detailMode(), "A");
        QCOMPARE(navigation(p), QList<bool>({false, false, false, false}));
        const bool person = kind.label.isEmpty();
        QCOMPARE(p->txtsignedby->isVisible(), person);
        QCOMPARE(p->dtppopupdate->isVisible(), person);
        QCOMPARE(p->chkagency->isVisible(), person);
        QCOMPARE(p->txtaddress->isVisible(), grid != form->mfgsigndetails);
        if (!person)
            QCOMPARE(p->lbladdress->text(), kind.label);
        QCOMPARE(focused(), person ? static_cast<QWidget *>(p->txtsignedby) : p->txtaddress);
        // AGR_TEST_SHOTS=folder keeps a picture of each kind of popup, to look at.
        if (const QString shots = qEnvironmentVariable("AGR_TEST_SHOTS"); !shots.isEmpty()) {
            p->dtppopupdate->setDate(Today);
            p->grab().save(shots + QLatin1Char('/') + p->windowTitle().section(QLatin1Char(' '), 0, 0) +
                           QStringLiteral(".png"));
        }

        // Three rows: the first typed with a date of 05/03/2024, the others on the processing date.
        for (int i = 1; i <= 3; ++i) {
            const QString n = QString::number(i);
            if (person) {
                QTest::keyClicks(p->txtsignedby, QStringLiteral("  Person ") + n + QStringLiteral(" "));
                QTest::keyClicks(p->txtpostion, QStringLiteral("Position ") + n);
                if (i == 1)
                    p->dtppopupdate->setDate(QDate(2024, 3, 5));
                if (i == 2)
                    QTest::mouseClick(p->chkagency, Qt::LeftButton);
            }
            if (grid != form->mfgsigndetails)
                QTest::keyClicks(p->txtaddress, QStringLiteral("Text ") + n);
            QTest::mouseClick(p->cmdOK, Qt::LeftButton);
            QCOMPARE(grid->Rows(), i + 1);
            QVERIFY(p->txtsignedby->text().isEmpty() && p->txtaddress->text().isEmpty());
            QCOMPARE(p->dtppopupdate->date(), Today);
            // The grid's own row does not move, and the popup has its navigation back.
            QCOMPARE(grid->Row(), 1);
            QCOMPARE(navigation(p), QList<bool>({true, true, true, true}));
        }
        QVERIFY(m_boxes.isEmpty());
        for (int row = 1; row <= 3; ++row)
            QCOMPARE(grid->TextMatrix(row, 1), QString::number(row));
        if (grid == form->mfgsigndetails) {
            QCOMPARE(rowCells(grid, 1), QStringList({"1", "Person 1", "Position 1", "05/03/2024", "N"}));
            // The agency box keeps its state from one row to the next.
            QCOMPARE(rowCells(grid, 3), QStringList({"3", "Person 3", "Position 3", "15/11/2026", "Y"}));
        } else if (grid == form->mfgwitnessdetails) {
            QCOMPARE(rowCells(grid, 2),
                     QStringList({"2", "Person 2", "Position 2", "15/11/2026", "Text 2", "Y"}));
        } else {
            QCOMPARE(rowCells(grid, 3), QStringList({"3", "Text 3"}));
        }
        QTest::keyClick(p, Qt::Key_C, Qt::AltModifier);
        QTRY_VERIFY(!agr::frmpopupIfLoaded());
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    QCOMPARE(m_popups, 5);

    saveAndReopen(form, 13);
    if (const QString shots = qEnvironmentVariable("AGR_TEST_SHOTS"); !shots.isEmpty()) {
        QVERIFY(activate(form));
        form->grab().save(shots + QStringLiteral("/EntryForm.png"));
    }
    QCOMPARE(countRows(*m_con, QStringLiteral("AgreementSignedDetails"), QStringLiteral("agsagreementid=13")),
             3);
    QCOMPARE(countRows(*m_con, QStringLiteral("AgreementSignedDetails"),
                       QStringLiteral("agsagreementid=13 and agsAgency=1")),
             2);
    QCOMPARE(rowCells(form->mfgsigndetails, 1),
             QStringList({"1", "Person 1", "Position 1", "05/03/2024", "N"}));
    QCOMPARE(rowCells(form->mfgwitnessdetails, 3),
             QStringList({"3", "Person 3", "Position 3", "15/11/2026", "Text 3", "Y"}));
    for (FlexGrid *grid : {form->mfgcontent, form->mfgsummary, form->mfgfinance}) {
        QCOMPARE(grid->Rows(), 4);
        for (int row = 1; row <= 3; ++row)
            QCOMPARE(rowCells(grid, row),
                     QStringList({QString::number(row), "Text " + QString::number(row)}));
    }

    // An empty grid's first row is taken as it stands: serial number 1 and empty texts, no message.
    QVERIFY(agr::unloadFrmAgreementreg());
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    form = openNew();
    form->SSTab1->setCurrentIndex(3);
    QVERIFY(activate(form));
    doubleClick(form->mfgsummary, 1);
    QTest::mouseClick(popup()->cmdOK, Qt::LeftButton);
    QCOMPARE(rowCells(form->mfgsummary, 1), QStringList({"1", ""}));
    QCOMPARE(form->mfgsummary->Rows(), 2);
    QVERIFY(m_boxes.isEmpty());
}

// The five messages: each stops the row, appends nothing and puts the focus on the empty field.
void tst_DetailGrids::validationMessages()
{
    AGR_FETCH_URL();
    if (!openDemo(url))
        return;
    FrmAgreementreg *form = openForEdit(2); // one row in each detail table
    QVERIFY(form);
    QVERIFY(activate(form));

    struct Case
    {
        FlexGrid *grid;
        int page;
        QString message;
    };
    const Case cases[] = {
        {form->mfgsigndetails, 0, QStringLiteral("Enter Signed By")},
        {form->mfgwitnessdetails, 0, QStringLiteral("Enter Signed By")},
        {form->mfgcontent, 2, QStringLiteral("Enter Content")},
        {form->mfgsummary, 3, QStringLiteral("Enter Summary")},
        {form->mfgfinance, 4, QStringLiteral("Enter Finance")},
    };
    for (const Case &c : cases) {
        form->SSTab1->setCurrentIndex(c.page);
        QVERIFY(activate(form));
        QCOMPARE(c.grid->Rows(), 2);
        menuItem(c.grid, 1, c.grid == form->mfgwitnessdetails ? "mnusAdd" : "mnuadd");
        Frmpopup *p = popup();
        QVERIFY(p && p->isVisible());
        QCOMPARE(agr::bas::detailMode(), "A");
        m_boxes.clear();
        QTest::mouseClick(p->cmdOK, Qt::LeftButton);
        QCOMPARE(m_boxes.size(), 1);
        QCOMPARE(m_boxes.at(0).prompt, c.message);
        QCOMPARE(m_boxes.at(0).title, Caption);
        QCOMPARE(m_boxes.at(0).buttons, platform::vb::OKOnly | platform::vb::Information);
        QCOMPARE(c.grid->Rows(), 2);
        if (c.message == QLatin1String("Enter Signed By")) {
            QCOMPARE(focused(), p->txtsignedby);
            QTest::keyClicks(p->txtsignedby, QStringLiteral("Someone"));
            m_boxes.clear();
            QTest::mouseClick(p->cmdOK, Qt::LeftButton);
            QCOMPARE(m_boxes.size(), 1);
            QCOMPARE(m_boxes.at(0).prompt, "Enter Postion");
            QCOMPARE(focused(), p->txtpostion);
            QCOMPARE(c.grid->Rows(), 2);
        } else {
            QCOMPARE(focused(), p->txtaddress);
        }
        p->Cmdclose_Click();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
}

// Edit mode walks forward row by row and closes after the last row, which is taken even when empty; the
// navigation buttons follow the grid's two tests.
void tst_DetailGrids::editWalksRowsAndNavigation()
{
    AGR_FETCH_URL();
    if (!openDemo(url))
        return;
    FrmAgreementreg *form = openForEdit(5); // five summary rows
    QVERIFY(form);
    form->SSTab1->setCurrentIndex(3);
    QVERIFY(activate(form));
    FlexGrid *grid = form->mfgsummary;
    QCOMPARE(grid->Rows(), 6);
    const QString third = grid->TextMatrix(3, 2);

    // Row 1 by the mouse: the first-row test disables First and Previous; row 2 leaves them so.
    QTest::mouseClick(grid->viewport(), Qt::LeftButton, {}, cellCentre(grid, 1, 2));
    doubleClick(grid, 1);
    Frmpopup *p = popup();
    QVERIFY(p && p->isVisible());
    QCOMPARE(agr::bas::detailMode(), "E");
    QCOMPARE(p->txtaddress->text(), grid->TextMatrix(1, 2));
    QCOMPARE(navigation(p), QList<bool>({false, false, true, true}));
    QTest::mouseClick(p->cmdPrevious, Qt::LeftButton); // disabled: nothing happens
    QCOMPARE(grid->Row(), 1);

    p->txtaddress->setText(QStringLiteral("  Changed first  "));
    QTest::keyClick(p, Qt::Key_O, Qt::AltModifier); // clicks after the button's press animation
    QTRY_COMPARE(grid->TextMatrix(1, 2), "Changed first");
    QCOMPARE(grid->TextMatrix(1, 1), "1");
    QCOMPARE(grid->Row(), 2);
    QCOMPARE(grid->ColSel(), grid->Cols() - 1);
    QCOMPARE(p->txtaddress->text(), grid->TextMatrix(2, 2));
    QCOMPARE(navigation(p), QList<bool>({true, true, true, true})); // re-enabled by OK's last step
    p->cmdFirst->setEnabled(false);
    p->cmdPrevious->setEnabled(false);
    p->cmdNext_Click();
    QCOMPARE(grid->Row(), 3);
    QCOMPARE(navigation(p), QList<bool>({false, false, true, true})); // a middle row keeps them
    QCOMPARE(p->txtaddress->text(), third);

    // Typed and not accepted is dropped by a move.
    p->txtaddress->setText(QStringLiteral("lost"));
    QTest::mouseClick(p->cmdLast, Qt::LeftButton);
    QCOMPARE(grid->Row(), 5);
    QCOMPARE(navigation(p), QList<bool>({true, true, false, false}));
    QTest::mouseClick(p->cmdNext, Qt::LeftButton); // disabled on the last row
    QCOMPARE(grid->Row(), 5);
    p->cmdNext_Click(); // and the procedure itself does not move past the last row
    QCOMPARE(grid->Row(), 5);
    p->cmdPrevious_Click();
    QCOMPARE(grid->Row(), 4);
    QCOMPARE(grid->TextMatrix(3, 2), third);
    p->cmdFirst_Click();
    QCOMPARE(grid->Row(), 1);
    QCOMPARE(p->txtaddress->text(), "Changed first");

    // A row in the middle with an empty text is stopped; the last row is taken empty and the popup goes.
    p->cmdLast_Click();
    p->cmdPrevious_Click();
    p->txtaddress->setText(QString());
    QTest::mouseClick(p->cmdOK, Qt::LeftButton);
    QCOMPARE(m_boxes.size(), 1);
    QCOMPARE(m_boxes.at(0).prompt, "Enter Summary");
    QCOMPARE(grid->Row(), 4);
    p->cmdNext_Click();
    p->txtaddress->setText(QString());
    QPointer<Frmpopup> open(p);
    QTest::mouseClick(p->cmdOK, Qt::LeftButton);
    QCOMPARE(m_boxes.size(), 1);
    QCOMPARE(grid->TextMatrix(5, 2), "");
    QCOMPARE(grid->TextMatrix(5, 1), "5");
    QVERIFY(!agr::frmpopupIfLoaded());
    QTRY_VERIFY(!open);
    // OK's last step must not bring the popup back.
    QCoreApplication::processEvents();
    QVERIFY(!agr::frmpopupIfLoaded());
    QCOMPARE(m_popups, 1);

    // A grid of one row: both tests pass and the second wins.
    FlexGrid *sign = form->mfgsigndetails;
    QCOMPARE(sign->Rows(), 2);
    const QStringList stored = {"1", "Anil", "Manager", "05/03/2024", "Y"};
    for (int c = 0; c < stored.size(); ++c)
        sign->setTextMatrix(1, c + 1, stored.at(c));
    form->SSTab1->setCurrentIndex(0);
    QVERIFY(activate(form));
    QTest::mouseClick(sign->viewport(), Qt::LeftButton, {}, cellCentre(sign, 1, 3));
    QCOMPARE(navigation(agr::frmpopup()), QList<bool>({false, false, true, true}));
    // Its row opens as it was stored, the date read into the date box.
    doubleClick(sign, 1);
    QCOMPARE(agr::bas::detailMode(), "E");
    QCOMPARE(popup()->txtsignedby->text(), sign->TextMatrix(1, 2));
    QCOMPARE(popup()->dtppopupdate->date().toString(QStringLiteral("dd/MM/yyyy")), sign->TextMatrix(1, 4));
    QCOMPARE(popup()->chkagency->isChecked(), sign->TextMatrix(1, 5) == QLatin1String("Y"));
}

void tst_DetailGrids::deleteKeepsPlaceholderAndRenumbers()
{
    AGR_FETCH_URL();
    if (!openDemo(url))
        return;
    FrmAgreementreg *form = openNew();
    QVERIFY(activate(form));
    FlexGrid *grid = form->mfgsigndetails;
    const auto fill = [](FlexGrid *g, int rows) {
        g->setRows(rows + 1);
        for (int r = 1; r <= rows; ++r) {
            g->setTextMatrix(r, 1, QString::number(r));
            g->setTextMatrix(r, 2, QStringLiteral("Name %1").arg(r));
        }
    };

    // The only row is blanked: the placeholder remains.
    fill(grid, 1);
    menuItem(grid, 1, "mnudelete");
    QCOMPARE(grid->Rows(), 2);
    QCOMPARE(rowCells(grid, 1), QStringList({"", "", "", "", ""}));
    // Deleting the blank placeholder changes nothing.
    menuItem(grid, 1, "mnudelete");
    QCOMPARE(grid->Rows(), 2);

    // The second of four: the rest renumbered 1, 2, 3.
    fill(grid, 4);
    menuItem(grid, 2, "mnudelete");
    QCOMPARE(grid->Rows(), 4);
    QCOMPARE(rowCells(grid, 2).mid(0, 2), QStringList({"2", "Name 3"}));
    QCOMPARE(rowCells(grid, 3).mid(0, 2), QStringList({"3", "Name 4"}));

    // The first of two: the one row left keeps its number 2.
    FlexGrid *witness = form->mfgwitnessdetails;
    fill(witness, 2);
    menuItem(witness, 1, "mnusdelete");
    QCOMPARE(witness->Rows(), 2);
    QCOMPARE(rowCells(witness, 1).mid(0, 2), QStringList({"2", "Name 2"}));

    // The menu works on the page's grid: the contents page.
    form->SSTab1->setCurrentIndex(2);
    QVERIFY(activate(form));
    fill(form->mfgcontent, 3);
    menuItem(form->mfgcontent, 3, "mnudelete");
    QCOMPARE(form->mfgcontent->Rows(), 3);
    QVERIFY(m_boxes.isEmpty());
    QCOMPARE(m_popups, 0);
}

// mnucancel empties the entry mode: the next save stores no new agreement. A change made only in a grid
// counts as a change when closing.
void tst_DetailGrids::cancelMenuAndClosingQuestion()
{
    AGR_FETCH_URL();
    if (!openDemo(url))
        return;
    const int before = countRows(*m_con, QStringLiteral("agreementregister"), QStringLiteral("1=1"));
    FrmAgreementreg *form = openNew();
    QVERIFY(activate(form));
    form->cbotype->setEditText(QStringLiteral("Lease"));
    FlexGrid *grid = form->mfgsigndetails;
    menuItem(grid, 1, "mnucancel");
    QCOMPARE(agr::bas::entryMode(), "");
    QCOMPARE(rowCells(grid, 1), QStringList({"", "", "", "", ""}));
    QCOMPARE(m_popups, 0);
    QTest::mouseClick(form->cmdOK, Qt::LeftButton);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCOMPARE(countRows(*m_con, QStringLiteral("agreementregister"), QStringLiteral("1=1")), before);
    QCOMPARE(countRows(*m_con, QStringLiteral("agreementregister"), QStringLiteral("agragreementNo='AG/13'")),
             0);

    // A stored agreement opened and closed untouched asks nothing; one row added through the popup asks.
    form = openForEdit(3);
    QVERIFY(form);
    QVERIFY(activate(form));
    m_boxes.clear();
    form->cmdcancel_Click();
    QVERIFY(m_boxes.isEmpty());
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);

    form = openForEdit(3);
    QVERIFY(activate(form));
    form->SSTab1->setCurrentIndex(4);
    QVERIFY(activate(form));
    doubleClick(form->mfgfinance, 1);
    QTest::keyClicks(popup()->txtaddress, QStringLiteral("Paid in advance"));
    QTest::mouseClick(popup()->cmdOK, Qt::LeftButton);
    QTest::mouseClick(popup()->Cmdclose, Qt::LeftButton);
    QVERIFY(activate(form));
    m_answer = platform::vb::No;
    form->cmdcancel_Click();
    QCOMPARE(m_boxes.size(), 1);
    QCOMPARE(m_boxes.at(0).prompt, "Do you want to save the changes?");
    QVERIFY(!agr::frmAgreementregIfLoaded());
}

// Ctrl+Enter opens the popup, Enter alone does nothing in a grid; the popup's fields take Enter as Tab and
// its buttons answer to their access keys.
void tst_DetailGrids::keyboardOnly()
{
    AGR_FETCH_URL();
    if (!openDemo(url))
        return;
    FrmAgreementreg *form = openNew();
    QVERIFY(activate(form));

    // Tab into an option group lands on the chosen option; the group is one stop.
    form->txtrefno->setFocus();
    key(focused(), Qt::Key_Tab);
    QCOMPARE(focused(), form->optHq);
    key(focused(), Qt::Key_Tab);
    QCOMPARE(focused(), form->txtapplicable);
    key(form->optShop, Qt::Key_P, Qt::AltModifier);
    QTRY_VERIFY(form->optShop->isChecked());
    form->txtrefno->setFocus();
    key(focused(), Qt::Key_Tab);
    QCOMPARE(focused(), form->optShop);

    FlexGrid *grid = form->mfgwitnessdetails;
    grid->setFocus();
    QCOMPARE(focused(), grid);
    key(grid, Qt::Key_Return);
    QCOMPARE(m_popups, 0);
    key(grid, Qt::Key_Return, Qt::ControlModifier);
    QCOMPARE(m_popups, 1);
    Frmpopup *p = popup();
    QCOMPARE(p->windowTitle(), "Witness Details");
    QCOMPARE(focused(), p->txtsignedby);
    QTest::keyClicks(focused(), QStringLiteral("Ravi"));
    key(focused(), Qt::Key_Return);
    QCOMPARE(focused(), p->dtppopupdate);
    key(focused(), Qt::Key_Tab);
    QCOMPARE(focused(), p->txtpostion);
    QTest::keyClicks(focused(), QStringLiteral("Clerk"));
    key(focused(), Qt::Key_Return);
    QCOMPARE(focused(), p->chkagency);
    key(focused(), Qt::Key_Space);
    QVERIFY(p->chkagency->isChecked());
    key(focused(), Qt::Key_Return);
    QCOMPARE(focused(), p->txtaddress);
    QTest::keyClicks(focused(), QStringLiteral("12 Hill Road"));
    key(focused(), Qt::Key_Return); // no line break in the address
    QCOMPARE(p->txtaddress->text(), "12 Hill Road");
    key(p, Qt::Key_O, Qt::AltModifier);
    QTRY_COMPARE(rowCells(grid, 1), QStringList({"1", "Ravi", "Clerk", "15/11/2026", "12 Hill Road", "Y"}));
    key(p, Qt::Key_C, Qt::AltModifier);
    QTRY_VERIFY(!agr::frmpopupIfLoaded());

    // Ctrl+Enter on a stored row edits it; Escape closes the popup without writing.
    QVERIFY(activate(form));
    grid->setFocus();
    key(grid, Qt::Key_Return, Qt::ControlModifier);
    QCOMPARE(agr::bas::detailMode(), "E");
    QCOMPARE(popup()->txtsignedby->text(), "Ravi");
    popup()->txtsignedby->setText(QStringLiteral("Not kept"));
    key(popup(), Qt::Key_Escape);
    QTRY_VERIFY(!agr::frmpopupIfLoaded());
    QCOMPARE(grid->TextMatrix(1, 2), "Ravi");

    // The grid's menu from the keyboard, under the current cell: Add by the menu key, then the first of two
    // rows deleted with Shift+F10; Escape closes the menu and changes nothing.
    QVERIFY(activate(form));
    grid->setFocus();
    const QRect cell(grid->viewport()->mapToGlobal(grid->visualRect(grid->model()->index(0, 1)).topLeft()),
                     grid->visualRect(grid->model()->index(0, 1)).size());
    const QRect menu = menuByKeys(grid, Qt::Key_Menu, Qt::NoModifier, Qt::Key_A);
    QVERIFY(menu.adjusted(-2, -2, 2, 2).intersects(cell));
    QTRY_VERIFY(popup() && popup()->isVisible());
    QCOMPARE(popup()->windowTitle(), "Witness Details");
    QCOMPARE(agr::bas::detailMode(), "A");
    QTest::keyClicks(focused(), QStringLiteral("Mala"));
    key(focused(), Qt::Key_Return);
    key(focused(), Qt::Key_Tab);
    QTest::keyClicks(focused(), QStringLiteral("Notary"));
    key(popup(), Qt::Key_O, Qt::AltModifier);
    QTRY_COMPARE(grid->Rows(), 3);
    key(popup(), Qt::Key_Escape);
    QTRY_VERIFY(!agr::frmpopupIfLoaded());
    QVERIFY(activate(form));
    grid->setFocus();
    grid->setRow(1);
    menuByKeys(grid, Qt::Key_F10, Qt::ShiftModifier, Qt::Key_Escape);
    QCOMPARE(grid->Rows(), 3);
    menuByKeys(grid, Qt::Key_F10, Qt::ShiftModifier, Qt::Key_D);
    QCOMPARE(grid->Rows(), 2);
    QCOMPARE(rowCells(grid, 1), QStringList({"2", "Mala", "Notary", "15/11/2026", "", "N"}));
}

QTEST_MAIN(tst_DetailGrids)
#include "tst_detailgrids.moc"
