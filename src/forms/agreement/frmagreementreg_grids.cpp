// The entry form's five detail grids: their events and their two right-click menus. Rows are never typed
// into a grid; the popup enters and changes them, and the save writes them.

#include "frmagreementreg.h"

#include "forms/popup/frmpopup.h"
#include "module/basagreementreg.h"
#include "platform/grid/flexgrid.h"
#include "platform/ui/seams.h"
#include "platform/ui/units.h"

#include <QAction>
#include <QCheckBox>
#include <QDateEdit>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QTabWidget>

namespace agr {

namespace {

using platform::FlexGrid;

bool blankSerial(const FlexGrid *grid, int row)
{
    return grid->TextMatrix(row, col(DetailCol::SNo)).isEmpty();
}

} // namespace

void FrmAgreementreg::buildGridMenus()
{
    auto menu = [this](const char *name) {
        auto *m = new QMenu(this);
        m->setObjectName(QLatin1String(name));
        return m;
    };
    auto item = [](QMenu *m, const char *name, const QString &caption) {
        QAction *a = m->addAction(caption);
        a->setObjectName(QLatin1String(name));
        return a;
    };
    mnufile = menu("mnufile");
    mnuadd = item(mnufile, "mnuadd", QStringLiteral("&Add"));
    mnuedit = item(mnufile, "mnuedit", QStringLiteral("&Edit"));
    mnudelete = item(mnufile, "mnudelete", QStringLiteral("&Delete"));
    mnucancel = item(mnufile, "mnucancel", QStringLiteral("&Cancel"));
    mnusfile = menu("mnusfile");
    mnusAdd = item(mnusfile, "mnusAdd", QStringLiteral("&Add"));
    mnusedit = item(mnusfile, "mnusedit", QStringLiteral("&Edit"));
    mnusdelete = item(mnusfile, "mnusdelete", QStringLiteral("&Delete"));
    mnuscancel = item(mnusfile, "mnuscancel", QStringLiteral("&Cancel"));
}

void FrmAgreementreg::wireGridEvents()
{
    for (FlexGrid *grid : {mfgsigndetails, mfgwitnessdetails, mfgcontent, mfgsummary, mfgfinance}) {
        connect(grid, &FlexGrid::Click, this, platform::trapped([this, grid] { grid_Click(grid); }));
        connect(grid, &FlexGrid::DblClick, this, platform::trapped([this, grid] { grid_DblClick(grid); }));
        connect(grid, &FlexGrid::KeyPress, this,
                platform::trapped([this, grid](qint16 &keyAscii) { grid_KeyPress(grid, keyAscii); }));
        connect(grid, &FlexGrid::KeyDown, this, platform::trapped([this, grid](qint16 &keyCode, int shift) {
                    grid_KeyDown(grid, keyCode, shift);
                }));
        connect(grid, &FlexGrid::MouseDown, this,
                platform::trapped([this, grid](int button, int shift, double x, double y) {
                    grid_MouseDown(grid, button, shift, x, y);
                }));
        connect(grid, &FlexGrid::EnterCell, this, platform::trapped([this, grid] { grid_EnterCell(grid); }));
        connect(grid, &FlexGrid::RowColChange, this,
                platform::trapped([this, grid] { grid_RowColChange(grid); }));
    }
    connect(mnuadd, &QAction::triggered, this, platform::trapped([this] { mnuadd_Click(); }));
    connect(mnuedit, &QAction::triggered, this, platform::trapped([this] { mnuedit_Click(); }));
    connect(mnudelete, &QAction::triggered, this, platform::trapped([this] { mnudelete_Click(); }));
    connect(mnucancel, &QAction::triggered, this, platform::trapped([this] { mnucancel_Click(); }));
    connect(mnusAdd, &QAction::triggered, this, platform::trapped([this] { mnusAdd_Click(); }));
    connect(mnusedit, &QAction::triggered, this, platform::trapped([this] { mnusedit_Click(); }));
    connect(mnusdelete, &QAction::triggered, this, platform::trapped([this] { mnusdelete_Click(); }));
    connect(mnuscancel, &QAction::triggered, this, platform::trapped([this] { mnuscancel_Click(); }));
}

FlexGrid *FrmAgreementreg::pageGrid(int page) const
{
    switch (page) {
    case 0:
        return mfgsigndetails;
    case 1:
        return mfgwitnessdetails;
    case 2:
        return mfgcontent;
    case 3:
        return mfgsummary;
    case 4:
        return mfgfinance;
    default:
        return nullptr;
    }
}

QString FrmAgreementreg::popupCaption(const FlexGrid *grid) const
{
    if (grid == mfgsigndetails)
        return popupcaption::Signed;
    if (grid == mfgwitnessdetails)
        return popupcaption::Witness;
    if (grid == mfgcontent)
        return popupcaption::Content;
    if (grid == mfgsummary)
        return popupcaption::Summary;
    return popupcaption::Finance;
}

// ---------------------------------------------------------------------------------------------------------
// Grid events

namespace {

// The procedure name of a grid's event handler: "mfgcontent_EnterCell".
QByteArray procedureName(const FlexGrid *grid, const char *event)
{
    return grid->objectName().toLatin1() + '_' + event;
}

} // namespace

void FrmAgreementreg::grid_Click(FlexGrid *grid)
{
    bas::Trap(this, procedureName(grid, "Click").constData(),
              [this, grid] { frmpopup()->setWindowTitle(popupCaption(grid)); });
}

void FrmAgreementreg::grid_DblClick(FlexGrid *grid)
{
    bas::Trap(this, procedureName(grid, "DblClick").constData(), [this, grid] {
        Frmpopup &popup = *frmpopup();
        popup.setWindowTitle(popupCaption(grid));
        const int row = grid->Row();
        // A blank serial number marks the placeholder row: the popup adds; otherwise it edits this row.
        bas::detailMode() = blankSerial(grid, row) ? QStringLiteral("A") : QStringLiteral("E");
        if (bas::detailMode() == QLatin1String("E") && row >= 1)
            popup.LoadRow(*grid, row);
        if (grid->Rows() == 2 && blankSerial(grid, row))
            popup.setNavigation(false);
        layOutPopupFields(grid);
        platform::showModal(&popup, this);
    });
}

void FrmAgreementreg::grid_KeyPress(FlexGrid *grid, qint16 &keyAscii)
{
    bas::Trap(this, procedureName(grid, "KeyPress").constData(), [this, grid, &keyAscii] {
        // Only Ctrl+Enter opens the popup; Enter itself does nothing in a grid.
        if (keyAscii != platform::key::CtrlEnter)
            return;
        bas::detailMode() = blankSerial(grid, grid->Row()) ? QStringLiteral("A") : QStringLiteral("E");
        grid_DblClick(grid);
    });
}

void FrmAgreementreg::grid_KeyDown(FlexGrid *grid, qint16 &keyCode, int shift)
{
    bas::Trap(this, procedureName(grid, "KeyDown").constData(), [this, grid, keyCode, shift] {
        // The menu key and Shift+F10 open the right-click menu under the current cell, so that the keyboard
        // alone can add, edit and delete rows.
        if (keyCode != platform::key::Menu && !(keyCode == platform::key::F10 && shift == 1))
            return;
        using platform::twipsToPixels;
        const QPoint at(twipsToPixels(grid->CellLeft(), grid),
                        twipsToPixels(grid->CellTop() + grid->CellHeight(), grid));
        platform::PopupMenu(gridMenu(grid), grid->mapToGlobal(at));
    });
}

void FrmAgreementreg::grid_MouseDown(FlexGrid *grid, int button, int shift, double x, double y)
{
    Q_UNUSED(shift);
    bas::Trap(this, procedureName(grid, "MouseDown").constData(), [this, grid, button, x, y] {
        if (button != 2)
            return;
        const QPoint at(platform::twipsToPixels(int(x), grid), platform::twipsToPixels(int(y), grid));
        platform::PopupMenu(gridMenu(grid), grid->mapToGlobal(at));
    });
}

QMenu *FrmAgreementreg::gridMenu(const FlexGrid *grid) const
{
    return grid == mfgwitnessdetails ? mnusfile : mnufile;
}

void FrmAgreementreg::grid_EnterCell(FlexGrid *grid)
{
    bas::Trap(this, procedureName(grid, "EnterCell").constData(), [this, grid] { setPopupNavigation(grid); });
}

void FrmAgreementreg::grid_RowColChange(FlexGrid *grid)
{
    bas::Trap(this, procedureName(grid, "RowColChange").constData(),
              [this, grid] { setPopupNavigation(grid); });
}

void FrmAgreementreg::setPopupNavigation(const FlexGrid *grid)
{
    Frmpopup &popup = *frmpopup();
    // Two separate tests: on a grid of one row both pass and the second wins. Rows in between keep the
    // buttons as they were.
    if (grid->Row() == grid->Rows() - 1) {
        popup.cmdNext->setEnabled(false);
        popup.cmdLast->setEnabled(false);
        popup.cmdFirst->setEnabled(true);
        popup.cmdPrevious->setEnabled(true);
    }
    if (grid->Row() == 1) {
        popup.cmdFirst->setEnabled(false);
        popup.cmdPrevious->setEnabled(false);
        popup.cmdNext->setEnabled(true);
        popup.cmdLast->setEnabled(true);
    }
}

void FrmAgreementreg::layOutPopupFields(const FlexGrid *grid)
{
    Frmpopup &popup = *frmpopup();
    const bool person = grid == mfgsigndetails || grid == mfgwitnessdetails;
    const bool address = grid != mfgsigndetails;
    for (QWidget *field : std::initializer_list<QWidget *>{popup.lblsignedby, popup.txtsignedby,
                                                           popup.lblpostion, popup.txtpostion})
        field->setVisible(person);
    popup.lbladdress->setVisible(address);
    popup.txtaddress->setVisible(address);
    if (person) {
        for (QWidget *field :
             std::initializer_list<QWidget *>{popup.lbldate, popup.dtppopupdate, popup.chkagency})
            field->setVisible(true);
    }
}

// ---------------------------------------------------------------------------------------------------------
// Menus

void FrmAgreementreg::addRow(FlexGrid *grid)
{
    Frmpopup &popup = *frmpopup();
    popup.setWindowTitle(popupCaption(grid));
    popup.txtsignedby->clear();
    popup.txtpostion->clear();
    popup.txtaddress->clear();
    layOutPopupFields(grid);
    platform::showModal(&popup, this);
}

void FrmAgreementreg::mnuadd_Click()
{
    bas::Trap(this, "mnuadd_Click", [this] {
        bas::detailMode() = QStringLiteral("A");
        FlexGrid *grid = pageGrid(SSTab1->currentIndex());
        // The witness grid has a menu of its own.
        if (!grid || grid == mfgwitnessdetails)
            return;
        addRow(grid);
    });
}

void FrmAgreementreg::mnusAdd_Click()
{
    bas::Trap(this, "mnusAdd_Click", [this] {
        bas::detailMode() = QStringLiteral("A");
        addRow(mfgwitnessdetails);
    });
}

void FrmAgreementreg::mnuedit_Click()
{
    bas::Trap(this, "mnuedit_Click", [this] {
        bas::detailMode() = QStringLiteral("E");
        if (FlexGrid *grid = pageGrid(SSTab1->currentIndex()))
            grid_DblClick(grid);
    });
}

void FrmAgreementreg::mnusedit_Click()
{
    bas::Trap(this, "mnusedit_Click", [this] {
        frmpopup()->setWindowTitle(popupcaption::Witness);
        bas::detailMode() = QStringLiteral("E");
        grid_DblClick(mfgwitnessdetails);
    });
}

void FrmAgreementreg::deleteRow(FlexGrid *grid)
{
    if (!grid)
        return;
    if (grid->Rows() == 2 && grid->Row() == 1) {
        // The only row: blanked, so that the placeholder row remains.
        for (int column = col(DetailCol::SNo); column < grid->Cols(); ++column)
            grid->setTextMatrix(1, column, QString());
    } else if (grid->Rows() >= 3 && grid->Row() >= 1 && !blankSerial(grid, grid->Row())) {
        grid->RemoveItem(grid->Row());
    }
    // Renumbered only while two or more rows remain: a last row keeps the number it had.
    if (grid->Rows() >= 3) {
        for (int row = 1; row < grid->Rows(); ++row)
            grid->setTextMatrix(row, col(DetailCol::SNo), QString::number(row));
    }
}

void FrmAgreementreg::mnudelete_Click()
{
    bas::Trap(this, "mnudelete_Click", [this] { deleteRow(pageGrid(SSTab1->currentIndex())); });
}

void FrmAgreementreg::mnusdelete_Click()
{
    bas::Trap(this, "mnusdelete_Click", [this] { deleteRow(mfgwitnessdetails); });
}

void FrmAgreementreg::mnucancel_Click()
{
    // The entry mode, not the detail mode: a later save then stores no new agreement.
    bas::Trap(this, "mnucancel_Click", [] { bas::entryMode() = QString(); });
}

void FrmAgreementreg::mnuscancel_Click()
{
    bas::Trap(this, "mnuscancel_Click", [] { bas::entryMode() = QString(); });
}

} // namespace agr
