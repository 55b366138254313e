// A database made by an older version of the program is upgraded in place by init-db and keeps every
// row; the program refuses a database whose schema is newer than its own, before it changes anything.

#include "support/testdb.h"
#include "support/testsupport.h"

#include "data/access.h"
#include "data/schema.h"
#include "platform/database/dialect.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSqlDatabase>
#include <QSqlRecord>
#include <QTemporaryDir>
#include <QTest>

namespace {

struct Run
{
    int status = -1;
    QStringList out;
    QStringList err;
};

// Each table of the schema that exists, with its rows.
QMap<QString, QStringList> contents(platform::Connection &con)
{
    QMap<QString, QStringList> tables;
    for (const QString &table : agr::schema::tableNames())
        if (con.dialect().tableExists(con, table))
            tables.insert(table, agrtest::tableRows(con, table));
    return tables;
}

} // namespace

class tst_Upgrade : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void versionOneOnSqlite();
    void checkedDatesOfVersionThree();
    void olderDatabase_data() { agrtest::addBackends(); }
    void olderDatabase();
    void newerDatabaseRefused_data() { agrtest::addBackends(); }
    void newerDatabaseRefused();
    void clerkOfAnOlderDatabase_data() { agrtest::addBackends(); }
    void clerkOfAnOlderDatabase();

private:
    Run run(const QStringList &arguments);
    QTemporaryDir m_dir;
};

