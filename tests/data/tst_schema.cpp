// The schema and the demo data on every backend: creation is idempotent, the columns carry the register's
// own names, and the demo install answers the module's own statements.

#include "support/testdb.h"
#include "support/testsupport.h"

#include "data/access.h"
#include "data/schema.h"
#include "platform/database/connection.h"

#include <QTest>

using namespace agr::schema;

namespace {

int count(platform::Connection &con, const QString &sql)
{
    platform::Recordset rs = con.Execute(sql);
    return rs.Fields(0).toLong();
}

void insert(platform::Connection &con, const QString &table, const QStringList &columns,
            const QVariantList &values)
{
    QStringList markers;
    for (qsizetype i = 0; i < columns.size(); ++i)
        markers << QStringLiteral("?");
    platform::Command command(con);
    command.setCommandText(QStringLiteral("insert into ") % table % QStringLiteral(" (") %
                           columns.join(QLatin1Char(',')) % QStringLiteral(") values (") %
                           markers.join(QLatin1Char(',')) % QLatin1Char(')'));
    command.ParametersRefresh();
    command.Execute(values);
}

// The number statement of a new agreement, as the entry form builds it for a department and a prefix.
QString numberStatement(int department, const QString &prefix)
{
    const QString length = QString::number(prefix.size());
    return QStringLiteral("Select isnull(max(convert(int,right(agragreementNo,len(agragreementNo)-") %
           length % QStringLiteral("))),0) from agreementregister where agrDepartmentid = ") %
           QString::number(department) % QStringLiteral(" and len(agragreementNo)>len('") % prefix %
           QStringLiteral("') and ") %
           QStringLiteral(" isnumeric(isnull(right(agragreementNo,len(agragreementNo)-") % length %
           QStringLiteral("),0)) =1 and substring(agragreementNo,1,len('") % prefix %
           QStringLiteral("'))='") % prefix % QStringLiteral("'");
}

} // namespace

class tst_schema : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void createTwice_data() { agrtest::addBackends(); }
    void createTwice();
    void columnsAsNamed_data() { agrtest::addBackends(); }
    void columnsAsNamed();
    void agreementKey_data() { agrtest::addBackends(); }
    void agreementKey();
    void demoData_data() { agrtest::addBackends(); }
    void demoData();
    void olderActivityLogGainsItsChain_data() { agrtest::addBackends(); }
    void olderActivityLogGainsItsChain();
    void everyTableHasAClerkGrant();
};

void tst_schema::createTwice()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url, false);
    if (!con)
        return;

    QStringList missing;
    QVERIFY(!SchemaPresent(*con, &missing));
    QCOMPARE(missing, tableNames());

    const CreateReport first = CreateSchema(*con);
    QCOMPARE(first.created, tableNames());
    QVERIFY(first.existing.isEmpty());
    QVERIFY(SchemaPresent(*con, &missing));
    QVERIFY(missing.isEmpty());
    for (const char *table :
         {"agreementregister", "AgreementScanCopyDetails", "aHQpaymentvoucherdebitdetails",
          table::ActivityLog, table::FaultLog, table::GridSettings, table::KeyCounters})
        QVERIFY2(tableNames().contains(QLatin1String(table)), table);

    QVERIFY(LoadDemoData(*con, QDate(2026, 11, 15)));
    const int agreements = count(*con, QStringLiteral("select count(*) from agreementregister"));

    const CreateReport second = CreateSchema(*con);
    QVERIFY(second.created.isEmpty());
    QCOMPARE(second.existing, tableNames());
    QCOMPARE(count(*con, QStringLiteral("select count(*) from agreementregister")), agreements);

    // A table dropped later is the only one created again.
    con->Execute(QStringLiteral("drop table aGridSettings"));
    QVERIFY(!SchemaPresent(*con, &missing));
    QCOMPARE(missing, QStringList{QStringLiteral("aGridSettings")});
    QCOMPARE(CreateSchema(*con).created, QStringList{QStringLiteral("aGridSettings")});
}

