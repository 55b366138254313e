#pragma once
// frmAgreementreg: the form in which one agreement is entered (entry mode "N") or changed ("E").
// The list form opens it; nothing reaches the database before cmdOK_Click, which writes the header and
// the five detail lists in one transaction.

#include "data/contracts.h"
#include "data/services.h"
#include "forms/gridcolumn.h"
#include "platform/database/connection.h"

#include <QDialog>
#include <QPointer>
#include <QString>
#include <vector>

class QAction;
class QComboBox;
class QDateEdit;
class QGroupBox;
class QLineEdit;
class QMenu;
class QPushButton;
class QRadioButton;
class QTabWidget;
class QTreeWidget;

namespace platform {
class FlexGrid;
}

namespace agr {

// Columns of the detail grids. Column 0 is the hidden fixed column; row 0 holds the captions.
enum class SignCol : int
{
    SNo = 1,
    SignBy = 2,
    Position = 3,
    Date = 4,
    Agency = 5
};
enum class WitnessCol : int
{
    SNo = 1,
    Witness = 2,
    Position = 3,
    Date = 4,
    Address = 5,
    Agency = 6
};
// Contents, summary and finance grids: one text per row.
enum class DetailCol : int
{
    SNo = 1,
    Text = 2
};

class FrmAgreementreg : public QDialog
{
    Q_OBJECT
public:
    explicit FrmAgreementreg(QWidget *parent = nullptr);
    ~FrmAgreementreg() override;

    // Header area.
    QLineEdit *txtagreementNo = nullptr;
    QLineEdit *txtdate = nullptr;
    QComboBox *cbotype = nullptr;
    QLineEdit *txtdesc = nullptr;
    QLineEdit *txtrefno = nullptr;
    QGroupBox *fraApplicable = nullptr;
    QRadioButton *optShop = nullptr;
    QRadioButton *optgodown = nullptr;
    QRadioButton *optHq = nullptr;
    QComboBox *cboapplicable = nullptr;
    QLineEdit *txtapplicable = nullptr;
    QGroupBox *fraageny = nullptr;
    QRadioButton *optcustomer = nullptr;
    QRadioButton *optsupplier = nullptr;
    QRadioButton *optothers = nullptr;
    QComboBox *cboagency = nullptr;
    QLineEdit *txtagency = nullptr;
    QLineEdit *txtalertnoofdays = nullptr;
    QLineEdit *txtalertremarks = nullptr;

    // The tabs: General, Agency Details, Contents, Summary, Finance, Payment Details.
    QTabWidget *SSTab1 = nullptr;
    QDateEdit *dtpsigned = nullptr;
    QDateEdit *dtpvalidfrom = nullptr;
    QDateEdit *dtpvalidto = nullptr;
    QComboBox *cbolawyer = nullptr;
    QLineEdit *txtnoofpages = nullptr;
    QLineEdit *txtphyloc = nullptr;
    QGroupBox *frasigndetails = nullptr;
    platform::FlexGrid *mfgsigndetails = nullptr;
    QGroupBox *fraWitness = nullptr;
    platform::FlexGrid *mfgwitnessdetails = nullptr;
    QLineEdit *txthqadd = nullptr;
    QLineEdit *txttelephone = nullptr;
    QLineEdit *txtemail = nullptr;
    QLineEdit *txtwebsite = nullptr; // holds the point of contact's name
    QLineEdit *txtpocaddr = nullptr;
    QLineEdit *txtpoctele = nullptr;
    QLineEdit *txtpocdesg = nullptr;
    QLineEdit *txtpocemail = nullptr;
    platform::FlexGrid *mfgcontent = nullptr;
    platform::FlexGrid *mfgsummary = nullptr;
    platform::FlexGrid *mfgfinance = nullptr;
    QTreeWidget *lvwPayment = nullptr;

    // Scan copies and the buttons.
    QGroupBox *frasacnCopy = nullptr;
    QRadioButton *optScanCopy = nullptr;
    QLineEdit *txtBrowse = nullptr;
    QPushButton *cmdBrowse = nullptr;
    QPushButton *cmdOK = nullptr; // "cmdok" on the form
    QPushButton *cmdcancel = nullptr;
    QPushButton *cmdScan = nullptr;

    // The right-click menus of the detail grids: mnufile for the signatory, content, summary and finance
    // grids, mnusfile for the witness grid.
    QMenu *mnufile = nullptr;
    QAction *mnuadd = nullptr;
    QAction *mnuedit = nullptr;
    QAction *mnudelete = nullptr;
    QAction *mnucancel = nullptr;
    QMenu *mnusfile = nullptr;
    QAction *mnusAdd = nullptr;
    QAction *mnusedit = nullptr;
    QAction *mnusdelete = nullptr;
    QAction *mnuscancel = nullptr;

