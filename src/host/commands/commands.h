#pragma once
// The host's commands. Each takes the program's arguments (the program name first) and returns the exit
// status; a host::Failure ends it with a one-line error.

#include <QStringList>

namespace host {

// agreement-register [--database URL] [--user N] ... [--screenshot FILE]: shows the module.
int runModule(const QStringList &arguments);

// agreement-register init-db [--database URL] [--demo] [--date yyyy-mm-dd] [--clerk LOGIN ...]
int initDb(const QStringList &arguments);
// agreement-register sql [--database URL] "STATEMENT"
int sql(const QStringList &arguments);
// agreement-register report [--database URL] [--user N] [--department N] [--agreement ID] --pdf FILE
int report(const QStringList &arguments);
// agreement-register audit verify [--database URL]
int audit(const QStringList &arguments);
// agreement-register register|unregister [LIBRARY...]
int registration(const QStringList &arguments, bool doRegister);

} // namespace host