void tst_schema::columnsAsNamed()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url);
    if (!con)
        return;

    // Written by name exactly as the register writes them, misspellings included; read back in other cases.
    insert(*con, QStringLiteral("agreementregister"),
           {QStringLiteral("agragreementid"), QStringLiteral("agrDepartmentid"),
            QStringLiteral("agragreementNo"), QStringLiteral("agragreementdate"),
            QStringLiteral("agrValidFromdate"), QStringLiteral("agrNoofPages"),
            QStringLiteral("agragencyfindepaddress"), QStringLiteral("alertnoofdays")},
           {7, 3, QStringLiteral("AG/7"), QStringLiteral("15/11/2026"), QDate(2026, 11, 16), 12.0, QVariant(),
            30.5});
    insert(*con, QStringLiteral("AgreementSignedDetails"),
           {QStringLiteral("agsagreementid"), QStringLiteral("agsDepartmentid"),
            QStringLiteral("agsDetailid"), QStringLiteral("agsSignedBy"), QStringLiteral("agsPosition"),
            QStringLiteral("agsSignedDate"), QStringLiteral("agsAgency")},
           {7, 3, 1, QStringLiteral("Ravi"), QStringLiteral("Director"), QStringLiteral("03/02/2026"), 1});
    insert(*con, QStringLiteral("AgreementWitnessDetails"),
           {QStringLiteral("agwAgreementid"), QStringLiteral("agwDepartmentid"),
            QStringLiteral("agwDetailid"), QStringLiteral("agwSignedBy"), QStringLiteral("agwPostion"),
            QStringLiteral("agwSignedDate"), QStringLiteral("agwWitenessAddress"),
            QStringLiteral("agwAgency")},
           {7, 3, 1, QStringLiteral("Priya"), QStringLiteral("Advocate"), QStringLiteral(""),
            QStringLiteral("4 Brigade Road"), 0});
    insert(*con, QStringLiteral("AgreementScanCopyDetails"),
           {QStringLiteral("agsCompanyID"), QStringLiteral("agsAgreementID"),
            QStringLiteral("agsDepartmentID"), QStringLiteral("agsDetailID"),
            QStringLiteral("agsAgreementName"), QStringLiteral("agsDocuments")},
           {1, 7, 3, 1, QStringLiteral("Deed"), QByteArray("\xff\xd8\x00\x01jpeg", 8)});
    insert(*con, QStringLiteral("aHQpaymentvoucherdebitdetails"),
           {QStringLiteral("PddPaymentID"), QStringLiteral("pddAgrrementTransID")}, {5, 7});

    platform::Recordset header = con->Execute(
        QStringLiteral("select * from agreementregister where agrdepartmentid=3 and AGRAGREEMENTID=7"));
    QCOMPARE(header.RecordCount(), 1);
    QCOMPARE(header[QStringLiteral("agragreementdate")].toDate(), QDate(2026, 11, 15));
    QCOMPARE(header[QStringLiteral("agrvalidfromdate")].toDate(), QDate(2026, 11, 16));
    QCOMPARE(header[QStringLiteral("agrNoofPages")].toDouble(), 12.0);
    QCOMPARE(header[QStringLiteral("alertnoofdays")].toDouble(), 30.5);
    QVERIFY(header[QStringLiteral("agragencyfindepaddress")].isNull());
    QVERIFY(header[QStringLiteral("agrwithsupplierid")].isNull());
    QCOMPARE(header[QStringLiteral("agrcancelled")].toLong(), 0); // never written by the save

    platform::Recordset signer =
        con->Execute(QStringLiteral("select agsDetailID, agsSignedDate, agsAgency from "
                                    "AgreementSignedDetails where agsAgreementid = 7"));
    QCOMPARE(signer[QStringLiteral("agsDetailID")].toLong(), 1);
    QCOMPARE(signer[QStringLiteral("agsSignedDate")].toDate(), QDate(2026, 2, 3));
    QVERIFY(signer[QStringLiteral("agsAgency")].toBool());

    platform::Recordset witness = con->Execute(QStringLiteral(
        "select agwPostion, agwWitenessAddress from AgreementWitnessDetails where agwAgreementid=7"));
    QCOMPARE(witness[QStringLiteral("agwPostion")].text(), QStringLiteral("Advocate"));
    QCOMPARE(witness[QStringLiteral("agwWitenessAddress")].text(), QStringLiteral("4 Brigade Road"));

    platform::Recordset scan = con->Execute(
        QStringLiteral("select agsDocuments from AgreementScanCopyDetails where agsAgreementID = 7"));
    QCOMPARE(scan[QStringLiteral("agsDocuments")].Value().toByteArray(),
             QByteArray("\xff\xd8\x00\x01jpeg", 8));
    QCOMPARE(count(*con, QStringLiteral("select count(*) from aHQpaymentvoucherdebitdetails where "
                                        "pddAgrrementTransID=7")),
             1);

    // Dates written as text and as date values compare as dates against the list's literal.
    insert(*con, QStringLiteral("agreementregister"),
           {QStringLiteral("agragreementid"), QStringLiteral("agrDepartmentid"),
            QStringLiteral("agragreementdate")},
           {8, 3, QDate(2026, 10, 1)});
    QCOMPARE(
        count(*con, QStringLiteral("select count(*) from agreementregister where agrDepartmentid = 3 and "
                                   "agragreementdate>=' 20261016'")),
        1);
}

