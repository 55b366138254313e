#include "faultservice.h"

#include "data/schema.h"
#include "platform/runtime/errors.h"

#include <QDateTime>

#include <cstdio>

namespace suite {

FaultService::FaultService(QObject *parent) : QObject(parent) {}

platform::Connection *FaultService::adocon() const
{
    return m_connection.data();
}

void FaultService::setAdocon(platform::Connection *connection)
{
    m_connection = connection;
}

bool FaultService::ErrorTrack(QString &formName, QString &userName, QString &procedure, qint32 &number,
                              QString &source, QString &description, QString &entryMode, bool /*flag*/)
{
    const QDateTime now = QDateTime::currentDateTime();
    // Driver messages run over several lines: the log line keeps them on one. Neither keeps a password.
    const QString masked = platform::maskSecrets(description);
    const QString line = now.toString(Qt::ISODate) + QStringLiteral(" fault in ") + formName +
                         QLatin1Char('.') + procedure + QStringLiteral(": error ") + QString::number(number) +
                         QStringLiteral(" (") + source + QStringLiteral(") ") + masked.simplified() +
                         QStringLiteral(" [user ") + userName + QStringLiteral(", mode ") + entryMode +
                         QStringLiteral("]\n");
    std::fputs(line.toLocal8Bit().constData(), stderr);
    std::fflush(stderr);

    if (!m_connection || !m_connection->isOpen()) {
        std::fputs("FaultLog.FaultService: no open connection, the fault was not stored\n", stderr);
        return false;
    }
    return platform::Trap(
        [&] {
            platform::Command cmd(*m_connection);
            cmd.setCommandText(
                QStringLiteral("insert into ") + QLatin1String(agr::schema::table::FaultLog) +
                QStringLiteral(" (FormName, UserName, ProcedureName, ErrorNumber, ErrorSource,"
                               " ErrorDescription, EntryMode, LoggedAt) values (?,?,?,?,?,?,?,?)"));
            cmd.ParametersRefresh();
            cmd.Execute({formName, userName, procedure, number, source, masked, entryMode, now});
        },
        [](const platform::RuntimeError &e) {
            std::fprintf(stderr, "FaultLog.FaultService: the fault was not stored: %s\n", e.what());
        });
}

} // namespace suite
