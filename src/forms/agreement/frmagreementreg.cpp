#include "frmagreementreg.h"

#include "forms/defaultinstance.h"
#include "forms/formevents.h"
#include "forms/popup/frmpopup.h"
#include "forms/scancopies/frmscancopies.h"
#include "module/basagreementreg.h"
#include "module/modulecontext.h"
#include "module/moduleservices.h"
#include "platform/database/connection.h"
#include "platform/grid/flexgrid.h"
#include "platform/runtime/errors.h"
#include "platform/ui/controls.h"
#include "platform/ui/seams.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QDateEdit>
#include <QEvent>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QRadioButton>
#include <QTabBar>
#include <QTabWidget>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <initializer_list>

namespace agr {

namespace {

using platform::FlexGrid;

using Instance = DefaultInstance<FrmAgreementreg>;

// The unloaded form whose widgets wait for the next opening.
QPointer<FrmAgreementreg> &keptInstance()
{
    static QPointer<FrmAgreementreg> form;
    return form;
}

QString number(qint64 value)
{
    return QString::number(value);
}

// A grid's captions and widths in twips, from column 0 (always hidden) on.
void layOutGrid(FlexGrid *grid, const QString &format, std::initializer_list<int> widths)
{
    grid->setFormatString(format);
    int column = 0;
    for (int width : widths)
        grid->setColWidth(column++, width);
}

} // namespace

FrmAgreementreg::FrmAgreementreg(QWidget *parent) : QDialog(parent)
{
    setObjectName(QStringLiteral("frmAgreementreg"));
    setWindowTitle(QStringLiteral("Agreement Register"));
    buildForm();
    buildGridMenus();
    wireHandlers();
    wireGridEvents();
}

void FrmAgreementreg::rememberInitialState()
{
    // The form's own controls only: the parts of a control (a grid's scroll bars) look after themselves.
    const QList<QObject *> controls = platform::formControls(this);
    m_initial.reserve(size_t(controls.size()));
    for (QObject *control : controls) {
        auto *w = qobject_cast<QWidget *>(control);
        if (!w)
            continue;
        const auto *button = qobject_cast<QAbstractButton *>(w);
        m_initial.push_back(
            {w, w->isHidden(), w->testAttribute(Qt::WA_Disabled), button && button->isChecked()});
    }
}

void FrmAgreementreg::resetForReuse()
{
    for (QLineEdit *box : {txtagreementNo, txtdate, txtdesc, txtrefno, txtapplicable, txtagency,
                           txtalertnoofdays, txtalertremarks, txtnoofpages, txtphyloc, txthqadd, txttelephone,
                           txtemail, txtwebsite, txtpocaddr, txtpoctele, txtpocdesg, txtpocemail, txtBrowse})
        box->setText(QString());
    for (QComboBox *combo : {cbotype, cbolawyer, cboapplicable, cboagency}) {
        combo->clear();
        if (combo->isEditable())
            combo->setEditText(QString());
    }
    for (FlexGrid *grid : {mfgsigndetails, mfgwitnessdetails, mfgcontent, mfgsummary, mfgfinance}) {
        grid->resetToNew();
        grid->setRows(2);
    }
    lvwPayment->clear();
    SSTab1->setCurrentIndex(0);

    // Options as built: setting the chosen one runs its click, which empties its list as at the start. A
    // lone option can only be cleared while it is not exclusive.
    for (const InitialState &initial : m_initial) {
        auto *option = qobject_cast<QRadioButton *>(initial.control.data());
        if (!option || initial.checked == option->isChecked())
            continue;
        if (initial.checked) {
            option->setChecked(true);
        } else if (!option->autoExclusive() || option->group() == nullptr) {
            const bool exclusive = option->autoExclusive();
            option->setAutoExclusive(false);
            option->setChecked(false);
            option->setAutoExclusive(exclusive);
        }
    }
    for (const InitialState &initial : m_initial) {
        if (!initial.control)
            continue;
        initial.control->setHidden(initial.hidden);
        initial.control->setEnabled(!initial.disabled);
    }
    for (QObject *control : platform::formControls(this))
        platform::setTag(control, QString());
    // The next showing starts at the first field, as a new form's does.
    if (QWidget *focus = focusWidget())
        focus->clearFocus();

    dbService.reset();
    generalService.reset();
    agreementId = 0;
    firstActivation = false;
    saved = false;
    lastNumberText.clear();
    m_unloaded = false;
}

FrmAgreementreg::~FrmAgreementreg() = default;

void FrmAgreementreg::buildForm()
{
    // Controls are created in tab order, each with its parent, so that Tab (and Enter) walks the form
    // from top to bottom.
    auto label = [](QWidget *parent, const QString &caption, QWidget *buddy = nullptr) {
        auto *l = new QLabel(caption, parent);
        if (buddy)
            l->setBuddy(buddy);
        return l;
    };
    auto lineEdit = [](QWidget *parent, const char *name) {
        auto *e = new QLineEdit(parent);
        e->setObjectName(QLatin1String(name));
        return e;
    };
    auto comboBox = [](QWidget *parent, const char *name, bool editable) {
        auto *c = new QComboBox(parent);
        c->setObjectName(QLatin1String(name));
        c->setEditable(editable);
        c->setInsertPolicy(QComboBox::NoInsert);
        if (editable)
            c->setCompleter(nullptr); // what the user types stays as typed
        return c;
    };
    auto option = [](QWidget *parent, const char *name, const QString &caption) {
        auto *o = new QRadioButton(caption, parent);
        o->setObjectName(QLatin1String(name));
        // As wide as its caption: a click beside the caption would hit the option's empty rest.
        o->setSizePolicy(QSizePolicy::Maximum, QSizePolicy::Fixed);
        return o;
    };
    auto datePicker = [](QWidget *parent, const char *name) {
        auto *d = new platform::DatePicker(parent);
        d->setObjectName(QLatin1String(name));
        return d;
    };
    auto detailGrid = [](QWidget *parent, const char *name) {
        auto *g = new FlexGrid(parent);
        g->setObjectName(QLatin1String(name));
        return g;
    };
    auto button = [](QWidget *parent, const char *name, const QString &caption) {
        auto *b = new QPushButton(caption, parent);
        b->setObjectName(QLatin1String(name));
        // Enter moves to the next field; it must never press a button behind the user's back.
        b->setAutoDefault(false);
        b->setDefault(false);
        return b;
    };

    auto *main = new QVBoxLayout(this);

    // Header.
    auto *header = new QGridLayout;
    main->addLayout(header);
    txtagreementNo = lineEdit(this, "txtagreementNo");
    txtdate = lineEdit(this, "txtdate");
    cbotype = comboBox(this, "cbotype", true);
    txtdesc = lineEdit(this, "txtdesc");
    txtrefno = lineEdit(this, "txtrefno");
    header->addWidget(label(this, QStringLiteral("&Agre.No.:"), txtagreementNo), 0, 0);
    header->addWidget(txtagreementNo, 0, 1);
    header->addWidget(label(this, QStringLiteral("&Date :"), txtdate), 0, 2);
    header->addWidget(txtdate, 0, 3);
    header->addWidget(label(this, QStringLiteral("&Type :"), cbotype), 0, 4);
    header->addWidget(cbotype, 0, 5);
    header->addWidget(label(this, QStringLiteral("D&esc :"), txtdesc), 1, 0);
    header->addWidget(txtdesc, 1, 1, 1, 3);
    header->addWidget(label(this, QStringLiteral("&Ref.No. :"), txtrefno), 1, 4);
    header->addWidget(txtrefno, 1, 5);

    // Where the agreement applies, and with whom.
    auto *parties = new QHBoxLayout;
    main->addLayout(parties);
    fraApplicable = new QGroupBox(QStringLiteral("Applicable To"), this);
    fraApplicable->setObjectName(QStringLiteral("fraApplicable"));
    optShop = option(fraApplicable, "optShop", QStringLiteral("Sho&p"));
    optgodown = option(fraApplicable, "optgodown", QStringLiteral("&Godown"));
    optHq = option(fraApplicable, "optHq", QStringLiteral("H.O."));
    cboapplicable = comboBox(fraApplicable, "cboapplicable", false);
    txtapplicable = lineEdit(fraApplicable, "txtapplicable");
    auto *applicable = new QGridLayout(fraApplicable);
    applicable->addWidget(optShop, 0, 0);
    applicable->addWidget(optgodown, 0, 1);
    applicable->addWidget(optHq, 0, 2);
    applicable->addWidget(cboapplicable, 1, 0, 1, 3);
    applicable->addWidget(txtapplicable, 2, 0, 1, 3);
    parties->addWidget(fraApplicable);

    fraageny = new QGroupBox(QStringLiteral("Agenc&y"), this);
    fraageny->setObjectName(QStringLiteral("fraageny"));
    optcustomer = option(fraageny, "optcustomer", QStringLiteral("&Customer"));
    optsupplier = option(fraageny, "optsupplier", QStringLiteral("&Supplier"));
    optothers = option(fraageny, "optothers", QStringLiteral("&Others"));
    cboagency = comboBox(fraageny, "cboagency", false);
    txtagency = lineEdit(fraageny, "txtagency");
    auto *agency = new QGridLayout(fraageny);
    agency->addWidget(optcustomer, 0, 0);
    agency->addWidget(optsupplier, 0, 1);
    agency->addWidget(optothers, 0, 2);
    agency->addWidget(cboagency, 1, 0, 1, 3);
    agency->addWidget(txtagency, 2, 0, 1, 3);
    parties->addWidget(fraageny);

    // Until a shop, godown, customer or supplier is chosen there is nothing to pick from.
    optHq->setChecked(true);
    optothers->setChecked(true);
    cboapplicable->setEnabled(false);
    cboagency->setEnabled(false);
    platform::optionGroupAsOneTabStop({optShop, optgodown, optHq});
    platform::optionGroupAsOneTabStop({optcustomer, optsupplier, optothers});

    auto *alert = new QHBoxLayout;
    main->addLayout(alert);
    txtalertnoofdays = lineEdit(this, "txtalertnoofdays");
    txtalertremarks = lineEdit(this, "txtalertremarks");
    alert->addWidget(label(this, QStringLiteral("Alert &No of Days:"), txtalertnoofdays));
    alert->addWidget(txtalertnoofdays);
    alert->addWidget(label(this, QStringLiteral("Alert remarks:"), txtalertremarks));
    alert->addWidget(txtalertremarks, 1);

    // The tabs.
    SSTab1 = new QTabWidget(this);
    SSTab1->setObjectName(QStringLiteral("SSTab1"));
    // Enter walks from the header straight into the current page; pages are chosen by their access keys.
    SSTab1->tabBar()->setFocusPolicy(Qt::NoFocus);
    // All six tabs always show: the form is never made narrower than its tab strip.
    SSTab1->setUsesScrollButtons(false);
    main->addWidget(SSTab1, 1);

    auto *general = new QWidget(SSTab1);
    SSTab1->addTab(general, QStringLiteral("&General"));
    dtpsigned = datePicker(general, "dtpsigned");
    dtpvalidfrom = datePicker(general, "dtpvalidfrom");
    dtpvalidto = datePicker(general, "dtpvalidto");
    cbolawyer = comboBox(general, "cbolawyer", true);
    txtnoofpages = lineEdit(general, "txtnoofpages");
    txtphyloc = lineEdit(general, "txtphyloc");
    auto *generalLayout = new QGridLayout(general);
    generalLayout->addWidget(label(general, QStringLiteral("Signed Date :"), dtpsigned), 0, 0);
    generalLayout->addWidget(dtpsigned, 0, 1);
    generalLayout->addWidget(label(general, QStringLiteral("Valid Fro&m :"), dtpvalidfrom), 0, 2);
    generalLayout->addWidget(dtpvalidfrom, 0, 3);
    generalLayout->addWidget(label(general, QStringLiteral("Valid To :"), dtpvalidto), 0, 4);
    generalLayout->addWidget(dtpvalidto, 0, 5);
    generalLayout->addWidget(label(general, QStringLiteral("&Lawyer :"), cbolawyer), 1, 0);
    generalLayout->addWidget(cbolawyer, 1, 1);
    generalLayout->addWidget(label(general, QStringLiteral("&No of Pages :"), txtnoofpages), 1, 2);
    generalLayout->addWidget(txtnoofpages, 1, 3);
    generalLayout->addWidget(label(general, QStringLiteral("Physcial Loc.:"), txtphyloc), 1, 4);
    generalLayout->addWidget(txtphyloc, 1, 5);
    frasigndetails = new QGroupBox(QStringLiteral("Sign Details"), general);
    frasigndetails->setObjectName(QStringLiteral("frasigndetails"));
    mfgsigndetails = detailGrid(frasigndetails, "mfgsigndetails");
    (new QVBoxLayout(frasigndetails))->addWidget(mfgsigndetails);
    generalLayout->addWidget(frasigndetails, 2, 0, 1, 6);
    fraWitness = new QGroupBox(QStringLiteral("Witness"), general);
    fraWitness->setObjectName(QStringLiteral("fraWitness"));
    mfgwitnessdetails = detailGrid(fraWitness, "mfgwitnessdetails");
    (new QVBoxLayout(fraWitness))->addWidget(mfgwitnessdetails);
    generalLayout->addWidget(fraWitness, 3, 0, 1, 6);

    auto *agencyPage = new QWidget(SSTab1);
    SSTab1->addTab(agencyPage, QStringLiteral("Age&ncy Details"));
    auto *agencyLayout = new QGridLayout(agencyPage);
    struct AgencyField
    {
        QLineEdit **box;
        const char *name;
        QString caption;
    };
    const AgencyField agencyFields[] = {
        {&txthqadd, "txthqadd", QStringLiteral("Head Off.Add :")},
        {&txttelephone, "txttelephone", QStringLiteral("Contact No:")},
        {&txtemail, "txtemail", QStringLiteral("E-Mail :")},
        {&txtwebsite, "txtwebsite", QStringLiteral("We&b Site:")},
        {&txtpocaddr, "txtpocaddr", QStringLiteral("POC Addr. :")},
        {&txtpoctele, "txtpoctele", QStringLiteral("POC Contact No:")},
        {&txtpocdesg, "txtpocdesg", QStringLiteral("POC Desg.:")},
        {&txtpocemail, "txtpocemail", QStringLiteral("POC E-Mail :")},
    };
    int agencyRow = 0;
    for (const AgencyField &field : agencyFields) {
        *field.box = lineEdit(agencyPage, field.name);
        agencyLayout->addWidget(label(agencyPage, field.caption, *field.box), agencyRow, 0);
        agencyLayout->addWidget(*field.box, agencyRow, 1);
        ++agencyRow;
    }
    agencyLayout->setRowStretch(agencyRow, 1);

    auto gridPage = [this, &detailGrid](const char *name, const QString &caption) {
        auto *page = new QWidget(SSTab1);
        SSTab1->addTab(page, caption);
        FlexGrid *grid = detailGrid(page, name);
        (new QVBoxLayout(page))->addWidget(grid);
        return grid;
    };
    mfgcontent = gridPage("mfgcontent", QStringLiteral("Contents Deta&ils"));
    mfgsummary = gridPage("mfgsummary", QStringLiteral("S&ummary Details"));
    mfgfinance = gridPage("mfgfinance", QStringLiteral("&Finance details"));

    auto *paymentPage = new QWidget(SSTab1);
    SSTab1->addTab(paymentPage, QStringLiteral("Payment Details"));
    lvwPayment = new QTreeWidget(paymentPage);
    lvwPayment->setObjectName(QStringLiteral("lvwPayment"));
    lvwPayment->setRootIsDecorated(false);
    lvwPayment->setHeaderLabels({QStringLiteral("Sl No"), QStringLiteral("Payment No"),
                                 QStringLiteral("Payment Date"), QStringLiteral("Remarks"),
                                 QStringLiteral("Payee"), QStringLiteral("Amount")});
    (new QVBoxLayout(paymentPage))->addWidget(lvwPayment);

    // Scan copies and the buttons.
    auto *bottom = new QHBoxLayout;
    main->addLayout(bottom);
    frasacnCopy = new QGroupBox(this);
    frasacnCopy->setObjectName(QStringLiteral("frasacnCopy"));
    optScanCopy = option(frasacnCopy, "optScanCopy", QStringLiteral("Scan Copy"));
    txtBrowse = lineEdit(frasacnCopy, "txtBrowse");
    auto *browseLabel = label(frasacnCopy, QStringLiteral("Browse:"), txtBrowse);
    cmdBrowse = button(frasacnCopy, "cmdBrowse", QStringLiteral("..."));
    auto *scan = new QHBoxLayout(frasacnCopy);
    scan->addWidget(optScanCopy);
    scan->addWidget(browseLabel);
    scan->addWidget(txtBrowse, 1);
    scan->addWidget(cmdBrowse);
    bottom->addWidget(frasacnCopy, 1);
    // K: the O of "OK" belongs to "&Others".
    cmdOK = button(this, "cmdok", QStringLiteral("O&K"));
    cmdcancel = button(this, "cmdcancel", QStringLiteral("&Close"));
    cmdScan = button(this, "cmdScan", QStringLiteral("Add Scan Copies"));
    bottom->addWidget(cmdOK);
    bottom->addWidget(cmdcancel);
    bottom->addWidget(cmdScan);

    for (FlexGrid *grid : {mfgsigndetails, mfgwitnessdetails, mfgcontent, mfgsummary, mfgfinance})
        grid->setRows(2); // an empty list is one blank row

    const QList<QWidget *> tabOrder = {
        txtagreementNo,    txtdate,     cbotype,       txtdesc,          txtrefno,        optShop,
        optgodown,         optHq,       cboapplicable, txtapplicable,    optcustomer,     optsupplier,
        optothers,         cboagency,   txtagency,     txtalertnoofdays, txtalertremarks, dtpsigned,
        dtpvalidfrom,      dtpvalidto,  cbolawyer,     txtnoofpages,     txtphyloc,       mfgsigndetails,
        mfgwitnessdetails, txthqadd,    txttelephone,  txtemail,         txtwebsite,      txtpocaddr,
        txtpoctele,        txtpocdesg,  txtpocemail,   mfgcontent,       mfgsummary,      mfgfinance,
        lvwPayment,        optScanCopy, txtBrowse,     cmdBrowse,        cmdOK,           cmdcancel,
        cmdScan,
    };
    for (qsizetype i = 1; i < tabOrder.size(); ++i)
        QWidget::setTabOrder(tabOrder.at(i - 1), tabOrder.at(i));
}

void FrmAgreementreg::wireHandlers()
{
    connect(cmdOK, &QPushButton::clicked, this, platform::trapped([this] { cmdOK_Click(); }));
    connect(cmdcancel, &QPushButton::clicked, this, platform::trapped([this] { cmdcancel_Click(); }));
    connect(cmdScan, &QPushButton::clicked, this, platform::trapped([this] { cmdScan_Click(); }));
    connect(cmdBrowse, &QPushButton::clicked, this, platform::trapped([this] { cmdBrowse_Click(); }));

    onOptionClick(optScanCopy, [this] { optScanCopy_Click(); });
    onOptionClick(optShop, [this] { optShop_Click(); });
    onOptionClick(optgodown, [this] { optgodown_Click(); });
    onOptionClick(optHq, [this] { optHq_Click(); });
    onOptionClick(optcustomer, [this] { optcustomer_Click(); });
    onOptionClick(optsupplier, [this] { optsupplier_Click(); });
    onOptionClick(optothers, [this] { optothers_Click(); });
    // Filling a list is no pick: only the user's choice counts as a click.
    connect(cboapplicable, &QComboBox::activated, this, platform::trapped([this] { cboapplicable_Click(); }));
    connect(cboagency, &QComboBox::activated, this, platform::trapped([this] { cboagency_Click(); }));

    const QList<QWidget *> enterMovesOn = {
        txtagency,   txtagreementNo, txtalertremarks, txtapplicable, txtdate,       txtdesc,     txtemail,
        txthqadd,    txtnoofpages,   txtphyloc,       txtpocaddr,    txtpocdesg,    txtpocemail, txtpoctele,
        txtrefno,    txttelephone,   txtwebsite,      cboagency,     cboapplicable, cbolawyer,   cbotype,
        optcustomer, optgodown,      optHq,           optothers,     optShop,       optsupplier, cmdOK,
    };
    for (QWidget *control : enterMovesOn)
        onKeyPress(control, [this, control](qint16 &keyAscii) { EnterKeyPress(control, keyAscii); });
    onKeyPress(txtalertnoofdays, [this](qint16 &keyAscii) { txtalertnoofdays_KeyPress(keyAscii); });
    for (QDateEdit *picker : {dtpsigned, dtpvalidfrom, dtpvalidto}) {
        onKeyDown(picker,
                  [this, picker](qint16 &keyCode, int shift) { dtp_KeyDown(picker, keyCode, shift); });
    }
}

// ---------------------------------------------------------------------------------------------------------
// Loading, activation, closing

void FrmAgreementreg::Form_Load()
{
    bas::Trap(this, "Form_Load", [this] {
        ModuleContext &ctx = context();
        platform::Connection &con = *ctx.connection();
        dbService.create(progid::DbService);
        dbService->setAdocon(&con);
        generalService.create(progid::GeneralService);

        themeService()->ApplyScreenTheme(this);
        themeService()->Applytabcolor(SSTab1);

        const QDate processDate = ctx.processDate.date();
        txtdate->setText(processDate.toString(QStringLiteral("dd/MM/yyyy")));
        for (QDateEdit *picker : {dtpsigned, dtpvalidfrom, dtpvalidto})
            picker->setDate(processDate);

        firstActivation = true;

        // Lawyers and types as stored, in the server's order; the boxes themselves start empty.
        const QString department = number(ctx.departmentId);
        const auto fillLookup = [&con](QComboBox *combo, const QString &sql) {
            platform::Recordset rs;
            rs.Open(sql, con);
            {
                const QSignalBlocker quiet(combo);
                for (; !rs.isEOF(); rs.MoveNext())
                    combo->addItem(rs.Fields(0).text());
                combo->setCurrentIndex(-1);
                combo->setEditText(QString());
            }
            rs.Close();
        };
        fillLookup(
            cbolawyer,
            QStringLiteral("select distinct agrLawyer  from agreementregister where agrLawyer<>''  and "
                           " agrdepartmentid=") +
                department);
        fillLookup(cbotype, QStringLiteral("select distinct agragreementtype  from agreementregister where "
                                           "agragreementtype <>'' and "
                                           " agrdepartmentid=") +
                                department);

        if (bas::entryMode() == QLatin1String("N")) {
            for (QDateEdit *picker : {dtpsigned, dtpvalidfrom, dtpvalidto})
                picker->setDate(processDate);
            cmdScan->setEnabled(false);
        }

        layOutGrid(mfgsigndetails, QStringLiteral("|SNo |Sign By |Position |Date |Agency "),
                   {0, 1750, 4900, 3520, 2500, 1000});
        layOutGrid(mfgwitnessdetails, QStringLiteral("|SNo |Witness |Position |Date |Address|Agency "),
                   {0, 1170, 3600, 2000, 1700, 3900, 1000});
        layOutGrid(mfgcontent, QStringLiteral("|SNo |Contents "), {0, 750, 12700});
        layOutGrid(mfgsummary, QStringLiteral("|SNo |Summary Details "), {0, 750, 12700});
        layOutGrid(mfgfinance, QStringLiteral("|SNo |Terms and Conditions "), {0, 750, 12700});
    });
}

void FrmAgreementreg::Form_Activate()
{
    bas::Trap(this, "Form_Activate", [this] {
        // The baseline of the closing check: the form as loaded and filled, taken once.
        if (firstActivation) {
            firstActivation = false;
            auditService()->SaveInToTag(this);
        }
    });
}

bool FrmAgreementreg::event(QEvent *event)
{
    if (event->type() == QEvent::WindowActivate)
        Form_Activate();
    return QDialog::event(event);
}

void FrmAgreementreg::showEvent(QShowEvent *event)
{
    QDialog::showEvent(event);
    // An offscreen or inactive window may never be activated; being shown is as far as it gets.
    Form_Activate();
}

void FrmAgreementreg::Form_QueryUnload(bool &cancel, int unloadMode)
{
    Q_UNUSED(unloadMode);
    bas::Trap(this, "Form_QueryUnload", [this, &cancel] {
        // Opened for viewing only, or already saved: nothing to ask.
        if (!cmdOK->isEnabled())
            return;
        const bool changed = bas::ChangeTest(this);
        const bool dataChanged = auditService()->DataChanged(this);
        if (!changed && !dataChanged)
            return;
        const int answer =
            platform::MsgBox(QStringLiteral("Do you want to save the changes?"),
                             platform::vb::YesNo | platform::vb::Question, context().msgBoxCaption);
        if (answer != platform::vb::Yes)
            return;
        cmdOK_Click();
        if (!saved)
            cancel = true;
    });
}

bool FrmAgreementreg::Unload()
{
    if (m_unloaded)
        return true;
    bool cancel = false;
    Form_QueryUnload(cancel, 1);
    if (cancel)
        return false;
    // A Yes to the closing question saves, and the save unloads the form itself.
    if (m_unloaded)
        return true;
    m_unloaded = true;
    Instance::release(this);
    // The popup works on this form's grids and goes with it.
    unloadFrmpopup();
    QDialog::done(QDialog::Rejected);
    // The widgets wait for the next opening; the form is emptied when it is taken again, since the closing
    // check that unloaded it may still read its saved flag.
    if (keptInstance() && keptInstance() != this)
        keptInstance()->deleteLater();
    keptInstance() = this;
    return true;
}

void FrmAgreementreg::reject()
{
    // Escape and the window's close button unload the form, through the closing check.
    Unload();
}

void FrmAgreementreg::cmdcancel_Click()
{
    bas::Trap(this, "cmdcancel_Click", [this] { Unload(); });
}

void FrmAgreementreg::cmdScan_Click()
{
    // No trap: an error while the copies load goes on to the event loop's last-chance handler.
    platform::showModal(frmScanCopies(), this);
}

void FrmAgreementreg::cmdBrowse_Click()
{
    const QString file = platform::ShowOpen(
        {QStringLiteral("Item Image"), QStringLiteral("Jpeg Files (*.jpg)|*.jpg"), QStringLiteral("jpg")},
        this);
    if (!file.isEmpty())
        txtBrowse->setText(file);
}

void FrmAgreementreg::optScanCopy_Click()
{
    frasacnCopy->setEnabled(true);
}

// ---------------------------------------------------------------------------------------------------------
// Applicability and party

void FrmAgreementreg::fillPartyList(QComboBox *combo, QLineEdit *text, const char *table,
                                    const char *keyColumn, const char *displayColumn)
{
    // Refilled on every click: an earlier pick is dropped and has to be made again.
    combo->clear();
    text->setText(QString());
    combo->setEnabled(true);
    platform::setMousePointer(this, platform::vbHourglass);
    dbService->setStrTableName(QLatin1String(table));
    dbService->populateComboorList(combo, QLatin1String(keyColumn), QLatin1String(displayColumn),
                                   QStringLiteral("CompanyID=") + number(context().companyId));
    platform::setMousePointer(this, platform::vbDefault);
}

void FrmAgreementreg::clearPartyList(QComboBox *combo, QLineEdit *text)
{
    combo->clear();
    text->setText(QString());
    combo->setCurrentIndex(-1);
    combo->setEnabled(false);
}

void FrmAgreementreg::optShop_Click()
{
    bas::Trap(this, "optShop_Click",
              [this] { fillPartyList(cboapplicable, txtapplicable, "ashops", "shopid", "shopname"); });
}

void FrmAgreementreg::optgodown_Click()
{
    bas::Trap(this, "optgodown_Click",
              [this] { fillPartyList(cboapplicable, txtapplicable, "agodown", "godownid", "godownname"); });
}

void FrmAgreementreg::optHq_Click()
{
    bas::Trap(this, "optHq_Click", [this] { clearPartyList(cboapplicable, txtapplicable); });
}

void FrmAgreementreg::optcustomer_Click()
{
    bas::Trap(this, "optcustomer_Click", [this] {
        fillPartyList(cboagency, txtagency, "acustomermaster", "customerid", "customername");
    });
}

void FrmAgreementreg::optsupplier_Click()
{
    bas::Trap(this, "optsupplier_Click",
              [this] { fillPartyList(cboagency, txtagency, "avendormaster", "vendorid", "vendorname"); });
}

void FrmAgreementreg::optothers_Click()
{
    bas::Trap(this, "optothers_Click", [this] { clearPartyList(cboagency, txtagency); });
}

void FrmAgreementreg::cboapplicable_Click()
{
    bas::Trap(this, "cboapplicable_Click", [this] {
        if (cboapplicable->isEnabled() && cboapplicable->currentIndex() > -1)
            txtapplicable->setText(cboapplicable->currentText());
    });
}

void FrmAgreementreg::cboagency_Click()
{
    bas::Trap(this, "cboagency_Click", [this] {
        if (cboagency->isEnabled() && cboagency->currentIndex() > -1)
            txtagency->setText(cboagency->currentText());
    });
}

// ---------------------------------------------------------------------------------------------------------
// Keys

void FrmAgreementreg::EnterKeyPress(QWidget *control, qint16 &keyAscii)
{
    const QByteArray procedure = control->objectName().toLatin1() + "_KeyPress";
    bas::Trap(this, procedure.constData(), [&keyAscii] { bas::EnterKeyFilter(keyAscii); });
}

void FrmAgreementreg::txtalertnoofdays_KeyPress(qint16 &keyAscii)
{
    bas::Trap(this, "txtalertnoofdays_KeyPress", [this, &keyAscii] {
        bas::EnterKeyFilter(keyAscii);
        generalService->TextValidateNum(txtalertnoofdays, keyAscii, 20);
    });
}

void FrmAgreementreg::dtp_KeyDown(QWidget *picker, qint16 &keyCode, int shift)
{
    Q_UNUSED(shift);
    const QByteArray procedure = picker->objectName().toLatin1() + "_KeyDown";
    bas::Trap(this, procedure.constData(), [&keyCode] {
        if (keyCode == platform::key::Enter)
            platform::SendKeysTab();
    });
}

// ---------------------------------------------------------------------------------------------------------
// Default instance

FrmAgreementreg *frmAgreementreg()
{
    return Instance::get([] {
        FrmAgreementreg *form = keptInstance();
        keptInstance() = nullptr;
        if (form) {
            form->resetForReuse();
        } else {
            form = new FrmAgreementreg;
            form->rememberInitialState();
        }
        return form;
    });
}

FrmAgreementreg *frmAgreementregIfLoaded()
{
    return Instance::ifLoaded();
}

void prepareFrmAgreementreg()
{
    if (Instance::ifLoaded() || keptInstance())
        return;
    auto *form = new FrmAgreementreg;
    form->rememberInitialState();
    form->m_unloaded = true;
    // Form_Load themes the form again, which costs nothing once it carries the theme. Without a theme
    // service the form is simply not styled ahead; Form_Load then reports it.
    platform::Trap(
        [form] {
            themeService()->ApplyScreenTheme(form);
            themeService()->Applytabcolor(form->SSTab1);
        },
        {});
    // Qt styles a control when it is first needed; all of them now, while nobody waits.
    form->ensurePolished();
    keptInstance() = form;
}

void discardFrmAgreementreg()
{
    if (FrmAgreementreg *form = keptInstance()) {
        keptInstance() = nullptr;
        form->deleteLater();
    }
}

bool unloadFrmAgreementreg()
{
    return Instance::unload();
}

} // namespace agr
