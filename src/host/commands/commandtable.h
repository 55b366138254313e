#pragma once
// The one list of the host's commands: main() dispatches through it, and help and the unknown-command
// message name the commands from it. A new command is one line in commandtable.cpp.

#include <QString>
#include <QStringList>

#include <span>

namespace host {

// What a command needs of Qt before it runs: a report draws pages (fonts, no window), the module shows
// windows, the rest needs neither.
enum class CommandNeeds
{
    Core,
    Gui,
    Widgets
};

struct CommandEntry
{
    const char *word;
    CommandNeeds needs;
    int (*run)(const QStringList &arguments);
    const char *synopsis; // one line: what follows the word
};

std::span<const CommandEntry> commands();

// The command named by the program's first argument; nullptr when the first argument is an option or there
// is none (the module itself).
const CommandEntry *commandNamed(const char *word);

// "init-db, sql, report, ..." in the table's order.
QString commandWords();
// One line per command, "  agreement-register WORD SYNOPSIS", in the table's order.
QString commandSynopses();

} // namespace host
