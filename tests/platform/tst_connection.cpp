// Connection, Recordset, Field and Command behave as the module expects on every backend.

#include "platform/database/connection.h"
#include "platform/database/dialect.h"
#include "platform/runtime/errors.h"
#include "support/testdb.h"
#include "support/testsupport.h"

#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <QUrl>

#include <atomic>

using agrtest::countRows;
using agrtest::errorOf;
using platform::ColumnType;
using platform::Command;
using platform::Connection;
using platform::Field;
using platform::Recordset;

namespace {

void createParties(Connection &con)
{
    const platform::Dialect &d = con.dialect();
    con.Execute(QStringLiteral("create table Parties (PartyId ") + d.columnType(ColumnType::Integer) +
                QStringLiteral(", PartyName ") + d.columnType(ColumnType::Text) + QStringLiteral(", Pages ") +
                d.columnType(ColumnType::Double) + QStringLiteral(", SignedOn ") +
                d.columnType(ColumnType::Date) + QLatin1Char(')'));
}

// A connection of its own on a thread of its own, taking the lock on a name.
class LockTaker : public QThread
{
public:
    LockTaker(QString url, QString key) : m_url(std::move(url)), m_key(std::move(key)) {}
    std::atomic<bool> taken{false};
    QString failure;

protected:
    void run() override
    {
        platform::Trap(
            [this] {
                Connection con;
                con.Open(m_url);
                const platform::KeyLock lock = con.lockKey(m_key);
                taken = lock.isHeld();
            },
            [this](const platform::RuntimeError &e) { failure = e.description(); });
    }

private:
    QString m_url;
    QString m_key;
};

} // namespace

class tst_connection : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void fieldConversions();
    void readingRows_data() { agrtest::addBackends(); }
    void readingRows();
    void command_data() { agrtest::addBackends(); }
    void command();
    void urlForms_data() { agrtest::addBackends(); }
    void urlForms();
    void errors_data() { agrtest::addBackends(); }
    void errors();
    void statementLog_data() { agrtest::addBackends(); }
    void statementLog();
    void transactions_data() { agrtest::addBackends(); }
    void transactions();
    void binaryValues_data() { agrtest::addBackends(); }
    void binaryValues();
    void keyLocks_data() { agrtest::addBackends(); }
    void keyLocks();
};

void tst_connection::fieldConversions()
{
    const Field null(QStringLiteral("x"), QVariant());
    QCOMPARE(errorOf([&] { null.text(); }), platform::err::InvalidUseOfNull);
    QCOMPARE(errorOf([&] { null.toLong(); }), platform::err::InvalidUseOfNull);
    QCOMPARE(errorOf([&] { null.toDate(); }), platform::err::InvalidUseOfNull);
    QCOMPARE(null.joinEmpty(), QString(QLatin1String("")));
    QVERIFY(!null.joinEmpty().isNull());

    QCOMPARE(Field(QStringLiteral("d"), QDate(2026, 2, 3)).text(), QStringLiteral("03/02/2026"));
    QCOMPARE(Field(QStringLiteral("d"), QDateTime(QDate(2026, 2, 3), QTime(0, 0))).text(),
             QStringLiteral("03/02/2026"));
    QCOMPARE(Field(QStringLiteral("d"), QStringLiteral("03/02/2026")).toDate(), QDate(2026, 2, 3));
    QCOMPARE(Field(QStringLiteral("n"), 2.5).text(), QStringLiteral("2.5"));
    QCOMPARE(Field(QStringLiteral("n"), 41.0).text(), QStringLiteral("41"));
    QCOMPARE(Field(QStringLiteral("n"), QStringLiteral(" 41 ")).toLong(), 41);
    QCOMPARE(Field(QStringLiteral("n"), 2.5).toLong(), 2); // halves go to the even number
    QCOMPARE(Field(QStringLiteral("n"), 70000).toLong(), 70000);
    QCOMPARE(errorOf([] { Field(QStringLiteral("n"), 70000).toInteger(); }), platform::err::Overflow);
    QCOMPARE(errorOf([] { Field(QStringLiteral("n"), qint64(1) << 40).toLong(); }), platform::err::Overflow);
    QCOMPARE(errorOf([] { Field(QStringLiteral("n"), QStringLiteral("12A")).toLong(); }),
             platform::err::TypeMismatch);
}

