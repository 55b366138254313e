#include "clsagreementeg.h"

#include "forms/list/frmmaster.h"
#include "module/modulecontext.h"
#include "platform/ui/seams.h"

namespace agr {

clsagreementeg::clsagreementeg(QObject *parent) : QObject(parent), m_dtProcessDate(zeroDate()) {}

clsagreementeg::~clsagreementeg() = default;

platform::Connection *clsagreementeg::adocon()
{
    if (!m_adocon)
        m_adocon = new platform::Connection(this);
    return m_adocon;
}

void clsagreementeg::Show()
{
    ModuleContext &ctx = context();
    ctx.processDate = m_dtProcessDate;
    ctx.userId = m_intUserID; // the 16-bit ids widen with their sign
    ctx.companyId = m_intcompanyid;
    ctx.departmentId = m_intDepartmentID;
    ctx.interfaceId = m_interfaceid;
    ctx.msgBoxCaption = m_strMsgBoxCaption;
    ctx.reserved = 0;

    ctx.setConnection(adocon()); // the host's object itself: never copied, never opened here

    platform::showModal(frmMaster(), nullptr);
}

} // namespace agr
