#include "flexgridmodel.h"

#include "platform/runtime/conversions.h"

#include "platform/ui/units.h"

#include <QGuiApplication>
#include <QLocale>
#include <QPalette>
#include <algorithm>
#include <numeric>

namespace platform {

namespace {

QPalette appPalette()
{
    return qobject_cast<QGuiApplication *>(QCoreApplication::instance()) ? QGuiApplication::palette()
                                                                         : QPalette();
}

// Black or white, whichever reads better on the given background.
QColor textOn(const QColor &background)
{
    const QColor c = background.toRgb();
    const int luma = (c.red() * 299 + c.green() * 587 + c.blue() * 114) / 1000;
    return luma >= 140 ? QColor(Qt::black) : QColor(Qt::white);
}

enum class SortKind
{
    Generic,
    Numeric,
    NoCase,
    Case
};

} // namespace

FlexGridModel::FlexGridModel(QObject *parent) : QAbstractTableModel(parent) {}

void FlexGridModel::resize(int rows, int cols)
{
    rows = std::max(rows, 0);
    cols = std::max(cols, 0);
    if (rows == m_rows && cols == m_cols)
        return;
    if (cols != m_cols) {
        std::vector<QString> cells(size_t(rows) * size_t(cols));
        const int keepRows = std::min(rows, m_rows);
        const int keepCols = std::min(cols, m_cols);
        for (int r = 0; r < keepRows; ++r) {
            for (int c = 0; c < keepCols; ++c)
                cells[size_t(r) * size_t(cols) + size_t(c)] =
                    std::move(m_cells[size_t(r) * size_t(m_cols) + size_t(c)]);
        }
        m_cells.swap(cells);
        m_widths.resize(size_t(cols), -1);
        m_alignments.resize(size_t(cols), 9);
    } else {
        m_cells.resize(size_t(rows) * size_t(cols));
    }
    if (!m_backColors.isEmpty() && (rows < m_rows || cols < m_cols)) {
        for (auto it = m_backColors.begin(); it != m_backColors.end();) {
            const int r = int(it.key() >> 32);
            const int c = int(it.key() & 0xFFFFFFFFu);
            if (r >= rows || c >= cols)
                it = m_backColors.erase(it);
            else
                ++it;
        }
    }
    m_rows = rows;
    m_cols = cols;
    m_fixedRows = std::min(m_fixedRows, rows);
    m_fixedCols = std::min(m_fixedCols, cols);
    forgetOrder();
    markChanged();
}

void FlexGridModel::setFixedRows(int rows)
{
    rows = std::clamp(rows, 0, m_rows);
    if (rows != m_fixedRows)
        forgetOrder();
    m_fixedRows = rows;
    markChanged();
}

void FlexGridModel::setFixedCols(int cols)
{
    m_fixedCols = std::clamp(cols, 0, m_cols);
    markChanged();
}

void FlexGridModel::setText(int row, int col, const QString &text)
{
    m_cells[size_t(row) * size_t(m_cols) + size_t(col)] = text;
    if (m_orderCode != 0 && row >= m_fixedRows && col >= m_orderFirstCol && col <= m_orderLastCol)
        forgetOrder();
    markChanged();
}

void FlexGridModel::insertRow(int row, const QStringList &texts)
{
    m_cells.insert(m_cells.begin() + qptrdiff(row) * m_cols, size_t(m_cols), QString());
    const int n = std::min<int>(int(texts.size()), m_cols);
    for (int c = 0; c < n; ++c)
        m_cells[size_t(row) * size_t(m_cols) + size_t(c)] = texts.at(c);
    ++m_rows;
    if (!m_backColors.isEmpty()) {
        std::vector<int> newRowOf(static_cast<size_t>(m_rows - 1));
        for (int r = 0; r < m_rows - 1; ++r)
            newRowOf[size_t(r)] = r < row ? r : r + 1;
        remapColorRows(newRowOf);
    }
    forgetOrder();
    markChanged();
}

void FlexGridModel::removeRow(int row)
{
    const auto first = m_cells.begin() + qptrdiff(row) * m_cols;
    m_cells.erase(first, first + m_cols);
    if (!m_backColors.isEmpty()) {
        std::vector<int> newRowOf(static_cast<size_t>(m_rows));
        for (int r = 0; r < m_rows; ++r)
            newRowOf[size_t(r)] = r < row ? r : (r == row ? -1 : r - 1);
        remapColorRows(newRowOf);
    }
    --m_rows;
    m_fixedRows = std::min(m_fixedRows, m_rows);
    forgetOrder();
    markChanged();
}

void FlexGridModel::clearCells()
{
    for (QString &cell : m_cells)
        cell = QString();
    m_backColors.clear();
    forgetOrder();
    markChanged();
}

void FlexGridModel::remapColorRows(const std::vector<int> &newRowOf)
{
    QHash<quint64, quint32> moved;
    moved.reserve(m_backColors.size());
    for (auto it = m_backColors.cbegin(); it != m_backColors.cend(); ++it) {
        const int r = int(it.key() >> 32);
        const int c = int(it.key() & 0xFFFFFFFFu);
        const int to = r < int(newRowOf.size()) ? newRowOf[size_t(r)] : r;
        if (to >= 0)
            moved.insert(key(to, c), it.value());
    }
    m_backColors.swap(moved);
}

bool FlexGridModel::sortRows(int code, int firstCol, int lastCol)
{
    if (code < 1 || code > 8 || m_cols == 0)
        return false;
    const int first = m_fixedRows;
    const int n = m_rows - first;
    if (n < 2)
        return false;
    if (firstCol > lastCol)
        std::swap(firstCol, lastCol);
    firstCol = std::clamp(firstCol, 0, m_cols - 1);
    lastCol = std::clamp(lastCol, 0, m_cols - 1);
    if (code == m_orderCode && firstCol == m_orderFirstCol && lastCol == m_orderLastCol)
        return false;
    m_orderCode = code;
    m_orderFirstCol = firstCol;
    m_orderLastCol = lastCol;
    const int k = lastCol - firstCol + 1;
    const bool descending = code % 2 == 0;
    const SortKind kind = code <= 2   ? SortKind::Generic
                          : code <= 4 ? SortKind::Numeric
                          : code <= 6 ? SortKind::NoCase
                                      : SortKind::Case;

    // Keys are worked out once per cell, not once per comparison, and lie side by side in memory.
    const size_t keyCount = size_t(n) * size_t(k);
    std::vector<double> numbers;
    std::vector<char> numeric;
    std::vector<QString> folded;
    std::vector<QStringView> texts(kind == SortKind::Numeric ? 0 : keyCount);
    auto cell = [&](int i, int j) -> const QString & { return text(first + i, firstCol + j); };
    if (kind == SortKind::Numeric || kind == SortKind::Generic)
        numbers.resize(keyCount);
    if (kind == SortKind::Generic)
        numeric.resize(keyCount);
    if (kind == SortKind::Generic || kind == SortKind::NoCase)
        folded.resize(keyCount);
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < k; ++j) {
            const size_t at = size_t(i) * size_t(k) + size_t(j);
            switch (kind) {
            case SortKind::Numeric:
                numbers[at] = Val(cell(i, j));
                break;
            case SortKind::Generic:
                numeric[at] = isNumericText(cell(i, j), &numbers[at]);
                if (!numeric[at]) {
                    folded[at] = cell(i, j).toCaseFolded();
                    texts[at] = folded[at];
                }
                break;
            case SortKind::NoCase:
                folded[at] = cell(i, j).toCaseFolded();
                texts[at] = folded[at];
                break;
            case SortKind::Case:
                texts[at] = cell(i, j);
                break;
            }
        }
    }

    auto compare = [&](int a, int b) -> int {
        for (int j = 0; j < k; ++j) {
            const size_t ka = size_t(a) * size_t(k) + size_t(j);
            const size_t kb = size_t(b) * size_t(k) + size_t(j);
            int result = 0;
            if (kind == SortKind::Numeric || (kind == SortKind::Generic && numeric[ka] && numeric[kb]))
                result = numbers[ka] < numbers[kb] ? -1 : (numbers[kb] < numbers[ka] ? 1 : 0);
            else if (kind == SortKind::Generic && numeric[ka] != numeric[kb])
                result = numeric[ka] ? -1 : 1; // numbers before texts
            else
                result = texts[ka].compare(texts[kb], Qt::CaseSensitive);
            if (result != 0)
                return result;
        }
        return 0;
    };
    auto less = [&](int a, int b) {
        const int result = compare(a, b);
        return descending ? result > 0 : result < 0;
    };

    std::vector<int> order(static_cast<size_t>(n));
    std::iota(order.begin(), order.end(), 0);
    if (std::is_sorted(order.begin(), order.end(), less))
        return false;
    std::stable_sort(order.begin(), order.end(), less);

    std::vector<QString> moved(size_t(n) * size_t(m_cols));
    for (int i = 0; i < n; ++i) {
        const size_t from = size_t(first + order[size_t(i)]) * size_t(m_cols);
        for (int c = 0; c < m_cols; ++c)
            moved[size_t(i) * size_t(m_cols) + size_t(c)] = std::move(m_cells[from + size_t(c)]);
    }
    std::move(moved.begin(), moved.end(), m_cells.begin() + qptrdiff(first) * m_cols);
    if (!m_backColors.isEmpty()) {
        std::vector<int> newRowOf(static_cast<size_t>(m_rows));
        std::iota(newRowOf.begin(), newRowOf.end(), 0);
        for (int i = 0; i < n; ++i)
            newRowOf[size_t(first + order[size_t(i)])] = first + i;
        remapColorRows(newRowOf);
    }
    markChanged();
    return true;
}

