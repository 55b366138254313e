// The report engine and the list's Preview, on the demo data of SQLite and PostgreSQL: the PDF it writes
// read back with pdftotext, the preview window the list opens and its own PDF, and the failures that the
// list logs through the fault service with nothing shown.

#include "data/contracts.h"
#include "data/schema.h"
#include "forms/list/frmmaster.h"
#include "module/basagreementreg.h"
#include "module/modulecontext.h"
#include "platform/database/connection.h"
#include "platform/grid/flexgrid.h"
#include "platform/runtime/registry.h"
#include "platform/ui/seams.h"
#include "suite/reportdocument.h"
#include "suite/reportengine.h"
#include "suite/selectionformula.h"
#include "suite/suite.h"
#include "support/formtest.h"
#include "support/testdb.h"
#include "support/testsupport.h"

#include <QAction>
#include <QDir>
#include <QPrintPreviewDialog>
#include <QPrintPreviewWidget>
#include <QPushButton>
#include <QRegularExpression>
#include <QScreen>
#include <QTemporaryDir>
#include <QTest>

namespace demo = agr::schema::demo;
using agrtest::countRows;
using agrtest::pdfText;

namespace {

const QDate &Today = agrtest::DemoToday;

QString reportFile()
{
    return QCoreApplication::applicationDirPath() + QStringLiteral("/reports/rptAgreementRegister.rpt");
}

} // namespace

class tst_ReportEngine : public QObject
{
    Q_OBJECT

    std::unique_ptr<platform::Connection> m_con;
    QTemporaryDir m_folder;
    QList<QWidget *> m_shown;
    QString m_saveTo;

    bool openDemo(const QString &url);
    // The fault rows the list's Preview left.
    int faults(int number);

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void composedFields();
    void pdfOfOneAgreement_data() { agrtest::addBackends(); }
    void pdfOfOneAgreement();
    void longTextsWrapAcrossPages_data() { agrtest::addBackends(); }
    void longTextsWrapAcrossPages();
    void previewFromTheList_data() { agrtest::addBackends(); }
    void previewFromTheList();
    void failuresLoggedNothingShown_data() { agrtest::addBackends(); }
    void failuresLoggedNothingShown();
};

void tst_ReportEngine::initTestCase()
{
    suite::registerInProcess();
    QVERIFY(m_folder.isValid());
    // No site configuration of the test machine's user may name a data source here.
    qputenv("XDG_CONFIG_HOME", m_folder.filePath(QStringLiteral("config")).toLocal8Bit());
    qunsetenv("AGR_APP_PATH");
    QVERIFY2(QFile::exists(reportFile()), qPrintable(reportFile()));
}

void tst_ReportEngine::init()
{
    m_shown.clear();
    m_saveTo.clear();
    platform::setModalHandler([this](QWidget *window) { m_shown << window; });
    platform::setMsgBoxResponder([](const platform::MsgBoxCall &) { return platform::vb::OK; });
    platform::setFileDialogResponder([this](const platform::FileDialogCall &) { return m_saveTo; });
}

void tst_ReportEngine::cleanup()
{
    for (QWidget *window : std::as_const(m_shown))
        window->close();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    platform::setFileDialogResponder({});
    platform::setHostDatabaseUrl(QString());
    agrtest::endFormTest(m_con);
}

bool tst_ReportEngine::openDemo(const QString &url)
{
    m_con = agrtest::openFresh(url, true, true, Today);
    if (!m_con)
        return false;
    platform::setHostDatabaseUrl(m_con->url());
    agrtest::setDemoContext(m_con.get());
    return true;
}

int tst_ReportEngine::faults(int number)
{
    return countRows(*m_con, QStringLiteral("aFaultLog"),
                     QStringLiteral("ProcedureName='cmdPreview_Click' and ErrorNumber=") +
                         QString::number(number));
}

