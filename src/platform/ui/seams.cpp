#include "seams.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDialog>
#include <QEventLoop>
#include <QFileDialog>
#include <QFileInfo>
#include <QKeyEvent>
#include <QMenu>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QWindow>

namespace platform {

namespace {

MsgBoxResponder &msgBoxResponder()
{
    static MsgBoxResponder responder;
    return responder;
}

ModalHandler &modalHandler()
{
    static ModalHandler handler;
    return handler;
}

FileDialogResponder &fileDialogResponder()
{
    static FileDialogResponder responder;
    return responder;
}

struct BoxButton
{
    QMessageBox::StandardButton button;
    int answer;
};

QList<BoxButton> boxButtons(int buttons)
{
    switch (buttons & 0x7) {
    case 1:
        return {{QMessageBox::Ok, vb::OK}, {QMessageBox::Cancel, vb::Cancel}};
    case 2:
        return {{QMessageBox::Abort, 3}, {QMessageBox::Retry, 4}, {QMessageBox::Ignore, 5}};
    case 3:
        return {{QMessageBox::Yes, vb::Yes}, {QMessageBox::No, vb::No}, {QMessageBox::Cancel, vb::Cancel}};
    case 4:
        return {{QMessageBox::Yes, vb::Yes}, {QMessageBox::No, vb::No}};
    case 5:
        return {{QMessageBox::Retry, 4}, {QMessageBox::Cancel, vb::Cancel}};
    default:
        return {{QMessageBox::Ok, vb::OK}};
    }
}

QMessageBox::Icon boxIcon(int buttons)
{
    switch (buttons & 0x70) {
    case vb::Critical:
        return QMessageBox::Critical;
    case vb::Question:
        return QMessageBox::Question;
    case vb::Exclamation:
        return QMessageBox::Warning;
    case vb::Information:
        return QMessageBox::Information;
    default:
        return QMessageBox::NoIcon;
    }
}

// "Jpeg Files (*.jpg)|*.jpg|All Files|*.*" -> "Jpeg Files (*.jpg);;All Files (*.*)"
QString qtFilter(const QString &filter)
{
    const QStringList parts = filter.split(QLatin1Char('|'));
    QStringList filters;
    for (qsizetype i = 0; i + 1 < parts.size(); i += 2) {
        const QString description = parts.at(i).trimmed();
        QString patterns = parts.at(i + 1).trimmed();
        patterns.replace(QLatin1Char(';'), QLatin1Char(' '));
        if (description.contains(QLatin1Char('(')) && description.endsWith(QLatin1Char(')')))
            filters << description;
        else
            filters << description + QStringLiteral(" (") + patterns + QLatin1Char(')');
    }
    if (filters.isEmpty() && !filter.isEmpty())
        filters << filter;
    return filters.join(QStringLiteral(";;"));
}

// A name typed without an extension gets the default one, unless a file of exactly that name exists.
QString withDefaultExt(const QString &path, QString defaultExt)
{
    if (path.isEmpty() || defaultExt.isEmpty())
        return path;
    if (defaultExt.startsWith(QLatin1Char('.')))
        defaultExt.remove(0, 1);
    const QFileInfo info(path);
    if (!info.suffix().isEmpty() || info.exists())
        return path;
    return path + QLatin1Char('.') + defaultExt;
}

Qt::CursorShape cursorShape(int pointer)
{
    switch (pointer) {
    case 1:
        return Qt::ArrowCursor;
    case 2:
        return Qt::CrossCursor;
    case 3:
        return Qt::IBeamCursor;
    case 5:
        return Qt::SizeAllCursor;
    case 6:
        return Qt::SizeBDiagCursor;
    case 7:
        return Qt::SizeVerCursor;
    case 8:
        return Qt::SizeFDiagCursor;
    case 9:
        return Qt::SizeHorCursor;
    case 10:
        return Qt::UpArrowCursor;
    case 12:
        return Qt::ForbiddenCursor;
    case 13:
        return Qt::BusyCursor;
    case 15:
        return Qt::SizeAllCursor;
    case 99:
        return Qt::PointingHandCursor;
    default:
        return Qt::WaitCursor;
    }
}

// Quits a local event loop when the watched form is hidden.
class HideWatcher : public QObject
{
public:
    explicit HideWatcher(QEventLoop *loop) : m_loop(loop) {}

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::Hide)
            m_loop->quit();
        return QObject::eventFilter(watched, event);
    }

private:
    QEventLoop *m_loop;
};

} // namespace

QWidget *placementWindow()
{
    if (QWidget *w = QApplication::activeModalWidget())
        return w;
    if (QWidget *w = QApplication::activeWindow())
        return w;
    if (QWidget *w = QApplication::focusWidget())
        return w->window();
    return nullptr;
}

