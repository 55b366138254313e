#pragma once
// "Due for renewal": the window the host shows before the agreement list when any of the department's
// alerts wants attention. The clerk acknowledges, snoozes or marks done the selected alerts (kept in the
// database, src/host/renewals/alertstate.h); Enter or Escape closes it, and the list then opens as it
// always does. "Do not show again today" puts the login's own alerts aside until the next processing date,
// in the database too, so that it holds on every workstation.

#include "host/renewals/alertstate.h"
#include "host/renewals/renewals.h"

#include <QDialog>

class QCheckBox;
class QDateEdit;
class QLabel;
class QPushButton;

namespace platform {
class Connection;
class FlexGrid;
} // namespace platform

namespace host {

enum class DueCol
{
    Status,
    State,
    Number,
    Description,
    With,
    ValidTo,
    Days,
    Remarks
};

class DueForRenewalWindow : public QDialog
{
    Q_OBJECT

public:
    // alerts: where the clerk's actions are kept; without it (a picture) the action buttons are disabled.
    DueForRenewalWindow(const QList<RenewalRow> &rows, const QDate &processDate, RenewalAlerts *alerts,
                        QWidget *parent = nullptr);

    const QList<RenewalRow> &rows() const { return m_rows; } // with the states the clerk gave them

    QLabel *lblDue;
    platform::FlexGrid *mfgDue; // row 0 the captions, then one row per agreement in the order given
    QPushButton *cmdAcknowledge;
    QPushButton *cmdSnoozeDay;
    QPushButton *cmdSnoozeWeek;
    QPushButton *cmdSnoozeUntil;
    QDateEdit *dtpSnoozeUntil;
    QPushButton *cmdDone;
    QCheckBox *chkNotToday;
    QPushButton *cmdClose;

private:
    // The selected rows' alerts get the state; a database error is told in a message box and changes
    // nothing shown.
    void act(AlertState state, const QDate &until = QDate());
    void showState(int row);

    QList<RenewalRow> m_rows;
    RenewalAlerts *m_alerts;
};

// The background of an expired agreement's row, and of that row while it is selected (0x00BBGGRR).
constexpr quint32 ExpiredBackColor = 0x00C8C8FF;
constexpr quint32 ExpiredSelectedColor = 0x003030B0;

// The opening step: unless the login put the window aside for this processing date, evaluates the alerts
// (src/host/renewals/alertstate.h) and, when any wants attention, shows the window modally through
// platform::showModal and keeps the check box's choice. With a screenshot file the window is rendered into
// it and closed instead of waiting. A database error is told on stderr and the list still opens. Returns
// the number of rows shown.
int showDueForRenewal(platform::Connection &con, qint16 department, const QDate &processDate,
                      const QString &screenshot = QString());

// The picture of the window beside the list's: "list.png" gives "list-due-for-renewal.png".
QString dueForRenewalScreenshot(const QString &listScreenshot);

} // namespace host
