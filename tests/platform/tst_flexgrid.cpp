// FlexGrid: the grid's own semantics (sizes, rows, sort, current cell and its events) and the original's
// key and mouse codes through real events.

#include "platform/grid/flexgrid.h"
#include "platform/runtime/errors.h"
#include "platform/ui/units.h"

#include <QHash>
#include <QHeaderView>
#include <QScreen>
#include <QScrollBar>
#include <QSet>
#include <QSignalSpy>
#include <QTest>

using platform::FlexGrid;

namespace {

// A grid of one fixed row and the given data rows of one column each (plus the fixed column 0).
void fillColumn(FlexGrid &grid, const QStringList &values)
{
    grid.setCols(2);
    grid.setRows(int(values.size()) + 1);
    for (int i = 0; i < values.size(); ++i)
        grid.setTextMatrix(i + 1, 1, values.at(i));
}

QStringList column(const FlexGrid &grid, int col)
{
    QStringList values;
    for (int r = grid.FixedRows(); r < grid.Rows(); ++r)
        values << grid.TextMatrix(r, col);
    return values;
}

int errorNumber(const std::function<void()> &body)
{
    try {
        body();
    } catch (const platform::RuntimeError &e) {
        return e.number();
    }
    return 0;
}

void sortOn(FlexGrid &grid, int col, int code)
{
    grid.setCol(col);
    grid.setColSel(col);
    grid.setSort(code);
}

} // namespace

class tst_FlexGrid : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void sortCodes();
    void sortMovesColoursAndKeepsEqualRowsInOrder();
    void sortAgreesWithAPlainSortOfManyTexts();
    void sortAgainSeesEveryChange();
    void sortedRowsStayWhole();
    void preparedSortGivesTheSameOrder();
    void rowsColsAddAndRemove();
    void formatStringAndColumns();
    void outOfRangeRaises();
    void currentCellEvents();
    void topRowDuringAndAfterFill();
    void keysThroughRealEvents();
    void mouseThroughRealEvents();
    void selectionRepaintsWhatMoved();
    void largeFillReadsBack();
};

void tst_FlexGrid::sortCodes()
{
    FlexGrid grid;
    const QStringList numbers{"9", "10", "2", "1.5"};

    fillColumn(grid, numbers);
    sortOn(grid, 1, FlexGrid::SortGenericAscending);
    QCOMPARE(column(grid, 1), (QStringList{"1.5", "2", "9", "10"}));
    sortOn(grid, 1, FlexGrid::SortGenericDescending);
    QCOMPARE(column(grid, 1), (QStringList{"10", "9", "2", "1.5"}));
    sortOn(grid, 1, FlexGrid::SortStringAscending);
    QCOMPARE(column(grid, 1), (QStringList{"1.5", "10", "2", "9"}));

    // Numeric codes read the leading number of each cell; text without one counts as 0.
    fillColumn(grid, {"12abc", "x", "3", "-1"});
    sortOn(grid, 1, FlexGrid::SortNumericAscending);
    QCOMPARE(column(grid, 1), (QStringList{"-1", "x", "3", "12abc"}));
    sortOn(grid, 1, FlexGrid::SortNumericDescending);
    QCOMPARE(column(grid, 1), (QStringList{"12abc", "3", "x", "-1"}));

    // Generic puts numbers before texts; texts compare without regard to case.
    fillColumn(grid, {"beta", "20", "Alpha", "3"});
    sortOn(grid, 1, FlexGrid::SortGenericAscending);
    QCOMPARE(column(grid, 1), (QStringList{"3", "20", "Alpha", "beta"}));

    fillColumn(grid, {"b", "B", "a", "A"});
    sortOn(grid, 1, FlexGrid::SortStringAscending);
    QCOMPARE(column(grid, 1), (QStringList{"A", "B", "a", "b"}));
    sortOn(grid, 1, FlexGrid::SortStringDescending);
    QCOMPARE(column(grid, 1), (QStringList{"b", "a", "B", "A"}));
    fillColumn(grid, {"b", "B", "a", "A"});
    sortOn(grid, 1, FlexGrid::SortStringNoCaseAscending);
    QCOMPARE(column(grid, 1), (QStringList{"a", "A", "b", "B"}));
    sortOn(grid, 1, FlexGrid::SortStringNoCaseDescending);
    QCOMPARE(column(grid, 1), (QStringList{"b", "B", "a", "A"}));

    // Texts order by their UTF-16 units, however long the part they share; a shorter text comes first.
    const QStringList texts{"AG/123456789",
                            "AG/12345678",
                            "AG/1234567",
                            "AG/12345670",
                            "AG",
                            QString("AG") + QChar(0),
                            QString(QChar(0xFFFF)) + "x",
                            "\u00e9",
                            "AG/12345678"};
    QStringList ordered = texts;
    std::sort(ordered.begin(), ordered.end());
    fillColumn(grid, texts);
    sortOn(grid, 1, FlexGrid::SortStringAscending);
    QCOMPARE(column(grid, 1), ordered);
    std::reverse(ordered.begin(), ordered.end());
    sortOn(grid, 1, FlexGrid::SortStringDescending);
    QCOMPARE(column(grid, 1), ordered);

    // The fixed row never moves, and neither does anything for code 0.
    grid.setTextMatrix(0, 1, "zzz caption");
    sortOn(grid, 1, FlexGrid::SortStringAscending);
    QCOMPARE(grid.TextMatrix(0, 1), QString("zzz caption"));
    const QStringList before = column(grid, 1);
    sortOn(grid, 1, FlexGrid::SortNone);
    QCOMPARE(column(grid, 1), before);
}

