#pragma once
// What the host's commands share: database URLs, the component libraries beside the program, and the
// one-line error that ends a command.

#include "platform/runtime/errors.h"
#include "platform/runtime/registry.h"

#include <QString>
#include <exception>
#include <utility>

class QWidget;

namespace platform {
class Connection;
}

namespace host {

// Ends a command: the text is printed as one line to stderr, the exit status returned from main.
class Failure : public std::exception
{
public:
    Failure(QString text, int status = 1) : m_text(std::move(text)), m_status(status) {}
    const QString &text() const { return m_text; }
    int status() const { return m_status; }
    const char *what() const noexcept override { return "host failure"; }

private:
    QString m_text;
    int m_status;
};

constexpr int ExitFailure = 1;
constexpr int ExitUsage = 2;

// How a run-time error is told after what failed: "error N: description", or the description alone.
enum class ErrorText
{
    Numbered,
    Description,
};

// The one line that ends a command for a run-time error: what failed (when given), ": ", the error.
QString failureText(const QString &what, const platform::RuntimeError &error, ErrorText text);

// Runs body and returns what it returns; a run-time error it raises ends the command with failureText.
template <class Body> decltype(auto) failingAs(const QString &what, ErrorText text, Body &&body)
{
    try {
        return std::forward<Body>(body)();
    } catch (const platform::RuntimeError &e) {
        throw Failure(failureText(what, e, text));
    }
}

// The embedded database of this user: <data folder>/agreement-register/agreements.db.
QString defaultDatabasePath();

// Opens url. A SQLite file must exist unless mayCreate (its folder is then created too).
void openDatabase(platform::Connection &con, const QString &url, bool mayCreate);

// A component library: libNAME.so beside the program (the build tree), else in the installed program's
// library folder.
QString componentLibrary(const QString &name);
// "0x00000000 (S_OK)"
QString hresultText(platform::HRESULT hr);

// Registers the library when one of the ProgIDs is unknown to the registry or names another library (one
// that is gone, or another install's): the program runs with the components beside it.
void ensureRegistered(const QStringList &progIds, const QString &libraryPath);

// One line: newlines and runs of blanks of driver messages folded into single blanks.
QString oneLine(const QString &text);

void printOut(const QString &line);
void printErr(const QString &line);

// Shows window, lets it load and paint (its loading may post events of its own), renders it into file as
// PNG and closes it; a file that cannot be written ends the command.
void saveScreenshot(QWidget *window, const QString &file);

} // namespace host
