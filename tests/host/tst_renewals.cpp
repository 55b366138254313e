// What is due for renewal, the window that shows it before the list, and the register written to a
// spreadsheet and read back by a reader of its own, on both backends.

#include "host/exports/registerexport.h"
#include "host/hostsupport.h"
#include "host/renewals/renewals.h"
#include "host/windows/duewindow.h"
#include "support/testdb.h"

#include "data/access.h"
#include "data/schema.h"
#include "platform/database/connection.h"
#include "platform/grid/flexgrid.h"
#include "platform/ui/seams.h"

#include <QApplication>
#include <QCheckBox>
#include <QDateEdit>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QProcess>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>

namespace {

const QDate &Today = agrtest::DemoToday;
namespace demo = agr::schema::demo;

QString literal(const QDate &date, bool dayFirst)
{
    return QLatin1Char('\'') +
           date.toString(dayFirst ? QStringLiteral("dd/MM/yyyy") : QStringLiteral("yyyyMMdd")) +
           QLatin1Char('\'');
}

void addAgreement(platform::Connection &con, int department, int id, const QString &validTo,
                  const QString &alertDays, int cancelled = 0)
{
    con.Execute(
        QStringLiteral("insert into agreementregister (agragreementid, agrDepartmentid, agragreementNo, "
                       "agragreementdesc, agragreementwith, agrValidTodate, alertnoofdays, alertremarks, "
                       "agrcancelled) values (%1, %2, 'AG/%1', 'Agreement %1', 'Party %1', %3, %4, "
                       "'Remark %1', %5)")
            .arg(id)
            .arg(department)
            .arg(validTo, alertDays)
            .arg(cancelled));
}

QList<int> ids(const QList<host::RenewalRow> &rows)
{
    QList<int> result;
    for (const host::RenewalRow &row : rows)
        result << row.agreementId;
    return result;
}

bool activate(QWidget *window)
{
    window->show();
    window->activateWindow();
    QApplication::setActiveWindow(window);
    return QTest::qWaitForWindowActive(window);
}

// Keys as a clerk types them: to whatever has the focus.
void press(Qt::Key key)
{
    QWidget *target = QApplication::focusWidget();
    QVERIFY(target);
    QTest::keyClick(target, key);
}

// Alt and a letter through the window system, as a keyboard sends it: the window's shortcuts see it.
void altKey(QWidget *window, Qt::Key key)
{
    QTest::keyClick(window->windowHandle(), key, Qt::AltModifier);
}

// A reader that is not ours: Python's openpyxl for the workbook, its csv module for the CSV file. Prints
// JSON: each sheet's rows as [kind, value] pairs (kind blank, number, date, text; dates as yyyy-mm-dd).
const char ReadXlsx[] = R"(
import datetime, json, sys, openpyxl
book = openpyxl.load_workbook(sys.argv[1])
def cell(v):
    if v is None: return ["blank", None]
    if isinstance(v, (datetime.datetime, datetime.date)): return ["date", v.strftime("%Y-%m-%d")]
    if isinstance(v, bool): return ["bool", v]
    if isinstance(v, (int, float)): return ["number", v]
    return ["text", v]
print(json.dumps({"sheets": book.sheetnames,
                  "rows": {s.title: [[cell(v) for v in r] for r in s.iter_rows(values_only=True)]
                           for s in book.worksheets}}))
)";
const char ReadCsv[] = R"(
import csv, json, sys
with open(sys.argv[1], newline="", encoding="utf-8") as f:
    print(json.dumps(list(csv.reader(f, strict=True))))
)";

QJsonDocument readWith(const char *script, const QString &file)
{
    QProcess python;
    python.start(QStringLiteral("/usr/bin/python3"), {QStringLiteral("-c"), QString::fromUtf8(script), file});
    if (!python.waitForFinished(120000) || python.exitCode() != 0) {
        qWarning("python3: %s", python.readAllStandardError().constData());
        return {};
    }
    return QJsonDocument::fromJson(python.readAllStandardOutput());
}

