#include "host/commands/commands.h"

#include "host/hostsupport.h"
#include "host/identity.h"
#include "host/options.h"

#include "data/access.h"
#include "data/contracts.h"
#include "data/schema.h"
#include "platform/database/connection.h"
#include "platform/runtime/errors.h"

#include <QFileInfo>
#include <memory>

namespace host {

namespace {

// A value as one cell of tab-separated output.
QString cellText(const platform::Field &field)
{
    if (field.isNull())
        return QStringLiteral("NULL");
    if (field.Value().typeId() == QMetaType::QByteArray)
        return QStringLiteral("<%1 bytes>").arg(field.Value().toByteArray().size());
    QString text = field.text();
    text.replace(QLatin1Char('\\'), QStringLiteral("\\\\"));
    text.replace(QLatin1Char('\t'), QStringLiteral("\\t"));
    text.replace(QLatin1Char('\n'), QStringLiteral("\\n"));
    text.replace(QLatin1Char('\r'), QStringLiteral("\\r"));
    return text;
}

} // namespace

int initDb(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Creates the tables that are missing; with --demo also "
                                                    "loads the demo company. Safe to run again."));
    parser.addPositionalArgument(QStringLiteral("init-db"), QStringLiteral("The command."));
    parser.addOption(databaseOption());
    parser.addOption(QCommandLineOption(QStringLiteral("demo"), QStringLiteral("Load the demo data.")));
    parser.addOption(dateOptionFor(QStringLiteral("The day the demo agreements are dated back from")));
    parser.addOption({QStringLiteral("clerk"),
                      QStringLiteral("PostgreSQL: create this login (without a password) with a clerk's "
                                     "privileges only. With --demo: %1.")
                          .arg(QLatin1String(agr::schema::DemoClerkLogin)),
                      QStringLiteral("login")});
    parser.addOption({QStringLiteral("clerk-user"),
                      QStringLiteral("The user id the clerk's login acts as (default %1).")
                          .arg(agr::schema::demo::ClerkUserId),
                      QStringLiteral("id")});
    parser.addOption(
        {QStringLiteral("clerk-department"),
         QStringLiteral("A department the clerk's login acts for; repeat for several (default %1).")
             .arg(agr::schema::demo::DepartmentId),
         QStringLiteral("id")});
    parseArguments(parser, arguments);
    noMorePositionals(parser, 1);
    const QDate today = dateOption(parser, QStringLiteral("date"), QDate::currentDate());
    const bool demo = parser.isSet(QStringLiteral("demo"));
    QString clerk = parser.value(QStringLiteral("clerk"));
    const qint32 clerkUser =
        int32Option(parser, QStringLiteral("clerk-user"), agr::schema::demo::ClerkUserId);
    QList<int> clerkDepartments;
    for (const QString &text : parser.values(QStringLiteral("clerk-department"))) {
        bool ok = false;
        const int department = text.trimmed().toShort(&ok);
        if (!ok)
            throw Failure(QStringLiteral("--clerk-department: '%1' is not a 16-bit integer").arg(text),
                          ExitUsage);
        clerkDepartments << department;
    }
    if (clerkDepartments.isEmpty())
        clerkDepartments << agr::schema::demo::DepartmentId;

    const QString url = databaseUrl(parser);
    // Refused before the database is opened, so that a wrong call leaves no new file behind.
    const bool server = platform::backendOfUrl(url) == platform::Backend::PostgreSQL;
    if (clerk.isEmpty() && demo && server)
        clerk = QLatin1String(agr::schema::DemoClerkLogin);
    if (!clerk.isEmpty() && !server)
        throw Failure(QStringLiteral("--clerk: logins are created on PostgreSQL only; on SQLite the "
                                     "operating-system account is the login"),
                      ExitUsage);
    platform::Connection con;
    openDatabase(con, url, true);
    failingAs(
        QStringLiteral("init-db failed on ") + platform::printableUrl(url), ErrorText::Description, [&] {
            const agr::schema::CreateReport report = agr::schema::CreateSchema(con);
            if (!report.steps.isEmpty() && !report.existing.isEmpty())
                printOut(QStringLiteral("Upgraded the schema from version %1 to %2: %3.")
                             .arg(report.fromVersion)
                             .arg(report.toVersion)
                             .arg(report.steps.join(QStringLiteral("; "))));
            if (report.created.isEmpty()) {
                printOut(QStringLiteral("Nothing created: all %1 tables already exist in %2.")
                             .arg(report.existing.size())
                             .arg(platform::printableUrl(url)));
            } else {
                printOut(QStringLiteral("Created %1 tables in %2: %3.")
                             .arg(report.created.size())
                             .arg(platform::printableUrl(url), report.created.join(QStringLiteral(", "))));
                if (!report.existing.isEmpty())
                    printOut(
                        QStringLiteral("Already there: %1.").arg(report.existing.join(QStringLiteral(", "))));
            }
            if (demo) {
                if (agr::schema::LoadDemoData(con, today))
                    printOut(QStringLiteral(
                                 "Loaded the demo data: company %1, departments %2 and %3, agreements dated "
                                 "up to %4.")
                                 .arg(agr::schema::demo::CompanyId)
                                 .arg(agr::schema::demo::DepartmentId)
                                 .arg(agr::schema::demo::OtherDepartmentId)
                                 .arg(today.toString(QStringLiteral("dd/MM/yyyy"))));
                else
                    printOut(QStringLiteral("Nothing loaded: the demo company is already there."));
            }
            if (!clerk.isEmpty()) {
                agr::schema::CreateClerk(con, clerk, clerkUser, clerkDepartments);
                QStringList departments;
                for (int department : std::as_const(clerkDepartments))
                    departments << QString::number(department);
                printOut(QStringLiteral("The login %1 works as user %2 for department %3, with a clerk's "
                                        "privileges only.")
                             .arg(clerk)
                             .arg(clerkUser)
                             .arg(departments.join(QStringLiteral(", "))));
            }
        });
    return 0;
}