// A composed field prints what it has: separators only between parts that print, a part in brackets only
// with a value; words stay as they are.
void tst_ReportEngine::composedFields()
{
    const QHash<QString, QString> values = {{QStringLiteral("name"), QStringLiteral("Ravi")},
                                            {QStringLiteral("post"), QStringLiteral("Manager")},
                                            {QStringLiteral("pages"), QStringLiteral("12")}};
    const auto fill = [&](const char *text) {
        return suite::fillPlaceholders(QString::fromUtf8(text),
                                       [&](QStringView name) { return values.value(name.toString()); });
    };
    QCOMPARE(fill("{name}, {post}"), "Ravi, Manager");
    QCOMPARE(fill("{none}, {post}"), "Manager");
    QCOMPARE(fill("{name}, {none}"), "Ravi");
    QCOMPARE(fill("{none}, {empty}"), "");
    QCOMPARE(fill("{name}, {none}, {empty}, {post}"), "Ravi, Manager");
    QCOMPARE(fill("{name} [({pages} pages)]"), "Ravi (12 pages)");
    QCOMPARE(fill("{name} [({none} pages)]"), "Ravi");
    QCOMPARE(fill("{none} [({pages} pages)]"), "(12 pages)");
    QCOMPARE(fill("[Dated {none}] · {name} · [department {pages}]"), "Ravi · department 12");
    QCOMPARE(fill("Printed {pages}[ by {none}]"), "Printed 12");
    QCOMPARE(fill("Page {pages} of {none}"), "Page 12 of ");
    QCOMPARE(fill("100% [sure] {name"), "100%  {name");
}

// Agreement 1 of the demo: its number, parties, detail lines, payments and the user's name on the page.
void tst_ReportEngine::pdfOfOneAgreement()
{
    AGR_FETCH_URL();
    if (!openDemo(url))
        return;
    suite::ReportEngine engine;
    engine.LogOnServer(QStringLiteral("pdsodbc.dll"), QStringLiteral("admindsnv2"), QStringLiteral("adminv2"),
                       QStringLiteral("admin"), QString());
    agr::IReport *report = engine.OpenReport(reportFile());
    report->setTextSlot(1, QStringLiteral("Agreement Register"));
    report->setTextSlot(2, QStringLiteral(" "));
    report->setTextSlot(3, QStringLiteral("clerk"));
    report->setRecordSelectionFormula(QStringLiteral("{AgreementRegister.agragreementid}=1 and "
                                                     "{AgreementRegister.agrDepartmentid}=1"));
    const QString pdf = m_folder.filePath(QStringLiteral("one.pdf"));
    report->ExportPdf(pdf);
    const QString text = pdfText(pdf);
    for (const char *expected : {"Agreement Register", "by clerk", "Page 1 of 1", "AG/1", "Market Road Shop",
                                 "Sri Ganesh Estates", "Ravi Kumar", "Anil Shetty", "Lease deed",
                                 "Premises of 1200 sq ft", "Monthly rent 45,000", "HQPV/101", "270000.00"})
        QVERIFY2(text.contains(QLatin1String(expected)), expected);
    QVERIFY(!text.contains(QLatin1String("AG/2 ")));
    QVERIFY(!text.contains(QLatin1String("Sparkle Cleaners"))); // department 2's agreement 1

    // Every agreement of the department: one page each at least.
    report->setRecordSelectionFormula(QStringLiteral("{AgreementRegister.agrDepartmentid}=1"));
    report->ExportPdf(pdf);
    const QString all = pdfText(pdf);
    for (int n = 1; n <= 12; ++n)
        QVERIFY(all.contains(QStringLiteral("AG/%1 ").arg(n)));
    QVERIFY(all.count(QStringLiteral("Agreement Register")) >= 12);

    // A formula the language does not have is refused where it is set.
    QCOMPARE(agrtest::errorOf([&] { report->setRecordSelectionFormula(QStringLiteral("{Payments.x}=1")); }),
             suite::FormulaError);
}

