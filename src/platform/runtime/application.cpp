#include "application.h"

#include "platform/runtime/errors.h"

#include <cstdio>
#include <exception>

namespace platform {

namespace {

std::function<void(const QString &)> &lastChanceHandler()
{
    static std::function<void(const QString &)> handler;
    return handler;
}

} // namespace

Application::Application(int &argc, char **argv) : QApplication(argc, argv) {}

bool Application::notify(QObject *receiver, QEvent *event)
{
    // An error that no trap caught ends the handler, not the program.
    try {
        return QApplication::notify(receiver, event);
    } catch (const std::exception &e) {
        reportUnhandled(QString::fromUtf8(e.what()));
    } catch (...) {
        reportUnhandled(QStringLiteral("Unknown error"));
    }
    return false;
}

void Application::setLastChanceHandler(std::function<void(const QString &)> handler)
{
    lastChanceHandler() = std::move(handler);
}

void reportUnhandled(const RuntimeError &error)
{
    Application::reportUnhandled(QString::fromUtf8(error.what()));
}

void Application::reportUnhandled(const QString &text)
{
    if (const auto &handler = lastChanceHandler()) {
        handler(text);
        return;
    }
    std::fprintf(stderr, "Unhandled error: %s\n", qUtf8Printable(text));
    std::fflush(stderr);
}

} // namespace platform
