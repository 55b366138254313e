// FrmMaster: loading the department's agreements into the list grid, the buttons that follow the selected
// row, search and sort, cancelling an agreement, and the report preview.

#include "forms/list/frmmaster.h"

#include "forms/agreement/frmagreementreg.h"
#include "forms/defaultinstance.h"
#include "forms/formevents.h"
#include "forms/list/listrefresh.h"
#include "module/basagreementreg.h"
#include "module/modulecontext.h"
#include "module/moduleservices.h"
#include "platform/database/connection.h"
#include "platform/grid/flexgrid.h"
#include "platform/grid/flexgridmodel.h"
#include "platform/runtime/errors.h"
#include "platform/runtime/registry.h"
#include "platform/ui/seams.h"
#include "platform/ui/units.h"

#include <QApplication>
#include <QComboBox>
#include <QDate>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QRadioButton>
#include <QScreen>
#include <QShowEvent>
#include <QSignalBlocker>
#include <QTimer>
#include <QVBoxLayout>

#include <cmath>
#include <exception>

namespace agr {

namespace {

using platform::FlexGrid;

const QString ListTable = QStringLiteral("agreementregister");
const QString Yes = QStringLiteral("Yes");
const QString No = QStringLiteral("No");

constexpr int TwipsPerCharacter = 130;

// The processing date; a context never filled holds the zero date.
QDate processingDate()
{
    const QDate date = context().processDate.date();
    return date.isValid() ? date : zeroDate().date();
}

// "dd/mm/yyyy" without a format parser: the list writes one per row.
QString shortDate(const QDate &date)
{
    int y = 0, m = 0, d = 0;
    date.getDate(&y, &m, &d);
    if (y < 0 || y > 9999)
        return date.toString(QStringLiteral("dd/MM/yyyy"));
    const char16_t text[10] = {
        char16_t(u'0' + d / 10),   char16_t(u'0' + d % 10),       u'/',
        char16_t(u'0' + m / 10),   char16_t(u'0' + m % 10),       u'/',
        char16_t(u'0' + y / 1000), char16_t(u'0' + y / 100 % 10), char16_t(u'0' + y / 10 % 10),
        char16_t(u'0' + y % 10)};
    return QString(reinterpret_cast<const QChar *>(text), 10);
}

} // namespace

using Instance = DefaultInstance<FrmMaster>;

FrmMaster *frmMaster()
{
    return Instance::get();
}

FrmMaster *frmMasterIfLoaded()
{
    return Instance::ifLoaded();
}

void unloadFrmMaster()
{
    Instance::unload();
}

FrmMaster::FrmMaster(QWidget *parent) : QDialog(parent)
{
    setObjectName(QStringLiteral("FrmMaster"));
    setWindowTitle(QStringLiteral("Agreement Register"));
    setWindowFlags((windowFlags() | Qt::WindowMinMaxButtonsHint) & ~Qt::WindowContextHelpButtonHint);
    buildControls();
}

FrmMaster::~FrmMaster()
{
    Instance::release(this);
}

void FrmMaster::buildControls()
{
    auto named = [](auto *widget, const char *name) {
        widget->setObjectName(QLatin1String(name));
        return widget;
    };

    mfgMaster = named(new FlexGrid(this), "mfgMaster");
    cboColNames = named(new QComboBox(this), "cboColNames");
    cboSearch = named(new QComboBox(this), "cboSearch");
    txtsearch = named(new QLineEdit(this), "txtsearch");
    optAscend = named(new QRadioButton(QStringLiteral("&Ascending"), this), "optAscend");
    optDescend = named(new QRadioButton(QStringLiteral("De&scending"), this), "optDescend");
    lblColNames = named(new QLabel(QStringLiteral("Sort &by"), this), "lblColNames");
    lblSearch = named(new QLabel(QStringLiteral("Search &in"), this), "lblSearch");
    lblSearchText = named(new QLabel(QStringLiteral("Search &for"), this), "lblSearchText");
    cmdnew = named(new QPushButton(QStringLiteral("&New"), this), "cmdnew");
    CmdEdit = named(new QPushButton(QStringLiteral("&Edit"), this), "CmdEdit");
    CmdDelete = named(new QPushButton(QStringLiteral("&Delete"), this), "CmdDelete");
    cmdPreview = named(new QPushButton(QStringLiteral("&Preview"), this), "cmdPreview");
    Cmdclose = named(new QPushButton(QStringLiteral("&Close"), this), "Cmdclose");

    lblColNames->setBuddy(cboColNames);
    lblSearch->setBuddy(cboSearch);
    lblSearchText->setBuddy(txtsearch);
    optAscend->setChecked(true);
    cboColNames->setMinimumContentsLength(16);
    cboSearch->setMinimumContentsLength(16);
    cboColNames->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    cboSearch->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    txtsearch->setMinimumWidth(240);
    txtsearch->setClearButtonEnabled(true);
    txtsearch->setPlaceholderText(QStringLiteral("type the beginning of a value"));
    mfgMaster->setMinimumSize(640, 320);
    mfgMaster->setSelMode(1);          // a list: the whole row shows selected
    mfgMaster->setMouseTracking(true); // the tooltip follows the mouse without a button held
    mfgMaster->viewport()->setMouseTracking(true);

    // No button is a default button: Enter moves between fields and opens the selected row from the grid.
    for (QPushButton *button : {cmdnew, CmdEdit, CmdDelete, cmdPreview, Cmdclose}) {
        button->setAutoDefault(false);
        button->setDefault(false);
        button->setMinimumWidth(96);
    }

    auto *search = new QGroupBox(QStringLiteral("Sort and search"), this);
    auto *searchRow = new QHBoxLayout(search);
    searchRow->addWidget(lblColNames);
    searchRow->addWidget(cboColNames);
    searchRow->addWidget(optAscend);
    searchRow->addWidget(optDescend);
    searchRow->addSpacing(24);
    searchRow->addWidget(lblSearch);
    searchRow->addWidget(cboSearch);
    searchRow->addWidget(lblSearchText);
    searchRow->addWidget(txtsearch, 1);

    auto *buttons = new QHBoxLayout;
    buttons->addWidget(cmdnew);
    buttons->addWidget(CmdEdit);
    buttons->addWidget(CmdDelete);
    buttons->addWidget(cmdPreview);
    buttons->addStretch(1);
    buttons->addWidget(Cmdclose);

    auto *page = new QVBoxLayout(this);
    page->addWidget(search);
    page->addWidget(mfgMaster, 1);
    page->addLayout(buttons);

    setTabOrder(cboColNames, optAscend);
    setTabOrder(optAscend, optDescend);
    setTabOrder(optDescend, cboSearch);
    setTabOrder(cboSearch, txtsearch);
    setTabOrder(txtsearch, mfgMaster);
    setTabOrder(mfgMaster, cmdnew);
    setTabOrder(cmdnew, CmdEdit);
    setTabOrder(CmdEdit, CmdDelete);
    setTabOrder(CmdDelete, cmdPreview);
    setTabOrder(cmdPreview, Cmdclose);

    resize(1200, 720);

    // KeyPreview: the form sees every key before the control that has the focus.
    for (QWidget *control :
         std::initializer_list<QWidget *>{mfgMaster, cboColNames, cboSearch, txtsearch, optAscend, optDescend,
                                          cmdnew, CmdEdit, CmdDelete, cmdPreview, Cmdclose})
        control->installEventFilter(this);

    connect(cboColNames, &QComboBox::activated, this, platform::trapped([this] { cboColNames_Click(); }));
    connect(cboSearch, &QComboBox::currentIndexChanged, this,
            platform::trapped([this] { prepareSearchSort(); }));
    onOptionClick(optAscend, [this] { optAscend_Click(); });
    onOptionClick(optDescend, [this] { optDescend_Click(); });
    connect(mfgMaster, &FlexGrid::DblClick, this,
            platform::trapped(std::bind_front(&FrmMaster::mfgMaster_DblClick, this)));
    connect(mfgMaster, &FlexGrid::KeyPress, this,
            platform::trapped(std::bind_front(&FrmMaster::mfgMaster_KeyPress, this)));
    connect(mfgMaster, &FlexGrid::KeyDown, this,
            platform::trapped(std::bind_front(&FrmMaster::mfgMaster_KeyDown, this)));
    connect(mfgMaster, &FlexGrid::RowColChange, this,
            platform::trapped(std::bind_front(&FrmMaster::mfgMaster_RowColChange, this)));
    connect(mfgMaster, &FlexGrid::SelChange, this,
            platform::trapped(std::bind_front(&FrmMaster::mfgMaster_SelChange, this)));
    connect(mfgMaster, &FlexGrid::MouseMove, this,
            platform::trapped(std::bind_front(&FrmMaster::mfgMaster_MouseMove, this)));
    connect(cmdnew, &QPushButton::clicked, this, platform::trapped([this] { cmdnew_Click(); }));
    connect(CmdEdit, &QPushButton::clicked, this, platform::trapped([this] { CmdEdit_Click(); }));
    connect(CmdDelete, &QPushButton::clicked, this, platform::trapped([this] { CmdDelete_Click(); }));
    connect(cmdPreview, &QPushButton::clicked, this, platform::trapped([this] { cmdPreview_Click(); }));
    connect(Cmdclose, &QPushButton::clicked, this, platform::trapped([this] { Cmdclose_Click(); }));
}

// ---- Loading ----------------------------------------------------------------------------------------------

void FrmMaster::Form_Load()
{
    m_loaded = true;
    bas::Trap(this, "Form_Load", [&] {
        // Placement: the form's own size, centred on the screen, with the grid laid out at that size so
        // that the columns can share out the grid's width.
        if (QScreen *screen = this->screen())
            move(screen->availableGeometry().center() - rect().center());
        if (layout())
            layout()->activate();

        generalService.create(progid::GeneralService);
        dbService.create(progid::DbService);
        auditService().create(progid::AuditService);

        ModuleContext &ctx = context();
        platform::Connection *connection = ctx.connection();
        auditService()->OpenObject(connection, ctx.companyId, ctx.userId, ctx.departmentId, ctx.interfaceId,
                                   QDateTime::currentDateTime());
        dbService->setAdocon(connection);

        themeService().create(progid::ThemeService);
        themeService()->ApplyScreenTheme(this);

        populateRecord();

        dbService->setStrTableName(QStringLiteral("aUsers"));
        userName = dbService
                       ->fnReturnField(QStringLiteral("UserName"),
                                       QStringLiteral(" userid=") + QString::number(ctx.userId))
                       .toString();

        dbService->setStrTableName(QStringLiteral("aUserRights"));
        bas::rightsString() =
            dbService
                ->fnReturnField(QStringLiteral("FunctionRights"),
                                QStringLiteral(" userid=") + QString::number(ctx.userId) +
                                    QStringLiteral(" and interfaceid=") + QString::number(ctx.interfaceId))
                .toString();
        m_rights = bas::rightsString();

        cmdnew->setEnabled(bas::RightsTest("N"));
        CmdEdit->setEnabled(bas::RightsTest("E"));
        CmdDelete->setEnabled(bas::RightsTest("D"));
        cmdPreview->setEnabled(bas::RightsTest("P"));

        mfgMaster_SelChange();
    });
    // The entry form is built while the clerk looks at the list.
    QTimer::singleShot(0, this, platform::trapped([] { prepareFrmAgreementreg(); }));
}

void FrmMaster::populateRecord()
{
    bas::Trap(this, "populateRecord", [&] {
        dbService->setStrTableName(QStringLiteral("aPackageSettings"));
        // No setting row: a back period of 0, only agreements from the processing date on.
        const qint16 backDays = CInt(dbService->fnReturnField(QStringLiteral("BackNoOfDays")));
        const QDate fromDate = processingDate().addDays(-backDays);
        listTableName = ListTable;

        const ModuleContext &ctx = context();
        listSql = QStringLiteral(" select agragreementid,agragreementNo,agragreementdate,agragreementdesc,") +
                  QStringLiteral(" agragreementtype ,agrapplicableTo,agragreementwith, ") +
                  QStringLiteral(" case agrcancelled when 1 then 'Yes' when 0 then 'No' end cancelled") +
                  QStringLiteral(" from  agreementregister where agrDepartmentid = ") +
                  QString::number(ctx.departmentId) + QStringLiteral(" and agragreementdate>=' ") +
                  fromDate.toString(QStringLiteral("yyyyMMdd")) +
                  QStringLiteral("' order by agragreementid ");
        bas::listSql() = listSql;

        if (!listSql.isEmpty())
            GridPopulate(listSql, listTableName);
        GridColor();
        SelectLastRow();
    });
}

void FrmMaster::GridPopulate(const QString &sql, const QString &tableName)
{
    bas::Trap(this, "GridPopulate", [&] {
        FlexGrid &grid = *mfgMaster;
        platform::Recordset rs;
        {
            // Writing the cells moves no current cell: the grid's row events wait until the list is in.
            const QSignalBlocker quiet(mfgMaster);
            grid.Clear();
            grid.setFixedRows(1);
            grid.setFixedCols(0);
            grid.setColWidth(col(ListCol::AgreementId), 960);
            grid.setCols(1);
            grid.setRows(2);

            rs.Open(sql, *context().connection());
            const int fields = rs.fieldCount();
            widthTable.fill(0.0, fields);
            if (rs.isEOF()) {
                grid.setCols(fields);
            } else {
                rs.MoveFirst();
                grid.setCols(fields);
                grid.setRows(rs.RecordCount() + 1);
                for (int j = 0; j < fields; ++j)
                    grid.setColAlignment(j, 0);

                int row = 1;
                // A record that cannot be shown (a null date) ends the fill: keep the rows written so far.
                const int uncaught = std::uncaught_exceptions();
                struct TrimOnError
                {
                    FlexGrid &grid;
                    const int &row;
                    int uncaught;
                    ~TrimOnError()
                    {
                        if (std::uncaught_exceptions() > uncaught)
                            grid.setRows(row + 1);
                    }
                } trim{grid, row, uncaught};

                const int dateColumn = col(ListCol::Date);
                for (; !rs.isEOF(); rs.MoveNext(), ++row) {
                    for (int j = 0; j < fields; ++j) {
                        const platform::Field field = rs.Fields(j);
                        QString text = j == dateColumn ? shortDate(field.toDate()) : Trim(field.joinEmpty());
                        if (text.size() > widthTable[j])
                            widthTable[j] = double(text.size());
                        grid.setTextMatrix(row, j, text);
                    }
                }
            }
        }
        NameGrid(tableName, widthTable);
        grid.setColWidth(col(ListCol::AgreementId), 0);
        rs.Close();
    });
}

int FrmMaster::colWidthTwips(int column) const
{
    const int twips = mfgMaster->ColWidth(column);
    return twips >= 0 ? twips : platform::pixelsToTwips(mfgMaster->columnWidth(column), mfgMaster);
}

void FrmMaster::NameGrid(const QString &tableName, QVector<double> &widths)
{
    bas::Trap(this, "NameGrid", [&] {
        FlexGrid &grid = *mfgMaster;
        {
            // Filling the lists chooses nothing: the sort and the search wait for the user's choice.
            const QSignalBlocker quietColumns(cboColNames);
            const QSignalBlocker quietSearch(cboSearch);
            cboColNames->clear();
            cboSearch->clear();

            platform::Recordset rs;
            rs.Open(
                QStringLiteral("select tc.columnheader,tc.columnname from atables t,atablecolumns tc where "
                               "t.tableid = tc.tableid and tablename ='") +
                    tableName + QStringLiteral("'"),
                *context().connection());
            if (!rs.isEOF()) {
                rs.MoveFirst();
                rs.MoveNext(); // the first row describes the hidden id column
                for (int j = col(ListCol::Number); !rs.isEOF(); ++j, rs.MoveNext()) {
                    const QString header = rs.Fields(QStringLiteral("columnheader")).joinEmpty();
                    grid.setTextMatrix(0, j, header);
                    cboColNames->addItem(header, j);
                    cboSearch->addItem(rs.Fields(QStringLiteral("columnname")).joinEmpty(), j);
                    if (j < widths.size() && header.size() > widths[j])
                        widths[j] = double(header.size());
                }
            }
            cboColNames->setCurrentIndex(-1);
            cboSearch->setCurrentIndex(-1);
            rs.Close();
        }
        prepareSearchSort();

        const int cols = grid.Cols();
        for (int c = 0; c < cols && c < widths.size(); ++c) {
            const int wanted = qRound(widths[c] * TwipsPerCharacter);
            if (wanted > colWidthTwips(c))
                grid.setColWidth(c, wanted);
        }
        int sum = 0;
        for (int c = 0; c < cols; ++c)
            sum += colWidthTwips(c);
        const int gridWidth = grid.GridWidth();
        if (gridWidth - 315 > sum && cols > 1) {
            const double spare = double(gridWidth - sum - 55) / (cols - 1);
            for (int c = col(ListCol::Number); c < cols; ++c) {
                const int width = colWidthTwips(c);
                if (width > 0)
                    grid.setColWidth(c, qRound(width + spare));
            }
        }

        // What the user stored for this grid overrides the computed layout.
        Service<IGridLayoutService> gridLayout(progid::GridLayoutService);
        platform::Connection *connection = context().connection();
        gridLayout->fnGridSettings(CInt(context().userId), CInt(context().companyId), mfgMaster, connection);
        gridLayout.reset();

        SelectLastRow();
    });
}

void FrmMaster::GridColor()
{
    bas::Trap(this, "GridColor", [&] {
        FlexGrid &grid = *mfgMaster;
        cmdnew->setEnabled(m_rights.contains(QLatin1Char('N')));
        CmdEdit->setEnabled(m_rights.contains(QLatin1Char('E')));
        CmdDelete->setEnabled(m_rights.contains(QLatin1Char('D')));

        if (grid.TextMatrix(grid.Row(), col(ListCol::Cancelled)) == Yes)
            CmdDelete->setEnabled(false);
        else
            CmdDelete->setEnabled(bas::RightsTest("D"));

        const int rows = grid.Rows();
        const int cancelled = col(ListCol::Cancelled);
        for (int i = 1; i < rows; ++i) {
            if (grid.TextMatrix(i, cancelled) != Yes)
                continue;
            for (int j = col(ListCol::AgreementId); j <= cancelled; ++j)
                grid.setCellBackColorAt(i, j, platform::vbRed);
        }

        SelectLastRow();
    });
}

void FrmMaster::SelectLastRow()
{
    FlexGrid &grid = *mfgMaster;
    grid.setRow(grid.Rows() - 1);
    grid.setTopRow(grid.Row());
    grid.setCol(col(ListCol::AgreementId));
    grid.setColSel(grid.Cols() - 1);
}

void FrmMaster::SetRowButtons()
{
    bas::Trap(this, "SetRowButtons", [&] {
        const FlexGrid &grid = *mfgMaster;
        const int row = grid.Row();
        if (grid.TextMatrix(row, col(ListCol::Number)).isEmpty()) {
            CmdDelete->setEnabled(false);
            CmdEdit->setEnabled(false);
            cmdPreview->setEnabled(false);
        } else {
            CmdDelete->setEnabled(bas::RightsTest("D"));
            CmdEdit->setEnabled(bas::RightsTest("E"));
            cmdPreview->setEnabled(bas::RightsTest("P"));
        }

        const QString cancelled = grid.TextMatrix(row, col(ListCol::Cancelled));
        if (cancelled != No)
            CmdDelete->setEnabled(false);
        else
            CmdDelete->setEnabled(bas::RightsTest("D"));

        // A live agreement can always be cancelled from the list, whatever the rights say.
        if (cancelled == No) {
            CmdDelete->setEnabled(true);
            return;
        }
        CmdEdit->setText(QStringLiteral("&Edit"));
        CmdDelete->setEnabled(false);
    });
}

void FrmMaster::mfgMaster_SelChange()
{
    bas::Trap(this, "mfgMaster_SelChange", [&] {
        FlexGrid &grid = *mfgMaster;
        if (std::abs(grid.RowSel() - grid.Row()) >= 1) {
            grid.setBackColorSel(platform::vbCyan);
            return;
        }
        // A painted (cancelled) row keeps its colour while selected.
        const quint32 cell = grid.CellBackColor();
        if (cell != platform::vbWindowText && cell != platform::vbWindowBackground)
            grid.setBackColorSel(cell);
        else
            grid.setBackColorSel(platform::vbHighlight);
    });
}

void FrmMaster::Form_Activate()
{
    m_activated = true;
    bas::Trap(this, "Form_Activate", [&] {
        const FlexGrid &grid = *mfgMaster;
        const int row = grid.Row();
        if (grid.TextMatrix(row, col(ListCol::Number)).isEmpty()) {
            CmdEdit->setEnabled(false);
            CmdDelete->setEnabled(false);
            cmdPreview->setEnabled(false);
        } else if (grid.TextMatrix(row, col(ListCol::Cancelled)) == Yes) {
            // On activation a cancelled row gets the delete button; moving off and back takes it away.
            CmdDelete->setEnabled(true);
        } else {
            mfgMaster_RowColChange();
        }
    });
}

void FrmMaster::Form_KeyPress(qint16 &keyAscii)
{
    bas::Trap(this, "Form_KeyPress", [&] {
        if (keyAscii == platform::key::CtrlD)
            mfgMaster->setFocus(Qt::ShortcutFocusReason);
        else if (keyAscii == platform::key::CtrlEnter)
            cmdnew_Click();
    });
}

// ---- Search and sort --------------------------------------------------------------------------------------

void FrmMaster::cboColNames_Click()
{
    platform::setScreenMousePointer(platform::vbHourglass);
    bas::Trap(this, "cboColNames_Click", [&] {
        const int item = cboColNames->currentIndex();
        if (item < 0)
            return;
        FlexGrid &grid = *mfgMaster;
        // Ids grow with entry order: sorting on the hidden id gives date order without reading the dates
        // ("Agreement Date" is such a caption, whatever its case).
        const int column = cboColNames->itemText(item).contains(QLatin1String("date"), Qt::CaseInsensitive)
                               ? col(ListCol::AgreementId)
                               : cboColNames->itemData(item).toInt();
        grid.setCol(column);
        grid.setColSel(column);

        const bool numeric = platform::isNumericText(grid.TextMatrix(grid.Row(), column));
        if (optAscend->isChecked())
            grid.setSort(numeric ? FlexGrid::SortGenericAscending : FlexGrid::SortStringNoCaseAscending);
        if (optDescend->isChecked())
            grid.setSort(numeric ? FlexGrid::SortGenericDescending : FlexGrid::SortStringNoCaseDescending);
    });
    platform::setScreenMousePointer(platform::vbDefault);
}

void FrmMaster::optAscend_Click()
{
    bas::Trap(this, "optAscend_Click", [&] {
        // Choosing the same column again sorts it again, now in this direction.
        cboColNames->setCurrentIndex(cboColNames->currentIndex());
        cboColNames_Click();
    });
}

void FrmMaster::optDescend_Click()
{
    bas::Trap(this, "optDescend_Click", [&] {
        // Choosing the same column again sorts it again, now in this direction.
        cboColNames->setCurrentIndex(cboColNames->currentIndex());
        cboColNames_Click();
    });
}

void FrmMaster::cboColNames_KeyPress(qint16 &keyAscii)
{
    bas::Trap(this, "cboColNames_KeyPress", [&] { bas::EnterKeyFilter(keyAscii); });
}

void FrmMaster::cboSearch_KeyPress(qint16 &keyAscii)
{
    bas::Trap(this, "cboSearch_KeyPress", [&] { bas::EnterKeyFilter(keyAscii); });
}

void FrmMaster::optAscend_KeyPress(qint16 &keyAscii)
{
    bas::Trap(this, "optAscend_KeyPress", [&] { bas::EnterKeyFilter(keyAscii); });
}

void FrmMaster::optDescend_KeyPress(qint16 &keyAscii)
{
    bas::Trap(this, "optDescend_KeyPress", [&] { bas::EnterKeyFilter(keyAscii); });
}

void FrmMaster::txtsearch_KeyPress(qint16 &keyAscii)
{
    bas::Trap(this, "txtsearch_KeyPress", [&] { bas::EnterKeyFilter(keyAscii); });
}

void FrmMaster::txtsearch_KeyUp(qint16 &keyCode, int shift)
{
    Q_UNUSED(keyCode);
    Q_UNUSED(shift);
    bas::Trap(this, "txtsearch_KeyUp", [&] {
        if (cboSearch->currentIndex() < 0)
            return;
        searchtheword(Trim(txtsearch->text()));
        SetRowButtons();
    });
}

void FrmMaster::prepareSearchSort()
{
    // Every key of the search sorts its column first. The grid works that sort out while the clerk is still
    // choosing and typing, so that the first key answers as quickly as the next ones.
    const int item = cboSearch->currentIndex();
    const int column = item < 0 ? 0 : cboSearch->itemData(item).toInt();
    mfgMaster->prepareSort(item < 0 ? FlexGrid::SortNone : FlexGrid::SortStringAscending, column, column);
}

void FrmMaster::searchtheword(const QString &word)
{
    bas::Trap(this, "searchtheword", [&] {
        const int item = cboSearch->currentIndex();
        if (item < 0)
            return;
        FlexGrid &grid = *mfgMaster;
        const int column = cboSearch->itemData(item).toInt();
        grid.setCol(column);
        grid.setColSel(column);
        // Always a case-sensitive text sort, numbers included; the probes below compare by value or
        // without regard to case all the same.
        grid.setSort(FlexGrid::SortStringAscending);

        const bool numeric = platform::isNumericText(grid.TextMatrix(grid.Row(), column));
        const qsizetype length = word.size();
        const double wantedNumber = numeric ? platform::Val(word) : 0;
        const QString wantedText = numeric ? QString() : word.toUpper();

        // <0 when the probe row sorts before the word, >0 after, 0 on a match.
        auto compare = [&](int row) -> int {
            const QString probe = Trim(grid.TextMatrix(row, column)).left(length);
            if (numeric) {
                const double value = platform::Val(probe);
                return value < wantedNumber ? -1 : value > wantedNumber ? 1 : 0;
            }
            return probe.toUpper().compare(wantedText);
        };

        int low = 1;
        int high = grid.Rows() - 1;
        while (low <= high) {
            const int middle = (low + high) / 2;
            const int order = compare(middle);
            if (order < 0) {
                low = middle + 1;
            } else if (order > 0) {
                high = middle - 1;
            } else {
                grid.setRow(middle);
                grid.setCol(col(ListCol::AgreementId));
                grid.setColSel(grid.Cols() - 1);
                grid.setTopRow(grid.Row());
                return;
            }
        }
    });
}

void FrmMaster::mfgMaster_DblClick()
{
    bas::Trap(this, "mfgMaster_DblClick", [&] {
        if (CmdEdit->isEnabled())
            CmdEdit_Click();
    });
}

void FrmMaster::mfgMaster_KeyPress(qint16 &keyAscii)
{
    bas::Trap(this, "mfgMaster_KeyPress", [&] {
        if (keyAscii == platform::key::Enter && CmdEdit->isEnabled())
            CmdEdit_Click();
    });
}

void FrmMaster::mfgMaster_KeyDown(qint16 &keyCode, int shift)
{
    Q_UNUSED(shift);
    bas::Trap(this, "mfgMaster_KeyDown", [&] {
        const FlexGrid &grid = *mfgMaster;
        if (keyCode == platform::key::Up || keyCode == platform::key::Down) {
            const int row = grid.Row();
            if (grid.TextMatrix(row, col(ListCol::Number)).isEmpty() ||
                grid.CellBackColor() == platform::vbRed)
                CmdDelete->setEnabled(false);
            else
                mfgMaster_RowColChange();
        } else if (keyCode == platform::key::Delete) {
            if (grid.CellBackColor() != platform::vbRed)
                CmdDelete_Click();
        }
    });
}

void FrmMaster::mfgMaster_RowColChange()
{
    bas::Trap(this, "mfgMaster_RowColChange", [&] {
        const int row = mfgMaster->Row();
        if (row != m_rememberedRow) {
            SetRowButtons();
            m_rememberedRow = row;
        }
    });
}

void FrmMaster::mfgMaster_MouseMove(int button, int shift, double x, double y)
{
    Q_UNUSED(button);
    Q_UNUSED(shift);
    Q_UNUSED(x);
    Q_UNUSED(y);
    bas::Trap(this, "mfgMaster_MouseMove", [&] {
        FlexGrid &grid = *mfgMaster;
        grid.setToolTipText(grid.TextMatrix(grid.MouseRow(), grid.MouseCol()));
    });
}

// ---- Cancelling, preview, closing -------------------------------------------------------------------------

void FrmMaster::CmdDelete_Click()
{
    // The click can arrive by keyboard while the button is off.
    if (!CmdDelete->isEnabled())
        return;
    bas::Trap(this, "CmdDelete_Click", [&] {
        FlexGrid &grid = *mfgMaster;
        platform::setMousePointer(this, platform::vbHourglass);
        platform::setMousePointer(mfgMaster, platform::vbHourglass);

        const int row = grid.Row();
        const QString number = grid.TextMatrix(row, col(ListCol::Number));
        const int answer = platform::MsgBox(
            QStringLiteral("Are you sure you want to Delete the entry of - ") + number + QStringLiteral(" ?"),
            platform::vb::YesNo + platform::vb::Critical + platform::vb::DefaultButton2,
            context().msgBoxCaption);
        if (answer != platform::vb::Yes) {
            platform::setMousePointer(mfgMaster, platform::vbDefault);
            platform::setMousePointer(this, platform::vbDefault);
            return;
        }

        const QString id = grid.TextMatrix(row, col(ListCol::AgreementId));
        context().connection()->Execute(
            QStringLiteral("update agreementregister set agrcancelled=1 where agrdepartmentid=") +
            QString::number(context().departmentId) + QStringLiteral(" and agragreementid=") + id);

        QString action = QStringLiteral("D");
        auditService()->SaveActivityLogInfo(CDbl(id), number, true, action);

        if (grid.TextMatrix(row, col(ListCol::AgreementId)).isEmpty()) {
            CmdEdit->setEnabled(false);
            CmdDelete->setEnabled(false);
        } else {
            CmdEdit->setEnabled(bas::RightsTest("E"));
            CmdDelete->setEnabled(bas::RightsTest("D"));
        }

        const int remembered = grid.Row();
        bas::entryMode() = QStringLiteral("E"); // the row is refreshed in place, not added
        QString criterion = QStringLiteral(" agragreementid=") + id;
        qint32 serialNo = CLng(id);
        bas::ListRefresh(criterion, serialNo);

        grid.setRow(remembered);
        for (int c = col(ListCol::Number); c < grid.Cols(); ++c)
            grid.setCellBackColorAt(remembered, c, platform::vbRed);
        grid.setCol(col(ListCol::AgreementId));
        grid.setColSel(grid.Cols() - 1);
        mfgMaster_SelChange();
        platform::setMousePointer(this, platform::vbDefault);
        platform::setMousePointer(mfgMaster, platform::vbDefault);
    });
}

void FrmMaster::cmdPreview_Click()
{
    bas::Trap(this, "cmdPreview_Click", [&] {
        // One engine per click; the log-on values are the module's own constants, which a site's data
        // source configuration overrides in the engine.
        m_reportEngine.reset();
        m_reportEngine.reset(
            platform::ComponentRegistry::instance().create(QLatin1String(progid::ReportEngine)));
        IReportEngine *engine = platform::required(qobject_cast<IReportEngine *>(m_reportEngine.get()),
                                                   QLatin1String(progid::ReportEngine));
        engine->LogOnServer(QStringLiteral("pdsodbc.dll"), QStringLiteral("admindsnv2"),
                            QStringLiteral("adminv2"), QStringLiteral("admin"),
                            QStringLiteral("kormantle517"));
        IReport *report =
            engine->OpenReport(appPath() + QStringLiteral("\\reports\\rptAgreementRegister.rpt"));
        report->setTextSlot(1, QStringLiteral("Agreement Register"));
        report->setTextSlot(2, QStringLiteral(" "));
        dbService->setStrTableName(QStringLiteral("aUsers"));
        report->setTextSlot(
            3, dbService
                   ->fnReturnField(QStringLiteral("UserName"),
                                   QStringLiteral(" userid=") + QString::number(context().userId))
                   .toString());
        const QString id = mfgMaster->TextMatrix(mfgMaster->Row(), col(ListCol::AgreementId));
        if (!id.isEmpty())
            report->setRecordSelectionFormula(QStringLiteral("{AgreementRegister.agragreementid}=") + id);
        for (int option : {7, 8, 10, 12, 14})
            report->setPrintWindowOption(option, true);
        report->Preview(QStringLiteral("Agreement Register Report"), 0, 0, 0, 0, 0x010B0000);
    });
}

void FrmMaster::Cmdclose_Click()
{
    bas::Trap(this, "Cmdclose_Click", [&] { Unload(); });
}

void FrmMaster::Unload()
{
    if (m_unloading)
        return;
    m_unloading = true;
    Instance::release(this);
    close(); // ends a modal Show
    deleteLater();
    discardFrmAgreementreg();
}

void FrmMaster::reject()
{
    QDialog::reject();
    Unload();
}

// ---- Window events ----------------------------------------------------------------------------------------

void FrmMaster::showEvent(QShowEvent *event)
{
    QDialog::showEvent(event);
    if (event->spontaneous())
        return;
    if (!m_loaded)
        Form_Load();
    if (!m_activated)
        Form_Activate();
}

bool FrmMaster::event(QEvent *event)
{
    switch (event->type()) {
    case QEvent::WindowActivate:
        if (!m_activated && isVisible())
            Form_Activate();
        break;
    case QEvent::WindowDeactivate:
        // Another of the module's forms took over (the entry form); coming back activates this one again.
        if (QApplication::activeWindow() && QApplication::activeWindow() != this)
            m_activated = false;
        break;
    default:
        break;
    }
    return QDialog::event(event);
}

void FrmMaster::keyPressEvent(QKeyEvent *event)
{
    // Enter has done its work in the controls' handlers, and Escape does not throw the list away.
    switch (event->key()) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
    case Qt::Key_Escape:
        event->accept();
        return;
    default:
        QDialog::keyPressEvent(event);
    }
}

