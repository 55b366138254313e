#include "flexgridmodel.h"

#include "platform/runtime/conversions.h"

#include "platform/ui/units.h"

#include <QGuiApplication>
#include <QLocale>
#include <QPalette>
#include <QThreadPool>
#include <algorithm>
#include <array>
#include <bit>
#include <memory>
#include <numeric>
#include <utility>

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
    Generic = 1,
    Numeric,
    NoCase,
    Case
};

SortKind sortKind(int code)
{
    return code <= 2   ? SortKind::Generic
           : code <= 4 ? SortKind::Numeric
           : code <= 6 ? SortKind::NoCase
                       : SortKind::Case;
}

using Head = FlexGridModel::Head;

// Row numbers 0..n-1 ordered by their n heads, rows with equal heads in row order. When the bits in which
// the heads differ and the row number fit in one number (codes and other short texts: plain Latin texts
// differ in none of their high bytes, digits in few bits of their low ones, a shared prefix in none), those
// numbers are ordered by counting passes over 11 bits at a time, least significant first, in time linear
// in the rows; a comparison sort of 100,000 rows runs some 1.7 million comparisons. Other heads are
// compared.
std::vector<int> orderByHead(const Head *heads, size_t n)
{
    std::vector<int> order(n);
    std::iota(order.begin(), order.end(), 0);
    if (n < 2)
        return order;
    quint64 highBits = 0;
    quint64 lowBits = 0;
    for (size_t i = 1; i < n; ++i) {
        highBits |= heads[i].high ^ heads[0].high;
        lowBits |= heads[i].low ^ heads[0].low;
    }
    // Per byte, most significant first, the span of its bits that differ somewhere.
    struct Span
    {
        int word; // 0 high, 1 low
        int shift;
        int width;
    };
    std::vector<Span> spans;
    int keyBits = 0;
    for (int b = 0; b < 16; ++b) {
        const int shift = 8 * (7 - b % 8);
        const unsigned bits = unsigned(((b < 8 ? highBits : lowBits) >> shift) & 0xFF);
        if (bits == 0)
            continue;
        const int lowest = std::countr_zero(bits);
        const int width = 8 - std::countl_zero(quint8(bits)) - lowest;
        spans.push_back({b < 8 ? 0 : 1, shift + lowest, width});
        keyBits += width;
    }
    const int rowBits = std::bit_width(n - 1);
    if (keyBits + rowBits > 64) {
        std::stable_sort(order.begin(), order.end(), [heads](int a, int b) {
            const Head &x = heads[a];
            const Head &y = heads[b];
            return x.high != y.high ? x.high < y.high : x.low < y.low;
        });
        return order;
    }

    std::vector<quint64> keys(n);
    for (size_t i = 0; i < n; ++i) {
        quint64 key = 0;
        for (const Span &span : spans)
            key = (key << span.width) | (((span.word == 0 ? heads[i].high : heads[i].low) >> span.shift) &
                                         ((1u << span.width) - 1));
        keys[i] = (key << rowBits) | i;
    }
    constexpr int DigitBits = 11;
    const int passes = (keyBits + DigitBits - 1) / DigitBits;
    std::vector<std::array<int, (1 << DigitBits)>> counts(static_cast<size_t>(passes));
    for (auto &count : counts)
        count.fill(0);
    for (const quint64 key : keys)
        for (int p = 0; p < passes; ++p)
            ++counts[size_t(p)][(key >> (rowBits + DigitBits * p)) & ((1u << DigitBits) - 1)];
    std::vector<quint64> other(n);
    for (int p = 0; p < passes; ++p) {
        int start = 0;
        for (int &count : counts[size_t(p)])
            start += std::exchange(count, start);
        const int shift = rowBits + DigitBits * p;
        for (const quint64 key : keys)
            other[size_t(counts[size_t(p)][(key >> shift) & ((1u << DigitBits) - 1)]++)] = key;
        keys.swap(other);
    }
    const quint64 rowMask = (quint64(1) << rowBits) - 1;
    for (size_t i = 0; i < n; ++i)
        order[i] = int(keys[i] & rowMask);
    return order;
}

