#pragma once
// FaultLog.FaultService: the suite's error log. Every fault goes to stderr as one line, and into aFaultLog
// on the connection in adocon. The contract gives ErrorTrack no connection, so the caller sets adocon by
// name first (the module's error-logging procedure sets it to the module's connection).

#include "data/contracts.h"
#include "platform/database/connection.h"

#include <QObject>
#include <QPointer>

namespace suite {

class FaultService : public QObject, public agr::IFaultService
{
    Q_OBJECT
    Q_INTERFACES(agr::IFaultService)
    Q_PROPERTY(platform::Connection *adocon READ adocon WRITE setAdocon)

public:
    explicit FaultService(QObject *parent = nullptr);

    platform::Connection *adocon() const;
    void setAdocon(platform::Connection *connection);

    // True when the row was written; false (never an error) when there is no open connection or the
    // insert fails. The stderr line is written either way.
    bool ErrorTrack(QString &formName, QString &userName, QString &procedure, qint32 &number, QString &source,
                    QString &description, QString &entryMode, bool flag) override;

private:
    QPointer<platform::Connection> m_connection;
};

} // namespace suite