int sql(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Runs one statement in the suite's dialect and prints its "
                       "rows tab-separated (NULL as NULL), or the rows it changed."));
    parser.addOption(databaseOption());
    parser.addPositionalArgument(QStringLiteral("sql"), QStringLiteral("The command."));
    parser.addPositionalArgument(QStringLiteral("statement"), QStringLiteral("The statement, in quotes."));
    parseArguments(parser, arguments);
    if (parser.positionalArguments().size() < 2)
        throw Failure(QStringLiteral("sql: give the statement to run, in quotes"), ExitUsage);
    noMorePositionals(parser, 2);
    const QString statement = parser.positionalArguments().at(1);

    platform::Connection con;
    openDatabase(con, databaseUrl(parser), false);
    failingAs({}, ErrorText::Numbered, [&] {
        platform::Recordset rs = con.Execute(statement);
        if (!rs.isOpen()) {
            printOut(QStringLiteral("%1 rows affected").arg(rs.RecordsAffected()));
            return;
        }
        QStringList line;
        for (int i = 0; i < rs.fieldCount(); ++i)
            line << rs.fieldName(i);
        printOut(line.join(QLatin1Char('\t')));
        for (; !rs.isEOF(); rs.MoveNext()) {
            line.clear();
            for (int i = 0; i < rs.fieldCount(); ++i)
                line << cellText(rs.Fields(i));
            printOut(line.join(QLatin1Char('\t')));
        }
    });
    return 0;
}

int report(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Writes the agreement register as PDF without a window: one agreement (by its id, as the list's "
        "Preview selects it), or every agreement of the department."));
    parser.addOption(databaseOption());
    parser.addOption({QStringLiteral("user"),
                      QStringLiteral("The user named on the register, one of those mapped to the database "
                                     "login (default: the lowest of them)."),
                      QStringLiteral("N")});
    parser.addOption(
        {QStringLiteral("department"),
         QStringLiteral("The department, one of those mapped to the database login (default: the "
                        "lowest of them)."),
         QStringLiteral("N")});
    parser.addOption(
        {QStringLiteral("agreement"), QStringLiteral("The agreement id."), QStringLiteral("ID")});
    parser.addOption(
        {QStringLiteral("pdf"), QStringLiteral("The PDF file to write."), QStringLiteral("FILE")});
    parser.addPositionalArgument(QStringLiteral("report"), QStringLiteral("The command."));
    parseArguments(parser, arguments);
    noMorePositionals(parser, 1);
    if (!parser.isSet(QStringLiteral("pdf")) || parser.value(QStringLiteral("pdf")).isEmpty())
        throw Failure(QStringLiteral("report: give the file to write with --pdf FILE"), ExitUsage);
    const std::optional<qint32> askedUser = optionalOption(int32Option, parser, QStringLiteral("user"));
    const std::optional<qint16> askedDepartment =
        optionalOption(int16Option, parser, QStringLiteral("department"));
    const qint32 agreement = int32Option(parser, QStringLiteral("agreement"), 0);
    const QString pdf = QFileInfo(parser.value(QStringLiteral("pdf"))).absoluteFilePath();

    platform::Connection con;
    const QString url = databaseUrl(parser);
    openDatabase(con, url, false);
    const Identity who = identify(con, askedUser, askedDepartment);
    const qint32 user = who.userId;
    const qint16 department = who.departmentId;
    platform::setHostDatabaseUrl(con.url());
    ensureRegistered({QLatin1String(agr::progid::ReportEngine)}, componentLibrary(QStringLiteral("suite")));
    failingAs(QStringLiteral("report"), ErrorText::Numbered, [&] {
        std::unique_ptr<QObject> object(
            platform::ComponentRegistry::instance().create(QLatin1String(agr::progid::ReportEngine)));
        auto *engine = platform::required(qobject_cast<agr::IReportEngine *>(object.get()),
                                          QLatin1String(agr::progid::ReportEngine));
        // The module's data source name: a site's configuration may name a database for it; otherwise the
        // database given here is used.
        engine->LogOnServer(QStringLiteral("pdsodbc.dll"), QStringLiteral("admindsnv2"),
                            QStringLiteral("adminv2"), QString(), QString());
        agr::IReport *report =
            engine->OpenReport(QFileInfo(componentLibrary(QStringLiteral("zrtp1003"))).absolutePath() +
                               QStringLiteral("/reports/rptAgreementRegister.rpt"));
        report->setTextSlot(1, QStringLiteral("Agreement Register"));
        report->setTextSlot(2, QStringLiteral(" "));
        platform::Recordset name =
            con.Execute(QStringLiteral("select UserName from aUsers where userid=") + QString::number(user));
        report->setTextSlot(3, name.isEOF() ? QString() : name.Fields(0).joinEmpty());
        report->setRecordSelectionFormula(
            // The login's department bounds an agreement asked for by id too: ids repeat across departments,
            // and an embedded database has no row-level security to keep the others out.
            (agreement != 0 ? QStringLiteral("{AgreementRegister.agragreementid}=") +
                                  QString::number(agreement) + QStringLiteral(" and ")
                            : QString()) +
            QStringLiteral("{AgreementRegister.agrDepartmentid}=") + QString::number(department));
        report->ExportPdf(pdf);
    });
    printOut(QStringLiteral("Wrote the register to ") + pdf);
    return 0;
}