void tst_FlexGrid::sortMovesColoursAndKeepsEqualRowsInOrder()
{
    FlexGrid grid;
    grid.setFixedCols(0);
    grid.setCols(3);
    grid.setRows(5);
    const QStringList keys{"b", "a", "b", "a"};
    for (int r = 1; r <= 4; ++r) {
        grid.setTextMatrix(r, 0, keys.at(r - 1));
        grid.setTextMatrix(r, 1, QString::number(r));
    }
    grid.setCellBackColorAt(3, 0, platform::vbRed); // the second "b"
    grid.setCellBackColorAt(3, 2, platform::vbRed);

    sortOn(grid, 0, FlexGrid::SortStringAscending);
    QCOMPARE(column(grid, 0), (QStringList{"a", "a", "b", "b"}));
    QCOMPARE(column(grid, 1), (QStringList{"2", "4", "1", "3"})); // equal keys keep their order
    QCOMPARE(grid.cellBackColorAt(4, 0), platform::vbRed);
    QCOMPARE(grid.cellBackColorAt(4, 2), platform::vbRed);
    QCOMPARE(grid.cellBackColorAt(3, 0), platform::vbWindowBackground);
    QCOMPARE(grid.cellBackColorAt(1, 0), platform::vbWindowBackground);

    sortOn(grid, 0, FlexGrid::SortStringDescending);
    QCOMPARE(column(grid, 1), (QStringList{"1", "3", "2", "4"})); // stable in descending order too
    QCOMPARE(grid.cellBackColorAt(2, 2), platform::vbRed);

    // Several key columns: Col..ColSel, in that order.
    grid.setTextMatrix(1, 1, "9");
    grid.setTextMatrix(2, 1, "1");
    grid.setCol(0);
    grid.setColSel(1);
    grid.setSort(FlexGrid::SortGenericAscending);
    QCOMPARE(column(grid, 0), (QStringList{"a", "a", "b", "b"}));
    QCOMPARE(column(grid, 1), (QStringList{"2", "4", "1", "9"}));
    QCOMPARE(grid.cellBackColorAt(3, 2), platform::vbRed);
}

void tst_FlexGrid::sortAgreesWithAPlainSortOfManyTexts()
{
    // Many texts, sharing long prefixes or none, short and long, repeated, with units beyond Latin and a
    // null unit: each text sort gives the order of a plain stable sort of the same texts, on one key column
    // and on two, whether the rows came in order or scrambled. Column 3 holds each row's number.
    QStringList texts;
    const QStringList prefixes{"",
                               "AG/",
                               "AG/1000",
                               "Agreement number ",
                               "a",
                               QString(QChar(0x4E2D)),
                               QString("x") + QChar(0) + "y"};
    const QString units = QStringLiteral("0189Aaz/ \u00e9\u00c9") + QChar(0xFFFF);
    quint32 seed = 7;
    auto next = [&seed](quint32 below) {
        seed = seed * 1103515245u + 12345u;
        return (seed >> 16) % below;
    };
    for (int i = 0; i < 3000; ++i) {
        QString text = prefixes.at(int(next(quint32(prefixes.size()))));
        const int length = int(next(6));
        for (int u = 0; u < length; ++u)
            text += units.at(int(next(quint32(units.size()))));
        texts << text;
    }
    QStringList sortedTexts = texts;
    std::sort(sortedTexts.begin(), sortedTexts.end());
    const QStringList scrambled = texts;
    for (const QStringList &input : {sortedTexts, scrambled}) {
        FlexGrid grid;
        grid.setCols(4);
        grid.setRows(int(input.size()) + 1);
        for (int r = 1; r <= input.size(); ++r) {
            grid.setTextMatrix(r, 1, input.at(r - 1));
            grid.setTextMatrix(r, 2, input.at(r - 1).right(1));
            grid.setTextMatrix(r, 3, QString::number(r));
        }
        struct Row
        {
            QString key;
            QString second;
            int number;
        };
        std::vector<Row> rows;
        for (int r = 1; r <= input.size(); ++r)
            rows.push_back({input.at(r - 1), input.at(r - 1).right(1), r});
        auto expect = [&](auto before) {
            std::vector<Row> sorted = rows;
            std::stable_sort(sorted.begin(), sorted.end(), before);
            QStringList numbers;
            for (const Row &row : sorted)
                numbers << QString::number(row.number);
            return numbers;
        };
        // From the rows' first order each time: equal keys keep it.
        auto sortFromStart = [&](int col, int colSel, int code) {
            sortOn(grid, 3, FlexGrid::SortNumericAscending);
            grid.setCol(col);
            grid.setColSel(colSel);
            grid.setSort(code);
            return column(grid, 3);
        };
        QCOMPARE(sortFromStart(1, 1, FlexGrid::SortStringAscending),
                 expect([](const Row &a, const Row &b) { return a.key < b.key; }));
        QCOMPARE(sortFromStart(1, 1, FlexGrid::SortStringDescending),
                 expect([](const Row &a, const Row &b) { return b.key < a.key; }));
        QCOMPARE(
            sortFromStart(1, 1, FlexGrid::SortStringNoCaseAscending),
            expect([](const Row &a, const Row &b) { return a.key.toCaseFolded() < b.key.toCaseFolded(); }));
        QCOMPARE(sortFromStart(1, 2, FlexGrid::SortStringAscending), expect([](const Row &a, const Row &b) {
                     return a.key != b.key ? a.key < b.key : a.second < b.second;
                 }));
    }
}

