#include "auditservice.h"

#include "data/schema.h"
#include "platform/runtime/errors.h"
#include "platform/ui/changetest.h"

#include <QWidget>

namespace suite {

AuditService::AuditService(QObject *parent) : QObject(parent) {}

void AuditService::OpenObject(platform::Connection *&connection, qint32 &companyId, qint32 &userId,
                              qint16 &departmentId, qint32 &interfaceId, const QDateTime &now)
{
    m_connection = connection;
    m_companyId = companyId;
    m_userId = userId;
    m_departmentId = departmentId;
    m_interfaceId = interfaceId;
    m_openedAt = now;
}

void AuditService::SaveActivityLogInfo(const QVariant &agreementId, const QString &agreementNo, bool flag,
                                       QString &action, QWidget *form)
{
    if (!flag)
        return;
    platform::Connection *con =
        platform::required(m_connection.data(), QStringLiteral("ActivityLog.AuditService"),
                           QStringLiteral("Object required: OpenObject has not been given a connection"));

    bool numeric = false;
    const double id = agreementId.toDouble(&numeric);
    platform::Command cmd(*con);
    cmd.setCommandText(
        QStringLiteral("insert into ") + QLatin1String(agr::schema::table::ActivityLog) +
        QStringLiteral(" (CompanyID, DepartmentID, UserID, InterfaceID, AgreementID, AgreementNo,"
                       " ActionCode, FormName, ActionDateTime) values (?,?,?,?,?,?,?,?,?)"));
    cmd.ParametersRefresh();
    cmd.Execute({m_companyId, m_departmentId, m_userId, m_interfaceId, numeric ? QVariant(id) : QVariant(),
                 agreementNo, action, form ? form->objectName() : QString(), QDateTime::currentDateTime()});
}

void AuditService::SaveInToTag(QWidget *form)
{
    platform::storeBaselines(form);
}

bool AuditService::DataChanged(QWidget *form)
{
    return platform::formDiffersFromTags(form);
}

} // namespace suite
