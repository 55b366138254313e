#include "formevents.h"

#include "platform/errors.h"
#include "platform/flexgridmodel.h"
#include "platform/seams.h"

#include <QAbstractSpinBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QRadioButton>

#include <cmath>
#include <limits>
#include <memory>

namespace agr {

namespace {

const QString Source = QStringLiteral("zrtp1003");

// A whole number of type Int; halves round to even, as CLng and CInt require.
template <class Int> Int whole(double value)
{
    const double rounded = std::nearbyint(value);
    // Written as "not inside" so that a NaN overflows too.
    if (!(rounded >= double(std::numeric_limits<Int>::min()) &&
          rounded <= double(std::numeric_limits<Int>::max())))
        platform::Raise(platform::err::Overflow, Source, QStringLiteral("Overflow"));
    return static_cast<Int>(rounded);
}

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
    KeyEvents::of(control)->keyPress = std::move(handler);
}

void onKeyDown(QWidget *control, std::function<void(qint16 &, int)> handler)
{
    KeyEvents::of(control)->keyDown = std::move(handler);
}

void onOptionClick(QRadioButton *option, std::function<void()> handler)
{
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

double CDbl(const QVariant &value)
{
    if (value.isNull())
        return 0;
    double number = 0;
    bool ok = false;
    if (value.typeId() == QMetaType::QString)
        ok = platform::isNumericText(value.toString(), &number);
    else
        number = value.toDouble(&ok);
    if (!ok)
        platform::Raise(platform::err::TypeMismatch, Source, QStringLiteral("Type mismatch"));
    return number;
}

qint32 CLng(const QVariant &value)
{
    return whole<qint32>(CDbl(value));
}

qint16 CInt(const QVariant &value)
{
    return whole<qint16>(CDbl(value));
}

QString Trim(const QString &text)
{
    qsizetype begin = 0;
    qsizetype end = text.size();
    while (begin < end && text.at(begin) == QLatin1Char(' '))
        ++begin;
    while (end > begin && text.at(end - 1) == QLatin1Char(' '))
        --end;
    return text.mid(begin, end - begin);
}

} // namespace agr
