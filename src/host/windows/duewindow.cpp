#include "host/windows/duewindow.h"

#include "host/hostsupport.h"

#include "platform/database/connection.h"
#include "platform/grid/flexgrid.h"
#include "platform/runtime/errors.h"
#include "platform/ui/seams.h"
#include "platform/ui/units.h"

#include <QCheckBox>
#include <QDir>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QSettings>
#include <QStandardPaths>
#include <QUrl>
#include <QVBoxLayout>
#include <algorithm>

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

QString settingsKey(const QString &databaseUrl, qint32 user, qint16 department)
{
    // A SQLite file is known by its full path, however it was named; a server by its URL without password.
    const QString file = platform::sqliteFileOf(databaseUrl);
    const QString database =
        file.isEmpty() ? platform::printableUrl(databaseUrl) : QFileInfo(file).absoluteFilePath();
    return QString::fromLatin1(QUrl::toPercentEncoding(database)) +
           QStringLiteral("/user%1_department%2").arg(user).arg(department);
}

} // namespace

DueForRenewalWindow::DueForRenewalWindow(const QList<RenewalRow> &rows, const QDate &processDate,
                                         QWidget *parent)
    : QDialog(parent)
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
    mfgDue->setCols(7);
    mfgDue->setFixedCols(0);
    mfgDue->setRows(int(rows.size()) + 1);
    mfgDue->setFormatString(
        QStringLiteral("<Status|<Agreement No|<Description|<Agreement With|<Valid To|>Days|<Alert Remarks"));
    for (int i = 0; i < rows.size(); ++i) {
        const RenewalRow &r = rows.at(i);
        const int row = i + 1;
        mfgDue->setTextMatrix(row, col(DueCol::Status),
                              r.expired() ? QStringLiteral("Expired") : QStringLiteral("Due"));
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

    chkNotToday = new QCheckBox(QStringLiteral("Do not show again today"), this);
    chkNotToday->setObjectName(QStringLiteral("chkNotToday"));
    cmdClose = new QPushButton(QStringLiteral("Close"), this);
    cmdClose->setObjectName(QStringLiteral("cmdClose"));
    cmdClose->setDefault(true);
    connect(cmdClose, &QPushButton::clicked, this, &QDialog::accept);

    auto *buttons = new QHBoxLayout;
    buttons->addWidget(chkNotToday);
    buttons->addStretch(1);
    buttons->addWidget(cmdClose);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(lblDue);
    layout->addWidget(mfgDue, 1);
    layout->addLayout(buttons);
    setTabOrder(mfgDue, chkNotToday);
    setTabOrder(chkNotToday, cmdClose);
    mfgDue->setFocus();

    // Room for every column and up to twelve rows; more rows scroll.
    const int rowPixels = mfgDue->verticalHeader()->defaultSectionSize();
    const int visibleRows = std::min(int(rows.size()), 12) + 1;
    resize(std::clamp(platform::twipsToPixels(twips, this) + 60, 560, 1200), rowPixels * visibleRows + 120);
}

DueForRenewalSeen::DueForRenewalSeen(QString file) : m_file(std::move(file)) {}

QString DueForRenewalSeen::defaultFile()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
           QStringLiteral("/agreement-register/renewal-alerts.ini");
}

bool DueForRenewalSeen::hiddenOn(const QString &databaseUrl, qint32 user, qint16 department,
                                 const QDate &day) const
{
    const QSettings settings(m_file, QSettings::IniFormat);
    return settings.value(settingsKey(databaseUrl, user, department)).toString() == day.toString(Qt::ISODate);
}

void DueForRenewalSeen::hide(const QString &databaseUrl, qint32 user, qint16 department, const QDate &day)
{
    QSettings settings(m_file, QSettings::IniFormat);
    settings.setValue(settingsKey(databaseUrl, user, department), day.toString(Qt::ISODate));
    settings.sync();
    if (settings.status() != QSettings::NoError)
        printErr(QStringLiteral("cannot keep \"Do not show again today\" in ") + m_file);
}

int showDueForRenewal(platform::Connection &con, qint32 user, qint16 department, const QDate &processDate,
                      const QString &screenshot, const QString &seenFile)
{
    DueForRenewalSeen seen(seenFile);
    if (screenshot.isEmpty() && seen.hiddenOn(con.url(), user, department, processDate))
        return 0;
    QList<RenewalRow> rows;
    try {
        rows = dueForRenewal(con, department, processDate);
    } catch (const platform::RuntimeError &e) {
        printErr(QStringLiteral("cannot read the agreements due for renewal: ") + oneLine(e.description()));
        return 0;
    }
    if (rows.isEmpty())
        return 0;

    DueForRenewalWindow window(rows, processDate);
    if (!screenshot.isEmpty()) {
        // Rendered, never waited for: a run without a user must not stop here.
        saveScreenshot(&window, screenshot);
        printOut(QStringLiteral("Screenshot of the agreements due for renewal written to ") +
                 QFileInfo(screenshot).absoluteFilePath());
        return int(rows.size());
    }
    platform::showModal(&window);
    if (window.chkNotToday->isChecked())
        seen.hide(con.url(), user, department, processDate);
    return int(rows.size());
}

QString dueForRenewalScreenshot(const QString &listScreenshot)
{
    const QFileInfo info(listScreenshot);
    const QString suffix = info.suffix().isEmpty() ? QStringLiteral("png") : info.suffix();
    return info.dir().filePath(info.completeBaseName() + QStringLiteral("-due-for-renewal.") + suffix);
}

} // namespace host