    // Form-level state.
    Service<IDbService> dbService;
    Service<IGeneralService> generalService;
    qint32 agreementId = 0;
    bool firstActivation = false;
    bool saved = false;
    QString lastNumberText; // the highest number the last number lookup read
    // Taken by AgreementNo before it reads the highest number, held until the new agreement is committed;
    // cmdOK_Click releases it on every way out of the save.
    platform::KeyLock numberLock;

    // Handlers.
    void Form_Load();
    void Form_Activate();
    void Form_QueryUnload(bool &cancel, int unloadMode);
    void cmdOK_Click();
    void cmdcancel_Click();
    void cmdScan_Click();
    void cmdBrowse_Click();
    void optScanCopy_Click();
    void optShop_Click();
    void optgodown_Click();
    void optHq_Click();
    void optcustomer_Click();
    void optsupplier_Click();
    void optothers_Click();
    void cboapplicable_Click();
    void cboagency_Click();
    void txtalertnoofdays_KeyPress(qint16 &keyAscii);
    // The Enter key filter of the text boxes, combo boxes, option buttons and cmdOK; the procedure name
    // is the control's name followed by "_KeyPress".
    void EnterKeyPress(QWidget *control, qint16 &keyAscii);
    // KeyDown of the three date pickers.
    void dtp_KeyDown(QWidget *picker, qint16 &keyCode, int shift);

    // The next printable agreement number: prefix and one above the department's highest running number.
    // Holds numberLock for the department and prefix from before the highest number is read.
    QString AgreementNo();

    // Events of the five detail grids. grid is one of them; each runs under the grid's own procedure name,
    // such as "mfgcontent_EnterCell".
    void grid_Click(platform::FlexGrid *grid);
    void grid_DblClick(platform::FlexGrid *grid);
    void grid_KeyPress(platform::FlexGrid *grid, qint16 &keyAscii);
    void grid_KeyDown(platform::FlexGrid *grid, qint16 &keyCode, int shift);
    void grid_MouseDown(platform::FlexGrid *grid, int button, int shift, double x, double y);
    void grid_EnterCell(platform::FlexGrid *grid);
    void grid_RowColChange(platform::FlexGrid *grid);
    void mnuadd_Click();
    void mnuedit_Click();
    void mnudelete_Click();
    void mnucancel_Click();
    void mnusAdd_Click();
    void mnusedit_Click();
    void mnusdelete_Click();
    void mnuscancel_Click();
    // The detail grid on a page of SSTab1: 0 signatories, 1 witnesses, 2 contents, 3 summary, 4 finance;
    // null on any other page.
    platform::FlexGrid *pageGrid(int page) const;
    // The grid's menu: mnusfile for the witness grid, mnufile for the others.
    QMenu *gridMenu(const platform::FlexGrid *grid) const;
    // The popup's caption for a detail grid.
    QString popupCaption(const platform::FlexGrid *grid) const;

    // Runs the closing check and, unless it keeps the form open, closes and destroys the form. Returns
    // false when the form stays open.
    bool Unload();
    bool isUnloaded() const { return m_unloaded; }

public Q_SLOTS:
    void reject() override;

protected:
    bool event(QEvent *event) override;
    void showEvent(QShowEvent *event) override;

private:
    void buildForm();
    void wireHandlers();
    void buildGridMenus();
    void wireGridEvents();
    // Shows the popup's fields that the grid's rows use and hides the others.
    void layOutPopupFields(const platform::FlexGrid *grid);
    // Opens the popup on an empty row for the grid (mnuadd, mnusAdd).
    void addRow(platform::FlexGrid *grid);
    void deleteRow(platform::FlexGrid *grid);
    // The navigation buttons of the popup for the grid's current row.
    void setPopupNavigation(const platform::FlexGrid *grid);
    void fillPartyList(QComboBox *combo, QLineEdit *text, const char *table, const char *keyColumn,
                       const char *displayColumn);
    void clearPartyList(QComboBox *combo, QLineEdit *text);
    void saveDetails(platform::Connection &con, bool editing);

    // Unloading keeps the form's widgets for the next opening, which empties them and runs Form_Load again:
    // building and styling some two hundred widgets costs more than reading an agreement.
    void rememberInitialState();
    void resetForReuse();
    friend FrmAgreementreg *frmAgreementreg();
    friend void prepareFrmAgreementreg();

    struct InitialState
    {
        QPointer<QWidget> control;
        bool hidden;
        bool disabled;
        bool checked;
    };
    std::vector<InitialState> m_initial;
    bool m_unloaded = false;
};

// The form's default instance: created and loaded on first use. Unload hides it and keeps its widgets; the
// next use gets them back empty, as a new form, and loads it.
FrmAgreementreg *frmAgreementreg();
FrmAgreementreg *frmAgreementregIfLoaded();
// Unloads the default instance (the closing check runs first); true when it is gone.
bool unloadFrmAgreementreg();
// Builds and styles the form's widgets ahead of its first opening, unless they exist; the list calls it
// once it is idle, so that even the first opening of an agreement finds them.
void prepareFrmAgreementreg();
// Destroys the widgets kept from the last opening (when the module closes).
void discardFrmAgreementreg();

} // namespace agr
