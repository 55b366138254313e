// The forms walked by Tab alone, on the demo data of SQLite and PostgreSQL: from the first field to the last
// the focus reaches every enabled field once, in the order a reader sees them (row by row, left to right, a
// frame read whole where it stands), and Shift+Tab walks the same way back. The entry form is walked on
// each of its pages, the popup for each kind of row, the scanned copies with and without documents.

#include "data/schema.h"
#include "forms/agreement/frmagreementreg.h"
#include "forms/list/frmmaster.h"
#include "forms/popup/frmpopup.h"
#include "forms/scancopies/frmscancopies.h"
#include "module/modulecontext.h"
#include "platform/database/connection.h"
#include "platform/grid/flexgrid.h"
#include "platform/ui/seams.h"
#include "suite/suite.h"
#include "support/formtest.h"
#include "support/testdb.h"
#include "support/testsupport.h"

#include <QApplication>
#include <QBuffer>
#include <QDateEdit>
#include <QImage>
#include <QLineEdit>
#include <QPushButton>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTest>
#include <QTreeWidget>

#include <algorithm>
#include <functional>

namespace demo = agr::schema::demo;
using agr::FrmAgreementreg;
using agrtest::activate;
using platform::FlexGrid;

namespace {

using agrtest::jpeg;

QWidget *focused()
{
    return QApplication::focusWidget();
}

// A field is what Tab stops at: shown, enabled, taking Tab, and not handing its focus to a part that
// takes none (a tab widget hands it to its strip).
bool isField(const QWidget *w)
{
    if (!w->isVisible() || !w->isEnabled() || !(w->focusPolicy() & Qt::TabFocus))
        return false;
    const QWidget *proxy = w->focusProxy();
    return !proxy || isField(proxy);
}

// The field a focused widget belongs to: a box whose focus is handed to its inner editor is the field.
QWidget *fieldOf(QWidget *w)
{
    while (w && w->parentWidget() && w->parentWidget()->focusProxy() == w)
        w = w->parentWidget();
    return w;
}

QString names(const QList<QWidget *> &widgets)
{
    QStringList list;
    for (const QWidget *w : widgets)
        list << (w ? w->objectName() : QStringLiteral("(none)"));
    return list.join(QLatin1Char(' '));
}

// The fields inside a widget in reading order: its shown children row by row (a child belongs to the row of
// the first child above it whose height its middle falls in), left to right within a row; a child that is
// no field is read whole, its own fields in the same order.
void readFields(const QWidget *container, QList<QWidget *> &fields)
{
    QList<QWidget *> children;
    for (QObject *o : container->children()) {
        auto *w = qobject_cast<QWidget *>(o);
        if (w && !w->isWindow() && w->isVisible())
            children << w;
    }
    std::stable_sort(children.begin(), children.end(),
                     [](const QWidget *a, const QWidget *b) { return a->y() < b->y(); });
    for (qsizetype first = 0; first < children.size();) {
        const int rowBottom = children.at(first)->geometry().bottom();
        qsizetype end = first + 1;
        while (end < children.size() && children.at(end)->geometry().center().y() <= rowBottom)
            ++end;
        QList<QWidget *> row = children.mid(first, end - first);
        std::stable_sort(row.begin(), row.end(),
                         [](const QWidget *a, const QWidget *b) { return a->x() < b->x(); });
        for (QWidget *w : row) {
            if (isField(w))
                fields << w;
            else
                readFields(w, fields);
        }
        first = end;
    }
}

QList<QWidget *> readingOrder(const QWidget *window)
{
    QList<QWidget *> fields;
    readFields(window, fields);
    return fields;
}

// Tab from the first field to the last, then Shift+Tab back to the first: the fields met each way.
void walk(const QList<QWidget *> &expected)
{
    QVERIFY(!expected.isEmpty());
    QCOMPARE(fieldOf(focused()), expected.first());
    QList<QWidget *> forth = {expected.first()};
    for (qsizetype i = 1; i < expected.size(); ++i) {
        QTest::keyClick(focused(), Qt::Key_Tab);
        forth << fieldOf(focused());
    }
    QCOMPARE(names(forth), names(expected));
    QList<QWidget *> back = {expected.last()};
    for (qsizetype i = 1; i < expected.size(); ++i) {
        QTest::keyClick(focused(), Qt::Key_Backtab, Qt::ShiftModifier);
        back.prepend(fieldOf(focused()));
    }
    QCOMPARE(names(back), names(expected));
}

// Alt+key until it does what is wanted: an access key that several captions share (N: "Alert &No of Days",
// "Age&ncy Details", "&No of Pages") goes to each of them in turn.
bool accessKey(QWidget *form, Qt::Key key, const std::function<bool()> &done)
{
    for (int press = 0; press < 4 && !done(); ++press)
        QTest::keyClick(form, key, Qt::AltModifier);
    return done();
}

} // namespace

