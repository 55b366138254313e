#include "conversions.h"

#include "platform/runtime/errors.h"

#include <QLocale>

#include <cmath>
#include <limits>

namespace platform {

namespace {

const QString Source = QStringLiteral("zrtp1003");

// A whole number of type Int; halves round to even, as CLng and CInt require.
template <class Int> Int whole(double value)
{
    const double rounded = std::nearbyint(value);
    // Written as "not inside" so that a NaN overflows too.
    if (!(rounded >= double(std::numeric_limits<Int>::min()) &&
          rounded <= double(std::numeric_limits<Int>::max())))
        Raise(err::Overflow, Source, QStringLiteral("Overflow"));
    return static_cast<Int>(rounded);
}

enum class Reading
{
    NoNumber,
    Number,
    TooLarge
};

// A whole text as a number. "inf" and "nan" are no numbers here, and a number beyond a Double's range is
// too large rather than infinite.
Reading readNumber(const QString &text, double *value)
{
    // Most texts are ruled out by their first character, without copying or parsing them.
    qsizetype first = 0;
    while (first < text.size() && text.at(first).isSpace())
        ++first;
    if (first == text.size())
        return Reading::NoNumber;
    const QChar lead = text.at(first);
    if (!(lead.isDigit() || lead == QLatin1Char('-') || lead == QLatin1Char('+') || lead == QLatin1Char('.')))
        return Reading::NoNumber;
    bool ok = false;
    const double number = QLocale::c().toDouble(text.trimmed(), &ok);
    if (ok && std::isfinite(number)) {
        *value = number;
        return Reading::Number;
    }
    return !ok && std::isinf(number) ? Reading::TooLarge : Reading::NoNumber;
}

} // namespace

bool isNumericText(const QString &text, double *value)
{
    double number = 0;
    if (readNumber(text, &number) != Reading::Number)
        return false;
    if (value)
        *value = number;
    return true;
}

double Val(const QString &text)
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
    // Too many digits for a Double overflow; too small a fraction reads as 0.
    const double number = text.mid(start, i - start).toDouble();
    if (std::isinf(number))
        Raise(err::Overflow, Source, QStringLiteral("Overflow"));
    return number;
}

double CDbl(const QVariant &value)
{
    if (value.isNull())
        return 0;
    double number = 0;
    bool ok = false;
    if (value.typeId() == QMetaType::QString) {
        const Reading reading = readNumber(value.toString(), &number);
        if (reading == Reading::TooLarge)
            Raise(err::Overflow, Source, QStringLiteral("Overflow"));
        ok = reading == Reading::Number;
    } else {
        number = value.toDouble(&ok);
    }
    if (!ok)
        Raise(err::TypeMismatch, Source, QStringLiteral("Type mismatch"));
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

QDate CDate(const QVariant &value)
{
    if (value.isNull())
        Raise(err::InvalidUseOfNull, Source, QStringLiteral("Invalid use of Null"));
    if (value.typeId() == QMetaType::QDate)
        return value.toDate();
    if (value.typeId() == QMetaType::QDateTime)
        return value.toDateTime().date();
    const QString text = value.toString().trimmed();
    // The date part only: a time after it is dropped.
    const QString day = text.section(QLatin1Char(' '), 0, 0);
    for (const char *format : {"dd/MM/yyyy", "d/M/yyyy", "yyyy-MM-dd", "yyyyMMdd"}) {
        const QDate date = QDate::fromString(day, QLatin1String(format));
        if (date.isValid())
            return date;
    }
    Raise(err::TypeMismatch, Source, QStringLiteral("Type mismatch"));
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

} // namespace platform