// The row of a sheet whose column holds text.
QJsonArray rowWith(const QJsonArray &rows, int column, const QString &text)
{
    for (const QJsonValue &row : rows)
        if (row.toArray().at(column).toArray().at(1).toString() == text)
            return row.toArray();
    return {};
}

QJsonArray cellAt(const QJsonArray &row, int column)
{
    return row.at(column).toArray();
}

const QString Tricky =
    QStringLiteral("Lease, \"Plot 7\"\nsecond line \u2014 M\u00fcller & S\u00f8n \u6771\u4eac");
const QString TrickyRemarks = QStringLiteral("Call first;\r\nthen write, \"urgently\"");

// Agreement 13 of department 1, cancelled, with texts that a spreadsheet must keep as they are.
void addTrickyAgreement(platform::Connection &con)
{
    platform::Command insert(con);
    insert.setCommandText(QStringLiteral(
        "insert into agreementregister (agragreementid, agrDepartmentid, agragreementNo, agragreementdate, "
        "agragreementdesc, agragreementwith, agrValidFromdate, agrValidTodate, agrNoofPages, alertnoofdays, "
        "alertremarks, agrcancelled) values (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"));
    insert.ParametersRefresh();
    insert.Execute({13, demo::DepartmentId, QStringLiteral("AG/13"), Today, Tricky,
                    QStringLiteral("Zo\u00eb's \"Caf\u00e9\", Ltd."), QDate(2026, 12, 1), QDate(2028, 11, 30),
                    12.5, 30.0, TrickyRemarks, 1});
}

} // namespace

class tst_renewals : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void rules_data() { agrtest::addBackends(); }
    void rules();
    void formats();
    void windowByKeyboard_data() { agrtest::addBackends(); }
    void windowByKeyboard();
    void windowActions_data() { agrtest::addBackends(); }
    void windowActions();
    void exportXlsx_data() { agrtest::addBackends(); }
    void exportXlsx();
    void exportCsv_data() { agrtest::addBackends(); }
    void exportCsv();
    void cleanup() { platform::setModalHandler({}); }
};

