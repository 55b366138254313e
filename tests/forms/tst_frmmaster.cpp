// The agreement list: loading by department and back period, rights, colours, search and sort, cancelling,
// and the form's keys, on each backend, driven through key and mouse events.

#include "data/schema.h"
#include "forms/agreement/frmagreementreg.h"
#include "forms/list/frmmaster.h"
#include "module/basagreementreg.h"
#include "module/modulecontext.h"
#include "platform/database/connection.h"
#include "platform/grid/flexgrid.h"
#include "platform/ui/seams.h"
#include "platform/ui/units.h"
#include "suite/suite.h"
#include "support/formtest.h"
#include "support/testdb.h"
#include "support/testsupport.h"

#include <QAbstractItemModel>
#include <QComboBox>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QRadioButton>
#include <QTest>

using agr::col;
using agr::FrmMaster;
using agr::ListCol;
using agrtest::scalar;
namespace demo = agr::schema::demo;

using agrtest::cellCentre;

namespace {

const QString Caption = QStringLiteral("Agreement Register - test");

void setContext(platform::Connection *con, int userId)
{
    agrtest::setDemoContext(con, userId, Caption);
}

// A demo database on the case's backend (the global rows "sqlite" and "postgresql") as the clerk's module
// context; nullptr when it cannot be had (the case is then marked) and the caller returns.
std::unique_ptr<platform::Connection> openDemo()
{
    QFETCH_GLOBAL(QString, url);
    auto con = agrtest::openFresh(url, true, true);
    if (con)
        setContext(con.get(), demo::ClerkUserId);
    return con;
}

void setRights(platform::Connection &con, const QString &rights)
{
    con.Execute(
        QStringLiteral("update aUserRights set FunctionRights='%1' where userid=%2 and interfaceid=%3")
            .arg(rights)
            .arg(demo::ClerkUserId)
            .arg(demo::InterfaceId));
}

// The list form as Show opens it: loaded, shown and active.
FrmMaster *openList()
{
    FrmMaster *form = agr::frmMaster();
    form->show();
    form->activateWindow();
    if (!QTest::qWaitForWindowActive(form))
        qWarning("the list form did not become active");
    return form;
}

void closeList()
{
    agr::unloadFrmMaster();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

// The traps log silently: a procedure that failed shows up only here.
QString faults(platform::Connection &con)
{
    QStringList lines;
    platform::Recordset rs =
        con.Execute(QStringLiteral("select ProcedureName, ErrorNumber, ErrorDescription from aFaultLog"));
    for (; !rs.isEOF(); rs.MoveNext())
        lines << rs.Fields(0).joinEmpty() + QLatin1Char(' ') + rs.Fields(1).joinEmpty() + QLatin1Char(' ') +
                     rs.Fields(2).joinEmpty();
    return lines.join(QLatin1Char('\n'));
}

QStringList columnTexts(const platform::FlexGrid &grid, int column)
{
    QStringList texts;
    for (int r = 1; r < grid.Rows(); ++r)
        texts << grid.TextMatrix(r, column);
    return texts;
}

void clickCell(platform::FlexGrid *grid, int row, int column)
{
    QTest::mouseClick(grid->viewport(), Qt::LeftButton, {}, cellCentre(grid, row, column));
}

// Chooses an item of a combo box with the arrow keys, as a user does.
void chooseItem(QComboBox *combo, const QString &text)
{
    const int wanted = combo->findText(text);
    QVERIFY2(wanted >= 0, qPrintable(text));
    combo->setFocus();
    while (combo->currentIndex() != wanted)
        QTest::keyClick(combo, combo->currentIndex() < wanted ? Qt::Key_Down : Qt::Key_Up);
}

void typeSearch(FrmMaster *form, const QString &text)
{
    form->txtsearch->setFocus();
    form->txtsearch->selectAll();
    QTest::keyClicks(form->txtsearch, text);
}

} // namespace

class tst_FrmMaster : public QObject
{
    Q_OBJECT

