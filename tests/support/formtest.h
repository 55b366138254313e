#pragma once
// Ending a test that opened the module's forms, so that the next case starts from nothing: a closing
// question is answered No, the forms are unloaded and deleted, a transaction a failed save left open is
// rolled back, and the module context and the seams are reset.

#include "entry/modulecontext.h"
#include "forms/agreement/frmagreementreg.h"
#include "forms/list/frmmaster.h"
#include "forms/popup/frmpopup.h"
#include "platform/connection.h"
#include "platform/seams.h"

#include <QCoreApplication>
#include <memory>

namespace agrtest {

inline void endFormTest(std::unique_ptr<platform::Connection> &con)
{
    platform::setMsgBoxResponder([](const platform::MsgBoxCall &) { return platform::vb::No; });
    if (con && con->transactionLevel() > 0)
        con->RollbackTrans();
    agr::unloadFrmpopup();
    agr::unloadFrmAgreementreg();
    agr::unloadFrmMaster();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    agr::context().setConnection(nullptr);
    con.reset();
    platform::setMsgBoxResponder({});
    platform::setModalHandler({});
}

} // namespace agrtest
