// The entry form's OK: the next agreement number, validation, and the save of the header and the five
// detail lists in one transaction.

#include "frmagreementreg.h"

#include "forms/formevents.h"
#include "forms/list/frmmaster.h"
#include "forms/list/listrefresh.h"
#include "module/basagreementreg.h"
#include "module/modulecontext.h"
#include "module/moduleservices.h"
#include "platform/database/connection.h"
#include "platform/grid/flexgrid.h"
#include "platform/ui/seams.h"

#include <QComboBox>
#include <QDateEdit>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QScopeGuard>

namespace agr {

namespace {

using platform::FlexGrid;

int agencyFlag(const QString &cell)
{
    return cell == QLatin1String("Y") ? 1 : 0;
}

} // namespace

QString FrmAgreementreg::AgreementNo()
{
    ModuleContext &ctx = context();
    platform::Connection &con = *ctx.connection();

    QString prefix;
    {
        platform::Recordset rs;
        rs.Open(QStringLiteral("SELECT Prefix FROM aPrefix WHERE ") + QStringLiteral(" CompanyID = ") +
                    QString::number(ctx.companyId) + QStringLiteral(" AND InterfaceID = ") +
                    QString::number(ctx.interfaceId) +
                    QStringLiteral(" AND FinancialId = (Select FinancialId from aFinancialYear where "
                                   "CurFinancialYear = 1)"),
                con);
        if (!rs.isBOF() && !rs.isEOF())
            prefix = rs.Fields(QStringLiteral("Prefix")).text();
        rs.Close();
    }

    // Reading the highest number and committing the agreement that carries the next one are serialised per
    // department and prefix, so that a second saver reads the first one's number instead of repeating it.
    numberLock.release(); // a second lock of this form would wait for its own first
    numberLock = con.lockKey(QStringLiteral("agreementregister.agragreementNo ") +
                             QString::number(ctx.departmentId) + QLatin1Char(' ') + prefix);

    // Numbers restart for each prefix; only wholly numeric tails after the prefix count.
    const QString length = QString::number(prefix.size());
    const QString maxOfTail =
        QStringLiteral("Select isnull(max(convert(int,right(agragreementNo,len(agragreementNo)-") + length +
        QStringLiteral("))),0) from agreementregister ");
    const QString longerThanPrefix =
        QStringLiteral(" len(agragreementNo)>len('") + prefix + QStringLiteral("') and ");
    const QString numericTail =
        QStringLiteral(" isnumeric(isnull(right(agragreementNo,len(agragreementNo)-") + length +
        QStringLiteral("),0)) =1 and substring(agragreementNo,1,len('") + prefix + QStringLiteral("'))='") +
        prefix + QStringLiteral("'");
    QString sql;
    if (ctx.departmentId != 0) {
        sql = maxOfTail + QStringLiteral("where agrDepartmentid = ") + QString::number(ctx.departmentId) +
              QStringLiteral(" and len(agragreementNo)>len('") + prefix + QStringLiteral("') and ") +
              numericTail;
    } else {
        // Without a department the statement has no "where" and the server rejects it: department 0
        // cannot save a new agreement.
        sql = maxOfTail + longerThanPrefix + numericTail;
    }

    platform::Recordset rs;
    rs.Open(sql, con);
    const QString highest = rs.isEOF() ? QStringLiteral("0") : rs.Fields(0).text();
    rs.Close();
    lastNumberText = highest;

    const qint32 next = highest == QLatin1String("0") ? 1 : CLng(platform::Val(highest) + 1);
    return prefix + QString::number(next);
}

void FrmAgreementreg::cmdOK_Click()
{
    // Errors end the save silently and are not logged. After BeginTrans nothing is rolled back: the host's
    // transaction stays open and this form stays open with cmdOK disabled.
    platform::Trap(
        [this] {
            // The number lock goes with the save, whichever way it ends.
            const auto releaseNumber = qScopeGuard([this] { numberLock.release(); });
            if (cbotype->currentText().isEmpty()) {
                Inform(QStringLiteral("Enter Type"));
                cbotype->setFocus();
                return;
            }
            if (dtpsigned->date() > dtpvalidfrom->date()) {
                Inform(QStringLiteral("Signed Date Should be Less than Valid Date"));
                dtpsigned->setFocus();
                return;
            }
            if (dtpvalidto->date() < dtpvalidfrom->date()) {
                Inform(QStringLiteral("Valid From Date Should be Less than Vaild To Date"));
                dtpvalidfrom->setFocus();
                return;
            }

            cmdOK->setEnabled(false);

            ModuleContext &ctx = context();
            platform::Connection &con = *ctx.connection();
            const bool isNew = bas::entryMode() == QLatin1String("N");
            // The id and number are drawn here, outside the transaction, even when a check below stops.
            if (isNew) {
                txtagreementNo->setText(AgreementNo());
                dbService->setStrTableName(QStringLiteral("agreementregister"));
                agreementId = dbService->fnGetNextMaxNo(QStringLiteral("agragreementid"));
            } else {
                platform::FlexGrid &list = *frmMaster()->mfgMaster;
                agreementId = CLng(list.TextMatrix(list.Row(), col(ListCol::AgreementId)));
            }

            qint16 applicabilityId = 0;
            if (optShop->isChecked() || optgodown->isChecked()) {
                if (cboapplicable->currentIndex() < 0) {
                    numberLock.release(); // no other saver waits while the message is read
                    Inform(optShop->isChecked() ? QStringLiteral("Select Shop")
                                                : QStringLiteral("Select Godown"));
                    cboapplicable->setFocus();
                    cmdOK->setEnabled(true);
                    return;
                }
                applicabilityId = CInt(cboapplicable->currentData());
            }
            qint16 partyId = 0;
            if (optcustomer->isChecked() || optsupplier->isChecked()) {
                if (cboagency->currentIndex() < 0) {
                    numberLock.release();
                    Inform(optcustomer->isChecked() ? QStringLiteral("Select Customer")
                                                    : QStringLiteral("Select Supplier"));
                    cboagency->setFocus();
                    cmdOK->setEnabled(true);
                    return;
                }
                partyId = CInt(cboagency->currentData());
            }

            saved = false;
            con.BeginTrans();
            platform::Command cmd(con);

            const auto text = [](const QLineEdit *box) { return Trim(box->text()); };
            const QVariant null;
            // Positions 5 to 32 of the header; the insert puts id, department, number and date before them.
            // The supplier column takes the applicability id, as the suite has always stored it.
            const QVariantList common = {
                text(txtdesc),
                Trim(cbotype->currentText()),
                optShop->isChecked() ? QVariant(applicabilityId) : null,
                optgodown->isChecked() ? QVariant(applicabilityId) : null,
                text(txtapplicable),
                dtpvalidfrom->date(),
                dtpvalidto->date(),
                dtpsigned->date(),
                optcustomer->isChecked() ? QVariant(partyId) : null,
                optsupplier->isChecked() ? QVariant(applicabilityId) : null,
                text(txtagency),
                text(txthqadd),
                text(txttelephone),
                text(txtemail),
                null,
                null,
                null,
                Trim(cbolawyer->currentText()),
                text(txtphyloc),
                text(txtrefno),
                platform::Val(txtnoofpages->text()),
                text(txtwebsite),
                text(txtpocaddr),
                text(txtpoctele),
                text(txtpocdesg),
                text(txtpocemail),
                platform::Val(txtalertnoofdays->text()),
                text(txtalertremarks),
            };

            if (isNew) {
                cmd.setCommandText(QStringLiteral(
                    " insert into agreementregister (agragreementid, "
                    " agrDepartmentid,agragreementNo,agragreementdate,agragreementdesc,"
                    " agragreementtype,agrapplicableshopid,agrapplicablegodownid,agrapplicableTo,"
                    " agrValidFromdate,agrValidTodate,agrSigneddate,agrwithCustomerid,"
                    " agrwithsupplierid,agragreementwith,agrAgencyHOaddress,agrAgencyContactNo,"
                    " agrAgencyEmailid,agragencyfindepaddress,agrfinancecontactNo,agrfinanceEmailid, "
                    " agrLawyer,agrPhysicalfileLOC,agrReferenceNo,agrNoofPages,agrPointofContact,"
                    " agrPOCaddress,agrPOCcontactNo,agrPOCdesignation,agrPOCemailid,alertnoofdays,"
                    "alertremarks) "
                    "values("
                    " ?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?)"));
                cmd.ParametersRefresh();
                cmd.Execute(QVariantList{agreementId, ctx.departmentId, text(txtagreementNo), text(txtdate)} +
                            common);
            } else {
                cmd.setCommandText(
                    QStringLiteral(
                        "update agreementregister set agragreementdesc=? ,"
                        " agragreementtype=? ,agrapplicableshopid=? ,agrapplicablegodownid=? "
                        ",agrapplicableTo=?,"
                        " agrValidFromdate=? ,agrValidTodate=? ,agrSigneddate=? ,agrwithCustomerid=? ,"
                        " agrwithsupplierid=? ,agragreementwith=? ,agrAgencyHOaddress=? "
                        ",agrAgencyContactNo=? ,"
                        " agrAgencyEmailid=? ,agragencyfindepaddress=? ,agrfinancecontactNo=? "
                        ",agrfinanceEmailid=?, "
                        " agrLawyer=? ,agrPhysicalfileLOC=? ,agrReferenceNo=? ,agrNoofPages=? "
                        ",agrPointofContact=? ,"
                        " agrPOCaddress=? ,agrPOCcontactNo=? "
                        ",agrPOCdesignation=?,agrPOCemailid=?,alertnoofdays=?,alertremarks=? where "
                        " agrDepartmentid= ") +
                    QString::number(ctx.departmentId) + QStringLiteral(" and agragreementid=") +
                    QString::number(agreementId));
                cmd.ParametersRefresh();
                cmd.Execute(common);
            }

            saveDetails(con, !isNew);

            auditService()->SaveActivityLogInfo(agreementId, txtagreementNo->text(), true, bas::entryMode(),
                                                this);
            con.CommitTrans();
            numberLock.release();
            saved = true;

            QString criterion = QStringLiteral("agragreementid=") + QString::number(agreementId) +
                                QStringLiteral(" and agrDepartmentid=") + QString::number(ctx.departmentId);
            qint32 serialNo = isNew ? agreementId : 0;
            bas::ListRefresh(criterion, serialNo);
            Unload();
        },
        {});
}

void FrmAgreementreg::saveDetails(platform::Connection &con, bool editing)
{
    const QString id = QString::number(agreementId);
    const QString department = QString::number(context().departmentId);

    struct DetailTable
    {
        FlexGrid *grid;
        QString deleteSql;
        QString insertSql;
        int agencyColumn; // 0: the table has no agency flag
    };
    const DetailTable tables[] = {
        {mfgsummary,
         QStringLiteral("delete from AgreementDetails where ") + QStringLiteral(" agdAgreementid=") + id +
             QStringLiteral(" and agdDepartmentid= ") + department,
         QStringLiteral("insert into AgreementDetails (agdAgreementid ,"
                        " agdDepartmentid,agdDetailid,agdDetails) values (?,?,?,?) "),
         0},
        {mfgsigndetails,
         QStringLiteral("delete from AgreementSignedDetails where") + QStringLiteral(" agsAgreementid=") +
             id + QStringLiteral(" and agsDepartmentid= ") + department,
         QStringLiteral(
             "insert into AgreementSignedDetails (agsagreementid,"
             " agsDepartmentid,agsDetailid,agsSignedBy,agsPosition,agsSignedDate,agsAgency) values "
             " (?,?,?,?,?,?,?)"),
         col(SignCol::Agency)},
        {mfgwitnessdetails,
         QStringLiteral("delete from AgreementWitnessDetails  where ") + QStringLiteral(" agwAgreementid=") +
             id + QStringLiteral(" and agwDepartmentid=") + department,
         QStringLiteral("insert into AgreementWitnessDetails (agwAgreementid,"
                        " agwDepartmentid,agwDetailid,agwSignedBy,agwPostion,agwSignedDate, "
                        " agwWitenessAddress,agwAgency) values(?,?,?,?,?,?,?,?)"),
         col(WitnessCol::Agency)},
        {mfgfinance,
         QStringLiteral("delete from AgreementFinancialDetails where ") + QStringLiteral(" agfAgreementid=") +
             id + QStringLiteral(" and agfDepartmentid= ") + department,
         QStringLiteral("insert into AgreementFinancialDetails (agfAgreementid ,"
                        " agfDepartmentid,agffinanceDetailid,agffinanceDetail) values(?,?,?,?) "),
         0},
        {mfgcontent,
         QStringLiteral("delete from AgreementContents where") + QStringLiteral(" agcAgreementid=") + id +
             QStringLiteral(" and agcDepartmentid= ") + department,
         QStringLiteral("insert into AgreementContents (agcAgreementid ,"
                        " agcDepartmentid,agcDetailid,agcContentdesc) values(?,?,?,?)"),
         0},
    };

    platform::Command cmd(con);
    for (const DetailTable &table : tables) {
        FlexGrid &grid = *table.grid;
        if (editing)
            con.Execute(table.deleteSql);
        cmd.setCommandText(table.insertSql);
        cmd.ParametersRefresh();

        // The current row decides for the whole list: a blank current row saves nothing of this table.
        const int current = grid.Row();
        if (grid.TextMatrix(current, col(DetailCol::Text)).isEmpty() ||
            grid.TextMatrix(current, col(DetailCol::SNo)).isEmpty())
            continue;

        const int lastColumn = grid.Cols() - 1;
        for (int row = 1; row < grid.Rows(); ++row) {
            QVariantList values{agreementId, context().departmentId};
            for (int column = col(DetailCol::SNo); column <= lastColumn; ++column) {
                const QString cell = grid.TextMatrix(row, column);
                values.append(column == table.agencyColumn ? QVariant(agencyFlag(cell)) : QVariant(cell));
            }
            cmd.Execute(values);
        }
    }
}

} // namespace agr
