// The renewal alerts' state on both backends, with the processing date as the clock: raised once over days
// with and without runs, armed again when a date changes, acknowledged, snoozed and escalated, kept apart by
// department; and the calendar file as libical reads it back.

#include "host/hostsupport.h"
#include "host/renewals/alertstate.h"
#include "host/renewals/calendar.h"
#include "support/testdb.h"

#include "data/access.h"
#include "data/schema.h"
#include "platform/database/connection.h"
#include "platform/runtime/errors.h"

#include <QFile>
#include <QFileInfo>
#include <QMap>
#include <QTemporaryDir>
#include <QTest>
#include <QUuid>
#include <libical/ical.h>

namespace {

const QDate Start(2026, 11, 1);

void addAgreement(platform::Connection &con, int department, int id, const QDate &validTo, double alertDays,
                  int cancelled = 0)
{
    platform::Command insert(con);
    insert.setCommandText(QStringLiteral(
        "insert into agreementregister (agragreementid, agrDepartmentid, agragreementNo, agragreementdesc, "
        "agragreementwith, agrValidTodate, alertnoofdays, alertremarks, agrcancelled) values (?, ?, ?, ?, ?, "
        "?, ?, ?, ?)"));
    insert.ParametersRefresh();
    insert.Execute({id, department, QStringLiteral("AG/%1").arg(id), QStringLiteral("Agreement %1").arg(id),
                    QStringLiteral("Party %1").arg(id), validTo, alertDays, QString(), cancelled});
}

void setValidTo(platform::Connection &con, int department, int id, const QDate &validTo)
{
    con.Execute(
        QStringLiteral("update agreementregister set agrValidTodate = '%1' where agrDepartmentid = %2 "
                       "and agragreementid = %3")
            .arg(validTo.toString(QStringLiteral("yyyyMMdd")))
            .arg(department)
            .arg(id));
}

host::RenewalAlerts alertsOn(platform::Connection &con, const QDate &day, qint16 department = 1)
{
    return host::RenewalAlerts(con, department, day, QStringLiteral("meena"));
}

QList<int> agreements(const QList<host::RenewalRow> &rows, bool raisedOnly)
{
    QList<int> ids;
    for (const host::RenewalRow &row : rows)
        if (!raisedOnly || row.raised)
            ids << row.agreementId;
    return ids;
}

// Why the alert was last closed, as its history keeps it.
QString closedBecause(platform::Connection &con, int alert)
{
    return agrtest::scalar(con, QStringLiteral("select Note from aRenewalAlertHistory where AlertID = %1 and "
                                               "Action = 'closed' order by ProcessDate desc")
                                    .arg(alert))
        .toString();
}

int actions(platform::Connection &con, const QString &action, int alert)
{
    return agrtest::countRows(con, QStringLiteral("aRenewalAlertHistory"),
                              QStringLiteral("Action = '%1' and AlertID = %2").arg(action).arg(alert));
}

struct Parsed
{
    QMap<QString, QDate> starts; // by UID
    QMap<QString, int> sequences;
    QMap<QString, int> triggerDays;
    int errors = -1;
    bool restrictionsHold = false;
};

// The file as libical reads it, with its own checks.
Parsed parseCalendar(const QString &file)
{
    QFile in(file);
    Parsed parsed;
    if (!in.open(QIODevice::ReadOnly))
        return parsed;
    const QByteArray text = in.readAll();
    icalcomponent *calendar = icalparser_parse_string(text.constData());
    if (!calendar)
        return parsed;
    parsed.restrictionsHold = icalrestriction_check(calendar) == 1;
    parsed.errors = icalcomponent_count_errors(calendar);
    for (icalcomponent *event = icalcomponent_get_first_component(calendar, ICAL_VEVENT_COMPONENT); event;
         event = icalcomponent_get_next_component(calendar, ICAL_VEVENT_COMPONENT)) {
        const QString uid = QString::fromUtf8(icalcomponent_get_uid(event));
        const icaltimetype start = icalcomponent_get_dtstart(event);
        parsed.starts.insert(uid, start.is_date ? QDate(start.year, start.month, start.day) : QDate());
        parsed.sequences.insert(uid, icalcomponent_get_sequence(event));
        icalcomponent *alarm = icalcomponent_get_first_component(event, ICAL_VALARM_COMPONENT);
        icalproperty *trigger =
            alarm ? icalcomponent_get_first_property(alarm, ICAL_TRIGGER_PROPERTY) : nullptr;
        if (trigger)
            parsed.triggerDays.insert(
                uid, -icaldurationtype_as_int(icalproperty_get_trigger(trigger).duration) / 86400);
    }
    icalcomponent_free(calendar);
    return parsed;
}

} // namespace

