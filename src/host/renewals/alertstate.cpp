#include "host/renewals/alertstate.h"

#include "data/schema.h"
#include "platform/database/connection.h"

#include <QDateTime>
#include <QHash>
#include <QMap>
#include <QSet>
#include <cmath>

namespace host {

namespace {

namespace table = agr::schema::table;

QString literal(const QDate &date)
{
    return QLatin1Char('\'') + date.toString(QStringLiteral("yyyyMMdd")) + QLatin1Char('\'');
}

AlertState stateOf(const QString &name)
{
    if (name == QLatin1String("acknowledged"))
        return AlertState::Acknowledged;
    if (name == QLatin1String("snoozed"))
        return AlertState::Snoozed;
    if (name == QLatin1String("done"))
        return AlertState::Done;
    if (name == QLatin1String("closed"))
        return AlertState::Closed;
    return AlertState::Open;
}

// Open, or snoozed until a day that has come: the alert wants attention again.
bool wantsAttention(AlertState state, const QDate &snoozedUntil, const QDate &today)
{
    return state == AlertState::Open ||
           (state == AlertState::Snoozed && (!snoozedUntil.isValid() || snoozedUntil <= today));
}

// The first day the rules list an agreement: its alert days before the valid-to date (whole days, as the
// rule compares whole days left with them), and never later than the day after it, when it has expired.
QDate dueDateOf(const QDate &validTo, double alertDays)
{
    return validTo.addDays(-std::max<qint64>(qint64(std::floor(alertDays)), -1));
}

// Runs body in a transaction of its own unless the caller has one open.
template <typename Body> void inTransaction(platform::Connection &con, Body body)
{
    if (con.transactionLevel() > 0) {
        body();
        return;
    }
    con.BeginTrans();
    try {
        body();
    } catch (...) {
        con.RollbackTrans();
        throw;
    }
    con.CommitTrans();
}

// The alerts still wanting something (open, acknowledged or snoozed) within the rules' reach.
QString withinReach(qint16 department, const QDate &expiredFrom)
{
    return QStringLiteral(" where DepartmentID = ") + QString::number(department) +
           QStringLiteral(" and State in ('open', 'acknowledged', 'snoozed') and ValidTo >= ") +
           literal(expiredFrom);
}

// The insert that arms the alerts of values, rows of armedValues: one that was closed by a change now undone
// is opened again; one another program armed at the same moment is left as it is and not returned.
QString armStatement(const QStringList &values, const QString &returning)
{
    return QStringLiteral("insert into ") + QLatin1String(table::RenewalAlerts) +
           QStringLiteral(
               " (DepartmentID, AgreementID, ValidTo, AlertDays, DueDate, RaisedOn, State) values ") +
           values.join(QStringLiteral(", ")) +
           QStringLiteral(
               " on conflict (DepartmentID, AgreementID, ValidTo, AlertDays) do update set State = "
               "'open', RaisedOn = excluded.RaisedOn, DueDate = excluded.DueDate, StateBy = null, "
               "StateAt = null, SnoozedUntil = null, EscalatedOn = null where ") +
           QLatin1String(table::RenewalAlerts) + QStringLiteral(".State = 'closed' returning ") + returning;
}

// Numbers and dates only: nothing a clerk typed goes into the text.
QString armedValues(qint16 department, const RenewalRow &row, const QDate &raisedOn)
{
    return QStringLiteral("(%1, %2, %3, %4, %5, %6, 'open')")
        .arg(department)
        .arg(row.agreementId)
        .arg(literal(row.validTo))
        .arg(row.alertDays, 0, 'g', 17)
        .arg(literal(row.dueDate), literal(raisedOn));
}

// The department's alerts evaluated up to the processing date.
QString dayNoted(qint16 department, const QDate &processDate)
{
    return QStringLiteral("insert into ") + QLatin1String(table::RenewalAlertRuns) +
           QStringLiteral(" (DepartmentID, LastProcessDate) values (") + QString::number(department) +
           QStringLiteral(", ") + literal(processDate) +
           QStringLiteral(
               ") on conflict (DepartmentID) do update set LastProcessDate = excluded.LastProcessDate");
}

platform::Recordset run(platform::Connection &con, const QString &sql, const QVariantList &values)
{
    platform::Command command(con);
    command.setCommandText(sql);
    command.ParametersRefresh();
    return command.Execute(values);
}

} // namespace

QString stateName(AlertState state)
{
    switch (state) {
    case AlertState::Open:
        break;
    case AlertState::Acknowledged:
        return QStringLiteral("acknowledged");
    case AlertState::Snoozed:
        return QStringLiteral("snoozed");
    case AlertState::Done:
        return QStringLiteral("done");
    case AlertState::Closed:
        return QStringLiteral("closed");
    }
    return QStringLiteral("open");
}

QString stateText(const RenewalRow &row)
{
    switch (row.state) {
    case AlertState::Open:
        break;
    case AlertState::Acknowledged:
        return QStringLiteral("Acknowledged by ") + row.stateBy;
    case AlertState::Snoozed:
        return QStringLiteral("Snoozed until ") + row.snoozedUntil.toString(QStringLiteral("dd/MM/yyyy"));
    case AlertState::Done:
        return QStringLiteral("Done");
    case AlertState::Closed:
        return QStringLiteral("Closed");
    }
    return row.raised ? QStringLiteral("New") : QStringLiteral("Open");
}

RenewalAlerts::RenewalAlerts(platform::Connection &con, qint16 department, const QDate &processDate,
                             QString login)
    : m_con(con), m_department(department), m_date(processDate), m_login(std::move(login))
{
}

QList<RenewalRow> RenewalAlerts::evaluate()
{
    const int back = backPeriod(m_con);
    const QDate listedFrom = m_date.addDays(-back);
    platform::Recordset last = m_con.Execute(
        QStringLiteral("select LastProcessDate from ") + QLatin1String(table::RenewalAlertRuns) +
        QStringLiteral(" where DepartmentID = ") + QString::number(m_department));
    const QDate lastRun = last.isEOF() || last.Fields(0).isNull() ? QDate() : last.Fields(0).toDate();
    // The day after the last evaluation is the first one not yet looked at: what expired then, and left the
    // back period since, is caught up now.
    QDate expiredFrom = listedFrom;
    if (lastRun.isValid() && lastRun.addDays(1 - back) < expiredFrom)
        expiredFrom = lastRun.addDays(1 - back);

    const bool advance = !lastRun.isValid() || lastRun < m_date;

    // Each listed agreement with its alert of the same valid-to date and alert days, if it has one; on a
    // processing day's first run, the alerts within the statement's reach counted by the same statement.
    platform::Recordset rs = m_con.Execute(alertStatement(
        m_department, m_date, expiredFrom,
        advance ? QStringLiteral("(select count(*) from ") + QLatin1String(table::RenewalAlerts) +
                      withinReach(m_department, expiredFrom) + QLatin1Char(')')
                : QString()));
    const int inReach = advance && !rs.isEOF() ? rs.Fields(13).toLong() : -1;
    QList<RenewalRow> listed;
    listed.reserve(rs.RecordCount());
    for (; !rs.isEOF(); rs.MoveNext()) {
        RenewalRow row = renewalRowOf(rs);
        const platform::Field alert = rs.Fields(8);
        const bool ours = !alert.isNull() && rs.Fields(12).toDouble() == row.alertDays;
        if (!listed.isEmpty() && listed.last().agreementId == row.agreementId) {
            if (!ours)
                continue;
            listed.removeLast();
        }
        if (ours) {
            row.alertId = alert.toLong();
            row.state = stateOf(rs.Fields(9).joinEmpty());
            row.stateBy = rs.Fields(10).joinEmpty();
            const platform::Field snoozedUntil = rs.Fields(11);
            row.snoozedUntil = snoozedUntil.isNull() ? QDate() : snoozedUntil.toDate();
        }
        listed.append(std::move(row));
    }

    QList<RenewalRow> rows;
    bool toArm = false;
    int found = 0; // alerts that still want something, found with their agreement's own dates
    for (RenewalRow &row : listed) {
        const bool listedToday = row.validTo >= listedFrom;
        // An alert is stored with the due date of its own valid-to date and alert days, the ones it was
        // matched on: worked out here rather than read.
        row.dueDate = dueDateOf(row.validTo, row.alertDays);
        if (row.alertId == 0) { // none, or closed by a change that is now undone
            toArm = true;
            rows.append(std::move(row));
            continue;
        }
        if (row.state != AlertState::Done)
            ++found;
        if (listedToday && wantsAttention(row.state, row.snoozedUntil, m_date)) {
            if (row.state == AlertState::Snoozed) // its day has come
                row.state = AlertState::Open;
            rows.append(std::move(row));
        }
    }

    // Cancelled, gone or moved out of the rules' reach: looked for once a processing day. A new date that the
    // rules list closes the old alert at once, when the new one is armed.
    const QList<std::pair<qint32, QString>> changed =
        advance ? changedAlerts(expiredFrom, found, inReach) : QList<std::pair<qint32, QString>>();
    if (!toArm && !advance && changed.isEmpty())
        return rows;
    QList<RenewalRow *> unarmed;
    for (RenewalRow &row : rows)
        if (row.alertId == 0)
            unarmed << &row;
    if (m_con.backend() == platform::Backend::PostgreSQL) {
        // One statement is all or nothing by itself: a transaction is begun only to close changed alerts
        // with it.
        if (changed.isEmpty())
            armTogether(unarmed, advance);
        else
            inTransaction(m_con, [&] {
                close(changed);
                armTogether(unarmed, advance);
            });
    } else {
        inTransaction(m_con, [&] {
            close(changed);
            arm(unarmed);
            if (advance)
                m_con.Execute(dayNoted(m_department, m_date));
        });
    }
    // An alert another program armed at the same moment is theirs to report as raised; it is listed here
    // as it stands.
    for (RenewalRow &row : rows) {
        if (row.alertId != 0)
            continue;
        platform::Recordset theirs =
            run(m_con,
                QStringLiteral("select AlertID, State, StateBy, SnoozedUntil from ") +
                    QLatin1String(table::RenewalAlerts) +
                    QStringLiteral(
                        " where DepartmentID = ? and AgreementID = ? and ValidTo = ? and AlertDays = ?"),
                {m_department, row.agreementId, row.validTo, row.alertDays});
        if (theirs.isEOF())
            continue;
        row.alertId = theirs.Fields(0).toLong();
        row.state = stateOf(theirs.Fields(1).joinEmpty());
        row.stateBy = theirs.Fields(2).joinEmpty();
        row.snoozedUntil = theirs.Fields(3).isNull() ? QDate() : theirs.Fields(3).toDate();
    }
    rows.removeIf([this](const RenewalRow &row) {
        return row.alertId == 0 || !wantsAttention(row.state, row.snoozedUntil, m_date);
    });
    return rows;
}

// Arms the alerts of rows that have none (or whose alert was closed by a change that is now undone), a few
// hundred to a statement, and records that they were raised. A row that another program armed at the same
// moment keeps an alert id of 0.
void RenewalAlerts::arm(const QList<RenewalRow *> &unarmed)
{
    constexpr qsizetype Batch = 500;
    for (qsizetype first = 0; first < unarmed.size(); first += Batch) {
        QHash<qint32, RenewalRow *> byAgreement;
        QStringList values;
        for (qsizetype i = first; i < std::min(unarmed.size(), first + Batch); ++i) {
            RenewalRow *row = unarmed.at(i);
            byAgreement.insert(row->agreementId, row);
            values << armedValues(m_department, *row, m_date);
        }
        platform::Recordset armed =
            m_con.Execute(armStatement(values, QStringLiteral("AlertID, AgreementID")));
        QStringList ids;
        QSet<qint32> armedIds;
        for (; !armed.isEOF(); armed.MoveNext()) {
            RenewalRow *row = byAgreement.value(armed.Fields(1).toLong());
            if (!row)
                continue;
            row->alertId = armed.Fields(0).toLong();
            row->raised = true;
            armedIds.insert(row->alertId);
            ids << QString::number(row->alertId);
        }
        if (ids.isEmpty())
            continue;
        // The agreement's earlier alerts, for other dates, are over. Looked up by agreement alone, so that
        // the engine reads the few alerts of these agreements rather than every one still wanting something.
        QList<std::pair<qint32, QString>> superseded;
        QStringList agreementIds;
        for (auto it = byAgreement.cbegin(); it != byAgreement.cend(); ++it)
            agreementIds << QString::number(it.key());
        platform::Recordset older =
            m_con.Execute(QStringLiteral("select AlertID, AgreementID, ValidTo, State from ") +
                          QLatin1String(table::RenewalAlerts) + QStringLiteral(" where DepartmentID = ") +
                          QString::number(m_department) + QStringLiteral(" and AgreementID in (") +
                          agreementIds.join(QLatin1Char(',')) + QLatin1Char(')'));
        for (; !older.isEOF(); older.MoveNext()) {
            const AlertState state = stateOf(older.Fields(3).joinEmpty());
            if (armedIds.contains(older.Fields(0).toLong()) || state == AlertState::Done ||
                state == AlertState::Closed)
                continue;
            const RenewalRow *row = byAgreement.value(older.Fields(1).toLong());
            superseded.append(
                {older.Fields(0).toLong(), row && older.Fields(2).Value().toDate() == row->validTo
                                               ? QStringLiteral("alert days changed")
                                               : QStringLiteral("valid-to date changed")});
        }
        close(superseded);
        run(m_con,
            QStringLiteral("insert into ") + QLatin1String(table::RenewalAlertHistory) +
                QStringLiteral(
                    " (AlertID, DepartmentID, Action, LoginName, ActedAt, ProcessDate) select AlertID, "
                    "DepartmentID, 'raised', ?, ?, RaisedOn from ") +
                QLatin1String(table::RenewalAlerts) + QStringLiteral(" where AlertID in (") +
                ids.join(QLatin1Char(',')) + QLatin1Char(')'),
            {m_login, QDateTime::currentDateTime()});
    }
}

// On PostgreSQL, one statement does what arm does, and notes the processing day when noteDay: the alerts
// armed, their history, the agreements' alerts for other dates closed with theirs. A day's first run then
// costs one round trip for its writes rather than one for each.
void RenewalAlerts::armTogether(const QList<RenewalRow *> &unarmed, bool noteDay)
{
    if (unarmed.isEmpty()) {
        if (noteDay)
            m_con.Execute(dayNoted(m_department, m_date));
        return;
    }
    QHash<qint32, RenewalRow *> byAgreement;
    QStringList values;
    QStringList agreementIds;
    for (RenewalRow *row : unarmed) {
        byAgreement.insert(row->agreementId, row);
        values << armedValues(m_department, *row, m_date);
        agreementIds << QString::number(row->agreementId);
    }
    const QString alerts = QLatin1String(table::RenewalAlerts);
    const QString history = QLatin1String(table::RenewalAlertHistory);
    const QString department = QString::number(m_department);
    const QString today = literal(m_date);
    // The older alerts are the ones still wanting something when the statement began: an alert armed again
    // was closed then, and one armed now did not exist. They are looked up by agreement id, so that the
    // engine reads the few alerts of these agreements rather than every alert of the department.
    QString sql =
        QStringLiteral("with armed as (") +
        armStatement(values, QStringLiteral("AlertID, AgreementID, ValidTo")) +
        QStringLiteral("), raised as (insert into ") + history +
        QStringLiteral(" (AlertID, DepartmentID, Action, LoginName, ActedAt, ProcessDate) select AlertID, ") +
        department + QStringLiteral(", 'raised', ?, ?, ") + today +
        QStringLiteral(" from armed), superseded as (update ") + alerts +
        QStringLiteral(" set State = 'closed', StateBy = ?, StateAt = ? from armed where ") + alerts +
        QStringLiteral(".DepartmentID = ") + department + QStringLiteral(" and ") + alerts +
        QStringLiteral(".AgreementID in (") + agreementIds.join(QLatin1Char(',')) + QStringLiteral(") and ") +
        alerts + QStringLiteral(".AgreementID = armed.AgreementID and ") + alerts +
        QStringLiteral(".AlertID <> armed.AlertID and ") + alerts +
        QStringLiteral(".State in ('open', 'acknowledged', 'snoozed') returning ") + alerts +
        QStringLiteral(".AlertID, case when ") + alerts +
        QStringLiteral(".ValidTo = armed.ValidTo then 'alert days changed' else 'valid-to date changed' end "
                       "as Note), closed as (insert into ") +
        history +
        QStringLiteral(
            " (AlertID, DepartmentID, Action, LoginName, ActedAt, ProcessDate, Note) select AlertID, ") +
        department + QStringLiteral(", 'closed', ?, ?, ") + today + QStringLiteral(", Note from superseded)");
    if (noteDay)
        sql += QStringLiteral(", noted as (") + dayNoted(m_department, m_date) + QLatin1Char(')');
    sql += QStringLiteral(" select AlertID, AgreementID from armed");
    const QDateTime now = QDateTime::currentDateTime();
    for (platform::Recordset armed = run(m_con, sql, {m_login, now, m_login, now, m_login, now});
         !armed.isEOF(); armed.MoveNext()) {
        RenewalRow *row = byAgreement.value(armed.Fields(1).toLong());
        if (!row)
            continue;
        row->alertId = armed.Fields(0).toLong();
        row->raised = true;
    }
}

void RenewalAlerts::close(const QList<std::pair<qint32, QString>> &alerts)
{
    // A statement for each reason and a few hundred alerts, not for each alert: a day's run may close many at
    // once (a department's agreements cancelled together).
    constexpr qsizetype Batch = 500;
    QMap<QString, QStringList> byNote;
    for (const auto &[id, note] : alerts)
        byNote[note] << QString::number(id);
    const QDateTime now = QDateTime::currentDateTime();
    for (auto it = byNote.cbegin(); it != byNote.cend(); ++it) {
        for (qsizetype first = 0; first < it.value().size(); first += Batch) {
            const QString ids = it.value().mid(first, Batch).join(QLatin1Char(','));
            run(m_con,
                QStringLiteral("update ") + QLatin1String(table::RenewalAlerts) +
                    QStringLiteral(" set State = 'closed', StateBy = ?, StateAt = ? where AlertID in (") +
                    ids + QLatin1Char(')'),
                {m_login, now});
            run(m_con,
                QStringLiteral("insert into ") + QLatin1String(table::RenewalAlertHistory) +
                    QStringLiteral(
                        " (AlertID, DepartmentID, Action, LoginName, ActedAt, ProcessDate, Note) select "
                        "AlertID, DepartmentID, 'closed', ?, ?, ?, ? from ") +
                    QLatin1String(table::RenewalAlerts) + QStringLiteral(" where AlertID in (") + ids +
                    QLatin1Char(')'),
                {m_login, now, m_date, it.key()});
        }
    }
}

// The alerts still wanting something whose agreement was cancelled, or whose valid-to date or alert days
// are no longer the alert's, with why: they are closed, and a new alert is armed for the new dates when the
// rules list them. The engine compares each alert within the rules' reach with its agreement, so that only
// the changed ones come back, almost always none. An alert whose valid-to date has left the reach stays as
// it is: a new date for its agreement closes it when the new alert is armed, and escalation passes over it
// once its agreement is cancelled or has other dates.
QList<std::pair<qint32, QString>> RenewalAlerts::changedAlerts(const QDate &expiredFrom, int found,
                                                               int inReach)
{
    // As many alerts within the reach as the rules' statement found with their agreement's dates: none
    // changed, and the comparison is not needed.
    const QString reach = withinReach(m_department, expiredFrom);
    if (inReach < 0) {
        platform::Recordset count = m_con.Execute(QStringLiteral("select count(*) from ") +
                                                  QLatin1String(table::RenewalAlerts) + reach);
        inReach = count.isEOF() ? -1 : count.Fields(0).toLong();
    }
    if (inReach == found)
        return {};
    platform::Recordset rs = m_con.Execute(
        QStringLiteral(
            "select AlertID, agragreementid, agrcancelled, case when agrValidTodate = ValidTo then "
            "1 else 0 end from ") +
        QLatin1String(table::RenewalAlerts) +
        QStringLiteral(" left join agreementregister on agrDepartmentid = DepartmentID and agragreementid = "
                       "AgreementID") +
        reach +
        QStringLiteral(" and (agragreementid is null or agrcancelled = 1 or agrValidTodate is null or "
                       "agrValidTodate <> ValidTo or ") +
        alertDaysExpression() + QStringLiteral(" <> AlertDays)"));
    QList<std::pair<qint32, QString>> changed;
    for (; !rs.isEOF(); rs.MoveNext()) {
        QString note;
        if (rs.Fields(1).isNull())
            note = QStringLiteral("agreement not found");
        else if (!rs.Fields(2).isNull() && rs.Fields(2).toLong() == 1)
            note = QStringLiteral("agreement cancelled");
        else if (rs.Fields(3).toLong() != 1)
            note = QStringLiteral("valid-to date changed");
        else
            note = QStringLiteral("alert days changed");
        changed.append({rs.Fields(0).toLong(), note});
    }
    return changed;
}

QList<RenewalRow> RenewalAlerts::escalate(int days)
{
    platform::Recordset rs = m_con.Execute(
        QStringLiteral("select AlertID, agragreementid, agragreementNo, agragreementdesc, agragreementwith, "
                       "agrValidTodate, alertremarks, datediff(day, ") +
        literal(m_date) +
        QStringLiteral(", agrValidTodate), AlertDays, State, StateBy, SnoozedUntil, DueDate from ") +
        QLatin1String(table::RenewalAlerts) +
        QStringLiteral(
            " join agreementregister on agrDepartmentid = DepartmentID and agragreementid = "
            "AgreementID and agrValidTodate = ValidTo and (agrcancelled is null or agrcancelled <> 1) "
            "where DepartmentID = ") +
        QString::number(m_department) +
        QStringLiteral(" and EscalatedOn is null and (State = 'open' or (State = 'snoozed' and SnoozedUntil "
                       "<= ") +
        literal(m_date) + QStringLiteral(")) and DueDate <= ") + literal(m_date.addDays(-days)) +
        QStringLiteral(" order by DueDate, AgreementID"));
    QList<RenewalRow> rows;
    for (; !rs.isEOF(); rs.MoveNext()) {
        RenewalRow row;
        row.alertId = rs.Fields(0).toLong();
        row.agreementId = rs.Fields(1).toLong();
        row.number = rs.Fields(2).joinEmpty();
        row.description = rs.Fields(3).joinEmpty();
        row.with = rs.Fields(4).joinEmpty();
        row.validTo = rs.Fields(5).toDate();
        row.alertRemarks = rs.Fields(6).joinEmpty();
        row.daysLeft = rs.Fields(7).toLong();
        row.alertDays = rs.Fields(8).toDouble();
        row.state = stateOf(rs.Fields(9).joinEmpty());
        row.stateBy = rs.Fields(10).joinEmpty();
        row.snoozedUntil = rs.Fields(11).isNull() ? QDate() : rs.Fields(11).toDate();
        row.dueDate = rs.Fields(12).toDate();
        rows.append(row);
    }
    inTransaction(m_con, [&] {
        for (const RenewalRow &row : std::as_const(rows)) {
            run(m_con,
                QStringLiteral("update ") + QLatin1String(table::RenewalAlerts) +
                    QStringLiteral(" set EscalatedOn = ? where AlertID = ?"),
                {m_date, row.alertId});
            record(row.alertId, QStringLiteral("escalated"), QDate(),
                   QStringLiteral("open %1 days past its due date").arg(row.dueDate.daysTo(m_date)));
        }
    });
    return rows;
}

void RenewalAlerts::acknowledge(const QList<qint32> &alerts)
{
    setState(alerts, AlertState::Acknowledged, QDate(), QStringLiteral("acknowledged"));
}

void RenewalAlerts::snooze(const QList<qint32> &alerts, const QDate &until)
{
    setState(alerts, AlertState::Snoozed, until, QStringLiteral("snoozed"));
}

void RenewalAlerts::markDone(const QList<qint32> &alerts)
{
    setState(alerts, AlertState::Done, QDate(), QStringLiteral("done"));
}

void RenewalAlerts::setState(const QList<qint32> &alerts, AlertState state, const QDate &until,
                             const QString &action)
{
    inTransaction(m_con, [&] {
        for (qint32 id : alerts) {
            // The department in the condition keeps a login to its own alerts on every engine.
            platform::Recordset changed =
                run(m_con,
                    QStringLiteral("update ") + QLatin1String(table::RenewalAlerts) +
                        QStringLiteral(" set State = ?, StateBy = ?, StateAt = ?, SnoozedUntil = ? where "
                                       "AlertID = ? and DepartmentID = ? and State <> 'closed'"),
                    {stateName(state), m_login, QDateTime::currentDateTime(),
                     until.isValid() ? QVariant(until) : QVariant(), id, m_department});
            if (changed.RecordsAffected() > 0)
                record(id, action, until);
        }
    });
}

void RenewalAlerts::record(qint32 alert, const QString &action, const QDate &until, const QString &note)
{
    run(m_con,
        QStringLiteral("insert into ") + QLatin1String(table::RenewalAlertHistory) +
            QStringLiteral(" (AlertID, DepartmentID, Action, LoginName, ActedAt, ProcessDate, SnoozedUntil, "
                           "Note) values (?, ?, ?, ?, ?, ?, ?, ?)"),
        {alert, m_department, action, m_login, QDateTime::currentDateTime(), m_date,
         until.isValid() ? QVariant(until) : QVariant(), note.isEmpty() ? QVariant() : QVariant(note)});
}

bool RenewalAlerts::windowPutAside()
{
    platform::Recordset rs =
        run(m_con,
            QStringLiteral("select SnoozedUntil from ") + QLatin1String(table::RenewalSnoozes) +
                QStringLiteral(" where LoginName = ? and DepartmentID = ?"),
            {m_login, m_department});
    return !rs.isEOF() && !rs.Fields(0).isNull() && rs.Fields(0).toDate() > m_date;
}

void RenewalAlerts::putWindowAside(const QDate &until)
{
    run(m_con,
        QStringLiteral("insert into ") + QLatin1String(table::RenewalSnoozes) +
            QStringLiteral(
                " (LoginName, DepartmentID, SnoozedUntil) values (?, ?, ?) on conflict (LoginName, "
                "DepartmentID) do update set SnoozedUntil = excluded.SnoozedUntil"),
        {m_login, m_department, until});
}

} // namespace host
