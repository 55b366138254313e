#pragma once
// Control events that Qt widgets have no signal for: KeyPress(KeyAscii) and KeyDown(KeyCode, Shift) from
// key events, and an option button's Click.

#include "platform/runtime/conversions.h"

#include <QString>
#include <QVariant>
#include <functional>

class QRadioButton;
class QWidget;

namespace agr {

// KeyPress: the handler sees the KeyAscii code and may set it to 0, which drops the key.
// KeyDown: the handler sees the KeyCode and the Shift state before the control handles the key.
// Keys that land on a combo box's or date box's inner line edit are handed to the control itself, so
// that each key is seen once, by the control's handler.
void onKeyPress(QWidget *control, std::function<void(qint16 &keyAscii)> handler);
void onKeyDown(QWidget *control, std::function<void(qint16 &keyCode, int shift)> handler);

// Click of an option button: runs when the option becomes set, by the user or by code, and again when
// the user clicks it while it is already set. Setting an option that is already set runs nothing.
void onOptionClick(QRadioButton *option, std::function<void()> handler);

// A validation message: information icon, OK only, under the module's caption.
void Inform(const QString &prompt);

// The forms use the platform's conversions by their short names.
using platform::CDate;
using platform::CDbl;
using platform::CInt;
using platform::CLng;
using platform::Trim;
using platform::Val;

} // namespace agr
