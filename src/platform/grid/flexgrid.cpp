#include "flexgrid.h"

#include "platform/grid/flexgridmodel.h"
#include "platform/runtime/errors.h"
#include "platform/ui/seams.h"
#include "platform/ui/units.h"

#include <QApplication>
#include <QCursor>
#include <QFocusEvent>
#include <QFontMetrics>
#include <QHeaderView>
#include <QHelpEvent>
#include <QItemSelectionModel>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QScrollBar>
#include <QStaticText>
#include <QStyledItemDelegate>
#include <QToolTip>
#include <algorithm>

namespace platform {

namespace {

const QString gridSource = QStringLiteral("MSFlexGrid");

[[noreturn]] void subscriptOutOfRange()
{
    Raise(381, gridSource, QStringLiteral("Subscript out of range"));
}

int vbButton(Qt::MouseButton button)
{
    switch (button) {
    case Qt::LeftButton:
        return 1;
    case Qt::RightButton:
        return 2;
    case Qt::MiddleButton:
        return 4;
    default:
        return 0;
    }
}

int vbButtons(Qt::MouseButtons buttons)
{
    int mask = 0;
    if (buttons & Qt::LeftButton)
        mask |= 1;
    if (buttons & Qt::RightButton)
        mask |= 2;
    if (buttons & Qt::MiddleButton)
        mask |= 4;
    return mask;
}

// Paints a cell straight from the store: its colour, then one line of text. The style's own item painting
// lays every text out three times (size, elision, drawing), which made a page of the list cost milliseconds
// to repaint after each search keystroke. Laid-out texts are kept, so rows scrolled back cost no layout.
// The current cell with its focus frame, and texts that break lines, are left to the style.
class CellPainter : public QStyledItemDelegate
{
public:
    CellPainter(FlexGridModel *model, QObject *parent) : QStyledItemDelegate(parent), m_model(model) {}

    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override
    {
        const int row = m_model->gridRow(index);
        const int col = index.column();
        if (!m_model->contains(row, col))
            return;
        const QString &text = m_model->text(row, col);
        if ((option.state & QStyle::State_HasFocus) || option.textElideMode == Qt::ElideNone ||
            !isSingleLine(text)) {
            QStyledItemDelegate::paint(painter, option, index);
            return;
        }
        QColor background;
        QColor foreground;
        m_model->cellColours(row, col, &background, &foreground);
        if (background.isValid())
            painter->fillRect(option.rect, background);
        if (text.isEmpty())
            return;

        const QPalette::ColorGroup group = !(option.state & QStyle::State_Enabled) ? QPalette::Disabled
                                           : (option.state & QStyle::State_Active) ? QPalette::Normal
                                                                                   : QPalette::Inactive;
        painter->setPen(foreground.isValid() ? foreground : option.palette.color(group, QPalette::Text));
        if (painter->font() != option.font)
            painter->setFont(option.font);
        const QStyle *style = option.widget ? option.widget->style() : QApplication::style();
        const int margin = style->pixelMetric(QStyle::PM_FocusFrameHMargin, nullptr, option.widget) + 1;
        const QRect area = option.rect.adjusted(margin, 0, -margin, 0);
        const QStaticText &laid = laidOut(text, area.width(), option);
        const QRect at = QStyle::alignedRect(
            option.direction, Qt::Alignment(m_model->displayAlignment(row, col)), laid.size().toSize(), area);
        painter->drawStaticText(at.topLeft(), laid);
    }

private:
    struct Laid
    {
        QStaticText whole;
        int elidedWidth = -1;
        QStaticText elided;
    };

    static bool isSingleLine(const QString &text)
    {
        for (const QChar c : text) {
            if (c.unicode() < 0x20 || c == QChar::LineSeparator || c == QChar::ParagraphSeparator)
                return false;
        }
        return true;
    }

    static QStaticText prepared(const QString &text, const QFont &font)
    {
        QStaticText laid(text);
        laid.setTextFormat(Qt::PlainText);
        laid.prepare(QTransform(), font);
        return laid;
    }

