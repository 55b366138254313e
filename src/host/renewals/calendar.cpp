#include "host/renewals/calendar.h"

#include "host/hostsupport.h"

#include "data/schema.h"
#include "platform/database/connection.h"

#include <QSaveFile>
#include <cmath>
#include <libical/ical.h>
#include <memory>

namespace host {

namespace {

namespace table = agr::schema::table;

struct ComponentFree
{
    void operator()(icalcomponent *c) const { icalcomponent_free(c); }
};
using Component = std::unique_ptr<icalcomponent, ComponentFree>;

icaltimetype dayOf(const QDate &date)
{
    icaltimetype day = icaltime_null_date();
    day.year = date.year();
    day.month = date.month();
    day.day = date.day();
    return day;
}

QByteArray utf8(const QString &text)
{
    return text.toUtf8();
}

// "dd/mm/yyyy", as QDate::toString writes it, without the locale's machinery for each event.
void appendShortDate(QByteArray &to, const QDate &date)
{
    const auto two = [&](int n) { to.append(char('0' + n / 10)).append(char('0' + n % 10)); };
    two(date.day());
    to.append('/');
    two(date.month());
    to.append('/');
    const int year = date.year();
    if (year >= 1000 && year <= 9999) {
        two(year / 100);
        two(year % 100);
    } else {
        to.append(date.toString(QStringLiteral("yyyy")).toLatin1());
    }
}

// Whole days before the valid-to date, as the renewal rule counts them; none before is the day itself.
int reminderDays(double alertDays)
{
    return alertDays > 0 ? int(std::floor(std::min(alertDays, 36500.0))) : 0;
}

// One VEVENT with its VALARM, made once and given each agreement's values in turn: the events differ only
// in their values, and making a component per event would cost as much again as writing it. The texts are
// put together in buffers kept from one event to the next.
class EventWriter
{
public:
    EventWriter(const icaltimetype &stamp, const QString &database)
        : m_event(icalcomponent_new(ICAL_VEVENT_COMPONENT)),
          m_uidEnd(QByteArrayLiteral("@") + database.toUtf8())
    {
        icalcomponent *event = m_event.get();
        icalcomponent_add_property(event, m_uid = icalproperty_new_uid(""));
        icalcomponent_add_property(event, icalproperty_new_dtstamp(stamp));
        icalcomponent_add_property(event, m_start = icalproperty_new_dtstart(icaltime_null_date()));
        icalcomponent_add_property(event, m_end = icalproperty_new_dtend(icaltime_null_date()));
        icalcomponent_add_property(event, m_sequence = icalproperty_new_sequence(0));
        icalcomponent_add_property(event, icalproperty_new_transp(ICAL_TRANSP_TRANSPARENT));
        icalcomponent_add_property(event, m_summary = icalproperty_new_summary(""));
        icalcomponent_add_property(event, m_description = icalproperty_new_description(""));
        icalcomponent *alarm = icalcomponent_new(ICAL_VALARM_COMPONENT);
        icalcomponent_add_property(alarm, icalproperty_new_action(ICAL_ACTION_DISPLAY));
        icaltriggertype trigger{};
        trigger.time = icaltime_null_time();
        trigger.duration = icaldurationtype_null_duration();
        icalcomponent_add_property(alarm, m_trigger = icalproperty_new_trigger(trigger));
        icalcomponent_add_property(alarm, m_reminder = icalproperty_new_description(""));
        icalcomponent_add_component(event, alarm);
    }