// Due: valid-to less alert days on or before the processing date, valid-to not yet past. Expired: valid-to
// past, within the back period. Each edge on either side.
void tst_renewals::rules()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url, true, false);
    if (!con)
        return;
    const bool sqlite = con->backend() == platform::Backend::SQLite;
    if (!sqlite) // a suite that keeps alert days as text
        con->Execute(QStringLiteral("alter table agreementregister alter column alertnoofdays type text "
                                    "using cast(alertnoofdays as text)"));
    con->Execute(QStringLiteral("insert into aPackageSettings (BackNoOfDays) values (30)"));
    const auto day = [](int offset, bool dayFirst = false) {
        return literal(Today.addDays(offset), dayFirst);
    };

    addAgreement(*con, 1, 1, day(10), QStringLiteral("10"));       // due: exactly its alert days
    addAgreement(*con, 1, 2, day(11, true), QStringLiteral("10")); // one day too early
    addAgreement(*con, 1, 3, day(0, true), QStringLiteral("0"));   // ends today
    addAgreement(*con, 1, 4, day(1), QStringLiteral("0"));         // ends tomorrow, no alert days
    addAgreement(*con, 1, 5, day(0), QStringLiteral("null"));      // null counts as 0
    addAgreement(*con, 1, 6, day(1, true), QStringLiteral("null"));
    addAgreement(*con, 1, 7, day(5), QStringLiteral("'ten'")); // text that is no number: 0
    addAgreement(*con, 1, 8, day(0), QStringLiteral("'ten'"));
    addAgreement(*con, 1, 9, day(20, true), QStringLiteral("' 20 '")); // text that is a number
    addAgreement(*con, 1, 10, day(-1), QStringLiteral("0"));           // expired yesterday
    addAgreement(*con, 1, 11, day(-30, true), QStringLiteral("5"));    // expired at the back period's start
    addAgreement(*con, 1, 12, day(-31), QStringLiteral("5"));          // before the back period
    addAgreement(*con, 1, 13, QStringLiteral("null"), QStringLiteral("99999")); // no valid-to date
    addAgreement(*con, 1, 14, day(1), QStringLiteral("30"), 1);                 // cancelled
    addAgreement(*con, 1, 15, day(-1), QStringLiteral("0"), 1);                 // cancelled and expired
    addAgreement(*con, 1, 16, day(-3), QStringLiteral("-5")); // expired whatever its alert days
    addAgreement(*con, 1, 17, day(2), QStringLiteral("2.5"));
    addAgreement(*con, 2, 1, day(0), QStringLiteral("0")); // the same id in department 2
    addAgreement(*con, 2, 18, day(-2), QStringLiteral("0"));
    if (sqlite) // the entry form's blank date box, as SQLite keeps it
        addAgreement(*con, 1, 19, QStringLiteral("''"), QStringLiteral("30"));

    const QList<host::RenewalRow> rows = host::dueForRenewal(*con, 1, Today);
    QCOMPARE(ids(rows), (QList<int>{11, 16, 10, 3, 5, 8, 17, 1, 9}));
    QCOMPARE(rows.first().daysLeft, -30);
    QVERIFY(rows.first().expired());
    QCOMPARE(rows.first().validTo, Today.addDays(-30));
    QCOMPARE(rows.first().number, QStringLiteral("AG/11"));
    QCOMPARE(rows.first().with, QStringLiteral("Party 11"));
    QCOMPARE(rows.first().description, QStringLiteral("Agreement 11"));
    QCOMPARE(rows.first().alertRemarks, QStringLiteral("Remark 11"));
    QCOMPARE(rows.at(3).daysLeft, 0);
    QVERIFY(!rows.at(3).expired());
    QCOMPARE(rows.last().daysLeft, 20);

    QCOMPARE(ids(host::dueForRenewal(*con, 2, Today)), (QList<int>{18, 1}));
    QVERIFY(host::dueForRenewal(*con, 3, Today).isEmpty());

    // Without a back period nothing expired is listed, as the list then starts at the processing date.
    con->Execute(QStringLiteral("delete from aPackageSettings"));
    QCOMPARE(ids(host::dueForRenewal(*con, 1, Today)), (QList<int>{3, 5, 8, 17, 1, 9}));
    // A later processing date moves every edge with it.
    QCOMPARE(ids(host::dueForRenewal(*con, 1, Today.addDays(1))), (QList<int>{4, 6, 17, 1, 2, 9}));
}

