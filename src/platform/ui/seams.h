#pragma once
// The seams through which the module meets the user: message boxes, modal shows, file dialogs, the
// mouse pointer and SendKeys. In the program they show real Qt dialogs; tests install responders.

#include <QString>
#include <QStringList>
#include <QtCore/qnamespace.h>
#include <functional>

class QKeyEvent;
class QMenu;
class QPoint;
class QWidget;

namespace platform {

// Button, icon and answer codes keep the original values.
namespace vb {
constexpr int OKOnly = 0;
constexpr int YesNo = 4;
constexpr int Critical = 16;
constexpr int Question = 32;
constexpr int Exclamation = 48;
constexpr int Information = 64;
constexpr int DefaultButton2 = 256;
constexpr int OK = 1;
constexpr int Cancel = 2;
constexpr int Yes = 6;
constexpr int No = 7;
} // namespace vb

struct MsgBoxCall
{
    QString prompt;
    int buttons = 0;
    QString title;
};
using MsgBoxResponder = std::function<int(const MsgBoxCall &)>;

// Shows a message box and returns the answer code (vb::OK, vb::Yes, vb::No ...).
int MsgBox(const QString &prompt, int buttons = vb::OKOnly, const QString &title = QString());
// Installs a responder that answers every box instead of the user; an empty one restores real boxes.
void setMsgBoxResponder(MsgBoxResponder responder);

// The window a new box or dialog is placed over: the active modal window, else the active window, else the
// window holding the focus; null when there is none.
QWidget *placementWindow();

// Shows a form modally and returns when it is closed (QDialog::exec for dialogs). A test installs a
// handler that receives the form instead; the handler may drive it and close it, or leave it open.
using ModalHandler = std::function<void(QWidget *form)>;
void showModal(QWidget *form, QWidget *owner = nullptr);
void setModalHandler(ModalHandler handler);

// PopupMenu: shows a menu at a point of the screen and returns when it has closed; the chosen item's
// handler has run by then, as the original's PopupMenu did. Tests answer the real menu (it is the active
// popup widget while it is open).
void PopupMenu(QMenu *menu, const QPoint &globalPos);

// The common dialog's Open: returns the chosen path or "" when cancelled.
struct FileDialogCall
{
    QString title;
    QString filter; // in the original's form: "Jpeg Files (*.jpg)|*.jpg"
    QString defaultExt;
};
using FileDialogResponder = std::function<QString(const FileDialogCall &)>;
QString ShowOpen(const FileDialogCall &call, QWidget *parent = nullptr);
// The common dialog's Save; the same responder answers it (tests tell the two by the call's title).
QString ShowSave(const FileDialogCall &call, QWidget *parent = nullptr);
void setFileDialogResponder(FileDialogResponder responder);

// MousePointer: 11 shows the hourglass over the widget, 0 restores the default.
constexpr int vbHourglass = 11;
constexpr int vbDefault = 0;
void setMousePointer(QWidget *widget, int pointer);
// Screen.MousePointer: the application-wide wait cursor.
void setScreenMousePointer(int pointer);

// The wait cursor over the application for as long as a scope runs, also when it ends with an error.
class Hourglass
{
public:
    Hourglass() { setScreenMousePointer(vbHourglass); }
    ~Hourglass() { setScreenMousePointer(vbDefault); }
    Hourglass(const Hourglass &) = delete;
    Hourglass &operator=(const Hourglass &) = delete;
};

// SendKeys "{tab}": moves the focus to the next control in tab order of the active window.
void SendKeysTab();

// Key codes of the original.
namespace key {
constexpr int Enter = 13;
constexpr int CtrlEnter = 10;
constexpr int CtrlD = 4;
constexpr int Backspace = 8;
constexpr int Up = 38;
constexpr int Down = 40;
constexpr int Delete = 46;
constexpr int Menu = 93; // the context menu key
constexpr int F10 = 121;
} // namespace key

// The original's numbers for a Qt key event, so that every KeyPress/KeyDown handler sees the same codes.
// KeyAscii: 13 Enter, 10 Ctrl+Enter, 1..26 Ctrl+letter, 8 Backspace, 27 Escape, else the character;
// 0 when the key gives no character (arrows, Delete, F-keys).
qint16 keyAscii(const QKeyEvent *event);
// KeyCode: the virtual key (65..90 letters, 48..57 digits, 13 Enter, 38 Up, 40 Down, 46 Delete, 93 Menu ...).
qint16 keyCode(const QKeyEvent *event);
// The Shift argument of key and mouse events: 1 shift, 2 ctrl, 4 alt.
int shiftState(Qt::KeyboardModifiers modifiers);

} // namespace platform
