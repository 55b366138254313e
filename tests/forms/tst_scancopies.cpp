// The scanned copies of an agreement, on the demo data of SQLite and PostgreSQL: opened from the entry
// form's button, files chosen through the dialog seam, rows added, renamed and stored through the form's
// own buttons and keys, and the temporary files in the application's folder.

#include "data/schema.h"
#include "forms/agreement/frmagreementreg.h"
#include "forms/list/frmmaster.h"
#include "forms/scancopies/frmscancopies.h"
#include "module/basagreementreg.h"
#include "module/modulecontext.h"
#include "platform/database/connection.h"
#include "platform/grid/flexgrid.h"
#include "platform/ui/picturebox.h"
#include "platform/ui/seams.h"
#include "suite/suite.h"
#include "support/formtest.h"
#include "support/testdb.h"
#include "support/testsupport.h"

#include <QBuffer>
#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QLineEdit>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>

namespace demo = agr::schema::demo;
using agr::FrmScanCopies;
using agrtest::activate;
using agrtest::cellCentre;
using agrtest::countRows;
using platform::FlexGrid;

namespace {

using agrtest::jpeg;

const QDate &Today = agrtest::DemoToday;
const QString &Caption = agrtest::FormCaption;

QByteArray sha(const QByteArray &bytes)
{
    return QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex();
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void store(platform::Connection &con, int department, int agreementId, int serialNo, const QString &name,
           const QVariant &image)
{
    platform::Command cmd(con);
    cmd.setCommandText(QStringLiteral(
        "insert into AgreementScanCopyDetails (agsCompanyID,agsAgreementID,agsDepartmentID,agsDetailID,"
        "agsAgreementName,agsDocuments) values (?,?,?,?,?,?)"));
    cmd.ParametersRefresh();
    cmd.Execute({demo::CompanyId, agreementId, department, serialNo, name, image});
}

struct Stored
{
    QString serialNo;
    QString name;
    QByteArray hash;
    int department;
    bool operator==(const Stored &other) const = default;
};

QList<Stored> storedCopies(platform::Connection &con, int agreementId)
{
    QList<Stored> copies;
    platform::Recordset rs =
        con.Execute(QStringLiteral("select agsDetailID, agsAgreementName, agsDocuments, agsDepartmentID from "
                                   "AgreementScanCopyDetails where agsAgreementID = ") +
                    QString::number(agreementId) + QStringLiteral(" order by agsDetailID"));
    for (; !rs.isEOF(); rs.MoveNext())
        copies.append({rs[0].text(), rs[1].joinEmpty(), sha(rs[2].Value().toByteArray()), rs[3].toInteger()});
    return copies;
}

} // namespace

class tst_ScanCopies : public QObject
{
    Q_OBJECT

    std::unique_ptr<platform::Connection> m_con;
    QList<platform::MsgBoxCall> m_boxes;
    QString m_chosenFile; // what the Open dialog answers
    QTemporaryDir m_appFolder;
    QTemporaryDir m_files;

    bool openDemo(const QString &url);
    // The entry form for a stored agreement, and the scanned copies opened from its button.
    FrmScanCopies *openCopies(int agreementId);
    QString file(const QString &name, const QByteArray &bytes) const;
    QStringList tempFiles() const { return QDir(m_appFolder.path()).entryList({"pic*.jpg"}, QDir::Files); }
    void addByKeyboard(FrmScanCopies *form, const QString &name, const QString &path);

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup() { agrtest::endFormTest(m_con); }