void tst_FlexGrid::sortAgainSeesEveryChange()
{
    // The grid skips a sort it has just made; each change below must make the next one count.
    FlexGrid grid;
    fillColumn(grid, {"c", "a", "b"});
    sortOn(grid, 1, FlexGrid::SortStringAscending);
    grid.setTextMatrix(1, 1, "z");
    sortOn(grid, 1, FlexGrid::SortStringAscending);
    QCOMPARE(column(grid, 1), (QStringList{"b", "c", "z"}));
    grid.AddItem("\ta");
    sortOn(grid, 1, FlexGrid::SortStringAscending);
    QCOMPARE(column(grid, 1), (QStringList{"a", "b", "c", "z"}));
    grid.setRows(grid.Rows() + 1); // an empty row sorts first
    sortOn(grid, 1, FlexGrid::SortStringAscending);
    QCOMPARE(column(grid, 1), (QStringList{"", "a", "b", "c", "z"}));

    // A caption is no key until its row stops being fixed.
    grid.setTextMatrix(0, 1, "x");
    grid.setFixedRows(0);
    sortOn(grid, 1, FlexGrid::SortStringAscending);
    QCOMPARE(column(grid, 1), (QStringList{"", "a", "b", "c", "x", "z"}));

    // Another code in between, then the first code again.
    fillColumn(grid, {"b", "B", "a", "A"});
    grid.setFixedRows(1);
    sortOn(grid, 1, FlexGrid::SortStringAscending);
    sortOn(grid, 1, FlexGrid::SortStringNoCaseAscending);
    QCOMPARE(column(grid, 1), (QStringList{"A", "a", "B", "b"}));
    sortOn(grid, 1, FlexGrid::SortStringAscending);
    QCOMPARE(column(grid, 1), (QStringList{"A", "B", "a", "b"}));

    // Other key columns: one more column breaks ties, another column alone is another order.
    grid.setCols(3);
    grid.setRows(4);
    const QStringList first{"a", "a", "b"};
    const QStringList second{"2", "1", "0"};
    for (int r = 1; r <= 3; ++r) {
        grid.setTextMatrix(r, 1, first.at(r - 1));
        grid.setTextMatrix(r, 2, second.at(r - 1));
    }
    sortOn(grid, 1, FlexGrid::SortStringAscending);
    QCOMPARE(column(grid, 2), (QStringList{"2", "1", "0"}));
    grid.setCol(2);
    grid.setColSel(1); // the range runs either way
    grid.setSort(FlexGrid::SortStringAscending);
    QCOMPARE(column(grid, 2), (QStringList{"1", "2", "0"}));
    sortOn(grid, 2, FlexGrid::SortStringAscending);
    QCOMPARE(column(grid, 1), (QStringList{"b", "a", "a"}));
    sortOn(grid, 1, FlexGrid::SortStringAscending);
    QCOMPARE(column(grid, 2), (QStringList{"1", "2", "0"}));
}