    const QStaticText &laidOut(const QString &text, int width, const QStyleOptionViewItem &option) const
    {
        if (option.font != m_font) {
            m_cache.clear();
            m_font = option.font;
        }
        auto it = m_cache.find(text);
        if (it == m_cache.end()) {
            if (m_cache.size() >= 4096) // a few pages' worth; a long list is not kept whole
                m_cache.clear();
            it = m_cache.insert(text, Laid{prepared(text, m_font), -1, QStaticText()});
        }
        if (it->whole.size().width() <= width)
            return it->whole;
        if (it->elidedWidth != width) {
            it->elided = prepared(QFontMetrics(m_font).elidedText(text, option.textElideMode, width), m_font);
            it->elidedWidth = width;
        }
        return it->elided;
    }

    FlexGridModel *m_model;
    mutable QHash<QString, Laid> m_cache;
    mutable QFont m_font;
};

} // namespace

struct FlexGrid::Data
{
    explicit Data(FlexGrid *grid) : q(grid), model(new FlexGridModel(grid)) {}

    FlexGrid *q;
    FlexGridModel *model;
    QString formatString;
    QString toolTip;
    // Last mouse position in the table viewport's coordinates; above 0 is the caption row.
    QPoint mousePos;
    bool mouseKnown = false;
    int pendingTopRow = -1;
    bool applyingWidths = false;
    bool pressedOnGrid = false;
    bool suppressClick = false;

    FlexGridModel::Selection &sel() { return model->selection; }
    const FlexGridModel::Selection &sel() const { return model->selection; }
    int headerRows() const { return model->headerRows(); }

    void checkCell(int row, int col) const
    {
        if (!model->contains(row, col))
            subscriptOutOfRange();
    }

    void checkRow(int row) const
    {
        if (row < 0 || row >= model->rows())
            Raise(30009, gridSource, QStringLiteral("Invalid Row value"));
    }

    void checkCol(int col) const
    {
        if (col < 0 || col >= model->cols())
            Raise(30010, gridSource, QStringLiteral("Invalid Col value"));
    }

    // Repaints the rows a selection covers (every row when whole columns show selected).
    void repaintSelection(const FlexGridModel::Selection &s)
    {
        if (model->pending())
            return; // the flush repaints the whole table
        if (model->selectionMode == 2) {
            q->viewport()->update();
            return;
        }
        const int top = std::min(s.row, s.rowSel) - model->headerRows();
        const int bottom = std::max(s.row, s.rowSel) - model->headerRows();
        if (bottom < 0 || top >= model->rowCount())
            return;
        const int y0 = q->rowViewportPosition(std::max(top, 0));
        const int y1 = q->rowViewportPosition(std::min(bottom, model->rowCount() - 1)) + rowHeight();
        const QRect rows = QRect(0, y0, q->viewport()->width(), y1 - y0).intersected(q->viewport()->rect());
        if (!rows.isEmpty())
            q->viewport()->update(rows);
    }

    // The view's current index follows Row/Col, so that the focus frame is drawn on the current cell.
    void syncCurrentIndex()
    {
        if (model->pending())
            return;
        const QModelIndex index = model->index(sel().row - model->headerRows(), sel().col);
        if (index.isValid() && q->selectionModel() && q->currentIndex() != index)
            q->selectionModel()->setCurrentIndex(index, QItemSelectionModel::NoUpdate);
    }

    // Moves the current cell and the selection, firing the events the original fires.
    void moveCurrent(int row, int col, int rowSel, int colSel)
    {
        const FlexGridModel::Selection old = sel();
        const bool cellChanged = row != old.row || col != old.col;
        const bool selChanged = cellChanged || rowSel != old.rowSel || colSel != old.colSel;
        if (cellChanged)
            Q_EMIT q->LeaveCell();
        sel() = {row, col, rowSel, colSel};
        if (selChanged) {
            repaintSelection(old);
            repaintSelection(sel());
            syncCurrentIndex();
        }
        if (cellChanged) {
            Q_EMIT q->EnterCell();
            Q_EMIT q->RowColChange();
        }
        if (selChanged)
            Q_EMIT q->SelChange();
    }