void tst_renewals::formats()
{
    const auto row = [](qint32 id, const QString &number, const QString &description, const QString &with,
                        const QDate &validTo, int daysLeft, const QString &remarks) {
        host::RenewalRow r;
        r.agreementId = id;
        r.number = number;
        r.description = description;
        r.with = with;
        r.validTo = validTo;
        r.daysLeft = daysLeft;
        r.alertRemarks = remarks;
        return r;
    };
    const QList<host::RenewalRow> rows = {
        row(7, QStringLiteral("AG/7"), QStringLiteral("Bulk, \"urgent\"\npurchase"),
            QStringLiteral("Zo\u00eb"), QDate(2026, 11, 13), -2, QStringLiteral("line 1\r\nline 2")),
        row(4, QStringLiteral("AG/4"), QStringLiteral("Guards"), QStringLiteral("Shield"),
            QDate(2026, 11, 16), 1, QString())};

    QCOMPARE(
        host::renewalsAsCsv(rows),
        QStringLiteral("Status,Agreement No,Description,Agreement With,Valid To,Days Left,Alert Remarks\r\n"
                       "Expired,AG/7,\"Bulk, \"\"urgent\"\"\npurchase\",Zo\u00eb,2026-11-13,-2,\"line 1\r\n"
                       "line 2\"\r\n"
                       "Due,AG/4,Guards,Shield,2026-11-16,1,\r\n"));

    const QJsonObject json = QJsonDocument::fromJson(host::renewalsAsJson(rows, 1, Today).toUtf8()).object();
    QCOMPARE(json.value(QStringLiteral("processDate")).toString(), QStringLiteral("2026-11-15"));
    QCOMPARE(json.value(QStringLiteral("due")).toInt(), 1);
    QCOMPARE(json.value(QStringLiteral("expired")).toInt(), 1);
    const QJsonObject first = json.value(QStringLiteral("agreements")).toArray().first().toObject();
    QCOMPARE(first.value(QStringLiteral("status")).toString(), QStringLiteral("expired"));
    QCOMPARE(first.value(QStringLiteral("daysLeft")).toInt(), -2);
    QCOMPARE(first.value(QStringLiteral("description")).toString(), rows[0].description);
    QCOMPARE(first.value(QStringLiteral("validTo")).toString(), QStringLiteral("2026-11-13"));

    // One line per agreement in the terminal, whatever line breaks the texts hold.
    QCOMPARE(host::renewalsAsText(rows, 1, Today).count(QLatin1Char('\n')), 5);
}