// Dense ranks of n rows of k key cells each under the sort's comparison; keys(i) is cell i % k of row i / k,
// caseHeads the heads of the first key cells.
// Keys are worked out once per cell, not once per comparison, and lie side by side in memory. Reads nothing
// but what keys gives, so it may run on another thread while nobody writes those texts.
template <typename Keys>
std::vector<int> rankRows(SortKind kind, int n, int k, const Keys &keys, const Head *caseHeads)
{
    const size_t keyCount = size_t(n) * size_t(k);
    std::vector<double> numbers;
    std::vector<char> numeric;
    std::vector<QString> folded;
    // A case-sensitive sort reads the cells' own texts and heads; the others work their keys out here.
    std::vector<QStringView> texts(kind == SortKind::Numeric || kind == SortKind::Case ? 0 : keyCount);
    if (kind == SortKind::Numeric || kind == SortKind::Generic)
        numbers.resize(keyCount);
    if (kind == SortKind::Generic)
        numeric.resize(keyCount);
    if (kind == SortKind::Generic || kind == SortKind::NoCase)
        folded.resize(keyCount);
    for (size_t at = 0; kind != SortKind::Case && at < keyCount; ++at) {
        switch (kind) {
        case SortKind::Numeric:
            numbers[at] = Val(keys(at));
            break;
        case SortKind::Generic:
            numeric[at] = isNumericText(keys(at), &numbers[at]);
            if (!numeric[at]) {
                folded[at] = keys(at).toCaseFolded();
                texts[at] = folded[at];
            }
            break;
        case SortKind::NoCase:
            folded[at] = keys(at).toCaseFolded();
            texts[at] = folded[at];
            break;
        case SortKind::Case:
            break;
        }
    }
    auto text = [&](size_t at) -> QStringView { return kind == SortKind::Case ? keys(at) : texts[at]; };

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
                result = text(ka).compare(text(kb), Qt::CaseSensitive);
            if (result != 0)
                return result;
        }
        return 0;
    };

    std::vector<int> order;
    std::vector<Head> foldedHeads;
    const Head *heads = nullptr;
    // Rows whose heads are equal: with the first key's length they settle texts that short; others are
    // compared in full.
    auto compareTied = [&](int a, int b) -> int {
        const qsizetype sa = std::min<qsizetype>(text(size_t(a) * size_t(k)).size(), 9);
        const qsizetype sb = std::min<qsizetype>(text(size_t(b) * size_t(k)).size(), 9);
        if (sa <= 8 && sb <= 8 && (sa != sb || k == 1))
            return sa < sb ? -1 : (sa > sb ? 1 : 0);
        return compare(a, b);
    };
    auto sameHead = [&](int a, int b) {
        return heads[a].high == heads[b].high && heads[a].low == heads[b].low;
    };
    if (kind == SortKind::Case || kind == SortKind::NoCase) {
        // Texts compared code unit by code unit: the heads of the first key settle most comparisons without
        // reading the texts.
        if (kind == SortKind::Case) {
            heads = caseHeads;
        } else {
            foldedHeads.resize(size_t(n));
            for (int i = 0; i < n; ++i)
                foldedHeads[size_t(i)] = FlexGridModel::headOf(texts[size_t(i) * size_t(k)]);
            heads = foldedHeads.data();
        }
        order = orderByHead(heads, size_t(n));
        auto tiedBefore = [&](int a, int b) { return compareTied(a, b) < 0; };
        for (auto run = order.begin(); run != order.end();) {
            const auto end =
                std::find_if(run + 1, order.end(), [&](int row) { return !sameHead(row, *run); });
            if (end - run > 1 && !std::is_sorted(run, end, tiedBefore))
                std::stable_sort(run, end, tiedBefore);
            run = end;
        }
    } else {
        order.resize(size_t(n));
        std::iota(order.begin(), order.end(), 0);
        std::stable_sort(order.begin(), order.end(), [&](int a, int b) { return compare(a, b) < 0; });
    }

    std::vector<int> ranks(static_cast<size_t>(n));
    int rank = 0;
    for (int i = 0; i < n; ++i) {
        if (i > 0) {
            const int a = order[size_t(i - 1)];
            const int b = order[size_t(i)];
            const bool apart = !heads ? compare(a, b) != 0 : (!sameHead(a, b) || compareTied(a, b) != 0);
            rank += apart ? 1 : 0;
        }
        ranks[size_t(order[size_t(i)])] = rank;
    }
    return ranks;
}

} // namespace