int audit(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "audit verify: walks the activity log's chain of hashes and names the first row that breaks it."));
    parser.addOption(databaseOption());
    parser.addPositionalArgument(QStringLiteral("audit"), QStringLiteral("The command."));
    parser.addPositionalArgument(QStringLiteral("verify"), QStringLiteral("What to do."));
    parseArguments(parser, arguments);
    if (parser.positionalArguments().value(1) != QLatin1String("verify"))
        throw Failure(QStringLiteral("audit: say what to do: audit verify [--database URL]"), ExitUsage);
    noMorePositionals(parser, 2);

    platform::Connection con;
    const QString url = databaseUrl(parser);
    openDatabase(con, url, false);
    ensureRegistered({QLatin1String(agr::progid::AuditService)}, componentLibrary(QStringLiteral("suite")));
    agr::ChainCheck check;
    failingAs(QStringLiteral("audit verify"), ErrorText::Numbered, [&] {
        std::unique_ptr<QObject> object(
            platform::ComponentRegistry::instance().create(QLatin1String(agr::progid::AuditService)));
        auto *chain = platform::required(qobject_cast<agr::IActivityLogChain *>(object.get()),
                                         QLatin1String(agr::progid::AuditService));
        check = chain->VerifyChain(&con);
    });
    if (check.brokenLogId != 0)
        throw Failure(QStringLiteral("the activity log's chain breaks at row LogID %1: %2")
                          .arg(check.brokenLogId)
                          .arg(check.reason));
    printOut(QStringLiteral("The activity log's chain is whole: %1 rows; the last hash is %2")
                 .arg(check.rows)
                 .arg(check.headHash.isEmpty() ? QStringLiteral("(none)") : check.headHash));
    return 0;
}

int registration(const QStringList &arguments, bool doRegister)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(doRegister ? QStringLiteral("Registers component libraries (their "
                                                                 "DllRegisterServer).")
                                                : QStringLiteral("Unregisters component libraries (their "
                                                                 "DllUnregisterServer)."));
    parser.addPositionalArgument(doRegister ? QStringLiteral("register") : QStringLiteral("unregister"),
                                 QStringLiteral("The command."));
    parser.addPositionalArgument(QStringLiteral("library"),
                                 QStringLiteral("Library files. Default: the module and the suite beside the "
                                                "program."),
                                 QStringLiteral("[library...]"));
    parseArguments(parser, arguments);
    QStringList libraries = parser.positionalArguments().mid(1);
    if (libraries.isEmpty())
        libraries = {componentLibrary(QStringLiteral("zrtp1003")), componentLibrary(QStringLiteral("suite"))};

    const QString entry =
        doRegister ? QStringLiteral("DllRegisterServer") : QStringLiteral("DllUnregisterServer");
    int status = 0;
    for (const QString &library : std::as_const(libraries)) {
        QString why;
        const platform::HRESULT hr =
            platform::ComponentRegistry::instance().callRegistration(library, doRegister, &why);
        printOut(library % QStringLiteral(": ") % entry % QStringLiteral(" returned ") % hresultText(hr));
        if (hr != platform::S_OK) {
            if (!why.isEmpty())
                printErr(oneLine(why));
            status = ExitFailure;
        }
    }
    printOut(QStringLiteral("Registry file: ") + platform::ComponentRegistry::instance().registryFile());
    return status;
}

} // namespace host