    QList<platform::MsgBoxCall> m_boxes;
    int m_answer = platform::vb::No;
    QList<QPointer<QWidget>> m_modals;

private Q_SLOTS:
    // Every case runs on each backend.
    void initTestCase_data() { agrtest::addBackends(); }
    void initTestCase() { suite::registerInProcess(); }
    void init()
    {
        m_boxes.clear();
        m_answer = platform::vb::No;
        m_modals.clear();
        platform::setMsgBoxResponder([this](const platform::MsgBoxCall &call) {
            m_boxes << call;
            return m_answer;
        });
        platform::setModalHandler([this](QWidget *form) { m_modals << form; });
    }
    void cleanup()
    {
        // The entry form opened by the keys is left loaded by the modal handler; the next case brings its
        // own database.
        m_answer = platform::vb::No;
        if (agr::frmAgreementregIfLoaded())
            agr::unloadFrmAgreementreg();
        closeList();
        platform::setMsgBoxResponder({});
        platform::setModalHandler({});
        agr::context().setConnection(nullptr);
    }

    void loading()
    {
        auto con = openDemo();
        if (!con)
            return;
        con->Execute(QStringLiteral("update agreementregister set agragreementdesc='Other department' where "
                                    "agrDepartmentid=%1")
                         .arg(demo::OtherDepartmentId));
        con->clearStatementLog();

        FrmMaster *form = openList();
        const platform::FlexGrid &grid = *form->mfgMaster;

        QString listSql;
        for (const platform::LoggedStatement &s : con->statementLog())
            if (s.text.contains(QLatin1String("from  agreementregister")))
                listSql = s.text;
        QVERIFY2(listSql.contains(QLatin1String(" from  agreementregister where agrDepartmentid = 1 and "
                                                "agragreementdate>=' 20261016' order by agragreementid ")),
                 qPrintable(listSql));
        QVERIFY(listSql.startsWith(QLatin1String(" select agragreementid,agragreementNo,")));
        QCOMPARE(agr::bas::listSql(), listSql);

        // The department's agreements only, oldest first; the newest is selected whole.
        QCOMPARE(grid.Cols(), 8);
        QCOMPARE(grid.Rows(), demo::AgreementCount + 1);
        for (int r = 1; r < grid.Rows(); ++r) {
            QCOMPARE(grid.TextMatrix(r, col(ListCol::AgreementId)), QString::number(r));
            QVERIFY(grid.TextMatrix(r, col(ListCol::Description)) != QLatin1String("Other department"));
        }
        QCOMPARE(grid.Row(), grid.Rows() - 1);
        QCOMPARE(grid.RowSel(), grid.Row());
        QCOMPARE(grid.Col(), 0);
        QCOMPARE(grid.ColSel(), 7);

        // Dates stored as text and as dates read alike.
        QCOMPARE(grid.TextMatrix(1, col(ListCol::Date)), QStringLiteral("18/10/2026"));
        QCOMPARE(grid.TextMatrix(2, col(ListCol::Date)), QStringLiteral("20/10/2026"));

        // Captions and the two lists from the column table; the id column is hidden and not offered.
        QCOMPARE(grid.TextMatrix(0, col(ListCol::Number)), QStringLiteral("Agreement No"));
        QCOMPARE(grid.TextMatrix(0, col(ListCol::Cancelled)), QStringLiteral("Cancelled"));
        QCOMPARE(form->cboColNames->count(), 7);
        QCOMPARE(form->cboSearch->itemText(0), QStringLiteral("agragreementNo"));
        QCOMPARE(form->cboSearch->itemData(6).toInt(), 7);
        QCOMPARE(form->cboSearch->currentIndex(), -1);
        QCOMPARE(grid.ColWidth(col(ListCol::AgreementId)), 0);
        // "Cancelled" is longer than every cell under it.
        QVERIFY(grid.ColWidth(col(ListCol::Cancelled)) >= 9 * 130);

        // The cancelled agreement is red in all eight columns, the others are not painted.
        for (int r = 1; r < grid.Rows(); ++r) {
            const bool cancelled = r == demo::CancelledAgreementId;
            QCOMPARE(grid.TextMatrix(r, col(ListCol::Cancelled)),
                     cancelled ? QStringLiteral("Yes") : QStringLiteral("No"));
            for (int c = 0; c < 8; ++c)
                QCOMPARE(grid.cellBackColorAt(r, c) == platform::vbRed, cancelled);
        }
        QVERIFY(m_boxes.isEmpty());
        QCOMPARE(faults(*con), QString());
    }

