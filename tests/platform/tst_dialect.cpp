// The suite's statements run unchanged on every backend and give the server's answers.

#include "platform/database/dialect.h"
#include "platform/runtime/errors.h"
#include "support/testdb.h"
#include "support/testsupport.h"

#include <QTest>

using platform::ColumnType;
using platform::Connection;
using platform::Recordset;

namespace {

QString firstText(Connection &con, const QString &sql)
{
    Recordset rs = con.Execute(sql);
    return rs.Fields(0).text();
}

void createRegister(Connection &con)
{
    const platform::Dialect &d = con.dialect();
    con.Execute(QStringLiteral("create table agreementregister (agragreementid ") +
                d.columnType(ColumnType::Integer) + QStringLiteral(", agrDepartmentid ") +
                d.columnType(ColumnType::SmallInt) + QStringLiteral(", agragreementNo ") +
                d.columnType(ColumnType::Text) + QStringLiteral(", agragreementdate ") +
                d.columnType(ColumnType::Date) + QStringLiteral(", agragreementdesc ") +
                d.columnType(ColumnType::Text) + QStringLiteral(", agragreementtype ") +
                d.columnType(ColumnType::Text) + QStringLiteral(", agrapplicableTo ") +
                d.columnType(ColumnType::Text) + QStringLiteral(", agragreementwith ") +
                d.columnType(ColumnType::Text) + QStringLiteral(", agrcancelled ") +
                d.columnType(ColumnType::SmallInt) + QStringLiteral(" default 0)"));
}

void addAgreement(Connection &con, int id, int department, const QString &number, const QVariant &date,
                  int cancelled = 0)
{
    platform::Command cmd(con);
    cmd.setCommandText(QStringLiteral("insert into agreementregister (agragreementid, agrDepartmentid, "
                                      "agragreementNo, agragreementdate, agrcancelled) values (?,?,?,?,?)"));
    cmd.ParametersRefresh();
    cmd.Execute({id, department, number, date, cancelled});
}

// The number statement of the entry form, built exactly as the form builds it.
QString nextNumberSql(int department, const QString &prefix)
{
    const QString L = QString::number(prefix.size());
    if (department != 0)
        return "Select isnull(max(convert(int,right(agragreementNo,len(agragreementNo)-" + L +
               "))),0) from agreementregister where agrDepartmentid = " + QString::number(department) +
               " and len(agragreementNo)>len('" + prefix + "') and " +
               " isnumeric(isnull(right(agragreementNo,len(agragreementNo)-" + L +
               "),0)) =1 and substring(agragreementNo,1,len('" + prefix + "'))='" + prefix + "'";
    return "Select isnull(max(convert(int,right(agragreementNo,len(agragreementNo)-" + L +
           "))),0) from agreementregister " + " len(agragreementNo)>len('" + prefix + "') and " +
           " isnumeric(isnull(right(agragreementNo,len(agragreementNo)-" + L +
           "),0)) =1 and substring(agragreementNo,1,len('" + prefix + "'))='" + prefix + "'";
}

QList<int> ids(Recordset rs)
{
    QList<int> out;
    for (; !rs.isEOF(); rs.MoveNext())
        out.append(rs.Fields(0).toLong());
    return out;
}

} // namespace

class tst_dialect : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void rewrite();
    void numberStatement_data() { agrtest::addBackends(); }
    void numberStatement();
    void listStatement_data() { agrtest::addBackends(); }
    void listStatement();
    void functions_data() { agrtest::addBackends(); }
    void functions();
    void datesReadBack_data() { agrtest::addBackends(); }
    void datesReadBack();
};

