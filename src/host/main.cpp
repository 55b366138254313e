// agreement-register: the stand-alone host of the agreement register.

#include "alertcommands.h"
#include "commands.h"
#include "hostsupport.h"

#include "platform/runtime/application.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <cstring>
#include <initializer_list>

namespace {

enum class Command
{
    Module,
    InitDb,
    Sql,
    Report,
    Audit,
    Register,
    Unregister,
    Alerts,
    Export
};

Command commandOf(int argc, char **argv)
{
    if (argc < 2)
        return Command::Module;
    const char *word = argv[1];
    if (std::strcmp(word, "init-db") == 0)
        return Command::InitDb;
    if (std::strcmp(word, "sql") == 0)
        return Command::Sql;
    if (std::strcmp(word, "report") == 0)
        return Command::Report;
    if (std::strcmp(word, "audit") == 0)
        return Command::Audit;
    if (std::strcmp(word, "register") == 0)
        return Command::Register;
    if (std::strcmp(word, "unregister") == 0)
        return Command::Unregister;
    if (std::strcmp(word, "alerts") == 0)
        return Command::Alerts;
    if (std::strcmp(word, "export") == 0)
        return Command::Export;
    return Command::Module;
}

void name()
{
    QCoreApplication::setApplicationName(QStringLiteral("agreement-register"));
    QCoreApplication::setApplicationVersion(QStringLiteral("1.0"));
}

bool hasArgument(int argc, char **argv, std::initializer_list<const char *> names)
{
    for (int i = 1; i < argc; ++i) {
        for (const char *name : names) {
            if (std::strcmp(argv[i], name) == 0)
                return true;
        }
    }
    return false;
}

// Without a display Qt would abort. A window that is only rendered (or help that is only printed) needs
// none; anything else is told so in one line.
bool displayOrOffscreen(int argc, char **argv)
{
#if defined(Q_OS_UNIX) && !defined(Q_OS_MACOS)
    if (qEnvironmentVariableIsSet("QT_QPA_PLATFORM") || qEnvironmentVariableIsSet("DISPLAY") ||
        qEnvironmentVariableIsSet("WAYLAND_DISPLAY") || hasArgument(argc, argv, {"-platform", "--platform"}))
        return true;
    if (hasArgument(argc, argv, {"--screenshot", "-screenshot", "--help", "-help", "-h"})) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        return true;
    }
    host::printErr(
        QStringLiteral("no display to open the window on (set DISPLAY, or use --screenshot FILE)"));
    return false;
#else
    Q_UNUSED(argc);
    Q_UNUSED(argv);
    return true;
#endif
}

template <class Body> int guarded(Body body)
{
    try {
        return body();
    } catch (const host::Failure &failure) {
        host::printErr(failure.text());
        return failure.status();
    } catch (const std::exception &e) {
        host::printErr(host::oneLine(QString::fromUtf8(e.what())));
        return host::ExitFailure;
    }
}

} // namespace

int main(int argc, char **argv)
{
    const Command command = commandOf(argc, argv);
    if (command == Command::Module) {
        // Widgets only here: the other commands run where there is no display.
        if (!displayOrOffscreen(argc, argv))
            return host::ExitFailure;
        platform::Application app(argc, argv);
        name();
        return guarded([&] { return host::runModule(QCoreApplication::arguments()); });
    }
    if (command == Command::Report) {
        // Fonts and pages need the GUI classes, but never a window: offscreen where there is no display.
        if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM") && !qEnvironmentVariableIsSet("DISPLAY") &&
            !qEnvironmentVariableIsSet("WAYLAND_DISPLAY"))
            qputenv("QT_QPA_PLATFORM", "offscreen");
        QGuiApplication app(argc, argv);
        name();
        return guarded([&] { return host::report(QCoreApplication::arguments()); });
    }
    QCoreApplication app(argc, argv);
    name();
    return guarded([&] {
        const QStringList arguments = QCoreApplication::arguments();
        switch (command) {
        case Command::InitDb:
            return host::initDb(arguments);
        case Command::Sql:
            return host::sql(arguments);
        case Command::Audit:
            return host::audit(arguments);
        case Command::Register:
            return host::registration(arguments, true);
        case Command::Unregister:
            return host::registration(arguments, false);
        case Command::Alerts:
            return host::alerts(arguments);
        case Command::Export:
            return host::exportCommand(arguments);
        case Command::Module:
        case Command::Report:
            break;
        }
        return host::ExitUsage;
    });
}