    // After the size changed: the current cell and the selection stay inside the grid, silently.
    void clampSelection()
    {
        const int lastRow = std::max(0, model->rows() - 1);
        const int lastCol = std::max(0, model->cols() - 1);
        FlexGridModel::Selection &s = sel();
        s.row = std::min(s.row, lastRow);
        s.rowSel = std::min(s.rowSel, lastRow);
        s.col = std::min(s.col, lastCol);
        s.colSel = std::min(s.colSel, lastCol);
    }

    int defaultColumnPixels() const { return twipsToPixels(960, q); }

    void applyColumn(int col)
    {
        if (col >= q->horizontalHeader()->count())
            return;
        applyingWidths = true;
        const int twips = model->width(col);
        if (twips == 0) {
            q->setColumnHidden(col, true);
        } else {
            q->setColumnHidden(col, false);
            q->setColumnWidth(col, twips < 0 ? defaultColumnPixels() : std::max(1, twipsToPixels(twips, q)));
        }
        applyingWidths = false;
    }

    void afterFlush(bool reset)
    {
        if (reset) {
            q->horizontalHeader()->setVisible(model->fixedRows() > 0);
            for (int c = 0; c < model->cols(); ++c)
                applyColumn(c);
        }
        if (pendingTopRow >= 0) {
            const int row = pendingTopRow;
            pendingTopRow = -1;
            scrollToTop(row);
        }
        syncCurrentIndex();
        q->viewport()->update();
        q->horizontalHeader()->viewport()->update();
    }

    void scrollToTop(int row)
    {
        q->updateGeometries();
        q->verticalScrollBar()->setValue(row - headerRows());
    }

    int rowHeight() const { return std::max(1, q->verticalHeader()->defaultSectionSize()); }

    int visibleRowCount() const { return std::max(1, q->viewport()->height() / rowHeight()); }

    void ensureVisible(int row, int col)
    {
        model->flush();
        const int viewRow = row - headerRows();
        if (viewRow < 0 || viewRow >= model->rowCount())
            return;
        q->updateGeometries();
        QScrollBar *bar = q->verticalScrollBar();
        if (viewRow < bar->value())
            bar->setValue(viewRow);
        else if (viewRow >= bar->value() + visibleRowCount())
            bar->setValue(viewRow - visibleRowCount() + 1);
        if (col >= 0 && col < model->cols() && !q->isColumnHidden(col))
            q->scrollTo(model->index(viewRow, col), QAbstractItemView::EnsureVisible);
    }

    // The cell at a point of the table viewport, or false when the point is outside every cell.
    bool cellAt(const QPoint &pos, int &row, int &col) const
    {
        model->flush();
        const int viewRow = q->rowAt(pos.y());
        const int viewCol = q->columnAt(pos.x());
        if (viewRow < 0 || viewCol < 0)
            return false;
        row = viewRow + headerRows();
        col = viewCol;
        return true;
    }

    QPointF twipsOf(const QPoint &viewportPos) const
    {
        const QPoint p = q->viewport()->mapTo(q, viewportPos);
        return QPointF(pixelsToTwips(p.x(), q), pixelsToTwips(p.y(), q));
    }

    bool isVisibleCol(int col) const { return !q->isColumnHidden(col) && model->width(col) != 0; }

    int nextVisibleCol(int col, int step) const
    {
        for (int c = col + step; c >= model->fixedCols() && c < model->cols(); c += step) {
            if (isVisibleCol(c))
                return c;
        }
        return col;
    }

    int edgeVisibleCol(bool last) const
    {
        if (last) {
            for (int c = model->cols() - 1; c >= model->fixedCols(); --c) {
                if (isVisibleCol(c))
                    return c;
            }
        } else {
            for (int c = model->fixedCols(); c < model->cols(); ++c) {
                if (isVisibleCol(c))
                    return c;
            }
        }
        return sel().col;
    }