// The rewrite sees only code: literals, quoted names and comments are never changed.
void tst_dialect::rewrite()
{
    const auto asInteger = [](const QString &type) {
        return type.compare(QLatin1String("int"), Qt::CaseInsensitive) == 0 ? QStringLiteral("integer")
                                                                            : type;
    };
    QCOMPARE(platform::rewriteConvert(
                 QStringLiteral("select isnull(max(convert(int,right(no,len(no)-3))),0) from t"), asInteger),
             QStringLiteral("select isnull(max(cast(right(no,len(no)-3) as integer)),0) from t"));
    QCOMPARE(platform::rewriteConvert(QStringLiteral("select CONVERT ( int , convert(varchar(10), x) ) + 1"),
                                      asInteger),
             QStringLiteral("select cast(cast(x as varchar(10)) as integer) + 1"));
    const QString untouched =
        QStringLiteral("select 'convert(int, x)', \"convert\"(a), [isnull](b) -- convert(int,c)\n");
    QCOMPARE(platform::rewriteConvert(untouched, asInteger), untouched);
    // A style argument is not ours to translate: the engine rejects the call as written.
    QCOMPARE(platform::rewriteConvert(QStringLiteral("convert(varchar, d, 103)"), asInteger),
             QStringLiteral("convert(varchar, d, 103)"));

    const QHash<QString, QString> names = {{QStringLiteral("isnull"), QStringLiteral("agr_isnull")},
                                           {QStringLiteral("right"), QStringLiteral("agr_right")}};
    QCOMPARE(
        platform::renameFunctions(
            QStringLiteral(
                "select ISNULL (a,'isnull(') from t right join u on t.right=u.x where right(a,1)='x'"),
            names),
        QStringLiteral(
            "select agr_isnull (a,'isnull(') from t right join u on t.right=u.x where agr_right(a,1)='x'"));
    QCOMPARE(platform::renameFunctions(QStringLiteral("select s.isnull(a) from t where a isnull"), names),
             QStringLiteral("select s.isnull(a) from t where a isnull"));

    // The date part of datediff is a bare word to the suite and a literal to the engines.
    QCOMPARE(
        platform::quoteDateParts(QStringLiteral(
            "select DateDiff(Day, a, b), 'datediff(day, x' from t where datediff ( dd ,x,y) > t.day")),
        QStringLiteral(
            "select DateDiff('day', a, b), 'datediff(day, x' from t where datediff ( 'dd' ,x,y) > t.day"));

    QCOMPARE(platform::countParameterMarkers(QStringLiteral("insert into t values (?, '?', \"?\", ?) -- ?")),
             2);
}

void tst_dialect::numberStatement()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url, false);
    if (!con)
        return;
    createRegister(*con);
    int id = 0;
    for (const char *no : {"AG/9", "AG/10", "AG/12A", "AG/", "7"})
        addAgreement(*con, ++id, 1, QString::fromLatin1(no), QDate(2026, 11, 1));
    addAgreement(*con, ++id, 2, QStringLiteral("AG/50"), QDate(2026, 11, 1)); // another department
    addAgreement(*con, ++id, 2, QStringLiteral("90"), QDate(2026, 11, 1));

    QCOMPARE(firstText(*con, nextNumberSql(1, QStringLiteral("AG/"))), QStringLiteral("10"));
    QCOMPARE(firstText(*con, nextNumberSql(1, QString())), QStringLiteral("7"));
    QCOMPARE(firstText(*con, nextNumberSql(2, QString())), QStringLiteral("90"));
    QCOMPARE(firstText(*con, nextNumberSql(3, QStringLiteral("AG/"))), QStringLiteral("0"));

    // The statement text the module builds for department 0 has no "where": the server rejects it.
    platform::RuntimeError why(0, QString(), QString());
    QVERIFY(agrtest::errorOf([&] { con->Execute(nextNumberSql(0, QStringLiteral("AG/"))); }, &why) != 0);
    QVERIFY(!why.description().isEmpty());
}

