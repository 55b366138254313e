#pragma once
// FrmScanCopies: the scanned copies (JPEG images) of one agreement's documents, listed, viewed, named,
// added and stored. It works on AgreementScanCopyDetails by itself, in a transaction of its own, when its
// OK is pressed. While it is open each stored image is kept as a file "pic" + serial number + ".jpg" in the
// application's folder, so that it can be shown and stored again.

#include <QDialog>
#include <QString>

class QLineEdit;
class QPushButton;

namespace platform {
class FlexGrid;
class PictureBox;
} // namespace platform

namespace agr {

// Columns of mfgDetails; the last row is always blank.
enum class ScanCol : int
{
    SlNo = 0,
    DocName = 1,
    Path = 2,  // hidden: the image file
    Origin = 3 // hidden: "N" chosen while the form is open, "E" loaded from the database
};

class FrmScanCopies : public QDialog
{
    Q_OBJECT
public:
    explicit FrmScanCopies(QWidget *parent = nullptr);
    ~FrmScanCopies() override;

    platform::FlexGrid *mfgDetails = nullptr;
    platform::PictureBox *imgShow = nullptr;
    QLineEdit *txtName = nullptr;
    QLineEdit *txtBrowse = nullptr;
    QPushButton *cmdBrowse = nullptr;
    QPushButton *cmdAdd = nullptr;
    QPushButton *cmdOK = nullptr;
    QPushButton *Command1 = nullptr; // closes without storing
    QLineEdit *txttname = nullptr;   // laid over a name cell for renaming

    void Form_Load();
    void Form_QueryUnload(bool &cancel, int unloadMode);
    void cmdBrowse_Click();
    void cmdAdd_Click();
    void cmdOK_Click();
    void Command1_Click();
    void mfgDetails_EnterCell();
    void mfgDetails_Click();
    void mfgDetails_KeyPress(qint16 &keyAscii);
    void txttname_KeyPress(qint16 &keyAscii);

    // The temporary file of a serial number: the application's folder + "/pic" + number + ".jpg".
    static QString tempFile(const QString &serialNo);
    // Deletes the temporary files of serial numbers 1 to 100; higher ones stay.
    static void deleteTempFiles();

    void Unload();

public Q_SLOTS:
    void reject() override;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
    void showEvent(QShowEvent *event) override;

private:
    void buildForm();
    // Shows the current row's picture: its temporary file for a stored copy, the chosen file otherwise.
    void showPicture();
    void startRenaming();
    void endRenaming();

    bool m_unloaded = false;
};

// The form's default instance: created and loaded on first use; Unload destroys it.
FrmScanCopies *frmScanCopies();
FrmScanCopies *frmScanCopiesIfLoaded();
void unloadFrmScanCopies();

} // namespace agr