    void rights()
    {
        auto con = openDemo();
        if (!con)
            return;

        struct Case
        {
            int user;
            QString rights;
            bool newOn, editOn, deleteOn, previewOn;
        };
        const Case cases[] = {
            {demo::ClerkUserId, QStringLiteral("NEDP"), true, true, true, true},
            {demo::ClerkUserId, QStringLiteral("EDP"), false, true, true, true},
            {demo::ClerkUserId, QStringLiteral("NEP"), true, true, false, true},
            {demo::AdminUserId, QString(), false, false, false, false},
        };
        for (const Case &c : cases) {
            if (!c.rights.isEmpty())
                setRights(*con, c.rights);
            setContext(con.get(), c.user);
            FrmMaster *form = openList();
            QCOMPARE(form->cmdnew->isEnabled(), c.newOn);
            QCOMPARE(form->CmdEdit->isEnabled(), c.editOn);
            QCOMPARE(form->CmdDelete->isEnabled(), c.deleteOn);
            QCOMPARE(form->cmdPreview->isEnabled(), c.previewOn);
            closeList();
        }

        // Without "P" the preview stays off on every row; a live row gets the delete button even without "D".
        setRights(*con, QStringLiteral("NE"));
        setContext(con.get(), demo::ClerkUserId);
        FrmMaster *form = openList();
        platform::FlexGrid *grid = form->mfgMaster;
        grid->setFocus();
        QVERIFY(!form->CmdDelete->isEnabled());
        for (int r = grid->Rows() - 1; r > 1; --r) {
            QTest::keyClick(grid, Qt::Key_Up);
            QCOMPARE(grid->Row(), r - 1);
            QVERIFY(!form->cmdPreview->isEnabled());
            QCOMPARE(form->CmdDelete->isEnabled(), r - 1 != demo::CancelledAgreementId);
        }

        // Activation with a cancelled row selected turns the delete button on; moving off and back, off.
        clickCell(grid, demo::CancelledAgreementId, col(ListCol::Number));
        QCOMPARE(grid->Row(), demo::CancelledAgreementId);
        QVERIFY(!form->CmdDelete->isEnabled());
        form->Form_Activate();
        QVERIFY(form->CmdDelete->isEnabled());
        QTest::keyClick(grid, Qt::Key_Down);
        QTest::keyClick(grid, Qt::Key_Up);
        QCOMPARE(grid->Row(), demo::CancelledAgreementId);
        QVERIFY(!form->CmdDelete->isEnabled());
        QCOMPARE(faults(*con), QString());
    }

    void search()
    {
        auto con = openDemo();
        if (!con)
            return;
        FrmMaster *form = openList();
        platform::FlexGrid &grid = *form->mfgMaster;
        const int number = col(ListCol::Number);

        // No search column chosen: typing moves nothing.
        const int before = grid.Row();
        typeSearch(form, QStringLiteral("ag/3"));
        QCOMPARE(grid.Row(), before);

        // A prefix in any case lands on a row that starts with it, selected whole and scrolled to the top.
        chooseItem(form->cboSearch, QStringLiteral("agragreementNo"));
        typeSearch(form, QStringLiteral("ag/5"));
        QCOMPARE(grid.TextMatrix(grid.Row(), number), QStringLiteral("AG/5"));
        QCOMPARE(grid.Col(), 0);
        QCOMPARE(grid.ColSel(), 7);
        QCOMPARE(grid.TopRow(), grid.Row());
        typeSearch(form, QStringLiteral("Ag/1"));
        QVERIFY(grid.TextMatrix(grid.Row(), number).startsWith(QLatin1String("AG/1")));
        QVERIFY(form->CmdEdit->isEnabled());

        // The grid is now in text order of the numbers.
        QStringList sorted = columnTexts(grid, number);
        std::sort(sorted.begin(), sorted.end());
        QCOMPARE(columnTexts(grid, number), sorted);

        // A prefix that no row has leaves the selection where it was.
        const int landed = grid.Row();
        typeSearch(form, QStringLiteral("zz"));
        QCOMPARE(grid.Row(), landed);
        QCOMPARE(grid.TextMatrix(grid.Row(), number).left(4), QStringLiteral("AG/1"));
        QCOMPARE(faults(*con), QString());
    }

