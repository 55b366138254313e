#pragma once
// Comma-separated values as RFC 4180 writes them: records end with CRLF, a field that holds a comma, a
// double quote or a line break is quoted with its quotes doubled, and line breaks stay inside the quotes.
// The text is written as UTF-8 by the callers.

#include <QString>
#include <QStringList>

namespace host {

QString csvField(const QString &text);
QString csvRecord(const QStringList &fields);

} // namespace host