void tst_FlexGrid::sortedRowsStayWhole()
{
    // After a sort every change must keep a row's cells and colours together, wherever the row is shown.
    // Column 2 names the row; `shown` is the order the grid must show, `keyOf` and `red` what each row holds.
    FlexGrid grid;
    grid.setCols(3);
    const QStringList keys{"d", "b", "a", "c", "b", "a"};
    grid.setRows(int(keys.size()) + 1);
    QHash<QString, QString> keyOf;
    QSet<QString> red;
    for (int r = 1; r <= keys.size(); ++r) {
        const QString id = QString::number(r);
        grid.setTextMatrix(r, 1, keys.at(r - 1));
        grid.setTextMatrix(r, 2, id);
        keyOf[id] = keys.at(r - 1);
        if (r % 2 == 0) {
            grid.setCellBackColorAt(r, 2, platform::vbRed);
            red << id;
        }
    }
    QStringList shown;
    auto check = [&] {
        grid.flush();
        QCOMPARE(column(grid, 2), shown);
        for (int r = 1; r < grid.Rows(); ++r) {
            const QString id = grid.TextMatrix(r, 2);
            QCOMPARE(grid.TextMatrix(r, 1), keyOf.value(id));
            QCOMPARE(grid.cellBackColorAt(r, 2) == platform::vbRed, red.contains(id));
            QCOMPARE(grid.model()->index(r - 1, 2).data().toString(), id);
        }
    };

    sortOn(grid, 1, FlexGrid::SortStringAscending);
    shown = QStringList{"3", "6", "2", "5", "4", "1"};
    check();

    grid.setTextMatrix(1, 1, "z"); // row "3"
    keyOf["3"] = "z";
    grid.setCellBackColorAt(1, 2, platform::vbRed);
    red << "3";
    grid.AddItem("	e	7", 2);
    keyOf["7"] = "e";
    shown.insert(1, "7");
    grid.AddItem("	f	8");
    keyOf["8"] = "f";
    shown << "8";
    check();
    grid.RemoveItem(3); // row "6"
    shown.removeAt(2);
    check();

    sortOn(grid, 1, FlexGrid::SortStringDescending);
    shown = QStringList{"3", "8", "7", "1", "4", "2", "5"};
    check();
    grid.setRows(grid.Rows() - 2); // drops "2" and "5"
    shown.resize(5);
    grid.setRows(grid.Rows() + 1);
    shown << QString();
    check();
    grid.setCols(4);
    check();
    sortOn(grid, 1, FlexGrid::SortStringAscending);
    shown = QStringList{QString(), "4", "1", "7", "8", "3"};
    check();
}

void tst_FlexGrid::preparedSortGivesTheSameOrder()
{
    // Two grids with the same rows, one working its sort out ahead: whatever happens between the preparing,
    // the idle moments and the sort, both show the same order. Many rows share a key, so that the order
    // equal keys keep shows too.
    FlexGrid plain;
    FlexGrid prepared;
    for (FlexGrid *grid : {&plain, &prepared}) {
        grid->setCols(3);
        grid->setRows(301);
        for (int r = 1; r <= 300; ++r) {
            grid->setTextMatrix(r, 1, QString(r % 3 ? "k%1" : "K%1").arg(r * 7 % 13));
            grid->setTextMatrix(r, 2, QString::number(r));
        }
    }
    prepared.prepareSort(FlexGrid::SortStringAscending, 1, 1);
    auto both = [&](const std::function<void(FlexGrid &)> &step) {
        step(plain);
        step(prepared);
    };
    auto sortBoth = [&](int code) {
        // Another order first: equal keys then keep the ids' descending order.
        both([](FlexGrid &grid) { sortOn(grid, 2, FlexGrid::SortNumericDescending); });
        both([code](FlexGrid &grid) { sortOn(grid, 1, code); });
        QCOMPARE(column(prepared, 2), column(plain, 2));
        QCOMPARE(column(prepared, 1), column(plain, 1));
        for (int r = 2; r < plain.Rows(); ++r) {
            const int order = plain.TextMatrix(r - 1, 1).compare(plain.TextMatrix(r, 1));
            QVERIFY(code == FlexGrid::SortStringAscending ? order <= 0 : order >= 0);
            if (order == 0)
                QVERIFY(plain.TextMatrix(r - 1, 2).toInt() > plain.TextMatrix(r, 2).toInt());
        }
    };

    sortBoth(FlexGrid::SortStringAscending); // asked before any idle moment
    QCoreApplication::processEvents();       // the idle moment: the order is worked out on another thread
    sortBoth(FlexGrid::SortStringAscending);
    sortBoth(FlexGrid::SortStringDescending);

    // A key written after the preparing counts at once, and again after the next idle moment.
    QCoreApplication::processEvents();
    both([](FlexGrid &grid) { grid.setTextMatrix(5, 1, "A"); });
    sortBoth(FlexGrid::SortStringAscending);
    QCOMPARE(prepared.TextMatrix(1, 1), QString("A"));
    QCoreApplication::processEvents();
    both([](FlexGrid &grid) { grid.setTextMatrix(1, 1, "zz"); });
    QCoreApplication::processEvents();
    sortBoth(FlexGrid::SortStringAscending);
    QCOMPARE(prepared.TextMatrix(300, 1), QString("zz"));

    // Rows that come and go, and another column asked for.
    both([](FlexGrid &grid) {
        grid.AddItem("	K5	301", 7);
        grid.RemoveItem(20);
    });
    QCoreApplication::processEvents();
    sortBoth(FlexGrid::SortStringAscending);
    prepared.prepareSort(FlexGrid::SortNumericAscending, 2, 2);
    QCoreApplication::processEvents();
    both([](FlexGrid &grid) { sortOn(grid, 1, FlexGrid::SortStringDescending); });
    both([](FlexGrid &grid) { sortOn(grid, 2, FlexGrid::SortNumericAscending); });
    QCOMPARE(column(prepared, 2), column(plain, 2));
    QCOMPARE(prepared.TextMatrix(1, 2), QString("1"));
}

