#include "host/commands/alertcommands.h"

#include "host/exports/registerexport.h"
#include "host/hostsupport.h"
#include "host/identity.h"
#include "host/options.h"
#include "host/renewals/alertstate.h"
#include "host/renewals/calendar.h"
#include "host/renewals/renewals.h"

#include "platform/database/connection.h"
#include "platform/runtime/errors.h"

#include <QFileInfo>
#include <cstdio>

namespace host {

namespace {

QCommandLineOption departmentOption()
{
    return {
        QStringLiteral("department"),
        QStringLiteral("The department, one of those mapped to the database login. Default: the lowest of "
                       "them."),
        QStringLiteral("N")};
}

void printRaw(const QString &text)
{
    const QByteArray bytes = text.toUtf8();
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stdout);
    std::fflush(stdout);
}

} // namespace

int alerts(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Prints the department's agreements that are due for renewal or have expired within the list's back "
        "period and whose alerts nobody has acknowledged, snoozed or marked done, with those that expired "
        "since the last run and were never shown. Exit status 0 when there are none, 3 when there are."));
    parser.addPositionalArgument(QStringLiteral("alerts"), QStringLiteral("The command."));
    parser.addOption(databaseOption());
    parser.addOption(departmentOption());
    parser.addOption(dateOptionFor(QStringLiteral("Processing date")));
    parser.addOption({QStringLiteral("format"), QStringLiteral("text (default), csv or json."),
                      QStringLiteral("format"), QStringLiteral("text")});
    parser.addOption(
        {QStringLiteral("escalate-after"),
         QStringLiteral("Instead: the alerts still open N days or more past their due date, each "
                        "listed (and marked escalated) once."),
         QStringLiteral("N")});
    parseArguments(parser, arguments);
    noMorePositionals(parser, 1);
    const std::optional<qint16> askedDepartment =
        optionalOption(int16Option, parser, QStringLiteral("department"));
    const std::optional<qint16> escalateAfter =
        optionalOption(int16Option, parser, QStringLiteral("escalate-after"));
    if (escalateAfter && *escalateAfter < 0)
        throw Failure(QStringLiteral("--escalate-after: give a number of days, 0 or more"), ExitUsage);
    const QDate date = dateOption(parser, QStringLiteral("date"), QDate::currentDate());
    const QString format = parser.value(QStringLiteral("format")).trimmed().toLower();
    if (format != QLatin1String("text") && format != QLatin1String("csv") && format != QLatin1String("json"))
        throw Failure(QStringLiteral("--format: '%1' is not text, csv or json")
                          .arg(parser.value(QStringLiteral("format"))),
                      ExitUsage);

    platform::Connection con;
    const QString url = databaseUrl(parser);
    openDatabase(con, url, false);
    const Identity who = identify(con, std::nullopt, askedDepartment);
    const qint16 department = who.departmentId;
    QList<RenewalRow> rows;
    failingAs(QStringLiteral("alerts"), ErrorText::Numbered, [&] {
        RenewalAlerts state(con, department, date, who.login);
        rows = state.evaluate();
        if (escalateAfter)
            rows = state.escalate(*escalateAfter);
    });
    if (format == QLatin1String("csv"))
        printRaw(renewalsAsCsv(rows));
    else if (format == QLatin1String("json"))
        printRaw(renewalsAsJson(rows, department, date));
    else if (escalateAfter && !rows.isEmpty())
        printRaw(
            renewalsAsText(rows, department, date,
                           QStringLiteral("Open %1 days or more past their due date in department %2 on %3")
                               .arg(*escalateAfter)
                               .arg(department)
                               .arg(date.toString(QStringLiteral("dd/MM/yyyy")))));
    else
        printRaw(renewalsAsText(rows, department, date));
    return rows.isEmpty() ? 0 : ExitSomethingDue;
}

int exportCommand(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Writes the department's agreements to a spreadsheet: every header field, and in an XLSX workbook "
        "one more sheet for each detail list and one for the payments. A CSV file holds the agreements."));
    parser.addPositionalArgument(QStringLiteral("export"), QStringLiteral("The command."));
    parser.addOption(databaseOption());
    parser.addOption(departmentOption());
    parser.addOption(
        {QStringLiteral("from"),
         QStringLiteral("Only agreements dated on or after this day (yyyy-mm-dd). Default: all."),
         QStringLiteral("date")});
    parser.addOption({QStringLiteral("out"), QStringLiteral("The file to write: FILE.xlsx or FILE.csv."),
                      QStringLiteral("file")});
    parseArguments(parser, arguments);
    noMorePositionals(parser, 1);
    const QString out = parser.value(QStringLiteral("out"));
    if (out.trimmed().isEmpty())
        throw Failure(QStringLiteral("export: give the file to write with --out FILE.xlsx or --out FILE.csv"),
                      ExitUsage);
    const std::optional<qint16> askedDepartment =
        optionalOption(int16Option, parser, QStringLiteral("department"));
    const QDate from = dateOption(parser, QStringLiteral("from"), QDate());
    const QString file = QFileInfo(out).absoluteFilePath();

    platform::Connection con;
    openDatabase(con, databaseUrl(parser), false);
    const qint16 department = identify(con, std::nullopt, askedDepartment).departmentId;
    ExportCounts counts;
    failingAs(QStringLiteral("export"), ErrorText::Numbered,
              [&] { counts = exportRegister(con, department, from, file); });
    if (file.endsWith(QLatin1String(".csv"), Qt::CaseInsensitive))
        printOut(QStringLiteral("Wrote %1 agreements to %2").arg(counts.agreements).arg(file));
    else
        printOut(QStringLiteral("Wrote %1 agreements, %2 detail rows and %3 payments to %4")
                     .arg(counts.agreements)
                     .arg(counts.detailRows)
                     .arg(counts.payments)
                     .arg(file));
    return 0;
}

int calendar(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Writes the department's live agreements to an iCalendar file: an all-day event on each valid-to "
        "date with a reminder the agreement's alert days before. An agreement keeps its event from one file "
        "to the next; a changed date moves it."));
    parser.addPositionalArgument(QStringLiteral("calendar"), QStringLiteral("The command."));
    parser.addOption(databaseOption());
    parser.addOption(departmentOption());
    parser.addOption(
        {QStringLiteral("out"), QStringLiteral("The file to write: FILE.ics."), QStringLiteral("file")});
    parseArguments(parser, arguments);
    noMorePositionals(parser, 1);
    const QString out = parser.value(QStringLiteral("out"));
    if (out.trimmed().isEmpty())
        throw Failure(QStringLiteral("calendar: give the file to write with --out FILE.ics"), ExitUsage);
    const std::optional<qint16> askedDepartment =
        optionalOption(int16Option, parser, QStringLiteral("department"));
    const QString file = QFileInfo(out).absoluteFilePath();

    platform::Connection con;
    openDatabase(con, databaseUrl(parser), false);
    const qint16 department = identify(con, std::nullopt, askedDepartment).departmentId;
    int events = 0;
    failingAs(QStringLiteral("calendar"), ErrorText::Numbered, [&] { events = writeCalendar(con, department, file); });
    printOut(QStringLiteral("Wrote %1 agreements' valid-to dates to %2").arg(events).arg(file));
    return 0;
}

} // namespace host