void tst_schema::agreementKey()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url);
    if (!con)
        return;
    const QStringList key = {QStringLiteral("agragreementid"), QStringLiteral("agrDepartmentid"),
                             QStringLiteral("agragreementNo")};
    insert(*con, QStringLiteral("agreementregister"), key, {1, 1, QStringLiteral("AG/1")});
    // Another department may hold the same id.
    insert(*con, QStringLiteral("agreementregister"), key, {1, 2, QStringLiteral("AG/1")});

    QVERIFY(agrtest::errorOf([&] {
                insert(*con, QStringLiteral("agreementregister"), key, {1, 1, QStringLiteral("AG/2")});
            }) != 0);
    QCOMPARE(count(*con, QStringLiteral("select count(*) from agreementregister")), 2);
}

void tst_schema::demoData()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url);
    if (!con)
        return;
    const QDate today(2026, 11, 15);
    QVERIFY(LoadDemoData(*con, today));
    QVERIFY(!LoadDemoData(*con, today)); // company 1 is there: nothing more
    QCOMPARE(count(*con, QStringLiteral("select count(*) from aUsers")), 2);

    // The list of department 1 from the back period before today holds all twelve, oldest first.
    const int backDays = count(*con, QStringLiteral("select BackNoOfDays from aPackageSettings"));
    QCOMPARE(backDays, demo::BackNoOfDays);
    platform::Recordset list = con->Execute(
        QStringLiteral(" select agragreementid,agragreementNo,agragreementdate,agragreementdesc,"
                       " agragreementtype ,agrapplicableTo,agragreementwith, "
                       " case agrcancelled when 1 then 'Yes' when 0 then 'No' end cancelled"
                       " from  agreementregister where agrDepartmentid = 1 and agragreementdate>=' ") +
        today.addDays(-backDays).toString(QStringLiteral("yyyyMMdd")) +
        QStringLiteral("' order by agragreementid "));
    QCOMPARE(list.RecordCount(), demo::AgreementCount);
    QDate previous;
    for (int id = 1; !list.isEOF(); ++id, list.MoveNext()) {
        QCOMPARE(list[0].toLong(), id);
        QCOMPARE(list[1].text(), QStringLiteral("AG/%1").arg(id));
        const QDate date = list[2].toDate();
        QVERIFY(date > previous && date < today);
        previous = date;
        QCOMPARE(list[7].text(),
                 id == demo::CancelledAgreementId ? QStringLiteral("Yes") : QStringLiteral("No"));
    }
    QCOMPARE(count(*con, QStringLiteral("select count(*) from agreementregister where agrDepartmentid = 2")),
             demo::OtherDepartmentAgreements);

    QCOMPARE(count(*con, numberStatement(demo::DepartmentId, QString::fromLatin1(demo::Prefix))),
             demo::AgreementCount);

    platform::Recordset prefix = con->Execute(QStringLiteral(
        "SELECT Prefix FROM aPrefix WHERE  CompanyID = 1 AND InterfaceID = 1003 AND FinancialId = "
        "(Select FinancialId from aFinancialYear where CurFinancialYear = 1)"));
    QCOMPARE(prefix.RecordCount(), 1);
    QCOMPARE(prefix[QStringLiteral("Prefix")].text(), QString::fromLatin1(demo::Prefix));

    platform::Recordset rights = con->Execute(
        QStringLiteral("select FunctionRights from aUserRights where userid=1 and interfaceid=1003"));
    QCOMPARE(rights[0].text(), QStringLiteral("NEDP"));

    // Captions come back in grid order without ORDER BY, the hidden id column first.
    platform::Recordset captions = con->Execute(QStringLiteral(
        "select tc.columnheader,tc.columnname from atables t,atablecolumns tc where t.tableid = "
        "tc.tableid and tablename ='agreementregister'"));
    QStringList headers;
    for (; !captions.isEOF(); captions.MoveNext())
        headers << captions[0].text();
    QCOMPARE(headers, (QStringList{QStringLiteral("Agreement ID"), QStringLiteral("Agreement No"),
                                   QStringLiteral("Agreement Date"), QStringLiteral("Description"),
                                   QStringLiteral("Type"), QStringLiteral("Applicable To"),
                                   QStringLiteral("Agreement With"), QStringLiteral("Cancelled")}));

    QCOMPARE(count(*con, QStringLiteral("select count(*) from ashops where CompanyID=1")), 3);
    QCOMPARE(count(*con, QStringLiteral("select count(*) from avendormaster where CompanyID=2")), 1);
    QCOMPARE(count(*con, QStringLiteral(
                             "select count(*) from aHqPaymentVoucherHeader pvh,"
                             "aHQpaymentvoucherdebitdetails pvdd where pvh.phpaymentId=pvdd.PddPaymentID "
                             "and pvdd.pddAgrrementTransID=1")),
             2);
    const char *const details[][2] = {{"AgreementDetails", "agd"},
                                      {"AgreementSignedDetails", "ags"},
                                      {"AgreementWitnessDetails", "agw"},
                                      {"AgreementFinancialDetails", "agf"},
                                      {"AgreementContents", "agc"}};
    for (const auto &detail : details) {
        const QString sql =
            QStringLiteral("select count(*) from %1 where %2Agreementid=%3 and %2Departmentid=1")
                .arg(QLatin1String(detail[0]), QLatin1String(detail[1]))
                .arg(demo::DetailedAgreementId);
        QVERIFY2(count(*con, sql) > 0, detail[0]);
    }
}

