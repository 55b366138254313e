#pragma once
// ActivityLog.AuditService: records user actions in aActivityLog and keeps the change-tracking baseline in
// the Tag of a form's input controls.

#include "data/contracts.h"
#include "platform/database/connection.h"

#include <QObject>
#include <QPointer>

namespace suite {

class AuditService : public QObject, public agr::IAuditService, public agr::IActivityLogChain
{
    Q_OBJECT
    Q_INTERFACES(agr::IAuditService agr::IActivityLogChain)

public:
    explicit AuditService(QObject *parent = nullptr);

    // Remembers the connection and the context that every later entry is written with.
    void OpenObject(platform::Connection *&connection, qint32 &companyId, qint32 &userId,
                    qint16 &departmentId, qint32 &interfaceId, const QDateTime &now) override;
    // One row in aActivityLog, stamped with the present time and chained to the row before it; flag false
    // records nothing. The form's object name is the entry's form name. Raises when OpenObject has not
    // been given a connection.
    void SaveActivityLogInfo(const QVariant &agreementId, const QString &agreementNo, bool flag,
                             QString &action, QWidget *form = nullptr) override;
    void SaveInToTag(QWidget *form) override;
    bool DataChanged(QWidget *form) override;

    agr::ChainCheck VerifyChain(platform::Connection *con) override;

private:
    QPointer<platform::Connection> m_connection;
    qint32 m_companyId = 0;
    qint32 m_userId = 0;
    qint16 m_departmentId = 0;
    qint32 m_interfaceId = 0;
    QDateTime m_openedAt;
};

} // namespace suite
