// agreement-register: the stand-alone host of the agreement register.

#include "host/buildinfo.h"
#include "host/commands/commands.h"
#include "host/commands/commandtable.h"
#include "host/hostsupport.h"

#include "platform/runtime/application.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <cstring>
#include <initializer_list>

namespace {

void name()
{
    QCoreApplication::setApplicationName(QStringLiteral("agreement-register"));
    QCoreApplication::setApplicationVersion(QLatin1String(host::ProgramVersion));
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
    if (hasArgument(
            argc, argv,
            {"--screenshot", "-screenshot", "--help", "-help", "-h", "--version", "-version", "-v"})) {
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
    const host::CommandEntry *command = argc >= 2 ? host::commandNamed(argv[1]) : nullptr;
    if (!command || command->needs == host::CommandNeeds::Widgets) {
        // Widgets only here: the other commands run where there is no display.
        if (!displayOrOffscreen(argc, argv))
            return host::ExitFailure;
        platform::Application app(argc, argv);
        name();
        const auto run = command ? command->run : host::runModule;
        return guarded([&] { return run(QCoreApplication::arguments()); });
    }
    if (command->needs == host::CommandNeeds::Gui) {
        // Fonts and pages need the GUI classes, but never a window: offscreen where there is no display.
        if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM") && !qEnvironmentVariableIsSet("DISPLAY") &&
            !qEnvironmentVariableIsSet("WAYLAND_DISPLAY"))
            qputenv("QT_QPA_PLATFORM", "offscreen");
        QGuiApplication app(argc, argv);
        name();
        return guarded([&] { return command->run(QCoreApplication::arguments()); });
    }
    QCoreApplication app(argc, argv);
    name();
    return guarded([&] { return command->run(QCoreApplication::arguments()); });
}
