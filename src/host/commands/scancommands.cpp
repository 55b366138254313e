#include "host/commands/scancommands.h"

#include "host/hostsupport.h"
#include "host/identity.h"
#include "host/options.h"
#include "host/scans/scanrepair.h"

#include "data/access.h"
#include "platform/database/connection.h"
#include "platform/runtime/errors.h"

namespace host {

namespace {

QString copyLine(const ScanFinding &finding)
{
    const QString copy =
        QStringLiteral("agreement %1 (department %2), copy %3: ")
            .arg(finding.agreementId)
            .arg(finding.department.isEmpty() ? QStringLiteral("none") : finding.department,
                 finding.serialNo.isEmpty() ? QStringLiteral("(no number)") : finding.serialNo);
    if (!finding.leftAlone.isEmpty())
        return copy + QStringLiteral("%1 bytes, left alone: ").arg(finding.bytesBefore) + finding.leftAlone;
    return copy + QStringLiteral("%1 bytes -> %2 bytes").arg(finding.bytesBefore).arg(finding.bytesAfter);
}

} // namespace

int scans(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "scans repair: finds the scanned copies that older versions made grow each time the scanned-copies "
        "form was opened and closed with OK (each copy stored with the copies before it), prints one line "
        "per "
        "copy with its size before and after, and with --apply stores each copy's own bytes again, one "
        "transaction per agreement. A copy whose own bytes cannot be told exactly is left alone, with a line "
        "saying why. It acts for the departments mapped to the database login (or the one given)."));
    parser.addPositionalArgument(QStringLiteral("scans"), QStringLiteral("The command."));
    parser.addPositionalArgument(QStringLiteral("repair"), QStringLiteral("What to do."));
    parser.addOption(databaseOption());
    parser.addOption(
        {QStringLiteral("user"),
         QStringLiteral("The user acting, one of those mapped to the database login (default: the "
                        "lowest of them)."),
         QStringLiteral("N")});
    parser.addOption({QStringLiteral("department"),
                      QStringLiteral("Only this department, one of those mapped to the database login "
                                     "(default: all of them)."),
                      QStringLiteral("N")});
    parser.addOption(
        {QStringLiteral("apply"), QStringLiteral("Rewrite the copies (without it: only print).")});
    parseArguments(parser, arguments);
    if (parser.positionalArguments().value(1) != QLatin1String("repair"))
        throw Failure(QStringLiteral("scans: say what to do: scans repair [--database URL] [--apply]"),
                      ExitUsage);
    noMorePositionals(parser, 2);
    const std::optional<qint32> askedUser = optionalOption(int32Option, parser, QStringLiteral("user"));
    const std::optional<qint16> askedDepartment =
        optionalOption(int16Option, parser, QStringLiteral("department"));
    const bool apply = parser.isSet(QStringLiteral("apply"));

    platform::Connection con;
    openDatabase(con, databaseUrl(parser), false);
    // A repair reads and writes whole images; the statement log would keep every one of them.
    con.setStatementLogEnabled(false);
    const Identity who = identify(con, askedUser, askedDepartment);
    ScanRepair repair;
    try {
        const QList<int> departments =
            askedDepartment ? QList<int>{who.departmentId} : agr::schema::departmentsOfLogin(con, who.login);
        repair = repairScans(con, departments, apply);
    } catch (const platform::RuntimeError &e) {
        throw Failure(
            QStringLiteral("scans repair: error %1: %2").arg(e.number()).arg(oneLine(e.description())));
    }

    qint64 before = 0;
    qint64 after = 0;
    for (const ScanFinding &finding : std::as_const(repair.findings)) {
        printOut(copyLine(finding));
        if (finding.leftAlone.isEmpty()) {
            before += finding.bytesBefore;
            after += finding.bytesAfter;
        }
    }
    printOut(
        QStringLiteral("%1 %2 of %3 %4 %5: %6 bytes -> %7 bytes; %8 left alone")
            .arg(repair.changed())
            .arg(repair.changed() == 1 ? QStringLiteral("copy") : QStringLiteral("copies"))
            .arg(repair.agreementsChanged)
            .arg(repair.agreementsChanged == 1 ? QStringLiteral("agreement") : QStringLiteral("agreements"))
            .arg(apply ? QStringLiteral("repaired") : QStringLiteral("to repair (run with --apply)"))
            .arg(before)
            .arg(after)
            .arg(repair.leftAlone()));
    return 0;
}

} // namespace host
