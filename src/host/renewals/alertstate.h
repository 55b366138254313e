#pragma once
// The state of the renewal alerts, kept in the database (aRenewalAlerts and its history) so that what a
// clerk saw, put off or dealt with holds on every workstation and for every later run.
//
// An alert is one agreement's valid-to date with its alert days: a change of either closes the alert and
// arms a new one, and cancelling the agreement closes it. Evaluating on a processing date raises an alert
// for each agreement the renewal rules list on that date, and for each whose due or expired window passed
// since the department's last evaluation (a day on which nobody ran anything is caught up, once).

#include "host/renewals/renewals.h"

#include <QDate>
#include <QList>
#include <QString>

#include <utility>

namespace platform {
class Connection;
}

namespace host {

class RenewalAlerts
{
public:
    // login: who acts (agr::schema::currentLogin), recorded with every change.
    RenewalAlerts(platform::Connection &con, qint16 department, const QDate &processDate, QString login);

    // Brings the state up to the processing date and returns the alerts that want attention, in the order
    // of the renewal rules: those the rules list today that are open or whose snooze has run out, and
    // those raised now for a window missed since the last evaluation. Raises on a database error.
    QList<RenewalRow> evaluate();

    // After evaluating: the alerts open (or their snooze run out) for at least days past their due date and
    // not escalated before, marked escalated now. Oldest due date first.
    QList<RenewalRow> escalate(int days);

    void acknowledge(const QList<qint32> &alerts);
    void snooze(const QList<qint32> &alerts, const QDate &until);
    void markDone(const QList<qint32> &alerts);

    // "Do not show again today": the login's own alerts of the department put aside until a day.
    bool windowPutAside();
    void putWindowAside(const QDate &until);

    const QString &login() const { return m_login; }

private:
    void setState(const QList<qint32> &alerts, AlertState state, const QDate &until, const QString &action);
    void record(qint32 alert, const QString &action, const QDate &until = QDate(),
                const QString &note = QString());
    void arm(const QList<RenewalRow *> &unarmed);
    void armTogether(const QList<RenewalRow *> &unarmed, bool noteDay); // PostgreSQL
    // found: the alerts wanting something that the rules' statement found with their agreement's dates;
    // inReach: those within its reach, as the statement counted them (-1: count them here).
    QList<std::pair<qint32, QString>> changedAlerts(const QDate &expiredFrom, int found, int inReach);
    void close(const QList<std::pair<qint32, QString>> &alerts); // with why, in the history

    platform::Connection &m_con;
    qint16 m_department;
    QDate m_date;
    QString m_login;
};

// "open", "acknowledged", ...: the state as the table keeps it.
QString stateName(AlertState state);
// What a clerk reads: "New", "Open", "Acknowledged by meena", "Snoozed until 22/11/2026", "Done".
QString stateText(const RenewalRow &row);

} // namespace host
