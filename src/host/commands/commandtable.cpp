#include "host/commands/commandtable.h"

#include "host/commands/alertcommands.h"
#include "host/commands/backupcommands.h"
#include "host/commands/commands.h"
#include "host/commands/scancommands.h"
#include "host/commands/searchcommands.h"

#include <array>
#include <cstring>

namespace host {

namespace {

int registerCommand(const QStringList &arguments)
{
    return registration(arguments, true);
}

int unregisterCommand(const QStringList &arguments)
{
    return registration(arguments, false);
}

const auto table = std::to_array<CommandEntry>({
    {"init-db", CommandNeeds::Core, initDb,
     "--database URL [--demo] [--clerk LOGIN [--clerk-user N] [--clerk-department N]...]"},
    {"sql", CommandNeeds::Core, sql, "--database URL \"STATEMENT\""},
    {"report", CommandNeeds::Gui, report,
     "[--database URL] [--user N] [--department N] [--agreement ID] --pdf FILE"},
    {"alerts", CommandNeeds::Core, alerts,
     "[--database URL] [--department N] [--date yyyy-mm-dd] [--format text|csv|json] [--escalate-after N]"},
    {"calendar", CommandNeeds::Core, calendar, "[--database URL] [--department N] --out FILE.ics"},
    {"export", CommandNeeds::Core, exportCommand,
     "[--database URL] [--department N] [--from yyyy-mm-dd] --out FILE.xlsx|FILE.csv"},
    {"audit", CommandNeeds::Core, audit, "verify [--database URL]"},
    {"backup", CommandNeeds::Core, backup, "[--database URL] --out FILE"},
    {"restore", CommandNeeds::Core, restore, "--in FILE [--database URL] [--replace]"},
    {"scans", CommandNeeds::Core, scans, "repair [--database URL] [--user N] [--department N] [--apply]"},
    {"find", CommandNeeds::Core, find, "[--database URL] [--department N] [--format text|json] WORDS"},
    {"index", CommandNeeds::Gui, index, "[--database URL] [--rebuild] [--languages eng+tam]"},
    {"register", CommandNeeds::Core, registerCommand, "[LIBRARY]"},
    {"unregister", CommandNeeds::Core, unregisterCommand, "[LIBRARY]"},
});

} // namespace

std::span<const CommandEntry> commands()
{
    return table;
}

const CommandEntry *commandNamed(const char *word)
{
    for (const CommandEntry &entry : table) {
        if (std::strcmp(entry.word, word) == 0)
            return &entry;
    }
    return nullptr;
}

QString commandWords()
{
    QStringList words;
    for (const CommandEntry &entry : table)
        words << QString::fromLatin1(entry.word);
    return words.join(QStringLiteral(", "));
}

QString commandSynopses()
{
    QStringList lines;
    for (const CommandEntry &entry : table)
        lines << QStringLiteral("  agreement-register ") % QLatin1String(entry.word) % QLatin1Char(' ') %
                     QString::fromUtf8(entry.synopsis);
    return lines.join(QLatin1Char('\n'));
}

} // namespace host
