#pragma once
// A copy of the register taken while clerks keep working, and the way back from it. Each takes the
// program's arguments (the program name first) and returns the exit status.

#include <QStringList>

namespace host {

// agreement-register backup [--database URL] --out FILE
int backup(const QStringList &arguments);
// agreement-register restore --in FILE [--database URL] [--replace]
int restore(const QStringList &arguments);

} // namespace host
