#pragma once
// FrmMaster: the list of the department's agreements, the first form the user sees.

#include "data/contracts.h"
#include "data/services.h"
#include "forms/gridcolumn.h"

#include <QDialog>
#include <QString>
#include <QVector>
#include <memory>

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
enum class ListCol : int
{
    AgreementId = 0, // hidden
    Number = 1,
    Date = 2,
    Description = 3,
    Type = 4,
    ApplicableTo = 5,
    AgreementWith = 6,
    Cancelled = 7,
};

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
    QLabel *lblColNames = nullptr;
    QLabel *lblSearch = nullptr;
    QLabel *lblSearchText = nullptr;

    // Form-level state.
    Service<IDbService> dbService;
    Service<IGeneralService> generalService;
    QString userName;
    QString listSql;
    QString listTableName;
    QVector<double> widthTable;

    // Handlers and procedures: loading and the grid.
    void Form_Load();
    void Form_Activate();
    void Form_KeyPress(qint16 &keyAscii);
    void populateRecord();
    void GridPopulate(const QString &sql, const QString &tableName);
    void NameGrid(const QString &tableName, QVector<double> &widths);
    void GridColor();
    void SetRowButtons();
    void mfgMaster_SelChange();
    // The newest agreement is the last row: selects it whole and scrolls it into view.
    void SelectLastRow();

    // Search and sort.
    void cboColNames_Click();
    void cboColNames_KeyPress(qint16 &keyAscii);
    void cboSearch_KeyPress(qint16 &keyAscii);
    void optAscend_Click();
    void optDescend_Click();
    void optAscend_KeyPress(qint16 &keyAscii);
    void optDescend_KeyPress(qint16 &keyAscii);
    void txtsearch_KeyPress(qint16 &keyAscii);
    void txtsearch_KeyUp(qint16 &keyCode, int shift);
    void searchtheword(const QString &word);
    void prepareSearchSort(); // when the search column changes
    void mfgMaster_DblClick();
    void mfgMaster_KeyPress(qint16 &keyAscii);
    void mfgMaster_KeyDown(qint16 &keyCode, int shift);
    void mfgMaster_RowColChange();
    void mfgMaster_MouseMove(int button, int shift, double x, double y);

    // Buttons.
    void cmdnew_Click();  // opening for a new agreement (forms/list/frmmaster_open.cpp)
    void CmdEdit_Click(); // opening for edit (forms/list/frmmaster_open.cpp)
    void PopulateListviewlvwPayment(qint32 agreementId); // payment history (forms/list/frmmaster_open.cpp)
    void CmdDelete_Click();
    void cmdPreview_Click();
    void Cmdclose_Click();

    // Unload: closes the form (ending a modal Show) and destroys it; the default instance is then empty.
    void Unload();

public Q_SLOTS:
    void reject() override; // the window's close button unloads the form too

protected:
    void showEvent(QShowEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    bool event(QEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void buildControls();
    int colWidthTwips(int column) const;

    QString m_rights;        // the form's copy of the rights string, searched by GridColor
    int m_rememberedRow = 0; // the row SetRowButtons last ran for
    bool m_loaded = false;
    bool m_activated = false;
    bool m_unloading = false;
    std::unique_ptr<QObject> m_reportEngine;
};

// The form's default instance: created and loaded on first use, destroyed by unloadFrmMaster.
FrmMaster *frmMaster();
FrmMaster *frmMasterIfLoaded();
void unloadFrmMaster();

} // namespace agr
