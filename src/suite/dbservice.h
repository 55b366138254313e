#pragma once
// SharedCore.DbService: reads one table at a time (strTableName) on the connection it is given (adocon).
// fnGetNextMaxNo hands out each key once, through the counter table aKeyCounters.

#include "data/contracts.h"
#include "platform/database/connection.h"

#include <QObject>
#include <QPointer>
#include <memory>

namespace suite {

class DbService : public QObject, public agr::IDbService
{
    Q_OBJECT
    Q_INTERFACES(agr::IDbService)
    Q_PROPERTY(platform::Connection *adocon READ adocon WRITE setAdocon)
    Q_PROPERTY(QString strTableName READ strTableName WRITE setStrTableName)

public:
    explicit DbService(QObject *parent = nullptr);

    void setAdocon(platform::Connection *connection) override;
    platform::Connection *adocon() const override;
    void setStrTableName(const QString &table) override;
    QString strTableName() const override;

    QVariant fnReturnField(const QString &field, const QString &where = QString()) override;
    qint32 fnGetNextMaxNo(const QString &keyColumn) override;
    void populateComboorList(QWidget *comboOrList, const QString &keyColumn, const QString &displayColumn,
                             const QString &where) override;
    void PopulateListviewlvwPayment(QTreeWidget *listView, const QString &tables, QString &criterion,
                                    const QString &col1, const QString &col2, const QString &col3,
                                    const QString &col4, const QString &col5, const QString &col6) override;

private:
    platform::Connection &connection() const;
    // Where fnGetNextMaxNo draws: the caller's connection, or one of the service's own while the caller
    // is inside a transaction on a server.
    platform::Connection &drawingConnection();
    // " from <table>" with the where clause added, or joined by " and " when the table name carries one.
    QString fromClause(const QString &where) const;

    QPointer<platform::Connection> m_connection;
    QString m_tableName;
    std::unique_ptr<platform::Connection> m_ownConnection;
};

} // namespace suite
