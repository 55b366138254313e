// The scanned copies: opening FrmScanCopies on an agreement with 20 stored scans of about 5 MB (6000 x 4000
// JPEGs), and storing 20 new ones with its OK, on SQLite and (when AGR_TEST_PG is set) PostgreSQL. Beside
// them, measured in the same run: the same bytes written and read as one binary column each through the
// connection layer, and each scan written once to a file of its own. Also the picture box decoding one such
// scan.

#include "data/schema.h"
#include "forms/list/frmmaster.h"
#include "forms/scancopies/frmscancopies.h"
#include "module/basagreementreg.h"
#include "module/modulecontext.h"
#include "platform/database/connection.h"
#include "platform/grid/flexgrid.h"
#include "platform/ui/picturebox.h"
#include "platform/ui/seams.h"
#include "support/testsupport.h"

#include "benchsupport.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QImageReader>
#include <QLineEdit>
#include <QRandomGenerator>
#include <QTemporaryDir>

#include <unistd.h>
#include <vector>

namespace {

namespace demo = agr::schema::demo;
using bench::line;
using bench::median;
using bench::ms;

const QDate Today(2026, 11, 15);
constexpr int Scans = 20;
constexpr int Repeats = 3;
constexpr int StoredId = 1; // the demo agreement the stored scans belong to
// The new scans go to an agreement id without copies each time, so that every store writes the same 20.
constexpr int NewIdBase = 1000;

// A page as a scanner gives it: grey paper with some grain, dark lines of "text", 6000 x 4000 pixels.
QByteArray scan()
{
    QImage page(6000, 4000, QImage::Format_Grayscale8);
    QRandomGenerator random(7);
    for (int y = 0; y < page.height(); ++y) {
        uchar *row = page.scanLine(y);
        const bool text = (y / 40) % 3 == 1;
        for (int x = 0; x < page.width(); ++x) {
            const int grain = int(random.bounded(24u));
            row[x] = uchar(text && (x / 9) % 7 < 5 ? 40 + grain : 215 + grain);
        }
    }
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    page.save(&buffer, "JPG", 85);
    return bytes;
}

// Scan i: the same page with i's own bytes after its end marker, so that no two files are equal.
QByteArray scanNo(const QByteArray &page, int i)
{
    return page + QByteArray::number(i).rightJustified(8, '0');
}

void writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        line(QStringLiteral("cannot write ") + path);
}

// Each timed step starts with the disk's write-back done, so that none pays for the files of the one before.
void settle()
{
    ::sync();
}

const QString Insert = QStringLiteral(
    "insert into AgreementScanCopyDetails (agsCompanyID,agsAgreementID,agsDepartmentID,agsDetailID,"
    "agsAgreementName,agsDocuments) values (?,?,?,?,?,?)");