// The window by keyboard alone: arrows walk the rows, Enter or Escape closes it, Tab and Space tick "Do not
// show again today", which holds for this user, department and processing date only.
void tst_renewals::windowByKeyboard()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url, true, true);
    if (!con)
        return;
    int shown = 0;
    bool closed = false;

    // Enter on a row closes the window and opens nothing.
    platform::setModalHandler([&](QWidget *form) {
        ++shown;
        auto *window = qobject_cast<host::DueForRenewalWindow *>(form);
        QVERIFY(window);
        QVERIFY(activate(window));
        QCOMPARE(window->windowTitle(), QStringLiteral("Due for renewal"));
        platform::FlexGrid *grid = window->mfgDue;
        QCOMPARE(QApplication::focusWidget(), grid);
        QCOMPARE(grid->Rows(), 3);
        QCOMPARE(grid->TextMatrix(0, 0), QStringLiteral("Status"));
        QCOMPARE(grid->TextMatrix(1, int(host::DueCol::Number)), QStringLiteral("AG/4"));
        QCOMPARE(grid->TextMatrix(1, int(host::DueCol::Status)), QStringLiteral("Expired"));
        QCOMPARE(grid->TextMatrix(1, int(host::DueCol::Days)), QStringLiteral("2 days past"));
        QCOMPARE(grid->TextMatrix(1, int(host::DueCol::State)), QStringLiteral("New"));
        QCOMPARE(grid->cellBackColorAt(1, int(host::DueCol::Remarks)), host::ExpiredBackColor);
        QCOMPARE(grid->TextMatrix(2, int(host::DueCol::Number)), QStringLiteral("AG/7"));
        QCOMPARE(grid->TextMatrix(2, int(host::DueCol::ValidTo)), QStringLiteral("25/11/2026"));
        QCOMPARE(grid->TextMatrix(2, int(host::DueCol::Days)), QStringLiteral("10 days left"));
        QCOMPARE(grid->TextMatrix(2, int(host::DueCol::With)), QStringLiteral("Bharat Wholesale"));
        QVERIFY(grid->cellBackColorAt(2, 0) != host::ExpiredBackColor);
        QVERIFY(window->lblDue->text().contains(QStringLiteral("1 of the department's agreements is due")));
        // AGR_TEST_SHOTS=folder keeps a picture of the window, to look at.
        if (const QString shots = qEnvironmentVariable("AGR_TEST_SHOTS"); !shots.isEmpty())
            window->grab().save(shots + QStringLiteral("/DueForRenewal.png"));
        QCOMPARE(grid->BackColorSel(), host::ExpiredSelectedColor);
        press(Qt::Key_Down);
        QCOMPARE(grid->Row(), 2);
        QVERIFY(grid->BackColorSel() != host::ExpiredSelectedColor);
        press(Qt::Key_Return);
        closed = !window->isVisible();
        QCOMPARE(window->result(), int(QDialog::Accepted));
        QVERIFY(!window->chkNotToday->isChecked());
    });
    QCOMPARE(host::showDueForRenewal(*con, 1, Today), 2);
    QCOMPARE(shown, 1);
    QVERIFY(closed);

    // Tab to the box, Space ticks it, Enter there closes through the default button.
    platform::setModalHandler([&](QWidget *form) {
        ++shown;
        auto *window = qobject_cast<host::DueForRenewalWindow *>(form);
        QVERIFY(window && activate(window));
        QCOMPARE(window->mfgDue->TextMatrix(1, int(host::DueCol::State)), QStringLiteral("Open"));
        press(Qt::Key_Tab);
        QCOMPARE(QApplication::focusWidget(), window->chkNotToday);
        press(Qt::Key_Space);
        QVERIFY(window->chkNotToday->isChecked());
        press(Qt::Key_Return);
        closed = !window->isVisible();
    });
    closed = false;
    QCOMPARE(host::showDueForRenewal(*con, 1, Today), 2);
    QCOMPARE(shown, 2);
    QVERIFY(closed);

    // Not again today for this login and department; another department or the next day are shown, and
    // Escape closes the window.
    QCOMPARE(host::showDueForRenewal(*con, 1, Today), 0);
    QCOMPARE(shown, 2);
    platform::setModalHandler([&](QWidget *form) {
        ++shown;
        auto *window = qobject_cast<host::DueForRenewalWindow *>(form);
        QVERIFY(window && activate(window));
        press(Qt::Key_Escape);
        closed = !window->isVisible();
        QCOMPARE(window->result(), int(QDialog::Rejected));
    });
    closed = false;
    QCOMPARE(host::showDueForRenewal(*con, 2, Today), 1);
    QVERIFY(closed);
    QCOMPARE(host::showDueForRenewal(*con, 1, Today.addDays(1)), 2);
    QCOMPARE(shown, 4);

    // Nothing due: no window at all.
    QCOMPARE(host::showDueForRenewal(*con, 1, Today.addDays(-100)), 0);
    QCOMPARE(shown, 4);
}

