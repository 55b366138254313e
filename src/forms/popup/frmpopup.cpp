#include "frmpopup.h"

#include "forms/agreement/frmagreementreg.h"
#include "forms/defaultinstance.h"
#include "forms/formevents.h"
#include "module/basagreementreg.h"
#include "module/modulecontext.h"
#include "module/moduleservices.h"
#include "platform/grid/flexgrid.h"
#include "platform/ui/controls.h"
#include "platform/ui/seams.h"
#include "platform/ui/units.h"

#include <QCheckBox>
#include <QDateEdit>
#include <QGroupBox>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>

namespace agr {

namespace {

using platform::FlexGrid;

enum class Kind
{
    Signed,
    Witness,
    Content,
    Summary,
    Finance,
    Other
};

Kind kindOf(const QString &caption)
{
    if (caption == popupcaption::Signed)
        return Kind::Signed;
    if (caption == popupcaption::Witness)
        return Kind::Witness;
    if (caption == popupcaption::Content)
        return Kind::Content;
    if (caption == popupcaption::Summary)
        return Kind::Summary;
    if (caption == popupcaption::Finance)
        return Kind::Finance;
    return Kind::Other;
}

bool oneText(Kind kind)
{
    return kind == Kind::Content || kind == Kind::Summary || kind == Kind::Finance;
}

QDate processDate()
{
    return context().processDate.date();
}

// Design-time places, in twips. The frame stands at the form's top, so that tops inside it and on the form
// are the same numbers.
constexpr int FormWidth = 8220;
constexpr int FieldLeft = 1350;
constexpr int LabelWidth = 1200;
constexpr int BoxHeight = 315;
constexpr int ButtonWidth = 1260;
constexpr int ButtonHeight = 375;

} // namespace

PopupTextBox::PopupTextBox(QWidget *parent) : QPlainTextEdit(parent)
{
    setTabChangesFocus(true);
    setLineWrapMode(QPlainTextEdit::WidgetWidth);
}

void PopupTextBox::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
        event->ignore();
        return;
    }
    QPlainTextEdit::keyPressEvent(event);
}

Frmpopup::Frmpopup(QWidget *parent) : QDialog(parent)
{
    setObjectName(QStringLiteral("frmpopup"));
    buildForm();
    wireHandlers();
}

Frmpopup::~Frmpopup() = default;

void Frmpopup::buildForm()
{
    using platform::setTwipsGeometry;

    frapopupform = new QGroupBox(this);
    frapopupform->setObjectName(QStringLiteral("frapopupform"));
    setTwipsGeometry(frapopupform, 120, 0, FormWidth - 240, 1800);

    auto label = [this](const char *name, const QString &caption, int left, int top, int width) {
        auto *l = new QLabel(caption, frapopupform);
        l->setObjectName(QLatin1String(name));
        setTwipsGeometry(l, left, top, width, BoxHeight);
        return l;
    };
    auto lineEdit = [this](const char *name, int top, int width) {
        auto *e = new QLineEdit(frapopupform);
        e->setObjectName(QLatin1String(name));
        setTwipsGeometry(e, FieldLeft, top, width, BoxHeight);
        return e;
    };

    // Name and date on the first line, position and agency on the second, the address below them.
    lblsignedby = label("lblsignedby", QStringLiteral("&Name :"), 120, 270, LabelWidth);
    txtsignedby = lineEdit("txtsignedby", 270, 3800);
    lblsignedby->setBuddy(txtsignedby);
    lbldate = label("lbldate", QStringLiteral("Da&te :"), 5300, 270, 600);
    dtppopupdate = new platform::DatePicker(frapopupform);
    dtppopupdate->setObjectName(QStringLiteral("dtppopupdate"));
    dtppopupdate->setDate(QDate::currentDate());
    setTwipsGeometry(dtppopupdate, 5950, 270, 1560, BoxHeight);
    lbldate->setBuddy(dtppopupdate);

    lblpostion = label("lblpostion", QStringLiteral("&Position :"), 120, 690, LabelWidth);
    txtpostion = lineEdit("txtpostion", 690, 3800);
    lblpostion->setBuddy(txtpostion);
    chkagency = new QCheckBox(QStringLiteral("A&gency"), frapopupform);
    chkagency->setObjectName(QStringLiteral("chkagency"));
    setTwipsGeometry(chkagency, 5950, 690, 1560, BoxHeight);

    lbladdress = label("lbladdress", QStringLiteral("A&ddress :"), 120, 1110, LabelWidth);
    txtaddress = new PopupTextBox(frapopupform);
    txtaddress->setObjectName(QStringLiteral("txtaddress"));
    setTwipsGeometry(txtaddress, FieldLeft, 1110, 6160, 900);
    lbladdress->setBuddy(txtaddress);

    auto button = [this](const char *name, const QString &caption, int left) {
        auto *b = new QPushButton(caption, this);
        b->setObjectName(QLatin1String(name));
        // Enter moves to the next field; it must never press a button behind the user's back.
        b->setAutoDefault(false);
        b->setDefault(false);
        setTwipsGeometry(b, left, 1900, ButtonWidth, ButtonHeight);
        return b;
    };
    // OK and Close first on the line, as the focus comes to them straight from the fields; then the row
    // navigation.
    cmdOK = button("cmdOK", QStringLiteral("&OK"), 120);
    Cmdclose = button("Cmdclose", QStringLiteral("&Close"), 1440);
    cmdFirst = button("cmdFirst", QStringLiteral("&First"), 2880);
    cmdPrevious = button("cmdPrevious", QStringLiteral("P&revious"), 4200);
    cmdNext = button("cmdNext", QStringLiteral("Ne&xt"), 5520);
    cmdLast = button("cmdLast", QStringLiteral("&Last"), 6840);

    const QList<QWidget *> tabOrder = {txtsignedby, dtppopupdate, txtpostion,  chkagency, txtaddress, cmdOK,
                                       Cmdclose,    cmdFirst,     cmdPrevious, cmdNext,   cmdLast};
    for (qsizetype i = 1; i < tabOrder.size(); ++i)
        QWidget::setTabOrder(tabOrder.at(i - 1), tabOrder.at(i));

    resize(platform::twipsToPixels(FormWidth, this), platform::twipsToPixels(2700, this));
}

