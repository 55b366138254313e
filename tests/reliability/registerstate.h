#pragma once
// What the reliability tests share: the save worker (agr-save-worker, beside the tests) and what the
// register holds after the workers are done or killed.

#include "platform/database/connection.h"

#include <QCoreApplication>
#include <QMap>
#include <QPair>
#include <QProcess>
#include <QSet>
#include <QStringList>

namespace agrtest {

using AgreementKey = QPair<int, int>; // department, agreement id

inline QString saveWorkerPath()
{
    return QCoreApplication::applicationDirPath() + QStringLiteral("/agr-save-worker");
}

// The worker as its own process, on the offscreen platform.
inline void startSaveWorker(QProcess &process, const QStringList &arguments)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    process.setProcessEnvironment(environment);
    process.start(saveWorkerPath(), arguments);
}

// The lines a worker printed that start with word, without it.
inline QStringList markers(const QByteArray &output, const QString &word)
{
    QStringList found;
    const QStringList lines = QString::fromUtf8(output).split(QLatin1Char('\n'));
    for (const QString &line : lines)
        if (line == word || line.startsWith(word + QLatin1Char(' ')))
            found << line.mid(word.size() + 1);
    return found;
}

// The agreements the workers saved (their descriptions start with a tag and end with the number of rows
// each detail list got), and everything that would show a save half done or done twice.
struct RegisterState
{
    QMap<AgreementKey, QString> agreements; // the workers' agreements: key -> number
    int duplicateKeys = 0;                  // (department, id) stored more than once
    int orphanRows = 0;                     // detail rows whose agreement is not stored
    QStringList incomplete;                 // agreements whose detail rows are not the ones saved
    QSet<AgreementKey> audited;             // agreements with a "new" entry in the activity log
    int repeatedNumbers = 0;                // agreements whose number an earlier one of the department has

    bool consistent() const
    {
        return duplicateKeys == 0 && orphanRows == 0 && incomplete.isEmpty() &&
               audited == QSet<AgreementKey>(agreements.keyBegin(), agreements.keyEnd());
    }
    QString problems() const
    {
        return QStringLiteral("duplicate keys %1, orphan detail rows %2, incomplete [%3], audited %4 of %5")
            .arg(duplicateKeys)
            .arg(orphanRows)
            .arg(incomplete.join(QStringLiteral("; ")))
            .arg(audited.size())
            .arg(agreements.size());
    }
};

inline RegisterState readRegisterState(platform::Connection &con)
{
    struct Detail
    {
        const char *table;
        const char *department;
        const char *agreement;
    };
    // In the order the description counts them: signatories, witnesses, contents, summary, finance.
    const Detail details[] = {{"AgreementSignedDetails", "agsDepartmentid", "agsagreementid"},
                              {"AgreementWitnessDetails", "agwDepartmentid", "agwAgreementid"},
                              {"AgreementContents", "agcDepartmentid", "agcAgreementid"},
                              {"AgreementDetails", "agdDepartmentid", "agdAgreementid"},
                              {"AgreementFinancialDetails", "agfDepartmentid", "agfAgreementid"}};
    RegisterState state;
    QMap<AgreementKey, QString> descriptions;
    for (platform::Recordset rs =
             con.Execute(QStringLiteral("select agrDepartmentid, agragreementid, agragreementdesc, "
                                        "agragreementNo from agreementregister "
                                        "where agragreementdesc like '% rows %'"));
         !rs.isEOF(); rs.MoveNext()) {
        const AgreementKey key(rs.Fields(0).toLong(), rs.Fields(1).toLong());
        descriptions.insert(key, rs.Fields(2).joinEmpty());
        state.agreements.insert(key, rs.Fields(3).joinEmpty());
    }
    state.duplicateKeys = con.Execute(QStringLiteral("select count(*) from (select agrDepartmentid from "
                                                     "agreementregister group by agrDepartmentid, "
                                                     "agragreementid having count(*)>1) twice"))
                              .Fields(0)
                              .toLong();
    for (platform::Recordset rs =
             con.Execute(QStringLiteral("select count(*) from agreementregister group by agrDepartmentid, "
                                        "agragreementNo having count(*)>1"));
         !rs.isEOF(); rs.MoveNext())
        state.repeatedNumbers += rs.Fields(0).toLong() - 1;

    QMap<AgreementKey, QList<int>> rows;
    for (int t = 0; t < 5; ++t) {
        const QString table = QLatin1String(details[t].table);
        const QString dept = QLatin1String(details[t].department);
        const QString id = QLatin1String(details[t].agreement);
        state.orphanRows +=
            con.Execute(QStringLiteral("select count(*) from ") + table +
                        QStringLiteral(" d where not exists (select 1 from agreementregister a "
                                       "where a.agrDepartmentid=d.") +
                        dept + QStringLiteral(" and a.agragreementid=d.") + id + QLatin1Char(')'))
                .Fields(0)
                .toLong();
        for (platform::Recordset rs =
                 con.Execute(QStringLiteral("select ") + dept + QLatin1Char(',') + id +
                             QStringLiteral(",count(*) from ") + table + QStringLiteral(" group by ") + dept +
                             QLatin1Char(',') + id);
             !rs.isEOF(); rs.MoveNext()) {
            QList<int> &counts = rows[AgreementKey(rs.Fields(0).toLong(), rs.Fields(1).toLong())];
            counts.resize(5);
            counts[t] = rs.Fields(2).toLong();
        }
    }
    for (auto it = descriptions.cbegin(); it != descriptions.cend(); ++it) {
        QList<int> expected;
        const QStringList counts = it.value().section(QStringLiteral(" rows "), 1).split(QLatin1Char(','));
        for (const QString &count : counts)
            expected << count.toInt();
        QList<int> stored = rows.value(it.key());
        stored.resize(5);
        if (stored != expected)
            state.incomplete << QStringLiteral("%1/%2 '%3' has %4")
                                    .arg(it.key().first)
                                    .arg(it.key().second)
                                    .arg(it.value())
                                    .arg(QStringList{QString::number(stored[0]), QString::number(stored[1]),
                                                     QString::number(stored[2]), QString::number(stored[3]),
                                                     QString::number(stored[4])}
                                             .join(QLatin1Char(',')));
    }
    for (platform::Recordset rs = con.Execute(
             QStringLiteral("select DepartmentID, AgreementID from aActivityLog where ActionCode='N'"));
         !rs.isEOF(); rs.MoveNext())
        state.audited.insert(AgreementKey(rs.Fields(0).toLong(), rs.Fields(1).toLong()));
    return state;
}

} // namespace agrtest