int MsgBox(const QString &prompt, int buttons, const QString &title)
{
    if (const MsgBoxResponder &responder = msgBoxResponder())
        return responder(MsgBoxCall{prompt, buttons, title});

    QMessageBox box(placementWindow());
    box.setWindowTitle(title.isEmpty() ? QApplication::applicationName() : title);
    box.setText(prompt);
    box.setIcon(boxIcon(buttons));
    const QList<BoxButton> choices = boxButtons(buttons);
    QList<QAbstractButton *> created;
    for (const BoxButton &choice : choices)
        created << box.addButton(choice.button);
    const int defaultIndex = qMin<int>((buttons >> 8) & 0x3, int(created.size()) - 1);
    box.setDefaultButton(qobject_cast<QPushButton *>(created.at(defaultIndex)));
    // Escape is Qt's: Cancel where there is one, else No, else the only button.
    [[maybe_unused]] const int shown = box.exec();
    const QAbstractButton *clicked = box.clickedButton();
    for (qsizetype i = 0; i < choices.size(); ++i) {
        if (created.at(i) == clicked)
            return choices.at(i).answer;
    }
    return choices.size() > 1 ? vb::Cancel : vb::OK;
}

void setMsgBoxResponder(MsgBoxResponder responder)
{
    msgBoxResponder() = std::move(responder);
}

void showModal(QWidget *form, QWidget *owner)
{
    if (!form)
        return;
    if (const ModalHandler &handler = modalHandler()) {
        handler(form);
        return;
    }

    // The owner places the form (a transient parent) without owning it: the form's lifetime stays with
    // its default instance.
    QWidget *ownerWindow = owner ? owner->window() : placementWindow();
    if (!form->isWindow())
        form->setWindowFlags(form->windowFlags() | Qt::Window);
    if (ownerWindow && ownerWindow != form && !form->parentWidget()) {
        form->winId();
        ownerWindow->winId();
        if (QWindow *handle = form->windowHandle())
            handle->setTransientParent(ownerWindow->windowHandle());
    }

    if (auto *dialog = qobject_cast<QDialog *>(form)) {
        [[maybe_unused]] const int result = dialog->exec();
        return;
    }

    // A plain widget is centred over its owner, as a dialog centres itself.
    if (ownerWindow && ownerWindow != form && !form->testAttribute(Qt::WA_Moved)) {
        const QSize size = form->testAttribute(Qt::WA_Resized) ? form->size() : form->sizeHint();
        form->move(ownerWindow->frameGeometry().center() - QPoint(size.width() / 2, size.height() / 2));
    }

    QPointer<QWidget> guard(form);
    QEventLoop loop;
    HideWatcher watcher(&loop);
    form->installEventFilter(&watcher);
    QObject::connect(form, &QObject::destroyed, &loop, &QEventLoop::quit);
    form->setWindowModality(ownerWindow ? Qt::WindowModal : Qt::ApplicationModal);
    form->show();
    if (form->isVisible()) {
        [[maybe_unused]] const int result = loop.exec();
    }
    if (guard) {
        guard->removeEventFilter(&watcher);
        guard->setWindowModality(Qt::NonModal);
    }
}

void setModalHandler(ModalHandler handler)
{
    modalHandler() = std::move(handler);
}

void PopupMenu(QMenu *menu, const QPoint &globalPos)
{
    if (!menu)
        return;
    [[maybe_unused]] QAction *chosen = menu->exec(globalPos);
}

QString ShowOpen(const FileDialogCall &call, QWidget *parent)
{
    QString chosen;
    if (const FileDialogResponder &responder = fileDialogResponder()) {
        chosen = responder(call);
    } else {
        static QString lastFolder;
        const QString title = call.title.isEmpty() ? QStringLiteral("Open") : call.title;
        chosen = QFileDialog::getOpenFileName(parent ? parent : placementWindow(), title, lastFolder,
                                              qtFilter(call.filter));
        if (!chosen.isEmpty())
            lastFolder = QFileInfo(chosen).absolutePath();
    }
    return withDefaultExt(chosen, call.defaultExt);
}

QString ShowSave(const FileDialogCall &call, QWidget *parent)
{
    QString chosen;
    if (const FileDialogResponder &responder = fileDialogResponder()) {
        chosen = responder(call);
    } else {
        const QString title = call.title.isEmpty() ? QStringLiteral("Save As") : call.title;
        chosen = QFileDialog::getSaveFileName(parent ? parent : placementWindow(), title, QString(),
                                              qtFilter(call.filter));
    }
    return withDefaultExt(chosen, call.defaultExt);
}

void setFileDialogResponder(FileDialogResponder responder)
{
    fileDialogResponder() = std::move(responder);
}

void setMousePointer(QWidget *widget, int pointer)
{
    if (!widget)
        return;
    if (pointer == vbDefault)
        widget->unsetCursor();
    else
        widget->setCursor(cursorShape(pointer));
}

