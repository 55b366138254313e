// The renewals' calendar file as a calendar program takes it: imported into khal (Debian's khal, installed
// by scripts/setup.sh --tests) in a home of its own, every live agreement shows on its valid-to date with
// its reminder; a changed date moves the event rather than adding one; a second register's events sit
// beside the first's in the same calendar. On both backends.
//
// khal lists an event's reminder only as a mark that it has one it can fire (a display alarm some time
// before the event); when it fires is read from the event as khal stored it in its calendar folder.

#include "host/renewals/calendar.h"
#include "support/testdb.h"

#include "data/schema.h"
#include "platform/database/connection.h"

#include <QDir>
#include <QFile>
#include <QMap>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <libical/ical.h>

#include <cmath>

namespace {

namespace demo = agr::schema::demo;

// An event as khal lists it.
struct Listed
{
    QDate date;
    bool reminder = false;
    QString title;
};

// An event as khal keeps it in its calendar folder.
struct Stored
{
    int reminderDays = -1; // whole days before the event; -1 without a reminder
    int sequence = -1;
};

// What the register says each live agreement of department 1 should be in the calendar, by UID.
struct Expected
{
    QDate validTo;
    int reminderDays = 0;
    QString title;
};

QMap<QString, Expected> expectedEvents(platform::Connection &con)
{
    const QString database = agr::schema::DatabaseIdentity(con);
    QMap<QString, Expected> events;
    platform::Recordset rs = con.Execute(QStringLiteral(
        "select agragreementid, agragreementNo, agragreementdesc, agrValidTodate, alertnoofdays from "
        "agreementregister where agrDepartmentid = 1 and (agrcancelled is null or agrcancelled <> 1) and "
        "agrValidTodate is not null"));
    for (; !rs.isEOF(); rs.MoveNext()) {
        Expected e;
        e.validTo = rs.Fields(3).toDate();
        e.reminderDays = rs.Fields(4).isNull() ? 0 : int(std::floor(rs.Fields(4).toDouble()));
        e.title = rs.Fields(1).joinEmpty() + QStringLiteral(" ends: ") + rs.Fields(2).joinEmpty();
        events.insert(host::calendarUid(database, 1, rs.Fields(0).toLong()), e);
    }
    return events;
}

// khal with a configuration, a calendar folder and a cache of its own, in folder.
class Khal
{
public:
    explicit Khal(const QString &folder) : m_folder(folder)
    {
        QDir().mkpath(calendarFolder());
        QFile config(m_folder + QStringLiteral("/khal.conf"));
        if (config.open(QIODevice::WriteOnly))
            config.write(QStringLiteral("[calendars]\n[[renewals]]\npath = %1\ntype = calendar\n"
                                        "[locale]\ntimeformat = %H:%M\ndateformat = %Y-%m-%d\n"
                                        "longdateformat = %Y-%m-%d\ndatetimeformat = %Y-%m-%d %H:%M\n"
                                        "longdatetimeformat = %Y-%m-%d %H:%M\nlocal_timezone = UTC\n"
                                        "default_timezone = UTC\nunicode_symbols = False\n"
                                        "[default]\ndefault_calendar = renewals\n")
                             .arg(calendarFolder())
                             .toUtf8());
    }

    QString calendarFolder() const { return m_folder + QStringLiteral("/calendars/renewals"); }

