// The activity log's chain: appending rows through the audit service (the previous row's hash read and the
// row hashed and inserted under the append lock, each in a transaction of its own as a cancellation
// writes it) beside the same rows inserted by a plain parameterised insert in a transaction each, measured in
// the same run; then walking the whole chain with audit verify's check beside reading the same rows.

#include "data/schema.h"
#include "platform/database/connection.h"
#include "suite/auditservice.h"

#include "benchsupport.h"

namespace {

namespace demo = agr::schema::demo;
using bench::line;
using bench::ms;

constexpr int Rows = 2000;

void measure(const QString &label, platform::Connection &con)
{
    agr::schema::CreateSchema(con);

    QElapsedTimer timer;
    timer.start();
    platform::Command insert(con);
    insert.setCommandText(
        QStringLiteral("insert into aActivityLog (CompanyID, DepartmentID, UserID, InterfaceID, "
                       "AgreementID, AgreementNo, ActionCode, FormName, ActionDateTime) values "
                       "(?,?,?,?,?,?,?,?,?)"));
    insert.ParametersRefresh();
    for (int i = 0; i < Rows; ++i) {
        con.BeginTrans();
        insert.Execute({demo::CompanyId, demo::DepartmentId, demo::ClerkUserId, demo::InterfaceId, double(i),
                        QStringLiteral("AG/%1").arg(i), QStringLiteral("D"), QString(),
                        QDateTime::currentDateTime()});
        con.CommitTrans();
    }
    const double raw = ms(timer);
    con.Execute(QStringLiteral("delete from aActivityLog"));

    suite::AuditService audit;
    platform::Connection *pointer = &con;
    qint32 company = demo::CompanyId, user = demo::ClerkUserId, interfaceId = demo::InterfaceId;
    qint16 department = demo::DepartmentId;
    audit.OpenObject(pointer, company, user, department, interfaceId, QDateTime::currentDateTime());
    timer.restart();
    for (int i = 0; i < Rows; ++i) {
        QString action = QStringLiteral("D");
        audit.SaveActivityLogInfo(double(i), QStringLiteral("AG/%1").arg(i), true, action);
    }
    const double chained = ms(timer);
    line(QStringLiteral("%1: %2 appends: chained %3 ms (%4 ms each), plain insert %5 ms; ratio %6")
             .arg(label)
             .arg(Rows)
             .arg(chained, 0, 'f', 0)
             .arg(chained / Rows, 0, 'f', 3)
             .arg(raw, 0, 'f', 0)
             .arg(chained / raw, 0, 'f', 2));

    timer.restart();
    platform::Recordset rs = con.Execute(QStringLiteral("select * from aActivityLog order by LogID"));
    const int read = rs.RecordCount();
    const double readMs = ms(timer);
    timer.restart();
    const agr::ChainCheck check = audit.VerifyChain(&con);
    const double verifyMs = ms(timer);
    if (check.rows != read || check.brokenLogId != 0)
        line(label + QStringLiteral(": the chain does not verify"));
    line(QStringLiteral("%1: verifying %2 rows %3 ms, reading them %4 ms; ratio %5")
             .arg(label)
             .arg(check.rows)
             .arg(verifyMs, 0, 'f', 1)
             .arg(readMs, 0, 'f', 1)
             .arg(verifyMs / readMs, 0, 'f', 2));
}

} // namespace

int main(int argc, char **argv)
{
    return bench::runOnBackends(argc, argv, QStringLiteral("audit"), measure);
}