void Frmpopup::wireHandlers()
{
    connect(cmdOK, &QPushButton::clicked, this, platform::trapped([this] { cmdOK_Click(); }));
    connect(Cmdclose, &QPushButton::clicked, this, platform::trapped([this] { Cmdclose_Click(); }));
    connect(cmdFirst, &QPushButton::clicked, this, platform::trapped([this] { cmdFirst_Click(); }));
    connect(cmdPrevious, &QPushButton::clicked, this, platform::trapped([this] { cmdPrevious_Click(); }));
    connect(cmdNext, &QPushButton::clicked, this, platform::trapped([this] { cmdNext_Click(); }));
    connect(cmdLast, &QPushButton::clicked, this, platform::trapped([this] { cmdLast_Click(); }));

    const QList<QWidget *> enterMovesOn = {txtsignedby, txtpostion,  txtaddress, chkagency,
                                           cmdFirst,    cmdPrevious, cmdNext,    cmdLast};
    for (QWidget *control : enterMovesOn) {
        onKeyPress(control, [this, control](qint16 &keyAscii) {
            const QByteArray procedure = control->objectName().toLatin1() + "_KeyPress";
            bas::Trap(this, procedure.constData(), [&keyAscii] { bas::EnterKeyFilter(keyAscii); });
        });
    }
}

// ---------------------------------------------------------------------------------------------------------
// Loading and layout

void Frmpopup::Form_Load()
{
    bas::Trap(this, "Form_Load", [this] {
        if (bas::entryMode() == QLatin1String("N"))
            dtppopupdate->setDate(processDate());
        themeService()->ApplyScreenTheme(this);
    });
}

void Frmpopup::showEvent(QShowEvent *event)
{
    QDialog::showEvent(event);
    Form_Activate();
}

void Frmpopup::Form_Activate()
{
    using platform::setTwipsHeight;
    using platform::setTwipsTop;
    using platform::twipsHeight;
    using platform::twipsTop;

    bas::Trap(this, "Form_Activate", [this] {
        const Kind kind = kindOf(windowTitle());
        QWidget *focus = txtsignedby;
        if (kind == Kind::Signed) {
            setTwipsHeight(frapopupform, twipsTop(txtpostion) + 500);
            setTwipsTop(cmdFirst, twipsTop(txtpostion) + 550);
        } else if (oneText(kind)) {
            chkagency->setVisible(false);
            dtppopupdate->setVisible(false);
            lbldate->setVisible(false);
            setTwipsTop(txtaddress, twipsTop(txtsignedby));
            setTwipsTop(lbladdress, twipsTop(lblsignedby));
            lbladdress->setText(kind == Kind::Content   ? QStringLiteral("Content :")
                                : kind == Kind::Summary ? QStringLiteral("Summary :")
                                                        : QStringLiteral("T.C Details:"));
            setTwipsHeight(frapopupform, twipsTop(txtaddress) + 1250);
            setTwipsTop(cmdFirst, twipsHeight(frapopupform) + 50);
            focus = txtaddress;
        } else {
            setTwipsHeight(frapopupform, twipsHeight(txtaddress) + 1500);
            setTwipsTop(cmdFirst, twipsHeight(frapopupform) + 50);
        }
        platform::setFormHeightTwips(this, twipsTop(cmdFirst) + 1000);
        focus->setFocus();
        for (QPushButton *b : {cmdOK, Cmdclose, cmdPrevious, cmdNext, cmdLast})
            setTwipsTop(b, twipsTop(cmdFirst));
    });
}

