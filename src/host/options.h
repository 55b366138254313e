#pragma once
// Command-line parsing shared by the host's commands: Qt's own "-platform NAME" is accepted everywhere,
// and a bad value ends the command with a usage error.

#include <QCommandLineParser>
#include <QDate>
#include <optional>

namespace host {

// Adds --help, --version and the hidden -platform option, parses, and shows the help when asked.
void parseArguments(QCommandLineParser &parser, const QStringList &arguments);

qint16 int16Option(const QCommandLineParser &parser, const QString &name, qint16 fallback);
qint32 int32Option(const QCommandLineParser &parser, const QString &name, qint32 fallback);
// The option's value when it is given.
template <class Parse>
auto optionalOption(Parse parse, const QCommandLineParser &parser, const QString &name)
    -> std::optional<decltype(parse(parser, name, 0))>
{
    if (!parser.isSet(name))
        return std::nullopt;
    return parse(parser, name, 0);
}
QDate dateOption(const QCommandLineParser &parser, const QString &name, const QDate &fallback);

QCommandLineOption databaseOption();
// The --database value, or the embedded database of this user.
QString databaseUrl(const QCommandLineParser &parser);
// Ends the command with a usage error when more than `allowed` positional arguments were given.
void noMorePositionals(const QCommandLineParser &parser, int allowed);
QCommandLineOption dateOptionFor(const QString &what);

} // namespace host
