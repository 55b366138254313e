// Opening the entry form from the list: empty for a new agreement, or filled with the selected agreement,
// its detail lists and its payments for edit. The list waits while the entry form is open.

#include "forms/agreement/frmagreementreg.h"
#include "forms/formevents.h"
#include "forms/list/frmmaster.h"
#include "module/basagreementreg.h"
#include "module/modulecontext.h"
#include "platform/database/connection.h"
#include "platform/grid/flexgrid.h"
#include "platform/ui/seams.h"

#include <QComboBox>
#include <QDateEdit>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <initializer_list>
#include <utility>

namespace agr {

namespace {

using platform::FlexGrid;
using platform::Recordset;

// One detail table of an agreement and the grid it is shown in: its fields in grid column order from the
// serial number on.
struct DetailRead
{
    FlexGrid *grid;
    QString sql;
    QStringList fields;
    int agencyColumn; // 0: the table has no agency flag
};

// Reads every record into rows 1.. of the grid, adding rows only where the grid has too few. The serial
// number is shown as stored, the texts trimmed, the agency flag as Y or N.
void fillDetailGrid(const DetailRead &detail)
{
    FlexGrid &grid = *detail.grid;
    Recordset rs;
    rs.Open(detail.sql, *context().connection());
    if (!rs.isEOF()) {
        const int count = rs.RecordCount();
        for (int i = 1; i <= count; ++i) {
            if (i > grid.Rows() - 1)
                grid.AddItem(QString());
            int column = col(DetailCol::SNo);
            for (const QString &name : detail.fields) {
                const platform::Field field = rs[name];
                QString text;
                // Only a set flag is Y: a null one reads as N and must not stop the opening.
                if (column == detail.agencyColumn)
                    text = !field.isNull() && field.toBool() ? QStringLiteral("Y") : QStringLiteral("N");
                else if (column == col(DetailCol::SNo))
                    text = field.text();
                else
                    text = Trim(field.text());
                grid.setTextMatrix(i, column++, text);
            }
            rs.MoveNext();
        }
    }
    rs.Close();
}

// Of two options, the one whose id is stored is set (its click fills the combo box, in which the id is then
// selected); with neither id stored the third option is set.
void setStoredOption(const Service<IGeneralService> &general, QComboBox *combo,
                     std::initializer_list<std::pair<QRadioButton *, platform::Field>> stored,
                     QRadioButton *neither)
{
    bool any = false;
    for (const auto &[option, id] : stored) {
        if (id.isNull())
            continue;
        option->setChecked(true);
        general->SelectComboItemByValue(combo, id.Value());
        any = true;
    }
    if (!any)
        neither->setChecked(true);
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

    setStoredOption(general, form.cboapplicable,
                    {{form.optShop, rs[QStringLiteral("agrapplicableshopid")]},
                     {form.optgodown, rs[QStringLiteral("agrapplicablegodownid")]}},
                    form.optHq);
    form.txtapplicable->setText(rs[QStringLiteral("agrapplicableTo")].text());

    form.dtpvalidfrom->setDate(rs[QStringLiteral("agrValidFromdate")].toDate());
    form.dtpvalidto->setDate(rs[QStringLiteral("agrValidTodate")].toDate());
    form.dtpsigned->setDate(rs[QStringLiteral("agrSigneddate")].toDate());

    setStoredOption(general, form.cboagency,
                    {{form.optcustomer, rs[QStringLiteral("agrwithCustomerid")]},
                     {form.optsupplier, rs[QStringLiteral("agrwithsupplierid")]}},
                    form.optothers);

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

        // A fill that fails (a null where a text is assigned, a column gone) is logged by the trap and the
        // form is not shown; it is unloaded too, without the closing question, so that the next opening
        // starts from an empty form instead of this agreement's leftovers.
        try {
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

            const DetailRead details[] = {
                {form.mfgsummary,
                 QStringLiteral("select * from agreementdetails where agddepartmentid=") + department +
                     QStringLiteral(" and agdagreementid= ") + id,
                 {QStringLiteral("agdDetailid"), QStringLiteral("agdDetails")},
                 0},
                {form.mfgfinance,
                 QStringLiteral("select * from AgreementFinancialDetails where agfdepartmentid= ") +
                     department + QStringLiteral(" and agfAgreementid= ") + id,
                 {QStringLiteral("agffinanceDetailid"), QStringLiteral("agffinanceDetail")},
                 0},
                {form.mfgcontent,
                 QStringLiteral("select * from AgreementContents where agcdepartmentid= ") + department +
                     QStringLiteral(" and agcAgreementid= ") + id,
                 {QStringLiteral("agcDetailid"), QStringLiteral("agcContentdesc")},
                 0},
                {form.mfgsigndetails,
                 QStringLiteral("select * from AgreementSignedDetails where ") +
                     QStringLiteral(" agsdepartmentid= ") + department +
                     QStringLiteral(" and agsAgreementid= ") + id,
                 {QStringLiteral("agsDetailID"), QStringLiteral("agsSignedBy"), QStringLiteral("agsPosition"),
                  QStringLiteral("agsSignedDate"), QStringLiteral("agsAgency")},
                 col(SignCol::Agency)},
                {form.mfgwitnessdetails,
                 QStringLiteral("select * from AgreementWitnessDetails where ") +
                     QStringLiteral(" agwdepartmentid= ") + department +
                     QStringLiteral(" and agwAgreementid= ") + id,
                 {QStringLiteral("agwDetailid"), QStringLiteral("agwSignedBy"), QStringLiteral("agwPostion"),
                  QStringLiteral("agwSignedDate"), QStringLiteral("agwWitenessAddress"),
                  QStringLiteral("agwAgency")},
                 col(WitnessCol::Agency)},
            };
            for (const DetailRead &detail : details)
                fillDetailGrid(detail);
        } catch (...) {
            form.cmdOK->setEnabled(false);
            form.Unload();
            throw;
        }

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
