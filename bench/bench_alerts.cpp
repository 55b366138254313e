// What is due for renewal, and the register exported to XLSX, at 100,000 agreements on SQLite and (when
// AGR_TEST_PG is set) PostgreSQL. The alerts are printed beside the raw time of their statement read with
// QSqlQuery (and without the valid-to index, to show what it buys), and the alerts with their state beside
// the rules alone; the export beside the same statements read with QSqlQuery and their values written
// straight to libxlsxwriter in the same pass; the calendar file beside libical making and serialising the
// same events from memory.

#include "host/exports/registerexport.h"
#include "host/renewals/alertstate.h"
#include "host/renewals/calendar.h"
#include "host/renewals/renewals.h"

#include "data/schema.h"
#include "platform/database/connection.h"
#include "platform/database/dialect.h"
#include "platform/runtime/errors.h"

#include "benchsupport.h"

#include <QFile>
#include <QFileInfo>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QTemporaryDir>
#include <libical/ical.h>
#include <xlsxwriter.h>

#include <vector>

namespace {

using bench::line;
using bench::median;
using bench::ms;

// The fastest of the repeats: on a machine shared with other work, the run least disturbed by it.
double fastest(const std::vector<double> &values)
{
    return *std::min_element(values.begin(), values.end());
}

const QDate Today(2026, 11, 15);
constexpr int Agreements = 100000;
constexpr int Repeats = 5;

QString quoted(const QString &text)
{
    return QLatin1Char('\'') + text + QLatin1Char('\'');
}

// Valid-to dates spread from five years back to three years ahead, so that most agreements lie outside
// the back period; alert days 30, some null; every tenth cancelled. One agreement in ten has a row in each
// detail list, one in a hundred a payment line.
void insertRegister(platform::Connection &con)
{
    constexpr int Batch = 400;
    con.BeginTrans();
    for (int first = 1; first <= Agreements; first += Batch) {
        QString sql = QStringLiteral(
            "insert into agreementregister (agragreementid,agrDepartmentid,agragreementNo,agragreementdate,"
            "agragreementdesc,agragreementtype,agrapplicableshopid,agrapplicableTo,agrValidFromdate,"
            "agrValidTodate,agrSigneddate,agrwithCustomerid,agragreementwith,agrAgencyHOaddress,"
            "agrAgencyContactNo,agrAgencyEmailid,agrLawyer,agrPhysicalfileLOC,agrReferenceNo,agrNoofPages,"
            "agrPointofContact,agrPOCaddress,agrPOCcontactNo,agrPOCdesignation,agrPOCemailid,alertnoofdays,"
            "alertremarks,agrcancelled) values ");
        const int last = std::min(Agreements, first + Batch - 1);
        for (int id = first; id <= last; ++id) {
            const QDate date = Today.addDays(-(id % 2000));
            const QDate validTo = Today.addDays(id % 2920 - 1825);
            sql +=
                QStringLiteral("(%1,1,'AG/%1',%2,'Agreement number %1 for services','Service',%3,"
                               "'Head Office',%2,%4,%2,%5,'Party %6','%6 Main Road, Suite %1','080-2555%1',"
                               "'office%1@example.com','Lawyer %7','Cabinet %7','REF/%1',%8,'Contact %1',"
                               "'%1 Residency Road','98450%1','Manager','poc%1@example.com',%9,"
                               "'Renew before expiry',%10)")
                    .arg(id)
                    .arg(quoted(date.toString(QStringLiteral("yyyyMMdd"))))
                    .arg(id % 3 ? QString::number(id % 5 + 1) : QStringLiteral("null"))
                    .arg(quoted(validTo.toString(QStringLiteral("yyyyMMdd"))))
                    .arg(id % 4 + 1)
                    .arg(id % 97)
                    .arg(id % 13)
                    .arg(4 + id % 5)
                    .arg(id % 7 ? QStringLiteral("30") : QStringLiteral("null"))
                    .arg(id % 10 == 0 ? 1 : 0);
            if (id < last)
                sql += QLatin1Char(',');
        }
        con.Execute(sql);
    }
    const auto details = [&](const QString &table, const QString &columns, const QString &row) {
        for (int first = 10; first <= Agreements; first += Batch * 10) {
            QStringList rows;
            for (int id = first; id < first + Batch * 10 && id <= Agreements; id += 10)
                rows << row.arg(id);
            con.Execute(QStringLiteral("insert into ") + table + QStringLiteral(" (") + columns +
                        QStringLiteral(") values ") + rows.join(QLatin1Char(',')));
        }
    };
    details(QStringLiteral("AgreementDetails"),
            QStringLiteral("agdAgreementid,agdDepartmentid,agdDetailid,agdDetails"),
            QStringLiteral("(%1,1,1,'Summary of agreement %1')"));
    details(QStringLiteral("AgreementSignedDetails"),
            QStringLiteral(
                "agsagreementid,agsDepartmentid,agsDetailid,agsSignedBy,agsPosition,agsSignedDate,agsAgency"),
            QStringLiteral("(%1,1,1,'Signatory %1','Director','20261001',1)"));
    details(QStringLiteral("AgreementWitnessDetails"),
            QStringLiteral("agwAgreementid,agwDepartmentid,agwDetailid,agwSignedBy,agwPostion,agwSignedDate,"
                           "agwWitenessAddress,agwAgency"),
            QStringLiteral("(%1,1,1,'Witness %1','Accountant','01/10/2026','12 Church Street',0)"));
    details(QStringLiteral("AgreementFinancialDetails"),
            QStringLiteral("agfAgreementid,agfDepartmentid,agffinanceDetailid,agffinanceDetail"),
            QStringLiteral("(%1,1,1,'Monthly charge for agreement %1')"));
    details(QStringLiteral("AgreementContents"),
            QStringLiteral("agcAgreementid,agcDepartmentid,agcDetailid,agcContentdesc"),
            QStringLiteral("(%1,1,1,'Deed of agreement %1')"));
    for (int id = 100; id <= Agreements; id += 100) {
        con.Execute(
            QStringLiteral("insert into aHqPaymentVoucherHeader (phpaymentId,CompanyID,phPaymentNo,"
                           "phPaymentDate,phRemarks,phPayee,phAmount) values (%1,1,'HQPV/%1','20261101',"
                           "'Instalment','Party %1',%1.5)")
                .arg(1000 + id));
        con.Execute(QStringLiteral("insert into aHQpaymentvoucherdebitdetails (PddPaymentID,pddDetailID,"
                                   "pddAgrrementTransID,pddAmount) values (%1,1,%2,%2.25)")
                        .arg(1000 + id)
                        .arg(id));
    }
    con.CommitTrans();
}

// The statement read with QSqlQuery, forward only, every value touched; returns the rows.
int rawRead(platform::Connection &con, const QString &sql)
{
    QSqlQuery query(con.database());
    query.setForwardOnly(true);
    if (!query.exec(con.dialect().translate(sql)))
        platform::Raise(platform::err::DatabaseError, QStringLiteral("bench"),
                        QStringLiteral("raw query failed"));
    const int columns = query.record().count();
    int rows = 0;
    qsizetype touched = 0;
    while (query.next()) {
        ++rows;
        for (int j = 0; j < columns; ++j)
            touched += query.value(j).isNull() ? 0 : 1;
    }
    Q_UNUSED(touched);
    return rows;
}

// The export's statements read with QSqlQuery, dates as the engine's dialect reads them, and each value
// written with libxlsxwriter by its type: the same cells with nothing in between.
struct RawExport
{
    double readMs = 0;
    double readWriteMs = 0;
    int cells = 0;
};

void rawWorkbook(platform::Connection &con, const QList<host::ExportSheet> &sheets, const QString &file,
                 bool write, int &cells)
{
    lxw_workbook_options options{};
    options.constant_memory = LXW_TRUE;
    lxw_workbook *book = write ? workbook_new_opt(QFile::encodeName(file).constData(), &options) : nullptr;
    lxw_format *dateFormat = nullptr;
    if (book) {
        dateFormat = workbook_add_format(book);
        format_set_num_format(dateFormat, "dd/mm/yyyy");
    }
    cells = 0;
    for (const host::ExportSheet &sheet : sheets) {
        lxw_worksheet *ws = book ? workbook_add_worksheet(book, sheet.name.toUtf8().constData()) : nullptr;
        QSqlQuery query(con.database());
        query.setForwardOnly(true);
        if (!query.exec(con.dialect().translate(sheet.statement)))
            platform::Raise(platform::err::DatabaseError, QStringLiteral("bench"),
                            QStringLiteral("raw export failed"));
        const QStringList declared = con.dialect().declaredTypes(query);
        const int columns = query.record().count();
        if (ws)
            for (int j = 0; j < columns; ++j)
                worksheet_write_string(ws, 0, lxw_col_t(j), sheet.columns.at(j).caption.toUtf8().constData(),
                                       nullptr);
        lxw_row_t row = 0;
        while (query.next()) {
            ++row;
            for (int j = 0; j < columns; ++j) {
                QVariant value = query.value(j);
                if (value.isNull())
                    continue;
                if (j < declared.size() && !declared.at(j).isEmpty())
                    value = con.dialect().readValue(value, declared.at(j));
                ++cells;
                if (!ws)
                    continue;
                const int type = value.typeId();
                if (type == QMetaType::QDate) {
                    const QDate d = value.toDate();
                    lxw_datetime when{};
                    when.year = d.year();
                    when.month = d.month();
                    when.day = d.day();
                    worksheet_write_datetime(ws, row, lxw_col_t(j), &when, dateFormat);
                } else if (type == QMetaType::QString) {
                    worksheet_write_string(ws, row, lxw_col_t(j), value.toString().toUtf8().constData(),
                                           nullptr);
                } else {
                    worksheet_write_number(ws, row, lxw_col_t(j), value.toDouble(), nullptr);
                }
            }
        }
    }
    if (book && workbook_close(book) != LXW_NO_ERROR)
        platform::Raise(platform::err::DatabaseError, QStringLiteral("bench"),
                        QStringLiteral("raw workbook failed"));
}

// The calendar's events made and serialised by libical alone, from memory: the same properties, one
// event at a time, into one buffer.
QByteArray rawCalendar(const QList<host::CalendarEvent> &events, const QString &database)
{
    icalcomponent *calendar = icalcomponent_new(ICAL_VCALENDAR_COMPONENT);
    icalcomponent_add_property(calendar, icalproperty_new_version("2.0"));
    icalcomponent_add_property(calendar, icalproperty_new_prodid("-//bench//EN"));
    char *whole = icalcomponent_as_ical_string_r(calendar);
    QByteArray text(whole);
    icalmemory_free_buffer(whole);
    icalcomponent_free(calendar);
    const icaltimetype stamp =
        icaltime_from_timet_with_zone(time(nullptr), 0, icaltimezone_get_utc_timezone());
    for (const host::CalendarEvent &e : events) {
        const auto day = [](const QDate &date) {
            icaltimetype t = icaltime_null_date();
            t.year = date.year();
            t.month = date.month();
            t.day = date.day();
            return t;
        };
        icalcomponent *event = icalcomponent_new(ICAL_VEVENT_COMPONENT);
        icalcomponent_add_property(
            event, icalproperty_new_uid(
                       host::calendarUid(database, e.department, e.agreementId).toUtf8().constData()));
        icalcomponent_add_property(event, icalproperty_new_dtstamp(stamp));
        icalcomponent_add_property(event, icalproperty_new_dtstart(day(e.validTo)));
        icalcomponent_add_property(event, icalproperty_new_dtend(day(e.validTo.addDays(1))));
        icalcomponent_add_property(event, icalproperty_new_sequence(e.sequence));
        icalcomponent_add_property(event, icalproperty_new_transp(ICAL_TRANSP_TRANSPARENT));
        icalcomponent_add_property(
            event, icalproperty_new_summary(
                       (e.number + QStringLiteral(" ends: ") + e.description).toUtf8().constData()));
        icalcomponent_add_property(
            event, icalproperty_new_description(
                       (QStringLiteral("Agreement ") + e.number + QStringLiteral(" with ") + e.with +
                        QStringLiteral(" is valid to ") + e.validTo.toString(QStringLiteral("dd/MM/yyyy")) +
                        QLatin1Char('\n') + e.description + QLatin1Char('\n') + e.alertRemarks)
                           .toUtf8()
                           .constData()));
        icalcomponent *alarm = icalcomponent_new(ICAL_VALARM_COMPONENT);
        icalcomponent_add_property(alarm, icalproperty_new_action(ICAL_ACTION_DISPLAY));
        icaltriggertype trigger{};
        trigger.time = icaltime_null_time();
        trigger.duration = icaldurationtype_from_int(-int(e.alertDays) * 86400);
        icalcomponent_add_property(alarm, icalproperty_new_trigger(trigger));
        icalcomponent_add_property(alarm, icalproperty_new_description(e.alertRemarks.toUtf8().constData()));
        icalcomponent_add_component(event, alarm);
        char *one = icalcomponent_as_ical_string_r(event);
        text += one;
        icalmemory_free_buffer(one);
        icalcomponent_free(event);
    }
    return text;
}

void runBackend(const QString &label, platform::Connection &con)
{
    agr::schema::CreateSchema(con);
    agr::schema::LoadDemoData(con, Today);
    for (const char *table : {"agreementregister", "AgreementDetails", "AgreementSignedDetails",
                              "AgreementWitnessDetails", "AgreementFinancialDetails", "AgreementContents",
                              "aHqPaymentVoucherHeader", "aHQpaymentvoucherdebitdetails"})
        con.Execute(QStringLiteral("delete from ") + QLatin1String(table));
    QElapsedTimer timer;
    timer.start();
    insertRegister(con);
    con.Execute(QStringLiteral("analyze"));
    line(QStringLiteral("%1: inserted %2 agreements with their details in %3 ms")
             .arg(label)
             .arg(Agreements)
             .arg(ms(timer), 0, 'f', 0));

    // The alerts: the statement and the rows made of it, beside the statement alone.
    const QString statement = host::renewalStatement(1, Today, host::backPeriod(con));
    std::vector<double> alerts, raws;
    int rows = 0;
    int rawRows = 0;
    for (int r = 0; r < Repeats; ++r) {
        timer.restart();
        rows = int(host::dueForRenewal(con, 1, Today).size());
        alerts.push_back(ms(timer));
        timer.restart();
        rawRows = rawRead(con, statement);
        raws.push_back(ms(timer));
    }
    const double alert = median(alerts);
    const double raw = median(raws);
    con.Execute(QStringLiteral("drop index ix_agreementregister_2"));
    std::vector<double> unindexed;
    for (int r = 0; r < Repeats; ++r) {
        timer.restart();
        rawRead(con, statement);
        unindexed.push_back(ms(timer));
    }
    con.Execute(QStringLiteral(
        "create index ix_agreementregister_2 on agreementregister (agrDepartmentid, agrValidTodate)"));
    line(QStringLiteral(
             "%1 %2: alerts %3 ms for %4 rows; raw statement %5 ms (ratio %6); the statement without "
             "the valid-to index %7 ms")
             .arg(label)
             .arg(Agreements)
             .arg(alert, 0, 'f', 2)
             .arg(rows)
             .arg(raw, 0, 'f', 2)
             .arg(alert / raw, 0, 'f', 2)
             .arg(median(unindexed), 0, 'f', 2));
    if (rows != rawRows)
        line(QStringLiteral("%1: MISMATCH alerts %2 rows, raw %3").arg(label).arg(rows).arg(rawRows));

    // The alerts with their state, beside the rules alone, on the same processing date: the first run arms
    // every alert; then a run a day, each arming the few that came due and noting the day; then the same day
    // again, which writes nothing. A day's first run ends with a commit, whose cost on SQLite is mostly the
    // disk's flushes: a transaction writing one row of a table of its own is timed beside it, to tell that
    // part from the state's own work. Thirty days, so that the fastest of each is one the machine's other
    // work left alone.
    const QString login = QStringLiteral("bench");
    timer.restart();
    const int armed = int(host::RenewalAlerts(con, 1, Today, login).evaluate().size());
    const double firstRun = ms(timer);
    std::vector<double> stated, rulesAlone, sameDay, bareCommits;
    int statedRows = 0;
    con.Execute(QStringLiteral("create table bench_commits (day integer)"));
    for (int r = 1; r <= 6 * Repeats; ++r) {
        const QDate day = Today.addDays(r);
        timer.restart();
        rows = int(host::dueForRenewal(con, 1, day).size());
        rulesAlone.push_back(ms(timer));
        timer.restart();
        statedRows = int(host::RenewalAlerts(con, 1, day, login).evaluate().size());
        stated.push_back(ms(timer));
        timer.restart();
        host::RenewalAlerts(con, 1, day, login).evaluate();
        sameDay.push_back(ms(timer));
        timer.restart();
        con.BeginTrans();
        con.Execute(QStringLiteral("insert into bench_commits (day) values (%1)").arg(r));
        con.CommitTrans();
        bareCommits.push_back(ms(timer));
    }
    line(QStringLiteral(
             "%1 %2: alerts with their state %3 ms (%4 rows), the rules alone %5 ms (%6 rows): ratio "
             "%7; the same day again %8 ms (ratio %9); the first run, arming %10 alerts, %11 ms; a "
             "transaction writing one row alone %12 ms (fastest of 30 days)")
             .arg(label)
             .arg(Agreements)
             .arg(fastest(stated), 0, 'f', 2)
             .arg(statedRows)
             .arg(fastest(rulesAlone), 0, 'f', 2)
             .arg(rows)
             .arg(fastest(stated) / fastest(rulesAlone), 0, 'f', 2)
             .arg(fastest(sameDay), 0, 'f', 2)
             .arg(fastest(sameDay) / fastest(rulesAlone), 0, 'f', 2)
             .arg(armed)
             .arg(firstRun, 0, 'f', 0)
             .arg(fastest(bareCommits), 0, 'f', 2));

    // The calendar: the first write numbers every agreement; later ones read the numbers back.
    QTemporaryDir calendarFolder;
    const QString ics = calendarFolder.filePath(QStringLiteral("renewals.ics"));
    timer.restart();
    const int events = host::writeCalendar(con, 1, ics);
    const double firstCalendar = ms(timer);
    con.BeginTrans();
    const QList<host::CalendarEvent> inMemory = host::calendarEvents(con, 1);
    const QString database = agr::schema::DatabaseIdentity(con);
    con.CommitTrans();
    std::vector<double> calendars, libicals;
    qsizetype rawBytes = 0;
    for (int r = 0; r < Repeats; ++r) {
        timer.restart();
        host::writeCalendar(con, 1, ics);
        calendars.push_back(ms(timer));
        timer.restart();
        rawBytes = rawCalendar(inMemory, database).size();
        libicals.push_back(ms(timer));
    }
    line(QStringLiteral("%1 %2: calendar of %3 events %4 ms (%5 MB; the first write, numbering them, %6 ms); "
                        "libical making and serialising the same events from memory %7 ms (%8 MB): ratio %9 "
                        "(fastest of 5)")
             .arg(label)
             .arg(Agreements)
             .arg(events)
             .arg(fastest(calendars), 0, 'f', 0)
             .arg(double(QFileInfo(ics).size()) / 1e6, 0, 'f', 1)
             .arg(firstCalendar, 0, 'f', 0)
             .arg(fastest(libicals), 0, 'f', 0)
             .arg(double(rawBytes) / 1e6, 0, 'f', 1)
             .arg(fastest(calendars) / fastest(libicals), 0, 'f', 2));

    // The export, beside the raw read and the raw read with libxlsxwriter writing its cells.
    QTemporaryDir folder;
    const QString ours = folder.filePath(QStringLiteral("register.xlsx"));
    const QString plain = folder.filePath(QStringLiteral("raw.xlsx"));
    const QList<host::ExportSheet> sheets = host::exportSheets(1, QDate());
    constexpr int ExportRepeats = 3;
    std::vector<double> exports, reads, readWrites, csvs;
    host::ExportCounts counts;
    int cells = 0;
    for (int r = 0; r < ExportRepeats; ++r) {
        timer.restart();
        counts = host::exportRegister(con, 1, QDate(), ours);
        exports.push_back(ms(timer));
        timer.restart();
        rawWorkbook(con, sheets, plain, false, cells);
        reads.push_back(ms(timer));
        timer.restart();
        rawWorkbook(con, sheets, plain, true, cells);
        readWrites.push_back(ms(timer));
        timer.restart();
        host::exportRegister(con, 1, QDate(), folder.filePath(QStringLiteral("register.csv")));
        csvs.push_back(ms(timer));
    }
    const double exported = median(exports);
    const double baseline = median(readWrites);
    line(QStringLiteral(
             "%1 %2: XLSX export %3 ms (%4 agreements, %5 detail rows, %6 payments, %7 cells, %8 MB); raw "
             "read %9 ms; raw read with libxlsxwriter writing the same cells %10 ms (ratio %11, %12 MB); CSV "
             "export of the agreements %13 ms")
             .arg(label)
             .arg(Agreements)
             .arg(exported, 0, 'f', 0)
             .arg(counts.agreements)
             .arg(counts.detailRows)
             .arg(counts.payments)
             .arg(cells)
             .arg(double(QFileInfo(ours).size()) / 1e6, 0, 'f', 1)
             .arg(median(reads), 0, 'f', 0)
             .arg(baseline, 0, 'f', 0)
             .arg(exported / baseline, 0, 'f', 2)
             .arg(double(QFileInfo(plain).size()) / 1e6, 0, 'f', 1)
             .arg(median(csvs), 0, 'f', 0));
}

} // namespace

int main(int argc, char **argv)
{
    return bench::runOnBackends(argc, argv, QStringLiteral("bench_alerts"), runBackend);
}