    bool navigate(int code, int shift)
    {
        if (model->rows() <= model->fixedRows() || model->cols() == 0)
            return false;
        const int firstRow = model->fixedRows();
        const int lastRow = model->rows() - 1;
        const bool extend = shift & 1;
        const bool ctrl = shift & 2;
        int row = extend ? sel().rowSel : sel().row;
        int col = extend ? sel().colSel : sel().col;
        switch (code) {
        case 38: // Up
            row = std::max(firstRow, row - 1);
            break;
        case 40: // Down
            row = std::min(lastRow, row + 1);
            break;
        case 37: // Left
            col = nextVisibleCol(col, -1);
            break;
        case 39: // Right
            col = nextVisibleCol(col, 1);
            break;
        case 33: // PageUp
            row = std::max(firstRow, row - visibleRowCount());
            break;
        case 34: // PageDown
            row = std::min(lastRow, row + visibleRowCount());
            break;
        case 36: // Home
            if (ctrl)
                row = firstRow;
            col = edgeVisibleCol(false);
            break;
        case 35: // End
            if (ctrl)
                row = lastRow;
            col = edgeVisibleCol(true);
            break;
        default:
            return false;
        }
        if (extend)
            moveCurrent(sel().row, sel().col, row, col);
        else
            moveCurrent(row, col, row, col);
        ensureVisible(row, col);
        return true;
    }

    void showToolTip(const QPoint &globalPos)
    {
        if (toolTip.isEmpty())
            QToolTip::hideText();
        else
            QToolTip::showText(globalPos, toolTip, q->viewport());
    }
};

FlexGrid::FlexGrid(QWidget *parent) : QTableView(parent), d(std::make_unique<Data>(this))
{
    setModel(d->model);
    setItemDelegate(new CellPainter(d->model, this));
    QTableView::setSelectionMode(QAbstractItemView::NoSelection);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setTabKeyNavigation(false);
    setAutoScroll(false);
    setCornerButtonEnabled(false);
    setWordWrap(false);
    setMouseTracking(true);
    setVerticalScrollMode(QAbstractItemView::ScrollPerItem);
    setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);

    QHeaderView *rowsHeader = verticalHeader();
    rowsHeader->hide();
    rowsHeader->setMinimumSectionSize(1);
    rowsHeader->setSectionResizeMode(QHeaderView::Fixed);
    rowsHeader->setDefaultSectionSize(std::max(twipsToPixels(240, this), fontMetrics().height() + 4));

    QHeaderView *captions = horizontalHeader();
    captions->setSectionsClickable(false);
    captions->setHighlightSections(false);
    captions->setStretchLastSection(false);
    captions->setMinimumSectionSize(1);
    captions->setDefaultSectionSize(d->defaultColumnPixels());
    captions->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    captions->viewport()->setMouseTracking(true);
    captions->viewport()->installEventFilter(this);
    connect(captions, &QHeaderView::sectionResized, this, [this](int col, int, int pixels) {
        if (!d->applyingWidths && col < d->model->cols() && pixels > 0)
            d->model->setWidth(col, pixelsToTwips(pixels, this));
    });
    connect(d->model, &FlexGridModel::flushed, this, [this](bool reset) { d->afterFlush(reset); });

    // The original's new grid: two rows, two columns, one fixed row and one fixed column.
    d->model->resize(2, 2);
    d->model->setFixedRows(1);
    d->model->setFixedCols(1);
    d->model->selection = {1, 1, 1, 1};
    d->model->flush();
}

FlexGrid::~FlexGrid() = default;

int FlexGrid::Rows() const
{
    return d->model->rows();
}

void FlexGrid::setRows(int rows)
{
    if (rows < 0)
        Raise(30009, gridSource, QStringLiteral("Invalid Row value"));
    d->model->resize(rows, d->model->cols());
    d->clampSelection();
}

int FlexGrid::Cols() const
{
    return d->model->cols();
}

void FlexGrid::setCols(int cols)
{
    if (cols < 0)
        Raise(30010, gridSource, QStringLiteral("Invalid Col value"));
    d->model->resize(d->model->rows(), cols);
    d->clampSelection();
}

int FlexGrid::FixedRows() const
{
    return d->model->fixedRows();
}

void FlexGrid::setFixedRows(int rows)
{
    if (rows < 0 || rows > d->model->rows())
        Raise(30009, gridSource, QStringLiteral("Invalid Row value"));
    d->model->setFixedRows(rows);
}