// Long texts wrap inside the page and their columns, a list runs on over pages under its caption row again,
// and "Page n of m" counts every page: nothing is cut off or lost.
void tst_ReportEngine::longTextsWrapAcrossPages()
{
    AGR_FETCH_URL();
    if (!openDemo(url))
        return;
    QString description;
    for (int i = 1; i <= 120; ++i)
        description += QStringLiteral("clause%1 of the lease ").arg(i);
    // Letters outside the Latin ones are measured by shaping (this machine may have no font for them).
    description += QString(300, QLatin1Char('W')) + QStringLiteral(" தமிழ் 中文 end-of-description");
    platform::Command header(*m_con);
    header.setCommandText(QStringLiteral(
        "insert into agreementregister (agragreementid,agrDepartmentid,agragreementNo,agragreementdate,"
        "agragreementdesc,agragreementwith) values (50,1,'AG/50','01/11/2026',?,'Long Party')"));
    header.ParametersRefresh();
    header.Execute({description});
    platform::Command content(*m_con);
    content.setCommandText(QStringLiteral("insert into AgreementContents (agcAgreementid,agcDepartmentid,"
                                          "agcDetailid,agcContentdesc) values (50,1,?,?)"));
    content.ParametersRefresh();
    for (int row = 1; row <= 90; ++row)
        content.Execute({row, row == 45 ? description.left(2000) + QStringLiteral(" middle-row-end")
                                        : QStringLiteral("content row %1").arg(row)});

    suite::ReportEngine engine;
    agr::IReport *report = engine.OpenReport(reportFile());
    report->setTextSlot(1, QStringLiteral("Agreement Register"));
    report->setRecordSelectionFormula(QStringLiteral("{AgreementRegister.agragreementid}=50"));
    const QString pdf = m_folder.filePath(QStringLiteral("long.pdf"));
    report->ExportPdf(pdf);

    const QString text = pdfText(pdf);
    const int pages = int(text.count(QLatin1Char('\f')));
    QVERIFY2(pages >= 3, qPrintable(QString::number(pages)));
    for (int page = 1; page <= pages; ++page)
        QVERIFY(text.contains(QStringLiteral("Page %1 of %2").arg(page).arg(pages)));
    for (const char *expected :
         {"clause120", "end-of-description", "content row 1", "content row 90", "middle-row-end"})
        QVERIFY2(text.contains(QLatin1String(expected)), expected);
    // The contents' caption row comes again on each page the list goes on to.
    int listPages = 0;
    for (const QString &page : text.split(QLatin1Char('\f'))) {
        if (!page.contains(QLatin1String("content row")))
            continue;
        ++listPages;
        QVERIFY(page.contains(QLatin1String("SNo")));
    }
    QVERIFY(listPages >= 2);

    // Every word lies inside the printed area (A4, 15 mm either side).
    QProcess boxes;
    boxes.start(QStringLiteral("pdftotext"), {QStringLiteral("-bbox"), pdf, QStringLiteral("-")});
    QVERIFY(boxes.waitForFinished(60000));
    const QString html = QString::fromUtf8(boxes.readAllStandardOutput());
    const QRegularExpression word(QStringLiteral("xMin=\"([0-9.]+)\".*xMax=\"([0-9.]+)\""));
    const double left = 15 / 25.4 * 72, right = (210 - 15) / 25.4 * 72;
    int words = 0;
    for (auto it = word.globalMatch(html); it.hasNext(); ++words) {
        const auto m = it.next();
        QVERIFY2(m.captured(1).toDouble() >= left - 1 && m.captured(2).toDouble() <= right + 1,
                 qPrintable(m.captured(0)));
    }
    QVERIFY(words > 500);
}