void tst_connection::readingRows()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url, false);
    if (!con)
        return;
    createParties(*con);
    QVERIFY(con->dialect().tableExists(*con, QStringLiteral("PARTIES")));
    QVERIFY(!con->dialect().tableExists(*con, QStringLiteral("Partie")));
    con->Execute(QStringLiteral("insert into Parties values (1, 'Shop one', 12, '15/11/2026')"));
    con->Execute(QStringLiteral("insert into Parties values (2, null, null, null)"));
    con->Execute(QStringLiteral("insert into Parties values (3, '', 0, '01/12/2026')"));

    Recordset rs;
    rs.Open(QStringLiteral("select * from Parties order by PartyId"), *con);
    QVERIFY(rs.isOpen());
    QCOMPARE(rs.RecordCount(), 3);
    QCOMPARE(rs.fieldCount(), 4);
    QVERIFY(!rs.isBOF() && !rs.isEOF());
    QCOMPARE(rs.AbsolutePosition(), 1);
    QCOMPARE(rs.Fields(QStringLiteral("partyname")).text(), QStringLiteral("Shop one"));
    QCOMPARE(rs[QStringLiteral("PARTYNAME")].text(), QStringLiteral("Shop one"));
    QCOMPARE(rs.Fields(QStringLiteral("Pages")).toDouble(), 12.0);
    QCOMPARE(rs.Fields(QStringLiteral("SignedOn")).toDate(), QDate(2026, 11, 15));
    QCOMPARE(errorOf([&] { rs.Fields(QStringLiteral("NoSuchColumn")); }), platform::err::ItemNotFound);
    QCOMPARE(errorOf([&] { rs.Fields(4); }), platform::err::ItemNotFound);

    rs.MoveNext();
    for (const char *name : {"PartyName", "Pages", "SignedOn"}) {
        const Field f = rs.Fields(QLatin1String(name));
        QVERIFY2(f.isNull(), name);
        QCOMPARE(errorOf([&] { f.text(); }), platform::err::InvalidUseOfNull);
        QCOMPARE(f.joinEmpty(), QString());
    }
    rs.MoveNext();
    QVERIFY(!rs.Fields(QStringLiteral("PartyName")).isNull()); // empty text is not NULL
    QCOMPARE(rs.Fields(QStringLiteral("PartyName")).text(), QString());
    rs.MoveNext();
    QVERIFY(rs.isEOF());
    QCOMPARE(rs.AbsolutePosition(), 0);
    QCOMPARE(errorOf([&] { rs.Fields(0); }), 3021);
    QCOMPARE(errorOf([&] { rs.MoveNext(); }), 3021);
    rs.MovePrevious();
    QCOMPARE(rs.Fields(0).toLong(), 3);
    rs.MoveFirst();
    QCOMPARE(rs.Fields(0).toLong(), 1);
    rs.Close();
    QVERIFY(!rs.isOpen());
    QCOMPARE(errorOf([&] { rs.RecordCount(); }), platform::err::ObjectClosed);

    Recordset empty =
        con->Execute(QStringLiteral("select PartyId, PartyName from Parties where PartyId = 99"));
    QVERIFY(empty.isBOF() && empty.isEOF());
    QCOMPARE(empty.RecordCount(), 0);
    QCOMPARE(empty.fieldCount(), 2);

    Recordset changed = con->Execute(QStringLiteral("update Parties set Pages = 1 where PartyId >= 2"));
    QVERIFY(!changed.isOpen());
    QCOMPARE(changed.RecordsAffected(), 2);
}