int FlexGrid::FixedCols() const
{
    return d->model->fixedCols();
}

void FlexGrid::setFixedCols(int cols)
{
    if (cols < 0 || cols > d->model->cols())
        Raise(30010, gridSource, QStringLiteral("Invalid Col value"));
    d->model->setFixedCols(cols);
}

int FlexGrid::Row() const
{
    return d->sel().row;
}

void FlexGrid::setRow(int row)
{
    d->checkRow(row);
    d->moveCurrent(row, d->sel().col, row, d->sel().col);
}

int FlexGrid::Col() const
{
    return d->sel().col;
}

void FlexGrid::setCol(int col)
{
    d->checkCol(col);
    d->moveCurrent(d->sel().row, col, d->sel().row, col);
}

int FlexGrid::RowSel() const
{
    return d->sel().rowSel;
}

void FlexGrid::setRowSel(int row)
{
    d->checkRow(row);
    d->moveCurrent(d->sel().row, d->sel().col, row, d->sel().colSel);
}

int FlexGrid::ColSel() const
{
    return d->sel().colSel;
}

void FlexGrid::setColSel(int col)
{
    d->checkCol(col);
    d->moveCurrent(d->sel().row, d->sel().col, d->sel().rowSel, col);
}

int FlexGrid::TopRow() const
{
    if (d->pendingTopRow >= 0)
        return d->pendingTopRow;
    return verticalScrollBar()->value() + d->headerRows();
}

void FlexGrid::setTopRow(int row)
{
    const int first = d->headerRows();
    if (d->model->rows() <= first)
        return;
    row = std::clamp(row, first, d->model->rows() - 1);
    if (d->model->pending())
        d->pendingTopRow = row; // applied by the flush, once
    else
        d->scrollToTop(row);
}

QString FlexGrid::TextMatrix(int row, int col) const
{
    d->checkCell(row, col);
    return d->model->text(row, col);
}

void FlexGrid::setTextMatrix(int row, int col, const QString &text)
{
    d->checkCell(row, col);
    d->model->setText(row, col, text);
}

QString FlexGrid::Text() const
{
    return TextMatrix(d->sel().row, d->sel().col);
}

void FlexGrid::setText(const QString &text)
{
    setTextMatrix(d->sel().row, d->sel().col, text);
}

QString FlexGrid::FormatString() const
{
    return d->formatString;
}

void FlexGrid::setFormatString(const QString &format)
{
    d->formatString = format;
    // "<", "^" and ">" before a caption align the column left, centre or right; text after ";" gives
    // the captions of the rows in column 0.
    const qsizetype semicolon = format.indexOf(QLatin1Char(';'));
    const QString columnPart = semicolon < 0 ? format : format.left(semicolon);
    const QStringList captions = columnPart.split(QLatin1Char('|'));
    const QStringList rowCaptions =
        semicolon < 0 ? QStringList() : format.mid(semicolon + 1).split(QLatin1Char('|'));

    if (!columnPart.isEmpty() || semicolon < 0)
        setCols(int(captions.size()));
    if (d->model->rows() < 1)
        setRows(1);
    const QFontMetrics metrics = horizontalHeader()->fontMetrics();
    if (!columnPart.isEmpty()) {
        for (int c = 0; c < int(captions.size()); ++c) {
            QString caption = captions.at(c);
            if (!caption.isEmpty()) {
                const QChar lead = caption.at(0);
                const int alignment = lead == QLatin1Char('<')   ? 1
                                      : lead == QLatin1Char('^') ? 4
                                      : lead == QLatin1Char('>') ? 7
                                                                 : -1;
                if (alignment >= 0) {
                    d->model->setAlignment(c, alignment);
                    caption.remove(0, 1);
                }
            }
            d->model->setText(0, c, caption);
            d->model->setWidth(c, pixelsToTwips(metrics.horizontalAdvance(caption) + 12, this));
            d->applyColumn(c);
        }
    }
    if (semicolon >= 0 && d->model->cols() > 0) {
        const int needed = int(rowCaptions.size()) + 1;
        if (d->model->rows() < needed)
            setRows(needed);
        for (int r = 0; r < int(rowCaptions.size()); ++r)
            d->model->setText(r + 1, 0, rowCaptions.at(r));
    }
}

