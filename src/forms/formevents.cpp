#include "forms/formevents.h"

#include "module/modulecontext.h"
#include "platform/runtime/errors.h"
#include "platform/ui/seams.h"

#include <QAbstractSpinBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QRadioButton>

#include <memory>

namespace agr {

namespace {

// One per control: calls its KeyDown handler, then its KeyPress handler.
class KeyEvents : public QObject
{
public:
    explicit KeyEvents(QWidget *control) : QObject(control) { control->installEventFilter(this); }

    static KeyEvents *of(QWidget *control)
    {
        for (QObject *child : control->children()) {
            if (auto *events = dynamic_cast<KeyEvents *>(child))
                return events;
        }
        auto *events = new KeyEvents(control);
        if (QLineEdit *inner = innerLineEdit(control))
            new InnerKeys(inner, control);
        return events;
    }

    std::function<void(qint16 &)> keyPress;
    std::function<void(qint16 &, int)> keyDown;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() != QEvent::KeyPress)
            return QObject::eventFilter(watched, event);
        auto *key = static_cast<QKeyEvent *>(event);
        if (keyDown) {
            qint16 code = platform::keyCode(key);
            if (code != 0)
                keyDown(code, platform::shiftState(key->modifiers()));
        }
        if (keyPress) {
            qint16 ascii = platform::keyAscii(key);
            if (ascii != 0) {
                keyPress(ascii);
                if (ascii == 0)
                    return true; // the handler dropped the key
            }
        }
        return false;
    }

private:
    // An editable combo box or a date box keeps the focus itself and passes keys to its line edit; a key
    // sent to the line edit directly takes the same road.
    class InnerKeys : public QObject
    {
    public:
        InnerKeys(QLineEdit *inner, QWidget *control) : QObject(inner), m_control(control)
        {
            inner->installEventFilter(this);
        }

    protected:
        bool eventFilter(QObject *watched, QEvent *event) override
        {
            if (event->type() == QEvent::KeyPress || event->type() == QEvent::KeyRelease) {
                QCoreApplication::sendEvent(m_control, event);
                return true;
            }
            return QObject::eventFilter(watched, event);
        }

    private:
        QWidget *m_control;
    };

    static QLineEdit *innerLineEdit(QWidget *control)
    {
        if (auto *combo = qobject_cast<QComboBox *>(control))
            return combo->lineEdit();
        if (qobject_cast<QAbstractSpinBox *>(control))
            return control->findChild<QLineEdit *>();
        return nullptr;
    }
};

} // namespace

void onKeyPress(QWidget *control, std::function<void(qint16 &)> handler)
{
    KeyEvents::of(control)->keyPress = platform::trapped(std::move(handler));
}

void onKeyDown(QWidget *control, std::function<void(qint16 &, int)> handler)
{
    KeyEvents::of(control)->keyDown = platform::trapped(std::move(handler));
}

void Inform(const QString &prompt)
{
    platform::MsgBox(prompt, platform::vb::OKOnly | platform::vb::Information, context().msgBoxCaption);
}

void onOptionClick(QRadioButton *option, std::function<void()> click)
{
    const auto handler = platform::trapped(std::move(click));
    auto wasSet = std::make_shared<bool>(false);
    QObject::connect(option, &QAbstractButton::toggled, option, [handler](bool on) {
        if (on)
            handler();
    });
    QObject::connect(option, &QAbstractButton::pressed, option,
                     [option, wasSet] { *wasSet = option->isChecked(); });
    QObject::connect(option, &QAbstractButton::clicked, option, [handler, wasSet] {
        if (*wasSet)
            handler();
    });
}

} // namespace agr