void tst_dialect::listStatement()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url, false);
    if (!con)
        return;
    createRegister(*con);
    // Dates as the module writes them: grid and box text 'dd/mm/yyyy', date values from the pickers.
    con->Execute(
        QStringLiteral("insert into agreementregister (agragreementid, agrDepartmentid, agragreementNo, "
                       "agragreementdate, agrcancelled) values (1, 1, 'AG/1', '15/10/2026', 0)"));
    con->Execute(
        QStringLiteral("insert into agreementregister (agragreementid, agrDepartmentid, agragreementNo, "
                       "agragreementdate, agrcancelled) values (2, 1, 'AG/2', '16/10/2026', 1)"));
    addAgreement(*con, 3, 1, QStringLiteral("AG/3"), QDate(2027, 1, 2));
    addAgreement(*con, 4, 1, QStringLiteral("AG/4"), QDate(2025, 12, 31));
    addAgreement(*con, 5, 1, QStringLiteral("AG/5"), QStringLiteral("01/11/2026"));
    addAgreement(*con, 6, 1, QStringLiteral("AG/6"), QDate(2026, 10, 16));
    addAgreement(*con, 7, 2, QStringLiteral("AG/7"), QDate(2026, 11, 1)); // another department

    const QDate from = QDate(2026, 11, 15).addDays(-30);
    const QString list =
        QStringLiteral(" select agragreementid,agragreementNo,agragreementdate,agragreementdesc,") +
        " agragreementtype ,agrapplicableTo,agragreementwith, " +
        " case agrcancelled when 1 then 'Yes' when 0 then 'No' end cancelled" +
        " from  agreementregister where agrDepartmentid = " + QString::number(1) +
        " and agragreementdate>=' " + from.toString(QStringLiteral("yyyyMMdd")) +
        "' order by agragreementid ";
    QVERIFY(list.contains(QLatin1String("agragreementdate>=' 20261016'")));

    Recordset rs = con->Execute(list);
    QCOMPARE(rs.fieldCount(), 8);
    QList<int> listed;
    QStringList cancelled;
    for (; !rs.isEOF(); rs.MoveNext()) {
        listed.append(rs.Fields(0).toLong());
        cancelled.append(rs.Fields(QStringLiteral("cancelled")).text());
    }
    QCOMPARE(listed, (QList<int>{2, 3, 5, 6}));
    QCOMPARE(cancelled, (QStringList{"Yes", "No", "No", "No"}));

    QCOMPARE(ids(con->Execute(
                 QStringLiteral("select agragreementid from agreementregister where agrDepartmentid = 1 "
                                "order by agragreementdate, agragreementid"))),
             (QList<int>{4, 1, 2, 6, 5, 3}));
    QCOMPARE(ids(con->Execute(
                 QStringLiteral("select agragreementid from agreementregister "
                                "where agragreementdate < '20261016' order by agragreementdate desc"))),
             (QList<int>{1, 4}));
}

void tst_dialect::functions()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url, false);
    if (!con)
        return;
    con->Execute(QStringLiteral("create table MixedCase (ItemId integer, ItemName ") +
                 con->dialect().columnType(ColumnType::Text) + QStringLiteral(", Qty integer)"));
    con->Execute(QStringLiteral("insert into mixedcase (itemid, itemname, qty) values (1, 'ab  ', 5)"));
    con->Execute(QStringLiteral("insert into MIXEDCASE (ITEMID, ITEMNAME, QTY) values (2, null, null)"));

    const auto value = [&](const QString &expr, int id = 1) {
        return firstText(*con, QStringLiteral("select ") + expr +
                                   QStringLiteral(" from MixedCase where ItemId = ") + QString::number(id));
    };
    QCOMPARE(value(QStringLiteral("isnull(ItemName, 'none')"), 2), QStringLiteral("none"));
    QCOMPARE(value(QStringLiteral("isnull(ItemName, 'none')")), QStringLiteral("ab  "));
    QCOMPARE(value(QStringLiteral("isnull(Qty, 0)"), 2), QStringLiteral("0"));
    QCOMPARE(value(QStringLiteral("isnull(Qty, 0) + 1")), QStringLiteral("6"));
    QCOMPARE(value(QStringLiteral("len(ItemName)")), QStringLiteral("2"));
    QCOMPARE(value(QStringLiteral("len('  abc   ')")), QStringLiteral("5"));
    QCOMPARE(value(QStringLiteral("len('')")), QStringLiteral("0"));
    QCOMPARE(value(QStringLiteral("right('abcdef', 2)")), QStringLiteral("ef"));
    QCOMPARE(value(QStringLiteral("right('abc', 0)")), QString());
    QCOMPARE(value(QStringLiteral("right('abc', 5)")), QStringLiteral("abc"));
    QCOMPARE(value(QStringLiteral("substring('AG/12', 1, len('AG/'))")), QStringLiteral("AG/"));
    QCOMPARE(value(QStringLiteral("convert(int, right('AG/12', 2)) + 1")), QStringLiteral("13"));
    QCOMPARE(value(QStringLiteral("convert(varchar(10), Qty)")), QStringLiteral("5"));
    QCOMPARE(value(QStringLiteral("case when Qty > 1 then 'many' else 'few' end")), QStringLiteral("many"));
    QCOMPARE(value(QStringLiteral("'convert(int, x)'")), QStringLiteral("convert(int, x)"));
    QCOMPARE(value(QStringLiteral("'isnull(' || 'right(x,1)'")), QStringLiteral("isnull(right(x,1)"));
    QCOMPARE(value(QStringLiteral("isnumeric(isnull(right(ItemName, 1), 0))"), 2), QStringLiteral("1"));

    const QStringList numeric = {"12", " 12 ", "-1.5", "+3.", ".5", "1e5", "2E-3"};
    const QStringList notNumeric = {"", " ", "12A", "AG/", ".", "+", "1e", "1.2.3", "1 2"};
    for (const QString &text : numeric)
        QVERIFY2(value("isnumeric('" + text + "')") == QLatin1String("1"), qPrintable(text));
    for (const QString &text : notNumeric)
        QVERIFY2(value("isnumeric('" + text + "')") == QLatin1String("0"), qPrintable(text));
    QCOMPARE(value(QStringLiteral("isnumeric(ItemName)"), 2), QStringLiteral("0"));

    // Whole days between dates in any of the forms the register stores; NULL where a date is missing.
    QCOMPARE(value(QStringLiteral("datediff(day, '20261115', '16/11/2026')")), QStringLiteral("1"));
    QCOMPARE(value(QStringLiteral("datediff(day, '2026-12-31', '20260101')")), QStringLiteral("-364"));
    QCOMPARE(value(QStringLiteral("datediff(dd, '20240228', '20240301')")), QStringLiteral("2"));
    QCOMPARE(value(QStringLiteral("case when datediff(day, '20261115', null) is null then 'none' end")),
             QStringLiteral("none"));

    // Identifiers in any case, and fields found by any case whatever case the engine returns.
    Recordset rs =
        con->Execute(QStringLiteral("select itemid, ItemName, QTY from MIXEDcase where itemID = 1"));
    QCOMPARE(rs.Fields(QStringLiteral("ITEMNAME")).text(), QStringLiteral("ab  "));
    QCOMPARE(rs.Fields(QStringLiteral("qty")).toLong(), 5);
}