class tst_alertstate : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void thirtyDays_data() { agrtest::addBackends(); }
    void thirtyDays();
    void changesAndActions_data() { agrtest::addBackends(); }
    void changesAndActions();
    void departmentsApart_data() { agrtest::addBackends(); }
    void departmentsApart();
    void calendarFile_data() { agrtest::addBackends(); }
    void calendarFile();
};

// Thirty processing days, runs skipped on some: every agreement whose due or expired window touches the
// days looked at is raised once, on the first run on or after the day it became due, and never again; one
// whose whole window fell between two runs is caught up by the next run, and shown by that run only.
void tst_alertstate::thirtyDays()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url, true, false);
    if (!con)
        return;
    constexpr int Back = 2;
    con->Execute(QStringLiteral("insert into aPackageSettings (BackNoOfDays) values (%1)").arg(Back));
    const double alertDays[] = {0, 3, 10};
    for (int id = 1; id <= 60; ++id)
        addAgreement(*con, 1, id, Start.addDays(id - 15), alertDays[id % 3], id % 17 == 0 ? 1 : 0);
    const QList<int> skipped = {2, 3, 4, 5, 6, 10, 14, 15, 20, 21, 22, 23, 27};

    QMap<int, QDate> raisedOn; // agreement -> processing date
    QList<int> twice;
    QList<int> lastShown;
    QDate lastRun;
    for (int day = 0; day < 30; ++day) {
        if (skipped.contains(day))
            continue;
        const QDate today = Start.addDays(day);
        const QList<host::RenewalRow> rows = alertsOn(*con, today).evaluate();
        for (const host::RenewalRow &row : rows) {
            if (!row.raised)
                continue;
            if (raisedOn.contains(row.agreementId))
                twice << row.agreementId;
            raisedOn.insert(row.agreementId, today);
        }
        // The same day again raises nothing.
        QVERIFY(agreements(alertsOn(*con, today).evaluate(), true).isEmpty());
        // Agreement 36 (valid to the 22nd, no alert days) lived only on skipped days: the run of the 24th
        // catches it up, and the next run no longer shows it.
        if (today == Start.addDays(24))
            QVERIFY(agreements(rows, false).contains(36));
        if (lastShown.contains(36) && today > Start.addDays(24))
            QVERIFY(!agreements(rows, false).contains(36));
        lastShown = agreements(rows, false);
        lastRun = today;
    }
    QVERIFY2(twice.isEmpty(), qPrintable(QStringLiteral("raised twice: %1").arg(twice.size())));

    for (int id = 1; id <= 60; ++id) {
        const QDate validTo = Start.addDays(id - 15);
        const QDate due = validTo.addDays(-int(alertDays[id % 3]));
        const bool expected = id % 17 != 0 && due <= lastRun && validTo >= Start.addDays(-Back);
        QCOMPARE(raisedOn.contains(id), expected);
        if (!expected)
            continue;
        // Raised by the first run on or after its due day (or the first run of all).
        QDate firstRun = Start;
        while (firstRun < due || skipped.contains(int(Start.daysTo(firstRun))))
            firstRun = firstRun.addDays(1);
        QCOMPARE(raisedOn.value(id), firstRun);
    }
    QCOMPARE(raisedOn.value(36), Start.addDays(24));
}

