#pragma once
// What the form tests share: a window shown and made active, the centre of a grid cell for a mouse event,
// and the end of a test that opened the module's forms, so that the next case starts from nothing: a
// closing question is answered No, the forms are unloaded and deleted, a transaction a failed save left
// open is rolled back, and the module context and the seams are reset.

#include "forms/agreement/frmagreementreg.h"
#include "forms/list/frmmaster.h"
#include "forms/popup/frmpopup.h"
#include "forms/scancopies/frmscancopies.h"
#include "module/modulecontext.h"
#include "platform/database/connection.h"
#include "platform/grid/flexgrid.h"
#include "platform/ui/seams.h"

#include <QApplication>
#include <QCoreApplication>
#include <QTest>
#include <memory>

namespace agrtest {

inline bool activate(QWidget *window)
{
    window->show();
    window->activateWindow();
    QApplication::setActiveWindow(window);
    return QTest::qWaitForWindowActive(window);
}

// The centre of a cell, scrolled into view, in the grid viewport's coordinates.
inline QPoint cellCentre(platform::FlexGrid *grid, int row, int column)
{
    grid->setTopRow(row);
    grid->flush();
    return grid->visualRect(grid->model()->index(row - grid->FixedRows(), column)).center();
}

inline void endFormTest(std::unique_ptr<platform::Connection> &con)
{
    platform::setMsgBoxResponder([](const platform::MsgBoxCall &) { return platform::vb::No; });
    if (con && con->transactionLevel() > 0)
        con->RollbackTrans();
    agr::unloadFrmScanCopies();
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