// Preview from the list: the selected agreement's register, with the id alone in the formula, in a preview
// window that saves its own PDF; an empty selected row lists every agreement.
void tst_ReportEngine::previewFromTheList()
{
    AGR_FETCH_URL();
    if (!openDemo(url))
        return;
    // Agreement 17 of department 1, dated today so that the list shows it.
    QVERIFY(
        m_con
            ->Execute(QStringLiteral("insert into agreementregister (agragreementid, agrDepartmentid, "
                                     "agragreementNo, agragreementdate, agragreementdesc, agragreementtype) "
                                     "values (17, 1, 'AG/17', '15/11/2026', 'Seventeenth', 'Lease')"))
            .RecordsAffected() == 1);
    agr::FrmMaster *list = agr::frmMaster();
    platform::FlexGrid *grid = list->mfgMaster;
    for (int row = 1; row < grid->Rows(); ++row) {
        if (grid->TextMatrix(row, 0) == QLatin1String("17"))
            grid->setRow(row);
    }
    QCOMPARE(grid->TextMatrix(grid->Row(), 0), "17");
    QVERIFY(list->cmdPreview->isEnabled());
    QTest::mouseClick(list->cmdPreview, Qt::LeftButton);
    QCOMPARE(m_shown.size(), 1);
    auto *preview = qobject_cast<QPrintPreviewDialog *>(m_shown.first());
    QVERIFY(preview);
    QCOMPARE(preview->windowTitle(), "Agreement Register Report");
    QVERIFY(preview->windowState() & Qt::WindowMaximized);
    QCOMPARE(countRows(*m_con, QStringLiteral("aFaultLog"), QStringLiteral("1=1")), 0);
    // Restored (or where nothing maximises it) it is three quarters of the screen, centred, the page as
    // wide as the window.
    const QRect screen = list->screen()->availableGeometry();
    const QRect normal = preview->normalGeometry();
    QVERIFY2(screen.contains(normal) && normal.width() >= screen.width() / 2 &&
                 normal.height() >= screen.height() / 2 &&
                 (normal.center() - screen.center()).manhattanLength() <= 2,
             qPrintable(QStringLiteral("%1,%2 %3x%4")
                            .arg(normal.x())
                            .arg(normal.y())
                            .arg(normal.width())
                            .arg(normal.height())));
    auto *pages = preview->findChild<QPrintPreviewWidget *>();
    QVERIFY(pages);
    QCOMPARE(pages->zoomMode(), QPrintPreviewWidget::FitToWidth);

    // The toolbar's PDF.
    m_saveTo = m_folder.filePath(QStringLiteral("preview"));
    auto *save = preview->findChild<QAction *>(QStringLiteral("savePdf"));
    QVERIFY(save);
    save->trigger();
    const QString text = pdfText(m_saveTo + QStringLiteral(".pdf"));
    QVERIFY2(text.contains(QLatin1String("AG/17")), qPrintable(text.left(300)));
    QVERIFY(text.contains(QLatin1String("Seventeenth")));
    QVERIFY(text.contains(QLatin1String("by clerk")));
    QVERIFY(!text.contains(QLatin1String("AG/1 ")));
    // Its empty fields leave no separators or words of their own.
    for (const char *left :
         {"Point of contact\\s*,", "\\(\\s*pages\\)", "days before", "·\\s*·", ",\\s*,", "Contact\\s*,"})
        QVERIFY2(!text.contains(QRegularExpression(QString::fromUtf8(left))), left);

    // The list's blank row (a department without agreements): every agreement, both departments'.
    agr::unloadFrmMaster();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    agr::context().departmentId = 3;
    list = agr::frmMaster();
    QCOMPARE(list->mfgMaster->TextMatrix(list->mfgMaster->Row(), 0), "");
    list->cmdPreview_Click();
    QCOMPARE(m_shown.size(), 2);
    m_saveTo = m_folder.filePath(QStringLiteral("all.pdf"));
    m_shown.last()->findChild<QAction *>(QStringLiteral("savePdf"))->trigger();
    const QString all = pdfText(m_saveTo);
    for (const char *expected : {"AG/12 ", "AG/17", "Sparkle Cleaners"})
        QVERIFY2(all.contains(QLatin1String(expected)), expected);
}

// A missing engine, a failed log-on and a missing report file: each logged, nothing shown.
void tst_ReportEngine::failuresLoggedNothingShown()
{
    AGR_FETCH_URL();
    if (!openDemo(url))
        return;
    agr::FrmMaster *list = agr::frmMaster();

    auto &registry = platform::ComponentRegistry::instance();
    registry.unregisterInProcess(QLatin1String(agr::progid::ReportEngine));
    QVERIFY(!registry.isRegistered(QLatin1String(agr::progid::ReportEngine)));
    list->cmdPreview_Click();
    suite::registerInProcess();
    QCOMPARE(faults(429), 1);

    // The site names the data source, and it cannot be opened.
    QDir().mkpath(m_folder.filePath(QStringLiteral("config/agreement-register")));
    {
        QFile ini(m_folder.filePath(QStringLiteral("config/agreement-register/datasources.ini")));
        QVERIFY(ini.open(QIODevice::WriteOnly));
        ini.write("[admindsnv2]\nurl=sqlite:" +
                  m_folder.filePath(QStringLiteral("no/such/folder/x.db")).toUtf8() + "\n");
    }
    list->cmdPreview_Click();
    QFile::remove(m_folder.filePath(QStringLiteral("config/agreement-register/datasources.ini")));
    QCOMPARE(faults(20599), 1);

    // The module's folder without its reports.
    qputenv("AGR_APP_PATH", m_folder.filePath(QStringLiteral("empty")).toLocal8Bit());
    list->cmdPreview_Click();
    qunsetenv("AGR_APP_PATH");
    QCOMPARE(faults(20507), 1);
    QVERIFY(m_shown.isEmpty());
}

QTEST_MAIN(tst_ReportEngine)
#include "tst_reportengine.moc"