void tst_connection::command()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url, false);
    if (!con)
        return;
    createParties(*con);
    Command cmd(*con);
    cmd.setCommandText(
        QStringLiteral("insert into Parties (PartyId, PartyName, Pages, SignedOn) values (?, ?, ?, ?)"));
    cmd.ParametersRefresh();
    QCOMPARE(cmd.parameterCount(), 4);
    QCOMPARE(cmd.Execute({1, QStringLiteral("it's"), 2.5, QDate(2026, 11, 15)}).RecordsAffected(), 1);
    cmd.Execute({2, QVariant(), QVariant(), QVariant()});
    cmd.Execute({3, QString(), 0.0, QStringLiteral("15/11/2026")}); // a null QString is empty text

    Command select(*con);
    select.setCommandText(
        QStringLiteral("select PartyId, PartyName from Parties where PartyId >= ? and PartyName <> '?' "
                       "order by PartyId"));
    select.ParametersRefresh();
    QCOMPARE(select.parameterCount(), 1);
    Recordset rs = select.Execute({1});
    QCOMPARE(rs.RecordCount(), 2); // the NULL name of party 2 is neither equal nor unequal
    QCOMPARE(rs.Fields(QStringLiteral("PartyName")).text(), QStringLiteral("it's"));
    rs.MoveNext();
    QCOMPARE(rs.Fields(QStringLiteral("partyid")).toLong(), 3);
    QCOMPARE(rs.Fields(QStringLiteral("PartyName")).text(), QString());
    QCOMPARE(select.Execute({3}).RecordCount(), 1); // the prepared statement runs again

    Recordset nulls =
        con->Execute(QStringLiteral("select PartyName, Pages, SignedOn from Parties where PartyId = 2"));
    QVERIFY(nulls.Fields(0).isNull() && nulls.Fields(1).isNull() && nulls.Fields(2).isNull());
    QCOMPARE(errorOf([&] { cmd.Execute({4}); }), platform::err::DatabaseError);

    // Blank grid cells reach number and date columns as text: the row is stored all the same.
    cmd.Execute({5, QString(), QStringLiteral(""), QStringLiteral(" ")});
    Recordset blank = con->Execute(QStringLiteral("select Pages, SignedOn from Parties where PartyId = 5"));
    QCOMPARE(blank.RecordCount(), 1);
    if (con->backend() == platform::Backend::PostgreSQL) {
        QCOMPARE(blank.Fields(0).toDouble(), 0.0);
        QCOMPARE(blank.Fields(1).toDate(), QDate(1900, 1, 1));
    }
}

void tst_connection::urlForms()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url, false);
    if (!con)
        return;
    con->Execute(QStringLiteral("create table Marker (Id integer)"));
    const QString fresh = con->url();
    QStringList forms;
    if (con->backend() == platform::Backend::SQLite) {
        forms << fresh.mid(int(qstrlen("sqlite:")));
    } else {
        static const QRegularExpression parts(
            QStringLiteral("^postgresql://([^@]*)@([^:/]*):(\\d+)/([^?]*)$"));
        const QRegularExpressionMatch m = parts.match(fresh);
        QVERIFY2(m.hasMatch(), qPrintable(fresh));
        const QString host = QUrl::fromPercentEncoding(m.captured(2).toUtf8());
        if (!host.startsWith(QLatin1Char('/')))
            QSKIP("the test server is reached over TCP");
        forms << "postgresql://" + m.captured(1) + "@" + host + ":" + m.captured(3) + "/" + m.captured(4)
              << "postgresql://" + m.captured(1) + "@/" + m.captured(4) + "?host=" + host +
                     "&port=" + m.captured(3);
    }
    for (const QString &form : std::as_const(forms)) {
        Connection other;
        QVERIFY2(errorOf([&] { other.Open(form); }) == 0, qPrintable(form));
        QCOMPARE(countRows(other, QStringLiteral("Marker")), 0);
    }
}