int FlexGrid::ColWidth(int col) const
{
    if (col < 0 || col >= d->model->cols())
        subscriptOutOfRange();
    return d->model->width(col);
}

void FlexGrid::setColWidth(int col, int twips)
{
    if (col < 0 || col >= d->model->cols())
        subscriptOutOfRange();
    d->model->setWidth(col, twips < 0 ? -1 : twips);
    d->applyColumn(col);
}

int FlexGrid::ColAlignment(int col) const
{
    if (col < 0 || col >= d->model->cols())
        subscriptOutOfRange();
    return d->model->alignment(col);
}

void FlexGrid::setColAlignment(int col, int alignment)
{
    if (col < 0 || col >= d->model->cols())
        subscriptOutOfRange();
    d->model->setAlignment(col, alignment);
}

int FlexGrid::GridWidth() const
{
    return pixelsToTwips(width(), this);
}

void FlexGrid::AddItem(const QString &tabSeparated, int index)
{
    const int rows = d->model->rows();
    if (index < 0)
        index = rows;
    if (index > rows)
        subscriptOutOfRange();
    d->model->insertRow(index, tabSeparated.split(QLatin1Char('\t')));
}

void FlexGrid::RemoveItem(int index)
{
    if (index < 0 || index >= d->model->rows())
        subscriptOutOfRange();
    if (index >= d->model->fixedRows() && d->model->rows() - d->model->fixedRows() <= 1)
        Raise(30015, gridSource, QStringLiteral("Cannot remove last non-fixed row"));
    d->model->removeRow(index);
    d->clampSelection();
}

void FlexGrid::Clear()
{
    d->model->clearCells();
}

void FlexGrid::setSort(int code)
{
    d->model->sortRows(code, d->sel().col, d->sel().colSel);
}

void FlexGrid::prepareSort(int code, int col, int colSel)
{
    d->model->prepareSort(code, col, colSel);
}

quint32 FlexGrid::CellBackColor() const
{
    return cellBackColorAt(d->sel().row, d->sel().col);
}

void FlexGrid::setCellBackColor(quint32 vbColor)
{
    setCellBackColorAt(d->sel().row, d->sel().col, vbColor);
}

quint32 FlexGrid::cellBackColorAt(int row, int col) const
{
    d->checkCell(row, col);
    return d->model->backColor(row, col, vbWindowBackground);
}

void FlexGrid::setCellBackColorAt(int row, int col, quint32 vbColor)
{
    d->checkCell(row, col);
    d->model->setBackColor(row, col, vbColor);
}

quint32 FlexGrid::BackColorSel() const
{
    return d->model->backColorSel;
}

void FlexGrid::setBackColorSel(quint32 vbColor)
{
    if (vbColor == d->model->backColorSel)
        return;
    d->model->backColorSel = vbColor;
    d->repaintSelection(d->sel());
}

int FlexGrid::SelMode() const
{
    return d->model->selectionMode;
}

void FlexGrid::setSelMode(int mode)
{
    mode = std::clamp(mode, 0, 2);
    if (mode == d->model->selectionMode)
        return;
    d->model->selectionMode = mode;
    viewport()->update();
}

int FlexGrid::MouseRow() const
{
    if (!d->mouseKnown || d->mousePos.y() < 0 || d->model->rows() == 0)
        return 0;
    d->model->flush();
    const int viewRow = rowAt(d->mousePos.y());
    if (viewRow < 0) // below the last row: the last row, as the original answers
        return std::max(0, d->model->rows() - 1);
    return viewRow + d->headerRows();
}

int FlexGrid::MouseCol() const
{
    if (!d->mouseKnown || d->model->cols() == 0)
        return 0;
    d->model->flush();
    const int col = columnAt(d->mousePos.x());
    if (col < 0)
        return d->mousePos.x() < 0 ? 0 : d->model->cols() - 1;
    return col;
}

