#pragma once
// The module context: module-wide values that Show fills from the entry class and every form reads.

#include <QDateTime>
#include <QPointer>
#include <QString>

namespace platform {
class Connection;
}

namespace agr {

// The date a date property holds until it is set: the zero date, 30/12/1899 00:00.
QDateTime zeroDate();

class ModuleContext
{
public:
    // Auto-instantiating: a read while empty creates a new, unopened connection owned by the module.
    platform::Connection *connection();
    void setConnection(platform::Connection *connection); // shares the host's object, no copy, no Open

    QDateTime processDate = zeroDate();
    qint32 userId = 0;
    qint32 companyId = 0;
    qint16 departmentId = 0;
    qint32 interfaceId = 0;
    QString msgBoxCaption;
    qint32 reserved = 0; // reset by Show, read by nothing

private:
    QPointer<platform::Connection> m_connection;
};

ModuleContext &context();

// App.Path: the folder of the module's library, where the scanned-copies form keeps its temporary files.
// AGR_APP_PATH names another folder; where the library's folder cannot be written, the user's data folder
// of the register stands in for it.
QString appPath();

} // namespace agr
