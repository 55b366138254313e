// agreement-register: the stand-alone host of the agreement register.

#include "commands.h"
#include "hostsupport.h"

#include "platform/application.h"

#include <QCoreApplication>
#include <cstring>

namespace {

enum class Command
{
    Module,
    InitDb,
    Sql,
    Register,
    Unregister
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
    if (std::strcmp(word, "register") == 0)
        return Command::Register;
    if (std::strcmp(word, "unregister") == 0)
        return Command::Unregister;
    return Command::Module;
}

void name()
{
    QCoreApplication::setApplicationName(QStringLiteral("agreement-register"));
    QCoreApplication::setApplicationVersion(QStringLiteral("1.0"));
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
        platform::Application app(argc, argv);
        name();
        return guarded([&] { return host::runModule(QCoreApplication::arguments()); });
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
        case Command::Register:
            return host::registration(arguments, true);
        case Command::Unregister:
            return host::registration(arguments, false);
        case Command::Module:
            break;
        }
        return host::ExitUsage;
    });
}
