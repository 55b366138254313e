#include "errors.h"

#include <QRegularExpression>

namespace platform {

QString maskSecrets(const QString &text)
{
    // scheme://user:password@ anywhere in the text.
    static const QRegularExpression inUrl(QStringLiteral("\\b([a-z][a-z0-9+.-]*://[^:/@\\s]*):[^@/\\s]*@"),
                                          QRegularExpression::CaseInsensitiveOption);
    // PWD=...; password=... (ODBC connection strings, libpq key words, ini lines); a quoted value whole.
    static const QRegularExpression keyValue(
        QStringLiteral("\\b(pwd|password|passwd)(\\s*[=:]\\s*)('[^']*'|\"[^\"]*\"|[^;&\\s]*)"),
        QRegularExpression::CaseInsensitiveOption);
    // create/alter role ... password 'secret'
    static const QRegularExpression inSql(QStringLiteral("\\b(password\\s+)'(?:[^']|'')*'"),
                                          QRegularExpression::CaseInsensitiveOption);
    // Almost no text holds a secret: one that has none of the three shapes' markers is left as it is.
    if (!text.contains(QLatin1String("://")) && !text.contains(QLatin1String("pass"), Qt::CaseInsensitive) &&
        !text.contains(QLatin1String("pwd"), Qt::CaseInsensitive))
        return text;
    QString masked = text;
    masked.replace(inUrl, QStringLiteral("\\1:***@"));
    masked.replace(keyValue, QStringLiteral("\\1\\2***"));
    masked.replace(inSql, QStringLiteral("\\1'***'"));
    return masked;
}

RuntimeError::RuntimeError(int number, QString source, QString description)
    : m_number(number), m_source(std::move(source)), m_description(maskSecrets(description)),
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
    } catch (...) {
        if (onError)
            onError(RuntimeError(0, QStringLiteral("std"), QStringLiteral("Unknown error")));
    }
    return false;
}

} // namespace platform