quint32 FlexGridModel::backColor(int row, int col, quint32 fallback) const
{
    return m_backColors.value(key(row, col), fallback);
}

void FlexGridModel::setBackColor(int row, int col, quint32 vbColor)
{
    m_backColors.insert(key(row, col), vbColor);
    markChanged();
}

void FlexGridModel::setAlignment(int col, int alignment)
{
    m_alignments[size_t(col)] = alignment;
    markChanged();
}

bool FlexGridModel::isSelected(int row, int col) const
{
    if (row < m_fixedRows || col < m_fixedCols)
        return false;
    const bool rowIn = selectionMode == 2 || (row >= std::min(selection.row, selection.rowSel) &&
                                              row <= std::max(selection.row, selection.rowSel));
    const bool colIn = selectionMode == 1 || (col >= std::min(selection.col, selection.colSel) &&
                                              col <= std::max(selection.col, selection.colSel));
    return rowIn && colIn;
}

void FlexGridModel::markChanged()
{
    if (m_flushQueued)
        return;
    m_flushQueued = true;
    QMetaObject::invokeMethod(this, &FlexGridModel::flush, Qt::QueuedConnection);
}

void FlexGridModel::flush()
{
    if (!m_flushQueued)
        return;
    m_flushQueued = false;
    const int viewRows = std::max(0, m_rows - headerRows());
    const bool reset = m_cols != m_viewCols || headerRows() != m_viewHeaderRows;
    if (reset) {
        beginResetModel();
        m_viewRows = viewRows;
        m_viewCols = m_cols;
        m_viewHeaderRows = headerRows();
        endResetModel();
    } else {
        if (viewRows > m_viewRows) {
            beginInsertRows(QModelIndex(), m_viewRows, viewRows - 1);
            m_viewRows = viewRows;
            endInsertRows();
        } else if (viewRows < m_viewRows) {
            beginRemoveRows(QModelIndex(), viewRows, m_viewRows - 1);
            m_viewRows = viewRows;
            endRemoveRows();
        }
        if (m_viewRows > 0 && m_viewCols > 0)
            Q_EMIT dataChanged(index(0, 0), index(m_viewRows - 1, m_viewCols - 1));
        if (m_viewCols > 0)
            Q_EMIT headerDataChanged(Qt::Horizontal, 0, m_viewCols - 1);
    }
    Q_EMIT flushed(reset);
}

int FlexGridModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_viewRows;
}

int FlexGridModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_viewCols;
}

int FlexGridModel::displayAlignment(int row, int col) const
{
    switch (m_alignments[size_t(col)]) {
    case 0:
        return int(Qt::AlignLeft | Qt::AlignTop);
    case 1:
        return int(Qt::AlignLeft | Qt::AlignVCenter);
    case 2:
        return int(Qt::AlignLeft | Qt::AlignBottom);
    case 3:
        return int(Qt::AlignHCenter | Qt::AlignTop);
    case 4:
        return int(Qt::AlignCenter);
    case 5:
        return int(Qt::AlignHCenter | Qt::AlignBottom);
    case 6:
        return int(Qt::AlignRight | Qt::AlignTop);
    case 7:
        return int(Qt::AlignRight | Qt::AlignVCenter);
    case 8:
        return int(Qt::AlignRight | Qt::AlignBottom);
    default: // general: numbers to the right, text to the left
        return int((isNumericText(text(row, col)) ? Qt::AlignRight : Qt::AlignLeft) | Qt::AlignVCenter);
    }
}

void FlexGridModel::cellColours(int row, int col, QColor *background, QColor *foreground) const
{
    if (isSelected(row, col)) {
        // A selection colour equal to the window's own would hide the selection.
        const QPalette palette = appPalette();
        const QColor colour = colorFromVb(backColorSel);
        if (colour == palette.color(QPalette::Base) || colour == palette.color(QPalette::Highlight)) {
            *background = palette.color(QPalette::Highlight);
            *foreground = palette.color(QPalette::HighlightedText);
        } else {
            *background = colour;
            *foreground = textOn(colour);
        }
        return;
    }
    const auto painted = m_backColors.constFind(key(row, col));
    if (painted != m_backColors.cend()) {
        *background = colorFromVb(painted.value());
        *foreground = textOn(*background);
        return;
    }
    if (row < m_fixedRows || col < m_fixedCols) {
        const QPalette palette = appPalette();
        *background = palette.color(QPalette::Button);
        *foreground = palette.color(QPalette::ButtonText);
        return;
    }
    *background = QColor();
    *foreground = QColor();
}

