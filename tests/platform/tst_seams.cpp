// The seams to the user (message boxes, modal shows, the file dialog, cursors, SendKeys), the rules that
// read a form's controls, and twips and colours.

#include "platform/grid/flexgrid.h"
#include "platform/ui/controls.h"
#include "platform/ui/seams.h"
#include "platform/ui/units.h"

#include <QAbstractButton>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QDialog>
#include <QFileDialog>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTest>
#include <QTimer>

using namespace platform;

namespace {

// Runs check on the next modal widget that appears; a dialog that the check left open (a failed
// check) is closed so that the test does not hang.
void onNextModal(std::function<void(QWidget *)> check)
{
    QTimer::singleShot(0, qApp, [check] {
        QWidget *modal = QApplication::activeModalWidget();
        check(modal);
        auto *dialog = qobject_cast<QDialog *>(modal);
        if (dialog && dialog->isVisible())
            dialog->done(QDialog::Rejected);
    });
}

template <class T> T *named(QWidget *parent, const QString &name)
{
    auto *widget = new T(parent);
    widget->setObjectName(name);
    return widget;
}

} // namespace

class tst_Seams : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup();
    void msgBoxResponderRecordsAndAnswers();
    void realMsgBoxFromCodes();
    void modalShows();
    void fileDialog();
    void mousePointers();
    void sendKeysTabMovesFocus();
    void formControlsAndValues();
    void twipsAndColours();
};

void tst_Seams::cleanup()
{
    setMsgBoxResponder({});
    setModalHandler({});
    setFileDialogResponder({});
}

void tst_Seams::msgBoxResponderRecordsAndAnswers()
{
    QList<MsgBoxCall> calls;
    QList<int> answers{vb::No, vb::Yes};
    setMsgBoxResponder([&](const MsgBoxCall &call) {
        calls << call;
        return answers.takeFirst();
    });
    QCOMPARE(MsgBox("Do you want to cancel?", vb::YesNo + vb::Question + vb::DefaultButton2, "Agreements"),
             vb::No);
    QCOMPARE(MsgBox("Saved", vb::Information, "Agreements"), vb::Yes);
    QCOMPARE(calls.size(), 2);
    QCOMPARE(calls.at(0).prompt, QString("Do you want to cancel?"));
    QCOMPARE(calls.at(0).buttons, 4 + 32 + 256);
    QCOMPARE(calls.at(0).title, QString("Agreements"));
    QCOMPARE(calls.at(1).buttons, 64);
}

void tst_Seams::realMsgBoxFromCodes()
{
    bool seen = false;
    onNextModal([&](QWidget *modal) {
        auto *box = qobject_cast<QMessageBox *>(modal);
        QVERIFY(box);
        seen = true;
        QCOMPARE(box->windowTitle(), QString("Agreements"));
        QCOMPARE(box->text(), QString("Cancel this agreement?"));
        QCOMPARE(box->icon(), QMessageBox::Question);
        QCOMPARE(box->buttons().size(), 2);
        QCOMPARE(box->defaultButton(), box->button(QMessageBox::No)); // 256: the second button
        box->button(QMessageBox::Yes)->click();
    });
    QCOMPARE(MsgBox("Cancel this agreement?", vb::YesNo + vb::Question + vb::DefaultButton2, "Agreements"),
             vb::Yes);
    QVERIFY(seen);

    onNextModal([](QWidget *modal) {
        auto *box = qobject_cast<QMessageBox *>(modal);
        QVERIFY(box);
        QCOMPARE(box->icon(), QMessageBox::Information);
        QCOMPARE(box->buttons().size(), 1);
        QTest::keyClick(box, Qt::Key_Escape);
    });
    QCOMPARE(MsgBox("Enter name.", vb::Information, "Agreements"), vb::OK);

    onNextModal([](QWidget *modal) {
        auto *box = qobject_cast<QMessageBox *>(modal);
        QVERIFY(box);
        QCOMPARE(box->icon(), QMessageBox::Critical);
        box->button(QMessageBox::No)->click();
    });
    QCOMPARE(MsgBox("Really?", vb::YesNo + vb::Critical), vb::No);
}

