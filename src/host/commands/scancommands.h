#pragma once
// The command for the stored scanned copies. It takes the program's arguments (the program name first) and
// returns the exit status.

#include <QStringList>

namespace host {

// agreement-register scans repair [--database URL] [--user N] [--department N] [--apply]
int scans(const QStringList &arguments);

} // namespace host