void tst_FlexGrid::rowsColsAddAndRemove()
{
    FlexGrid grid;
    QCOMPARE(grid.Rows(), 2);
    QCOMPARE(grid.Cols(), 2);
    QCOMPARE(grid.FixedRows(), 1);

    grid.setCols(3);
    grid.setRows(4);
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 3; ++c)
            grid.setTextMatrix(r, c, QString("%1.%2").arg(r).arg(c));
    grid.setRows(3);
    grid.setRows(5);
    QCOMPARE(grid.TextMatrix(2, 2), QString("2.2"));
    QCOMPARE(grid.TextMatrix(3, 2), QString()); // the dropped row comes back empty
    grid.setCols(2);
    grid.setCols(4);
    QCOMPARE(grid.TextMatrix(2, 1), QString("2.1"));
    QCOMPARE(grid.TextMatrix(2, 2), QString());

    grid.setRows(4);
    grid.setCellBackColorAt(3, 1, platform::vbRed);
    grid.RemoveItem(1);
    QCOMPARE(grid.Rows(), 3);
    QCOMPARE(grid.TextMatrix(1, 0), QString("2.0"));
    QCOMPARE(grid.cellBackColorAt(2, 1), platform::vbRed);

    grid.AddItem("a\tb\tc\td\textra");
    QCOMPARE(grid.Rows(), 4);
    QCOMPARE(grid.TextMatrix(3, 0), QString("a"));
    QCOMPARE(grid.TextMatrix(3, 3), QString("d"));
    grid.AddItem("\tfirst", 1);
    QCOMPARE(grid.TextMatrix(1, 1), QString("first"));
    QCOMPARE(grid.TextMatrix(2, 0), QString("2.0"));
    QCOMPARE(grid.cellBackColorAt(3, 1), platform::vbRed);

    // The current row stays inside a shrinking grid.
    grid.setRow(4);
    grid.setRows(3);
    QCOMPARE(grid.Row(), 2);

    grid.Clear();
    QCOMPARE(grid.Rows(), 3);
    QCOMPARE(grid.Cols(), 4);
    QCOMPARE(grid.TextMatrix(1, 1), QString());
    QCOMPARE(grid.cellBackColorAt(2, 1), platform::vbWindowBackground);

    // The last data row cannot be removed: a detail grid blanks it instead.
    grid.setRows(2);
    QCOMPARE(errorNumber([&] { grid.RemoveItem(1); }), 30015);
    QCOMPARE(errorNumber([&] { grid.RemoveItem(2); }), 381);
}

void tst_FlexGrid::formatStringAndColumns()
{
    FlexGrid grid;
    grid.setRows(3);
    grid.setTextMatrix(2, 1, "kept");
    grid.setFormatString("|SNo |Sign By |Position |Date |Agency ");
    QCOMPARE(grid.FormatString(), QString("|SNo |Sign By |Position |Date |Agency "));
    QCOMPARE(grid.Cols(), 6);
    QCOMPARE(grid.Rows(), 3);
    QCOMPARE(grid.TextMatrix(0, 0), QString());
    QCOMPARE(grid.TextMatrix(0, 1), QString("SNo "));
    QCOMPARE(grid.TextMatrix(0, 5), QString("Agency "));
    QCOMPARE(grid.TextMatrix(2, 1), QString("kept"));
    grid.flush();
    QCOMPARE(grid.model()->headerData(2, Qt::Horizontal).toString(), QString("Sign By "));
    QVERIFY(grid.horizontalHeader()->isVisibleTo(&grid));

    grid.setColWidth(0, 0);
    grid.setColWidth(1, 1750);
    grid.flush();
    QVERIFY(grid.isColumnHidden(0));
    QCOMPARE(grid.ColWidth(0), 0);
    QCOMPARE(grid.ColWidth(1), 1750);
    QCOMPARE(grid.columnWidth(1), platform::twipsToPixels(1750, &grid));
    // Widths survive the view rebuilding its columns.
    grid.setCols(7);
    grid.flush();
    QVERIFY(grid.isColumnHidden(0));
    QCOMPARE(grid.columnWidth(1), platform::twipsToPixels(1750, &grid));
    QCOMPARE(grid.ColWidth(6), -1);
    grid.setColWidth(0, 500);
    grid.flush();
    QVERIFY(!grid.isColumnHidden(0));

    // No fixed row: no caption header, every row is a table row.
    grid.setFixedRows(0);
    grid.flush();
    QVERIFY(!grid.horizontalHeader()->isVisibleTo(&grid));
    QCOMPARE(grid.model()->rowCount(), 3);
}

void tst_FlexGrid::outOfRangeRaises()
{
    FlexGrid grid;
    grid.setCols(3);
    grid.setRows(3);
    QCOMPARE(errorNumber([&] { grid.TextMatrix(3, 0); }), 381);
    QCOMPARE(errorNumber([&] { grid.TextMatrix(0, -1); }), 381);
    QCOMPARE(errorNumber([&] { grid.setTextMatrix(1, 3, "x"); }), 381);
    QCOMPARE(errorNumber([&] { grid.ColWidth(3); }), 381);
    QCOMPARE(errorNumber([&] { grid.setRow(3); }), 30009);
    QCOMPARE(errorNumber([&] { grid.setCol(-1); }), 30010);
    try {
        grid.TextMatrix(5, 5);
        QFAIL("no error");
    } catch (const platform::RuntimeError &e) {
        QCOMPARE(e.description(), QString("Subscript out of range"));
    }
}

