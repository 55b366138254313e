#include "changetest.h"

#include "controls.h"

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

double leadingNumber(const QString &text)
{
    qsizetype i = 0;
    while (i < text.size() && text.at(i).isSpace())
        ++i;
    const qsizetype start = i;
    if (i < text.size() && (text.at(i) == QLatin1Char('+') || text.at(i) == QLatin1Char('-')))
        ++i;
    bool point = false;
    qsizetype digits = 0;
    for (; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (c.isDigit() && c.unicode() < 128) {
            ++digits;
        } else if (c == QLatin1Char('.') && !point) {
            point = true;
        } else {
            break;
        }
    }
    if (digits == 0)
        return 0;
    return text.mid(start, i - start).toDouble();
}

// Only blanks count as surrounding space here; a line break typed into a box is a change.
static QString trimBlanks(const QString &text)
{
    qsizetype start = 0;
    qsizetype end = text.size();
    while (start < end && text.at(start) == QLatin1Char(' '))
        ++start;
    while (end > start && text.at(end - 1) == QLatin1Char(' '))
        --end;
    return text.mid(start, end - start);
}

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
        return trimBlanks(controlValueText(control)) != trimBlanks(tag(control));
    case Kind::Flag:
        return leadingNumber(tag(control)) != leadingNumber(controlValueText(control));
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
