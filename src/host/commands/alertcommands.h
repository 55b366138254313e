#pragma once
// The commands for what is due for renewal and for the register in a spreadsheet. Each takes the
// program's arguments (the program name first) and returns the exit status.

#include <QStringList>

namespace host {

// Exit status of the alerts command when something is due or expired, for cron and monitoring.
constexpr int ExitSomethingDue = 3;

// agreement-register alerts [--database URL] [--department N] [--date yyyy-mm-dd] [--format text|csv|json]
//                          [--escalate-after N]
int alerts(const QStringList &arguments);
// agreement-register calendar [--database URL] [--department N] --out FILE.ics
int calendar(const QStringList &arguments);
// agreement-register export [--database URL] [--department N] [--from yyyy-mm-dd] --out FILE.xlsx|FILE.csv
int exportCommand(const QStringList &arguments);

} // namespace host
