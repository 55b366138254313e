#pragma once
// The program's QApplication: an exception that escapes an event handler is logged to stderr and the
// program stays alive (the original's last-chance handler).

#include <QApplication>
#include <functional>

namespace platform {

class Application : public QApplication
{
public:
    Application(int &argc, char **argv);
    bool notify(QObject *receiver, QEvent *event) override;

    // Called with the error text of every exception caught here (stderr by default).
    static void setLastChanceHandler(std::function<void(const QString &)> handler);
    static void reportUnhandled(const QString &text);
};

} // namespace platform