void tst_connection::errors()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url, false);
    if (!con)
        return;
    const QString driver =
        con->backend() == platform::Backend::SQLite ? QStringLiteral("QSQLITE") : QStringLiteral("QPSQL");
    platform::RuntimeError raised(0, QString(), QString());
    QVERIFY(errorOf([&] { con->Execute(QStringLiteral("select * from NoSuchTable")); }, &raised) != 0);
    QCOMPARE(raised.source(), driver);
    QVERIFY2(raised.description().contains(QLatin1String("nosuchtable"), Qt::CaseInsensitive),
             qPrintable(raised.description()));

    Command cmd(*con);
    cmd.setCommandText(QStringLiteral("insert into NoSuchTable values (?)"));
    QVERIFY(errorOf(
                [&] {
                    cmd.ParametersRefresh();
                    cmd.Execute({1});
                },
                &raised) != 0);
    QCOMPARE(raised.source(), driver);

    // The connection stays usable after a rejected statement.
    QCOMPARE(Recordset(con->Execute(QStringLiteral("select 1"))).Fields(0).toLong(), 1);

    Connection bad;
    const QString badUrl = con->backend() == platform::Backend::SQLite
                               ? QStringLiteral("sqlite:/no/such/folder/x.db")
                               : QString(url).replace(QRegularExpression(QStringLiteral("/[^/?]*(\\?|$)")),
                                                      QStringLiteral("/no_such_database\\1"));
    QVERIFY(errorOf([&] { bad.Open(badUrl); }, &raised) != 0);
    QVERIFY2(raised.description().startsWith(QLatin1String("cannot open database ")),
             qPrintable(raised.description()));
    QVERIFY(!bad.isOpen());
    QCOMPARE(errorOf([&] { bad.Execute(QStringLiteral("select 1")); }), platform::err::ObjectClosed);
}

void tst_connection::statementLog()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url, false);
    if (!con)
        return;
    createParties(*con);
    con->clearStatementLog();
    const QString insert = QStringLiteral("insert into Parties (PartyId, PartyName) values (?, ?)");
    Command cmd(*con);
    cmd.setCommandText(insert);
    cmd.ParametersRefresh();
    cmd.Execute({7, QStringLiteral("x")});
    const QString select = QStringLiteral("select isnull(PartyName, '') from Parties where PartyId = 7");
    Recordset rs;
    rs.Open(select, *con);
    con->setStatementLogEnabled(false);
    con->Execute(QStringLiteral("select 1"));
    con->setStatementLogEnabled(true);
    const QString update = QStringLiteral("update Parties set Pages = convert(int, '3')");
    con->Execute(update);

    const QList<platform::LoggedStatement> &log = con->statementLog();
    QCOMPARE(log.size(), 3);
    QCOMPARE(log.at(0).text, insert);
    QCOMPARE(log.at(0).values, (QVariantList{7, QStringLiteral("x")}));
    QCOMPARE(log.at(1).text, select); // as written, before any rewrite
    QVERIFY(log.at(1).values.isEmpty());
    QCOMPARE(log.at(2).text, update);

    // A connection as the program opens it keeps no log.
    platform::Connection program;
    program.Open(con->url());
    program.Execute(select);
    QVERIFY(program.statementLog().isEmpty());
}

void tst_connection::transactions()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url, false);
    if (!con)
        return;
    createParties(*con);
    Connection other;
    other.Open(con->url());

    con->BeginTrans();
    QCOMPARE(con->transactionLevel(), 1);
    con->Execute(QStringLiteral("insert into Parties (PartyId) values (1)"));
    QCOMPARE(countRows(*con, QStringLiteral("Parties")), 1);
    QCOMPARE(countRows(other, QStringLiteral("Parties")), 0);
    con->RollbackTrans();
    QCOMPARE(con->transactionLevel(), 0);
    QCOMPARE(countRows(*con, QStringLiteral("Parties")), 0);

    con->BeginTrans();
    con->Execute(QStringLiteral("insert into Parties (PartyId) values (2)"));
    con->CommitTrans();
    QCOMPARE(countRows(other, QStringLiteral("Parties")), 1);
}

