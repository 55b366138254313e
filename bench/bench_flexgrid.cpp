// FlexGrid: filling a long list the way the list form does (one more row per record, cells one by one),
// beside a plain vector of the same texts filled in the same run; then painting, scrolling and sorting.

#include "platform/grid/flexgrid.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QHeaderView>
#include <QScrollBar>
#include <QStandardItemModel>
#include <QTableView>
#include <algorithm>
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

double ms(const QElapsedTimer &timer)
{
    return double(timer.nsecsElapsed()) / 1e6;
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// Rows a search lands on: spread over the list, so that every keystroke scrolls.
int landingRow(int step, int rows)
{
    return 1 + int((quint64(step) * 7919u) % quint64(rows));
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
    grid.setTextMatrix(1, 1, grid.TextMatrix(1, 1)); // the order must be checked again
    timer.restart();
    grid.setSort(FlexGrid::SortStringAscending);
    const double recheckText = seconds(timer);

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

    // One search keystroke as the list form makes it: the search column sorted again with the code it is
    // already in, a row selected whole and brought to the top, and the event loop left to paint. Beside
    // it, a plain table view over a standard model moving its current row and scrolling the same way.
    grid.setSelMode(1);
    grid.setCol(1);
    grid.setColSel(1);
    grid.setSort(FlexGrid::SortStringAscending);
    QCoreApplication::processEvents();
    const int keystrokes = 100;
    std::vector<double> gridKeys, gridSortChecks;
    for (int k = 0; k < keystrokes; ++k) {
        const int row = landingRow(k, records);
        timer.restart();
        grid.setCol(1);
        grid.setColSel(1);
        grid.setSort(FlexGrid::SortStringAscending);
        gridSortChecks.push_back(ms(timer));
        grid.setRow(row);
        grid.setCol(0);
        grid.setColSel(grid.Cols() - 1);
        grid.setTopRow(grid.Row());
        QCoreApplication::processEvents();
        gridKeys.push_back(ms(timer));
    }

    plain.setSelectionBehavior(QAbstractItemView::SelectRows);
    plain.show();
    QCoreApplication::processEvents();
    std::vector<double> plainKeys;
    for (int k = 0; k < keystrokes; ++k) {
        const int row = landingRow(k, plainModel.rowCount()) - 1;
        timer.restart();
        plain.setCurrentIndex(plainModel.index(row, 0));
        plain.scrollTo(plainModel.index(row, 0), QAbstractItemView::PositionAtTop);
        QCoreApplication::processEvents();
        plainKeys.push_back(ms(timer));
    }
    plain.hide();
    const double gridKey = median(gridKeys);
    const double plainKey = median(plainKeys);

    std::printf("flexgrid fill %dx%d: %.3f s; raw vector: %.3f s; ratio %.1f\n", records, fields, gridFill,
                rawFill, rawFill > 0 ? gridFill / rawFill : 0.0);
    std::printf("flexgrid first paint after fill: %.3f s\n", firstPaint);
    std::printf("flexgrid scroll %d pages, painted: %.3f s (%.2f ms a page); plain table view: %.3f s; ratio "
                "%.1f\n",
                pages, scroll, scroll * 1000.0 / pages, plainScroll,
                plainScroll > 0 ? scroll / plainScroll : 0.0);
    std::printf("flexgrid sort code 7 on %d rows: %.3f s; the same sort again: %.3f s; again after a cell of "
                "the column was written: %.3f s\n",
                records, sortText, resortText, recheckText);
    std::printf("flexgrid sort code 1 (numeric ids): %.3f s; code 6 (text, no case): %.3f s\n", sortGeneric,
                sortNoCase);
    std::printf("flexgrid paint after sort: %.3f s\n", paintAfterSort);
    std::printf(
        "flexgrid keystroke on %d rows (sort again, select, scroll, paint): median %.2f ms, max %.2f ms "
        "(sort check median %.3f ms); plain table view: median %.2f ms, max %.2f ms; ratio %.1f\n",
        records, gridKey, *std::max_element(gridKeys.begin(), gridKeys.end()), median(gridSortChecks),
        plainKey, *std::max_element(plainKeys.begin(), plainKeys.end()),
        plainKey > 0 ? gridKey / plainKey : 0.0);
    std::fflush(stdout);
    return 0;
}
