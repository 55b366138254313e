// Clerks saving at the same moment: several processes, each with its own connection, save new agreements
// with detail rows through the entry form against one database (8 on PostgreSQL, 2 on one SQLite file,
// which wait for each other's writes). Every save commits, no (department, id) is stored twice, no detail
// row lacks its agreement, the register holds exactly what the workers saved, and no agreement number is
// given twice. The same run without the number lock (the workers' --unlocked) is measured beside it: how
// much longer a save takes under contention with the lock, and how often numbers repeated without it.

#include "registerstate.h"
#include "support/testdb.h"

#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <functional>
#include <memory>
#include <vector>

namespace {

struct WorkerRun
{
    QMap<agrtest::AgreementKey, QString> saved; // what the workers report as committed: key -> number
    int failed = 0;
    double okMs = 0; // mean time of one OK, from the workers' own clocks
    qint64 elapsedMs = 0;
    QStringList problems; // exits, keys reported twice, message boxes
};

QStringList workerArguments(const QString &url, int saves, int worker, bool unlocked)
{
    QStringList arguments = {QStringLiteral("--database"), url,
                             QStringLiteral("--saves"),    QString::number(saves),
                             QStringLiteral("--rows"),     QStringLiteral("4"),
                             QStringLiteral("--seed"),     QString::number(worker + 1),
                             QStringLiteral("--tag"),      QStringLiteral("clerk%1").arg(worker + 1)};
    if (unlocked)
        arguments << QStringLiteral("--unlocked");
    return arguments;
}

// Starts the workers, lets go once every one has started (startAll, when given, after they are all
// waiting), and reads what they report.
WorkerRun runWorkers(std::vector<std::unique_ptr<QProcess>> &processes,
                     const std::function<void()> &startAll = {})
{
    WorkerRun run;
    QElapsedTimer timer;
    timer.start();
    if (startAll)
        startAll();
    double okTotal = 0;
    for (size_t w = 0; w < processes.size(); ++w) {
        QProcess &process = *processes[w];
        process.waitForFinished(-1);
        const QByteArray out = process.readAllStandardOutput();
        if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0)
            run.problems << QStringLiteral("worker %1: %2")
                                .arg(w + 1)
                                .arg(QString::fromUtf8(process.readAllStandardError()));
        const QStringList committed = agrtest::markers(out, QStringLiteral("saved"));
        for (const QString &line : committed) {
            const QStringList parts = line.split(QLatin1Char(' '));
            const agrtest::AgreementKey key(parts.value(0).toInt(), parts.value(1).toInt());
            if (run.saved.contains(key))
                run.problems << QStringLiteral("id %1 saved twice").arg(key.second);
            run.saved.insert(key, parts.value(2));
            okTotal += parts.value(3).toDouble();
        }
        run.failed += int(agrtest::markers(out, QStringLiteral("failed")).size());
        const QStringList messages = agrtest::markers(out, QStringLiteral("message"));
        for (const QString &message : messages)
            run.problems << QStringLiteral("worker %1 was shown: %2").arg(w + 1).arg(message);
    }
    run.elapsedMs = timer.elapsed();
    run.okMs = run.saved.isEmpty() ? 0 : okTotal / double(run.saved.size());
    return run;
}

WorkerRun saveTogether(const QString &url, int workers, int saves, bool unlocked)
{
    std::vector<std::unique_ptr<QProcess>> processes;
    for (int w = 0; w < workers; ++w) {
        processes.push_back(std::make_unique<QProcess>());
        agrtest::startSaveWorker(*processes.back(), workerArguments(url, saves, w, unlocked));
    }
    return runWorkers(processes);
}

} // namespace

class tst_ConcurrentSaves : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void concurrentSaves_data() { agrtest::addBackends(); }
    void concurrentSaves();
    void clerksPressOkAtOnce_data() { agrtest::addBackends(); }
    void clerksPressOkAtOnce();
};

