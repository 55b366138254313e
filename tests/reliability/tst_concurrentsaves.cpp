// Clerks saving at the same moment: several processes, each with its own connection, save new agreements
// with detail rows through the entry form against one database (8 on PostgreSQL, 2 on one SQLite file,
// which wait for each other's writes). Every save commits, no (department, id) is stored twice, no detail
// row lacks its agreement, and the register holds exactly what the workers saved. Agreement numbers are
// read as a maximum and may repeat under contention; how often is printed.

#include "registerstate.h"
#include "support/testdb.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QTest>
#include <memory>
#include <vector>

class tst_ConcurrentSaves : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void concurrentSaves_data() { agrtest::addBackends(); }
    void concurrentSaves();
};

void tst_ConcurrentSaves::concurrentSaves()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url, true, true);
    if (!con)
        return;
    const bool server = con->backend() == platform::Backend::PostgreSQL;
    const int workers = server ? 8 : 2;
    const int saves = server ? 25 : 40;

    QElapsedTimer timer;
    timer.start();
    std::vector<std::unique_ptr<QProcess>> processes;
    for (int w = 0; w < workers; ++w) {
        processes.push_back(std::make_unique<QProcess>());
        agrtest::startSaveWorker(*processes.back(),
                                 {QStringLiteral("--database"), con->url(), QStringLiteral("--saves"),
                                  QString::number(saves), QStringLiteral("--rows"), QStringLiteral("4"),
                                  QStringLiteral("--seed"), QString::number(w + 1), QStringLiteral("--tag"),
                                  QStringLiteral("clerk%1").arg(w + 1)});
    }
    QMap<agrtest::AgreementKey, QString> saved;
    int failed = 0;
    for (int w = 0; w < workers; ++w) {
        QProcess &process = *processes[size_t(w)];
        process.waitForFinished(-1);
        const QByteArray out = process.readAllStandardOutput();
        QVERIFY2(process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0,
                 qPrintable(QStringLiteral("worker %1: %2")
                                .arg(w + 1)
                                .arg(QString::fromUtf8(process.readAllStandardError()))));
        const QStringList committed = agrtest::markers(out, QStringLiteral("saved"));
        for (const QString &line : committed) {
            const QStringList parts = line.split(QLatin1Char(' '));
            const agrtest::AgreementKey key(parts.value(0).toInt(), parts.value(1).toInt());
            QVERIFY2(!saved.contains(key), qPrintable(QStringLiteral("id %1 saved twice").arg(key.second)));
            saved.insert(key, parts.value(2));
        }
        failed += int(agrtest::markers(out, QStringLiteral("failed")).size());
        QVERIFY2(agrtest::markers(out, QStringLiteral("message")).isEmpty(), out.constData());
    }
    const qint64 elapsed = timer.elapsed();

    const agrtest::RegisterState state = agrtest::readRegisterState(*con);
    qInfo("%s: %d processes, %d saves committed, %d failed, %d repeated agreement numbers, %.1f s "
          "(%.0f saves a second)",
          QTest::currentDataTag(), workers, int(saved.size()), failed, state.repeatedNumbers,
          double(elapsed) / 1000.0, double(saved.size()) * 1000.0 / double(qMax<qint64>(elapsed, 1)));
    QCOMPARE(failed, 0);
    QCOMPARE(int(saved.size()), workers * saves);
    QVERIFY2(state.consistent(), qPrintable(state.problems()));
    QCOMPARE(state.agreements, saved);
    if (!server)
        QCOMPARE(con->Execute(QStringLiteral("pragma integrity_check")).Fields(0).text(),
                 QStringLiteral("ok"));
}

QTEST_MAIN(tst_ConcurrentSaves)
#include "tst_concurrentsaves.moc"