// Acknowledge, snooze and mark done from the keyboard (Alt and the underlined letter): the state is kept
// in the database, for the next opening on this or another workstation (another configuration folder), and
// "Do not show again today" follows the login there too.
void tst_renewals::windowActions()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url, true, true);
    if (!con)
        return;
    con->Execute(QStringLiteral("update agreementregister set agrValidTodate = '20261120' where "
                                "agrDepartmentid = 1 and agragreementid = 2")); // a third row
    QTemporaryDir machineA, machineB;
    qputenv("XDG_CONFIG_HOME", machineA.path().toLocal8Bit());
    int shown = 0;
    QStringList states;
    const auto grid = [](host::DueForRenewalWindow *window) { return window->mfgDue; };

    platform::setModalHandler([&](QWidget *form) {
        ++shown;
        auto *window = qobject_cast<host::DueForRenewalWindow *>(form);
        QVERIFY(window && activate(window));
        QCOMPARE(grid(window)->Rows(), 4); // AG/4 expired, AG/2 and AG/7 due
        QCOMPARE(grid(window)->TextMatrix(2, int(host::DueCol::Number)), QStringLiteral("AG/2"));
        // A button's key clicks it after a moment, as it shows the button pressed.
        const auto state = [&](int row) { return grid(window)->TextMatrix(row, int(host::DueCol::State)); };
        altKey(window, Qt::Key_A);
        QTRY_VERIFY(state(1) != QLatin1String("New"));
        QTRY_COMPARE(QApplication::focusWidget(), grid(window)); // back on the grid for the next row
        press(Qt::Key_Down);
        altKey(window, Qt::Key_W);
        QTRY_VERIFY(state(2) != QLatin1String("New"));
        QTRY_COMPARE(QApplication::focusWidget(), grid(window));
        press(Qt::Key_Down);
        altKey(window, Qt::Key_O);
        QTRY_VERIFY(state(3) != QLatin1String("New"));
        for (int row = 1; row <= 3; ++row)
            states << state(row);
        press(Qt::Key_Escape);
    });
    QCOMPARE(host::showDueForRenewal(*con, 1, Today), 3);
    const QString login = agr::schema::currentLogin(*con);
    QCOMPARE(states, (QStringList{QStringLiteral("Acknowledged by ") + login,
                                  QStringLiteral("Snoozed until 22/11/2026"), QStringLiteral("Done")}));

    // Another program start on another workstation: nothing wants attention until the snooze runs out.
    qputenv("XDG_CONFIG_HOME", machineB.path().toLocal8Bit());
    platform::Connection second;
    second.Open(con->url());
    QCOMPARE(host::showDueForRenewal(second, 1, Today.addDays(6)), 0);
    QCOMPARE(shown, 1);
    platform::setModalHandler([&](QWidget *form) {
        ++shown;
        auto *window = qobject_cast<host::DueForRenewalWindow *>(form);
        QVERIFY(window && activate(window));
        QCOMPARE(grid(window)->Rows(), 2);
        QCOMPARE(grid(window)->TextMatrix(1, int(host::DueCol::Number)), QStringLiteral("AG/2"));
        QCOMPARE(grid(window)->TextMatrix(1, int(host::DueCol::State)), QStringLiteral("Open"));
        // Snooze until a day typed in the date box, then put the window aside for the day.
        window->dtpSnoozeUntil->setDate(Today.addDays(9));
        altKey(window, Qt::Key_U);
        QTRY_COMPARE(grid(window)->TextMatrix(1, int(host::DueCol::State)),
                     QStringLiteral("Snoozed until 24/11/2026"));
        window->chkNotToday->setChecked(true);
        press(Qt::Key_Return);
    });
    QCOMPARE(host::showDueForRenewal(second, 1, Today.addDays(7)), 1);
    QCOMPARE(shown, 2);
    // Something to show: AG/7, marked done, opened again by hand.
    second.Execute(QStringLiteral("update aRenewalAlerts set State = 'open' where AgreementID = 7"));
    // Put aside for the day on workstation B holds on A; the next day it opens again.
    qputenv("XDG_CONFIG_HOME", machineA.path().toLocal8Bit());
    QCOMPARE(host::showDueForRenewal(*con, 1, Today.addDays(7)), 0);
    platform::setModalHandler([&](QWidget *form) {
        ++shown;
        QVERIFY(activate(form));
        press(Qt::Key_Escape);
    });
    QCOMPARE(host::showDueForRenewal(*con, 1, Today.addDays(8)), 1);
    QCOMPARE(shown, 3);
    // No workstation kept anything of it in its configuration folder.
    QVERIFY(QDir(machineA.path()).isEmpty());
    QVERIFY(QDir(machineB.path()).isEmpty());
}

