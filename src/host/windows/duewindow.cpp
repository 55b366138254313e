#include "host/windows/duewindow.h"

#include "host/hostsupport.h"

#include "data/access.h"

#include "platform/database/connection.h"
#include "platform/grid/flexgrid.h"
#include "platform/runtime/errors.h"
#include "platform/ui/seams.h"
#include "platform/ui/units.h"

#include <QCheckBox>
#include <QDateEdit>
#include <QDir>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>
#include <algorithm>
#include <optional>

namespace host {

namespace {

int col(DueCol column)
{
    return static_cast<int>(column);
}

// The widest text of a column, in twips, within bounds that keep the window on a screen.
int columnTwips(const platform::FlexGrid *grid, int column, int most)
{
    qsizetype characters = 0;
    for (int row = 0; row < grid->Rows(); ++row)
        characters = std::max(characters, grid->TextMatrix(row, column).size());
    return std::clamp(int(characters) * 110 + 240, 900, most);
}

} // namespace

DueForRenewalWindow::DueForRenewalWindow(const QList<RenewalRow> &rows, const QDate &processDate,
                                         RenewalAlerts *alerts, QWidget *parent)
    : QDialog(parent), m_rows(rows), m_alerts(alerts)
{
    setObjectName(QStringLiteral("frmDueForRenewal"));
    setWindowTitle(QStringLiteral("Due for renewal"));

    const auto expired =
        std::count_if(rows.cbegin(), rows.cend(), [](const RenewalRow &r) { return r.expired(); });
    lblDue = new QLabel(this);
    lblDue->setObjectName(QStringLiteral("lblDue"));
    lblDue->setText(QStringLiteral("On %1, %2 of the department's agreements %3 due for renewal and %4 %5 "
                                   "expired.")
                        .arg(processDate.toString(QStringLiteral("dd/MM/yyyy")))
                        .arg(rows.size() - expired)
                        .arg(rows.size() - expired == 1 ? QStringLiteral("is") : QStringLiteral("are"))
                        .arg(expired)
                        .arg(expired == 1 ? QStringLiteral("has") : QStringLiteral("have")));

    mfgDue = new platform::FlexGrid(this);
    mfgDue->setObjectName(QStringLiteral("mfgDue"));
    mfgDue->setCols(8);
    mfgDue->setFixedCols(0);
    mfgDue->setRows(int(rows.size()) + 1);
    mfgDue->setFormatString(QStringLiteral(
        "<Status|<State|<Agreement No|<Description|<Agreement With|<Valid To|>Days|<Alert Remarks"));
    for (int i = 0; i < rows.size(); ++i) {
        const RenewalRow &r = rows.at(i);
        const int row = i + 1;
        mfgDue->setTextMatrix(row, col(DueCol::Status),
                              r.expired() ? QStringLiteral("Expired") : QStringLiteral("Due"));
        showState(row);
        mfgDue->setTextMatrix(row, col(DueCol::Number), r.number);
        mfgDue->setTextMatrix(row, col(DueCol::Description), r.description);
        mfgDue->setTextMatrix(row, col(DueCol::With), r.with);
        mfgDue->setTextMatrix(row, col(DueCol::ValidTo), r.validTo.toString(QStringLiteral("dd/MM/yyyy")));
        mfgDue->setTextMatrix(row, col(DueCol::Days), daysText(r.daysLeft));
        mfgDue->setTextMatrix(row, col(DueCol::Remarks), r.alertRemarks);
        if (r.expired())
            for (int c = 0; c < mfgDue->Cols(); ++c)
                mfgDue->setCellBackColorAt(row, c, ExpiredBackColor);
    }
    int twips = 0;
    for (int c = 0; c < mfgDue->Cols(); ++c) {
        const bool wide = c == col(DueCol::Description) || c == col(DueCol::Remarks);
        mfgDue->setColWidth(c, columnTwips(mfgDue, c, wide ? 4800 : 2600));
        twips += mfgDue->ColWidth(c);
    }
    mfgDue->setSelMode(1);
    // A selected expired row stays red, darker, so that the mark is never hidden by the highlight.
    const quint32 highlight = mfgDue->BackColorSel();
    connect(mfgDue, &platform::FlexGrid::SelChange, this, [this, highlight] {
        const bool expired = mfgDue->cellBackColorAt(mfgDue->Row(), 0) == ExpiredBackColor;
        mfgDue->setBackColorSel(expired ? ExpiredSelectedColor : highlight);
    });
    mfgDue->setRow(1);
    mfgDue->setCol(0);
    mfgDue->setColSel(mfgDue->Cols() - 1);
    // Enter on a row closes the window: there is nothing to open from here that the list does not offer.
    connect(mfgDue, &platform::FlexGrid::KeyPress, this, [this](qint16 &keyAscii) {
        if (keyAscii == platform::key::Enter)
            accept();
    });

    // What the clerk does with the selected alerts; Alt and the underlined letter from anywhere.
    const auto button = [this](const QString &text, const char *name) {
        auto *b = new QPushButton(text, this);
        b->setObjectName(QLatin1String(name));
        b->setAutoDefault(false);
        b->setEnabled(m_alerts != nullptr);
        return b;
    };
    cmdAcknowledge = button(QStringLiteral("&Acknowledge"), "cmdAcknowledge");
    cmdSnoozeDay = button(QStringLiteral("Snooze a &day"), "cmdSnoozeDay");
    cmdSnoozeWeek = button(QStringLiteral("Snooze a &week"), "cmdSnoozeWeek");
    cmdSnoozeUntil = button(QStringLiteral("Snooze &until"), "cmdSnoozeUntil");
    dtpSnoozeUntil = new QDateEdit(processDate.addDays(14), this);
    dtpSnoozeUntil->setObjectName(QStringLiteral("dtpSnoozeUntil"));
    dtpSnoozeUntil->setDisplayFormat(QStringLiteral("dd/MM/yyyy"));
    dtpSnoozeUntil->setMinimumDate(processDate.addDays(1));
    dtpSnoozeUntil->setCalendarPopup(true);
    dtpSnoozeUntil->setEnabled(m_alerts != nullptr);
    cmdDone = button(QStringLiteral("Mark d&one"), "cmdDone");
    connect(cmdAcknowledge, &QPushButton::clicked, this, [this] { act(AlertState::Acknowledged); });
    connect(cmdSnoozeDay, &QPushButton::clicked, this,
            [this, processDate] { act(AlertState::Snoozed, processDate.addDays(1)); });
    connect(cmdSnoozeWeek, &QPushButton::clicked, this,
            [this, processDate] { act(AlertState::Snoozed, processDate.addDays(7)); });
    connect(cmdSnoozeUntil, &QPushButton::clicked, this,
            [this] { act(AlertState::Snoozed, dtpSnoozeUntil->date()); });
    connect(cmdDone, &QPushButton::clicked, this, [this] { act(AlertState::Done); });

    chkNotToday = new QCheckBox(QStringLiteral("Do not show again today"), this);
    chkNotToday->setObjectName(QStringLiteral("chkNotToday"));
    cmdClose = new QPushButton(QStringLiteral("Close"), this);
    cmdClose->setObjectName(QStringLiteral("cmdClose"));
    cmdClose->setDefault(true);
    connect(cmdClose, &QPushButton::clicked, this, &QDialog::accept);

    auto *actions = new QHBoxLayout;
    actions->addWidget(cmdAcknowledge);
    actions->addWidget(cmdSnoozeDay);
    actions->addWidget(cmdSnoozeWeek);
    actions->addWidget(cmdSnoozeUntil);
    actions->addWidget(dtpSnoozeUntil);
    actions->addWidget(cmdDone);
    actions->addStretch(1);
    auto *buttons = new QHBoxLayout;
    buttons->addWidget(chkNotToday);
    buttons->addStretch(1);
    buttons->addWidget(cmdClose);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(lblDue);
    layout->addWidget(mfgDue, 1);
    layout->addLayout(actions);
    layout->addLayout(buttons);
    // Tab from the grid reaches the box first, as before the actions were there; the actions have their keys.
    setTabOrder(mfgDue, chkNotToday);
    setTabOrder(chkNotToday, cmdClose);
    setTabOrder(cmdClose, cmdAcknowledge);
    setTabOrder(cmdAcknowledge, cmdSnoozeDay);
    setTabOrder(cmdSnoozeDay, cmdSnoozeWeek);
    setTabOrder(cmdSnoozeWeek, cmdSnoozeUntil);
    setTabOrder(cmdSnoozeUntil, dtpSnoozeUntil);
    setTabOrder(dtpSnoozeUntil, cmdDone);
    mfgDue->setFocus();

    // Room for every column and up to twelve rows; more rows scroll.
    const int rowPixels = mfgDue->verticalHeader()->defaultSectionSize();
    const int visibleRows = std::min(int(rows.size()), 12) + 1;
    resize(std::clamp(platform::twipsToPixels(twips, this) + 60, 640, 1320), rowPixels * visibleRows + 160);
}

void DueForRenewalWindow::showState(int row)
{
    mfgDue->setTextMatrix(row, col(DueCol::State), stateText(m_rows.at(row - 1)));
}

void DueForRenewalWindow::act(AlertState state, const QDate &until)
{
    if (!m_alerts || m_rows.isEmpty())
        return;
    const int first = std::max(1, std::min(mfgDue->Row(), mfgDue->RowSel()));
    const int last = std::min(int(m_rows.size()), std::max(mfgDue->Row(), mfgDue->RowSel()));
    QList<qint32> ids;
    for (int row = first; row <= last; ++row)
        ids << m_rows.at(row - 1).alertId;
    const bool kept = platform::Trap(
        [&] {
            if (state == AlertState::Acknowledged)
                m_alerts->acknowledge(ids);
            else if (state == AlertState::Snoozed)
                m_alerts->snooze(ids, until);
            else
                m_alerts->markDone(ids);
        },
        [this](const platform::RuntimeError &e) {
            platform::MsgBox(QStringLiteral("The alerts were not changed: ") + oneLine(e.description()),
                             platform::vb::Critical, windowTitle());
        });
    if (!kept)
        return;
    for (int row = first; row <= last; ++row) {
        RenewalRow &r = m_rows[row - 1];
        r.state = state;
        r.stateBy = m_alerts->login();
        r.snoozedUntil = until;
        showState(row);
    }
    mfgDue->setFocus();
}

int showDueForRenewal(platform::Connection &con, qint16 department, const QDate &processDate,
                      const QString &screenshot)
{
    QList<RenewalRow> rows;
    std::optional<RenewalAlerts> alerts;
    try {
        alerts.emplace(con, department, processDate, agr::schema::currentLogin(con));
        if (screenshot.isEmpty() && alerts->windowPutAside())
            return 0;
        rows = alerts->evaluate();
    } catch (const platform::RuntimeError &e) {
        printErr(QStringLiteral("cannot read the agreements due for renewal: ") + oneLine(e.description()));
        return 0;
    }
    if (rows.isEmpty())
        return 0;

    DueForRenewalWindow window(rows, processDate, &*alerts);
    if (!screenshot.isEmpty()) {
        // Rendered, never waited for: a run without a user must not stop here.
        saveScreenshot(&window, screenshot);
        printOut(QStringLiteral("Screenshot of the agreements due for renewal written to ") +
                 QFileInfo(screenshot).absoluteFilePath());
        return int(rows.size());
    }
    platform::showModal(&window);
    if (window.chkNotToday->isChecked()) {
        try {
            alerts->putWindowAside(processDate.addDays(1));
        } catch (const platform::RuntimeError &e) {
            printErr(QStringLiteral("cannot keep \"Do not show again today\": ") + oneLine(e.description()));
        }
    }
    return int(rows.size());
}

QString dueForRenewalScreenshot(const QString &listScreenshot)
{
    const QFileInfo info(listScreenshot);
    const QString suffix = info.suffix().isEmpty() ? QStringLiteral("png") : info.suffix();
    return info.dir().filePath(info.completeBaseName() + QStringLiteral("-due-for-renewal.") + suffix);
}

} // namespace host