void tst_Upgrade::initTestCase()
{
    QVERIFY(m_dir.isValid());
    qputenv("AGR_COMPONENT_REGISTRY", m_dir.filePath(QStringLiteral("components.json")).toLocal8Bit());
    qputenv("XDG_DATA_HOME", m_dir.filePath(QStringLiteral("data")).toLocal8Bit());
    qputenv("QT_QPA_PLATFORM", "offscreen");
    // Without it Qt warns on stderr, which would hide whether the program's own error is one line.
    const QString runtime = m_dir.filePath(QStringLiteral("runtime"));
    QVERIFY(QDir().mkpath(runtime));
    QFile::setPermissions(runtime, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    qputenv("XDG_RUNTIME_DIR", runtime.toLocal8Bit());
}

Run tst_Upgrade::run(const QStringList &arguments)
{
    QProcess process;
    process.start(QCoreApplication::applicationDirPath() + QStringLiteral("/agreement-register"), arguments);
    process.waitForFinished(-1);
    Run result;
    result.status = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    result.out =
        QString::fromUtf8(process.readAllStandardOutput()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    result.err =
        QString::fromUtf8(process.readAllStandardError()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    return result;
}

// The database in the tree was made by init-db --demo of version 1.0, before the schema's version was
// stored.
void tst_Upgrade::versionOneOnSqlite()
{
    const QString file = m_dir.filePath(QStringLiteral("agreements-1.0.db"));
    QVERIFY(QFile::copy(QStringLiteral(AGR_FIXTURES_DIR "/agreements-1.0.db"), file));
    QFile::setPermissions(file, QFileDevice::ReadOwner | QFileDevice::WriteOwner);
    const QString url = QStringLiteral("sqlite:") + file;
    QMap<QString, QStringList> before;
    {
        platform::Connection con;
        con.Open(url);
        QCOMPARE(agr::schema::StoredSchemaVersion(con), 0);
        before = contents(con);
    }
    QVERIFY(before.value(QStringLiteral("agreementregister")).size() > 0);

    const Run upgraded = run({QStringLiteral("init-db"), QStringLiteral("--database"), url});
    QVERIFY2(upgraded.status == 0, qPrintable(upgraded.err.join(QLatin1Char('\n'))));
    QVERIFY2(
        upgraded.out.first().startsWith(
            QStringLiteral("Upgraded the schema from version 0 to %1").arg(agr::schema::SchemaVersion())),
        qPrintable(upgraded.out.join(QLatin1Char('\n'))));
    {
        platform::Connection con;
        con.Open(url);
        QCOMPARE(agr::schema::StoredSchemaVersion(con), agr::schema::SchemaVersion());
        QVERIFY(agr::schema::SchemaPresent(con));
        const QMap<QString, QStringList> after = contents(con);
        for (auto it = before.cbegin(); it != before.cend(); ++it)
            QCOMPARE(after.value(it.key()), it.value());
    }
    // The detail tables made again still refuse a line without its agreement, in the same transaction as a
    // line that stays; the index made anew follows what plain SQL writes.
    {
        platform::Connection con;
        con.Open(url);
        con.BeginTrans();
        con.Execute(QStringLiteral("insert into AgreementContents values (1, 1, 90, 'Clause Pangolin')"));
        QVERIFY_THROWS_EXCEPTION(
            platform::RuntimeError,
            con.Execute(QStringLiteral("insert into AgreementSignedDetails (agsagreementid, agsDepartmentid, "
                                       "agsSignedBy) values (null, 1, 'Nobody')")));
        con.CommitTrans();
    }
    const Run found =
        run({QStringLiteral("find"), QStringLiteral("--database"), url, QStringLiteral("pangolin")});
    QVERIFY2(found.status == 0 &&
                 found.out.join(QLatin1Char('\n')).contains(QStringLiteral("pangolin"), Qt::CaseInsensitive),
             qPrintable((found.out + found.err).join(QLatin1Char('\n'))));
    // The upgraded database opens and works; a second init-db has nothing left to do.
    const Run shown = run({QStringLiteral("--database"), url, QStringLiteral("--screenshot"),
                           m_dir.filePath(QStringLiteral("upgraded.png"))});
    QVERIFY2(shown.status == 0, qPrintable(shown.err.join(QLatin1Char('\n'))));
    QVERIFY(QFile::exists(m_dir.filePath(QStringLiteral("upgraded.png"))));
    const Run again = run({QStringLiteral("init-db"), QStringLiteral("--database"), url});
    QCOMPARE(again.status, 0);
    QVERIFY2(again.out.first().startsWith(QStringLiteral("Nothing created")),
             qPrintable(again.out.join('\n')));
}

// Version 3 made the signatories' and witnesses' dates with a check of their own on SQLite; step 4 makes
// those tables again without it, keeping their rows and the search index's triggers.
void tst_Upgrade::checkedDatesOfVersionThree()
{
    const QString url = QStringLiteral("sqlite:") + m_dir.filePath(QStringLiteral("version3.db"));
    const Run made =
        run({QStringLiteral("init-db"), QStringLiteral("--database"), url, QStringLiteral("--demo")});
    QVERIFY2(made.status == 0, qPrintable(made.err.join(QLatin1Char('\n'))));
    QMap<QString, QStringList> before;
    {
        platform::Connection con;
        con.Open(url);
        con.Execute(QStringLiteral("delete from aSchemaVersion where Version > 3"));
        con.Execute(QStringLiteral("alter table AgreementSignedDetails rename to Signed3"));
        con.Execute(QStringLiteral(
            "create table AgreementSignedDetails (agsagreementid INTEGER NOT NULL ON CONFLICT FAIL, "
            "agsDepartmentid SMALLINT NOT NULL ON CONFLICT FAIL, agsDetailid INTEGER, agsSignedBy TEXT, "
            "agsPosition TEXT, agsSignedDate DATETEXT COLLATE AGRDATE CHECK (agr_isdate(agsSignedDate)), "
            "agsAgency SMALLINT)"));
        con.Execute(
            QStringLiteral("insert into AgreementSignedDetails select * from Signed3 order by rowid"));
        con.Execute(QStringLiteral("drop table Signed3"));
        // A column another program added to a detail table: that table is not made again, so that the
        // column keeps its values.
        con.Execute(QStringLiteral("alter table AgreementWitnessDetails add column Stamp text"));
        con.Execute(QStringLiteral("update AgreementWitnessDetails set Stamp = 'kept'"));
        QVERIFY_THROWS_EXCEPTION(
            platform::RuntimeError,
            con.Execute(QStringLiteral("insert into AgreementSignedDetails values (1, 1, "
                                       "90, 'Signer', 'Partner', 'Lease', 0)")));
        before = contents(con);
    }
    const Run upgraded = run({QStringLiteral("init-db"), QStringLiteral("--database"), url});
    QVERIFY2(
        upgraded.status == 0 &&
            upgraded.out.first().startsWith(
                QStringLiteral("Upgraded the schema from version 3 to %1").arg(agr::schema::SchemaVersion())),
        qPrintable((upgraded.out + upgraded.err).join(QLatin1Char('\n'))));
    {
        platform::Connection con;
        con.Open(url);
        const QMap<QString, QStringList> after = contents(con);
        for (auto it = before.cbegin(); it != before.cend(); ++it)
            if (it.key() != QLatin1String(agr::schema::table::SchemaVersion))
                QCOMPARE(after.value(it.key()), it.value());
        QCOMPARE(
            agrtest::scalar(con, QStringLiteral("select min(Stamp) from AgreementWitnessDetails")).toString(),
            QStringLiteral("kept"));
        // What another program writes there is kept as written, and the index follows it.
        con.Execute(QStringLiteral("insert into AgreementSignedDetails values (1, 1, 90, 'Signer Okapi', "
                                   "'Partner', 'Lease', 0)"));
    }
    const Run found =
        run({QStringLiteral("find"), QStringLiteral("--database"), url, QStringLiteral("okapi")});
    QVERIFY2(found.status == 0 &&
                 found.out.join(QLatin1Char('\n')).contains(QStringLiteral("okapi"), Qt::CaseInsensitive),
             qPrintable((found.out + found.err).join(QLatin1Char('\n'))));
}

// A database of the last version before versions were stored, on each engine: without the version table
// and without the activity log's hash columns.
void tst_Upgrade::olderDatabase()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url, true, true);
    if (!con)
        return;
    con->Execute(QStringLiteral("drop table aSchemaVersion"));
    con->Execute(QStringLiteral("drop table aActivityLog"));
    con->Execute(
        QStringLiteral("create table aActivityLog (LogID integer, CompanyID integer, DepartmentID "
                       "smallint, UserID integer, InterfaceID integer, AgreementID double precision, "
                       "AgreementNo text, ActionCode text, FormName text, ActionDateTime text)"));
    con->Execute(QStringLiteral("insert into aActivityLog (LogID, AgreementNo) values (1, 'AG/1')"));
    QCOMPARE(agr::schema::StoredSchemaVersion(*con), 0);
    const QMap<QString, QStringList> before = contents(*con);

    const Run upgraded = run({QStringLiteral("init-db"), QStringLiteral("--database"), con->url()});
    QVERIFY2(upgraded.status == 0, qPrintable(upgraded.err.join(QLatin1Char('\n'))));
    platform::Connection after;
    after.Open(con->url());
    QCOMPARE(agr::schema::StoredSchemaVersion(after), agr::schema::SchemaVersion());
    const QSqlRecord log = after.database().record(QStringLiteral("aactivitylog"));
    QVERIFY(log.indexOf(QStringLiteral("PrevHash")) >= 0 && log.indexOf(QStringLiteral("RowHash")) >= 0);
    QCOMPARE(agrtest::scalar(after, QStringLiteral("select AgreementNo from aActivityLog")).toString(),
             QStringLiteral("AG/1"));
    const QMap<QString, QStringList> now = contents(after);
    for (auto it = before.cbegin(); it != before.cend(); ++it) {
        if (it.key() != QLatin1String(agr::schema::table::ActivityLog))
            QCOMPARE(now.value(it.key()), it.value());
    }
}

void tst_Upgrade::newerDatabaseRefused()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url, true, true);
    if (!con)
        return;
    const int newer = agr::schema::SchemaVersion() + 1;
    con->Execute(
        QStringLiteral("insert into aSchemaVersion (Version, Description) values (%1, 'later')").arg(newer));
    const QList<QStringList> commands = {
        {QStringLiteral("init-db"), QStringLiteral("--database"), con->url()},
        {QStringLiteral("alerts"), QStringLiteral("--database"), con->url()},
        {QStringLiteral("backup"), QStringLiteral("--database"), con->url(), QStringLiteral("--out"),
         m_dir.filePath(QStringLiteral("newer.bak"))},
        {QStringLiteral("--database"), con->url(), QStringLiteral("--screenshot"),
         m_dir.filePath(QStringLiteral("newer.png"))},
    };
    for (const QStringList &command : commands) {
        const Run refused = run(command);
        QCOMPARE(refused.status, 1);
        QCOMPARE(refused.err.size(), 1);
        QVERIFY2(
            refused.err.first().contains(QStringLiteral("schema is version %1, newer than this program's %2")
                                             .arg(newer)
                                             .arg(newer - 1)),
            qPrintable(refused.err.first()));
    }
    QVERIFY(!QFile::exists(m_dir.filePath(QStringLiteral("newer.png"))));
    QVERIFY(!QFile::exists(m_dir.filePath(QStringLiteral("newer.bak"))));
    // init-db itself changed nothing: the newer version is still the one recorded.
    QCOMPARE(agr::schema::StoredSchemaVersion(*con), newer);
    QCOMPARE(agrtest::countRows(*con, QStringLiteral("aSchemaVersion")), agr::schema::SchemaVersion() + 1);
}