QString FlexGrid::ToolTipText() const
{
    return d->toolTip;
}

void FlexGrid::setToolTipText(const QString &text)
{
    if (text == d->toolTip)
        return;
    d->toolTip = text;
    if (QToolTip::isVisible() && underMouse())
        d->showToolTip(QCursor::pos());
}

int FlexGrid::CellLeft() const
{
    d->model->flush();
    const int col = d->sel().col;
    if (isColumnHidden(col))
        return 0;
    const int x = columnViewportPosition(col);
    return pixelsToTwips(viewport()->mapTo(this, QPoint(x, 0)).x(), this);
}

int FlexGrid::CellTop() const
{
    d->model->flush();
    const int viewRow = d->sel().row - d->headerRows();
    if (viewRow < 0) // the caption row
        return pixelsToTwips(horizontalHeader()->mapTo(this, QPoint(0, 0)).y(), this);
    return pixelsToTwips(viewport()->mapTo(this, QPoint(0, rowViewportPosition(viewRow))).y(), this);
}

int FlexGrid::CellWidth() const
{
    d->model->flush();
    const int col = d->sel().col;
    return isColumnHidden(col) ? 0 : pixelsToTwips(columnWidth(col), this);
}

int FlexGrid::CellHeight() const
{
    d->model->flush();
    const int viewRow = d->sel().row - d->headerRows();
    const int pixels = viewRow < 0 ? horizontalHeader()->height() : d->rowHeight();
    return pixelsToTwips(pixels, this);
}

void FlexGrid::resetToNew()
{
    d->model->prepareSort(SortNone, 0, 0);
    d->model->resize(0, 0);
    d->model->clearCells();
    d->model->resize(2, 2);
    d->model->setFixedRows(1);
    d->model->setFixedCols(1);
    d->sel() = FlexGridModel::Selection{};
    d->pendingTopRow = -1;
    // Scrolled back to the start, as a new grid stands.
    verticalScrollBar()->setValue(0);
    horizontalScrollBar()->setValue(0);
}

void FlexGrid::ensureRowVisible(int row)
{
    d->ensureVisible(row, -1);
}

void FlexGrid::flush()
{
    d->model->flush();
}

void FlexGrid::keyPressEvent(QKeyEvent *event)
{
    d->model->flush();
    qint16 code = keyCode(event);
    const int shift = shiftState(event->modifiers());
    if (code != 0)
        Q_EMIT KeyDown(code, shift);
    if (code != 0)
        d->navigate(code, shift);
    qint16 ascii = keyAscii(event);
    if (ascii != 0)
        Q_EMIT KeyPress(ascii);
    // Escape belongs to the form (its cancel button), Ctrl+Tab to a tab strip around the grid (the next
    // page); every other key was the grid's.
    const bool pageKey = (event->key() == Qt::Key_Tab || event->key() == Qt::Key_Backtab) && (shift & 2) != 0;
    if (event->key() == Qt::Key_Escape || pageKey)
        event->ignore();
    else
        event->accept();
}

void FlexGrid::keyReleaseEvent(QKeyEvent *event)
{
    qint16 code = keyCode(event);
    if (code != 0)
        Q_EMIT KeyUp(code, shiftState(event->modifiers()));
    event->accept();
}

void FlexGrid::mousePressEvent(QMouseEvent *event)
{
    const QPoint pos = event->position().toPoint();
    d->mousePos = pos;
    d->mouseKnown = true;
    d->pressedOnGrid = true;
    d->suppressClick = false;
    int row = 0;
    int col = 0;
    // Any button makes the clicked cell current, so that a right-click menu acts on the row under it.
    if (d->cellAt(pos, row, col)) {
        if (d->model->rows() > d->model->fixedRows())
            row = std::max(row, d->model->fixedRows());
        if (d->model->cols() > d->model->fixedCols())
            col = std::max(col, d->model->fixedCols());
        if (event->button() == Qt::LeftButton && (event->modifiers() & Qt::ShiftModifier))
            d->moveCurrent(d->sel().row, d->sel().col, row, col);
        else
            d->moveCurrent(row, col, row, col);
    }
    const QPointF at = d->twipsOf(pos);
    Q_EMIT MouseDown(vbButton(event->button()), shiftState(event->modifiers()), at.x(), at.y());
    event->accept();
}

