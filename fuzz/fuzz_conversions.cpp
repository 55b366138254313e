// The conversions on any text a clerk can type or a database can return: Val never fails on a number it
// can hold, CDbl/CLng/CInt give a finite number or raise type mismatch or overflow, CDate gives a valid date
// that reads back as itself or raises type mismatch, and Trim removes blanks only.

#include "fuzzsupport.h"
#include "platform/runtime/conversions.h"

#include <QDate>
#include <QVariant>
#include <cmath>

using platform::err::InvalidUseOfNull;
using platform::err::Overflow;
using platform::err::TypeMismatch;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString input = fuzz::text(data, size);

    double val = 0;
    fuzz::raisesOnly([&] { val = platform::Val(input); }, {Overflow}, "Val raises only overflow");
    fuzz::check(std::isfinite(val), "Val gives a finite number", input);

    double numeric = 0;
    const bool isNumber = platform::isNumericText(input, &numeric);
    fuzz::check(!isNumber || std::isfinite(numeric), "a numeric text has a finite value", input);

    double dbl = 0;
    const bool converted = fuzz::raisesOnly([&] { dbl = platform::CDbl(input); }, {TypeMismatch, Overflow},
                                            "CDbl raises only type mismatch or overflow");
    if (converted) {
        fuzz::check(std::isfinite(dbl), "CDbl gives a finite number", input);
        fuzz::check(isNumber && dbl == numeric, "CDbl takes the texts that read as numbers", input);
    }
    qint32 lng = 0;
    if (fuzz::raisesOnly([&] { lng = platform::CLng(input); }, {TypeMismatch, Overflow},
                         "CLng raises only type mismatch or overflow"))
        fuzz::check(converted && std::fabs(double(lng) - dbl) <= 0.5, "CLng rounds CDbl", input);
    qint16 integer = 0;
    if (fuzz::raisesOnly([&] { integer = platform::CInt(input); }, {TypeMismatch, Overflow},
                         "CInt raises only type mismatch or overflow"))
        fuzz::check(converted && integer == lng, "CInt is CLng when it fits", input);

    QDate date;
    if (fuzz::raisesOnly([&] { date = platform::CDate(input); }, {TypeMismatch},
                         "CDate raises type mismatch")) {
        fuzz::check(date.isValid(), "CDate gives a valid date", input);
        const QString shown = date.toString(QStringLiteral("dd/MM/yyyy"));
        QDate again;
        fuzz::raisesOnly([&] { again = platform::CDate(shown); }, {}, "a date shown reads back");
        fuzz::check(again == date, "a date shown reads back as itself",
                    input + QStringLiteral(" -> ") + shown);
    }
    fuzz::raisesOnly([] { platform::CDate(QVariant()); }, {InvalidUseOfNull}, "CDate of Null raises 94");

    const QString trimmed = platform::Trim(input);
    fuzz::check(!trimmed.startsWith(QLatin1Char(' ')) && !trimmed.endsWith(QLatin1Char(' ')) &&
                    input.contains(trimmed),
                "Trim removes the blanks around a text", input);
    fuzz::check(platform::Trim(trimmed) == trimmed, "Trim twice is Trim once", input);
    return 0;
}
