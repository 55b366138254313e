#include "host/exports/csv.h"

namespace host {

QString csvField(const QString &text)
{
    bool quote = false;
    for (const QChar c : text) {
        if (c == QLatin1Char(',') || c == QLatin1Char('"') || c == QLatin1Char('\r') ||
            c == QLatin1Char('\n')) {
            quote = true;
            break;
        }
    }
    if (!quote)
        return text;
    QString quoted = text;
    quoted.replace(QLatin1Char('"'), QStringLiteral("\"\""));
    return QLatin1Char('"') + quoted + QLatin1Char('"');
}

QString csvRecord(const QStringList &fields)
{
    QString line;
    for (qsizetype i = 0; i < fields.size(); ++i) {
        if (i > 0)
            line += QLatin1Char(',');
        line += csvField(fields.at(i));
    }
    line += QStringLiteral("\r\n");
    return line;
}

} // namespace host
