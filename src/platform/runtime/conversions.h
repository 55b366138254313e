#pragma once
// The conversions the module's code relies on, with the original's rules: Val reads a leading number,
// CDbl/CLng/CInt convert numbers and numeric texts (halves round to even), Trim removes blanks only.

#include <QDate>
#include <QString>
#include <QVariant>

namespace platform {

// The leading numeric part of a text: blanks skipped, an optional sign, digits with one decimal point;
// 0 when the text does not start with a number; too many digits for a Double raise 6 (overflow).
double Val(const QString &text);

// A text that is no number ("inf" and "nan" included) raises 13 (type mismatch), a value that does not fit
// raises 6 (overflow).
// A null value reads as 0.
double CDbl(const QVariant &value);
qint32 CLng(const QVariant &value);
qint16 CInt(const QVariant &value);

// A date from a date value or a text in the short date form "dd/mm/yyyy" (also "yyyy-mm-dd" and
// "yyyymmdd", as databases give dates back), blanks around it ignored; anything else raises 13 and a null
// raises 94.
QDate CDate(const QVariant &value);

// Text that reads as a number (blanks around it allowed); its value into *value.
bool isNumericText(const QString &text, double *value = nullptr);

// Leading and trailing blanks removed (blanks only, not tabs or line breaks).
QString Trim(const QString &text);

} // namespace platform
