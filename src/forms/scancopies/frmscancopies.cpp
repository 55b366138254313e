#include "frmscancopies.h"

#include "forms/defaultinstance.h"
#include "forms/formevents.h"
#include "forms/gridcolumn.h"
#include "module/basagreementreg.h"
#include "module/modulecontext.h"
#include "module/moduleservices.h"
#include "platform/database/connection.h"
#include "platform/grid/flexgrid.h"
#include "platform/ui/picturebox.h"
#include "platform/ui/seams.h"
#include "platform/ui/units.h"

#include <QFile>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QShowEvent>
#include <QVBoxLayout>

namespace agr {

namespace {

using platform::FlexGrid;

QString agreementId()
{
    return QString::number(bas::currentAgreementId());
}

} // namespace

FrmScanCopies::FrmScanCopies(QWidget *parent) : QDialog(parent)
{
    setObjectName(QStringLiteral("FrmScanCopies"));
    setWindowTitle(QStringLiteral("Scan Copies"));
    buildForm();
}

FrmScanCopies::~FrmScanCopies() = default;

void FrmScanCopies::buildForm()
{
    auto button = [this](const char *name, const QString &caption) {
        auto *b = new QPushButton(caption, this);
        b->setObjectName(QLatin1String(name));
        // Enter moves to the next field; it must never press a button behind the user's back.
        b->setAutoDefault(false);
        b->setDefault(false);
        return b;
    };
    auto lineEdit = [this](const char *name) {
        auto *e = new QLineEdit(this);
        e->setObjectName(QLatin1String(name));
        return e;
    };

    mfgDetails = new FlexGrid(this);
    mfgDetails->setObjectName(QStringLiteral("mfgDetails"));
    mfgDetails->setMinimumWidth(platform::twipsToPixels(4300, this));
    imgShow = new platform::PictureBox(this);
    imgShow->setObjectName(QStringLiteral("imgShow"));
    imgShow->setMinimumSize(platform::twipsToPixels(6000, this), platform::twipsToPixels(4500, this));
    txtName = lineEdit("txtName");
    txtBrowse = lineEdit("txtBrowse");
    cmdBrowse = button("cmdBrowse", QStringLiteral("&Browse..."));
    cmdAdd = button("cmdAdd", QStringLiteral("&Add"));
    cmdOK = button("cmdOK", QStringLiteral("&OK"));
    Command1 = button("Command1", QStringLiteral("&Close"));

    auto *documents = new QLabel(QStringLiteral("&Documents:"), this);
    documents->setBuddy(mfgDetails);
    auto *nameLabel = new QLabel(QStringLiteral("Doc &Name:"), this);
    nameLabel->setBuddy(txtName);
    auto *fileLabel = new QLabel(QStringLiteral("&File:"), this);
    fileLabel->setBuddy(txtBrowse);

    auto *main = new QGridLayout(this);
    main->addWidget(documents, 0, 0);
    main->addWidget(mfgDetails, 1, 0);
    main->addWidget(imgShow, 0, 1, 2, 1);
    main->setColumnStretch(1, 1);
    main->setRowStretch(1, 1);
    auto *entry = new QHBoxLayout;
    entry->addWidget(nameLabel);
    entry->addWidget(txtName, 1);
    entry->addWidget(fileLabel);
    entry->addWidget(txtBrowse, 2);
    entry->addWidget(cmdBrowse);
    entry->addWidget(cmdAdd);
    main->addLayout(entry, 2, 0, 1, 2);
    auto *buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(cmdOK);
    buttons->addWidget(Command1);
    main->addLayout(buttons, 3, 0, 1, 2);

    // Laid over a name cell while it is renamed; outside the layout.
    txttname = lineEdit("txttname");
    txttname->hide();
    txttname->installEventFilter(this);

    QWidget::setTabOrder(mfgDetails, txtName);
    QWidget::setTabOrder(txtName, txtBrowse);
    QWidget::setTabOrder(txtBrowse, cmdBrowse);
    QWidget::setTabOrder(cmdBrowse, cmdAdd);
    QWidget::setTabOrder(cmdAdd, cmdOK);
    QWidget::setTabOrder(cmdOK, Command1);

    connect(cmdBrowse, &QPushButton::clicked, this, platform::trapped([this] { cmdBrowse_Click(); }));
    connect(cmdAdd, &QPushButton::clicked, this, platform::trapped([this] { cmdAdd_Click(); }));
    connect(cmdOK, &QPushButton::clicked, this, platform::trapped([this] { cmdOK_Click(); }));
    connect(Command1, &QPushButton::clicked, this, platform::trapped([this] { Command1_Click(); }));
    connect(mfgDetails, &FlexGrid::EnterCell, this, platform::trapped([this] { mfgDetails_EnterCell(); }));
    connect(mfgDetails, &FlexGrid::Click, this, platform::trapped([this] { mfgDetails_Click(); }));
    connect(mfgDetails, &FlexGrid::KeyPress, this,
            platform::trapped([this](qint16 &keyAscii) { mfgDetails_KeyPress(keyAscii); }));
    for (QLineEdit *box : {txtName, txtBrowse})
        onKeyPress(box, [](qint16 &keyAscii) { bas::EnterKeyFilter(keyAscii); });
    onKeyPress(txttname, [this](qint16 &keyAscii) { txttname_KeyPress(keyAscii); });
}

// ---------------------------------------------------------------------------------------------------------
// Loading

QString FrmScanCopies::tempFile(const QString &serialNo)
{
    return appPath() + QStringLiteral("/pic") + serialNo + QStringLiteral(".jpg");
}

void FrmScanCopies::deleteTempFiles()
{
    for (int n = 1; n <= 100; ++n)
        QFile::remove(tempFile(QString::number(n))); // a file that is not there is no failure
}

void FrmScanCopies::Form_Load()
{
    mfgDetails->setCols(4);
    const int widths[] = {1000, 2850, 0, 0};
    for (int column = 0; column < 4; ++column)
        mfgDetails->setColWidth(column, widths[column]);
    mfgDetails->setTextMatrix(0, col(ScanCol::SlNo), QStringLiteral("Sl No"));
    mfgDetails->setTextMatrix(0, col(ScanCol::DocName), QStringLiteral("Doc Name"));

    const platform::Hourglass wait;
    platform::Recordset rs;
    rs.Open(QStringLiteral("Select * from AgreementScanCopyDetails where agsAgreementID = ") + agreementId(),
            *context().connection());
    // Each record's file holds that record's image alone, so that OK stores every copy as it was stored.
    for (; !rs.isEOF(); rs.MoveNext()) {
        const platform::Field image = rs[QStringLiteral("agsDocuments")];
        if (image.isNull())
            continue;
        const int row = mfgDetails->Rows() - 1;
        const QString serialNo = rs[QStringLiteral("agsDetailID")].text();
        mfgDetails->setTextMatrix(row, col(ScanCol::SlNo), serialNo);
        mfgDetails->setTextMatrix(row, col(ScanCol::DocName), rs[QStringLiteral("agsAgreementName")].text());
        const QString file = tempFile(serialNo);
        platform::SaveToFile(file, image.Value().toByteArray());
        mfgDetails->setTextMatrix(row, col(ScanCol::Path), file);
        mfgDetails->setTextMatrix(row, col(ScanCol::Origin), QStringLiteral("E"));
        mfgDetails->setRows(mfgDetails->Rows() + 1);
    }
    rs.Close();

    themeService()->ApplyScreenTheme(this);
}

// ---------------------------------------------------------------------------------------------------------
// Adding

void FrmScanCopies::cmdBrowse_Click()
{
    const QString file = platform::ShowOpen(
        {QStringLiteral("Item Image"), QStringLiteral("Jpeg Files (*.jpg)|*.jpg"), QStringLiteral("jpg")},
        this);
    if (file.isEmpty())
        return;
    imgShow->LoadPicture(file);
    txtBrowse->setText(file);
}

void FrmScanCopies::cmdAdd_Click()
{
    if (txtName->text().isEmpty()) {
        Inform(QStringLiteral("Enter name."));
        txtName->setFocus();
        return;
    }
    if (txtBrowse->text().isEmpty()) {
        Inform(QStringLiteral("Select a Picture."));
        cmdBrowse->setFocus();
        return;
    }
    const int row = mfgDetails->Rows() - 1;
    mfgDetails->setTextMatrix(row, col(ScanCol::SlNo), QString::number(row));
    mfgDetails->setTextMatrix(row, col(ScanCol::DocName), txtName->text());
    mfgDetails->setTextMatrix(row, col(ScanCol::Path), txtBrowse->text());
    mfgDetails->setTextMatrix(row, col(ScanCol::Origin), QStringLiteral("N"));
    mfgDetails->setRows(mfgDetails->Rows() + 1);
    mfgDetails->ensureRowVisible(row);
    txtName->clear();
    txtBrowse->clear();
    txtName->setFocus();
}

// ---------------------------------------------------------------------------------------------------------
// Showing and renaming

void FrmScanCopies::mfgDetails_EnterCell()
{
    showPicture();
}

void FrmScanCopies::showPicture()
{
    const int row = mfgDetails->Row();
    if (mfgDetails->TextMatrix(row, col(ScanCol::Path)).isEmpty())
        return;
    const bool stored = mfgDetails->TextMatrix(row, col(ScanCol::Origin)) == QLatin1String("E");
    imgShow->LoadPicture(stored ? tempFile(mfgDetails->TextMatrix(row, col(ScanCol::SlNo)))
                                : mfgDetails->TextMatrix(row, col(ScanCol::Path)));
}

void FrmScanCopies::mfgDetails_Click()
{
    // A click on the current row enters no cell; it shows that row's picture all the same.
    showPicture();
    startRenaming();
}

void FrmScanCopies::mfgDetails_KeyPress(qint16 &keyAscii)
{
    // The keyboard's way to rename: Enter on a name cell.
    if (keyAscii == platform::key::Enter)
        startRenaming();
}

void FrmScanCopies::startRenaming()
{
    const int row = mfgDetails->Row();
    if (row < 1 || mfgDetails->TextMatrix(row, col(ScanCol::DocName)).isEmpty() ||
        mfgDetails->Col() != col(ScanCol::DocName))
        return;
    using platform::twipsToPixels;
    txttname->setGeometry(mfgDetails->x() + twipsToPixels(mfgDetails->CellLeft(), mfgDetails),
                          mfgDetails->y() + twipsToPixels(mfgDetails->CellTop(), mfgDetails),
                          twipsToPixels(mfgDetails->CellWidth(), mfgDetails),
                          twipsToPixels(mfgDetails->CellHeight(), mfgDetails));
    txttname->setText(QLatin1Char(' ') + mfgDetails->Text());
    txttname->show();
    txttname->raise();
    txttname->setFocus();
}

void FrmScanCopies::txttname_KeyPress(qint16 &keyAscii)
{
    if (keyAscii == platform::key::Enter && !txttname->text().isEmpty()) {
        mfgDetails->setText(txttname->text());
        keyAscii = 0;
        endRenaming();
    } else if (keyAscii == 27) {
        keyAscii = 0;
        endRenaming();
    }
}

void FrmScanCopies::endRenaming()
{
    txttname->hide();
    mfgDetails->setFocus();
}

void FrmScanCopies::showEvent(QShowEvent *event)
{
    QDialog::showEvent(event);
    if (event->spontaneous())
        return;
    // Opening: the first document is current and shows; a clerk's first key goes to the documents when
    // there are any, else to the name of a new one.
    showPicture();
    (mfgDetails->Rows() > 2 ? static_cast<QWidget *>(mfgDetails) : txtName)->setFocus();
}

bool FrmScanCopies::eventFilter(QObject *watched, QEvent *event)
{
    // Leaving the box another way drops what was typed in it.
    if (watched == txttname && event->type() == QEvent::FocusOut && txttname->isVisible())
        txttname->hide();
    return QDialog::eventFilter(watched, event);
}

// ---------------------------------------------------------------------------------------------------------
// Storing and closing

void FrmScanCopies::cmdOK_Click()
{
    // Nothing here rolls back: a failure after the delete leaves the transaction open, as the module
    // always has.
    platform::Connection &con = *context().connection();
    const platform::Hourglass wait;
    con.BeginTrans();
    // By the agreement id alone: every stored copy of that id is replaced, whatever its department.
    con.Execute(QStringLiteral("Delete from AgreementScanCopyDetails where agsAgreementID = ") +
                agreementId());
    platform::Recordset rs;
    rs.Open(QStringLiteral(" select * from AgreementScanCopyDetails where agsAgreementID = ") + agreementId(),
            con);
    const ModuleContext &ctx = context();
    for (int row = 1; row <= mfgDetails->Rows() - 2; ++row) {
        const QString file = mfgDetails->TextMatrix(row, col(ScanCol::Path));
        if (file.isEmpty())
            continue;
        rs.AddNew();
        rs.setValue(QStringLiteral("agsCompanyID"), ctx.companyId);
        rs.setValue(QStringLiteral("agsAgreementID"), bas::currentAgreementId());
        rs.setValue(QStringLiteral("agsDepartmentID"), ctx.departmentId);
        rs.setValue(QStringLiteral("agsDetailID"), mfgDetails->TextMatrix(row, col(ScanCol::SlNo)));
        rs.setValue(QStringLiteral("agsAgreementName"), mfgDetails->TextMatrix(row, col(ScanCol::DocName)));
        rs.setValue(QStringLiteral("agsDocuments"), platform::LoadFromFile(file));
        rs.Update();
    }
    rs.Close();
    con.CommitTrans();
    deleteTempFiles();
    Unload();
}

void FrmScanCopies::Command1_Click()
{
    Unload();
}

void FrmScanCopies::Form_QueryUnload(bool &cancel, int unloadMode)
{
    Q_UNUSED(cancel);
    Q_UNUSED(unloadMode);
    deleteTempFiles();
}

void FrmScanCopies::Unload()
{
    if (m_unloaded)
        return;
    bool cancel = false;
    Form_QueryUnload(cancel, 1);
    if (cancel)
        return;
    m_unloaded = true;
    DefaultInstance<FrmScanCopies>::release(this);
    QDialog::done(QDialog::Rejected);
    deleteLater();
}

void FrmScanCopies::reject()
{
    // Escape and the window's close button: closing without storing.
    Unload();
}

// ---------------------------------------------------------------------------------------------------------
// Default instance

FrmScanCopies *frmScanCopies()
{
    // Loading has no trap: its error goes on to the caller, and the half-loaded form goes away.
    return DefaultInstance<FrmScanCopies>::get();
}

FrmScanCopies *frmScanCopiesIfLoaded()
{
    return DefaultInstance<FrmScanCopies>::ifLoaded();
}

void unloadFrmScanCopies()
{
    DefaultInstance<FrmScanCopies>::unload();
}

} // namespace agr