void tst_connection::binaryValues()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url, false);
    if (!con)
        return;
    const platform::Dialect &d = con->dialect();
    con->Execute(QStringLiteral("create table ScanCopies (agsAgreementID ") +
                 d.columnType(ColumnType::Integer) + QStringLiteral(", agsDetailID ") +
                 d.columnType(ColumnType::Integer) + QStringLiteral(", agsAgreementName ") +
                 d.columnType(ColumnType::Text) + QStringLiteral(", agsDocuments ") +
                 d.columnType(ColumnType::Blob) + QLatin1Char(')'));

    QByteArray image("\xFF\xD8\xFF\xE0", 4);
    for (int i = 0; i < 70000; ++i)
        image.append(static_cast<char>(i % 256));
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString in = dir.filePath(QStringLiteral("in.jpg"));
    const QString out = dir.filePath(QStringLiteral("out.jpg"));
    platform::SaveToFile(in, image);
    QCOMPARE(platform::LoadFromFile(in), image);
    QCOMPARE(errorOf([&] { platform::LoadFromFile(dir.filePath(QStringLiteral("missing.jpg"))); }),
             platform::err::FileNotFound);

    Recordset rs;
    rs.Open(QStringLiteral("Select * from ScanCopies where agsAgreementID = 5"), *con);
    QVERIFY(rs.isEOF());
    for (int serial = 1; serial <= 2; ++serial) {
        rs.AddNew();
        rs.setValue(QStringLiteral("agsAgreementID"), 5);
        rs.setValue(QStringLiteral("agsdetailid"), serial);
        rs.setValue(QStringLiteral("agsAgreementName"), QStringLiteral("Page %1").arg(serial));
        rs.setValue(QStringLiteral("agsDocuments"), platform::LoadFromFile(in));
        rs.Update();
    }
    QCOMPARE(errorOf([&] { rs.setValue(QStringLiteral("NoSuchColumn"), 1); }), 3251);
    rs.Close();

    rs.Open(QStringLiteral(" select * from ScanCopies where agsAgreementID = 5 order by agsDetailID"), *con);
    QCOMPARE(rs.RecordCount(), 2);
    rs.MoveLast();
    QCOMPARE(rs.Fields(QStringLiteral("agsAgreementName")).text(), QStringLiteral("Page 2"));
    platform::SaveToFile(out, rs.Fields(QStringLiteral("agsDocuments")).Value().toByteArray());
    QCOMPARE(platform::LoadFromFile(out), image);
}

// A lock on a name keeps every other connection that asks for the same name waiting, and no other name;
// released while the holder's transaction has been aborted by an error, it lets the next one through.
void tst_connection::keyLocks()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url, false);
    if (!con)
        return;
    platform::KeyLock held = con->lockKey(QStringLiteral("numbers 1 AG/"));
    QVERIFY(held.isHeld());

    LockTaker other(con->url(), QStringLiteral("numbers 2 AG/"));
    other.start();
    QVERIFY(other.wait());
    QVERIFY2(other.taken, qPrintable(other.failure));

    LockTaker same(con->url(), QStringLiteral("numbers 1 AG/"));
    same.start();
    QVERIFY(!same.wait(300)); // still waiting
    QVERIFY(!same.taken);

    con->BeginTrans();
    QVERIFY(errorOf([&] { con->Execute(QStringLiteral("select * from NoSuchTable")); }) != 0);
    held.release();
    QVERIFY(same.wait());
    QVERIFY2(same.taken, qPrintable(same.failure));
    con->RollbackTrans();

    // The connection takes it again; switched off, it holds nothing.
    held = con->lockKey(QStringLiteral("numbers 1 AG/"));
    QVERIFY(held.isHeld());
    held.release();
    con->setKeyLocksEnabled(false);
    QVERIFY(!con->lockKey(QStringLiteral("numbers 1 AG/")).isHeld());
}

QTEST_MAIN(tst_connection)
#include "tst_connection.moc"
