// FlexGrid: filling a long list the way the list form does (one more row per record, cells one by one),
// beside a plain vector of the same texts filled in the same run; then painting, scrolling and sorting.

#include "platform/flexgrid.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QHeaderView>
#include <QScrollBar>
#include <QStandardItemModel>
#include <QTableView>
#include <cstdio>
#include <vector>

using platform::FlexGrid;

namespace {

constexpr int records = 100000;
constexpr int fields = 8;

// The texts of one list row: id, number, date, description, type, applicable to, with, cancelled.
QString cellText(int record, int field)
{
    switch (field) {
    case 0:
        return QString::number(record);
    case 1:
        return QStringLiteral("AG/") + QString::number(100000 + (record * 7919) % 100000);
    case 2:
        return QStringLiteral("%1/%2/2026")
            .arg(1 + record % 28, 2, 10, QLatin1Char('0'))
            .arg(1 + record % 12, 2, 10, QLatin1Char('0'));
    case 3:
        return QStringLiteral("Lease of premises ") + QString::number(record % 977);
    case 4:
        return record % 3 ? QStringLiteral("Lease") : QStringLiteral("Service");
    case 5:
        return QStringLiteral("Shop");
    case 6:
        return QStringLiteral("Party ") + QString::number(record % 431);
    default:
        return record % 50 ? QStringLiteral("No") : QStringLiteral("Yes");
    }
}

double seconds(const QElapsedTimer &timer)
{
    return double(timer.nsecsElapsed()) / 1e9;
}

} // namespace

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);

    // Baseline: the same texts into one vector that grows by a row per record. The first pass only warms
    // the allocator, so that neither side pays for the process's first touch of its heap.
    QElapsedTimer timer;
    double rawFill = 0;
    for (int pass = 0; pass < 2; ++pass) {
        timer.start();
        std::vector<QString> raw(size_t(2) * fields);
        for (int i = 1; i <= records; ++i) {
            if (i > 1)
                raw.resize(raw.size() + fields);
            for (int j = 0; j < fields; ++j)
                raw[size_t(i) * fields + size_t(j)] = cellText(i, j);
        }
        rawFill = seconds(timer);
    }

    FlexGrid grid;
    grid.resize(1000, 700);
    grid.show();
    QCoreApplication::processEvents();

    timer.restart();
    grid.Clear();
    grid.setFixedRows(1);
    grid.setFixedCols(0);
    grid.setColWidth(0, 960);
    grid.setCols(1);
    grid.setRows(2);
    for (int i = 1; i <= records; ++i) {
        if (i > 1)
            grid.setRows(grid.Rows() + 1);
        for (int j = 0; j < fields; ++j) {
            if (i == 1 && j > 0)
                grid.setCols(grid.Cols() + 1);
            grid.setTextMatrix(i, j, cellText(i, j));
        }
    }
    grid.setColWidth(0, 0);
    grid.setRow(grid.Rows() - 1);
    grid.setTopRow(grid.Row());
    grid.setCol(0);
    grid.setColSel(grid.Cols() - 1);
    const double gridFill = seconds(timer);

    timer.restart();
    grid.flush();
    grid.repaint();
    const double firstPaint = seconds(timer);

    // Scrolling: 200 pages from top to bottom, each painted.
    const int pages = 200;
    timer.restart();
    for (int p = 0; p < pages; ++p) {
        grid.setTopRow(1 + p * (records / pages));
        grid.repaint();
    }
    const double scroll = seconds(timer);

    // Baseline for painting: a plain table view over a standard item model showing the same texts.
    QStandardItemModel plainModel(records / 20, fields);
    for (int r = 0; r < plainModel.rowCount(); ++r)
        for (int c = 0; c < fields; ++c)
            plainModel.setItem(r, c, new QStandardItem(cellText(r + 1, c)));
    QTableView plain;
    plain.setModel(&plainModel);
    plain.resize(grid.size());
    plain.verticalHeader()->hide();
    plain.verticalHeader()->setMinimumSectionSize(1);
    plain.verticalHeader()->setDefaultSectionSize(grid.verticalHeader()->defaultSectionSize());
    plain.horizontalHeader()->setDefaultSectionSize(grid.columnWidth(1));
    plain.show();
    QCoreApplication::processEvents();
    timer.restart();
    for (int p = 0; p < pages; ++p) {
        plain.verticalScrollBar()->setValue(p * (plainModel.rowCount() / pages));
        plain.repaint();
    }
    const double plainScroll = seconds(timer);
    plain.hide();

    grid.setCol(1);
    grid.setColSel(1);
    timer.restart();
    grid.setSort(FlexGrid::SortStringAscending);
    const double sortText = seconds(timer);
    timer.restart();
    grid.setSort(FlexGrid::SortStringAscending);
    const double resortText = seconds(timer);

    grid.setCol(0);
    grid.setColSel(0);
    timer.restart();
    grid.setSort(FlexGrid::SortGenericAscending);
    const double sortGeneric = seconds(timer);
    grid.setCol(3);
    grid.setColSel(3);
    timer.restart();
    grid.setSort(FlexGrid::SortStringNoCaseDescending);
    const double sortNoCase = seconds(timer);
    timer.restart();
    grid.flush();
    grid.repaint();
    const double paintAfterSort = seconds(timer);

    std::printf("flexgrid fill %dx%d: %.3f s; raw vector: %.3f s; ratio %.1f\n", records, fields, gridFill,
                rawFill, rawFill > 0 ? gridFill / rawFill : 0.0);
    std::printf("flexgrid first paint after fill: %.3f s\n", firstPaint);
    std::printf("flexgrid scroll %d pages, painted: %.3f s (%.2f ms a page); plain table view: %.3f s; ratio "
                "%.1f\n",
                pages, scroll, scroll * 1000.0 / pages, plainScroll,
                plainScroll > 0 ? scroll / plainScroll : 0.0);
    std::printf("flexgrid sort code 7 on %d rows: %.3f s; again, already sorted: %.3f s\n", records, sortText,
                resortText);
    std::printf("flexgrid sort code 1 (numeric ids): %.3f s; code 6 (text, no case): %.3f s\n", sortGeneric,
                sortNoCase);
    std::printf("flexgrid paint after sort: %.3f s\n", paintAfterSort);
    std::fflush(stdout);
    return 0;
}
