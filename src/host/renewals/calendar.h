#pragma once
// The department's renewals as an iCalendar file (RFC 5545, written with libical): an all-day event on each
// live agreement's valid-to date with a reminder its alert days before. Each agreement keeps one UID, so a
// calendar program moves its event when the date changes; the SEQUENCE, kept in aRenewalCalendar, rises
// with each change of the valid-to date or the alert days. The UID names the database by its own id
// (agr::schema::DatabaseIdentity), so that two registers' events never collide in one calendar.

#include <QDate>
#include <QDateTime>
#include <QList>
#include <QString>

class QIODevice;

namespace platform {
class Connection;
}

namespace host {

struct CalendarEvent
{
    qint16 department = 0;
    qint32 agreementId = 0;
    QString number;
    QString description;
    QString with;
    QString alertRemarks;
    QDate validTo;
    double alertDays = 0;
    int sequence = 0;
};

// "agreement-1-7@0f8fad5b-d9cb-469f-a165-70867728950e", database being the database's id (a UUID, as unique
// as the domain such a UID ends in): the same for the same agreement in every file written from that
// database, moved or restored too, and short enough to stay on one line of the file.
QString calendarUid(const QString &database, qint16 department, qint32 agreementId);

// The department's live agreements with a valid-to date, by id, each with its sequence; brings the
// sequences up to date (inside the caller's transaction). Raises on a database error.
QList<CalendarEvent> calendarEvents(platform::Connection &con, qint16 department);

// Writes the calendar's text to out, DTSTAMP stamp, the UIDs naming database; false when out refused some.
bool writeCalendarText(QIODevice &out, const QList<CalendarEvent> &events, qint16 department,
                       const QString &database, const QDateTime &stamp);

// Writes the department's calendar to file through QSaveFile: whole or not at all, the sequences kept only
// when the file was written. Returns the number of events. Raises a host::Failure when the file cannot be
// written and platform::RuntimeError on a database error.
int writeCalendar(platform::Connection &con, qint16 department, const QString &file);

} // namespace host
