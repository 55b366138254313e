#include "changetest.h"

#include "platform/runtime/conversions.h"

#include "platform/ui/controls.h"

#include <QWidget>

namespace platform {

namespace {

enum class Kind
{
    None,
    Text,
    Flag,
    Grid
};

Kind kindOf(const QObject *control)
{
    const QString type = controlTypeName(control);
    if (type == QLatin1String("TextBox") || type == QLatin1String("ComboBox"))
        return Kind::Text;
    if (type == QLatin1String("CheckBox") || type == QLatin1String("OptionButton"))
        return Kind::Flag;
    if (type == QLatin1String("MSFlexGrid"))
        return Kind::Grid;
    return Kind::None;
}

} // namespace

bool carriesBaseline(const QObject *control)
{
    return control && kindOf(control) != Kind::None;
}

bool differsFromTag(const QObject *control)
{
    if (!control)
        return false;
    switch (kindOf(control)) {
    case Kind::Text:
        return Trim(controlValueText(control)) != Trim(tag(control));
    case Kind::Flag:
        return Val(tag(control)) != Val(controlValueText(control));
    case Kind::Grid:
        return controlValueText(control).toUpper() != tag(control).toUpper();
    case Kind::None:
        break;
    }
    return false;
}

bool formDiffersFromTags(const QWidget *form)
{
    if (!form)
        return false;
    const QList<QObject *> controls = formControls(form);
    for (const QObject *control : controls) {
        if (differsFromTag(control))
            return true;
    }
    return false;
}

void storeBaselines(QWidget *form)
{
    if (!form)
        return;
    const QList<QObject *> controls = formControls(form);
    for (QObject *control : controls) {
        if (carriesBaseline(control))
            setTag(control, controlValueText(control));
    }
}

} // namespace platform