// A clerk's login made before the renewal tables existed: the init-db that adds them lets the clerk use
// them, and gives nothing beyond a clerk's privileges.
void tst_Upgrade::clerkOfAnOlderDatabase()
{
    AGR_FETCH_URL();
    if (!url.startsWith(QLatin1String("postgresql")))
        QSKIP("database logins are PostgreSQL's");
    const QString db = agrtest::hostDemoDatabase(url, agrtest::DemoToday);
    if (db.isEmpty())
        return;
    const QString clerkUrl = agrtest::withLogin(db, QLatin1String(agr::schema::DemoClerkLogin));
    const QStringList later = {QStringLiteral("aRenewalSnoozes"), QStringLiteral("aDatabaseIdentity")};
    {
        platform::Connection owner;
        owner.Open(db);
        for (const QString &table : later)
            owner.Execute(QStringLiteral("revoke all on %1 from %2")
                              .arg(table, QLatin1String(agr::schema::DemoClerkLogin)));
    }
    auto readAll = [&](const QString &table) {
        platform::Connection clerk;
        clerk.Open(clerkUrl);
        return agrtest::errorOf([&] { agrtest::countRows(clerk, table); }) == 0;
    };
    for (const QString &table : later)
        QVERIFY2(!readAll(table), qPrintable(table));

    const Run upgraded = run({QStringLiteral("init-db"), QStringLiteral("--database"), db});
    QVERIFY2(upgraded.status == 0, qPrintable(upgraded.err.join(QLatin1Char('\n'))));
    for (const QString &table : later)
        QVERIFY2(readAll(table), qPrintable(table));
    // Still a clerk: no delete of an agreement, no update of the identity.
    platform::Connection clerk;
    clerk.Open(clerkUrl);
    QVERIFY(agrtest::errorOf([&] { clerk.Execute(QStringLiteral("delete from agreementregister")); }) != 0);
    QVERIFY(agrtest::errorOf([&] {
                clerk.Execute(QStringLiteral("update aDatabaseIdentity set DatabaseID = 'x'"));
            }) != 0);
}

QTEST_MAIN(tst_Upgrade)
#include "tst_upgrade.moc"
