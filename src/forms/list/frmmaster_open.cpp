// Opening the entry form from the list: a new agreement, a stored one for edit, and its payments.

#include "data/basagreementreg.h"
#include "forms/list/frmmaster.h"

namespace agr {

void FrmMaster::cmdnew_Click()
{
    bas::entryMode() = QStringLiteral("N");
}

void FrmMaster::CmdEdit_Click()
{
    bas::entryMode() = QStringLiteral("E");
}

void FrmMaster::PopulateListviewlvwPayment(qint32 agreementId)
{
    Q_UNUSED(agreementId);
}

} // namespace agr