bool FrmMaster::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::KeyPress) {
        auto *keyEvent = static_cast<QKeyEvent *>(event);
        qint16 keyAscii = platform::keyAscii(keyEvent);
        if (keyAscii == 0)
            return QDialog::eventFilter(watched, event);
        const qint16 pressed = keyAscii;
        Form_KeyPress(keyAscii);
        // The form's own keys stop here: the focus or the form has moved on.
        if (keyAscii == 0 || pressed == platform::key::CtrlD || pressed == platform::key::CtrlEnter)
            return true;
        if (watched == cboColNames)
            cboColNames_KeyPress(keyAscii);
        else if (watched == cboSearch)
            cboSearch_KeyPress(keyAscii);
        else if (watched == optAscend)
            optAscend_KeyPress(keyAscii);
        else if (watched == optDescend)
            optDescend_KeyPress(keyAscii);
        else if (watched == txtsearch)
            txtsearch_KeyPress(keyAscii);
        if (keyAscii == 0)
            return true;
    } else if (event->type() == QEvent::KeyRelease && watched == txtsearch) {
        auto *keyEvent = static_cast<QKeyEvent *>(event);
        if (!keyEvent->isAutoRepeat()) {
            qint16 keyCode = platform::keyCode(keyEvent);
            txtsearch_KeyUp(keyCode, platform::shiftState(keyEvent->modifiers()));
        }
    }
    return QDialog::eventFilter(watched, event);
}

} // namespace agr
