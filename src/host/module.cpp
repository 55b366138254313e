// The program's own mode: open the database, create the module by its ProgID, hand it the connection and
// the context by property name, and call Show, which returns when the agreement list closes.

#include "host/commands/commands.h"
#include "host/commands/commandtable.h"

#include "host/hostsupport.h"
#include "host/identity.h"
#include "host/options.h"
#include "host/search/scanreader.h"
#include "host/windows/duewindow.h"
#include "host/windows/searchwindow.h"

#include "data/access.h"
#include "data/contracts.h"
#include "data/schema.h"
#include "data/searchindex.h"
#include "platform/database/connection.h"
#include "platform/runtime/errors.h"
#include "platform/ui/seams.h"

#include <QFileInfo>
#include <QWidget>
#include <memory>

namespace host {

namespace {

const QStringList suiteProgIds = {
    QLatin1String(agr::progid::DbService),         QLatin1String(agr::progid::GeneralService),
    QLatin1String(agr::progid::AuditService),      QLatin1String(agr::progid::ThemeService),
    QLatin1String(agr::progid::GridLayoutService), QLatin1String(agr::progid::FaultService),
    QLatin1String(agr::progid::ReportEngine),
};

void setProperty(QObject *object, const char *name, const QVariant &value)
{
    if (!object->setProperty(name, value))
        throw Failure(QStringLiteral("the module does not take the property %1").arg(QLatin1String(name)));
}

// Instead of waiting for the user: the first window shown modally (the list) is rendered into file once
// it is filled, then closed; any later one is closed at once. Message boxes are printed and answered No
// or OK.
void installScreenshotSeams(const QString &file, bool &saved)
{
    platform::setMsgBoxResponder([](const platform::MsgBoxCall &call) {
        printErr(QStringLiteral("message box: ") + oneLine(call.prompt));
        return (call.buttons & 7) == platform::vb::YesNo ? platform::vb::No : platform::vb::OK;
    });
    platform::setModalHandler([file, &saved](QWidget *form) {
        if (saved) {
            form->close();
            return;
        }
        saveScreenshot(form, file);
        saved = true;
    });
}

// A save that fails after it has begun its transaction leaves it open on the host's connection: the module
// never rolls back. What the save wrote is undone here, before any later statement on the connection could
// commit half an agreement, and the fault is recorded through the fault service and on stderr.
void rollBackLeftTransaction(platform::Connection &con, qint16 user)
{
    if (!con.isOpen() || con.transactionLevel() == 0)
        return;
    QString description = QStringLiteral("the module left a transaction open on the host's connection");
    const bool rolledBack = platform::Trap([&] { con.RollbackTrans(); },
                                           [&](const platform::RuntimeError &e) {
                                               description += QStringLiteral("; the rollback failed: ") +
                                                              oneLine(e.description());
                                           });
    if (rolledBack)
        description += QStringLiteral("; rolled back");
    printErr(description);

    platform::Trap(
        [&] {
            std::unique_ptr<QObject> object(
                platform::ComponentRegistry::instance().create(QLatin1String(agr::progid::FaultService)));
            auto *fault = qobject_cast<agr::IFaultService *>(object.get());
            if (!fault)
                platform::Raise(platform::err::CantCreateObject, QStringLiteral("agreement-register"),
                                QLatin1String(agr::progid::FaultService) +
                                    QStringLiteral(" does not record faults"));
            object->setProperty("adocon", QVariant::fromValue(&con));
            QString userName;
            platform::Trap(
                [&] {
                    platform::Recordset rs = con.Execute(
                        QStringLiteral("select UserName from aUsers where userid=") + QString::number(user));
                    if (!rs.isEOF())
                        userName = rs.Fields(0).joinEmpty();
                },
                {});
            QString form = QLatin1String(agr::progid::Module);
            QString procedure = QStringLiteral("Show");
            qint32 number = platform::err::DatabaseError;
            QString source = QStringLiteral("agreement-register");
            QString mode;
            if (!fault->ErrorTrack(form, userName, procedure, number, source, description, mode, true))
                printErr(QStringLiteral("the open transaction was not recorded in the fault log"));
        },
        [&](const platform::RuntimeError &e) {
            printErr(QStringLiteral("the open transaction was not recorded in the fault log: ") +
                     oneLine(e.description()));
        });
}

} // namespace

int runModule(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Opens the agreement register for a user, company and department.\n\nCommands "
                       "(agreement-register COMMAND --help tells more):\n") %
        commandSynopses());
    using agr::schema::demo::CompanyId, agr::schema::demo::InterfaceId;
    parser.addOption(databaseOption());
    parser.addOption(QCommandLineOption(
        QStringLiteral("user"),
        QStringLiteral("User id, one of those mapped to the database login. Default: the lowest of them."),
        QStringLiteral("id")));
    parser.addOption(QCommandLineOption(QStringLiteral("company"),
                                        QStringLiteral("Company id. Default: %1.").arg(CompanyId),
                                        QStringLiteral("id")));
    parser.addOption(QCommandLineOption(QStringLiteral("department"),
                                        QStringLiteral("Department id, one of those mapped to the database "
                                                       "login. Default: the lowest of them."),
                                        QStringLiteral("id")));
    parser.addOption(QCommandLineOption(
        QStringLiteral("interface"),
        QStringLiteral("Interface id of the module. Default: %1.").arg(InterfaceId), QStringLiteral("id")));
    parser.addOption(dateOptionFor(QStringLiteral("Processing date")));
    parser.addOption(
        QCommandLineOption(QStringLiteral("caption"),
                           QStringLiteral("Caption of the message boxes. Default: Agreement Register."),
                           QStringLiteral("text"), QStringLiteral("Agreement Register")));
    parser.addOption(QCommandLineOption(
        QStringLiteral("screenshot"),
        QStringLiteral("Render the agreement list into this PNG file (and what is due for renewal into "
                       "FILE-due-for-renewal.png) and exit."),
        QStringLiteral("file")));
    parseArguments(parser, arguments);
    if (!parser.positionalArguments().isEmpty())
        throw Failure(QStringLiteral("unknown command '%1' (commands: %2)")
                          .arg(parser.positionalArguments().first(), commandWords()),
                      ExitUsage);

    const std::optional<qint32> user = optionalOption(int16Option, parser, QStringLiteral("user"));
    const qint16 company = int16Option(parser, QStringLiteral("company"), CompanyId);
    const std::optional<qint16> department =
        optionalOption(int16Option, parser, QStringLiteral("department"));
    const qint32 interfaceId = int32Option(parser, QStringLiteral("interface"), InterfaceId);
    const QDate date = dateOption(parser, QStringLiteral("date"), QDate::currentDate());

    platform::Connection con;
    QString url = parser.value(QStringLiteral("database"));
    if (url.isEmpty()) {
        // The embedded database is made, with the demo company, the first time the program runs.
        // The embedded database is the program's own: one made by an older version is upgraded in place.
        url = defaultDatabasePath();
        const bool firstRun = !QFileInfo::exists(url);
        openDatabase(con, url, true);
        failingAs(QStringLiteral("cannot %1 the database ")
                          .arg(firstRun ? QStringLiteral("create") : QStringLiteral("upgrade")) +
                      url,
                  ErrorText::Description, [&] {
                      if (firstRun || agr::schema::StoredSchemaVersion(con) < agr::schema::SchemaVersion()) {
                          const agr::schema::CreateReport created = agr::schema::CreateSchema(con);
                          if (!firstRun)
                              printOut(
                                  QStringLiteral("Upgraded the database %1 from schema version %2 to %3.")
                                      .arg(url)
                                      .arg(created.fromVersion)
                                      .arg(created.toVersion));
                      }
                      if (firstRun)
                          agr::schema::LoadDemoData(con, date);
                  });
        if (firstRun)
            printOut(QStringLiteral("Created the database %1 with the demo data.").arg(url));
    } else {
        openDatabase(con, url, false);
    }

    QStringList missing;
    failingAs(QStringLiteral("cannot read the tables of ") + platform::printableUrl(url),
              ErrorText::Description, [&] { agr::schema::SchemaPresent(con, &missing); });
    if (!missing.isEmpty()) {
        throw Failure(QStringLiteral("the database %1 lacks %2 tables (%3); create them with init-db")
                          .arg(platform::printableUrl(url))
                          .arg(missing.size())
                          .arg(missing.join(QStringLiteral(", "))));
    }

    const Identity who = identify(con, user, department);

    ensureRegistered({QLatin1String(agr::progid::Module)}, componentLibrary(QStringLiteral("zrtp1003")));
    ensureRegistered(suiteProgIds, componentLibrary(QStringLiteral("suite")));

    auto &registry = platform::ComponentRegistry::instance();
    std::unique_ptr<QObject> module;
    try {
        module.reset(registry.create(QLatin1String(agr::progid::Module)));
    } catch (const platform::RuntimeError &e) {
        throw Failure(
            QStringLiteral("cannot create %1: %2 (%3)")
                .arg(QLatin1String(agr::progid::Module), e.description(), oneLine(registry.lastFailure())));
    }

    // The report engine logs on by itself; where no data source of its own names a database, it uses this.
    platform::setHostDatabaseUrl(con.url());
    // By name, as a host of the suite binds to the class late.
    setProperty(module.get(), "adocon", QVariant::fromValue(&con));
    setProperty(module.get(), "dtProcessDate", QDateTime(date, QTime(0, 0)));
    setProperty(module.get(), "intUserID", QVariant::fromValue(qint16(who.userId)));
    setProperty(module.get(), "intcompanyid", QVariant::fromValue(company));
    setProperty(module.get(), "intDepartmentID", QVariant::fromValue(who.departmentId));
    setProperty(module.get(), "interfaceid", QVariant::fromValue(interfaceId));
    setProperty(module.get(), "strMsgBoxCaption", parser.value(QStringLiteral("caption")));

    const QString screenshot = parser.value(QStringLiteral("screenshot"));
    bool saved = false;
    if (!screenshot.isEmpty())
        installScreenshotSeams(screenshot, saved);

    // What is due for renewal comes first; a screenshot run renders it beside the list's picture.
    showDueForRenewal(con, who.departmentId, date,
                      screenshot.isEmpty() ? QString() : dueForRenewalScreenshot(screenshot));

    // Around the module: the text of scanned pages is read on a thread of its own (at once when the scans
    // form closes), and Ctrl+Shift+F in the list opens the search window.
    std::unique_ptr<ScanReadingThread> scanReader;
    if (screenshot.isEmpty() && agr::schema::SearchIndexSupported(con)) {
        QList<int> departments;
        if (con.backend() == platform::Backend::PostgreSQL)
            platform::Trap([&] { departments = agr::schema::departmentsOfLogin(con, who.login); }, {});
        scanReader = std::make_unique<ScanReadingThread>(con.url(), departments);
        scanReader->start(QThread::LowPriority);
    }
    const ListSearchShortcut findShortcut(con, who.departmentId, [reader = scanReader.get()] {
        if (reader)
            reader->wake();
    });

    try {
        const bool shown = QMetaObject::invokeMethod(module.get(), "Show", Qt::DirectConnection);
        rollBackLeftTransaction(con, qint16(who.userId));
        if (!shown)
            throw Failure(QStringLiteral("the module has no method Show"));
    } catch (const platform::RuntimeError &e) {
        rollBackLeftTransaction(con, qint16(who.userId));
        throw Failure(QStringLiteral("Show failed: run-time error %1 (%2): %3")
                          .arg(e.number())
                          .arg(e.source(), oneLine(e.description())));
    } catch (...) {
        rollBackLeftTransaction(con, qint16(who.userId));
        throw;
    }

    if (!screenshot.isEmpty()) {
        platform::setModalHandler({});
        platform::setMsgBoxResponder({});
        if (!saved)
            throw Failure(QStringLiteral("the agreement list was not shown; no screenshot written"));
        printOut(QStringLiteral("Screenshot of the agreement list written to ") +
                 QFileInfo(screenshot).absoluteFilePath());
    }
    return 0;
}

} // namespace host