void tst_FlexGrid::currentCellEvents()
{
    FlexGrid grid;
    grid.setCols(4);
    grid.setRows(6);
    QSignalSpy leave(&grid, &FlexGrid::LeaveCell);
    QSignalSpy enter(&grid, &FlexGrid::EnterCell);
    QSignalSpy rowCol(&grid, &FlexGrid::RowColChange);
    QSignalSpy sel(&grid, &FlexGrid::SelChange);

    // The list's way of selecting a whole row.
    grid.setRow(5);
    grid.setCol(0);
    grid.setColSel(3);
    QCOMPARE(grid.Row(), 5);
    QCOMPARE(grid.RowSel(), 5);
    QCOMPARE(grid.Col(), 0);
    QCOMPARE(grid.ColSel(), 3);
    QCOMPARE(leave.count(), 2);
    QCOMPARE(enter.count(), 2);
    QCOMPARE(rowCol.count(), 2);
    QCOMPARE(sel.count(), 3);

    // The same values again fire nothing.
    grid.setColSel(3);
    QCOMPARE(sel.count(), 3);

    // Extending the rows keeps the current cell; setting Row collapses the selection.
    grid.setRowSel(2);
    QCOMPARE(rowCol.count(), 2);
    QCOMPARE(sel.count(), 4);
    grid.setRow(3);
    QCOMPARE(grid.RowSel(), 3);
    QCOMPARE(grid.ColSel(), 0);
    QCOMPARE(rowCol.count(), 3);

    // Row is already new when RowColChange is handled.
    int seen = -1;
    connect(&grid, &FlexGrid::RowColChange, this, [&] { seen = grid.Row(); });
    grid.setRow(1);
    QCOMPARE(seen, 1);

    // Painting one cell does not move anything.
    grid.setCellBackColorAt(4, 2, platform::vbRed);
    QCOMPARE(grid.Row(), 1);
    QCOMPARE(rowCol.count(), 4);
    grid.setCellBackColor(platform::vbCyan);
    QCOMPARE(grid.CellBackColor(), platform::vbCyan);
    QCOMPARE(grid.cellBackColorAt(4, 2), platform::vbRed);
}

void tst_FlexGrid::topRowDuringAndAfterFill()
{
    FlexGrid grid;
    grid.resize(300, 200);
    grid.show();
    QVERIFY(QTest::qWaitForWindowExposed(&grid));
    grid.setCols(3);
    for (int r = 1; r <= 500; ++r) {
        if (r > 1)
            grid.setRows(grid.Rows() + 1);
        grid.setTextMatrix(r, 1, QString::number(r));
    }
    grid.setRow(400);
    grid.setTopRow(400);
    QCOMPARE(grid.TopRow(), 400); // asked before the view has seen the rows
    QCoreApplication::processEvents();
    QCOMPARE(grid.model()->rowCount(), 500);
    QCOMPARE(grid.TopRow(), 400);
    QCOMPARE(grid.rowAt(1), 399); // table row 399 is grid row 400

    grid.setTopRow(1);
    QCOMPARE(grid.TopRow(), 1);
    grid.setTopRow(500); // the last row cannot be the top of a full page: the page ends with it
    QVERIFY(grid.TopRow() > 400);
    QCOMPARE(grid.verticalScrollBar()->value(), grid.verticalScrollBar()->maximum());
}

void tst_FlexGrid::keysThroughRealEvents()
{
    FlexGrid grid;
    grid.setCols(3);
    grid.setRows(5);
    grid.resize(300, 200);
    grid.show();
    QVERIFY(QTest::qWaitForWindowExposed(&grid));

    QList<int> ascii;
    QList<QPair<int, int>> down;
    connect(&grid, &FlexGrid::KeyPress, this, [&](qint16 &key) { ascii << key; });
    connect(&grid, &FlexGrid::KeyDown, this, [&](qint16 &key, int shift) {
        if (key < 16 || key > 18) // the modifier keys themselves
            down << qMakePair(int(key), shift);
    });

    QTest::keyClick(&grid, Qt::Key_Return);
    QTest::keyClick(&grid, Qt::Key_Return, Qt::ControlModifier);
    QTest::keyClick(&grid, Qt::Key_D, Qt::ControlModifier);
    QTest::keyClick(&grid, Qt::Key_A);
    QCOMPARE(ascii, (QList<int>{13, 10, 4, 'a'}));
    QCOMPARE(down.at(1), qMakePair(13, 2));

    ascii.clear();
    down.clear();
    QCOMPARE(grid.Row(), 1);
    QTest::keyClick(&grid, Qt::Key_Down);
    QCOMPARE(down, (QList<QPair<int, int>>{{40, 0}}));
    QCOMPARE(grid.Row(), 2);
    QTest::keyClick(&grid, Qt::Key_Up);
    QCOMPARE(grid.Row(), 1);
    QTest::keyClick(&grid, Qt::Key_Up); // the fixed row is not reached
    QCOMPARE(grid.Row(), 1);
    QTest::keyClick(&grid, Qt::Key_Delete);
    QCOMPARE(down.last().first, 46);
    QVERIFY(ascii.isEmpty()); // Delete gives no character

    // Shift extends the selection; End with Ctrl goes to the last row.
    QTest::keyClick(&grid, Qt::Key_Down, Qt::ShiftModifier);
    QCOMPARE(grid.Row(), 1);
    QCOMPARE(grid.RowSel(), 2);
    QTest::keyClick(&grid, Qt::Key_End, Qt::ControlModifier);
    QCOMPARE(grid.Row(), 4);
    QCOMPARE(grid.Col(), 2);

    // A handler that swallows the key code keeps the grid where it is.
    connect(&grid, &FlexGrid::KeyDown, this, [](qint16 &key, int) { key = 0; });
    QTest::keyClick(&grid, Qt::Key_Up);
    QCOMPARE(grid.Row(), 4);
}