void tst_ConcurrentSaves::concurrentSaves()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url, true, true);
    auto before = agrtest::openFresh(url, true, true);
    if (!con || !before)
        return;
    const bool server = con->backend() == platform::Backend::PostgreSQL;
    const int workers = server ? 8 : 2;
    const int saves = server ? 25 : 40;

    // As the register saved before numbers were serialised, on a database of its own.
    const WorkerRun unlocked = saveTogether(before->url(), workers, saves, true);
    QVERIFY2(unlocked.problems.isEmpty(), qPrintable(unlocked.problems.join(QLatin1Char('\n'))));
    const int repeatedBefore = agrtest::readRegisterState(*before).repeatedNumbers;

    const WorkerRun locked = saveTogether(con->url(), workers, saves, false);
    QVERIFY2(locked.problems.isEmpty(), qPrintable(locked.problems.join(QLatin1Char('\n'))));
    const agrtest::RegisterState state = agrtest::readRegisterState(*con);

    qInfo("%s: %d processes, %d saves committed, %d failed, %d repeated agreement numbers, %.1f s "
          "(%.0f saves a second); one OK under contention %.1f ms",
          QTest::currentDataTag(), workers, int(locked.saved.size()), locked.failed, state.repeatedNumbers,
          double(locked.elapsedMs) / 1000.0,
          double(locked.saved.size()) * 1000.0 / double(qMax<qint64>(locked.elapsedMs, 1)), locked.okMs);
    qInfo("%s: without the number lock: %d saves, %d repeated agreement numbers, %.1f s; one OK %.1f ms. "
          "With the lock a save under contention takes %.2f times as long (the whole run %.2f times)",
          QTest::currentDataTag(), int(unlocked.saved.size()), repeatedBefore,
          double(unlocked.elapsedMs) / 1000.0, unlocked.okMs, locked.okMs / qMax(unlocked.okMs, 0.001),
          double(locked.elapsedMs) / double(qMax<qint64>(unlocked.elapsedMs, 1)));

    QCOMPARE(locked.failed, 0);
    QCOMPARE(int(locked.saved.size()), workers * saves);
    QVERIFY2(state.consistent(), qPrintable(state.problems()));
    QCOMPARE(state.agreements, locked.saved);
    QCOMPARE(state.repeatedNumbers, 0);
    if (!server)
        QCOMPARE(con->Execute(QStringLiteral("pragma integrity_check")).Fields(0).text(),
                 QStringLiteral("ok"));
}

// Four clerks with their forms filled press OK at the same moment: four different numbers, the next ones
// after the department's highest.
void tst_ConcurrentSaves::clerksPressOkAtOnce()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url, true, true);
    if (!con)
        return;
    constexpr int Clerks = 4;
    QTemporaryDir folder;
    const QString go = folder.filePath(QStringLiteral("press"));
    std::vector<std::unique_ptr<QProcess>> processes;
    for (int w = 0; w < Clerks; ++w) {
        processes.push_back(std::make_unique<QProcess>());
        agrtest::startSaveWorker(*processes.back(), workerArguments(con->url(), 1, w, false)
                                                        << QStringLiteral("--press-when") << go);
    }
    const WorkerRun run = runWorkers(processes, [&] {
        for (auto &process : processes) {
            QByteArray out;
            while (agrtest::markers(out, QStringLiteral("filled")).isEmpty() && process->waitForReadyRead(-1))
                out += process->readAllStandardOutput();
            // What was read is not read again: the saved line comes after.
        }
        QFile press(go);
        QVERIFY(press.open(QIODevice::WriteOnly));
    });
    QVERIFY2(run.problems.isEmpty(), qPrintable(run.problems.join(QLatin1Char('\n'))));
    QCOMPARE(int(run.saved.size()), Clerks);
    QStringList numbers = run.saved.values();
    numbers.sort();
    // The demo department's highest is AG/12.
    QCOMPARE(numbers, QStringList({"AG/13", "AG/14", "AG/15", "AG/16"}));
    QCOMPARE(agrtest::readRegisterState(*con).repeatedNumbers, 0);
}

QTEST_MAIN(tst_ConcurrentSaves)
#include "tst_concurrentsaves.moc"
