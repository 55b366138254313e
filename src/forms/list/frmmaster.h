#pragma once
// FrmMaster: the list of the department's agreements, the first form the user sees.

#include "data/contracts.h"
#include "data/services.h"

#include <QDialog>
#include <QString>
#include <QVector>

class QComboBox;
class QLineEdit;
class QPushButton;
class QRadioButton;
class QLabel;

namespace platform {
class FlexGrid;
}

namespace agr {

// Columns of the list grid, in the order of the list statement.
enum class ListCol : int {
    AgreementId = 0, // hidden
    Number = 1,
    Date = 2,
    Description = 3,
    Type = 4,
    ApplicableTo = 5,
    AgreementWith = 6,
    Cancelled = 7,
};
constexpr int col(ListCol c) { return static_cast<int>(c); }

class FrmMaster : public QDialog
{
    Q_OBJECT
public:
    explicit FrmMaster(QWidget *parent = nullptr);
    ~FrmMaster() override;

    // Controls, by their names in the system.
    platform::FlexGrid *mfgMaster = nullptr;
    QComboBox *cboColNames = nullptr;
    QComboBox *cboSearch = nullptr;
    QLineEdit *txtsearch = nullptr;
    QRadioButton *optAscend = nullptr;
    QRadioButton *optDescend = nullptr;
    QPushButton *cmdnew = nullptr;
    QPushButton *CmdEdit = nullptr;
    QPushButton *CmdDelete = nullptr;
    QPushButton *cmdPreview = nullptr;
    QPushButton *Cmdclose = nullptr;

    // Form-level state.
    Service<IDbService> dbService;
    Service<IGeneralService> generalService;
    QString userName;
    QString listSql;
    QString listTableName;
    QVector<double> widthTable;

    // Handlers and procedures.
    void Form_Load();
    void Form_Activate();
    void Form_KeyPress(qint16 &keyAscii);
    void populateRecord();
    void GridPopulate(const QString &sql, const QString &tableName);
    void NameGrid(const QString &tableName, QVector<double> &widths);
    void GridColor();
    void SetRowButtons();
    void mfgMaster_SelChange();
    void cmdnew_Click();      // opening for a new agreement (forms/list/frmmaster_open.cpp)
    void CmdEdit_Click();     // opening for edit (forms/list/frmmaster_open.cpp)
    void PopulateListviewlvwPayment(qint32 agreementId); // payment history (forms/list/frmmaster_open.cpp)
    void CmdDelete_Click();
    void cmdPreview_Click();
    void Cmdclose_Click();

protected:
    void showEvent(QShowEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    bool event(QEvent *event) override;
};

// The form's default instance: created on first use, destroyed by unloadFrmMaster.
FrmMaster *frmMaster();
FrmMaster *frmMasterIfLoaded();
void unloadFrmMaster();

} // namespace agr