// ---------------------------------------------------------------------------------------------------------
// The grid and its rows

FlexGrid *Frmpopup::grid() const
{
    FrmAgreementreg &form = *frmAgreementreg();
    switch (kindOf(windowTitle())) {
    case Kind::Signed:
        return form.mfgsigndetails;
    case Kind::Witness:
        return form.mfgwitnessdetails;
    case Kind::Content:
        return form.mfgcontent;
    case Kind::Summary:
        return form.mfgsummary;
    case Kind::Finance:
        return form.mfgfinance;
    case Kind::Other:
        break;
    }
    return nullptr;
}

void Frmpopup::setNavigation(bool enabled)
{
    for (QPushButton *b : {cmdFirst, cmdNext, cmdLast, cmdPrevious})
        b->setEnabled(enabled);
}

bool Frmpopup::fieldsGiven()
{
    const auto missing = [this](QWidget *field, const QString &prompt) {
        Inform(prompt);
        field->setFocus();
        return false;
    };
    switch (kindOf(windowTitle())) {
    case Kind::Signed:
    case Kind::Witness:
        if (txtsignedby->text().isEmpty())
            return missing(txtsignedby, QStringLiteral("Enter Signed By"));
        if (txtpostion->text().isEmpty())
            return missing(txtpostion, QStringLiteral("Enter Postion"));
        return true;
    case Kind::Content:
        return !txtaddress->text().isEmpty() || missing(txtaddress, QStringLiteral("Enter Content"));
    case Kind::Summary:
        return !txtaddress->text().isEmpty() || missing(txtaddress, QStringLiteral("Enter Summary"));
    case Kind::Finance:
        return !txtaddress->text().isEmpty() || missing(txtaddress, QStringLiteral("Enter Finance"));
    case Kind::Other:
        break;
    }
    return true;
}

void Frmpopup::writeFields(FlexGrid &grid, int row)
{
    const QString date = dtppopupdate->date().toString(QStringLiteral("dd/MM/yyyy"));
    const QString agency = chkagency->isChecked() ? QStringLiteral("Y") : QStringLiteral("N");
    switch (kindOf(windowTitle())) {
    case Kind::Signed:
        grid.setTextMatrix(row, col(SignCol::SignBy), Trim(txtsignedby->text()));
        grid.setTextMatrix(row, col(SignCol::Position), Trim(txtpostion->text()));
        grid.setTextMatrix(row, col(SignCol::Date), date);
        grid.setTextMatrix(row, col(SignCol::Agency), agency);
        break;
    case Kind::Witness:
        grid.setTextMatrix(row, col(WitnessCol::Witness), Trim(txtsignedby->text()));
        grid.setTextMatrix(row, col(WitnessCol::Position), Trim(txtpostion->text()));
        grid.setTextMatrix(row, col(WitnessCol::Date), date);
        grid.setTextMatrix(row, col(WitnessCol::Address), Trim(txtaddress->text()));
        grid.setTextMatrix(row, col(WitnessCol::Agency), agency);
        break;
    case Kind::Content:
    case Kind::Summary:
    case Kind::Finance:
        grid.setTextMatrix(row, col(DetailCol::Text), Trim(txtaddress->text()));
        break;
    case Kind::Other:
        break;
    }
}

void Frmpopup::LoadRow(const FlexGrid &grid, int row)
{
    switch (kindOf(windowTitle())) {
    case Kind::Signed:
        txtsignedby->setText(grid.TextMatrix(row, col(SignCol::SignBy)));
        txtpostion->setText(grid.TextMatrix(row, col(SignCol::Position)));
        dtppopupdate->setDate(CDate(grid.TextMatrix(row, col(SignCol::Date))));
        chkagency->setChecked(grid.TextMatrix(row, col(SignCol::Agency)) == QLatin1String("Y"));
        break;
    case Kind::Witness:
        txtsignedby->setText(grid.TextMatrix(row, col(WitnessCol::Witness)));
        txtpostion->setText(grid.TextMatrix(row, col(WitnessCol::Position)));
        dtppopupdate->setDate(CDate(grid.TextMatrix(row, col(WitnessCol::Date))));
        txtaddress->setText(grid.TextMatrix(row, col(WitnessCol::Address)));
        chkagency->setChecked(grid.TextMatrix(row, col(WitnessCol::Agency)) == QLatin1String("Y"));
        break;
    case Kind::Content:
    case Kind::Summary:
    case Kind::Finance:
        txtaddress->setText(grid.TextMatrix(row, col(DetailCol::Text)));
        break;
    case Kind::Other:
        break;
    }
}