FlexGridModel::Head FlexGridModel::headOf(QStringView text)
{
    Head head;
    const qsizetype units = std::min<qsizetype>(text.size(), 8);
    for (qsizetype u = 0; u < units; ++u)
        (u < 4 ? head.high : head.low) |= quint64(text[u].unicode()) << (48 - 16 * (u % 4));
    return head;
}

FlexGridModel::FlexGridModel(QObject *parent) : QAbstractTableModel(parent) {}

FlexGridModel::~FlexGridModel()
{
    waitForReaders();
}

void FlexGridModel::resize(int rows, int cols)
{
    waitForReaders();
    rows = std::max(rows, 0);
    cols = std::max(cols, 0);
    if (rows == m_rows && cols == m_cols)
        return;
    forgetRankings();
    // New rows at the end are stored at the end; anything else needs the cells in grid order first.
    if (cols == m_cols && rows > m_rows && !m_storedRows.empty()) {
        m_storedRows.resize(size_t(rows));
        std::iota(m_storedRows.begin() + m_rows, m_storedRows.end(), m_rows);
    } else {
        settleRows();
    }
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
    m_heads.resize(size_t(cols));
    for (std::vector<Head> &column : m_heads)
        column.resize(size_t(rows));
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
    waitForReaders();
    m_cells[size_t(storedRow(row)) * size_t(m_cols) + size_t(col)] = text;
    m_heads[size_t(col)][size_t(storedRow(row))] = headOf(text);
    if (m_orderCode != 0 && row >= m_fixedRows && col >= m_orderFirstCol && col <= m_orderLastCol)
        forgetOrder();
    if (!m_rankings.empty())
        forgetRankings(col);
    markChanged();
}