    void firstKeySameWithOrWithoutIdleMoment()
    {
        auto con = openDemo();
        if (!con)
            return;
        // The grid works the search's sort out ahead at an idle moment after the column is chosen; a key
        // typed before that moment sorts on the spot. The types repeat, so the order equal values keep (here
        // that of the newest first) decides which agreement sits where.
        struct Seen
        {
            int row = 0, topRow = 0, col = 0, colSel = 0;
            QString landedId;
            QStringList ids;
            bool operator==(const Seen &) const = default;
        };
        auto firstKey = [&](bool idle) {
            FrmMaster *form = openList();
            QTest::mouseClick(form->optDescend, Qt::LeftButton);
            chooseItem(form->cboColNames, QStringLiteral("Agreement Date"));
            chooseItem(form->cboSearch, QStringLiteral("agragreementtype"));
            if (idle)
                QCoreApplication::processEvents();
            typeSearch(form, QStringLiteral("s"));
            const platform::FlexGrid &grid = *form->mfgMaster;
            Seen seen{grid.Row(),
                      grid.TopRow(),
                      grid.Col(),
                      grid.ColSel(),
                      grid.TextMatrix(grid.Row(), col(ListCol::AgreementId)),
                      columnTexts(grid, col(ListCol::AgreementId))};
            closeList();
            return seen;
        };
        const Seen atOnce = firstKey(false);
        const Seen afterIdle = firstKey(true);
        QCOMPARE(afterIdle.ids, atOnce.ids);
        QCOMPARE(afterIdle.landedId, atOnce.landedId);
        QVERIFY(afterIdle == atOnce);
        QVERIFY(atOnce.ids.size() > 2);
        QCOMPARE(faults(*con), QString());
    }

    void numericColumn()
    {
        auto con = openDemo();
        if (!con)
            return;
        for (int id = 1; id <= demo::AgreementCount; ++id)
            con->Execute(
                QStringLiteral("update agreementregister set agragreementdesc='%1' where agragreementid=%1 "
                               "and agrDepartmentid=1")
                    .arg(id));
        FrmMaster *form = openList();
        platform::FlexGrid &grid = *form->mfgMaster;
        const int desc = col(ListCol::Description);

        // A numeric cell makes the sort generic: numbers in value order, and back again by the option.
        chooseItem(form->cboColNames, QStringLiteral("Description"));
        QCOMPARE(grid.TextMatrix(1, desc), QStringLiteral("1"));
        QCOMPARE(grid.TextMatrix(12, desc), QStringLiteral("12"));
        QTest::mouseClick(form->optDescend, Qt::LeftButton);
        QCOMPARE(grid.TextMatrix(1, desc), QStringLiteral("12"));
        QCOMPARE(grid.TextMatrix(12, desc), QStringLiteral("1"));

        // The search compares values but sorts the column as text first, and leaves it so.
        chooseItem(form->cboSearch, QStringLiteral("agragreementdesc"));
        typeSearch(form, QStringLiteral("2"));
        QCOMPARE(grid.TextMatrix(grid.Row(), desc), QStringLiteral("2"));
        QCOMPARE(columnTexts(grid, desc).mid(0, 5),
                 QStringList({QStringLiteral("1"), QStringLiteral("10"), QStringLiteral("11"),
                              QStringLiteral("12"), QStringLiteral("2")}));

        // Clicking the option that is already set sorts by the chosen column again.
        QTest::mouseClick(form->optDescend, Qt::LeftButton);
        QCOMPARE(grid.TextMatrix(1, desc), QStringLiteral("12"));
        QCOMPARE(faults(*con), QString());
    }

    void sortByDate()
    {
        auto con = openDemo();
        if (!con)
            return;
        FrmMaster *form = openList();
        platform::FlexGrid &grid = *form->mfgMaster;

        // The date caption sorts by the hidden id; the descriptions (text) sort without regard to case.
        chooseItem(form->cboColNames, QStringLiteral("Description"));
        QStringList descriptions = columnTexts(grid, col(ListCol::Description));
        QStringList expected = descriptions;
        std::sort(expected.begin(), expected.end(),
                  [](const QString &a, const QString &b) { return a.compare(b, Qt::CaseInsensitive) < 0; });
        QCOMPARE(descriptions, expected);

        QTest::mouseClick(form->optDescend, Qt::LeftButton);
        chooseItem(form->cboColNames, QStringLiteral("Agreement Date"));
        QCOMPARE(grid.Col(), 0);
        for (int r = 1; r < grid.Rows(); ++r)
            QCOMPARE(grid.TextMatrix(r, col(ListCol::AgreementId)), QString::number(grid.Rows() - r));
        QCOMPARE(faults(*con), QString());
    }

