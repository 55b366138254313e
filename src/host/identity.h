#pragma once
// Who runs the program: the database login (the operating-system account on an embedded SQLite file)
// and the user and department it acts for, which must be mapped to that login.

#include <QString>
#include <optional>

namespace platform {
class Connection;
}

namespace host {

struct Identity
{
    QString login;
    qint32 userId = 0;
    qint16 departmentId = 0;
};

// The user and the department asked for, when the login is mapped to them; without a choice, the
// lowest mapped. Anything else ends the command with one line (host::Failure).
Identity identify(platform::Connection &con, std::optional<qint32> user, std::optional<qint16> department);

} // namespace host