// A changed valid-to date or alert days arms a new alert and closes the old one; the old dates again
// open the old alert again; cancelling closes it. Acknowledged and done alerts stay quiet, a snooze holds
// until its day; escalation lists an alert open long enough once, with what it did in the history.
void tst_alertstate::changesAndActions()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url, true, false);
    if (!con)
        return;
    const QDate today(2026, 11, 15);
    con->Execute(QStringLiteral("insert into aPackageSettings (BackNoOfDays) values (30)"));
    addAgreement(*con, 1, 1, today.addDays(5), 10);
    addAgreement(*con, 1, 2, today.addDays(8), 10);
    addAgreement(*con, 1, 3, today.addDays(9), 30);

    QList<host::RenewalRow> rows = alertsOn(*con, today).evaluate();
    QCOMPARE(agreements(rows, true), (QList<int>{1, 2, 3}));
    const qint32 first = rows.at(0).alertId;
    QCOMPARE(rows.at(2).dueDate, today.addDays(-21));

    // The clerk deals with them: nothing wants attention, also after a new start.
    alertsOn(*con, today).acknowledge({first});
    alertsOn(*con, today).snooze({rows.at(1).alertId}, today.addDays(2));
    alertsOn(*con, today).markDone({rows.at(2).alertId});
    QVERIFY(alertsOn(*con, today).evaluate().isEmpty());
    QVERIFY(alertsOn(*con, today.addDays(1)).evaluate().isEmpty());
    rows = alertsOn(*con, today.addDays(2)).evaluate();
    QCOMPARE(agreements(rows, false), (QList<int>{2}));
    QVERIFY(!rows.first().raised);
    QCOMPARE(rows.first().state, host::AlertState::Open);

    // A new valid-to date: a new alert, the acknowledged one closed.
    setValidTo(*con, 1, 1, today.addDays(6));
    rows = alertsOn(*con, today.addDays(2)).evaluate();
    QCOMPARE(agreements(rows, true), (QList<int>{1}));
    const qint32 second = rows.first().alertId;
    QVERIFY(second != first);
    QCOMPARE(actions(*con, QStringLiteral("closed"), first), 1);
    QCOMPARE(closedBecause(*con, first), QStringLiteral("valid-to date changed"));
    // Other alert days: armed again; the old date back: the old alert opens again, raised once more.
    const auto alertOf = [](const QList<host::RenewalRow> &rows, int agreement) {
        QList<qint32> ids;
        for (const host::RenewalRow &row : rows)
            if (row.agreementId == agreement)
                ids << row.alertId;
        return ids;
    };
    con->Execute(QStringLiteral("update agreementregister set alertnoofdays = 20 where agragreementid = 1"));
    rows = alertsOn(*con, today.addDays(2)).evaluate();
    QCOMPARE(agreements(rows, true), (QList<int>{1}));
    const QList<qint32> third = alertOf(rows, 1);
    // Two alerts of one valid-to date, one for each alert days: listed once, with the one of its own days;
    // the other days back, their alert opens again and the other closes.
    QCOMPARE(alertOf(alertsOn(*con, today.addDays(2)).evaluate(), 1), third);
    con->Execute(QStringLiteral("update agreementregister set alertnoofdays = 10 where agragreementid = 1"));
    QCOMPARE(alertOf(alertsOn(*con, today.addDays(2)).evaluate(), 1), QList<qint32>{second});
    QCOMPARE(alertOf(alertsOn(*con, today.addDays(2)).evaluate(), 1), QList<qint32>{second});
    QCOMPARE(closedBecause(*con, third.value(0)), QStringLiteral("alert days changed"));
    setValidTo(*con, 1, 1, today.addDays(5));
    con->Execute(QStringLiteral("update agreementregister set alertnoofdays = 10 where agragreementid = 1"));
    rows = alertsOn(*con, today.addDays(2)).evaluate();
    QCOMPARE(agreements(rows, true), (QList<int>{1}));
    QCOMPARE(rows.first().alertId, first);
    QCOMPARE(actions(*con, QStringLiteral("raised"), first), 2);
    // A date moved out of reach closes the alert (on the next processing day) and raises nothing until the
    // rules list it again.
    setValidTo(*con, 1, 2, today.addDays(400));
    QCOMPARE(agreements(alertsOn(*con, today.addDays(2)).evaluate(), false), (QList<int>{1}));
    QCOMPARE(agrtest::countRows(*con, QStringLiteral("aRenewalAlerts"),
                                QStringLiteral("AgreementID = 2 and State = 'closed'")),
             0);
    QCOMPARE(agreements(alertsOn(*con, today.addDays(3)).evaluate(), false), (QList<int>{1}));
    QCOMPARE(agrtest::countRows(*con, QStringLiteral("aRenewalAlerts"),
                                QStringLiteral("AgreementID = 2 and State = 'closed'")),
             1);

    // Escalation: open (or its snooze run out) at least 15 days past its due day, once; acknowledged not.
    addAgreement(*con, 1, 4, today.addDays(-3), 10); // due since the 2nd
    QCOMPARE(agreements(alertsOn(*con, today.addDays(2)).evaluate(), true), (QList<int>{4}));
    QVERIFY(alertsOn(*con, today.addDays(2)).escalate(16).isEmpty());
    rows = alertsOn(*con, today.addDays(2)).escalate(15);
    QCOMPARE(agreements(rows, false), (QList<int>{4}));
    QCOMPARE(rows.first().dueDate, QDate(2026, 11, 2));
    QVERIFY(alertsOn(*con, today.addDays(3)).escalate(12).isEmpty());
    QCOMPARE(actions(*con, QStringLiteral("escalated"), rows.first().alertId), 1);
    addAgreement(*con, 1, 5, today.addDays(-3), 10);
    qint32 fifth = 0;
    for (const host::RenewalRow &row : alertsOn(*con, today.addDays(2)).evaluate())
        fifth = row.agreementId == 5 ? row.alertId : fifth;
    alertsOn(*con, today.addDays(2)).acknowledge({fifth});
    QCOMPARE(agreements(alertsOn(*con, today.addDays(2)).escalate(0), false), (QList<int>{1})); // not 5

    // Cancelled: closed, never listed again.
    con->Execute(QStringLiteral("update agreementregister set agrcancelled = 1 where agragreementid = 1"));
    QVERIFY(!agreements(alertsOn(*con, today.addDays(4)).evaluate(), false).contains(1));
    QCOMPARE(agrtest::scalar(*con,
                             QStringLiteral("select State from aRenewalAlerts where AlertID = %1").arg(first))
                 .toString(),
             QStringLiteral("closed"));
    QCOMPARE(closedBecause(*con, first), QStringLiteral("agreement cancelled"));
    // An agreement gone, and alert days that no longer reach the processing date: closed on the next day's
    // run, each with why, and not listed.
    addAgreement(*con, 1, 7, today.addDays(24), 30);
    rows = alertsOn(*con, today.addDays(4)).evaluate();
    QVERIFY(agreements(rows, true).contains(7));
    qint32 seventh = 0;
    for (const host::RenewalRow &row : std::as_const(rows))
        seventh = row.agreementId == 7 ? row.alertId : seventh;
    const qint32 fourth = rows.first().agreementId == 4 ? rows.first().alertId : 0;
    QVERIFY(fourth != 0);
    con->Execute(QStringLiteral("delete from agreementregister where agragreementid = 4"));
    con->Execute(QStringLiteral("update agreementregister set alertnoofdays = 5 where agragreementid = 7"));
    rows = alertsOn(*con, today.addDays(5)).evaluate();
    QVERIFY(!agreements(rows, false).contains(4) && !agreements(rows, false).contains(7));
    QCOMPARE(closedBecause(*con, fourth), QStringLiteral("agreement not found"));
    QCOMPARE(closedBecause(*con, seventh), QStringLiteral("alert days changed"));
    // Who did what, and when, is kept.
    QCOMPARE(
        agrtest::scalar(*con, QStringLiteral("select LoginName from aRenewalAlertHistory where AlertID = %1 "
                                             "and Action = 'acknowledged'")
                                  .arg(first))
            .toString(),
        QStringLiteral("meena"));
}