QTEST_MAIN(tst_schema)
// A log made before rows were chained keeps its rows and gains the hash columns; the installing login is
// mapped to the demo's clerk.
void tst_schema::olderActivityLogGainsItsChain()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url, false);
    if (!con)
        return;
    con->Execute(
        QStringLiteral("create table aActivityLog (LogID integer, CompanyID integer, AgreementNo text)"));
    con->Execute(
        QStringLiteral("insert into aActivityLog (LogID, CompanyID, AgreementNo) values (1, 1, 'AG/1')"));
    const agr::schema::CreateReport report = agr::schema::CreateSchema(*con);
    QVERIFY(report.existing.contains(QStringLiteral("aActivityLog")));
    QCOMPARE(
        agrtest::countRows(*con, QStringLiteral("aActivityLog"),
                           QStringLiteral("RowHash is null and PrevHash is null and AgreementNo='AG/1'")),
        1);
    agr::schema::CreateSchema(*con); // and once more: nothing to add

    QVERIFY(agr::schema::LoadDemoData(*con, QDate(2026, 11, 15)));
    const QString login = agr::schema::currentLogin(*con);
    QVERIFY(!login.isEmpty());
    QCOMPARE(agr::schema::usersOfLogin(*con, login), QList<int>{demo::ClerkUserId});
    QCOMPARE(agr::schema::departmentsOfLogin(*con, login),
             (QList<int>{demo::DepartmentId, demo::OtherDepartmentId}));
    QVERIFY(agr::schema::usersOfLogin(*con, login + QStringLiteral("'x")).isEmpty());
}

// A table a clerk's login cannot reach breaks the clerk's work only at run time: every table of the schema
// is in the clerk's grants, once, and the logs are only appended to.
void tst_schema::everyTableHasAClerkGrant()
{
    QStringList granted;
    for (const agr::schema::TableGrant &grant : agr::schema::ClerkGrants()) {
        granted << QLatin1String(grant.table);
        const QString privileges = QLatin1String(grant.privileges);
        if (granted.last().endsWith(QLatin1String("Log")))
            QCOMPARE(privileges, QStringLiteral("SELECT, INSERT"));
        if (granted.last() == QLatin1String("agreementregister"))
            QVERIFY(!privileges.contains(QLatin1String("DELETE")));
    }
    QStringList tables = agr::schema::tableNames();
    tables.sort();
    granted.sort();
    QCOMPARE(granted, tables);
}

#include "tst_schema.moc"