void tst_dialect::datesReadBack()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url, false);
    if (!con)
        return;
    const platform::Dialect &d = con->dialect();
    con->Execute(QStringLiteral("create table Signed (agsDetailid integer, ") +
                 d.columnDefinition(QStringLiteral("agsSignedDate"), ColumnType::Date) +
                 QStringLiteral(", ") + d.columnDefinition(QStringLiteral("LoggedAt"), ColumnType::DateTime) +
                 QStringLiteral(")"));
    con->Execute(QStringLiteral("insert into Signed values (1, '15/11/2026', '15/11/2026')"));
    con->Execute(QStringLiteral("insert into Signed values (2, ' 20261115', '2026-11-15 10:20:30')"));
    platform::Command cmd(*con);
    cmd.setCommandText(QStringLiteral("insert into Signed values (?, ?, ?)"));
    cmd.ParametersRefresh();
    cmd.Execute({3, QDate(2026, 11, 15), QDateTime(QDate(2026, 11, 15), QTime(10, 20, 30))});
    cmd.Execute({4, QStringLiteral("15/11/2026"), QVariant()});

    Recordset rs = con->Execute(QStringLiteral("select * from Signed order by agsDetailid"));
    QCOMPARE(rs.RecordCount(), 4);
    for (; !rs.isEOF(); rs.MoveNext()) {
        const platform::Field date = rs.Fields(QStringLiteral("agsSignedDate"));
        QCOMPARE(date.Value().typeId(), QMetaType::QDate);
        QCOMPARE(date.toDate(), QDate(2026, 11, 15));
        QCOMPARE(date.text(), QStringLiteral("15/11/2026"));
    }
    rs.MoveFirst();
    QCOMPARE(rs.Fields(QStringLiteral("LoggedAt")).toDate(), QDate(2026, 11, 15));
    rs.MoveNext();
    QCOMPARE(rs.Fields(QStringLiteral("LoggedAt")).text(), QStringLiteral("15/11/2026 10:20:30"));
    rs.MoveLast();
    QVERIFY(rs.Fields(QStringLiteral("LoggedAt")).isNull());

    // A text that is no date is refused, as the server refuses it, rather than stored unreadable.
    for (const char *text : {"15/11/2026'; drop table Signed; --", "31/02/2026", "Lease"}) {
        QVERIFY2(agrtest::errorOf([&] { cmd.Execute({5, QLatin1String(text), QVariant()}); }) != 0, text);
        QVERIFY2(agrtest::errorOf([&] { cmd.Execute({5, QVariant(), QLatin1String(text)}); }) != 0, text);
    }
    QCOMPARE(agrtest::countRows(*con, QStringLiteral("Signed")), 4);
}

QTEST_MAIN(tst_dialect)
#include "tst_dialect.moc"
