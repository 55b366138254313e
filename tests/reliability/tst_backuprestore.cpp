// A backup taken by the program while a clerk in another process keeps saving: the copy restores into an
// empty database as a whole register (no save in it half done, the activity log's chain whole, every row
// one the register really held), a backup taken once the clerk is done restores into an equal register,
// table by table, and the restore refuses a database that holds tables unless told to replace them.

#include "registerstate.h"
#include "support/testdb.h"

#include "data/schema.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

namespace {

struct Run
{
    int status = -1;
    QStringList out;
    QStringList err;
};

Run runHost(const QStringList &arguments, const QProcessEnvironment &environment)
{
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(QCoreApplication::applicationDirPath() + QStringLiteral("/agreement-register"), arguments);
    process.waitForFinished(-1);
    Run run;
    run.status = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    run.out = QString::fromUtf8(process.readAllStandardOutput()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    run.err = QString::fromUtf8(process.readAllStandardError()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    return run;
}

} // namespace

class tst_BackupRestore : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void backupWhileSaving_data() { agrtest::addBackends(); }
    void backupWhileSaving();
    void refusals_data() { agrtest::addBackends(); }
    void refusals();

private:
    Run run(const QStringList &arguments) { return runHost(arguments, m_environment); }
    QTemporaryDir m_dir;
    QProcessEnvironment m_environment = QProcessEnvironment::systemEnvironment();
};

void tst_BackupRestore::initTestCase()
{
    QVERIFY(m_dir.isValid());
    m_environment.insert(QStringLiteral("AGR_COMPONENT_REGISTRY"),
                         m_dir.filePath(QStringLiteral("components.json")));
    m_environment.insert(QStringLiteral("XDG_DATA_HOME"), m_dir.filePath(QStringLiteral("data")));
    m_environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    // Without it Qt warns on stderr, which would hide whether the program's own error is one line.
    const QString runtime = m_dir.filePath(QStringLiteral("runtime"));
    QVERIFY(QDir().mkpath(runtime));
    QFile::setPermissions(runtime, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    m_environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), runtime);
}

void tst_BackupRestore::backupWhileSaving()
{
    AGR_FETCH_URL();
    auto source = agrtest::openFresh(url, true, true);
    if (!source)
        return;
    const QString copyUrl = agrtest::freshUrl(url);
    if (copyUrl.isEmpty())
        return;
    const QString during =
        m_dir.filePath(QStringLiteral("during-%1.bak").arg(QLatin1String(QTest::currentDataTag())));
    const QString after =
        m_dir.filePath(QStringLiteral("after-%1.bak").arg(QLatin1String(QTest::currentDataTag())));

    QProcess clerk;
    agrtest::startSaveWorker(clerk, {QStringLiteral("--database"), source->url(), QStringLiteral("--saves"),
                                     QStringLiteral("40"), QStringLiteral("--rows"), QStringLiteral("3"),
                                     QStringLiteral("--tag"), QStringLiteral("clerk")});
    QByteArray output;
    // The backup starts once the clerk has saved and goes on while the clerk keeps saving.
    while (agrtest::markers(output, QStringLiteral("saved")).size() < 3 &&
           clerk.state() != QProcess::NotRunning) {
        clerk.waitForReadyRead(1000);
        output += clerk.readAllStandardOutput();
    }
    const qsizetype savedBefore = agrtest::markers(output, QStringLiteral("saved")).size();
    const Run backup = run({QStringLiteral("backup"), QStringLiteral("--database"), source->url(),
                            QStringLiteral("--out"), during});
    clerk.waitForFinished(-1);
    output += clerk.readAllStandardOutput();
    QVERIFY2(backup.status == 0, qPrintable(backup.err.join(QLatin1Char('\n'))));
    QVERIFY2(clerk.exitCode() == 0, clerk.readAllStandardError().constData());
    QCOMPARE(agrtest::markers(output, QStringLiteral("saved")).size(), 40);
    QVERIFY(!QFileInfo(during).dir().entryList({QStringLiteral("*.partial-*")}).size());

    const Run restored = run(
        {QStringLiteral("restore"), QStringLiteral("--in"), during, QStringLiteral("--database"), copyUrl});
    QVERIFY2(restored.status == 0, qPrintable(restored.err.join(QLatin1Char('\n'))));
    const Run verified =
        run({QStringLiteral("audit"), QStringLiteral("verify"), QStringLiteral("--database"), copyUrl});
    QVERIFY2(verified.status == 0, qPrintable(verified.err.join(QLatin1Char('\n'))));

    {
        platform::Connection copy;
        copy.Open(copyUrl);
        const agrtest::RegisterState state = agrtest::readRegisterState(copy);
        QVERIFY2(state.consistent(), qPrintable(state.problems()));
        QVERIFY(state.agreements.size() >= savedBefore);
        // Fewer than the clerk saved in all: the copy was taken while the clerk was saving.
        QVERIFY2(state.agreements.size() < 40,
                 "the clerk was done before the backup: make the clerk save more");
        // Every row of the copy is one the register held: the clerk only adds. The key counters move on.
        for (const QString &table : agr::schema::tableNames()) {
            if (table == QLatin1String(agr::schema::table::KeyCounters))
                continue;
            const QStringList now = agrtest::tableRows(*source, table);
            const QStringList copied = agrtest::tableRows(copy, table);
            for (const QString &row : copied)
                QVERIFY2(now.contains(row), qPrintable(table + QStringLiteral(": ") + row));
        }
    }

    // Once the clerk is done, a backup restored in the place of the first copy equals the register.
    QCOMPARE(run({QStringLiteral("backup"), QStringLiteral("--database"), source->url(),
                  QStringLiteral("--out"), after})
                 .status,
             0);
    const Run replaced = run({QStringLiteral("restore"), QStringLiteral("--in"), after,
                              QStringLiteral("--database"), copyUrl, QStringLiteral("--replace")});
    QVERIFY2(replaced.status == 0, qPrintable(replaced.err.join(QLatin1Char('\n'))));
    platform::Connection copy;
    copy.Open(copyUrl);
    QCOMPARE(agrtest::countRows(copy, QStringLiteral("agreementregister")),
             agr::schema::demo::AgreementCount + agr::schema::demo::OtherDepartmentAgreements + 40);
    for (const QString &table : agr::schema::tableNames())
        QCOMPARE(agrtest::tableRows(copy, table), agrtest::tableRows(*source, table));
    QVERIFY(run({QStringLiteral("audit"), QStringLiteral("verify"), QStringLiteral("--database"), copyUrl})
                .status == 0);
}