void tst_FlexGrid::mouseThroughRealEvents()
{
    FlexGrid grid;
    grid.setFixedCols(0);
    grid.setCols(3);
    grid.setRows(6);
    for (int r = 1; r < 6; ++r)
        grid.setTextMatrix(r, 1, QString("row %1").arg(r));
    grid.resize(400, 300);
    grid.show();
    QVERIFY(QTest::qWaitForWindowExposed(&grid));
    grid.flush();

    QSignalSpy clicks(&grid, &FlexGrid::Click);
    QSignalSpy doubles(&grid, &FlexGrid::DblClick);
    QSignalSpy downs(&grid, &FlexGrid::MouseDown);
    int rowAtDouble = -1;
    connect(&grid, &FlexGrid::DblClick, this, [&] { rowAtDouble = grid.Row(); });

    const QRect cell = grid.visualRect(grid.model()->index(2, 1)); // grid row 3
    QTest::mouseClick(grid.viewport(), Qt::LeftButton, {}, cell.center());
    QCOMPARE(grid.Row(), 3);
    QCOMPARE(grid.Col(), 1);
    QCOMPARE(clicks.count(), 1);
    QCOMPARE(downs.count(), 1);
    QCOMPARE(downs.last().at(0).toInt(), 1);

    const QRect other = grid.visualRect(grid.model()->index(3, 2)); // grid row 4
    QTest::mouseDClick(grid.viewport(), Qt::LeftButton, {}, other.center());
    QCOMPARE(doubles.count(), 1);
    QCOMPARE(rowAtDouble, 4);
    QCOMPARE(grid.Col(), 2);

    // Through the window, as the user's double click comes: one MouseDown, in the original's order.
    QStringList order;
    connect(&grid, &FlexGrid::MouseDown, this, [&] { order << "down"; });
    connect(&grid, &FlexGrid::MouseUp, this, [&] { order << "up"; });
    connect(&grid, &FlexGrid::Click, this, [&] { order << "click"; });
    connect(&grid, &FlexGrid::DblClick, this, [&] { order << "double"; });
    const QRect second = grid.visualRect(grid.model()->index(1, 1)); // grid row 2
    QTest::mouseDClick(grid.windowHandle(), Qt::LeftButton, {},
                       grid.viewport()->mapTo(&grid, second.center()));
    QCOMPARE(order, (QStringList{"down", "up", "click", "double", "up"}));
    QCOMPARE(rowAtDouble, 2);

    const QRect fifth = grid.visualRect(grid.model()->index(4, 1));
    QTest::mouseClick(grid.viewport(), Qt::RightButton, {}, fifth.center());
    QCOMPARE(downs.last().at(0).toInt(), 2);
    QCOMPARE(grid.Row(), 5);
    // x and y are twips from the grid's corner.
    const QPoint inGrid = grid.viewport()->mapTo(&grid, fifth.center());
    QCOMPARE(downs.last().at(2).toDouble(), double(platform::pixelsToTwips(inGrid.x(), &grid)));

    QTest::mouseMove(grid.viewport(), cell.center());
    QCOMPARE(grid.MouseRow(), 3);
    QCOMPARE(grid.MouseCol(), 1);
    QTest::mouseMove(grid.viewport(), QPoint(cell.center().x(), grid.viewport()->height() - 2));
    QCOMPARE(grid.MouseRow(), 5); // below the last row: the last row

    // The caption row is the grid's too: row 0 under the mouse, and a dragged column edge gives a new width.
    QWidget *captions = grid.horizontalHeader()->viewport();
    const int edge = grid.columnViewportPosition(1) + grid.columnWidth(1) - 1;
    const int downsBefore = int(downs.count());
    QTest::mousePress(captions, Qt::LeftButton, {}, QPoint(edge, 5));
    QCOMPARE(downs.count(), downsBefore + 1);
    QCOMPARE(grid.MouseRow(), 0);
    QTest::mouseMove(captions, QPoint(edge + 30, 5));
    QTest::mouseRelease(captions, Qt::LeftButton, {}, QPoint(edge + 30, 5));
    QCOMPARE(grid.ColWidth(1), platform::pixelsToTwips(grid.columnWidth(1), &grid));
    QVERIFY(grid.columnWidth(1) > edge - grid.columnViewportPosition(1) + 10);

    // The overlay geometry of the current cell.
    grid.setRow(3);
    grid.setCol(1);
    QCOMPARE(grid.CellWidth(), platform::pixelsToTwips(grid.columnWidth(1), &grid));
    const QPoint corner = grid.viewport()->mapTo(&grid, cell.topLeft());
    QCOMPARE(grid.CellLeft(), platform::pixelsToTwips(corner.x(), &grid));
    QCOMPARE(grid.CellTop(), platform::pixelsToTwips(corner.y(), &grid));
}