    void cancelling()
    {
        auto con = openDemo();
        if (!con)
            return;
        FrmMaster *form = openList();
        platform::FlexGrid *grid = form->mfgMaster;
        auto cancelledFlag = [&](int department, int id) {
            return scalar(*con, QStringLiteral(
                                    "select agrcancelled from agreementregister where agrDepartmentid=%1 "
                                    "and agragreementid=%2")
                                    .arg(department)
                                    .arg(id))
                .toInt();
        };
        auto activityRows = [&] {
            return scalar(*con, QStringLiteral("select count(*) from aActivityLog")).toInt();
        };
        const int auditedBefore = activityRows();

        // The Delete key on a red row does nothing.
        clickCell(grid, demo::CancelledAgreementId, col(ListCol::Number));
        QTest::keyClick(grid, Qt::Key_Delete);
        QVERIFY(m_boxes.isEmpty());

        // On a live row it asks; No changes nothing.
        clickCell(grid, 3, col(ListCol::Number));
        m_answer = platform::vb::No;
        QTest::keyClick(grid, Qt::Key_Delete);
        QCOMPARE(m_boxes.size(), 1);
        QCOMPARE(m_boxes[0].prompt, QStringLiteral("Are you sure you want to Delete the entry of - AG/3 ?"));
        QCOMPARE(m_boxes[0].buttons, 276);
        QCOMPARE(m_boxes[0].title, Caption);
        QCOMPARE(cancelledFlag(1, 3), 0);
        QCOMPARE(grid->TextMatrix(3, col(ListCol::Cancelled)), QStringLiteral("No"));
        QCOMPARE(activityRows(), auditedBefore);

        // Yes through the button: flagged in this department only, audited, the row refreshed and red from
        // column 1 on. Department 2 holds an agreement with the same id.
        clickCell(grid, 2, col(ListCol::Description));
        QVERIFY(form->CmdDelete->isEnabled());
        m_answer = platform::vb::Yes;
        con->clearStatementLog();
        QTest::mouseClick(form->CmdDelete, Qt::LeftButton);
        QCOMPARE(m_boxes.size(), 2);
        bool updated = false;
        for (const platform::LoggedStatement &s : con->statementLog())
            updated |= s.text == QLatin1String("update agreementregister set agrcancelled=1 where "
                                               "agrdepartmentid=1 and agragreementid=2");
        QVERIFY(updated);
        QCOMPARE(cancelledFlag(1, 2), 1);
        QCOMPARE(cancelledFlag(2, 2), 0);

        platform::Recordset log = con->Execute(QStringLiteral(
            "select AgreementID, AgreementNo, ActionCode from aActivityLog where ActionCode='D'"));
        QCOMPARE(log.RecordCount(), 1);
        QCOMPARE(log.Fields(0).toDouble(), 2.0);
        QCOMPARE(log.Fields(1).joinEmpty(), QStringLiteral("AG/2"));
        QCOMPARE(log.Fields(2).joinEmpty(), QStringLiteral("D"));

        QCOMPARE(grid->Row(), 2);
        QCOMPARE(grid->TextMatrix(2, col(ListCol::Cancelled)), QStringLiteral("Yes"));
        QCOMPARE(grid->TextMatrix(2, col(ListCol::Number)), QStringLiteral("AG/2"));
        QVERIFY(grid->cellBackColorAt(2, 0) != platform::vbRed);
        for (int c = 1; c < 8; ++c)
            QCOMPARE(grid->cellBackColorAt(2, c), platform::vbRed);
        QCOMPARE(grid->TextMatrix(3, col(ListCol::Cancelled)), QStringLiteral("No"));
        QCOMPARE(faults(*con), QString());
    }