void runBackend(const QString &label, platform::Connection &con)
{
    agr::schema::CreateSchema(con);
    agr::schema::LoadDemoData(con, Today);
    agrtest::setDemoContext(&con);
    platform::setModalHandler([](QWidget *) {});
    platform::setMsgBoxResponder([](const platform::MsgBoxCall &) { return platform::vb::No; });

    QTemporaryDir files;
    QTemporaryDir appFolder;
    qputenv("AGR_APP_PATH", appFolder.path().toLocal8Bit());
    const QByteArray page = scan();
    QStringList paths;
    qint64 total = 0;
    for (int i = 1; i <= Scans; ++i) {
        paths << files.filePath(QStringLiteral("scan%1.jpg").arg(i));
        writeFile(paths.last(), scanNo(page, i));
        total += page.size() + 8;
    }
    line(QStringLiteral("%1: %2 scans of %3 MB (6000 x 4000)")
             .arg(label)
             .arg(Scans)
             .arg(page.size() / 1e6, 0, 'f', 1));

    // The stored scans of the agreement the form opens on.
    {
        con.BeginTrans();
        platform::Command cmd(con);
        cmd.setCommandText(Insert);
        cmd.ParametersRefresh();
        for (int i = 1; i <= Scans; ++i)
            cmd.Execute({demo::CompanyId, StoredId, demo::DepartmentId, i, QStringLiteral("Page %1").arg(i),
                         platform::LoadFromFile(paths.at(i - 1))});
        con.CommitTrans();
    }

    agr::frmMaster();
    std::vector<double> loads, stores, rawReads, rawWrites, fileWrites;
    for (int r = 0; r < Repeats; ++r) {
        // Opening the form: the stored scans read and written to their temporary files.
        settle();
        agr::bas::currentAgreementId() = StoredId;
        QElapsedTimer timer;
        timer.start();
        agr::FrmScanCopies *form = agr::frmScanCopies();
        loads.push_back(ms(timer));
        if (form->mfgDetails->Rows() != Scans + 2)
            line(QStringLiteral("%1: MISMATCH the form shows %2 rows")
                     .arg(label)
                     .arg(form->mfgDetails->Rows() - 2));
        agr::unloadFrmScanCopies();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);

        // Storing 20 new scans with OK.
        agr::bas::currentAgreementId() = NewIdBase + r;
        form = agr::frmScanCopies();
        for (int i = 1; i <= Scans; ++i) {
            form->txtName->setText(QStringLiteral("New page %1").arg(i));
            form->txtBrowse->setText(paths.at(i - 1));
            form->cmdAdd_Click();
        }
        settle();
        timer.restart();
        form->cmdOK_Click();
        stores.push_back(ms(timer));
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);

        settle();
        // Raw: the same bytes read, one binary column each.
        timer.restart();
        qint64 read = 0;
        {
            platform::Recordset rs = con.Execute(
                QStringLiteral("select agsDocuments from AgreementScanCopyDetails where agsAgreementID = ") +
                QString::number(StoredId));
            for (; !rs.isEOF(); rs.MoveNext())
                read += rs.Fields(0).Value().toByteArray().size();
        }
        rawReads.push_back(ms(timer));
        if (read != total)
            line(QStringLiteral("%1: MISMATCH raw read %2 bytes of %3").arg(label).arg(read).arg(total));

        settle();
        // Raw: the same bytes written in one transaction, read from their files.
        timer.restart();
        con.BeginTrans();
        const int rawId = -1 - r; // like the form's store: an id without copies, deleted first all the same
        con.Execute(QStringLiteral("delete from AgreementScanCopyDetails where agsAgreementID = ") +
                    QString::number(rawId));
        {
            platform::Command cmd(con);
            cmd.setCommandText(Insert);
            cmd.ParametersRefresh();
            for (int i = 1; i <= Scans; ++i)
                cmd.Execute({demo::CompanyId, rawId, demo::DepartmentId, i, QStringLiteral("Raw %1").arg(i),
                             platform::LoadFromFile(paths.at(i - 1))});
        }
        con.CommitTrans();
        rawWrites.push_back(ms(timer));

        settle();
        // On disk: each scan written once to a file of its own, from bytes already in memory.
        std::vector<QByteArray> images;
        for (int i = 1; i <= Scans; ++i)
            images.push_back(scanNo(page, i));
        timer.restart();
        for (int i = 1; i <= Scans; ++i)
            writeFile(appFolder.filePath(QStringLiteral("once%1.jpg").arg(i)), images[size_t(i - 1)]);
        fileWrites.push_back(ms(timer));
        for (const QString &name : QDir(appFolder.path()).entryList({"once*"}))
            QFile::remove(appFolder.filePath(name));
    }

    const double load = median(loads), store = median(stores), rawRead = median(rawReads),
                 rawWrite = median(rawWrites), filesOnce = median(fileWrites);
    line(QStringLiteral("%1: open with %2 stored scans: Form_Load %3 ms; raw read %4 ms (ratio %5); each "
                        "scan written once to its file %6 ms (%7 MB); raw read plus those files %8 ms "
                        "(ratio %9)")
             .arg(label)
             .arg(Scans)
             .arg(load, 0, 'f', 0)
             .arg(rawRead, 0, 'f', 0)
             .arg(load / rawRead, 0, 'f', 2)
             .arg(filesOnce, 0, 'f', 0)
             .arg(double(total) / 1e6, 0, 'f', 0)
             .arg(rawRead + filesOnce, 0, 'f', 0)
             .arg(load / (rawRead + filesOnce), 0, 'f', 2));
    line(QStringLiteral("%1: store %2 new scans: cmdOK_Click %3 ms; raw write %4 ms (ratio %5)")
             .arg(label)
             .arg(Scans)
             .arg(store, 0, 'f', 0)
             .arg(rawWrite, 0, 'f', 0)
             .arg(store / rawWrite, 0, 'f', 2));

    // The picture box: one scan decoded at the size it is shown, against decoding it whole.
    platform::PictureBox box;
    box.resize(600, 450);
    QElapsedTimer timer;
    timer.start();
    box.LoadPicture(paths.first());
    const double shown = ms(timer);
    timer.restart();
    const QImage whole = QImageReader(paths.first()).read();
    const double full = ms(timer);
    line(QStringLiteral("%1: picture box: a scan shown at %2 x %3 in %4 ms; decoded whole (%5 x %6) %7 ms")
             .arg(label)
             .arg(box.decodedSize().width())
             .arg(box.decodedSize().height())
             .arg(shown, 0, 'f', 0)
             .arg(whole.width())
             .arg(whole.height())
             .arg(full, 0, 'f', 0));

    agr::unloadFrmMaster();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    agr::context().setConnection(nullptr);
}

} // namespace

int main(int argc, char **argv)
{
    return bench::runOnBackends(argc, argv, QStringLiteral("bench_scans"), runBackend);
}
