#pragma once
// The commands of the full-text search. Each takes the program's arguments (the program name first) and
// returns the exit status.

#include <QStringList>

namespace host {

// Exit status of find when no agreement matched.
constexpr int ExitNothingFound = 3;

// agreement-register find [--database URL] [--department N] [--format text|json] WORDS
int find(const QStringList &arguments);
// agreement-register index [--database URL] [--rebuild] [--languages eng+tam]
int index(const QStringList &arguments);

} // namespace host