    void keys()
    {
        auto con = openDemo();
        if (!con)
            return;
        FrmMaster *form = openList();
        platform::FlexGrid *grid = form->mfgMaster;

        // Enter moves on to the next field; Ctrl+D goes to the grid from anywhere.
        form->txtsearch->setFocus();
        QTest::keyClick(form->txtsearch, Qt::Key_Return);
        QTRY_VERIFY(grid->hasFocus());
        form->cboColNames->setFocus();
        QTest::keyClick(form->cboColNames, Qt::Key_D, Qt::ControlModifier);
        QVERIFY(grid->hasFocus());

        // Ctrl+Enter starts a new agreement; Enter and a double click on the grid open the selected one.
        agr::bas::entryMode().clear();
        QTest::keyClick(form->txtsearch, Qt::Key_Return, Qt::ControlModifier);
        QCOMPARE(agr::bas::entryMode(), QStringLiteral("N"));
        agr::bas::entryMode().clear();
        QTest::keyClick(grid, Qt::Key_Return);
        QCOMPARE(agr::bas::entryMode(), QStringLiteral("E"));
        agr::bas::entryMode().clear();
        QTest::mouseDClick(grid->viewport(), Qt::LeftButton, {}, cellCentre(grid, 4, col(ListCol::Number)));
        QCOMPARE(agr::bas::entryMode(), QStringLiteral("E"));
        QCOMPARE(grid->Row(), 4);

        // The tooltip reads the cell under the mouse.
        QTest::mouseMove(grid->viewport(), cellCentre(grid, 3, col(ListCol::Description)));
        QTRY_COMPARE(grid->ToolTipText(), grid->TextMatrix(3, col(ListCol::Description)));

        // Close unloads the form; the next use builds a fresh one.
        QPointer<FrmMaster> closed = form;
        QTest::mouseClick(form->Cmdclose, Qt::LeftButton);
        QVERIFY(!agr::frmMasterIfLoaded());
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(closed.isNull());
        FrmMaster *again = openList();
        QVERIFY(again != nullptr);
        QCOMPARE(again->mfgMaster->Rows(), demo::AgreementCount + 1);
        QCOMPARE(faults(*con), QString());

        // Preview by mouse: the register in the engine's preview window over the list, which stays open.
        platform::setHostDatabaseUrl(con->url());
        m_modals.clear();
        QTest::mouseClick(again->cmdPreview, Qt::LeftButton);
        platform::setHostDatabaseUrl(QString());
        QCOMPARE(agr::frmMasterIfLoaded(), again);
        QCOMPARE(faults(*con), QString());
        QCOMPARE(m_modals.size(), 1);
        QVERIFY(m_modals.first());
        QCOMPARE(m_modals.first()->windowTitle(), "Agreement Register Report");
        m_modals.first()->close();
    }

    void emptyList()
    {
        auto con = openDemo();
        if (!con)
            return;
        // No back period set: the list starts at the processing date, and every demo agreement is older.
        con->Execute(QStringLiteral("delete from aPackageSettings"));
        FrmMaster *form = openList();
        platform::FlexGrid *grid = form->mfgMaster;

        QVERIFY(agr::bas::listSql().contains(QLatin1String("agragreementdate>=' 20261115'")));
        QCOMPARE(grid->Rows(), 2);
        QCOMPARE(grid->Cols(), 8);
        QCOMPARE(grid->TextMatrix(0, col(ListCol::Description)), QStringLiteral("Description"));
        QCOMPARE(grid->TextMatrix(1, col(ListCol::Number)), QString());
        QVERIFY(form->cmdnew->isEnabled());
        QVERIFY(!form->CmdEdit->isEnabled());
        QVERIFY(!form->CmdDelete->isEnabled());
        QVERIFY(!form->cmdPreview->isEnabled());

        // Sorting, searching and the grid's keys on the empty row do nothing and fail nowhere.
        chooseItem(form->cboColNames, QStringLiteral("Agreement No"));
        chooseItem(form->cboSearch, QStringLiteral("agragreementNo"));
        typeSearch(form, QStringLiteral("ag"));
        QCOMPARE(grid->Row(), 1);
        grid->setFocus();
        QTest::keyClick(grid, Qt::Key_Delete);
        QTest::keyClick(grid, Qt::Key_Return);
        QVERIFY(m_boxes.isEmpty());
        QVERIFY(m_modals.isEmpty());
        QCOMPARE(faults(*con), QString());
    }
};

QTEST_MAIN(tst_FrmMaster)
#include "tst_frmmaster.moc"
