// The host program run as a user runs it: init-db, sql, register, the module's window rendered headless, and
// a one-line error with a non-zero status for whatever is wrong.

#include "host/commands/commandtable.h"
#include "platform/database/connection.h"
#include "support/testdb.h"
#include "support/testsupport.h"

#include "platform/runtime/registry.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QTextStream>
#include <QUrl>

namespace {

struct Run
{
    int status = -1;
    QStringList out; // lines
    QStringList err;
};

QStringList lines(const QByteArray &bytes)
{
    QStringList result = QString::fromUtf8(bytes).split(QLatin1Char('\n'));
    if (!result.isEmpty() && result.last().isEmpty())
        result.removeLast();
    return result;
}

// The statement that finds the highest number of a department's agreements, as the entry form builds it.
const QString NumberStatement = QStringLiteral(
    "Select isnull(max(convert(int,right(agragreementNo,len(agragreementNo)-3))),0) from agreementregister "
    "where "
    "agrDepartmentid = 1 and len(agragreementNo)>len('AG/') and  isnumeric(isnull(right(agragreementNo,"
    "len(agragreementNo)-3),0)) =1 and substring(agragreementNo,1,len('AG/'))='AG/'");

} // namespace

class tst_host : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void initDbAndSql_data() { agrtest::addBackends(); }
    void initDbAndSql();
    void showRendersTheList_data() { agrtest::addBackends(); }
    void showRendersTheList();
    void identityFromLogin_data() { agrtest::addBackends(); }
    void identityFromLogin();
    void missingTables_data() { agrtest::addBackends(); }
    void missingTables();
    void oneLineErrors();
    void reportPdf_data() { agrtest::addBackends(); }
    void reportPdf();
    void reportThroughOdbc_data() { agrtest::addBackends(); }
    void reportThroughOdbc();
    void registration();
    void alertsCommand_data() { agrtest::addBackends(); }
    void alertsCommand();
    void exportCommand_data() { agrtest::addBackends(); }
    void exportCommand();

private:
    Run run(const QStringList &arguments);
    QTemporaryDir m_dir;
    QString m_host;
};