    icalcomponent *eventOf(const CalendarEvent &e)
    {
        const QByteArray number = e.number.toUtf8();
        const QByteArray description = e.description.toUtf8();
        const QByteArray remarks = e.alertRemarks.toUtf8();
        m_validTo.truncate(0);
        appendShortDate(m_validTo, e.validTo);
        // The UID as calendarUid makes it.
        m_text.truncate(0);
        m_text.append("agreement-")
            .append(QByteArray::number(e.department))
            .append('-')
            .append(QByteArray::number(e.agreementId))
            .append(m_uidEnd);
        icalproperty_set_uid(m_uid, m_text.constData());
        icalproperty_set_dtstart(m_start, dayOf(e.validTo));
        icalproperty_set_dtend(m_end, dayOf(e.validTo.addDays(1)));
        icalproperty_set_sequence(m_sequence, e.sequence);
        m_text.truncate(0);
        m_text.append(number).append(" ends");
        if (!description.isEmpty())
            m_text.append(": ").append(description);
        icalproperty_set_summary(m_summary, m_text.constData());
        m_text.truncate(0);
        m_text.append("Agreement ").append(number);
        if (!e.with.isEmpty())
            m_text.append(" with ").append(e.with.toUtf8());
        m_text.append(" is valid to ").append(m_validTo).append('.');
        if (!description.isEmpty())
            m_text.append('\n').append(description);
        if (!remarks.isEmpty())
            m_text.append('\n').append(remarks);
        icalproperty_set_description(m_description, m_text.constData());
        icaltriggertype trigger{};
        trigger.time = icaltime_null_time();
        trigger.duration = icaldurationtype_from_int(-reminderDays(e.alertDays) * 86400);
        icalproperty_set_trigger(m_trigger, trigger);
        if (remarks.isEmpty()) {
            m_text.truncate(0);
            m_text.append("Agreement ").append(number).append(" is due for renewal by ").append(m_validTo);
            icalproperty_set_description(m_reminder, m_text.constData());
        } else {
            icalproperty_set_description(m_reminder, remarks.constData());
        }
        return m_event.get();
    }

private:
    Component m_event;
    const QByteArray m_uidEnd;
    QByteArray m_text;
    QByteArray m_validTo;
    icalproperty *m_uid;
    icalproperty *m_start;
    icalproperty *m_end;
    icalproperty *m_sequence;
    icalproperty *m_summary;
    icalproperty *m_description;
    icalproperty *m_trigger;
    icalproperty *m_reminder;
};

void appendText(QByteArray &to, icalcomponent *component)
{
    char *text = icalcomponent_as_ical_string_r(component);
    to.append(text);
    icalmemory_free_buffer(text);
}

QString literal(const QDate &date)
{
    return QLatin1Char('\'') + date.toString(QStringLiteral("yyyyMMdd")) + QLatin1Char('\'');
}

// Alert days as the renewal rules count them: a number, or a text that reads as one; anything else none.
// Read here rather than in the statement, which then reads the register's rows as they are.
double alertDaysOf(const QVariant &value)
{
    if (value.isNull())
        return 0;
    if (value.typeId() == QMetaType::QString) {
        bool ok = false;
        const double days = value.toString().trimmed().toDouble(&ok);
        return ok && std::isfinite(days) ? days : 0;
    }
    return value.toDouble();
}

} // namespace

QString calendarUid(const QString &database, qint16 department, qint32 agreementId)
{
    return QStringLiteral("agreement-%1-%2@").arg(department).arg(agreementId) + database;
}

QList<CalendarEvent> calendarEvents(platform::Connection &con, qint16 department)
{
    const QString live =
        QStringLiteral(" where agrDepartmentid = ") + QString::number(department) +
        QStringLiteral(" and (agrcancelled is null or agrcancelled <> 1) and agrValidTodate is not "
                       "null");
    platform::Recordset rs = con.Execute(
        QStringLiteral("select agragreementid, agragreementNo, agragreementdesc, agragreementwith, "
                       "alertremarks, agrValidTodate, alertnoofdays, case when ValidTo = agrValidTodate then "
                       "1 else 0 end, "
                       "AlertDays, Sequence from "
                       "agreementregister left join ") +
        QLatin1String(table::RenewalCalendar) +
        QStringLiteral(" on DepartmentID = agrDepartmentid and AgreementID = agragreementid") + live +
        QStringLiteral(" order by agragreementid"));
    QList<CalendarEvent> events;
    events.reserve(rs.RecordCount());
    std::unique_ptr<platform::Command> bump;
    QStringList fresh;
    for (; !rs.isEOF(); rs.MoveNext()) {
        CalendarEvent e;
        e.department = department;
        e.agreementId = rs.Fields(0).toLong();
        e.number = rs.Fields(1).joinEmpty();
        e.description = rs.Fields(2).joinEmpty();
        e.with = rs.Fields(3).joinEmpty();
        e.alertRemarks = rs.Fields(4).joinEmpty();
        // A valid-to date that is no date (the entry form's blank box) has no event.
        e.validTo = rs.Fields(5).Value().toDate();
        if (!e.validTo.isValid())
            continue;
        e.alertDays = alertDaysOf(rs.Fields(6).Value());
        const platform::Field sequence = rs.Fields(9);
        if (sequence.isNull()) {
            // Seen for the first time: sequence 0. Numbers and dates only go into the text.
            fresh << QStringLiteral("(%1, %2, %3, %4, 0)")
                         .arg(department)
                         .arg(e.agreementId)
                         .arg(literal(e.validTo))
                         .arg(e.alertDays, 0, 'g', 17);
        } else if (e.sequence = sequence.toLong();
                   rs.Fields(7).toLong() != 1 || rs.Fields(8).toDouble() != e.alertDays) {
            ++e.sequence;
            if (!bump) {
                bump = std::make_unique<platform::Command>(con);
                bump->setCommandText(QStringLiteral("update ") + QLatin1String(table::RenewalCalendar) +
                                     QStringLiteral(" set ValidTo = ?, AlertDays = ?, Sequence = ? where "
                                                    "DepartmentID = ? and AgreementID = ?"));
                bump->ParametersRefresh();
            }
            bump->Execute({e.validTo, e.alertDays, e.sequence, department, e.agreementId});
        }
        events.append(e);
    }
    constexpr qsizetype Batch = 500;
    for (qsizetype first = 0; first < fresh.size(); first += Batch)
        con.Execute(QStringLiteral("insert into ") + QLatin1String(table::RenewalCalendar) +
                    QStringLiteral(" (DepartmentID, AgreementID, ValidTo, AlertDays, Sequence) values ") +
                    fresh.mid(first, Batch).join(QStringLiteral(", ")));
    return events;
}

bool writeCalendarText(QIODevice &out, const QList<CalendarEvent> &events, qint16 department,
                       const QString &database, const QDateTime &stamp)
{
    Component calendar(icalcomponent_new(ICAL_VCALENDAR_COMPONENT));
    icalcomponent_add_property(calendar.get(), icalproperty_new_version("2.0"));
    icalcomponent_add_property(calendar.get(),
                               icalproperty_new_prodid("-//Agreement register//Renewals//EN"));
    icalcomponent_add_property(calendar.get(), icalproperty_new_calscale("GREGORIAN"));
    icalproperty *name = icalproperty_new_x(
        utf8(QStringLiteral("Agreements of department %1: valid-to dates").arg(department)).constData());
    icalproperty_set_x_name(name, "X-WR-CALNAME");
    icalcomponent_add_property(calendar.get(), name);
    QByteArray whole;
    appendText(whole, calendar.get());
    const qsizetype end = whole.lastIndexOf(QByteArrayLiteral("END:VCALENDAR"));
    // The events are made and handed on a megabyte at a time, so that a large register never sits in memory
    // as text as well.
    constexpr qsizetype Chunk = 1 << 20;
    QByteArray text = whole.left(end);
    text.reserve(Chunk + 4096);
    const auto handOn = [&] {
        const bool written = out.write(text) == text.size();
        text.truncate(0);
        return written;
    };
    const icaltimetype when =
        icaltime_from_timet_with_zone(stamp.toSecsSinceEpoch(), 0, icaltimezone_get_utc_timezone());
    EventWriter writer(when, database);
    for (const CalendarEvent &e : events) {
        appendText(text, writer.eventOf(e));
        if (text.size() >= Chunk && !handOn())
            return false;
    }
    text.append(whole.mid(end));
    return handOn();
}

int writeCalendar(platform::Connection &con, qint16 department, const QString &file)
{
    if (!file.endsWith(QLatin1String(".ics"), Qt::CaseInsensitive))
        throw Failure(QStringLiteral("calendar: %1 is not an .ics file").arg(file), ExitUsage);
    con.BeginTrans();
    try {
        const QString database = agr::schema::DatabaseIdentity(con);
        const QList<CalendarEvent> events = calendarEvents(con, department);
        QSaveFile out(file);
        if (!out.open(QIODevice::WriteOnly) ||
            !writeCalendarText(out, events, department, database, QDateTime::currentDateTimeUtc()) ||
            !out.commit())
            throw Failure(QStringLiteral("calendar: cannot write %1: %2").arg(file, out.errorString()));
        con.CommitTrans();
        return int(events.size());
    } catch (...) {
        con.RollbackTrans();
        throw;
    }
}

} // namespace host
