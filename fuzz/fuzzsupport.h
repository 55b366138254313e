#pragma once
// What the fuzz targets share: the input as text, a broken rule reported as a crash (so that libFuzzer
// keeps the input), and the run-time errors a piece of code may raise.

#include "platform/runtime/errors.h"

#include <QString>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <initializer_list>

namespace fuzz {

// The bytes read as UTF-8, as a clerk's typing or a file would reach the code (bad sequences become
// U+FFFD).
inline QString text(const uint8_t *data, size_t size)
{
    return QString::fromUtf8(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
}

[[noreturn]] inline void broken(const char *rule, const QString &detail = QString())
{
    std::fprintf(stderr, "broken rule: %s\n%s\n", rule, detail.toUtf8().constData());
    std::abort();
}

inline void check(bool holds, const char *rule, const QString &detail = QString())
{
    if (!holds)
        broken(rule, detail);
}

// Runs body; a run-time error must carry one of the allowed numbers. Any other exception escapes and
// ends the run. Returns true when body ran to its end.
inline bool raisesOnly(const std::function<void()> &body, std::initializer_list<int> allowed,
                       const char *rule)
{
    try {
        body();
        return true;
    } catch (const platform::RuntimeError &e) {
        for (int number : allowed)
            if (e.number() == number)
                return false;
        broken(rule, QString::number(e.number()) + QLatin1Char(' ') + e.description());
    }
}

} // namespace fuzz
