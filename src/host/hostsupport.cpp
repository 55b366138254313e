#include "host/hostsupport.h"

#include "host/buildinfo.h"

#include "data/schema.h"
#include "platform/database/connection.h"
#include "platform/runtime/errors.h"
#include "platform/runtime/savefile.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QPixmap>
#include <QStandardPaths>
#include <QWidget>

#include <cstdio>

namespace host {

QString failureText(const QString &what, const platform::RuntimeError &error, ErrorText text)
{
    QString line = what.isEmpty() ? QString() : what + QStringLiteral(": ");
    if (text == ErrorText::Numbered)
        line += QStringLiteral("error %1: ").arg(error.number());
    return line + oneLine(error.description());
}

QString defaultDatabasePath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
           QStringLiteral("/agreement-register/agreements.db");
}

namespace {

// A new database file is readable and writable by its owner only; SQLite gives its journal the same mode.
void createPrivateFile(const QString &file)
{
    if (QFileInfo::exists(file))
        return;
    QFile created(file);
    if (!created.open(QIODevice::WriteOnly | QIODevice::NewOnly,
                      QFileDevice::ReadOwner | QFileDevice::WriteOwner))
        throw Failure(
            QStringLiteral("cannot create the database file %1: %2").arg(file, created.errorString()));
}

} // namespace

void openDatabase(platform::Connection &con, const QString &url, bool mayCreate)
{
    if (url.trimmed().isEmpty())
        throw Failure(QStringLiteral("no database given"), ExitUsage);
    const QString file = platform::sqliteFileOf(url);
    if (!file.isEmpty()) {
        if (mayCreate) {
            if (!QDir().mkpath(QFileInfo(file).absolutePath()))
                throw Failure(QStringLiteral("cannot create the folder of ") + file);
            createPrivateFile(file);
        } else if (!QFileInfo::exists(file)) {
            throw Failure(QStringLiteral("database file not found: ") % file %
                          QStringLiteral(" (create it with: agreement-register init-db --database ") % url %
                          QStringLiteral(" --demo)"));
        }
    }
    // The connection's own text already names the database.
    const QString newer = failingAs({}, ErrorText::Description, [&] {
        con.Open(url);
        return agr::schema::NewerSchemaText(agr::schema::StoredSchemaVersion(con));
    });
    // Whatever this program wrote there could break what the newer one relies on.
    if (!newer.isEmpty())
        throw Failure(platform::printableUrl(url) % QStringLiteral(": ") % newer);
}

QString componentLibrary(const QString &name)
{
#if defined(Q_OS_WIN)
    const QString file = name + QStringLiteral(".dll");
#elif defined(Q_OS_MACOS)
    const QString file = QStringLiteral("lib") % name % QStringLiteral(".dylib");
#else
    const QString file = QStringLiteral("lib") % name % QStringLiteral(".so");
#endif
    const QString beside = QCoreApplication::applicationDirPath() % QLatin1Char('/') % file;
    if (QFileInfo::exists(beside))
        return beside;
    const QString installed = QCoreApplication::applicationDirPath() % QLatin1Char('/') %
                              QLatin1String(ComponentsFromProgram) % QLatin1Char('/') % file;
    return QFileInfo::exists(installed) ? QDir::cleanPath(installed) : beside;
}

QString hresultText(platform::HRESULT hr)
{
    QString name;
    switch (hr) {
    case platform::S_OK:
        name = QStringLiteral("S_OK");
        break;
    case platform::S_FALSE:
        name = QStringLiteral("S_FALSE");
        break;
    case platform::E_FAIL:
        name = QStringLiteral("E_FAIL");
        break;
    case platform::SELFREG_E_CLASS:
        name = QStringLiteral("SELFREG_E_CLASS");
        break;
    case platform::CLASS_E_CLASSNOTAVAILABLE:
        name = QStringLiteral("CLASS_E_CLASSNOTAVAILABLE");
        break;
    default:
        break;
    }
    const QString number = QStringLiteral("0x%1").arg(quint32(hr), 8, 16, QLatin1Char('0'));
    return name.isEmpty() ? number : number % QStringLiteral(" (") % name % QLatin1Char(')');
}

void ensureRegistered(const QStringList &progIds, const QString &libraryPath)
{
    auto &registry = platform::ComponentRegistry::instance();
    const QString beside = QFileInfo(libraryPath).canonicalFilePath();
    bool known = true;
    for (const QString &progId : progIds) {
        // Another install's library (or one that is gone) would not match this program.
        if (QFileInfo(registry.libraryOf(progId)).canonicalFilePath() != beside || beside.isEmpty())
            known = false;
    }
    if (known)
        return;
    QString why;
    const platform::HRESULT hr = registry.callRegistration(libraryPath, true, &why);
    if (hr != platform::S_OK) {
        throw Failure(QStringLiteral("cannot register ") % libraryPath % QStringLiteral(": ") %
                      (why.isEmpty()
                           ? QString(QStringLiteral("DllRegisterServer returned ") + hresultText(hr))
                           : oneLine(why)));
    }
}

QString oneLine(const QString &text)
{
    return text.simplified();
}

void printOut(const QString &line)
{
    std::fprintf(stdout, "%s\n", qUtf8Printable(line));
    std::fflush(stdout);
}

void printErr(const QString &line)
{
    std::fprintf(stderr, "agreement-register: %s\n", qUtf8Printable(platform::maskSecrets(line)));
    std::fflush(stderr);
}

void saveScreenshot(QWidget *window, const QString &file)
{
    window->show();
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < 500 && window->isVisible())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
    QDir().mkpath(QFileInfo(file).absolutePath());
    const QPixmap picture = window->grab();
    failingAs(QStringLiteral("cannot write the screenshot ") + file, ErrorText::Description, [&] {
        platform::saveWhole(file, [&](QIODevice &out) {
            if (!picture.save(&out, "PNG"))
                platform::Raise(platform::FileAccessError, QStringLiteral("host"), out.errorString());
        });
    });
    window->close();
}

} // namespace host