void tst_FlexGrid::selectionRepaintsWhatMoved()
{
    // Only the rows a selection leaves and enters are repainted: what the window shows must still be right.
    FlexGrid grid;
    grid.setFixedCols(0);
    grid.setCols(3);
    grid.setRows(41);
    for (int r = 1; r < 41; ++r)
        grid.setTextMatrix(r, 2, QString::number(r));
    grid.resize(300, 200);
    grid.show();
    QVERIFY(QTest::qWaitForWindowExposed(&grid));
    grid.setSelMode(1);
    grid.setBackColorSel(platform::vbRed);
    grid.flush();
    const QColor red(Qt::red);
    const QColor cyan(Qt::cyan);

    // The window's own pixels (not a fresh rendering) at the left edge of a cell, inside it. Column 1 holds
    // the current cell, which the style paints with its focus frame.
    auto pixels = [&] {
        grid.flush();
        QCoreApplication::processEvents();
        return grid.screen()->grabWindow(grid.winId()).toImage();
    };
    auto cellPoint = [&](int row, int col, int dx) {
        const QRect cell = grid.visualRect(grid.model()->index(row - 1, col));
        return grid.viewport()->mapTo(&grid, QPoint(cell.left() + dx, cell.center().y()));
    };
    auto shown = [&](int row, int col) { return pixels().pixelColor(cellPoint(row, col, 1)); };

    grid.setRow(3);
    QCOMPARE(shown(3, 0), red);
    grid.setRow(5);
    QCOMPARE(shown(5, 0), red);
    QVERIFY(shown(3, 0) != red);
    grid.setRowSel(7);
    QCOMPARE(shown(7, 0), red);
    grid.setRow(6);
    QCOMPARE(shown(6, 2), red);
    QVERIFY(shown(5, 0) != red);
    QVERIFY(shown(7, 0) != red);
    grid.setBackColorSel(platform::vbCyan);
    QCOMPARE(shown(6, 0), cyan);

    // A search's move: select a row a little further down and bring it to the top.
    grid.setTopRow(20);
    grid.setRow(21);
    QCOMPARE(shown(21, 0), cyan);
    grid.setRow(23);
    grid.setTopRow(21);
    QCOMPARE(grid.TopRow(), 21);
    QVERIFY(shown(21, 0) != cyan);
    QCOMPARE(shown(23, 0), cyan);
    grid.setCellBackColorAt(24, 2, 0xFF0000); // blue
    QCOMPARE(shown(24, 2), QColor(Qt::blue));

    // A text too long for its column is cut short inside it.
    grid.setColWidth(1, 600);
    grid.setTextMatrix(22, 1, QString(40, QLatin1Char('W')));
    const QImage image = pixels();
    const QColor blank = image.pixelColor(cellPoint(22, 2, 1));
    for (int x = 1; x < grid.columnWidth(2) / 2; ++x) // the number there stands at the right
        QCOMPARE(image.pixelColor(cellPoint(22, 2, x)), blank);
    bool inked = false;
    for (int x = 1; x < grid.columnWidth(1) - 1; ++x)
        inked |= image.pixelColor(cellPoint(22, 1, x)) != blank;
    QVERIFY(inked);
}

void tst_FlexGrid::largeFillReadsBack()
{
    // The list's way: one more row per record, cells one by one, and reads see every write at once.
    FlexGrid grid;
    grid.setFixedCols(0);
    grid.setCols(1);
    const int records = 20000;
    for (int i = 1; i <= records; ++i) {
        if (i > 1)
            grid.setRows(grid.Rows() + 1);
        if (i == 1)
            grid.setCols(8);
        for (int j = 0; j < 8; ++j)
            grid.setTextMatrix(i, j, QString::number(i * 10 + j));
        QCOMPARE(grid.TextMatrix(i, 7), QString::number(i * 10 + 7));
    }
    QCOMPARE(grid.Rows(), records + 1);
    QCOMPARE(grid.model()->rowCount(), 1); // the view has not been told yet
    QCoreApplication::processEvents();
    QCOMPARE(grid.model()->rowCount(), records);
    QCOMPARE(grid.model()->index(records - 1, 3).data().toString(), QString::number(records * 10 + 3));
}

QTEST_MAIN(tst_FlexGrid)
#include "tst_flexgrid.moc"
