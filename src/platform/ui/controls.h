#pragma once
// What the change test and the audit service's baseline read from a form's controls: the control's type
// name in the original's terms, its value, and its Tag. One set of rules for both.

#include <QDateEdit>
#include <QList>
#include <QString>

class QObject;
class QRadioButton;
class QWidget;

namespace platform {

// "TextBox", "ComboBox", "CheckBox", "OptionButton", "MSFlexGrid", or the Qt class name for others.
QString controlTypeName(const QObject *control);
// The controls of a form in index order (creation order), as the original's Controls collection.
QList<QObject *> formControls(const QWidget *form);
// Tag: a text property every control carries.
QString tag(const QObject *control);
void setTag(QObject *control, const QString &value);
// The value a baseline stores: Text for text and combo boxes, "1"/"0" for check and option buttons,
// the cells of a grid (rows 1.., column 1 then 2..Cols-1, no separators).
QString controlValueText(const QObject *control);

// The date picker of the forms: a date box with a calendar, shown "dd/mm/yyyy". Tab leaves the control;
// the arrow keys, not Tab, walk day, month and year.
class DatePicker : public QDateEdit
{
    Q_OBJECT
public:
    explicit DatePicker(QWidget *parent = nullptr);

protected:
    bool focusNextPrevChild(bool next) override;
};

// A group of option buttons is one stop in the tab order, as on the desktop: Tab lands on the chosen option
// (on the first while none is chosen) and the arrow keys move within the group. A click still focuses any.
void optionGroupAsOneTabStop(const QList<QRadioButton *> &options);

} // namespace platform