    // Runs khal with arguments; its output, or a failure named in error.
    QString run(const QStringList &arguments, QString &error) const
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("HOME"), m_folder);
        env.insert(QStringLiteral("XDG_CONFIG_HOME"), m_folder + QStringLiteral("/config"));
        env.insert(QStringLiteral("XDG_DATA_HOME"), m_folder + QStringLiteral("/data"));
        env.insert(QStringLiteral("XDG_CACHE_HOME"), m_folder + QStringLiteral("/cache"));
        env.insert(QStringLiteral("TZ"), QStringLiteral("UTC"));
        env.insert(QStringLiteral("LC_ALL"), QStringLiteral("C.UTF-8"));
        env.insert(QStringLiteral("PYTHONIOENCODING"), QStringLiteral("utf-8"));
        QProcess khal;
        khal.setProcessEnvironment(env);
        khal.start(QStandardPaths::findExecutable(QStringLiteral("khal")),
                   QStringList{QStringLiteral("-c"), m_folder + QStringLiteral("/khal.conf")} + arguments);
        khal.waitForFinished(-1);
        const QString out = QString::fromUtf8(khal.readAllStandardOutput());
        if (khal.exitStatus() != QProcess::NormalExit || khal.exitCode() != 0)
            error = QStringLiteral("khal %1 failed (%2): %3")
                        .arg(arguments.first())
                        .arg(khal.exitCode())
                        .arg(QString::fromUtf8(khal.readAllStandardError()));
        return out;
    }

    bool import(const QString &file, QString &error) const
    {
        run({QStringLiteral("import"), QStringLiteral("--batch"), QStringLiteral("-a"),
             QStringLiteral("renewals"), file},
            error);
        return error.isEmpty();
    }

    // Every event of the calendar from 2000 to 2100, by UID; a UID listed twice is kept in duplicates.
    QMap<QString, Listed> list(QString &error, QStringList *duplicates) const
    {
        const QString out =
            run({QStringLiteral("list"), QStringLiteral("--format"),
                 QStringLiteral("{start-date}|{uid}|{alarm-symbol}|{title}"), QStringLiteral("--day-format"),
                 QString(), QStringLiteral("2000-01-01"), QStringLiteral("2100-01-01")},
                error);
        QMap<QString, Listed> events;
        for (const QString &line : out.split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
            const QStringList parts = line.split(QLatin1Char('|'));
            if (parts.size() < 4)
                continue;
            if (events.contains(parts.at(1)))
                *duplicates << parts.at(1);
            Listed e;
            e.date = QDate::fromString(parts.at(0), QStringLiteral("yyyy-MM-dd"));
            e.reminder = !parts.at(2).trimmed().isEmpty();
            e.title = parts.mid(3).join(QLatin1Char('|'));
            events.insert(parts.at(1), e);
        }
        return events;
    }

    // The events khal keeps in its calendar folder, by UID.
    QMap<QString, Stored> stored() const
    {
        QMap<QString, Stored> events;
        const QDir folder(calendarFolder());
        for (const QString &name : folder.entryList({QStringLiteral("*.ics")}, QDir::Files)) {
            QFile in(folder.filePath(name));
            if (!in.open(QIODevice::ReadOnly))
                continue;
            icalcomponent *calendar = icalparser_parse_string(in.readAll().constData());
            if (!calendar)
                continue;
            for (icalcomponent *event = icalcomponent_get_first_component(calendar, ICAL_VEVENT_COMPONENT);
                 event; event = icalcomponent_get_next_component(calendar, ICAL_VEVENT_COMPONENT)) {
                Stored e;
                e.sequence = icalcomponent_get_sequence(event);
                icalcomponent *alarm = icalcomponent_get_first_component(event, ICAL_VALARM_COMPONENT);
                icalproperty *trigger =
                    alarm ? icalcomponent_get_first_property(alarm, ICAL_TRIGGER_PROPERTY) : nullptr;
                if (trigger)
                    e.reminderDays =
                        -icaldurationtype_as_int(icalproperty_get_trigger(trigger).duration) / 86400;
                events.insert(QString::fromUtf8(icalcomponent_get_uid(event)), e);
            }
            icalcomponent_free(calendar);
        }
        return events;
    }

private:
    QString m_folder;
};

// Every expected event listed on its date with its title and the mark of a reminder, and stored with the
// reminder its alert days before; nothing else of this register listed.
void compareEvents(const QMap<QString, Expected> &expected, const QMap<QString, Listed> &listed,
                   const QMap<QString, Stored> &stored, const QString &database)
{
    for (auto it = expected.cbegin(); it != expected.cend(); ++it) {
        const QString &uid = it.key();
        QVERIFY2(listed.contains(uid), qPrintable(uid + QStringLiteral(" is not listed")));
        QCOMPARE(listed.value(uid).date, it->validTo);
        QCOMPARE(listed.value(uid).title, it->title);
        QVERIFY2(listed.value(uid).reminder,
                 qPrintable(uid + QStringLiteral(" is listed without a reminder")));
        QCOMPARE(stored.value(uid).reminderDays, it->reminderDays);
    }
    for (auto it = listed.cbegin(); it != listed.cend(); ++it)
        if (it.key().endsWith(QLatin1Char('@') + database))
            QVERIFY2(expected.contains(it.key()), qPrintable(it.key() + QStringLiteral(" is listed")));
}

} // namespace