// Every sheet by name, captions, and cells of the right kind as another program reads them.
void tst_renewals::exportXlsx()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url, true, true);
    if (!con)
        return;
    addTrickyAgreement(*con);
    QTemporaryDir folder;
    const QString file = folder.filePath(QStringLiteral("register.xlsx"));
    const host::ExportCounts counts = host::exportRegister(*con, 1, QDate(), file);
    QCOMPARE(counts.agreements, demo::AgreementCount + 1);
    QCOMPARE(counts.payments, 2);
    QCOMPARE(counts.detailRows, 3 + 3 + 4 + 9 + 3); // signatories, witnesses, contents, summary, terms

    const QJsonObject book = readWith(ReadXlsx, file).object();
    QCOMPARE(book.value(QStringLiteral("sheets")).toArray().toVariantList(),
             (QVariantList{QStringLiteral("Agreements"), QStringLiteral("Signatories"),
                           QStringLiteral("Witnesses"), QStringLiteral("Contents"), QStringLiteral("Summary"),
                           QStringLiteral("Terms and Conditions"), QStringLiteral("Payments")}));
    const QJsonObject sheets = book.value(QStringLiteral("rows")).toObject();

    const QJsonArray agreements = sheets.value(QStringLiteral("Agreements")).toArray();
    QCOMPARE(agreements.size(), demo::AgreementCount + 2);
    const QJsonArray captions = agreements.first().toArray();
    QCOMPARE(captions.size(), 33);
    QCOMPARE(cellAt(captions, 0).at(1).toString(), QStringLiteral("Agreement ID"));
    QCOMPARE(cellAt(captions, 10).at(1).toString(), QStringLiteral("Valid To"));
    QCOMPARE(cellAt(captions, 32).at(1).toString(), QStringLiteral("Cancelled"));

    const QJsonArray tricky = rowWith(agreements, 2, QStringLiteral("AG/13"));
    QCOMPARE(tricky.size(), 33);
    QCOMPARE(cellAt(tricky, 0), (QJsonArray{QStringLiteral("number"), 13}));
    QCOMPARE(cellAt(tricky, 3), (QJsonArray{QStringLiteral("date"), QStringLiteral("2026-11-15")}));
    QCOMPARE(cellAt(tricky, 4), (QJsonArray{QStringLiteral("text"), Tricky}));
    QCOMPARE(cellAt(tricky, 10), (QJsonArray{QStringLiteral("date"), QStringLiteral("2028-11-30")}));
    QCOMPARE(cellAt(tricky, 14).at(1).toString(), QStringLiteral("Zo\u00eb's \"Caf\u00e9\", Ltd."));
    QCOMPARE(cellAt(tricky, 18).at(0).toString(), QStringLiteral("blank"));
    QCOMPARE(cellAt(tricky, 24), (QJsonArray{QStringLiteral("number"), 12.5}));
    QCOMPARE(cellAt(tricky, 30), (QJsonArray{QStringLiteral("number"), 30}));
    // A carriage return travels in the format's own escape, which spreadsheets decode and openpyxl leaves.
    QCOMPARE(cellAt(tricky, 31).at(1).toString().replace(QStringLiteral("_x000D_"), QStringLiteral("\r")),
             TrickyRemarks);
    QCOMPARE(cellAt(tricky, 32), (QJsonArray{QStringLiteral("text"), QStringLiteral("Yes")}));
    QCOMPARE(cellAt(rowWith(agreements, 2, QStringLiteral("AG/1")), 32),
             (QJsonArray{QStringLiteral("text"), QStringLiteral("No")}));
    QVERIFY(rowWith(agreements, 14, QStringLiteral("Sparkle Cleaners")).isEmpty()); // department 2's

    const QJsonArray signatories = sheets.value(QStringLiteral("Signatories")).toArray();
    QCOMPARE(signatories.size(), 4);
    QCOMPARE(cellAt(signatories.first().toArray(), 6).at(1).toString(), QStringLiteral("For the Agency"));
    const QJsonArray ganesh = rowWith(signatories, 3, QStringLiteral("S. Ganesh"));
    QCOMPARE(cellAt(ganesh, 0).at(1).toString(), QStringLiteral("AG/1"));
    QCOMPARE(cellAt(ganesh, 2), (QJsonArray{QStringLiteral("number"), 2}));
    QCOMPARE(cellAt(ganesh, 5), (QJsonArray{QStringLiteral("date"), QStringLiteral("2026-10-18")}));
    QCOMPARE(cellAt(ganesh, 6).at(1).toString(), QStringLiteral("Yes"));

    const QJsonArray payments = sheets.value(QStringLiteral("Payments")).toArray();
    QCOMPARE(payments.size(), 3);
    const QJsonArray deposit = rowWith(payments, 2, QStringLiteral("HQPV/101"));
    QCOMPARE(cellAt(deposit, 3), (QJsonArray{QStringLiteral("date"), QStringLiteral("2026-10-21")}));
    QCOMPARE(cellAt(deposit, 7), (QJsonArray{QStringLiteral("number"), 270000}));

    // From a date on: the details follow their agreements.
    host::exportRegister(*con, 1, Today.addDays(-10), file);
    const QJsonObject recent = readWith(ReadXlsx, file).object().value(QStringLiteral("rows")).toObject();
    QCOMPARE(recent.value(QStringLiteral("Agreements")).toArray().size(), 1 + 4); // ids 10..13
    QCOMPARE(recent.value(QStringLiteral("Signatories")).toArray().size(), 1);
    QCOMPARE(recent.value(QStringLiteral("Payments")).toArray().size(), 1);
}