void tst_Seams::modalShows()
{
    // A handler receives the form instead of a blocking show.
    QWidget form;
    QWidget *handed = nullptr;
    setModalHandler([&](QWidget *w) { handed = w; });
    showModal(&form);
    QCOMPARE(handed, &form);
    QVERIFY(!form.isVisible());
    setModalHandler({});

    // A dialog runs its own loop until it is closed.
    QWidget owner;
    owner.show();
    QDialog dialog;
    onNextModal([&](QWidget *modal) {
        QCOMPARE(modal, &dialog);
        dialog.accept();
    });
    showModal(&dialog, &owner);
    QVERIFY(!dialog.isVisible());
    QVERIFY(dialog.windowHandle());
    QCOMPARE(dialog.windowHandle()->transientParent(), owner.windowHandle());

    // A plain widget returns when it is hidden, and when it is destroyed.
    QWidget plain;
    QTimer::singleShot(0, &plain, [&] {
        QVERIFY(plain.isVisible());
        plain.hide();
    });
    showModal(&plain, &owner);
    QVERIFY(!plain.isVisible());
    auto *doomed = new QWidget;
    QTimer::singleShot(0, doomed, [doomed] { delete doomed; });
    showModal(doomed);
}

void tst_Seams::fileDialog()
{
    FileDialogCall asked;
    QString answer = "/tmp/scan";
    setFileDialogResponder([&](const FileDialogCall &call) {
        asked = call;
        return answer;
    });
    const FileDialogCall call{"Item Image", "Jpeg Files (*.jpg)|*.jpg", "jpg"};
    QCOMPARE(ShowOpen(call), QString("/tmp/scan.jpg")); // typed without an extension
    QCOMPARE(asked.title, QString("Item Image"));
    QCOMPARE(asked.filter, QString("Jpeg Files (*.jpg)|*.jpg"));
    answer = "/tmp/scan.jpeg";
    QCOMPARE(ShowOpen(call), QString("/tmp/scan.jpeg"));
    answer = "";
    QCOMPARE(ShowOpen(call), QString()); // cancelled
    setFileDialogResponder({});

    // The real dialog gets the filter in Qt's form.
    onNextModal([](QWidget *modal) {
        auto *dialog = qobject_cast<QFileDialog *>(modal);
        QVERIFY(dialog);
        QCOMPARE(dialog->windowTitle(), QString("Item Image"));
        QCOMPARE(dialog->nameFilters(), (QStringList{"Jpeg Files (*.jpg)", "All (*.*)"}));
        dialog->reject();
    });
    QCOMPARE(ShowOpen({"Item Image", "Jpeg Files (*.jpg)|*.jpg|All|*.*", "jpg"}), QString());
}

void tst_Seams::mousePointers()
{
    QWidget widget;
    setMousePointer(&widget, vbHourglass);
    QCOMPARE(widget.cursor().shape(), Qt::WaitCursor);
    setMousePointer(&widget, vbDefault);
    QCOMPARE(widget.cursor().shape(), Qt::ArrowCursor);

    setScreenMousePointer(vbHourglass);
    setScreenMousePointer(vbHourglass); // a property: setting it twice needs one restore
    QVERIFY(QApplication::overrideCursor());
    QCOMPARE(QApplication::overrideCursor()->shape(), Qt::WaitCursor);
    setScreenMousePointer(vbDefault);
    QVERIFY(!QApplication::overrideCursor());
    setScreenMousePointer(vbDefault);
    QVERIFY(!QApplication::overrideCursor());
}

void tst_Seams::sendKeysTabMovesFocus()
{
    QWidget form;
    auto *first = named<QLineEdit>(&form, "txtFirst");
    auto *notes = named<QPlainTextEdit>(&form, "txtNotes");
    auto *date = named<QDateEdit>(&form, "dtpDate");
    auto *last = named<QLineEdit>(&form, "txtLast");
    first->move(0, 0);
    notes->move(0, 30);
    date->move(0, 120);
    last->move(0, 150);
    form.show();
    QVERIFY(QTest::qWaitForWindowExposed(&form));
    first->setFocus();

    SendKeysTab();
    QCOMPARE(form.focusWidget(), notes);
    SendKeysTab(); // a multi-line box moves on too, without taking a tab into its text
    QCOMPARE(form.focusWidget(), date);
    QCOMPARE(notes->toPlainText(), QString());
    QVERIFY(!notes->tabChangesFocus());
    date->setCurrentSection(QDateTimeEdit::DaySection);
    SendKeysTab(); // leaves the date box instead of stepping to its month
    QCOMPARE(form.focusWidget(), last);
    SendKeysTab();
    QCOMPARE(form.focusWidget(), first); // round the tab order
}

