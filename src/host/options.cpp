#include "host/options.h"

#include "host/hostsupport.h"

#include <limits>

namespace host {

void parseArguments(QCommandLineParser &parser, const QStringList &arguments)
{
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    parser.addHelpOption();
    parser.addVersionOption();
    // Taken by QApplication in the program's own mode; accepted and ignored by the other commands.
    QCommandLineOption platform(QStringLiteral("platform"), QStringLiteral("Qt platform plugin."),
                                QStringLiteral("name"));
    platform.setFlags(QCommandLineOption::HiddenFromHelp);
    parser.addOption(platform);
    if (!parser.parse(arguments))
        throw Failure(parser.errorText(), ExitUsage);
    if (parser.isSet(QStringLiteral("help")))
        parser.showHelp(0);
    if (parser.isSet(QStringLiteral("version")))
        parser.showVersion();
}

namespace {

qint64 integerOption(const QCommandLineParser &parser, const QString &name, qint64 fallback, qint64 low,
                     qint64 high, const char *kind)
{
    if (!parser.isSet(name))
        return fallback;
    const QString text = parser.value(name);
    bool ok = false;
    const qint64 value = text.trimmed().toLongLong(&ok);
    if (!ok || value < low || value > high) {
        throw Failure(QStringLiteral("--%1: '%2' is not a %3 integer (%4 to %5)")
                          .arg(name, text, QLatin1String(kind))
                          .arg(low)
                          .arg(high),
                      ExitUsage);
    }
    return value;
}

} // namespace

qint16 int16Option(const QCommandLineParser &parser, const QString &name, qint16 fallback)
{
    return qint16(integerOption(parser, name, fallback, std::numeric_limits<qint16>::min(),
                                std::numeric_limits<qint16>::max(), "16-bit"));
}

qint32 int32Option(const QCommandLineParser &parser, const QString &name, qint32 fallback)
{
    return qint32(integerOption(parser, name, fallback, std::numeric_limits<qint32>::min(),
                                std::numeric_limits<qint32>::max(), "32-bit"));
}

QDate dateOption(const QCommandLineParser &parser, const QString &name, const QDate &fallback)
{
    if (!parser.isSet(name))
        return fallback;
    const QString text = parser.value(name);
    const QDate date = QDate::fromString(text.trimmed(), QStringLiteral("yyyy-MM-dd"));
    if (!date.isValid())
        throw Failure(QStringLiteral("--%1: '%2' is not a date of the form yyyy-mm-dd").arg(name, text),
                      ExitUsage);
    return date;
}

QCommandLineOption databaseOption()
{
    return QCommandLineOption(
        QStringLiteral("database"),
        QStringLiteral("Database URL: a file path or sqlite:PATH, postgresql://user@host:port/db, "
                       "odbc:DSN. Default: %1.")
            .arg(defaultDatabasePath()),
        QStringLiteral("url"));
}

QString databaseUrl(const QCommandLineParser &parser)
{
    return parser.isSet(QStringLiteral("database")) ? parser.value(QStringLiteral("database"))
                                                    : defaultDatabasePath();
}

void noMorePositionals(const QCommandLineParser &parser, int allowed)
{
    const QStringList extra = parser.positionalArguments().mid(allowed);
    if (!extra.isEmpty())
        throw Failure(QStringLiteral("unexpected argument '%1'").arg(extra.first()), ExitUsage);
}

QCommandLineOption dateOptionFor(const QString &what)
{
    return QCommandLineOption(QStringLiteral("date"), what + QStringLiteral(" (yyyy-mm-dd). Default: today."),
                              QStringLiteral("date"));
}

} // namespace host