// Another department's alerts never appear, and cannot be changed from here; on PostgreSQL a clerk's login
// sees and writes only its own departments' alert state.
void tst_alertstate::departmentsApart()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url, true, true);
    if (!con)
        return;
    const QDate today(2026, 11, 15);
    const QList<host::RenewalRow> mine = alertsOn(*con, today, 1).evaluate();
    const QList<host::RenewalRow> theirs = alertsOn(*con, today, 2).evaluate();
    QCOMPARE(agreements(mine, false), (QList<int>{4, 7}));
    QCOMPARE(agreements(theirs, false), (QList<int>{1})); // department 2's agreement 1, not department 1's
    alertsOn(*con, today, 1).acknowledge({theirs.first().alertId});
    QCOMPARE(agreements(alertsOn(*con, today, 2).evaluate(), false), (QList<int>{1}));
    QVERIFY(alertsOn(*con, today.addDays(30), 1).escalate(0).size() == 2);
    QVERIFY(alertsOn(*con, today.addDays(30), 1).escalate(0).isEmpty());

    if (con->backend() != platform::Backend::PostgreSQL)
        return;
    agr::schema::CreateClerk(*con, QLatin1String(agr::schema::DemoClerkLogin), 1, {1});
    platform::Connection clerk;
    clerk.Open(agrtest::withLogin(con->url(), QLatin1String(agr::schema::DemoClerkLogin)));
    QCOMPARE(agrtest::countRows(clerk, QStringLiteral("aRenewalAlerts"), QStringLiteral("DepartmentID = 2")),
             0);
    QCOMPARE(
        agrtest::countRows(clerk, QStringLiteral("aRenewalAlertHistory"), QStringLiteral("DepartmentID = 2")),
        0);
    // The clerk's own department works through the same code, with the clerk's privileges.
    host::RenewalAlerts own(clerk, 1, today.addDays(1), agr::schema::currentLogin(clerk));
    const QList<host::RenewalRow> rows = own.evaluate();
    QCOMPARE(agreements(rows, false), (QList<int>{4, 7}));
    own.snooze({rows.first().alertId}, today.addDays(3));
    own.putWindowAside(today.addDays(2));
    QVERIFY(own.windowPutAside());
    // Department 2 is out of reach, in plain SQL too.
    QVERIFY(!platform::Trap(
        [&] {
            clerk.Execute(
                QStringLiteral("insert into aRenewalAlertHistory (AlertID, DepartmentID, Action) values "
                               "(1, 2, 'done')"));
        },
        {}));
    QCOMPARE(clerk.Execute(QStringLiteral("update aRenewalAlerts set State = 'done' where DepartmentID = 2"))
                 .RecordsAffected(),
             0);
}