// RFC 4180 as Python's csv module reads it: quotes, commas, line breaks and Unicode come back as stored.
void tst_renewals::exportCsv()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url, true, true);
    if (!con)
        return;
    addTrickyAgreement(*con);
    QTemporaryDir folder;
    const QString file = folder.filePath(QStringLiteral("register.CSV"));
    QCOMPARE(host::exportRegister(*con, 1, QDate(), file).agreements, demo::AgreementCount + 1);

    QFile raw(file);
    QVERIFY(raw.open(QIODevice::ReadOnly));
    const QByteArray bytes = raw.readAll();
    QVERIFY(bytes.startsWith("Agreement ID,Department,Agreement No,Agreement Date,"));
    QVERIFY(bytes.endsWith("Yes\r\n"));
    QCOMPARE(bytes.count("\r\n"), demo::AgreementCount + 2 + 1); // one record a line, and one inside quotes

    const QJsonArray records = readWith(ReadCsv, file).array();
    QCOMPARE(records.size(), demo::AgreementCount + 2);
    QJsonArray tricky;
    for (const QJsonValue &record : records)
        if (record.toArray().at(2).toString() == QLatin1String("AG/13"))
            tricky = record.toArray();
    QCOMPARE(tricky.size(), 33);
    QCOMPARE(tricky.at(0).toString(), QStringLiteral("13"));
    QCOMPARE(tricky.at(3).toString(), QStringLiteral("2026-11-15"));
    QCOMPARE(tricky.at(4).toString(), Tricky);
    QCOMPARE(tricky.at(14).toString(), QStringLiteral("Zo\u00eb's \"Caf\u00e9\", Ltd."));
    QCOMPARE(tricky.at(18).toString(), QString());
    QCOMPARE(tricky.at(24).toString(), QStringLiteral("12.5"));
    QCOMPARE(tricky.at(30).toString(), QStringLiteral("30"));
    QCOMPARE(tricky.at(31).toString(), TrickyRemarks);
    QCOMPARE(tricky.at(32).toString(), QStringLiteral("Yes"));

    // Neither another extension nor a folder that is not there gets a file.
    QVERIFY_THROWS_EXCEPTION(host::Failure, host::exportRegister(*con, 1, QDate(), folder.filePath("r.ods")));
    QVERIFY_THROWS_EXCEPTION(host::Failure,
                             host::exportRegister(*con, 1, QDate(), folder.filePath("no/r.csv")));
    QVERIFY(!QFile::exists(folder.filePath(QStringLiteral("r.ods"))));
}

QTEST_MAIN(tst_renewals)
#include "tst_renewals.moc"
