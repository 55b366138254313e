#include "generalservice.h"

#include "platform/runtime/errors.h"

#include <QComboBox>
#include <QLineEdit>

namespace suite {

namespace {

const QString Source = QStringLiteral("SharedCore.GeneralService");

// A number held as a number, or as text that reads as one ("12", " 12.0 ").
bool asNumber(const QVariant &value, double &number)
{
    if (value.isNull() || !value.isValid())
        return false;
    bool ok = false;
    switch (value.metaType().id()) {
    case QMetaType::QString:
        number = value.toString().trimmed().toDouble(&ok);
        return ok;
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::Double:
    case QMetaType::Float:
        number = value.toDouble(&ok);
        return ok;
    default:
        return false;
    }
}

bool sameKey(const QVariant &key, const QVariant &value)
{
    double a = 0;
    double b = 0;
    if (asNumber(key, a) && asNumber(value, b))
        return a == b;
    if (key.isNull() || value.isNull())
        return false;
    return key.toString() == value.toString();
}

} // namespace

GeneralService::GeneralService(QObject *parent) : QObject(parent) {}

void GeneralService::TextValidateNum(QLineEdit *box, qint16 &keyAscii, qint16 limit)
{
    platform::required(box, Source);
    // Only typed characters are checked: Backspace, Enter, Tab and the Ctrl shortcuts (select all, copy,
    // paste, undo) work as in every other box.
    if (keyAscii < ' ')
        return;
    const bool digit = keyAscii >= '0' && keyAscii <= '9';
    const bool point = keyAscii == '.';
    if (!digit && !point) {
        keyAscii = 0;
        return;
    }
    if (point && box->text().contains(QLatin1Char('.')) && !box->selectedText().contains(QLatin1Char('.'))) {
        keyAscii = 0;
        return;
    }
    if (limit > 0 && box->text().size() >= limit && !box->hasSelectedText())
        keyAscii = 0;
}

void GeneralService::SelectComboItemByName(QComboBox *box, const QString &text)
{
    platform::required(box, Source);
    box->setCurrentIndex(box->findText(text, Qt::MatchExactly | Qt::MatchCaseSensitive));
}

void GeneralService::SelectComboItemByValue(QComboBox *box, const QVariant &value)
{
    platform::required(box, Source);
    int found = -1;
    for (int i = 0; i < box->count() && found < 0; ++i) {
        if (sameKey(box->itemData(i), value))
            found = i;
    }
    box->setCurrentIndex(found);
}

} // namespace suite
