#pragma once
// frmpopup: the small modal form in which one row of a detail grid of the entry form is entered (detail
// mode "A") or changed ("E"). Its caption says which grid it serves. It writes into the entry form's grid
// only; the rows reach the database when the agreement is saved.

#include <QDialog>
#include <QPlainTextEdit>
#include <QString>
#include <functional>

class QCheckBox;
class QDateEdit;
class QGroupBox;
class QLabel;
class QLineEdit;
class QPushButton;

namespace platform {
class FlexGrid;
}

namespace agr {

// A text box of several lines that wraps its text. Enter belongs to the form (it moves to the next
// field), so the box never takes a line break from the keyboard.
class PopupTextBox : public QPlainTextEdit
{
    Q_OBJECT
public:
    explicit PopupTextBox(QWidget *parent = nullptr);
    QString text() const { return toPlainText(); }
    void setText(const QString &text) { setPlainText(text); }

protected:
    void keyPressEvent(QKeyEvent *event) override;
};

// The captions that tell the popup which grid it serves.
namespace popupcaption {
inline const QString Signed = QStringLiteral("Signed Details");
inline const QString Witness = QStringLiteral("Witness Details");
inline const QString Content = QStringLiteral("Content Details");
inline const QString Summary = QStringLiteral("Summary Details");
inline const QString Finance = QStringLiteral("Finance Details");
} // namespace popupcaption

class Frmpopup : public QDialog
{
    Q_OBJECT
public:
    explicit Frmpopup(QWidget *parent = nullptr);
    ~Frmpopup() override;

    QGroupBox *frapopupform = nullptr;
    QLabel *lblsignedby = nullptr;
    QLineEdit *txtsignedby = nullptr;
    QLabel *lblpostion = nullptr;
    QLineEdit *txtpostion = nullptr;
    QLabel *lbldate = nullptr; // the date picker's caption; shown and hidden with it
    QDateEdit *dtppopupdate = nullptr;
    QCheckBox *chkagency = nullptr;
    QLabel *lbladdress = nullptr;
    PopupTextBox *txtaddress = nullptr;
    QPushButton *cmdFirst = nullptr;
    QPushButton *cmdPrevious = nullptr;
    QPushButton *cmdNext = nullptr;
    QPushButton *cmdLast = nullptr;
    QPushButton *cmdOK = nullptr;
    QPushButton *Cmdclose = nullptr;

    void Form_Load();
    void Form_Activate();
    void cmdOK_Click();
    void Cmdclose_Click();
    void cmdFirst_Click();
    void cmdPrevious_Click();
    void cmdNext_Click();
    void cmdLast_Click();

    // The entry form's grid that the caption names; null for any other caption.
    platform::FlexGrid *grid() const;
    // Enables or disables the four navigation buttons at once.
    void setNavigation(bool enabled);
    // Copies a row of the caption's grid into the fields: texts as they stand, the date cell read as a
    // date (a cell that is no date raises 13), the agency box ticked for "Y".
    void LoadRow(const platform::FlexGrid &grid, int row);

    // Closes and destroys the form; the next use builds a fresh one.
    void Unload();
    bool isUnloaded() const { return m_unloaded; }

public Q_SLOTS:
    void reject() override;

protected:
    void showEvent(QShowEvent *event) override;

private:
    void buildForm();
    void wireHandlers();
    // Checks the fields the caption's grid needs; false after a message.
    bool fieldsGiven();
    void writeFields(platform::FlexGrid &grid, int row);
    // The navigation buttons' common part: moves to the row that target names (0: stay), shows it whole
    // and loads it into the fields.
    void moveTo(const char *procedure, const std::function<int(const platform::FlexGrid &)> &target);

    bool m_unloaded = false;
};

// The popup's default instance: created and loaded on first use; Unload destroys it.
Frmpopup *frmpopup();
Frmpopup *frmpopupIfLoaded();
void unloadFrmpopup();

} // namespace agr