void tst_host::initTestCase()
{
    m_host = QCoreApplication::applicationDirPath() + QStringLiteral("/agreement-register");
    QVERIFY2(QFile::exists(m_host), qPrintable(m_host + QStringLiteral(" is not built")));
    QVERIFY(m_dir.isValid());
    // The program's registry file and data folder are this test's own.
    qputenv("AGR_COMPONENT_REGISTRY", m_dir.filePath(QStringLiteral("components.json")).toLocal8Bit());
    qputenv("XDG_DATA_HOME", m_dir.filePath(QStringLiteral("data")).toLocal8Bit());
    qputenv("XDG_CONFIG_HOME", m_dir.filePath(QStringLiteral("config")).toLocal8Bit());
    qputenv("QT_QPA_PLATFORM", "offscreen");
    // Without it Qt warns on stderr, which would hide whether the program's own error is one line.
    const QString runtime = m_dir.filePath(QStringLiteral("runtime"));
    QVERIFY(QDir().mkpath(runtime));
    QFile::setPermissions(runtime, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    qputenv("XDG_RUNTIME_DIR", runtime.toLocal8Bit());
}

Run tst_host::run(const QStringList &arguments)
{
    QProcess process;
    process.start(m_host, arguments);
    Run result;
    if (!process.waitForFinished(120000)) {
        process.kill();
        process.waitForFinished();
        result.err << QStringLiteral("timed out");
        return result;
    }
    result.status = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    result.out = lines(process.readAllStandardOutput());
    result.err = lines(process.readAllStandardError());
    return result;
}

void tst_host::initDbAndSql()
{
    AGR_FETCH_URL();
    const QString db = agrtest::freshUrl(url);
    if (db.isEmpty())
        return;

    Run first = run({QStringLiteral("init-db"), QStringLiteral("--database"), db, QStringLiteral("--demo")});
    QCOMPARE(first.status, 0);
    QVERIFY2(first.out.join(QLatin1Char('\n')).contains(QStringLiteral("Created")),
             qPrintable(first.out.join('\n')));
    QVERIFY(first.out.join(QLatin1Char('\n')).contains(QStringLiteral("Loaded the demo data")));

    Run second = run({QStringLiteral("init-db"), QStringLiteral("--database"), db, QStringLiteral("--demo")});
    QCOMPARE(second.status, 0);
    QVERIFY2(second.out.first().startsWith(QStringLiteral("Nothing created")),
             qPrintable(second.out.join('\n')));
    QVERIFY(second.out.contains(QStringLiteral("Nothing loaded: the demo company is already there.")));

    Run number = run({QStringLiteral("sql"), QStringLiteral("--database"), db, NumberStatement});
    QCOMPARE(number.status, 0);
    QCOMPARE(number.out.size(), 2); // header, one row
    QCOMPARE(number.out.last(), QStringLiteral("12"));

    Run nulls = run({QStringLiteral("sql"), QStringLiteral("--database"), db,
                     QStringLiteral("select agragreementNo, agrfinanceEmailid from agreementregister where "
                                    "agrDepartmentid=2 order by agragreementid")});
    QCOMPARE(nulls.status, 0);
    QCOMPARE(nulls.out.first().toLower(), QStringLiteral("agragreementno\tagrfinanceemailid"));
    QCOMPARE(nulls.out.mid(1), (QStringList{QStringLiteral("AG/1\tNULL"), QStringLiteral("AG/2\tNULL")}));

    Run update = run({QStringLiteral("sql"), QStringLiteral("--database"), db,
                      QStringLiteral("update agreementregister set agrcancelled=1 where agrDepartmentid=2")});
    QCOMPARE(update.status, 0);
    QCOMPARE(update.out, QStringList{QStringLiteral("2 rows affected")});

    Run rejected = run({QStringLiteral("sql"), QStringLiteral("--database"), db,
                        QStringLiteral("select * from agreementregister where")});
    QCOMPARE(rejected.status, 1);
    QCOMPARE(rejected.err.size(), 1);
    QVERIFY(rejected.out.isEmpty());
}

void tst_host::showRendersTheList()
{
    AGR_FETCH_URL();
    const QString db = agrtest::hostDemoDatabase(url);
    if (db.isEmpty())
        return;

    // The module registered from elsewhere: the program uses the one beside it.
    const QString elsewhere = m_dir.filePath(QStringLiteral("libzrtp1003.so"));
    QFile stale(elsewhere);
    QVERIFY(stale.open(QIODevice::WriteOnly));
    stale.close();
    QVERIFY(platform::ComponentRegistry::instance().registerClass(QStringLiteral("zrtp1003.clsagreementeg"),
                                                                  QStringLiteral("{stale}"), elsewhere));

    const QString png =
        m_dir.filePath(QStringLiteral("list-%1.png").arg(QLatin1String(QTest::currentDataTag())));
    Run shown = run({QStringLiteral("--database"), db, QStringLiteral("--screenshot"), png});
    QVERIFY2(shown.status == 0, qPrintable(shown.err.join(QLatin1Char('\n'))));
    QVERIFY(shown.out.last().contains(png));
    QImage image(png);
    QVERIFY(!image.isNull());
    QVERIFY(image.width() > 200 && image.height() > 100);
    // The demo has agreements due: their window is rendered first, beside the list, and never waited for.
    const QString due = m_dir.filePath(
        QStringLiteral("list-%1-due-for-renewal.png").arg(QLatin1String(QTest::currentDataTag())));
    QVERIFY(shown.out.join(QLatin1Char('\n')).contains(due));
    QVERIFY(QImage(due).width() > 200);
}

// The user and department come from the login's mapping: the installing login (the operating-system
// account on SQLite) is the demo's clerk in both departments, agr_clerk on PostgreSQL the clerk of
// department 1; anything else is one line and a non-zero status.
void tst_host::identityFromLogin()
{
    AGR_FETCH_URL();
    const QString db = agrtest::freshUrl(url);
    if (db.isEmpty())
        return;
    Run init = run({QStringLiteral("init-db"), QStringLiteral("--database"), db, QStringLiteral("--demo")});
    QVERIFY2(init.status == 0, qPrintable(init.err.join(QLatin1Char('\n'))));
    const bool sqlite = platform::backendOfUrl(db) == platform::Backend::SQLite;
    if (sqlite) {
        const QFile::Permissions mode = QFile::permissions(platform::sqliteFileOf(db));
        QCOMPARE(mode & (QFile::ReadGroup | QFile::WriteGroup | QFile::ReadOther | QFile::WriteOther),
                 QFile::Permissions());
        Run clerk = run({QStringLiteral("init-db"), QStringLiteral("--database"), db,
                         QStringLiteral("--clerk"), QStringLiteral("someone")});
        QCOMPARE(clerk.status, 2);
        QCOMPARE(clerk.err.size(), 1);
    } else {
        QVERIFY(init.out.last().startsWith(
            QStringLiteral("The login agr_clerk works as user 1 for department 1")));
    }

    const QString png = m_dir.filePath(QStringLiteral("who.png"));
    const auto refused = [&](const QStringList &arguments, const QString &why) {
        const Run result = run(arguments);
        const QByteArray what = arguments.join(QLatin1Char(' ')).toUtf8();
        QVERIFY2(result.status == 1, what.constData());
        QVERIFY2(result.err.size() == 1 && result.err.first().contains(why),
                 QByteArray(what + ": " + result.err.join(QLatin1Char('|')).toUtf8()).constData());
        QVERIFY(!QFile::exists(png));
    };
    const QStringList show = {QStringLiteral("--database"), db, QStringLiteral("--screenshot"), png};
    refused(show + QStringList{QStringLiteral("--user"), QStringLiteral("2")}, QStringLiteral("as user 1"));
    refused(show + QStringList{QStringLiteral("--department"), QStringLiteral("3")},
            QStringLiteral("for department 1, 2"));

    if (!sqlite) {
        const QString clerkDb = agrtest::withLogin(db, QStringLiteral("agr_clerk"));
        const QStringList asClerk = {QStringLiteral("--database"), clerkDb, QStringLiteral("--screenshot"),
                                     png};
        refused(asClerk + QStringList{QStringLiteral("--department"), QStringLiteral("2")},
                QStringLiteral("'agr_clerk' may act only for department 1"));
        Run shown = run(asClerk);
        QVERIFY2(shown.status == 0, qPrintable(shown.err.join(QLatin1Char('\n'))));
        QVERIFY(QFile::remove(png));

        // A site's clerk: its own user and departments, and run again, one more department.
        const QString site = QStringLiteral("agrt_site_clerk");
        Run made = run({QStringLiteral("init-db"), QStringLiteral("--database"), db,
                        QStringLiteral("--clerk"), site, QStringLiteral("--clerk-user"), QStringLiteral("2"),
                        QStringLiteral("--clerk-department"), QStringLiteral("2")});
        QVERIFY2(made.status == 0, qPrintable(made.err.join(QLatin1Char('\n'))));
        QCOMPARE(made.out.last(),
                 QStringLiteral("The login agrt_site_clerk works as user 2 for department 2, "
                                "with a clerk's privileges only."));
        QCOMPARE(
            run({QStringLiteral("init-db"), QStringLiteral("--database"), db, QStringLiteral("--clerk"), site,
                 QStringLiteral("--clerk-user"), QStringLiteral("2"), QStringLiteral("--clerk-department"),
                 QStringLiteral("1"), QStringLiteral("--clerk-department"), QStringLiteral("2")})
                .status,
            0);
        const QStringList asSite = {QStringLiteral("--database"), agrtest::withLogin(db, site),
                                    QStringLiteral("--screenshot"), png};
        refused(asSite + QStringList{QStringLiteral("--user"), QStringLiteral("1")},
                QStringLiteral("as user 2"));
        refused(asSite + QStringList{QStringLiteral("--department"), QStringLiteral("3")},
                QStringLiteral("for department 1, 2"));
        QCOMPARE(run(asSite + QStringList{QStringLiteral("--department"), QStringLiteral("2")}).status, 0);
        QVERIFY(QFile::remove(png));
        Run badName = run({QStringLiteral("init-db"), QStringLiteral("--database"), db,
                           QStringLiteral("--clerk"), QStringLiteral("x; drop table aUsers")});
        QCOMPARE(badName.status, 1);
        QCOMPARE(badName.err.size(), 1);
        QVERIFY(badName.err.first().contains(QLatin1String("not a plain login name")));
    }

    Run shown = run(show);
    QVERIFY2(shown.status == 0, qPrintable(shown.err.join(QLatin1Char('\n'))));
    QVERIFY(QFile::remove(png));

    // A login mapped to no user may not start the register at all.
    QCOMPARE(run({QStringLiteral("sql"), QStringLiteral("--database"), db,
                  QStringLiteral("delete from aLoginUsers")})
                 .status,
             0);
    refused(show, QStringLiteral("may not use the register"));
}

void tst_host::missingTables()
{
    AGR_FETCH_URL();
    const QString db = agrtest::freshUrl(url);
    if (db.isEmpty())
        return;
    // A database with one table only.
    if (platform::backendOfUrl(db) == platform::Backend::SQLite) {
        QFile file(db.mid(int(qstrlen("sqlite:"))));
        QVERIFY(file.open(QIODevice::WriteOnly)); // an empty file is an empty database
    }
    QCOMPARE(run({QStringLiteral("sql"), QStringLiteral("--database"), db,
                  QStringLiteral("create table aUsers (userid integer)")})
                 .status,
             0);
    Run shown = run({QStringLiteral("--database"), db, QStringLiteral("--screenshot"),
                     m_dir.filePath(QStringLiteral("never.png"))});
    QVERIFY(shown.status != 0);
    QCOMPARE(shown.err.size(), 1);
    QVERIFY2(shown.err.first().contains(QStringLiteral("agreementregister")), qPrintable(shown.err.first()));
    QVERIFY(!shown.err.first().contains(QStringLiteral(", aUsers,")));
    QVERIFY(!QFile::exists(m_dir.filePath(QStringLiteral("never.png"))));
}

void tst_host::oneLineErrors()
{
    const QString nowhere = QStringLiteral("postgresql://nobody@127.0.0.1:1/none");
    const QString noFile = m_dir.filePath(QStringLiteral("absent.db"));
    const QList<QStringList> failing = {
        {QStringLiteral("sql"), QStringLiteral("--database"), nowhere, QStringLiteral("select 1")},
        {QStringLiteral("init-db"), QStringLiteral("--database"), nowhere},
        {QStringLiteral("--database"), nowhere, QStringLiteral("--screenshot"), m_dir.filePath("x.png")},
        {QStringLiteral("sql"), QStringLiteral("--database"), noFile, QStringLiteral("select 1")},
        {QStringLiteral("--database"), noFile, QStringLiteral("--screenshot"), m_dir.filePath("x.png")},
        {QStringLiteral("--user"), QStringLiteral("40000"), QStringLiteral("--screenshot"),
         m_dir.filePath("x.png")},
        {QStringLiteral("--date"), QStringLiteral("2026-13-01"), QStringLiteral("--screenshot"),
         m_dir.filePath("x.png")},
        {QStringLiteral("--no-such-option")},
        {QStringLiteral("frobnicate")},
        {QStringLiteral("sql"), QStringLiteral("--database"), noFile},
    };
    for (const QStringList &arguments : failing) {
        const Run result = run(arguments);
        const QByteArray what = arguments.join(QLatin1Char(' ')).toUtf8();
        QVERIFY2(result.status > 0, what.constData());
        QVERIFY2(result.err.size() == 1,
                 QByteArray(what + ": " + result.err.join(QLatin1Char('|')).toUtf8()).constData());
        QVERIFY2(result.err.first().startsWith(QStringLiteral("agreement-register: ")), what.constData());
    }
    QVERIFY(!QFile::exists(noFile)); // a mistyped path is not made into an empty database

    // An unknown command is told with every command there is, named by the table main dispatches through.
    const QString unknown = run({QStringLiteral("frobnicate")}).err.value(0);
    for (const host::CommandEntry &entry : host::commands())
        QVERIFY2(unknown.contains(QLatin1String(entry.word)), qPrintable(unknown));
}

void tst_host::registration()
{
    const QString registry = m_dir.filePath(QStringLiteral("register.json"));
    qputenv("AGR_COMPONENT_REGISTRY", registry.toLocal8Bit());
    Run registered = run({QStringLiteral("register")});
    QCOMPARE(registered.status, 0);
    QCOMPARE(registered.out.size(), 3); // two libraries and the registry file
    QVERIFY(registered.out.at(0).contains(QStringLiteral("libzrtp1003")));
    QVERIFY(registered.out.at(0).endsWith(QStringLiteral("returned 0x00000000 (S_OK)")));
    QVERIFY(registered.out.at(1).contains(QStringLiteral("libsuite")));
    QFile file(registry);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray json = file.readAll();
    QVERIFY(json.contains("zrtp1003.clsagreementeg"));
    QVERIFY(json.contains("SharedCore.DbService"));
    file.close();

    QCOMPARE(run({QStringLiteral("unregister")}).status, 0);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QVERIFY(!file.readAll().contains("zrtp1003.clsagreementeg"));

    Run missing = run({QStringLiteral("register"), m_dir.filePath(QStringLiteral("libnothing.so"))});
    QCOMPARE(missing.status, 1);
    QVERIFY(missing.out.first().contains(QStringLiteral("0x80004005 (E_FAIL)")));
    qputenv("AGR_COMPONENT_REGISTRY", m_dir.filePath(QStringLiteral("components.json")).toLocal8Bit());
}

// The register written as PDF without a window: one agreement, or the department's; bad arguments and a
// missing database each end with one line.
void tst_host::reportPdf()
{
    AGR_FETCH_URL();
    const QString db = agrtest::hostDemoDatabase(url);
    if (db.isEmpty())
        return;
    QTemporaryDir folder;
    const QString pdf = folder.filePath(QStringLiteral("register.pdf"));
    const auto text = [&pdf] { return agrtest::pdfText(pdf); };

    Run one = run({QStringLiteral("report"), QStringLiteral("--database"), db, QStringLiteral("--user"),
                   QStringLiteral("1"), QStringLiteral("--agreement"), QStringLiteral("3"),
                   QStringLiteral("--pdf"), pdf});
    QCOMPARE(one.status, 0);
    QCOMPARE(one.out, QStringList({QStringLiteral("Wrote the register to ") + pdf}));
    const QString page = text();
    QVERIFY2(page.contains(QLatin1String("AG/3")), qPrintable(page.left(400)));
    QVERIFY(page.contains(QLatin1String("by clerk")));
    QVERIFY(!page.contains(QLatin1String("AG/4")));
    // Agreement 1 of the login's first department, never department 2's agreement of the same id.
    QCOMPARE(run({QStringLiteral("report"), QStringLiteral("--database"), db, QStringLiteral("--agreement"),
                  QStringLiteral("1"), QStringLiteral("--pdf"), pdf})
                 .status,
             0);
    QVERIFY(text().contains(QLatin1String("Market Road Shop")));
    QVERIFY(!text().contains(QLatin1String("Sparkle Cleaners")));
    // The installing login is the demo's clerk, not its administrator.
    Run admin = run({QStringLiteral("report"), QStringLiteral("--database"), db, QStringLiteral("--user"),
                     QStringLiteral("2"), QStringLiteral("--pdf"), pdf});
    QCOMPARE(admin.status, 1);
    QCOMPARE(admin.err.size(), 1);
    QVERIFY2(admin.err.first().contains(QLatin1String("may act only as user 1")),
             qPrintable(admin.err.first()));

    Run department = run({QStringLiteral("report"), QStringLiteral("--database"), db,
                          QStringLiteral("--department"), QStringLiteral("2"), QStringLiteral("--pdf"), pdf});
    QCOMPARE(department.status, 0);
    const QString second = text();
    QVERIFY(second.contains(QLatin1String("Sparkle Cleaners")));
    QVERIFY(!second.contains(QLatin1String("Market Road Shop")));

    Run noFile = run({QStringLiteral("report"), QStringLiteral("--database"), db});
    QCOMPARE(noFile.status, 2);
    QCOMPARE(noFile.err.size(), 1);
    QVERIFY(noFile.err.first().contains(QLatin1String("--pdf")));
    Run badNumber = run({QStringLiteral("report"), QStringLiteral("--database"), db,
                         QStringLiteral("--agreement"), QStringLiteral("x"), QStringLiteral("--pdf"), pdf});
    QCOMPARE(badNumber.status, 2);
    QCOMPARE(badNumber.err.size(), 1);
    Run noDatabase = run({QStringLiteral("report"), QStringLiteral("--database"),
                          folder.filePath(QStringLiteral("missing.db")), QStringLiteral("--pdf"), pdf});
    QCOMPARE(noDatabase.status, 1);
    QCOMPARE(noDatabase.err.size(), 1);
    QVERIFY(noDatabase.err.first().contains(QLatin1String("not found")));
    // A file that cannot be written is said at once, in one line.
    Run unwritable = run({QStringLiteral("report"), QStringLiteral("--database"), db, QStringLiteral("--pdf"),
                          folder.filePath(QStringLiteral("no/such/folder/x.pdf"))});
    QCOMPARE(unwritable.status, 1);
    QCOMPARE(unwritable.err.size(), 1);
    QVERIFY(unwritable.err.first().contains(QLatin1String("Cannot write the report")));

    // A report that fails leaves the file written before as it was, and nothing beside it.
    QFile before(pdf);
    QVERIFY(before.open(QIODevice::ReadOnly));
    const QByteArray bytes = before.readAll();
    before.close();
    QVERIFY(bytes.startsWith("%PDF"));
    QCOMPARE(run({QStringLiteral("sql"), QStringLiteral("--database"), db,
                  QStringLiteral("alter table agreementregister drop column agrLawyer")})
                 .status,
             0);
    Run broken =
        run({QStringLiteral("report"), QStringLiteral("--database"), db, QStringLiteral("--pdf"), pdf});
    QCOMPARE(broken.status, 1);
    QCOMPARE(broken.err.size(), 1);
    QVERIFY2(broken.err.first().contains(QLatin1String("agrLawyer"), Qt::CaseInsensitive),
             qPrintable(broken.err.first()));
    QVERIFY(before.open(QIODevice::ReadOnly));
    QCOMPARE(before.readAll(), bytes);
    QCOMPARE(QDir(folder.path()).entryList(QDir::Files), QStringList{QStringLiteral("register.pdf")});
}

// The module's data source name as a unixODBC data source written for this run. It names another
// database than --database, in which agreement 1 has a signatory of its own, so the register shows
// which one the engine read; the data source's own user wins over the program's.
void tst_host::reportThroughOdbc()
{
    AGR_FETCH_URL();
    const QString named = agrtest::freshUrl(url);
    const QString given = agrtest::freshUrl(url);
    if (named.isEmpty() || given.isEmpty())
        return;
    for (const QString &db : {named, given})
        QCOMPARE(run({QStringLiteral("init-db"), QStringLiteral("--database"), db, QStringLiteral("--demo")})
                     .status,
                 0);
    QCOMPARE(run({QStringLiteral("sql"), QStringLiteral("--database"), named,
                  QStringLiteral(
                      "update AgreementSignedDetails set agsSignedBy='Through ODBC' where agsagreementid=1 "
                      "and agsDepartmentid=1 and agsDetailid=1")})
                 .status,
             0);

    QTemporaryDir folder;
    QFile ini(folder.filePath(QStringLiteral("odbc.ini")));
    QVERIFY(ini.open(QIODevice::WriteOnly));
    QTextStream out(&ini);
    out << "[admindsnv2]\n";
    if (url.startsWith(QLatin1String("postgres"))) {
        // postgresql://USER@SOCKETFOLDER:PORT/DATABASE
        const QRegularExpression parts(
            QStringLiteral("^postgres(?:ql)?://([^@:/]+)@([^:/]+):(\\d+)/([^?]+)"));
        const QRegularExpressionMatch m = parts.match(named);
        QVERIFY2(m.hasMatch(), qPrintable(named));
        out << "Driver=/usr/lib/x86_64-linux-gnu/odbc/psqlodbcw.so\nServername="
            << QUrl::fromPercentEncoding(m.captured(2).toUtf8()) << "\nPort=" << m.captured(3)
            << "\nDatabase=" << m.captured(4) << "\nUsername=" << m.captured(1) << "\n";
    } else {
        out << "Driver=/usr/lib/x86_64-linux-gnu/odbc/libsqlite3odbc.so\nDatabase="
            << platform::sqliteFileOf(named) << "\n";
    }
    out.flush();
    ini.close();

    const QString pdf = folder.filePath(QStringLiteral("odbc.pdf"));
    QProcess host;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("ODBCINI"), ini.fileName());
    host.setProcessEnvironment(environment);
    host.start(m_host, {QStringLiteral("report"), QStringLiteral("--database"), given,
                        QStringLiteral("--agreement"), QStringLiteral("1"), QStringLiteral("--pdf"), pdf});
    QVERIFY(host.waitForFinished(120000));
    QVERIFY2(host.exitCode() == 0, host.readAllStandardError().constData());
    const QString text = agrtest::pdfText(pdf);
    QVERIFY2(text.contains(QLatin1String("Through ODBC")), qPrintable(text.left(600)));
    QVERIFY(text.contains(QLatin1String("Sri Ganesh Estates")));
}