void FlexGrid::mouseReleaseEvent(QMouseEvent *event)
{
    const QPoint pos = event->position().toPoint();
    d->mousePos = pos;
    d->mouseKnown = true;
    const QPointF at = d->twipsOf(pos);
    Q_EMIT MouseUp(vbButton(event->button()), shiftState(event->modifiers()), at.x(), at.y());
    const bool click = d->pressedOnGrid && !d->suppressClick;
    d->pressedOnGrid = false;
    d->suppressClick = false;
    if (click)
        Q_EMIT Click();
    event->accept();
}

void FlexGrid::mouseMoveEvent(QMouseEvent *event)
{
    const QPoint pos = event->position().toPoint();
    d->mousePos = pos;
    d->mouseKnown = true;
    int row = 0;
    int col = 0;
    // Dragging with the left button extends the selection.
    if ((event->buttons() & Qt::LeftButton) && d->pressedOnGrid && d->cellAt(pos, row, col)) {
        row = std::max(row, d->model->fixedRows());
        col = std::max(col, d->model->fixedCols());
        if (row < d->model->rows() && col < d->model->cols())
            d->moveCurrent(d->sel().row, d->sel().col, row, col);
    }
    const QPointF at = d->twipsOf(pos);
    Q_EMIT MouseMove(vbButtons(event->buttons()), shiftState(event->modifiers()), at.x(), at.y());
    event->accept();
}

void FlexGrid::mouseDoubleClickEvent(QMouseEvent *event)
{
    const QPoint pos = event->position().toPoint();
    d->mousePos = pos;
    d->mouseKnown = true;
    int row = 0;
    int col = 0;
    if (d->cellAt(pos, row, col) && row >= d->model->fixedRows()) {
        col = std::max(col, std::min(d->model->fixedCols(), d->model->cols() - 1));
        d->moveCurrent(row, col, row, col);
    }
    // The release that ends a double click is not a further Click.
    d->pressedOnGrid = true;
    d->suppressClick = true;
    Q_EMIT DblClick();
    event->accept();
}

void FlexGrid::focusInEvent(QFocusEvent *event)
{
    QTableView::focusInEvent(event);
    d->syncCurrentIndex();
}

bool FlexGrid::viewportEvent(QEvent *event)
{
    if (event->type() == QEvent::ToolTip) {
        d->showToolTip(static_cast<QHelpEvent *>(event)->globalPos());
        return true;
    }
    return QTableView::viewportEvent(event);
}

bool FlexGrid::eventFilter(QObject *watched, QEvent *event)
{
    // The caption row is part of the grid: mouse events over it are the grid's too.
    if (watched == horizontalHeader()->viewport()) {
        switch (event->type()) {
        case QEvent::MouseMove:
        case QEvent::MouseButtonPress:
        case QEvent::MouseButtonRelease: {
            auto *mouse = static_cast<QMouseEvent *>(event);
            // The header is a sibling of the viewport: map through the screen.
            const QPoint pos = viewport()->mapFromGlobal(
                horizontalHeader()->viewport()->mapToGlobal(mouse->position().toPoint()));
            d->mousePos = pos;
            d->mouseKnown = true;
            const QPointF at = d->twipsOf(pos);
            const int shift = shiftState(mouse->modifiers());
            if (event->type() == QEvent::MouseMove)
                Q_EMIT MouseMove(vbButtons(mouse->buttons()), shift, at.x(), at.y());
            else if (event->type() == QEvent::MouseButtonPress)
                Q_EMIT MouseDown(vbButton(mouse->button()), shift, at.x(), at.y());
            else
                Q_EMIT MouseUp(vbButton(mouse->button()), shift, at.x(), at.y());
            break;
        }
        case QEvent::ToolTip:
            d->showToolTip(static_cast<QHelpEvent *>(event)->globalPos());
            return true;
        default:
            break;
        }
    }
    return QTableView::eventFilter(watched, event);
}

} // namespace platform