void FlexGridModel::insertRow(int row, const QStringList &texts)
{
    waitForReaders();
    forgetRankings();
    // Once sorted, the new row is stored at the end and only its number goes in at its place.
    const int stored = m_storedRows.empty() ? row : m_rows;
    m_cells.insert(m_cells.begin() + qptrdiff(stored) * m_cols, size_t(m_cols), QString());
    const int n = std::min<int>(int(texts.size()), m_cols);
    for (int c = 0; c < n; ++c)
        m_cells[size_t(stored) * size_t(m_cols) + size_t(c)] = texts.at(c);
    for (int c = 0; c < m_cols; ++c)
        m_heads[size_t(c)].insert(m_heads[size_t(c)].begin() + stored, c < n ? headOf(texts.at(c)) : Head());
    ++m_rows;
    if (!m_storedRows.empty())
        m_storedRows.insert(m_storedRows.begin() + row, stored);
    else if (!m_backColors.isEmpty()) {
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
    waitForReaders();
    forgetRankings();
    const int stored = storedRow(row);
    const auto first = m_cells.begin() + qptrdiff(stored) * m_cols;
    m_cells.erase(first, first + m_cols);
    for (std::vector<Head> &column : m_heads)
        column.erase(column.begin() + stored);
    if (!m_backColors.isEmpty()) {
        std::vector<int> newRowOf(static_cast<size_t>(m_rows));
        for (int r = 0; r < m_rows; ++r)
            newRowOf[size_t(r)] = r < stored ? r : (r == stored ? -1 : r - 1);
        remapColorRows(newRowOf);
    }
    if (!m_storedRows.empty()) {
        m_storedRows.erase(m_storedRows.begin() + row);
        for (int &other : m_storedRows)
            other -= other > stored ? 1 : 0;
    }
    --m_rows;
    m_fixedRows = std::min(m_fixedRows, m_rows);
    forgetOrder();
    markChanged();
}

void FlexGridModel::clearCells()
{
    waitForReaders();
    for (QString &cell : m_cells)
        cell = QString();
    for (std::vector<Head> &column : m_heads)
        std::fill(column.begin(), column.end(), Head());
    m_backColors.clear();
    forgetOrder();
    forgetRankings();
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
    const std::vector<int> &ranks = ranking(int(sortKind(code)), firstCol, lastCol);

    // Rows of equal rank keep their order: a counting sort by rank, descending by the rank turned round.
    const bool descending = code % 2 == 0;
    const int rankCount = *std::max_element(ranks.begin(), ranks.end()) + 1;
    std::vector<int> rankOf(static_cast<size_t>(n));
    for (int i = 0; i < n; ++i) {
        const int rank = ranks[size_t(storedRow(first + i))];
        rankOf[size_t(i)] = descending ? rankCount - 1 - rank : rank;
    }
    if (std::is_sorted(rankOf.begin(), rankOf.end()))
        return false;
    std::vector<int> start(size_t(rankCount) + 1, 0);
    for (const int rank : rankOf)
        ++start[size_t(rank) + 1];
    std::partial_sum(start.begin(), start.end(), start.begin());
    if (m_storedRows.empty()) {
        m_storedRows.resize(size_t(m_rows));
        std::iota(m_storedRows.begin(), m_storedRows.end(), 0);
    }
    std::vector<int> shown(static_cast<size_t>(n));
    for (int i = 0; i < n; ++i)
        shown[size_t(start[size_t(rankOf[size_t(i)])]++)] = m_storedRows[size_t(first + i)];
    std::copy(shown.begin(), shown.end(), m_storedRows.begin() + first);
    markChanged();
    return true;
}

void FlexGridModel::prepareSort(int code, int firstCol, int lastCol)
{
    if (code < 1 || code > 8 || m_cols == 0) {
        m_wanted = Ranking();
        return;
    }
    if (firstCol > lastCol)
        std::swap(firstCol, lastCol);
    m_wanted.kind = int(sortKind(code));
    m_wanted.firstCol = std::clamp(firstCol, 0, m_cols - 1);
    m_wanted.lastCol = std::clamp(lastCol, 0, m_cols - 1);
    if (!m_prepareQueued) {
        m_prepareQueued = true;
        QMetaObject::invokeMethod(this, &FlexGridModel::startPreparing, Qt::QueuedConnection);
    }
}

void FlexGridModel::startPreparing()
{
    m_prepareQueued = false;
    const Ranking wanted = m_wanted;
    if (wanted.kind == 0 || wanted.lastCol >= m_cols)
        return;
    for (const Ranking &known : m_rankings) {
        if (known.kind == wanted.kind && known.firstCol == wanted.firstCol && known.lastCol == wanted.lastCol)
            return;
    }
    // The worker reads the cells where they are; every change to them waits for it first (waitForReaders).
    std::erase_if(m_readers, [](const std::shared_future<std::vector<int>> &reader) {
        return reader.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
    });
    auto promise = std::make_shared<std::promise<std::vector<int>>>();
    Ranking ranking = wanted;
    ranking.ranks = promise->get_future().share();
    m_readers.push_back(ranking.ranks);
    if (!m_workers) {
        // A pool of its own: Qt's painting shares out work on the global pool and must not queue behind this.
        m_workers = std::make_unique<QThreadPool>();
        m_workers->setMaxThreadCount(1);
    }
    m_workers->start([promise, kind = SortKind(wanted.kind), rows = m_rows,
                      keys = rowKeys(wanted.firstCol, wanted.lastCol),
                      heads = m_heads[size_t(wanted.firstCol)].data(),
                      k = wanted.lastCol - wanted.firstCol + 1] {
        try {
            promise->set_value(rankRows(kind, rows, k, keys, heads));
        } catch (...) {
            promise->set_exception(std::current_exception());
        }
    });
    m_rankings.push_back(std::move(ranking));
}

FlexGridModel::RowKeys FlexGridModel::rowKeys(int firstCol, int lastCol) const
{
    return RowKeys{m_cells.data(), size_t(m_cols), size_t(firstCol), size_t(lastCol - firstCol + 1)};
}

void FlexGridModel::waitForReaders()
{
    for (const std::shared_future<std::vector<int>> &reader : m_readers)
        reader.wait();
    m_readers.clear();
}

const std::vector<int> &FlexGridModel::ranking(int kind, int firstCol, int lastCol)
{
    for (const Ranking &known : m_rankings) {
        if (known.kind == kind && known.firstCol == firstCol && known.lastCol == lastCol)
            return known.ranks.get();
    }
    // A few rankings are kept, so that turning the direction or going back to a column costs no new one.
    constexpr size_t Kept = 4;
    if (m_rankings.size() >= Kept) {
        const auto oldest = std::find_if(m_rankings.begin(), m_rankings.end(), [this](const Ranking &known) {
            return known.kind != m_wanted.kind || known.firstCol != m_wanted.firstCol ||
                   known.lastCol != m_wanted.lastCol;
        });
        m_rankings.erase(oldest);
    }
    std::promise<std::vector<int>> made;
    made.set_value(rankRows(SortKind(kind), m_rows, lastCol - firstCol + 1, rowKeys(firstCol, lastCol),
                            m_heads[size_t(firstCol)].data()));
    m_rankings.push_back({kind, firstCol, lastCol, made.get_future().share()});
    return m_rankings.back().ranks.get();
}

void FlexGridModel::forgetRankings(int col)
{
    const auto before = m_rankings.size();
    std::erase_if(m_rankings, [col](const Ranking &known) {
        return col < 0 || (col >= known.firstCol && col <= known.lastCol);
    });
    if (m_rankings.size() != before && m_wanted.kind != 0 && !m_prepareQueued &&
        (col < 0 || (col >= m_wanted.firstCol && col <= m_wanted.lastCol))) {
        m_prepareQueued = true;
        QMetaObject::invokeMethod(this, &FlexGridModel::startPreparing, Qt::QueuedConnection);
    }
}

void FlexGridModel::settleRows()
{
    if (m_storedRows.empty())
        return;
    std::vector<QString> cells(m_cells.size());
    std::vector<int> newRowOf(static_cast<size_t>(m_rows));
    for (int r = 0; r < m_rows; ++r) {
        const size_t from = size_t(m_storedRows[size_t(r)]) * size_t(m_cols);
        for (int c = 0; c < m_cols; ++c)
            cells[size_t(r) * size_t(m_cols) + size_t(c)] = std::move(m_cells[from + size_t(c)]);
        newRowOf[size_t(m_storedRows[size_t(r)])] = r;
    }
    m_cells.swap(cells);
    for (std::vector<Head> &column : m_heads) {
        std::vector<Head> heads(column.size());
        for (int r = 0; r < m_rows; ++r)
            heads[size_t(r)] = column[size_t(m_storedRows[size_t(r)])];
        column.swap(heads);
    }
    if (!m_backColors.isEmpty())
        remapColorRows(newRowOf);
    m_storedRows.clear();
}

quint32 FlexGridModel::backColor(int row, int col, quint32 fallback) const
{
    return m_backColors.value(key(storedRow(row), col), fallback);
}

void FlexGridModel::setBackColor(int row, int col, quint32 vbColor)
{
    m_backColors.insert(key(storedRow(row), col), vbColor);
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
    const auto painted = m_backColors.constFind(key(storedRow(row), col));
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
