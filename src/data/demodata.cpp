#include "schema.h"

#include "access.h"

#include "platform/database/connection.h"
#include "platform/runtime/errors.h"

#include <QVariant>

namespace agr::schema {

namespace {

// One parameterised insert per table, prepared once and run for each row.
class Inserter
{
public:
    Inserter(platform::Connection &con, const QString &table, const QStringList &columns) : m_command(con)
    {
        QStringList markers;
        for (qsizetype i = 0; i < columns.size(); ++i)
            markers << QStringLiteral("?");
        m_command.setCommandText(QStringLiteral("insert into ") % table % QStringLiteral(" (") %
                                 columns.join(QLatin1Char(',')) % QStringLiteral(") values (") %
                                 markers.join(QLatin1Char(',')) % QLatin1Char(')'));
        m_command.ParametersRefresh();
    }
    void operator()(const QVariantList &values) { m_command.Execute(values); }

private:
    platform::Command m_command;
};

QStringList cols(const char *list)
{
    return QString::fromLatin1(list).split(QLatin1Char(','));
}

const QVariant Null;

QString ddmmyyyy(const QDate &date)
{
    return date.toString(QStringLiteral("dd/MM/yyyy"));
}

struct DemoAgreement
{
    int department;
    int id;
    int daysAgo;
    bool textDate; // stored as 'dd/mm/yyyy' text, as the entry form writes it
    const char *desc;
    const char *type;
    int shopId;   // 0: none
    int godownId; // 0: none
    const char *applicableTo;
    int customerId; // 0: none
    int supplierId; // 0: none
    const char *with;
    const char *lawyer;
    int years;
};

// Department 1 numbers its agreements AG/1..AG/12 in date order; department 2 starts again at AG/1.
const DemoAgreement agreements[] = {
    {1, 1, 28, true, "Lease of shop premises at Market Road", "Lease", 1, 0, "Market Road Shop", 0, 0,
     "Sri Ganesh Estates", "K. Suresh", 3},
    {1, 2, 26, false, "Annual maintenance of cold storage", "Maintenance", 0, 1, "Central Godown", 0, 1,
     "Prime Packaging", "Lakshmi Legal LLP", 1},
    {1, 3, 24, true, "Supply of packaging material", "Supply", 0, 0, "Head Office", 0, 2, "Reliable Supplies",
     "Lakshmi Legal LLP", 2},
    {1, 4, 22, false, "Security services for the central godown", "Service", 0, 2, "Industrial Estate Godown",
     0, 0, "Shield Security Services", "K. Suresh", 1},
    {1, 5, 20, true, "Franchise agreement - North zone", "Franchise", 0, 0, "Head Office", 1, 0,
     "Apex Retail", "R. Menon & Associates", 5},
    {1, 6, 18, false, "Lease of godown at Industrial Estate", "Lease", 0, 2, "Industrial Estate Godown", 0, 0,
     "Patel Warehousing", "K. Suresh", 3},
    {1, 7, 16, true, "Bulk purchase agreement", "Supply", 2, 0, "Station Road Shop", 2, 0, "Bharat Wholesale",
     "R. Menon & Associates", 1},
    {1, 8, 14, false, "Insurance of stock in transit", "Insurance", 0, 0, "Head Office", 0, 0,
     "National Insurance Co", "", 1},
    {1, 9, 12, true, "Rental of delivery vehicles", "Rental", 1, 0, "Market Road Shop", 0, 3,
     "Swift Logistics", "Lakshmi Legal LLP", 2},
    {1, 10, 9, false, "Software support contract", "Service", 0, 0, "Head Office", 0, 0, "Infoline Systems",
     "K. Suresh", 1},
    {1, 11, 5, true, "Housekeeping services", "Service", 3, 0, "Lake View Mall Shop", 0, 1, "Prime Packaging",
     "R. Menon & Associates", 1},
    {1, 12, 2, false, "Distribution agreement - South zone", "Franchise", 0, 0, "Head Office", 3, 0,
     "Coastal Traders", "Lakshmi Legal LLP", 5},
    {2, 1, 10, true, "Office cleaning contract", "Service", 0, 0, "Head Office", 0, 0, "Sparkle Cleaners",
     "A. Fernandes", 1},
    {2, 2, 3, false, "Lease of photocopiers", "Lease", 0, 0, "Head Office", 0, 2, "Reliable Supplies",
     "A. Fernandes", 2},
};

QVariant idOrNull(int id)
{
    return id ? QVariant(id) : Null;
}

void loadMasters(platform::Connection &con, const QDate &today)
{
    const int c1 = demo::CompanyId;
    const int c2 = demo::OtherCompanyId;

    Inserter company(con, QStringLiteral("acompanymaster"), cols("CompanyID,CompanyName"));
    company({c1, QStringLiteral("Demo Trading Company")});
    company({c2, QStringLiteral("Second Demo Company")});

    Inserter department(con, QStringLiteral("adepartmentmaster"),
                        cols("DepartmentID,CompanyID,DepartmentName"));
    department({demo::DepartmentId, c1, QStringLiteral("Purchase")});
    department({demo::OtherDepartmentId, c1, QStringLiteral("Administration")});

    // Calendar years; the current one is flagged.
    const int year = today.year();
    Inserter financialYear(con, QStringLiteral("aFinancialYear"),
                           cols("FinancialId,FinancialYear,FromDate,ToDate,CurFinancialYear"));
    financialYear({1, QString::number(year - 1), QDate(year - 1, 1, 1), QDate(year - 1, 12, 31), 0});
    financialYear({2, QString::number(year), QDate(year, 1, 1), QDate(year, 12, 31), 1});

    // Only the first row matches company 1, this interface and the current year.
    Inserter prefix(con, QStringLiteral("aPrefix"), cols("Prefix,CompanyID,InterfaceID,FinancialId"));
    prefix({QString::fromLatin1(demo::Prefix), c1, demo::InterfaceId, 2});
    prefix({QStringLiteral("OLD/"), c1, demo::InterfaceId, 1});
    prefix({QStringLiteral("AGR/"), c2, demo::InterfaceId, 2});
    prefix({QStringLiteral("PO/"), c1, 1004, 2});

    Inserter shop(con, QStringLiteral("ashops"), cols("shopid,shopname,CompanyID"));
    shop({1, QStringLiteral("Market Road Shop"), c1});
    shop({2, QStringLiteral("Station Road Shop"), c1});
    shop({3, QStringLiteral("Lake View Mall Shop"), c1});
    shop({4, QStringLiteral("Harbour Shop"), c2});

    Inserter godown(con, QStringLiteral("agodown"), cols("godownid,godownname,CompanyID"));
    godown({1, QStringLiteral("Central Godown"), c1});
    godown({2, QStringLiteral("Industrial Estate Godown"), c1});
    godown({3, QStringLiteral("Harbour Godown"), c2});

    Inserter customer(con, QStringLiteral("acustomermaster"), cols("customerid,customername,CompanyID"));
    customer({1, QStringLiteral("Apex Retail"), c1});
    customer({2, QStringLiteral("Bharat Wholesale"), c1});
    customer({3, QStringLiteral("Coastal Traders"), c1});
    customer({4, QStringLiteral("Harbour Stores"), c2});

    Inserter vendor(con, QStringLiteral("avendormaster"), cols("vendorid,vendorname,CompanyID"));
    vendor({1, QStringLiteral("Prime Packaging"), c1});
    vendor({2, QStringLiteral("Reliable Supplies"), c1});
    vendor({3, QStringLiteral("Swift Logistics"), c1});
    vendor({4, QStringLiteral("Harbour Freight"), c2});

    Inserter user(con, QStringLiteral("aUsers"), cols("userid,UserName,CompanyID"));
    user({demo::ClerkUserId, QStringLiteral("clerk"), c1});
    user({demo::AdminUserId, QStringLiteral("admin"), c1});

    Inserter rights(con, QStringLiteral("aUserRights"), cols("userid,interfaceid,FunctionRights"));
    rights({demo::ClerkUserId, demo::InterfaceId, QStringLiteral("NEDP")});
    rights({demo::AdminUserId, demo::InterfaceId, QStringLiteral("ADMIN")});
    rights({demo::ClerkUserId, 1004, QStringLiteral("N")});

    Inserter settings(con, QStringLiteral("aPackageSettings"), cols("BackNoOfDays"));
    settings({demo::BackNoOfDays});

    Inserter tables(con, QStringLiteral("atables"), cols("tableid,tablename"));
    tables({1, QStringLiteral("agreementregister")});
    tables({2, QStringLiteral("aHqPaymentVoucherHeader")});

    // Inserted in grid column order: the list reads them without ORDER BY and skips the first (the hidden
    // id column).
    Inserter columns(con, QStringLiteral("atablecolumns"),
                     cols("tableid,columnorder,columnheader,columnname"));
    const char *const listColumns[][2] = {
        {"Agreement ID", "agragreementid"},     {"Agreement No", "agragreementNo"},
        {"Agreement Date", "agragreementdate"}, {"Description", "agragreementdesc"},
        {"Type", "agragreementtype"},           {"Applicable To", "agrapplicableTo"},
        {"Agreement With", "agragreementwith"}, {"Cancelled", "cancelled"},
    };
    int order = 0;
    for (const auto &column : listColumns)
        columns({1, order++, QString::fromLatin1(column[0]), QString::fromLatin1(column[1])});
    columns({2, 0, QStringLiteral("Payment No"), QStringLiteral("phPaymentNo")});
    columns({2, 1, QStringLiteral("Payment Date"), QStringLiteral("phPaymentDate")});
}

void loadAgreements(platform::Connection &con, const QDate &today)
{
    Inserter header(con, QStringLiteral("agreementregister"),
                    cols("agragreementid,agrDepartmentid,agragreementNo,agragreementdate,agragreementdesc,"
                         "agragreementtype,agrapplicableshopid,agrapplicablegodownid,agrapplicableTo,"
                         "agrValidFromdate,agrValidTodate,agrSigneddate,agrwithCustomerid,agrwithsupplierid,"
                         "agragreementwith,agrAgencyHOaddress,agrAgencyContactNo,agrAgencyEmailid,"
                         "agragencyfindepaddress,agrfinancecontactNo,agrfinanceEmailid,agrLawyer,"
                         "agrPhysicalfileLOC,agrReferenceNo,agrNoofPages,agrPointofContact,agrPOCaddress,"
                         "agrPOCcontactNo,agrPOCdesignation,agrPOCemailid,alertnoofdays,alertremarks"));
    for (const DemoAgreement &a : agreements) {
        const QDate date = today.addDays(-a.daysAgo);
        const QDate validFrom = date.addDays(1);
        const QString with = QString::fromUtf8(a.with);
        header({a.id,
                a.department,
                QString(QString::fromLatin1(demo::Prefix) + QString::number(a.id)),
                a.textDate ? QVariant(ddmmyyyy(date)) : QVariant(date),
                QString::fromUtf8(a.desc),
                QString::fromUtf8(a.type),
                idOrNull(a.shopId),
                idOrNull(a.godownId),
                QString::fromUtf8(a.applicableTo),
                validFrom,
                validFrom.addYears(a.years).addDays(-1),
                date,
                idOrNull(a.customerId),
                idOrNull(a.supplierId),
                with,
                QStringLiteral("%1, Head Office, MG Road").arg(with),
                QStringLiteral("080-2555%1").arg(a.id, 4, 10, QLatin1Char('0')),
                QStringLiteral("office%1@example.com").arg(a.id),
                Null,
                Null,
                Null,
                QString::fromUtf8(a.lawyer),
                QStringLiteral("Cabinet %1, shelf %2").arg(a.department).arg(a.id),
                QStringLiteral("REF/%1/%2").arg(today.year()).arg(a.id, 3, 10, QLatin1Char('0')),
                double(4 + a.id % 5),
                QStringLiteral("Contact person %1").arg(a.id),
                QStringLiteral("%1 Residency Road").arg(10 + a.id),
                QStringLiteral("98450%1").arg(a.id * 1111, 5, 10, QLatin1Char('0')),
                a.id % 2 ? QStringLiteral("Manager") : QStringLiteral("Accounts Officer"),
                a.id == 3 ? Null : QVariant(QStringLiteral("poc%1@example.com").arg(a.id)),
                double(30),
                QStringLiteral("Renew before expiry")});
    }
    con.Execute(QStringLiteral("update agreementregister set agrcancelled=1 where agrDepartmentid=%1 and "
                               "agragreementid=%2")
                    .arg(demo::DepartmentId)
                    .arg(demo::CancelledAgreementId));

    // A few near the end of their term, so that opening the register has something due to show.
    platform::Command ends(con);
    ends.setCommandText(QStringLiteral("update agreementregister set agrValidTodate=?, alertremarks=? where "
                                       "agrDepartmentid=? and agragreementid=?"));
    ends.ParametersRefresh();
    ends.Execute({today.addDays(demo::DueInDays),
                  QStringLiteral("Ask for the revised price list before renewing"), demo::DepartmentId,
                  demo::DueAgreementId});
    ends.Execute({today.addDays(-demo::ExpiredDaysAgo), QStringLiteral("Guards stay on a monthly extension"),
                  demo::DepartmentId, demo::ExpiredAgreementId});
    ends.Execute({today.addDays(3), QStringLiteral("Cancelled: not to be renewed"), demo::DepartmentId,
                  demo::CancelledAgreementId});
    ends.Execute({today.addDays(7), QStringLiteral("Renew before expiry"), demo::OtherDepartmentId, 1});
}

void loadDetails(platform::Connection &con, const QDate &today)
{
    const int d1 = demo::DepartmentId;
    const int full = demo::DetailedAgreementId;

    Inserter summary(con, QStringLiteral("AgreementDetails"),
                     cols("agdAgreementid,agdDepartmentid,agdDetailid,agdDetails"));
    summary({full, d1, 1, QStringLiteral("Premises of 1200 sq ft on the ground floor")});
    summary({full, d1, 2, QStringLiteral("Rent payable by the 5th of each month")});
    summary({full, d1, 3, QStringLiteral("Security deposit of six months rent")});
    summary({2, d1, 1, QStringLiteral("Quarterly preventive maintenance visits")});
    for (int i = 1; i <= 5; ++i)
        summary({5, d1, i, QStringLiteral("Franchise condition %1").arg(i)});
    summary({1, demo::OtherDepartmentId, 1, QStringLiteral("Daily cleaning of all floors")});

    Inserter signedBy(con, QStringLiteral("AgreementSignedDetails"),
                      cols("agsagreementid,agsDepartmentid,agsDetailid,agsSignedBy,agsPosition,agsSignedDate,"
                           "agsAgency"));
    const QDate signedOn = today.addDays(-28);
    signedBy({full, d1, 1, QStringLiteral("Ravi Kumar"), QStringLiteral("Director"), ddmmyyyy(signedOn), 0});
    signedBy({full, d1, 2, QStringLiteral("S. Ganesh"), QStringLiteral("Proprietor"), signedOn, 1});
    signedBy({2, d1, 1, QStringLiteral("Meera Nair"), QStringLiteral("Purchase Manager"),
              ddmmyyyy(today.addDays(-26)), 0});

    Inserter witness(con, QStringLiteral("AgreementWitnessDetails"),
                     cols("agwAgreementid,agwDepartmentid,agwDetailid,agwSignedBy,agwPostion,agwSignedDate,"
                          "agwWitenessAddress,agwAgency"));
    witness({full, d1, 1, QStringLiteral("Anil Shetty"), QStringLiteral("Accountant"), ddmmyyyy(signedOn),
             QStringLiteral("12 Church Street"), 0});
    witness({full, d1, 2, QStringLiteral("Priya Rao"), QStringLiteral("Advocate"), signedOn,
             QStringLiteral("4 Brigade Road"), 1});
    witness({2, d1, 1, QStringLiteral("John Dsouza"), QStringLiteral("Store Keeper"),
             ddmmyyyy(today.addDays(-26)), QStringLiteral("Central Godown"), 0});

    Inserter finance(con, QStringLiteral("AgreementFinancialDetails"),
                     cols("agfAgreementid,agfDepartmentid,agffinanceDetailid,agffinanceDetail"));
    finance({full, d1, 1, QStringLiteral("Monthly rent 45,000 payable in advance")});
    finance({full, d1, 2, QStringLiteral("Rent rises by 5% each year")});
    finance({2, d1, 1, QStringLiteral("Annual charge 1,20,000 in four instalments")});

    Inserter contents(con, QStringLiteral("AgreementContents"),
                      cols("agcAgreementid,agcDepartmentid,agcDetailid,agcContentdesc"));
    contents({full, d1, 1, QStringLiteral("Lease deed")});
    contents({full, d1, 2, QStringLiteral("Site plan")});
    contents({full, d1, 3, QStringLiteral("Copy of property tax receipt")});
    contents({2, d1, 1, QStringLiteral("Service schedule")});
}

void loadPayments(platform::Connection &con, const QDate &today)
{
    Inserter voucher(con, QStringLiteral("aHqPaymentVoucherHeader"),
                     cols("phpaymentId,CompanyID,phPaymentNo,phPaymentDate,phRemarks,phPayee,phAmount"));
    voucher({1, demo::CompanyId, QStringLiteral("HQPV/101"), today.addDays(-25),
             QStringLiteral("Security deposit"), QStringLiteral("Sri Ganesh Estates"), 270000.0});
    voucher({2, demo::CompanyId, QStringLiteral("HQPV/117"), today.addDays(-3),
             QStringLiteral("Rent for this month"), QStringLiteral("Sri Ganesh Estates"), 45000.0});

    Inserter debit(con, QStringLiteral("aHQpaymentvoucherdebitdetails"),
                   cols("PddPaymentID,pddDetailID,pddAgrrementTransID,pddAmount"));
    debit({1, 1, demo::PaidAgreementId, 270000.0});
    debit({2, 1, demo::PaidAgreementId, 45000.0});
}

bool companyExists(platform::Connection &con)
{
    for (const char *table : {"acompanymaster", "ashops"}) {
        platform::Recordset rs = con.Execute(QStringLiteral("select count(*) from %1 where CompanyID = %2")
                                                 .arg(QLatin1String(table))
                                                 .arg(demo::CompanyId));
        if (rs.Fields(0).toLong() > 0)
            return true;
    }
    return false;
}

} // namespace

bool LoadDemoData(platform::Connection &con, const QDate &today)
{
    if (companyExists(con))
        return false;
    con.BeginTrans();
    try {
        loadMasters(con, today);
        loadAgreements(con, today);
        loadDetails(con, today);
        loadPayments(con, today);
        // Whoever installs the demo works as its clerk, in both departments.
        MapLogin(con, currentLogin(con), demo::ClerkUserId, {demo::DepartmentId, demo::OtherDepartmentId});
    } catch (...) {
        con.RollbackTrans();
        throw;
    }
    con.CommitTrans();
    return true;
}

} // namespace agr::schema
