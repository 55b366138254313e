#pragma once
// Agreements due for renewal and agreements that have expired, as the host shows them before the list and
// the alerts command prints them.
//
// An agreement of the department that is not cancelled is due when its valid-to date less its alert days
// is on or before the processing date and the valid-to date is not yet past; it has expired when the
// valid-to date is past but still within the list's back period. Alert days that are null or not a number
// count as 0; an agreement without a valid-to date is never listed.

#include <QDate>
#include <QList>
#include <QString>

namespace platform {
class Recordset;
class Connection;
} // namespace platform

namespace host {

enum class AlertState
{
    Open,
    Acknowledged,
    Snoozed,
    Done,
    Closed // its agreement was cancelled, or its valid-to date or alert days changed
};

struct RenewalRow
{
    qint32 agreementId = 0;
    QString number;
    QString description;
    QString with;
    QDate validTo;
    int daysLeft = 0; // valid-to less the processing date: negative once expired
    QString alertRemarks;
    double alertDays = 0; // as the rules count them: null or not a number is 0

    // The alert's state (src/host/renewals/alertstate.h); an alert id of 0 when read without it.
    qint32 alertId = 0;
    AlertState state = AlertState::Open;
    bool raised = false; // raised by this evaluation: new, or armed again after a change
    QDate dueDate;       // the first day the rules list it
    QString stateBy;
    QDate snoozedUntil;

    bool expired() const { return daysLeft < 0; }
};

// The list's back period: BackNoOfDays of the package settings' first row, 0 when there is none.
int backPeriod(platform::Connection &con);

// The statement that selects the rows, sorted by days left (expired first), in the suite's dialect.
QString renewalStatement(qint16 department, const QDate &processDate, int backDays);
// The same rules with the expired ones read from a valid-to date on (the back period's start, or earlier to
// catch up days nobody ran), each row with the state and alert days of an alert of the same valid-to date
// that is not closed (AlertID, State, StateBy, SnoozedUntil, AlertDays): an agreement with alerts for other
// alert days has a row for each, one after another; the one with the row's own alert days, if any, is its
// alert. alongside, when given, is one more column: an expression of its own, the same for every row.
QString alertStatement(qint16 department, const QDate &processDate, const QDate &expiredFrom,
                       const QString &alongside = QString());
// The alert days as the rules count them, on the register's column.
QString alertDaysExpression();

// The department's due and expired agreements on the processing date. Raises on a database error.
// One row of the renewal statement's columns (id, number, description, with whom, valid to, alert
// remarks, days left, alert days), as both the rules and the alerts' state read them.
RenewalRow renewalRowOf(const platform::Recordset &rs);
QList<RenewalRow> dueForRenewal(platform::Connection &con, qint16 department, const QDate &processDate);

// "5 days left", "expires today", "1 day past".
QString daysText(int daysLeft);

// The rows for a terminal, a spreadsheet (RFC 4180) or a monitoring system.
// heading replaces the first line ("Due for renewal in department 1 on 15/11/2026").
QString renewalsAsText(const QList<RenewalRow> &rows, qint16 department, const QDate &processDate,
                       const QString &heading = QString());
QString renewalsAsCsv(const QList<RenewalRow> &rows);
QString renewalsAsJson(const QList<RenewalRow> &rows, qint16 department, const QDate &processDate);

} // namespace host
