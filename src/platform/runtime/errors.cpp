#include "errors.h"

namespace platform {

RuntimeError::RuntimeError(int number, QString source, QString description)
    : m_number(number), m_source(std::move(source)), m_description(std::move(description)),
      m_what(QStringLiteral("Run-time error %1 (%2): %3").arg(m_number).arg(m_source, m_description).toUtf8())
{
}

void Raise(int number, const QString &source, const QString &description)
{
    throw RuntimeError(number, source, description);
}

bool Trap(const std::function<void()> &body, const std::function<void(const RuntimeError &)> &onError)
{
    try {
        body();
        return true;
    } catch (const RuntimeError &e) {
        if (onError)
            onError(e);
    } catch (const std::exception &e) {
        if (onError)
            onError(RuntimeError(0, QStringLiteral("std"), QString::fromUtf8(e.what())));
    }
    return false;
}

} // namespace platform
