#include "modulecontext.h"

#include "platform/database/connection.h"

#include <QCoreApplication>

namespace agr {

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

} // namespace agr