QVariant FlexGridModel::data(const QModelIndex &index, int role) const
{
    const int row = gridRow(index);
    const int col = index.column();
    if (!index.isValid() || !contains(row, col))
        return QVariant();
    switch (role) {
    case Qt::DisplayRole:
        return text(row, col);
    case Qt::TextAlignmentRole:
        return displayAlignment(row, col);
    case Qt::BackgroundRole:
    case Qt::ForegroundRole: {
        QColor background;
        QColor foreground;
        cellColours(row, col, &background, &foreground);
        const QColor &colour = role == Qt::BackgroundRole ? background : foreground;
        return colour.isValid() ? QVariant(colour) : QVariant();
    }
    default:
        return QVariant();
    }
}

QVariant FlexGridModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || m_viewHeaderRows == 0 || section < 0 || section >= m_cols ||
        m_rows == 0)
        return QVariant();
    if (role == Qt::DisplayRole)
        return text(0, section);
    if (role == Qt::TextAlignmentRole)
        return int(Qt::AlignLeft | Qt::AlignVCenter);
    return QVariant();
}

Qt::ItemFlags FlexGridModel::flags(const QModelIndex &index) const
{
    return index.isValid() ? Qt::ItemIsEnabled : Qt::NoItemFlags;
}

} // namespace platform