// The calendar: one event per live agreement on its valid-to date, the reminder its alert days before,
// valid by libical's own checks; a second write keeps every UID and moves the changed agreement's event
// with a higher SEQUENCE. The UIDs name the database: another register's never collide with them. A failed
// write leaves the file as it was.
void tst_alertstate::calendarFile()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url, true, true);
    if (!con)
        return;
    namespace demo = agr::schema::demo;
    QTemporaryDir folder;
    const QString file = folder.filePath(QStringLiteral("renewals.ics"));
    QCOMPARE(host::writeCalendar(*con, 1, file), demo::AgreementCount - 1); // all but the cancelled one
    const QString database = agr::schema::DatabaseIdentity(*con);
    QVERIFY(!QUuid::fromString(database).isNull());
    QCOMPARE(agr::schema::DatabaseIdentity(*con), database);
    const auto uid = [&](int department, int id) { return host::calendarUid(database, department, id); };

    const Parsed before = parseCalendar(file);
    QVERIFY(before.restrictionsHold);
    QCOMPARE(before.errors, 0);
    QCOMPARE(before.starts.size(), demo::AgreementCount - 1);
    const QString due = uid(1, demo::DueAgreementId);
    QCOMPARE(before.starts.value(due), QDate(2026, 11, 25));
    QCOMPARE(before.triggerDays.value(due), 30);
    QCOMPARE(before.sequences.value(due), 0);
    QVERIFY(!before.starts.contains(uid(1, demo::CancelledAgreementId)));
    QVERIFY(!before.starts.contains(uid(2, 1)));

    setValidTo(*con, 1, demo::DueAgreementId, QDate(2027, 11, 25));
    QCOMPARE(host::writeCalendar(*con, 1, file), demo::AgreementCount - 1);
    const Parsed after = parseCalendar(file);
    QVERIFY(after.restrictionsHold);
    QCOMPARE(after.starts.keys(), before.starts.keys());
    QCOMPARE(after.starts.value(due), QDate(2027, 11, 25));
    QCOMPARE(after.sequences.value(due), 1);
    QCOMPARE(after.sequences.value(uid(1, 1)), 0);
    // Written again without a change: the sequence stays.
    host::writeCalendar(*con, 1, file);
    QCOMPARE(parseCalendar(file).sequences.value(due), 1);

    // Another register with the same agreements: its own id, so none of its UIDs is one of these.
    auto other = agrtest::openFresh(url, true, true);
    if (!other)
        return;
    const QString otherFile = folder.filePath(QStringLiteral("other.ics"));
    QCOMPARE(host::writeCalendar(*other, 1, otherFile), demo::AgreementCount - 1);
    QVERIFY(agr::schema::DatabaseIdentity(*other) != database);
    const QStringList otherUids = parseCalendar(otherFile).starts.keys();
    QCOMPARE(otherUids.size(), demo::AgreementCount - 1);
    for (const QString &theirs : otherUids)
        QVERIFY2(!after.starts.contains(theirs), qPrintable(theirs));
    // A register whose calendar is written in several pieces: every event whole, each once, the calendar
    // closed after the last.
    const QString filler = QString(300, QLatin1Char('x'));
    for (int first = 10001; first <= 12500; first += 250) {
        QStringList rows;
        for (int id = first; id < first + 250; ++id)
            rows << QStringLiteral("(%1, 1, 'AG/%1', 'Agreement %1 %2', '20270115', %3)")
                        .arg(id)
                        .arg(filler)
                        .arg(id % 60);
        other->Execute(
            QStringLiteral("insert into agreementregister (agragreementid, agrDepartmentid, "
                           "agragreementNo, agragreementdesc, agrValidTodate, alertnoofdays) values ") +
            rows.join(QLatin1Char(',')));
    }
    QCOMPARE(host::writeCalendar(*other, 1, otherFile), demo::AgreementCount - 1 + 2500);
    QVERIFY(QFileInfo(otherFile).size() > 2 * (1 << 20));
    const Parsed large = parseCalendar(otherFile);
    QVERIFY(large.restrictionsHold);
    QCOMPARE(large.errors, 0);
    QCOMPARE(large.starts.size(), demo::AgreementCount - 1 + 2500);
    const QString otherDatabase = agr::schema::DatabaseIdentity(*other);
    for (int id : {10001, 11250, 12500}) {
        const QString event = host::calendarUid(otherDatabase, 1, id);
        QCOMPARE(large.starts.value(event), QDate(2027, 1, 15));
        QCOMPARE(large.triggerDays.value(event), id % 60);
    }

    // Failures: a folder that is not there, and a database error, leave no file and the old one whole.
    QVERIFY_THROWS_EXCEPTION(host::Failure, host::writeCalendar(*con, 1, folder.filePath("no/renewals.ics")));
    QVERIFY(!QFile::exists(folder.filePath(QStringLiteral("no/renewals.ics"))));
    QFile in(file);
    QVERIFY(in.open(QIODevice::ReadOnly));
    const QByteArray old = in.readAll();
    in.close();
    con->Execute(QStringLiteral("drop table aRenewalCalendar"));
    QVERIFY_THROWS_EXCEPTION(platform::RuntimeError, host::writeCalendar(*con, 1, file));
    QVERIFY(in.open(QIODevice::ReadOnly));
    QCOMPARE(in.readAll(), old);
}

QTEST_MAIN(tst_alertstate)
#include "tst_alertstate.moc"
