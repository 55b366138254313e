#include "modulecontext.h"

#include "platform/database/connection.h"
#include "platform/runtime/registry.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

namespace agr {

namespace {

// An address inside the module's library, to find the library by.
const char InsideTheModule = 0;

} // namespace

QDateTime zeroDate()
{
    return QDateTime(QDate(1899, 12, 30), QTime(0, 0));
}

platform::Connection *ModuleContext::connection()
{
    if (!m_connection) {
        // Owned by the application, so that it closes before the database drivers go away.
        m_connection = new platform::Connection(QCoreApplication::instance());
    }
    return m_connection;
}

void ModuleContext::setConnection(platform::Connection *connection)
{
    m_connection = connection;
}

ModuleContext &context()
{
    static ModuleContext moduleContext;
    return moduleContext;
}

QString appPath()
{
    const QString named = qEnvironmentVariable("AGR_APP_PATH");
    if (!named.isEmpty()) {
        QDir().mkpath(named);
        return QDir(named).absolutePath();
    }
    const QFileInfo library(platform::ComponentRegistry::libraryPathOf(&InsideTheModule));
    const QFileInfo folder(library.absolutePath());
    if (!library.filePath().isEmpty() && folder.isDir() && folder.isWritable())
        return folder.absoluteFilePath();
    const QString user = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
                         QStringLiteral("/agreement-register");
    QDir().mkpath(user);
    return user;
}

} // namespace agr
