#pragma once
// FlexGrid: the original's flexible grid on a QTableView. Row 0 is the fixed caption row; the grid
// holds every cell text in one contiguous store, so that long lists fill and scroll quickly.
// Row, Col, RowSel and ColSel are the grid's own current cell and selection, painted by the grid (the
// view's own selection model is not used). Widths are in twips; colours are 0x00BBGGRR values.

#include <QString>
#include <QTableView>
#include <memory>

namespace platform {

class FlexGridModel;

class FlexGrid : public QTableView
{
    Q_OBJECT
public:
    // Sort codes of the original.
    enum SortCode
    {
        SortNone = 0,
        SortGenericAscending = 1,
        SortGenericDescending = 2,
        SortNumericAscending = 3,
        SortNumericDescending = 4,
        SortStringNoCaseAscending = 5,
        SortStringNoCaseDescending = 6,
        SortStringAscending = 7,
        SortStringDescending = 8,
    };

    explicit FlexGrid(QWidget *parent = nullptr);
    ~FlexGrid() override;

    int Rows() const;
    void setRows(int rows); // keeps the content of rows that remain
    int Cols() const;
    void setCols(int cols);
    int FixedRows() const;
    void setFixedRows(int rows);
    int FixedCols() const;
    void setFixedCols(int cols);

    // Current cell and selection. Setting Row or Col collapses the selection to the current cell, as the
    // original does; then RowSel/ColSel extend it. Each change fires RowColChange/EnterCell/SelChange.
    int Row() const;
    void setRow(int row);
    int Col() const;
    void setCol(int col);
    int RowSel() const;
    void setRowSel(int row);
    int ColSel() const;
    void setColSel(int col);
    int TopRow() const;
    void setTopRow(int row); // scrolls so that row is the first visible data row

    QString TextMatrix(int row, int col) const; // raises 381 (subscript out of range) outside the grid
    void setTextMatrix(int row, int col, const QString &text);
    QString Text() const; // the current cell
    void setText(const QString &text);

    // "|SNo |Sign By" : captions of row 0, split on "|".
    QString FormatString() const;
    void setFormatString(const QString &format);

    int ColWidth(int col) const;          // twips; -1 when never set
    void setColWidth(int col, int twips); // 0 hides the column
    int ColAlignment(int col) const;
    void setColAlignment(int col, int alignment);
    int GridWidth() const; // the control's width in twips

    // Adds a row from tab-separated texts at the end, or before index.
    void AddItem(const QString &tabSeparated, int index = -1);
    void RemoveItem(int index); // rows below move up
    void Clear();               // empties every cell, keeps the size

    // Sort = code: orders rows FixedRows..Rows-1 by columns Col..ColSel; rows with equal keys keep their
    // order. The same sort again costs nothing while no row has come or gone and no cell of those columns
    // was written; a column already in order otherwise costs one pass to check.
    void setSort(int code);
    // Works out ahead, off the user-interface thread, what Sort = code over the columns col..colSel will
    // need, and keeps it up to date as their cells change, so that the Sort itself stays quick on long
    // lists; SortNone stops. Moves no row: what the grid shows is the same with or without it.
    void prepareSort(int code, int col, int colSel);

    // CellBackColor paints the current cell (the original's FillStyle single).
    quint32 CellBackColor() const;
    void setCellBackColor(quint32 vbColor);
    quint32 cellBackColorAt(int row, int col) const;            // 0x80000005 (window) when never painted
    void setCellBackColorAt(int row, int col, quint32 vbColor); // paints one cell without moving Row/Col
    quint32 BackColorSel() const;
    void setBackColorSel(quint32 vbColor);

    // The original's SelectionMode: 0 free, 1 whole rows, 2 whole columns are shown selected.
    int SelMode() const;
    void setSelMode(int mode);

    int MouseRow() const;
    int MouseCol() const;
    QString ToolTipText() const;
    void setToolTipText(const QString &text);

    // Cell geometry of the current cell, in twips relative to the grid (for editors laid over a cell).
    int CellLeft() const;
    int CellTop() const;
    int CellWidth() const;
    int CellHeight() const;

    // Back to a new grid, firing no event: 2 rows and 2 columns with one fixed of each, Row = Col = 1, no
    // texts, colours, widths or remembered order, scrolled to the start. For a form that keeps its controls
    // between two openings.
    void resetToNew();

    // Scrolls as little as needed to show the row; Row, Col and TopRow keep their meaning.
    void ensureRowVisible(int row);

    // Applies pending changes to the view at once (normally done on the next turn of the event loop).
    void flush();

    // Events, in the original's order. A change of the current cell, from the user or from code, fires
    // LeaveCell, EnterCell, RowColChange, then SelChange; a change of RowSel/ColSel alone fires SelChange.
    // A mouse button makes the cell under it current (the right button too, so that a popup menu acts on
    // the row clicked), then fires MouseDown; the release fires MouseUp and Click. A double click fires
    // those for its first press only, then DblClick with the clicked cell current, then MouseUp. A key
    // fires KeyDown (a handler may zero keyCode to stop the grid's own move), then KeyPress when it gives a
    // character; Tab moves on to the next control.
Q_SIGNALS:
    void Click();
    void DblClick();
    void KeyPress(qint16 &keyAscii);
    void KeyDown(qint16 &keyCode, int shift);
    void KeyUp(qint16 &keyCode, int shift);
    void MouseDown(int button, int shift, double x, double y); // button 1 left, 2 right, 4 middle
    void MouseUp(int button, int shift, double x, double y);
    void MouseMove(int button, int shift, double x, double y);
    void EnterCell();
    void LeaveCell();
    void RowColChange();
    void SelChange();

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void keyReleaseEvent(QKeyEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    bool viewportEvent(QEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    struct Data;
    std::unique_ptr<Data> d;
};

} // namespace platform
