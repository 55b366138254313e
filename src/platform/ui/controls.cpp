#include "controls.h"

#include "platform/grid/flexgrid.h"

#include <QAbstractItemView>
#include <QAbstractSpinBox>
#include <QCalendarWidget>
#include <QCheckBox>
#include <QComboBox>
#include <QDateTimeEdit>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QRadioButton>
#include <QScrollArea>
#include <QTabBar>
#include <QTextEdit>
#include <QVariant>

namespace platform {

namespace {

const char *const tagProperty = "Tag";

// Widgets whose children are their own parts (a combo box's line edit, a grid's headers, a tab strip's
// scroll buttons), not controls.
bool isComposite(const QWidget *widget)
{
    if (qobject_cast<const QScrollArea *>(widget))
        return false; // a scroll area's page holds ordinary controls
    return qobject_cast<const QComboBox *>(widget) || qobject_cast<const QAbstractSpinBox *>(widget) ||
           qobject_cast<const QAbstractScrollArea *>(widget) ||
           qobject_cast<const QCalendarWidget *>(widget) || qobject_cast<const QTabBar *>(widget);
}

void collectControls(const QObject *parent, QList<QObject *> &controls)
{
    for (QObject *child : parent->children()) {
        auto *widget = qobject_cast<QWidget *>(child);
        if (!widget || widget->isWindow())
            continue;
        const QString name = widget->objectName();
        // Qt names its own internal widgets "qt_..."; those are neither controls nor their containers.
        const bool internal = name.startsWith(QLatin1String("qt_"));
        if (!name.isEmpty() && !internal)
            controls << widget;
        if (!isComposite(widget))
            collectControls(widget, controls);
    }
}

// Nearest Qt class of a widget, so that a subclass of QPushButton reads "QPushButton".
QString qtClassName(const QObject *control)
{
    for (const QMetaObject *meta = control->metaObject(); meta; meta = meta->superClass()) {
        const QLatin1String name(meta->className());
        if (name.startsWith(QLatin1Char('Q')) && !name.contains(QLatin1String("::")))
            return QString(name);
    }
    return QString::fromLatin1(control->metaObject()->className());
}

} // namespace

QString controlTypeName(const QObject *control)
{
    if (!control)
        return QString();
    if (qobject_cast<const QLineEdit *>(control) || qobject_cast<const QTextEdit *>(control) ||
        qobject_cast<const QPlainTextEdit *>(control))
        return QStringLiteral("TextBox");
    if (qobject_cast<const QComboBox *>(control))
        return QStringLiteral("ComboBox");
    if (qobject_cast<const QCheckBox *>(control))
        return QStringLiteral("CheckBox");
    if (qobject_cast<const QRadioButton *>(control))
        return QStringLiteral("OptionButton");
    if (qobject_cast<const FlexGrid *>(control))
        return QStringLiteral("MSFlexGrid");
    if (qobject_cast<const QDateTimeEdit *>(control))
        return QStringLiteral("DTPicker");
    return qtClassName(control);
}

QList<QObject *> formControls(const QWidget *form)
{
    QList<QObject *> controls;
    if (form)
        collectControls(form, controls);
    return controls;
}

QString tag(const QObject *control)
{
    return control ? control->property(tagProperty).toString() : QString();
}

void setTag(QObject *control, const QString &value)
{
    if (control)
        control->setProperty(tagProperty, value);
}

QString controlValueText(const QObject *control)
{
    if (!control)
        return QString();
    if (auto *edit = qobject_cast<const QLineEdit *>(control))
        return edit->text();
    if (auto *edit = qobject_cast<const QTextEdit *>(control))
        return edit->toPlainText();
    if (auto *edit = qobject_cast<const QPlainTextEdit *>(control))
        return edit->toPlainText();
    if (auto *combo = qobject_cast<const QComboBox *>(control))
        return combo->currentText();
    if (auto *check = qobject_cast<const QCheckBox *>(control)) {
        switch (check->checkState()) {
        case Qt::Checked:
            return QStringLiteral("1");
        case Qt::PartiallyChecked:
            return QStringLiteral("2");
        default:
            return QStringLiteral("0");
        }
    }
    if (auto *option = qobject_cast<const QRadioButton *>(control))
        return option->isChecked() ? QStringLiteral("1") : QStringLiteral("0");
    if (auto *grid = qobject_cast<const FlexGrid *>(control)) {
        QString cells;
        const int rows = grid->Rows();
        const int cols = grid->Cols();
        for (int r = 1; r < rows; ++r) {
            if (cols > 1)
                cells += grid->TextMatrix(r, 1);
            for (int c = 2; c < cols; ++c)
                cells += grid->TextMatrix(r, c);
        }
        return cells;
    }
    if (auto *date = qobject_cast<const QDateTimeEdit *>(control))
        return date->date().toString(QStringLiteral("dd/MM/yyyy"));
    return QString();
}

DatePicker::DatePicker(QWidget *parent) : QDateEdit(parent)
{
    setCalendarPopup(true);
    setDisplayFormat(QStringLiteral("dd/MM/yyyy"));
}

bool DatePicker::focusNextPrevChild(bool next)
{
    return QWidget::focusNextPrevChild(next);
}

void optionGroupAsOneTabStop(const QList<QRadioButton *> &options)
{
    const auto update = [options] {
        bool any = false;
        for (QRadioButton *option : options)
            any = any || option->isChecked();
        for (qsizetype i = 0; i < options.size(); ++i) {
            const bool stop = any ? options.at(i)->isChecked() : i == 0;
            options.at(i)->setFocusPolicy(stop ? Qt::StrongFocus : Qt::ClickFocus);
        }
    };
    for (QRadioButton *option : options)
        QObject::connect(option, &QAbstractButton::toggled, option, update);
    update();
}

} // namespace platform
