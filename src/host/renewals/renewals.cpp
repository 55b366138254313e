#include "host/renewals/renewals.h"

#include "host/exports/csv.h"
#include "host/renewals/alertstate.h"

#include "platform/database/connection.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <algorithm>

namespace host {

namespace {

QString literal(const QDate &date)
{
    return QLatin1Char('\'') + date.toString(QStringLiteral("yyyyMMdd")) + QLatin1Char('\'');
}

QString statusText(const RenewalRow &row)
{
    return row.expired() ? QStringLiteral("Expired") : QStringLiteral("Due");
}

// A value on one line of a terminal table.
QString flat(const QString &text)
{
    QString line = text;
    line.replace(QStringLiteral("\r\n"), QStringLiteral(" "));
    line.replace(QLatin1Char('\n'), QLatin1Char(' '));
    line.replace(QLatin1Char('\r'), QLatin1Char(' '));
    line.replace(QLatin1Char('\t'), QLatin1Char(' '));
    return line;
}

QString shortDate(const QDate &date)
{
    return date.toString(QStringLiteral("dd/MM/yyyy"));
}

} // namespace

int backPeriod(platform::Connection &con)
{
    platform::Recordset rs = con.Execute(QStringLiteral("select BackNoOfDays from aPackageSettings"));
    if (rs.isEOF() || rs.Fields(0).isNull())
        return 0;
    return std::max(0, rs.Fields(0).toLong());
}

QString alertDaysExpression()
{
    // Alert days may be kept as text: whatever does not read as a number counts as none.
    return QStringLiteral("case when isnumeric(convert(varchar, alertnoofdays)) = 1 then "
                          "convert(float, alertnoofdays) else 0 end");
}

namespace {

// withState: the alert's columns and then alongside, if any.
QString selectRenewals(qint16 department, const QDate &processDate, const QDate &expiredFrom, bool withState,
                       const QString &alongside = QString())
{
    const QString today = literal(processDate);
    const QString daysLeft = QStringLiteral("datediff(day, ") + today + QStringLiteral(", agrValidTodate)");
    const QString alertDays = alertDaysExpression();
    QString sql = QStringLiteral("select agragreementid, agragreementNo, agragreementdesc, agragreementwith, "
                                 "agrValidTodate, alertremarks, ") +
                  daysLeft + QStringLiteral(" daysleft, ") + alertDays + QStringLiteral(" alertdays");
    if (withState)
        // The alert days are compared by the caller: the join would have the engine work them out again
        // for every row (on PostgreSQL a tenth of the rules' own time).
        // Only the alerts within reach that still count are joined: the engine then reads none of the
        // department's older ones, which pile up over the years.
        sql += QStringLiteral(", AlertID, State, StateBy, SnoozedUntil, AlertDays") +
               (alongside.isEmpty() ? QString() : QStringLiteral(", ") + alongside) +
               QStringLiteral(" from agreementregister left join aRenewalAlerts on DepartmentID = "
                              "agrDepartmentid and AgreementID = agragreementid and ValidTo = agrValidTodate "
                              "and ValidTo >= ") +
               literal(expiredFrom) + QStringLiteral(" and State <> 'closed'");
    else
        sql += QStringLiteral(" from agreementregister");
    return sql + QStringLiteral(" where agrDepartmentid = ") + QString::number(department) +
           QStringLiteral(" and (agrcancelled is null or agrcancelled <> 1) and agrValidTodate >= ") +
           literal(expiredFrom) + QStringLiteral(" and (agrValidTodate < ") + today + QStringLiteral(" or ") +
           daysLeft + QStringLiteral(" <= ") + alertDays +
           QStringLiteral(") order by daysleft, agragreementid");
}

} // namespace

QString renewalStatement(qint16 department, const QDate &processDate, int backDays)
{
    return selectRenewals(department, processDate, processDate.addDays(-backDays), false);
}

QString alertStatement(qint16 department, const QDate &processDate, const QDate &expiredFrom,
                       const QString &alongside)
{
    return selectRenewals(department, processDate, expiredFrom, true, alongside);
}

RenewalRow renewalRowOf(const platform::Recordset &rs)
{
    RenewalRow row;
    row.agreementId = rs.Fields(0).toLong();
    row.number = rs.Fields(1).joinEmpty();
    row.description = rs.Fields(2).joinEmpty();
    row.with = rs.Fields(3).joinEmpty();
    row.validTo = rs.Fields(4).toDate();
    row.alertRemarks = rs.Fields(5).joinEmpty();
    row.daysLeft = rs.Fields(6).toLong();
    row.alertDays = rs.Fields(7).toDouble();
    return row;
}

QList<RenewalRow> dueForRenewal(platform::Connection &con, qint16 department, const QDate &processDate)
{
    const int back = backPeriod(con);
    platform::Recordset rs = con.Execute(renewalStatement(department, processDate, back));
    QList<RenewalRow> rows;
    rows.reserve(rs.RecordCount());
    for (; !rs.isEOF(); rs.MoveNext()) {
        rows.append(renewalRowOf(rs));
    }
    return rows;
}

QString daysText(int daysLeft)
{
    if (daysLeft == 0)
        return QStringLiteral("expires today");
    const int days = daysLeft < 0 ? -daysLeft : daysLeft;
    return QString::number(days) + (days == 1 ? QStringLiteral(" day") : QStringLiteral(" days")) +
           (daysLeft < 0 ? QStringLiteral(" past") : QStringLiteral(" left"));
}

QString renewalsAsText(const QList<RenewalRow> &rows, qint16 department, const QDate &processDate,
                       const QString &heading)
{
    if (rows.isEmpty())
        return QStringLiteral("Nothing is due for renewal or expired in department %1 on %2.\n")
            .arg(department)
            .arg(shortDate(processDate));
    const auto expired =
        std::count_if(rows.cbegin(), rows.cend(), [](const RenewalRow &r) { return r.expired(); });
    QString text = (heading.isEmpty() ? QStringLiteral("Due for renewal in department %1 on %2")
                                            .arg(department)
                                            .arg(shortDate(processDate))
                                      : heading) +
                   QStringLiteral(": %1 due, %2 expired\n\n").arg(rows.size() - expired).arg(expired);

    QList<QStringList> table = {{QStringLiteral("Status"), QStringLiteral("Agreement No"),
                                 QStringLiteral("Valid To"), QStringLiteral("Days"),
                                 QStringLiteral("Agreement With"), QStringLiteral("Description"),
                                 QStringLiteral("Alert Remarks")}};
    for (const RenewalRow &row : rows)
        table.append({statusText(row), flat(row.number), shortDate(row.validTo), daysText(row.daysLeft),
                      flat(row.with), flat(row.description), flat(row.alertRemarks)});
    QList<qsizetype> widths(table.first().size(), 0);
    for (const QStringList &line : std::as_const(table))
        for (qsizetype i = 0; i < line.size(); ++i)
            widths[i] = std::max(widths[i], line.at(i).size());
    for (const QStringList &line : std::as_const(table)) {
        QString out;
        for (qsizetype i = 0; i < line.size(); ++i)
            out += i + 1 < line.size() ? line.at(i).leftJustified(widths[i] + 2) : line.at(i);
        text += out.trimmed() + QLatin1Char('\n');
    }
    return text;
}

QString renewalsAsCsv(const QList<RenewalRow> &rows)
{
    QString csv =
        csvRecord({QStringLiteral("Status"), QStringLiteral("Agreement No"), QStringLiteral("Description"),
                   QStringLiteral("Agreement With"), QStringLiteral("Valid To"), QStringLiteral("Days Left"),
                   QStringLiteral("Alert Remarks")});
    for (const RenewalRow &row : rows)
        csv +=
            csvRecord({statusText(row), row.number, row.description, row.with,
                       row.validTo.toString(Qt::ISODate), QString::number(row.daysLeft), row.alertRemarks});
    return csv;
}

QString renewalsAsJson(const QList<RenewalRow> &rows, qint16 department, const QDate &processDate)
{
    QJsonArray agreements;
    int expired = 0;
    for (const RenewalRow &row : rows) {
        expired += row.expired() ? 1 : 0;
        QJsonObject agreement{
            {QStringLiteral("status"), row.expired() ? QStringLiteral("expired") : QStringLiteral("due")},
            {QStringLiteral("agreementId"), row.agreementId},
            {QStringLiteral("agreementNo"), row.number},
            {QStringLiteral("description"), row.description},
            {QStringLiteral("agreementWith"), row.with},
            {QStringLiteral("validTo"), row.validTo.toString(Qt::ISODate)},
            {QStringLiteral("daysLeft"), row.daysLeft},
            {QStringLiteral("alertRemarks"), row.alertRemarks}};
        if (row.alertId != 0) {
            agreement.insert(QStringLiteral("alertId"), row.alertId);
            agreement.insert(QStringLiteral("alertState"),
                             row.raised ? QStringLiteral("new") : stateName(row.state));
            agreement.insert(QStringLiteral("dueDate"), row.dueDate.toString(Qt::ISODate));
        }
        agreements.append(agreement);
    }
    const QJsonObject document{{QStringLiteral("department"), department},
                               {QStringLiteral("processDate"), processDate.toString(Qt::ISODate)},
                               {QStringLiteral("due"), int(rows.size()) - expired},
                               {QStringLiteral("expired"), expired},
                               {QStringLiteral("agreements"), agreements}};
    return QString::fromUtf8(QJsonDocument(document).toJson(QJsonDocument::Indented));
}

} // namespace host