// ---------------------------------------------------------------------------------------------------------
// OK and Close

void Frmpopup::cmdOK_Click()
{
    bas::Trap(this, "cmdok_Click", [this] {
        FlexGrid *g = grid();
        const QString mode = bas::detailMode();
        if (g && mode == QLatin1String("A")) {
            // The first row of an empty grid is taken as it stands; every further row is checked.
            const bool placeholder = g->TextMatrix(g->Row(), col(DetailCol::SNo)).isEmpty();
            if (!placeholder) {
                if (!fieldsGiven())
                    return;
                if (g->Rows() >= 2)
                    g->setRows(g->Rows() + 1);
            }
            const int last = g->Rows() - 1;
            g->setTextMatrix(last, col(DetailCol::SNo), QString::number(last));
            writeFields(*g, last);
            g->ensureRowVisible(last);
            txtsignedby->clear();
            txtpostion->clear();
            txtaddress->clear();
            dtppopupdate->setDate(processDate());
        } else if (g && mode == QLatin1String("E")) {
            // The last row is taken unchecked, so that a walk through the rows always ends.
            const int row = g->Row();
            if (!g->TextMatrix(row, col(DetailCol::SNo)).isEmpty() && row < g->Rows() - 1) {
                if (!fieldsGiven())
                    return;
            }
            if (g->Rows() >= 2)
                writeFields(*g, row);
            if (row + 1 <= g->Rows() - 1)
                cmdNext_Click();
            else
                Unload();
        }

        // A grid that now holds a row gets its navigation back; once unloaded, the popup stays closed.
        FrmAgreementreg &form = *frmAgreementreg();
        for (FlexGrid *each : {form.mfgsigndetails, form.mfgwitnessdetails, form.mfgcontent, form.mfgsummary,
                               form.mfgfinance}) {
            if (each->TextMatrix(each->Row(), col(DetailCol::SNo)).isEmpty())
                continue;
            if (Frmpopup *open = frmpopupIfLoaded())
                open->setNavigation(true);
        }
    });
}

void Frmpopup::Cmdclose_Click()
{
    bas::Trap(this, "Cmdclose_Click", [this] { Unload(); });
}

void Frmpopup::Unload()
{
    if (m_unloaded)
        return;
    m_unloaded = true;
    DefaultInstance<Frmpopup>::release(this);
    QDialog::done(QDialog::Rejected);
    deleteLater();
}

void Frmpopup::reject()
{
    // Escape and the window's close button unload the popup; nothing is written.
    Unload();
}

// ---------------------------------------------------------------------------------------------------------
// Navigation: what was typed and not accepted with OK is dropped when another row is loaded.

void Frmpopup::moveTo(const char *procedure, const std::function<int(const FlexGrid &)> &target)
{
    bas::Trap(this, procedure, [this, &target] {
        FlexGrid *g = grid();
        const int row = g ? target(*g) : 0;
        if (row == 0)
            return;
        g->setRow(row);
        g->setTopRow(g->Row());
        g->setCol(0);
        g->setColSel(g->Cols() - 1);
        if (!g->TextMatrix(g->Row(), col(DetailCol::SNo)).isEmpty())
            LoadRow(*g, g->Row());
    });
}

void Frmpopup::cmdFirst_Click()
{
    moveTo("cmdFirst_Click", [](const FlexGrid &) { return 1; });
}

void Frmpopup::cmdPrevious_Click()
{
    moveTo("cmdPrevious_Click",
           [](const FlexGrid &g) { return g.Row() >= 2 && g.Row() <= g.Rows() ? g.Row() - 1 : 0; });
}

void Frmpopup::cmdNext_Click()
{
    moveTo("cmdNext_Click",
           [](const FlexGrid &g) { return g.Row() >= 1 && g.Row() < g.Rows() - 1 ? g.Row() + 1 : 0; });
}

void Frmpopup::cmdLast_Click()
{
    moveTo("cmdLast_Click", [](const FlexGrid &g) { return g.Rows() - 1; });
}

// ---------------------------------------------------------------------------------------------------------
// Default instance

Frmpopup *frmpopup()
{
    return DefaultInstance<Frmpopup>::get();
}

Frmpopup *frmpopupIfLoaded()
{
    return DefaultInstance<Frmpopup>::ifLoaded();
}

void unloadFrmpopup()
{
    DefaultInstance<Frmpopup>::unload();
}

} // namespace agr