void setScreenMousePointer(int pointer)
{
    // A property, not a stack: setting it twice and back once restores the cursor.
    static bool overridden = false;
    if (pointer == vbDefault) {
        if (overridden)
            QApplication::restoreOverrideCursor();
        overridden = false;
        return;
    }
    if (overridden) {
        QApplication::changeOverrideCursor(cursorShape(pointer));
    } else {
        QApplication::setOverrideCursor(cursorShape(pointer));
        overridden = true;
    }
}

void SendKeysTab()
{
    // Where the keystroke goes: the focused widget, else the focus child of the active window, else that of
    // any visible window (an offscreen window need not be active).
    QWidget *target = QApplication::focusWidget();
    if (!target) {
        if (QWidget *active = QApplication::activeWindow())
            target = active->focusWidget();
    }
    if (!target) {
        const QList<QWidget *> windows = QApplication::topLevelWidgets();
        for (QWidget *window : windows) {
            if (window->isVisible() && window->focusWidget()) {
                target = window->focusWidget();
                break;
            }
        }
    }
    if (!target)
        return;

    // The window moves the focus along its tab order, as the original's form did with the keystroke. Sent
    // to the control itself, a multi-line box would take the Tab as text and a date box would step to its
    // next section.
    QWidget *window = target->window();
    QKeyEvent press(QEvent::KeyPress, Qt::Key_Tab, Qt::NoModifier, QStringLiteral("\t"));
    QApplication::sendEvent(window, &press);
}

qint16 keyAscii(const QKeyEvent *event)
{
    if (!event)
        return 0;
    const int k = event->key();
    const bool ctrl = event->modifiers() & Qt::ControlModifier;
    switch (k) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
        return ctrl ? key::CtrlEnter : key::Enter;
    case Qt::Key_Backspace:
        return key::Backspace;
    case Qt::Key_Escape:
        return 27;
    case Qt::Key_Tab:
        return 9;
    default:
        break;
    }
    if (ctrl && k >= Qt::Key_A && k <= Qt::Key_Z)
        return qint16(k - Qt::Key_A + 1);
    const QString text = event->text();
    if (text.isEmpty())
        return 0;
    const char16_t ch = text.at(0).unicode();
    if (ch < 32 || ch == 127 || ch > 0x7FFF)
        return 0;
    return qint16(ch);
}

qint16 keyCode(const QKeyEvent *event)
{
    if (!event)
        return 0;
    const int k = event->key();
    if (k >= Qt::Key_A && k <= Qt::Key_Z)
        return qint16(65 + (k - Qt::Key_A));
    if (k >= Qt::Key_0 && k <= Qt::Key_9)
        return qint16(48 + (k - Qt::Key_0));
    if (k >= Qt::Key_F1 && k <= Qt::Key_F16)
        return qint16(112 + (k - Qt::Key_F1));
    switch (k) {
    case Qt::Key_Backspace:
        return 8;
    case Qt::Key_Tab:
    case Qt::Key_Backtab:
        return 9;
    case Qt::Key_Clear:
        return 12;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        return 13;
    case Qt::Key_Shift:
        return 16;
    case Qt::Key_Control:
        return 17;
    case Qt::Key_Alt:
        return 18;
    case Qt::Key_Pause:
        return 19;
    case Qt::Key_CapsLock:
        return 20;
    case Qt::Key_Escape:
        return 27;
    case Qt::Key_Space:
        return 32;
    case Qt::Key_PageUp:
        return 33;
    case Qt::Key_PageDown:
        return 34;
    case Qt::Key_End:
        return 35;
    case Qt::Key_Home:
        return 36;
    case Qt::Key_Left:
        return 37;
    case Qt::Key_Up:
        return 38;
    case Qt::Key_Right:
        return 39;
    case Qt::Key_Down:
        return 40;
    case Qt::Key_Print:
        return 42;
    case Qt::Key_Insert:
        return 45;
    case Qt::Key_Delete:
        return 46;
    case Qt::Key_Menu:
        return 93;
    case Qt::Key_NumLock:
        return 144;
    case Qt::Key_ScrollLock:
        return 145;
    case Qt::Key_Semicolon:
        return 186;
    case Qt::Key_Equal:
        return 187;
    case Qt::Key_Comma:
        return 188;
    case Qt::Key_Minus:
        return 189;
    case Qt::Key_Period:
        return 190;
    case Qt::Key_Slash:
        return 191;
    default:
        return 0;
    }
}

int shiftState(Qt::KeyboardModifiers modifiers)
{
    int shift = 0;
    if (modifiers & Qt::ShiftModifier)
        shift |= 1;
    if (modifiers & Qt::ControlModifier)
        shift |= 2;
    if (modifiers & Qt::AltModifier)
        shift |= 4;
    return shift;
}

} // namespace platform