class tst_calendarimport : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void intoKhal_data() { agrtest::addBackends(); }
    void intoKhal();
};

void tst_calendarimport::intoKhal()
{
    AGR_FETCH_URL();
    if (QStandardPaths::findExecutable(QStringLiteral("khal")).isEmpty()) {
        if (qEnvironmentVariableIsSet("CI"))
            QFAIL("khal is not installed: run scripts/setup.sh --tests");
        QSKIP("khal is not installed (scripts/setup.sh --tests installs it)");
    }
    auto con = agrtest::openFresh(url, true, true);
    if (!con)
        return;
    // Reminders of their own, none, and texts a calendar file must escape.
    con->Execute(QStringLiteral("update agreementregister set alertnoofdays = 10 where agragreementid = %1")
                     .arg(demo::DueAgreementId));
    con->Execute(
        QStringLiteral("update agreementregister set alertnoofdays = 45.5 where agragreementid = 2"));
    con->Execute(
        QStringLiteral("update agreementregister set alertnoofdays = null where agragreementid = 3"));
    platform::Command describe(*con);
    describe.setCommandText(QStringLiteral("update agreementregister set agragreementdesc = ? where "
                                           "agrDepartmentid = 1 and agragreementid = 8"));
    describe.Execute({QStringLiteral("Stock; transit, godown \\ yard: காப்பீடு \"all risks\"")});

    QTemporaryDir folder;
    const Khal khal(folder.filePath(QStringLiteral("home")));
    const QString file = folder.filePath(QStringLiteral("renewals.ics"));
    const QString database = agr::schema::DatabaseIdentity(*con);
    QMap<QString, Expected> expected = expectedEvents(*con);
    QCOMPARE(host::writeCalendar(*con, 1, file), expected.size());
    QString error;
    QVERIFY2(khal.import(file, error), qPrintable(error));
    QStringList duplicates;
    QMap<QString, Listed> listed = khal.list(error, &duplicates);
    QVERIFY2(error.isEmpty(), qPrintable(error));
    QCOMPARE(listed.size(), demo::AgreementCount - 1); // all but the cancelled one
    compareEvents(expected, listed, khal.stored(), database);
    if (QTest::currentTestFailed())
        return;

    // A new valid-to date, imported again: the same event moved, its sequence risen.
    const QString due = host::calendarUid(database, 1, demo::DueAgreementId);
    con->Execute(QStringLiteral("update agreementregister set agrValidTodate = '20271204' where "
                                "agrDepartmentid = 1 and agragreementid = %1")
                     .arg(demo::DueAgreementId));
    expected = expectedEvents(*con);
    host::writeCalendar(*con, 1, file);
    QVERIFY2(khal.import(file, error), qPrintable(error));
    listed = khal.list(error, &duplicates);
    QVERIFY2(error.isEmpty(), qPrintable(error));
    QCOMPARE(listed.size(), demo::AgreementCount - 1);
    QCOMPARE(listed.value(due).date, QDate(2027, 12, 4));
    QMap<QString, Stored> stored = khal.stored();
    QCOMPARE(stored.value(due).sequence, 1);
    compareEvents(expected, listed, stored, database);
    if (QTest::currentTestFailed())
        return;

    // Another register with the same agreements, into the same calendar: its events beside these.
    auto other = agrtest::openFresh(url, true, true);
    if (!other)
        return;
    const QString otherFile = folder.filePath(QStringLiteral("other.ics"));
    host::writeCalendar(*other, 1, otherFile);
    QVERIFY2(khal.import(otherFile, error), qPrintable(error));
    listed = khal.list(error, &duplicates);
    QVERIFY2(error.isEmpty(), qPrintable(error));
    QCOMPARE(listed.size(), 2 * (demo::AgreementCount - 1));
    stored = khal.stored();
    compareEvents(expected, listed, stored, database);
    compareEvents(expectedEvents(*other), listed, stored, agr::schema::DatabaseIdentity(*other));
    QVERIFY2(duplicates.isEmpty(), qPrintable(duplicates.join(QStringLiteral(", "))));
}

QTEST_MAIN(tst_calendarimport)
#include "tst_calendarimport.moc"
