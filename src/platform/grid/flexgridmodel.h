#pragma once
// The store behind a FlexGrid: every cell text row after row in one vector, back colours only for the
// cells that have one, and per-column widths and alignments. A sort reorders a list of row numbers, not
// the cells: the cells stay where they were stored until a row comes or goes. The view hears of changes in
// one batch (flush), on the next turn of the event loop, so that writing a large grid cell by cell sends no
// model signals. Reads always see the latest writes.

#include <QAbstractTableModel>
#include <QColor>
#include <QHash>
#include <QString>
#include <future>
#include <memory>
#include <vector>

class QThreadPool;

namespace platform {

class FlexGridModel : public QAbstractTableModel
{
    Q_OBJECT
public:
    explicit FlexGridModel(QObject *parent = nullptr);
    ~FlexGridModel() override;

    // The grid's current cell and selection, read when the cells are painted.
    struct Selection
    {
        int row = 1;
        int col = 1;
        int rowSel = 1;
        int colSel = 1;
    };

    // The first eight UTF-16 units of a text packed into two numbers that order as the texts do, a shorter
    // text padded with zeros.
    struct Head
    {
        quint64 high = 0;
        quint64 low = 0;
    };
    static Head headOf(QStringView text);

    int rows() const { return m_rows; }
    int cols() const { return m_cols; }
    int fixedRows() const { return m_fixedRows; }
    int fixedCols() const { return m_fixedCols; }
    // Grid rows shown in the header instead of the table: row 0 when there is a fixed row.
    int headerRows() const { return m_fixedRows > 0 ? 1 : 0; }

    void resize(int rows, int cols);
    void setFixedRows(int rows);
    void setFixedCols(int cols);

    bool contains(int row, int col) const { return row >= 0 && row < m_rows && col >= 0 && col < m_cols; }
    const QString &text(int row, int col) const
    {
        return m_cells[size_t(storedRow(row)) * size_t(m_cols) + size_t(col)];
    }
    void setText(int row, int col, const QString &text);

    void insertRow(int row, const QStringList &texts);
    void removeRow(int row);
    void clearCells();

    // Orders rows fixedRows..rows-1 by the columns firstCol..lastCol; returns false when they were already
    // in order (nothing moved). The last order made is remembered until a row comes or goes or a cell of its
    // columns is written: asking for it again then costs nothing.
    bool sortRows(int code, int firstCol, int lastCol);
    // Keeps the ranking that sortRows(code, firstCol, lastCol) needs worked out ahead, off the user-interface
    // thread, and works it out again at the next idle moment after a change to its columns; code 0 stops.
    // A sort that finds it ready only moves row numbers; one that finds it under way waits for it.
    void prepareSort(int code, int firstCol, int lastCol);

    quint32 backColor(int row, int col, quint32 fallback) const;
    void setBackColor(int row, int col, quint32 vbColor);

    int width(int col) const { return m_widths[size_t(col)]; }
    void setWidth(int col, int twips) { m_widths[size_t(col)] = twips; }
    int alignment(int col) const { return m_alignments[size_t(col)]; }
    void setAlignment(int col, int alignment);

    Selection selection;
    int selectionMode = 0; // 0 free, 1 by row, 2 by column
    quint32 backColorSel = 0x8000000E;
    bool isSelected(int row, int col) const;

    // How a cell is painted: Qt alignment flags, and its own colours (invalid where the view's apply).
    int displayAlignment(int row, int col) const;
    void cellColours(int row, int col, QColor *background, QColor *foreground) const;
    // The grid row shown by a table row, as the view was last told.
    int gridRow(const QModelIndex &index) const { return index.row() + m_viewHeaderRows; }

    // Tells the view what changed since the last flush; normally runs by itself on the next event-loop turn.
    void flush();
    bool pending() const { return m_flushQueued; }
    void markChanged();

    // QAbstractTableModel: the table shows the grid rows below the header row.
    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;

Q_SIGNALS:
    // After a flush; reset is true when the view rebuilt its columns (widths must be applied again).
    void flushed(bool reset);

private:
    // Equal keys share a rank; ranks grow with the sort's order. Held per stored row, fixed rows included,
    // so a ranking stays right whatever order the rows are shown in.
    struct Ranking
    {
        int kind = 0;
        int firstCol = 0;
        int lastCol = 0;
        std::shared_future<std::vector<int>> ranks;
    };

    int storedRow(int row) const { return m_storedRows.empty() ? row : m_storedRows[size_t(row)]; }
    void settleRows();
    // Key cell i % k of stored row i / k, for the columns firstCol..lastCol (k of them), as the cells now
    // lie.
    struct RowKeys
    {
        const QString *cells;
        size_t cols;
        size_t first;
        size_t k;
        const QString &operator()(size_t at) const
        {
            return k == 1 ? cells[at * cols + first] : cells[at / k * cols + first + at % k];
        }
    };
    RowKeys rowKeys(int firstCol, int lastCol) const;
    void waitForReaders(); // before any change to the cells
    const std::vector<int> &ranking(int kind, int firstCol, int lastCol);
    void forgetRankings(int col = -1); // -1: all of them
    void startPreparing();

    static quint64 key(int row, int col) { return (quint64(quint32(row)) << 32) | quint32(col); }
    void remapColorRows(const std::vector<int> &newRowOf);
    void forgetOrder() { m_orderCode = 0; }

    int m_rows = 0;
    int m_cols = 0;
    int m_fixedRows = 0;
    int m_fixedCols = 0;
    std::vector<QString> m_cells; // by stored row
    // Each cell's head, by column and then stored row, kept as the cells are written: a case-sensitive sort
    // reads these numbers, lying side by side, instead of every text wherever it was allocated.
    std::vector<std::vector<Head>> m_heads;
    std::vector<int> m_storedRows;        // the stored row shown at each grid row; empty while they are equal
    QHash<quint64, quint32> m_backColors; // by stored row
    std::vector<int> m_widths;            // twips, -1 for the default
    std::vector<int> m_alignments;        // the original's codes, 9 general

    // The order the data rows are known to be in: sort code (0 for none) and key columns.
    int m_orderCode = 0;
    int m_orderFirstCol = 0;
    int m_orderLastCol = 0;

    std::vector<Ranking> m_rankings;
    std::vector<std::shared_future<std::vector<int>>> m_readers; // workers that may still read m_cells
    std::unique_ptr<QThreadPool> m_workers;
    Ranking m_wanted; // what prepareSort asked for; kind 0 for nothing
    bool m_prepareQueued = false;

    // What the view was last told.
    int m_viewRows = 0;
    int m_viewCols = 0;
    int m_viewHeaderRows = 0;
    bool m_flushQueued = false;
};

} // namespace platform