// The exit status tells cron whether anything is due: 3 when something is, 0 when nothing is; the same rows
// in each format.
void tst_host::alertsCommand()
{
    AGR_FETCH_URL();
    const QString db = agrtest::hostDemoDatabase(url, agrtest::DemoToday);
    if (db.isEmpty())
        return;
    const auto alerts = [&](const QStringList &more) {
        return run(QStringList{QStringLiteral("alerts"), QStringLiteral("--database"), db} + more);
    };
    const QStringList onDemoDay = {QStringLiteral("--date"), QStringLiteral("2026-11-15")};

    Run text = alerts(onDemoDay);
    QCOMPARE(text.status, 3);
    QVERIFY(text.err.isEmpty());
    QCOMPARE(text.out.size(), 5); // the title, a blank line, the captions, then AG/4 and AG/7
    QVERIFY(text.out.at(0).contains(QStringLiteral("1 due, 1 expired")));
    QVERIFY(text.out.at(3).startsWith(QStringLiteral("Expired  AG/4")));
    QVERIFY(text.out.at(4).startsWith(QStringLiteral("Due      AG/7")));

    Run csv = alerts(onDemoDay + QStringList{QStringLiteral("--format"), QStringLiteral("csv")});
    QCOMPARE(csv.status, 3);
    QCOMPARE(csv.out.size(), 3);
    QVERIFY(csv.out.at(1).startsWith(QStringLiteral("Expired,AG/4,")));
    QVERIFY(csv.out.at(2).endsWith(
        QStringLiteral(",2026-11-25,10,Ask for the revised price list before renewing\r")));

    Run json = alerts(onDemoDay + QStringList{QStringLiteral("--format"), QStringLiteral("JSON"),
                                              QStringLiteral("--department"), QStringLiteral("2")});
    QCOMPARE(json.status, 3);
    const QJsonObject document = QJsonDocument::fromJson(json.out.join(QLatin1Char('\n')).toUtf8()).object();
    QCOMPARE(document.value(QStringLiteral("department")).toInt(), 2);
    QCOMPARE(document.value(QStringLiteral("agreements")).toArray().size(), 1);

    // A manager's cron line: alerts open 25 days past their due day (AG/4 was due on 14/10), each once.
    const QStringList escalate =
        onDemoDay + QStringList{QStringLiteral("--escalate-after"), QStringLiteral("25")};
    Run escalated = alerts(escalate);
    QCOMPARE(escalated.status, 3);
    QVERIFY(escalated.out.at(0).startsWith(QStringLiteral("Open 25 days or more past their due date")));
    QCOMPARE(escalated.out.size(), 4);
    QVERIFY(escalated.out.at(3).startsWith(QStringLiteral("Expired  AG/4")));
    Run again = alerts(escalate);
    QCOMPARE(again.status, 0);
    QVERIFY(again.out.first().startsWith(QStringLiteral("Nothing is due")));
    QCOMPARE(alerts(onDemoDay + QStringList{QStringLiteral("--escalate-after"), QStringLiteral("-1")}).status,
             2);

    // The calendar file, and the usage errors around it.
    const QString ics = m_dir.filePath(QStringLiteral("renewals.ics"));
    Run calendar =
        run({QStringLiteral("calendar"), QStringLiteral("--database"), db, QStringLiteral("--out"), ics});
    QCOMPARE(calendar.status, 0);
    QVERIFY(calendar.out.first().startsWith(QStringLiteral("Wrote 11 agreements' valid-to dates to")));
    QVERIFY(QFile::exists(ics));
    QCOMPARE(run({QStringLiteral("calendar"), QStringLiteral("--database"), db}).status, 2);
    QCOMPARE(run({QStringLiteral("calendar"), QStringLiteral("--database"), db, QStringLiteral("--out"),
                  m_dir.filePath(QStringLiteral("renewals.txt"))})
                 .status,
             2);

    // Nothing due long before; a department the login is not mapped to is refused, never reported clear.
    Run none = alerts({QStringLiteral("--date"), QStringLiteral("2026-06-01")});
    QCOMPARE(none.status, 0);
    QCOMPARE(none.out.size(), 1);
    QVERIFY(none.out.first().startsWith(QStringLiteral("Nothing is due")));
    QCOMPARE(alerts(onDemoDay + QStringList{QStringLiteral("--department"), QStringLiteral("9"),
                                            QStringLiteral("--format"), QStringLiteral("csv")})
                 .status,
             1);

    // Bad input: usage 2, a database that is not there 1; never 3.
    for (const QStringList &bad : {QStringList{QStringLiteral("--format"), QStringLiteral("xml")},
                                   QStringList{QStringLiteral("--date"), QStringLiteral("15/11/2026")},
                                   QStringList{QStringLiteral("--department"), QStringLiteral("x")},
                                   QStringList{QStringLiteral("extra")}}) {
        Run failed = alerts(bad);
        QCOMPARE(failed.status, 2);
        QCOMPARE(failed.err.size(), 1);
    }
    Run missing = run({QStringLiteral("alerts"), QStringLiteral("--database"), m_dir.filePath("none.db")});
    QCOMPARE(missing.status, 1);
    QCOMPARE(missing.err.size(), 1);
}