class tst_KeyboardWalk : public QObject
{
    Q_OBJECT

    std::unique_ptr<platform::Connection> m_con;
    QTemporaryDir m_appFolder;

    bool openDemo(const QString &url);
    FrmAgreementreg *openAgreement(int agreementId);

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup() { agrtest::endFormTest(m_con); }

    void entryFormEveryPage_data() { agrtest::addBackends(); }
    void entryFormEveryPage();
    void popupEachKind_data() { agrtest::addBackends(); }
    void popupEachKind();
    void scanCopies_data() { agrtest::addBackends(); }
    void scanCopies();
};

void tst_KeyboardWalk::initTestCase()
{
    suite::registerInProcess();
    QVERIFY(m_appFolder.isValid());
    qputenv("AGR_APP_PATH", m_appFolder.path().toLocal8Bit());
}

void tst_KeyboardWalk::init()
{
    platform::setMsgBoxResponder([](const platform::MsgBoxCall &) { return platform::vb::No; });
    platform::setModalHandler([](QWidget *window) { QVERIFY(activate(window)); });
}

bool tst_KeyboardWalk::openDemo(const QString &url)
{
    m_con = agrtest::openDemo(url, agr::schema::demo::ClerkUserId, QStringLiteral("Agreement Register"));
    if (!m_con)
        return false;
    agr::frmMaster();
    return true;
}

// 0: a new agreement; otherwise the stored one, through the list's Edit.
FrmAgreementreg *tst_KeyboardWalk::openAgreement(int agreementId)
{
    agr::FrmMaster *list = agr::frmMaster();
    if (agreementId == 0) {
        list->cmdnew_Click();
    } else {
        for (int row = 1; row < list->mfgMaster->Rows(); ++row) {
            if (list->mfgMaster->TextMatrix(row, 0) == QString::number(agreementId))
                list->mfgMaster->setRow(row);
        }
        list->CmdEdit_Click();
    }
    return agr::frmAgreementregIfLoaded();
}

// Every page chosen from the keyboard (its access key; Ctrl+Tab for the one without), and the form walked
// with it: the header, the page's fields and the buttons below.
void tst_KeyboardWalk::entryFormEveryPage()
{
    AGR_FETCH_URL();
    if (!openDemo(url))
        return;
    FrmAgreementreg *form = openAgreement(0);
    QVERIFY(form);
    QVERIFY(activate(form));

    // The alert days take digits, and Tab and Ctrl+A as every box does.
    QVERIFY(accessKey(form, Qt::Key_N, [&] { return focused() == form->txtalertnoofdays; }));
    QTest::keyClicks(focused(), QStringLiteral("3x"));
    QTest::keyClick(focused(), Qt::Key_Tab);
    QTest::keyClicks(focused(), QStringLiteral("9"));
    QCOMPARE(form->txtalertnoofdays->text(), "3");
    QCOMPARE(form->txtalertremarks->text(), "9");
    QTest::keyClick(focused(), Qt::Key_Backtab, Qt::ShiftModifier);
    QCOMPARE(focused(), form->txtalertnoofdays);
    QTest::keyClick(focused(), Qt::Key_End);
    QTest::keyClicks(focused(), QStringLiteral("0"));
    QTest::keyClick(focused(), Qt::Key_A, Qt::ControlModifier);
    QCOMPARE(form->txtalertnoofdays->selectedText(), "30");

    const struct
    {
        Qt::Key key;    // the page's access key; none: Ctrl+Tab from the page before
        QWidget *field; // a field of the page
    } pages[] = {{Qt::Key_G, form->dtpsigned},  {Qt::Key_N, form->txthqadd},
                 {Qt::Key_I, form->mfgcontent}, {Qt::Key_U, form->mfgsummary},
                 {Qt::Key_F, form->mfgfinance}, {Qt::Key_unknown, form->lvwPayment}};
    int page = 0;
    for (const auto &p : pages) {
        if (p.key != Qt::Key_unknown) {
            QVERIFY(accessKey(form, p.key, [&] { return form->SSTab1->currentIndex() == page; }));
        } else {
            QTest::keyClick(focused(), Qt::Key_Tab, Qt::ControlModifier);
        }
        QCOMPARE(form->SSTab1->currentIndex(), page);
        QVERIFY(p.field->isVisible());
        const QList<QWidget *> fields = readingOrder(form);
        QVERIFY2(fields.contains(p.field), qPrintable(names(fields)));
        QCOMPARE(fields.first(), form->txtagreementNo);
        QVERIFY(!fields.contains(form->cmdScan)); // disabled for a new agreement
        QTest::keyClick(form, Qt::Key_A, Qt::AltModifier);
        walk(fields);
        // Back in the page, for Ctrl+Tab to the next.
        p.field->setFocus();
        ++page;
    }
}

