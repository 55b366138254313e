#pragma once
// "Due for renewal": the window the host shows before the agreement list when any of the department's
// agreements is due for renewal or has expired. It only informs: Enter or Escape closes it, and the list
// then opens as it always does. "Do not show again today" is kept per database, user and department.

#include "host/renewals/renewals.h"

#include <QDialog>

class QCheckBox;
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
    DueForRenewalWindow(const QList<RenewalRow> &rows, const QDate &processDate, QWidget *parent = nullptr);

    QLabel *lblDue;
    platform::FlexGrid *mfgDue; // row 0 the captions, then one row per agreement in the order given
    QCheckBox *chkNotToday;
    QPushButton *cmdClose;
};

// The background of an expired agreement's row, and of that row while it is selected (0x00BBGGRR).
constexpr quint32 ExpiredBackColor = 0x00C8C8FF;
constexpr quint32 ExpiredSelectedColor = 0x003030B0;

// Where "Do not show again today" is kept: an INI file in the user's configuration folder, one entry per
// database and user and department, holding the processing date on which the window was put aside. The
// database itself is not written: the host opens the register with the clerk's rights, which need not
// include creating tables, and a workstation's choice of what to see on opening is not the register's data.
class DueForRenewalSeen
{
public:
    explicit DueForRenewalSeen(QString file = defaultFile());
    static QString defaultFile(); // <config>/agreement-register/renewal-alerts.ini

    bool hiddenOn(const QString &databaseUrl, qint32 user, qint16 department, const QDate &day) const;
    void hide(const QString &databaseUrl, qint32 user, qint16 department, const QDate &day);

private:
    QString m_file;
};

// The opening step: unless the user put the window aside for this processing date, reads what is due and,
// when anything is, shows the window modally through platform::showModal and keeps the check box's
// choice. With a screenshot file the window is rendered into it and closed instead of waiting. A database
// error is told on stderr and the list still opens. Returns the number of rows shown.
int showDueForRenewal(platform::Connection &con, qint32 user, qint16 department, const QDate &processDate,
                      const QString &screenshot = QString(),
                      const QString &seenFile = DueForRenewalSeen::defaultFile());

// The picture of the window beside the list's: "list.png" gives "list-due-for-renewal.png".
QString dueForRenewalScreenshot(const QString &listScreenshot);

} // namespace host