void tst_Seams::formControlsAndValues()
{
    QWidget form;
    auto *txtName = named<QLineEdit>(&form, "txtName");
    auto *cboType = named<QComboBox>(&form, "cboType");
    cboType->setEditable(true);
    new QLabel("no name", &form);
    auto *fraParty = named<QGroupBox>(&form, "fraParty");
    auto *optShop = named<QRadioButton>(fraParty, "optShop");
    auto *chkAlert = named<QCheckBox>(&form, "chkAlert");
    auto *dtpDate = named<QDateEdit>(&form, "dtpDate");
    dtpDate->setCalendarPopup(true);
    auto *mfgContent = named<FlexGrid>(&form, "mfgContent");
    auto *cmdOK = named<QPushButton>(&form, "cmdOK");

    const QList<QObject *> controls = formControls(&form);
    QCOMPARE(controls,
             (QList<QObject *>{txtName, cboType, fraParty, optShop, chkAlert, dtpDate, mfgContent, cmdOK}));
    QStringList types;
    for (const QObject *control : controls)
        types << controlTypeName(control);
    QCOMPARE(types, (QStringList{"TextBox", "ComboBox", "QGroupBox", "OptionButton", "CheckBox", "DTPicker",
                                 "MSFlexGrid", "QPushButton"}));

    txtName->setText("abc ");
    cboType->setEditText("Lease");
    optShop->setChecked(true);
    QCOMPARE(controlValueText(txtName), QString("abc "));
    QCOMPARE(controlValueText(cboType), QString("Lease"));
    QCOMPARE(controlValueText(optShop), QString("1"));
    QCOMPARE(controlValueText(chkAlert), QString("0"));
    chkAlert->setChecked(true);
    QCOMPARE(controlValueText(chkAlert), QString("1"));

    // Rows from 1, column 1 then 2.., column 0 left out, no separators.
    mfgContent->setCols(4);
    mfgContent->setRows(3);
    mfgContent->setTextMatrix(0, 1, "SNo");
    for (int r = 1; r < 3; ++r)
        for (int c = 0; c < 4; ++c)
            mfgContent->setTextMatrix(r, c, QString("%1%2").arg(QChar('a' + c)).arg(r));
    QCOMPARE(controlValueText(mfgContent), QString("b1c1d1b2c2d2"));

    QCOMPARE(tag(txtName), QString());
    setTag(txtName, "abc");
    QCOMPARE(tag(txtName), QString("abc"));
}

void tst_Seams::twipsAndColours()
{
    QWidget widget;
    const int dpi = widget.logicalDpiX();
    QCOMPARE(twipsToPixels(1440, &widget), dpi);
    QCOMPARE(pixelsToTwips(dpi, &widget), 1440);
    if (dpi == 96) {
        QCOMPARE(twipsToPixels(960, &widget), 64);
        QCOMPARE(pixelsToTwips(1, &widget), 15);
    }
    QCOMPARE(twipsToPixels(0, &widget), 0);

    QCOMPARE(colorFromVb(vbRed), QColor(255, 0, 0));
    QCOMPARE(colorFromVb(vbCyan), QColor(0, 255, 255));
    QCOMPARE(colorFromVb(0x00336699), QColor(0x99, 0x66, 0x33));
    QCOMPARE(vbFromColor(QColor(0x99, 0x66, 0x33)), quint32(0x00336699));
    QCOMPARE(vbFromColor(Qt::red), vbRed);
    QCOMPARE(colorFromVb(vbHighlight), QApplication::palette().color(QPalette::Highlight));
    QCOMPARE(colorFromVb(vbWindowText), QApplication::palette().color(QPalette::Text));
    QCOMPARE(colorFromVb(vbWindowBackground), QApplication::palette().color(QPalette::Base));
}

QTEST_MAIN(tst_Seams)
#include "tst_seams.moc"
