// Opening the entry form from the list: empty for a new agreement, or filled with the selected agreement,
// its detail lists and its payments for edit. The list waits while the entry form is open.

#include "data/basagreementreg.h"
#include "entry/modulecontext.h"
#include "forms/agreement/formevents.h"
#include "forms/agreement/frmagreementreg.h"
#include "forms/list/frmmaster.h"
#include "platform/connection.h"
#include "platform/flexgrid.h"
#include "platform/seams.h"

#include <QComboBox>
#include <QDateEdit>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <functional>

namespace agr {

namespace {

using platform::FlexGrid;
using platform::Recordset;

// Reads every record of sql into rows 1.. of the grid, adding rows only where the grid has too few.
void fillDetailGrid(FlexGrid &grid, const QString &sql,
                    const std::function<void(const Recordset &, int)> &writeRow)
{
    Recordset rs;
    rs.Open(sql, *context().connection());
    if (!rs.isEOF()) {
        const int count = rs.RecordCount();
        for (int i = 1; i <= count; ++i) {
            if (i > grid.Rows() - 1)
                grid.AddItem(QString());
            writeRow(rs, i);
            rs.MoveNext();
        }
    }
    rs.Close();
}

QString yesNo(const platform::Field &flag)
{
    return flag.toBool() ? QStringLiteral("Y") : QStringLiteral("N");
}

// The header record into the entry form's controls. Setting an option runs its click, which fills the
// combo box that the stored id is then selected in.
void fillHeader(FrmAgreementreg &form, const Recordset &rs)
{
    const Service<IGeneralService> &general = form.generalService;
    form.txtagreementNo->setText(Trim(rs[QStringLiteral("agragreementNo")].text()));
    const platform::Field date = rs[QStringLiteral("agragreementdate")];
    form.txtdate->setText(date.isNull() ? QString() : date.toDate().toString(QStringLiteral("dd/MM/yyyy")));
    form.txtdesc->setText(rs[QStringLiteral("agragreementdesc")].text());
    general->SelectComboItemByName(form.cbotype, Trim(rs[QStringLiteral("agragreementtype")].text()));

    const platform::Field shop = rs[QStringLiteral("agrapplicableshopid")];
    const platform::Field godown = rs[QStringLiteral("agrapplicablegodownid")];
    if (!shop.isNull()) {
        form.optShop->setChecked(true);
        general->SelectComboItemByValue(form.cboapplicable, shop.Value());
    }
    if (!godown.isNull()) {
        form.optgodown->setChecked(true);
        general->SelectComboItemByValue(form.cboapplicable, godown.Value());
    }
    if (shop.isNull() && godown.isNull())
        form.optHq->setChecked(true);
    form.txtapplicable->setText(rs[QStringLiteral("agrapplicableTo")].text());

    form.dtpvalidfrom->setDate(rs[QStringLiteral("agrValidFromdate")].toDate());
    form.dtpvalidto->setDate(rs[QStringLiteral("agrValidTodate")].toDate());
    form.dtpsigned->setDate(rs[QStringLiteral("agrSigneddate")].toDate());

    const platform::Field customer = rs[QStringLiteral("agrwithCustomerid")];
    const platform::Field supplier = rs[QStringLiteral("agrwithsupplierid")];
    if (!customer.isNull()) {
        form.optcustomer->setChecked(true);
        general->SelectComboItemByValue(form.cboagency, customer.Value());
    }
    if (!supplier.isNull()) {
        form.optsupplier->setChecked(true);
        general->SelectComboItemByValue(form.cboagency, supplier.Value());
    }
    if (customer.isNull() && supplier.isNull())
        form.optothers->setChecked(true);

    form.txtagency->setText(rs[QStringLiteral("agragreementwith")].text());
    form.txthqadd->setText(rs[QStringLiteral("agrAgencyHOaddress")].text());
    form.txttelephone->setText(rs[QStringLiteral("agrAgencyContactNo")].text());
    form.txtemail->setText(rs[QStringLiteral("agrAgencyEmailid")].text());
    general->SelectComboItemByName(form.cbolawyer, Trim(rs[QStringLiteral("agrLawyer")].text()));
    form.txtphyloc->setText(rs[QStringLiteral("agrPhysicalfileLOC")].text());
    form.txtrefno->setText(rs[QStringLiteral("agrReferenceNo")].text());
    form.txtnoofpages->setText(rs[QStringLiteral("agrNoofPages")].text());
    form.txtwebsite->setText(rs[QStringLiteral("agrPointofContact")].text());
    form.txtpocaddr->setText(rs[QStringLiteral("agrPOCaddress")].text());
    form.txtpoctele->setText(rs[QStringLiteral("agrPOCcontactNo")].text());
    form.txtpocdesg->setText(rs[QStringLiteral("agrPOCdesignation")].text());
    form.txtalertnoofdays->setText(rs[QStringLiteral("alertnoofdays")].joinEmpty());
    form.txtalertremarks->setText(rs[QStringLiteral("alertremarks")].joinEmpty());
    form.txtpocemail->setText(rs[QStringLiteral("agrPOCemailid")].joinEmpty());
}

} // namespace

void FrmMaster::cmdnew_Click()
{
    bas::Trap(this, "cmdNew_Click", [this] {
        if (!cmdnew->isEnabled())
            return;
        platform::setMousePointer(this, platform::vbHourglass);
        dbService->setAdocon(context().connection());
        bas::entryMode() = QStringLiteral("N");
        platform::showModal(frmAgreementreg());
        mfgMaster_SelChange();
        platform::setMousePointer(this, platform::vbDefault);
    });
}

void FrmMaster::CmdEdit_Click()
{
    bas::Trap(this, "CmdEdit_Click", [this] {
        const int row = mfgMaster->Row();
        const QString id = mfgMaster->TextMatrix(row, col(ListCol::AgreementId));
        const bool cancelled = mfgMaster->TextMatrix(row, col(ListCol::Cancelled)) == QLatin1String("Yes");
        bas::entryMode() = QStringLiteral("E");
        bas::currentAgreementId() = CLng(id);

        // A cancelled agreement can be looked at, not saved.
        FrmAgreementreg &form = *frmAgreementreg();
        if (cancelled)
            form.cmdOK->setEnabled(false);

        const QString department = QString::number(context().departmentId);
        Recordset rs;
        rs.Open(QStringLiteral("select * from agreementregister where agrDepartmentid= ") + department +
                    QStringLiteral(" and agragreementid =") + id,
                *context().connection());
        if (!rs.isEOF()) {
            fillHeader(form, rs);
            PopulateListviewlvwPayment(CLng(id));
        }
        rs.Close();

        const auto text = [](const Recordset &r, const char *field) {
            return r[QLatin1String(field)].text();
        };
        fillDetailGrid(*form.mfgsummary,
                       QStringLiteral("select * from agreementdetails where agddepartmentid=") + department +
                           QStringLiteral(" and agdagreementid= ") + id,
                       [&](const Recordset &r, int i) {
                           form.mfgsummary->setTextMatrix(i, col(DetailCol::SNo), text(r, "agdDetailid"));
                           form.mfgsummary->setTextMatrix(i, col(DetailCol::Text),
                                                          Trim(text(r, "agdDetails")));
                       });
        fillDetailGrid(
            *form.mfgfinance,
            QStringLiteral("select * from AgreementFinancialDetails where agfdepartmentid= ") + department +
                QStringLiteral(" and agfAgreementid= ") + id,
            [&](const Recordset &r, int i) {
                form.mfgfinance->setTextMatrix(i, col(DetailCol::SNo), text(r, "agffinanceDetailid"));
                form.mfgfinance->setTextMatrix(i, col(DetailCol::Text), Trim(text(r, "agffinanceDetail")));
            });
        fillDetailGrid(*form.mfgcontent,
                       QStringLiteral("select * from AgreementContents where agcdepartmentid= ") +
                           department + QStringLiteral(" and agcAgreementid= ") + id,
                       [&](const Recordset &r, int i) {
                           form.mfgcontent->setTextMatrix(i, col(DetailCol::SNo), text(r, "agcDetailid"));
                           form.mfgcontent->setTextMatrix(i, col(DetailCol::Text),
                                                          Trim(text(r, "agcContentdesc")));
                       });
        fillDetailGrid(*form.mfgsigndetails,
                       QStringLiteral("select * from AgreementSignedDetails where ") +
                           QStringLiteral(" agsdepartmentid= ") + department +
                           QStringLiteral(" and agsAgreementid= ") + id,
                       [&](const Recordset &r, int i) {
                           FlexGrid &grid = *form.mfgsigndetails;
                           grid.setTextMatrix(i, col(SignCol::SNo), text(r, "agsDetailID"));
                           grid.setTextMatrix(i, col(SignCol::SignBy), Trim(text(r, "agsSignedBy")));
                           grid.setTextMatrix(i, col(SignCol::Position), Trim(text(r, "agsPosition")));
                           grid.setTextMatrix(i, col(SignCol::Date), Trim(text(r, "agsSignedDate")));
                           grid.setTextMatrix(i, col(SignCol::Agency), yesNo(r[QStringLiteral("agsAgency")]));
                       });
        fillDetailGrid(
            *form.mfgwitnessdetails,
            QStringLiteral("select * from AgreementWitnessDetails where ") +
                QStringLiteral(" agwdepartmentid= ") + department + QStringLiteral(" and agwAgreementid= ") +
                id,
            [&](const Recordset &r, int i) {
                FlexGrid &grid = *form.mfgwitnessdetails;
                grid.setTextMatrix(i, col(WitnessCol::SNo), text(r, "agwDetailid"));
                grid.setTextMatrix(i, col(WitnessCol::Witness), Trim(text(r, "agwSignedBy")));
                grid.setTextMatrix(i, col(WitnessCol::Position), Trim(text(r, "agwPostion")));
                grid.setTextMatrix(i, col(WitnessCol::Date), Trim(text(r, "agwSignedDate")));
                grid.setTextMatrix(i, col(WitnessCol::Address), Trim(text(r, "agwWitenessAddress")));
                grid.setTextMatrix(i, col(WitnessCol::Agency), yesNo(r[QStringLiteral("agwAgency")]));
            });

        if (cancelled)
            form.cmdOK->setEnabled(false);

        platform::showModal(&form);
        platform::setMousePointer(this, platform::vbDefault);
        platform::setMousePointer(mfgMaster, platform::vbDefault);
    });
}

void FrmMaster::PopulateListviewlvwPayment(qint32 agreementId)
{
    FrmAgreementreg &form = *frmAgreementreg();
    QString criterion = QStringLiteral("pvh.phpaymentId=pvdd.PddPaymentID and pvdd.pddAgrrementTransID=") +
                        QString::number(agreementId);
    dbService->PopulateListviewlvwPayment(
        form.lvwPayment, QStringLiteral("aHqPaymentVoucherHeader pvh,aHQpaymentvoucherdebitdetails pvdd"),
        criterion, QStringLiteral("slno"), QStringLiteral("pvh.phPaymentNo"),
        QStringLiteral("pvh.phPaymentDate"), QStringLiteral("pvh.phRemarks"), QStringLiteral("pvh.phPayee"),
        QStringLiteral("pvh.phAmount"));
}

} // namespace agr