// The popup for each kind of row, empty (navigation disabled) and with rows to walk (enabled).
void tst_KeyboardWalk::popupEachKind()
{
    AGR_FETCH_URL();
    if (!openDemo(url))
        return;
    for (const int agreementId : {0, 1}) {
        FrmAgreementreg *form = openAgreement(agreementId);
        QVERIFY(form);
        for (FlexGrid *grid : {form->mfgsigndetails, form->mfgwitnessdetails, form->mfgcontent}) {
            QVERIFY(activate(form));
            form->SSTab1->setCurrentIndex(grid == form->mfgcontent ? 2 : 0);
            grid->setFocus();
            QTest::keyClick(grid, Qt::Key_Return, Qt::ControlModifier);
            agr::Frmpopup *popup = agr::frmpopupIfLoaded();
            QVERIFY(popup && popup->isVisible());
            const QList<QWidget *> fields = readingOrder(popup);
            QCOMPARE(fields.contains(popup->cmdNext), agreementId != 0);
            QCOMPARE(fields.last(), agreementId != 0 ? popup->cmdLast : popup->Cmdclose);
            walk(fields);
            QTest::keyClick(popup, Qt::Key_Escape);
            QTRY_VERIFY(!agr::frmpopupIfLoaded());
        }
        QVERIFY(agr::unloadFrmAgreementreg());
    }
}

// With documents the focus starts on them; without, on the name of a new one.
void tst_KeyboardWalk::scanCopies()
{
    AGR_FETCH_URL();
    if (!openDemo(url))
        return;
    platform::Command cmd(*m_con);
    cmd.setCommandText(QStringLiteral(
        "insert into AgreementScanCopyDetails (agsCompanyID,agsAgreementID,agsDepartmentID,agsDetailID,"
        "agsAgreementName,agsDocuments) values (?,?,?,?,?,?)"));
    cmd.ParametersRefresh();
    cmd.Execute({demo::CompanyId, 1, demo::DepartmentId, 1, QStringLiteral("Deed"), jpeg(Qt::red)});

    for (const int agreementId : {1, 2}) {
        FrmAgreementreg *form = openAgreement(agreementId);
        QVERIFY(form && form->cmdScan->isEnabled());
        QVERIFY(activate(form));
        QTest::mouseClick(form->cmdScan, Qt::LeftButton);
        agr::FrmScanCopies *copies = agr::frmScanCopiesIfLoaded();
        QVERIFY(copies);
        QTRY_COMPARE(focused(),
                     agreementId == 1 ? static_cast<QWidget *>(copies->mfgDetails) : copies->txtName);
        const QList<QWidget *> fields = readingOrder(copies);
        QCOMPARE(names(fields), names({copies->mfgDetails, copies->txtName, copies->txtBrowse,
                                       copies->cmdBrowse, copies->cmdAdd, copies->cmdOK, copies->Command1}));
        copies->mfgDetails->setFocus();
        walk(fields);
        copies->Command1_Click();
        QVERIFY(!agr::frmScanCopiesIfLoaded());
        QVERIFY(agr::unloadFrmAgreementreg());
    }
}

QTEST_MAIN(tst_KeyboardWalk)
#include "tst_keyboardwalk.moc"
