#include "auditservice.h"

#include "activitychain.h"

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
    // Whole seconds: the stamp reads back alike from every engine, and the row's hash covers it.
    const QDateTime now = QDateTime::currentDateTime();
    chain::append(*con, {m_companyId, m_departmentId, m_userId, m_interfaceId,
                         numeric ? QVariant(id) : QVariant(), agreementNo, action,
                         form ? form->objectName() : QString(), now.addMSecs(-now.time().msec())});
}

agr::ChainCheck AuditService::VerifyChain(platform::Connection *con)
{
    return chain::verify(*platform::required(con, QStringLiteral("ActivityLog.AuditService")));
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