// The command writes what its extension says; the files themselves are read back in tst_renewals.
void tst_host::exportCommand()
{
    AGR_FETCH_URL();
    const QString db = agrtest::hostDemoDatabase(url);
    if (db.isEmpty())
        return;
    QTemporaryDir folder;
    const QString xlsx = folder.filePath(QStringLiteral("register.xlsx"));
    Run book =
        run({QStringLiteral("export"), QStringLiteral("--database"), db, QStringLiteral("--out"), xlsx});
    QCOMPARE(book.status, 0);
    QCOMPARE(book.out,
             QStringList{QStringLiteral("Wrote 12 agreements, 22 detail rows and 2 payments to ") + xlsx});
    QFile zip(xlsx);
    QVERIFY(zip.open(QIODevice::ReadOnly));
    QVERIFY(zip.read(2) == "PK");

    const QString csv = folder.filePath(QStringLiteral("register.csv"));
    Run text = run({QStringLiteral("export"), QStringLiteral("--database"), db,
                    QStringLiteral("--department"), QStringLiteral("2"), QStringLiteral("--out"), csv});
    QCOMPARE(text.status, 0);
    QCOMPARE(text.out, QStringList{QStringLiteral("Wrote 2 agreements to ") + csv});

    for (const QStringList &bad :
         {QStringList{}, QStringList{QStringLiteral("--out"), folder.filePath(QStringLiteral("r.pdf"))},
          QStringList{QStringLiteral("--out"), csv, QStringLiteral("--from"), QStringLiteral("yesterday")}}) {
        Run failed = run(QStringList{QStringLiteral("export"), QStringLiteral("--database"), db} + bad);
        QCOMPARE(failed.status, 2);
        QCOMPARE(failed.err.size(), 1);
    }
    Run nowhere = run({QStringLiteral("export"), QStringLiteral("--database"), db, QStringLiteral("--out"),
                       folder.filePath(QStringLiteral("no/such/folder/r.xlsx"))});
    QCOMPARE(nowhere.status, 1);
    QCOMPARE(nowhere.err.size(), 1);
    QVERIFY(nowhere.err.first().contains(QStringLiteral("does not exist")));
}

QTEST_MAIN(tst_host)
#include "tst_host.moc"