    void noCopies_data() { agrtest::addBackends(); }
    void noCopies();
    void storedAddedRenamedAndStoredAgain_data() { agrtest::addBackends(); }
    void storedAddedRenamedAndStoredAgain();
    void pagesKeptAcrossOpenings_data() { agrtest::addBackends(); }
    void pagesKeptAcrossOpenings();
    void nullImageSkippedAndHighSerialKept_data() { agrtest::addBackends(); }
    void nullImageSkippedAndHighSerialKept();
    void closeStoresNothing_data() { agrtest::addBackends(); }
    void closeStoresNothing();
    void departmentsShareAnAgreementId_data() { agrtest::addBackends(); }
    void departmentsShareAnAgreementId();
    void notAPicture_data() { agrtest::addBackends(); }
    void notAPicture();
};

void tst_ScanCopies::initTestCase()
{
    suite::registerInProcess();
    QVERIFY(m_appFolder.isValid() && m_files.isValid());
    qputenv("AGR_APP_PATH", m_appFolder.path().toLocal8Bit());
    QCOMPARE(agr::appPath(), QDir(m_appFolder.path()).absolutePath());
}

void tst_ScanCopies::init()
{
    m_boxes.clear();
    m_chosenFile.clear();
    platform::setMsgBoxResponder([this](const platform::MsgBoxCall &call) {
        m_boxes << call;
        return platform::vb::OK;
    });
    platform::setFileDialogResponder([this](const platform::FileDialogCall &call) {
        if (call.title != QLatin1String("Item Image") ||
            call.filter != QLatin1String("Jpeg Files (*.jpg)|*.jpg") ||
            call.defaultExt != QLatin1String("jpg"))
            return QString();
        return m_chosenFile;
    });
    platform::setModalHandler([](QWidget *window) { QVERIFY(activate(window)); });
}

bool tst_ScanCopies::openDemo(const QString &url)
{
    m_con = agrtest::openDemo(url);
    if (!m_con)
        return false;
    agr::frmMaster();
    return true;
}

FrmScanCopies *tst_ScanCopies::openCopies(int agreementId)
{
    FlexGrid *list = agr::frmMaster()->mfgMaster;
    for (int row = 1; row < list->Rows(); ++row) {
        if (list->TextMatrix(row, 0) == QString::number(agreementId))
            list->setRow(row);
    }
    agr::frmMaster()->CmdEdit_Click();
    agr::FrmAgreementreg *entry = agr::frmAgreementregIfLoaded();
    if (!entry || !entry->cmdScan->isEnabled())
        return nullptr;
    QTest::mouseClick(entry->cmdScan, Qt::LeftButton);
    return agr::frmScanCopiesIfLoaded();
}

QString tst_ScanCopies::file(const QString &name, const QByteArray &bytes) const
{
    const QString path = m_files.filePath(name);
    QFile out(path);
    if (out.open(QIODevice::WriteOnly))
        out.write(bytes);
    return path;
}

// Through the keys: the name, Enter, Alt+B for the dialog, Alt+A to add.
void tst_ScanCopies::addByKeyboard(FrmScanCopies *form, const QString &name, const QString &path)
{
    QTest::keyClick(form, Qt::Key_N, Qt::AltModifier);
    QCOMPARE(QApplication::focusWidget(), form->txtName);
    QTest::keyClicks(form->txtName, name);
    QTest::keyClick(form->txtName, Qt::Key_Return);
    QCOMPARE(QApplication::focusWidget(), form->txtBrowse);
    m_chosenFile = path;
    QTest::keyClick(form, Qt::Key_B, Qt::AltModifier);
    QTRY_COMPARE(form->txtBrowse->text(), path);
    QTest::keyClick(form, Qt::Key_A, Qt::AltModifier);
    QTRY_VERIFY(form->txtName->text().isEmpty());
}

void tst_ScanCopies::noCopies()
{
    AGR_FETCH_URL();
    if (!openDemo(url))
        return;
    FrmScanCopies *form = openCopies(3);
    QVERIFY(form);
    QCOMPARE(form->mfgDetails->Rows(), 2);
    QCOMPARE(form->mfgDetails->TextMatrix(0, 0), "Sl No");
    QCOMPARE(form->mfgDetails->TextMatrix(0, 1), "Doc Name");
    QCOMPARE(form->mfgDetails->ColWidth(2), 0);
    QVERIFY(tempFiles().isEmpty());

    // The two messages, and nothing added.
    QTest::mouseClick(form->cmdAdd, Qt::LeftButton);
    QTest::keyClicks(form->txtName, QStringLiteral("Deed"));
    QTest::mouseClick(form->cmdAdd, Qt::LeftButton);
    QCOMPARE(m_boxes.size(), 2);
    QCOMPARE(m_boxes.at(0).prompt, "Enter name.");
    QCOMPARE(m_boxes.at(1).prompt, "Select a Picture.");
    QCOMPARE(m_boxes.at(1).title, Caption);
    QCOMPARE(QApplication::focusWidget(), form->cmdBrowse);
    QCOMPARE(form->mfgDetails->Rows(), 2);

    m_con->clearStatementLog();
    QTest::mouseClick(form->cmdOK, Qt::LeftButton);
    QVERIFY(!agr::frmScanCopiesIfLoaded());
    QCOMPARE(m_con->statementLog().first().text,
             "Delete from AgreementScanCopyDetails where agsAgreementID = 3");
    QCOMPARE(countRows(*m_con, QStringLiteral("AgreementScanCopyDetails"), QStringLiteral("1=1")), 0);
    QCOMPARE(m_con->transactionLevel(), 0);
}

// Two stored and one added, one renamed: each stored copy's temporary file holds that copy alone, and OK
// stores all three byte for byte.
void tst_ScanCopies::storedAddedRenamedAndStoredAgain()
{
    AGR_FETCH_URL();
    if (!openDemo(url))
        return;
    const QByteArray red = jpeg(Qt::red), green = jpeg(Qt::green), blue = jpeg(Qt::blue, 600, 400);
    store(*m_con, 1, 1, 1, QStringLiteral("Lease deed"), red);
    store(*m_con, 1, 1, 2, QStringLiteral("Annexure"), green);

    FrmScanCopies *form = openCopies(1);
    QVERIFY(form);
    FlexGrid *grid = form->mfgDetails;
    QCOMPARE(grid->Rows(), 4);
    QCOMPARE(grid->TextMatrix(1, 1), "Lease deed");
    QCOMPARE(grid->TextMatrix(2, 0), "2");
    QCOMPARE(grid->TextMatrix(2, 3), "E");
    QCOMPARE(grid->TextMatrix(2, 2), FrmScanCopies::tempFile(QStringLiteral("2")));
    QCOMPARE(tempFiles(), QStringList({"pic1.jpg", "pic2.jpg"}));
    QCOMPARE(readFile(FrmScanCopies::tempFile(QStringLiteral("1"))), red);
    QCOMPARE(readFile(FrmScanCopies::tempFile(QStringLiteral("2"))), green);

    // Opening shows the current (first) document; a click on the current row shows it again.
    QVERIFY(form->imgShow->hasPicture());
    QCOMPARE(form->imgShow->picturePath(), FrmScanCopies::tempFile(QStringLiteral("1")));
    form->imgShow->Clear();
    QCOMPARE(grid->Row(), 1);
    QTest::mouseClick(grid->viewport(), Qt::LeftButton, {}, cellCentre(grid, 1, 1));
    QVERIFY(form->imgShow->hasPicture());
    QCOMPARE(form->imgShow->picturePath(), FrmScanCopies::tempFile(QStringLiteral("1")));
    QTest::keyClick(form->txttname, Qt::Key_Escape);

    // Viewing: a click on a row shows its picture.
    QTest::mouseClick(grid->viewport(), Qt::LeftButton, {}, cellCentre(grid, 2, 1));
    QVERIFY(form->imgShow->hasPicture());
    QCOMPARE(form->imgShow->picturePath(), FrmScanCopies::tempFile(QStringLiteral("2")));

    // The third by the keyboard, a bigger picture decoded at the size of the box.
    const QString bluePath = file(QStringLiteral("blue.jpg"), blue);
    addByKeyboard(form, QStringLiteral(" Site plan"), bluePath);
    QCOMPARE(grid->Rows(), 5);
    QCOMPARE(grid->TextMatrix(3, 0), "3");
    QCOMPARE(grid->TextMatrix(3, 1), " Site plan");
    QCOMPARE(grid->TextMatrix(3, 3), "N");
    QVERIFY(form->imgShow->hasPicture());
    QVERIFY(form->imgShow->decodedSize().width() <=
            form->imgShow->width() * form->imgShow->devicePixelRatioF());
    // AGR_TEST_SHOTS=folder keeps a picture of the form, to look at.
    if (const QString shots = qEnvironmentVariable("AGR_TEST_SHOTS"); !shots.isEmpty())
        form->grab().save(shots + QStringLiteral("/ScanCopies.png"));

    // Renaming the first: the box over the name cell, Enter writes it.
    QTest::mouseClick(grid->viewport(), Qt::LeftButton, {}, cellCentre(grid, 1, 1));
    QVERIFY(form->txttname->isVisible());
    QCOMPARE(form->txttname->text(), " Lease deed");
    QCOMPARE(QApplication::focusWidget(), form->txttname);
    QTest::keyClick(form->txttname, Qt::Key_A, Qt::ControlModifier);
    QTest::keyClicks(form->txttname, QStringLiteral("Lease deed signed"));
    QTest::keyClick(form->txttname, Qt::Key_Return);
    QVERIFY(!form->txttname->isVisible());
    QCOMPARE(grid->TextMatrix(1, 1), "Lease deed signed");
    // Escape leaves the name as it was.
    grid->setFocus();
    QTest::keyClick(grid, Qt::Key_Down);
    QTest::keyClick(grid, Qt::Key_Return);
    QVERIFY(form->txttname->isVisible());
    QTest::keyClicks(form->txttname, QStringLiteral("lost"));
    QTest::keyClick(form->txttname, Qt::Key_Escape);
    QCOMPARE(grid->TextMatrix(2, 1), "Annexure");

    QTest::keyClick(form, Qt::Key_O, Qt::AltModifier);
    QTRY_VERIFY(!agr::frmScanCopiesIfLoaded());
    const QList<Stored> expected = {{"1", "Lease deed signed", sha(red), 1},
                                    {"2", "Annexure", sha(green), 1},
                                    {"3", " Site plan", sha(blue), 1}};
    QCOMPARE(storedCopies(*m_con, 1), expected);
    QVERIFY(tempFiles().isEmpty());
    QCOMPARE(m_con->transactionLevel(), 0);
}

// A clerk attaches two different pages, and then opens the form and presses OK three times: both pages
// stay stored as they were scanned, and each row shows its own page.
void tst_ScanCopies::pagesKeptAcrossOpenings()
{
    AGR_FETCH_URL();
    if (!openDemo(url))
        return;
    const QByteArray first = jpeg(Qt::red, 64, 48), second = jpeg(Qt::blue, 48, 64);
    FrmScanCopies *form = openCopies(3);
    QVERIFY(form);
    addByKeyboard(form, QStringLiteral("Signed page 1"), file(QStringLiteral("page1.jpg"), first));
    addByKeyboard(form, QStringLiteral("Signed page 2"), file(QStringLiteral("page2.jpg"), second));
    QTest::mouseClick(form->cmdOK, Qt::LeftButton);
    const QList<Stored> expected = {{"1", "Signed page 1", sha(first), 1},
                                    {"2", "Signed page 2", sha(second), 1}};
    QCOMPARE(storedCopies(*m_con, 3), expected);

    for (int cycle = 1; cycle <= 3; ++cycle) {
        QVERIFY(agr::unloadFrmAgreementreg());
        form = openCopies(3);
        QVERIFY(form);
        FlexGrid *grid = form->mfgDetails;
        QCOMPARE(grid->Rows(), 4);
        const QColor colours[] = {Qt::red, Qt::blue};
        const QByteArray *pages[] = {&first, &second};
        for (int row = 1; row <= 2; ++row) {
            QCOMPARE(grid->TextMatrix(row, 3), "E");
            QCOMPARE(readFile(grid->TextMatrix(row, 2)), *pages[row - 1]);
            QTest::mouseClick(grid->viewport(), Qt::LeftButton, {}, cellCentre(grid, row, 1));
            QCOMPARE(form->imgShow->picturePath(), grid->TextMatrix(row, 2));
            QVERIFY(form->imgShow->hasPicture());
            // The page itself is shown, not the one stored before it.
            const QImage shown = form->imgShow->grab().toImage();
            const QColor centre = shown.pixelColor(shown.width() / 2, shown.height() / 2);
            const QColor expectedColour = colours[row - 1];
            QVERIFY2(qAbs(centre.red() - expectedColour.red()) < 40 &&
                         qAbs(centre.blue() - expectedColour.blue()) < 40,
                     qPrintable(
                         QStringLiteral("cycle %1 row %2 shows %3").arg(cycle).arg(row).arg(centre.name())));
        }
        QTest::mouseClick(form->cmdOK, Qt::LeftButton);
        QTRY_VERIFY(!agr::frmScanCopiesIfLoaded());
        QCOMPARE(storedCopies(*m_con, 3), expected);
        QCOMPARE(agrtest::scalar(*m_con, QStringLiteral("select sum(length(agsDocuments)) from "
                                                        "AgreementScanCopyDetails where agsAgreementID = 3"))
                     .toLongLong(),
                 qint64(first.size() + second.size()));
    }
    QVERIFY(tempFiles().isEmpty());
}

void tst_ScanCopies::nullImageSkippedAndHighSerialKept()
{
    AGR_FETCH_URL();
    if (!openDemo(url))
        return;
    store(*m_con, 1, 2, 1, QStringLiteral("Empty"), QVariant());
    store(*m_con, 1, 2, 101, QStringLiteral("Late page"), jpeg(Qt::yellow));
    FrmScanCopies *form = openCopies(2);
    QVERIFY(form);
    QCOMPARE(form->mfgDetails->Rows(), 3);
    QCOMPARE(form->mfgDetails->TextMatrix(1, 1), "Late page");
    QCOMPARE(tempFiles(), QStringList({"pic101.jpg"}));

    QTest::mouseClick(form->cmdOK, Qt::LeftButton);
    QCOMPARE(storedCopies(*m_con, 2).size(), 1);
    QCOMPARE(storedCopies(*m_con, 2).first().serialNo, "101");
    // Only numbers 1 to 100 are cleared away.
    QCOMPARE(tempFiles(), QStringList({"pic101.jpg"}));
    QFile::remove(FrmScanCopies::tempFile(QStringLiteral("101")));
}

void tst_ScanCopies::closeStoresNothing()
{
    AGR_FETCH_URL();
    if (!openDemo(url))
        return;
    store(*m_con, 1, 4, 1, QStringLiteral("Contract"), jpeg(Qt::gray));
    const QList<Stored> before = storedCopies(*m_con, 4);
    for (const char *way : {"Command1", "Escape"}) {
        FrmScanCopies *form = openCopies(4);
        QVERIFY(form);
        addByKeyboard(form, QStringLiteral("Extra"), file(QStringLiteral("extra.jpg"), jpeg(Qt::cyan)));
        QCOMPARE(form->mfgDetails->Rows(), 4);
        QCOMPARE(tempFiles(), QStringList({"pic1.jpg"}));
        if (QByteArray(way) == "Command1")
            QTest::keyClick(form, Qt::Key_C, Qt::AltModifier);
        else
            QTest::keyClick(form, Qt::Key_Escape);
        QTRY_VERIFY(!agr::frmScanCopiesIfLoaded());
        QCOMPARE(storedCopies(*m_con, 4), before);
        QVERIFY(tempFiles().isEmpty());
        QVERIFY(agr::unloadFrmAgreementreg());
    }
}

// Copies are read and replaced by the agreement id alone: the departments' agreements with the same id
// share them.
void tst_ScanCopies::departmentsShareAnAgreementId()
{
    AGR_FETCH_URL();
    if (!openDemo(url))
        return;
    const QByteArray other = jpeg(Qt::magenta);
    store(*m_con, 2, 1, 1, QStringLiteral("Administration copy"), other);
    FrmScanCopies *form = openCopies(1);
    QVERIFY(form);
    QCOMPARE(form->mfgDetails->TextMatrix(1, 1), "Administration copy");
    QTest::mouseClick(form->cmdOK, Qt::LeftButton);
    // Stored again, now under this department.
    QCOMPARE(storedCopies(*m_con, 1), QList<Stored>({{"1", "Administration copy", sha(other), 1}}));
}

// A text file named .jpg: a clear line in the picture box instead of a picture, and the form goes on; the
// file is stored byte for byte.
void tst_ScanCopies::notAPicture()
{
    AGR_FETCH_URL();
    if (!openDemo(url))
        return;
    FrmScanCopies *form = openCopies(5);
    QVERIFY(form);
    const QByteArray text = "Not a picture at all\n";
    addByKeyboard(form, QStringLiteral("Notes"), file(QStringLiteral("notes.jpg"), text));
    QVERIFY(!form->imgShow->hasPicture());
    QVERIFY(form->imgShow->message().contains(QStringLiteral("cannot be shown as a picture")));
    QVERIFY(form->imgShow->message().contains(QStringLiteral("notes.jpg")));
    QVERIFY(m_boxes.isEmpty());
    QTest::mouseClick(form->cmdOK, Qt::LeftButton);
    QCOMPARE(storedCopies(*m_con, 5), QList<Stored>({{"1", "Notes", sha(text), 1}}));
}

QTEST_MAIN(tst_ScanCopies)
#include "tst_scancopies.moc"
