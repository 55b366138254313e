#pragma once
// clsagreementeg: the module's one public class. The host sets the properties (its open connection and
// the module context) and calls Show, which runs the agreement list modally.

#include "platform/database/connection.h"

#include <QDateTime>
#include <QObject>
#include <QPointer>
#include <QString>

namespace agr {

class clsagreementeg : public QObject
{
    Q_OBJECT
    Q_PROPERTY(platform::Connection *adocon READ adocon WRITE setAdocon)
    Q_PROPERTY(QDateTime dtProcessDate READ dtProcessDate WRITE setDtProcessDate)
    Q_PROPERTY(qint16 intUserID READ intUserID WRITE setIntUserID)
    Q_PROPERTY(qint16 intDepartmentID READ intDepartmentID WRITE setIntDepartmentID)
    Q_PROPERTY(QString strMsgBoxCaption READ strMsgBoxCaption WRITE setStrMsgBoxCaption)
    Q_PROPERTY(qint32 interfaceid READ interfaceid WRITE setInterfaceid)
    Q_PROPERTY(qint16 intcompanyid READ intcompanyid WRITE setIntcompanyid)

public:
    Q_INVOKABLE explicit clsagreementeg(QObject *parent = nullptr);
    ~clsagreementeg() override;

    // Auto-instantiating: a read while empty creates a new, unopened connection owned by this object.
    platform::Connection *adocon();
    void setAdocon(platform::Connection *connection) { m_adocon = connection; }
    QDateTime dtProcessDate() const { return m_dtProcessDate; }
    void setDtProcessDate(const QDateTime &value) { m_dtProcessDate = value; }
    qint16 intUserID() const { return m_intUserID; }
    void setIntUserID(qint16 value) { m_intUserID = value; }
    qint16 intDepartmentID() const { return m_intDepartmentID; }
    void setIntDepartmentID(qint16 value) { m_intDepartmentID = value; }
    QString strMsgBoxCaption() const { return m_strMsgBoxCaption; }
    void setStrMsgBoxCaption(const QString &value) { m_strMsgBoxCaption = value; }
    qint32 interfaceid() const { return m_interfaceid; }
    void setInterfaceid(qint32 value) { m_interfaceid = value; }
    qint16 intcompanyid() const { return m_intcompanyid; }
    void setIntcompanyid(qint16 value) { m_intcompanyid = value; }

    // Copies the properties into the module context and shows the agreement list modally; returns when the
    // list closes. Errors are not trapped here: they reach the host.
    Q_INVOKABLE void Show();

private:
    QPointer<platform::Connection> m_adocon;
    QDateTime m_dtProcessDate;
    qint16 m_intUserID = 0;
    qint16 m_intDepartmentID = 0;
    QString m_strMsgBoxCaption;
    qint32 m_interfaceid = 0;
    qint16 m_intcompanyid = 0;
};

} // namespace agr