void tst_BackupRestore::refusals()
{
    AGR_FETCH_URL();
    auto source = agrtest::openFresh(url, true, true);
    if (!source)
        return;
    const QString tag = QLatin1String(QTest::currentDataTag());
    const QString file = m_dir.filePath(QStringLiteral("refusals-%1.bak").arg(tag));
    QCOMPARE(run({QStringLiteral("backup"), QStringLiteral("--database"), source->url(),
                  QStringLiteral("--out"), file})
                 .status,
             0);

    // A database that holds tables is left alone without --replace.
    auto other = agrtest::openFresh(url, true, false);
    if (!other)
        return;
    const Run refused = run({QStringLiteral("restore"), QStringLiteral("--in"), file,
                             QStringLiteral("--database"), other->url()});
    QCOMPARE(refused.status, 1);
    QCOMPARE(refused.err.size(), 1);
    QVERIFY2(refused.err.first().contains(QStringLiteral("--replace")), qPrintable(refused.err.first()));
    QCOMPARE(agrtest::countRows(*other, QStringLiteral("agreementregister")), 0);

    // A file that is no backup fails whole: nothing of it reaches the database.
    const QString junk = m_dir.filePath(QStringLiteral("junk-%1.bak").arg(tag));
    QFile bad(junk);
    QVERIFY(bad.open(QIODevice::WriteOnly));
    bad.write(QByteArray(70000, 'x'));
    bad.close();
    const Run broken = run({QStringLiteral("restore"), QStringLiteral("--in"), junk,
                            QStringLiteral("--database"), other->url(), QStringLiteral("--replace")});
    QCOMPARE(broken.status, 1);
    QCOMPARE(broken.err.size(), 1);
    QVERIFY(agr::schema::SchemaPresent(*other));

    // The backup's file appears only when whole: a failed one leaves neither it nor a part of it.
    const QString nowhere = m_dir.filePath(QStringLiteral("no-such-folder/copy.bak"));
    QCOMPARE(run({QStringLiteral("backup"), QStringLiteral("--database"), source->url(),
                  QStringLiteral("--out"), nowhere})
                 .status,
             1);
    if (source->backend() == platform::Backend::PostgreSQL) {
        QProcessEnvironment withoutClient = m_environment;
        withoutClient.insert(QStringLiteral("PATH"), m_dir.filePath(QStringLiteral("empty")));
        const QString missed = m_dir.filePath(QStringLiteral("missed.bak"));
        const Run noDump = runHost({QStringLiteral("backup"), QStringLiteral("--database"), source->url(),
                                    QStringLiteral("--out"), missed},
                                   withoutClient);
        QCOMPARE(noDump.status, 1);
        QCOMPARE(noDump.err.size(), 1);
        QVERIFY2(noDump.err.first().contains(QStringLiteral("pg_dump was not found")),
                 qPrintable(noDump.err.first()));
        QVERIFY(!QFileInfo::exists(missed));
    }
    QVERIFY(QDir(m_dir.path()).entryList({QStringLiteral("*.partial-*")}).isEmpty());
}

QTEST_MAIN(tst_BackupRestore)
#include "tst_backuprestore.moc"
