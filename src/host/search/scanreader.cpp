#include "host/search/scanreader.h"

#include "data/searchindex.h"
#include "platform/database/connection.h"
#include "platform/runtime/errors.h"

#include <QBuffer>
#include <QCryptographicHash>
#include <QDateTime>
#include <QImage>
#include <QImageReader>
#include <QLoggingCategory>
#include <QSet>

#include <jpeglib.h>
#include <omp.h>
#include <tesseract/baseapi.h>

#include <algorithm>
#include <csetjmp>
#include <string>
#include <vector>

Q_LOGGING_CATEGORY(lcScans, "agr.search.scans")

namespace host {

namespace {

constexpr int AssumedDpi = 300;

QString scanCondition(const QVariant &detail)
{
    return detail.isNull() ? QStringLiteral(" is null")
                           : QStringLiteral(" = ") + QString::number(detail.toLongLong());
}

struct JpegFailure
{
    jpeg_error_mgr manager;
    std::jmp_buf jump;
};

// libjpeg reports a broken picture through this hook, which must not return.
[[noreturn]] void jpegFailed(j_common_ptr info)
{
    std::longjmp(reinterpret_cast<JpegFailure *>(info->err)->jump, 1);
}

void jpegSilent(j_common_ptr) {}

// A JPEG's grey is its luminance, which libjpeg hands out without decoding or converting the colour planes:
// about half the work of decoding a colour scan to RGB and turning that to grey, and no RGB copy of the
// page in memory. False when libjpeg cannot give grey (CMYK) or the data is broken; *image is then to be
// dropped. No C++ object of this frame changes between setjmp and a longjmp.
bool readJpegLuminance(const QByteArray &bytes, QImage *image)
{
    jpeg_decompress_struct info{};
    JpegFailure failure{};
    info.err = jpeg_std_error(&failure.manager);
    failure.manager.error_exit = jpegFailed;
    failure.manager.output_message = jpegSilent;
    if (setjmp(failure.jump) != 0) {
        jpeg_destroy_decompress(&info);
        return false;
    }
    jpeg_create_decompress(&info);
    jpeg_mem_src(&info, reinterpret_cast<const unsigned char *>(bytes.constData()),
                 static_cast<unsigned long>(bytes.size()));
    if (jpeg_read_header(&info, TRUE) != JPEG_HEADER_OK ||
        (info.jpeg_color_space != JCS_YCbCr && info.jpeg_color_space != JCS_GRAYSCALE)) {
        jpeg_destroy_decompress(&info);
        return false;
    }
    info.out_color_space = JCS_GRAYSCALE;
    jpeg_start_decompress(&info);
    if (info.output_components != 1) {
        jpeg_destroy_decompress(&info);
        return false;
    }
    *image = QImage(int(info.output_width), int(info.output_height), QImage::Format_Grayscale8);
    if (image->isNull()) {
        jpeg_destroy_decompress(&info);
        return false;
    }
    while (info.output_scanline < info.output_height) {
        JSAMPROW row = image->scanLine(int(info.output_scanline));
        jpeg_read_scanlines(&info, &row, 1);
    }
    // JFIF density: unit 1 dots per inch, 2 dots per centimetre, 0 none.
    const double perMetre = info.density_unit == 1 ? 1 / 0.0254 : (info.density_unit == 2 ? 100 : 0);
    if (perMetre > 0 && info.X_density > 0 && info.Y_density > 0) {
        image->setDotsPerMeterX(qRound(info.X_density * perMetre));
        image->setDotsPerMeterY(qRound(info.Y_density * perMetre));
    }
    jpeg_finish_decompress(&info);
    jpeg_destroy_decompress(&info);
    return true;
}

} // namespace

PageReader::PageReader(QString languages)
    : m_languages(std::move(languages)), m_api(new tesseract::TessBaseAPI)
{
    if (m_languages.isEmpty())
        m_languages = qEnvironmentVariable("AGR_OCR_LANGUAGES");
    const bool chosen = !m_languages.isEmpty();
    if (!chosen)
        m_languages = QStringLiteral("eng");
    // Tesseract's own diagnostics would otherwise go to stderr for every page.
    m_api->SetVariable("debug_file", "/dev/null");
    if (m_api->Init(nullptr, m_languages.toUtf8().constData()) != 0) {
        m_failure = QStringLiteral("Tesseract cannot start with the languages %1 (is tesseract-ocr-eng "
                                   "installed?)")
                        .arg(m_languages);
        return;
    }
    if (!chosen) {
        std::vector<std::string> available;
        m_api->GetAvailableLanguagesAsVector(&available);
        if (std::find(available.begin(), available.end(), "tam") != available.end()) {
            m_languages = QStringLiteral("eng+tam");
            if (m_api->Init(nullptr, "eng+tam") != 0) {
                m_languages = QStringLiteral("eng");
                m_api->Init(nullptr, "eng");
            }
        }
    }
    m_api->SetVariable("debug_file", "/dev/null");
}

PageReader::~PageReader()
{
    if (m_api)
        m_api->End();
}

PageText PageReader::read(const QByteArray &bytes)
{
    PageText page;
    if (!m_failure.isEmpty())
        platform::Raise(platform::err::DatabaseError, QStringLiteral("index"), m_failure);
    const QImage image = decodeGrey(bytes);
    if (image.isNull())
        return page;
    page.picture = true;
    // Tesseract asks OpenMP for a fixed team of threads that spin while they wait for work: on a machine
    // busy with anything else a page then took four to five times as long, and its spinning took cores
    // from the clerk's window. Dynamic teams get only the cores the load leaves free. It holds for the
    // parallel work started from this thread.
    omp_set_dynamic(1);
    m_api->SetImage(image.constBits(), image.width(), image.height(), 1, int(image.bytesPerLine()));
    const int dpi = qRound(image.dotsPerMeterX() * 0.0254);
    m_api->SetSourceResolution(dpi >= 70 && dpi <= 2400 ? dpi : AssumedDpi);
    if (m_api->Recognize(nullptr) == 0) {
        const std::unique_ptr<char[]> text(m_api->GetUTF8Text());
        page.text = text ? QString::fromUtf8(text.get()).trimmed() : QString();
        page.confidence = m_api->MeanTextConf();
    }
    m_api->Clear();
    return page;
}

QImage PageReader::decodeGrey(const QByteArray &bytes)
{
    QBuffer buffer;
    buffer.setData(bytes);
    buffer.open(QIODevice::ReadOnly);
    QImageReader header(&buffer);
    // A picture to be turned upright (a photo's EXIF orientation) goes the general way, which turns it.
    if (header.format() == "jpeg" && header.transformation() == QImageIOHandler::TransformationNone) {
        QImage image;
        if (readJpegLuminance(bytes, &image))
            return image;
    }
    return QImage::fromData(bytes).convertToFormat(QImage::Format_Grayscale8);
}

QString pageKey(const QByteArray &bytes)
{
    return QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex());
}

ReadCounts readUnreadScans(platform::Connection &con, PageReader &reader, const QList<int> &departments,
                           const std::function<bool(const ReadCounts &)> &progress)
{
    ReadCounts counts;
    struct Queued
    {
        qint64 agreement;
        QVariant detail;
        qint64 lastQueueId;
    };
    QList<Queued> queue;
    {
        platform::Recordset rs = con.Execute(QStringLiteral(
            "select AgreementID, DetailID, max(QueueID) from agrScanUnread group by AgreementID, DetailID "
            "order by min(QueueID)"));
        for (; !rs.isEOF(); rs.MoveNext())
            queue.append(
                {rs.Fields(0).Value().toLongLong(), rs.Fields(1).Value(), rs.Fields(2).Value().toLongLong()});
    }
    counts.total = int(queue.size());
    const QSet<int> mine(departments.cbegin(), departments.cend());
    for (const Queued &q : std::as_const(queue)) {
        const QString where = QStringLiteral(" where agsAgreementID = ") + QString::number(q.agreement) +
                              QStringLiteral(" and agsDetailID") + scanCondition(q.detail);
        struct Copy
        {
            QVariant department;
            QString name;
            QString text;
        };
        QList<Copy> copies;
        bool others = false;
        platform::Recordset rs = con.Execute(
            QStringLiteral(
                "select agsDepartmentID, agsAgreementName, agsDocuments from AgreementScanCopyDetails") +
            where);
        for (; !rs.isEOF(); rs.MoveNext()) {
            const QVariant department = rs.Fields(0).Value();
            if (!mine.isEmpty() && (department.isNull() || !mine.contains(department.toInt()))) {
                others = true;
                break;
            }
            const QByteArray bytes = rs.Fields(2).Value().toByteArray();
            const QString key = pageKey(bytes);
            platform::Command find(con);
            find.setCommandText(QStringLiteral("select Body from agrScanText where Sha256 = ?"));
            find.ParametersRefresh();
            platform::Recordset kept = find.Execute({key});
            QString text;
            if (!kept.isEOF()) {
                text = kept.Fields(0).joinEmpty();
                ++counts.known;
            } else {
                const PageText page = reader.read(bytes);
                text = page.text;
                ++counts.read;
                platform::Command store(con);
                store.setCommandText(
                    QStringLiteral("insert into agrScanText (Sha256, Body, Confidence, Languages, "
                                   "ReadAt) values (?,?,?,?,?) on conflict (Sha256) do nothing"));
                store.ParametersRefresh();
                store.Execute({key, text, page.confidence,
                               page.picture ? reader.languages() : QStringLiteral("no picture"),
                               QDateTime::currentDateTime()});
            }
            copies.append({department, rs.Fields(1).joinEmpty(), text});
        }
        if (others) {
            ++counts.skipped;
        } else {
            // Copies changed while they were read were queued again, and are read again on the next pass.
            con.BeginTrans();
            try {
                con.Execute(QStringLiteral("delete from agrSearchRows where Place = '") +
                            QLatin1String(agr::schema::place::Scan) + QStringLiteral("' and AgreementID = ") +
                            QString::number(q.agreement) + QStringLiteral(" and DetailID") +
                            scanCondition(q.detail));
                for (const Copy &copy : std::as_const(copies)) {
                    if (copy.text.trimmed().isEmpty() || copy.department.isNull())
                        continue;
                    platform::Command insert(con);
                    insert.setCommandText(
                        QStringLiteral("insert into agrSearchRows (DepartmentID, AgreementID, "
                                       "Place, DetailID, Label, Body) values (?,?,?,?,?,?)"));
                    insert.ParametersRefresh();
                    insert.Execute({copy.department, q.agreement, QLatin1String(agr::schema::place::Scan),
                                    q.detail, copy.name, copy.text});
                }
                con.Execute(QStringLiteral("delete from agrScanUnread where AgreementID = ") +
                            QString::number(q.agreement) + QStringLiteral(" and DetailID") +
                            scanCondition(q.detail) + QStringLiteral(" and QueueID <= ") +
                            QString::number(q.lastQueueId));
                con.CommitTrans();
            } catch (...) {
                platform::Trap([&] { con.RollbackTrans(); }, {});
                throw;
            }
        }
        if (progress && !progress(counts))
            break;
    }
    return counts;
}

ScanReadingThread::ScanReadingThread(QString url, QList<int> departments, int intervalMs)
    : m_url(std::move(url)), m_departments(std::move(departments)), m_interval(intervalMs)
{
}

ScanReadingThread::~ScanReadingThread()
{
    stop();
}

void ScanReadingThread::stop()
{
    requestInterruption();
    wake();
    wait();
}

void ScanReadingThread::wake()
{
    QMutexLocker lock(&m_mutex);
    m_woken = true;
    m_wake.wakeAll();
}

void ScanReadingThread::run()
{
    // The thread's own connection: a connection belongs to the thread that opened it.
    platform::Connection con;
    std::unique_ptr<PageReader> reader;
    while (!isInterruptionRequested()) {
        platform::Trap(
            [&] {
                if (!con.isOpen()) {
                    con.Open(m_url);
                    con.setStatementLogEnabled(false);
                }
                if (!reader)
                    reader = std::make_unique<PageReader>();
                readUnreadScans(con, *reader, m_departments,
                                [this](const ReadCounts &) { return !isInterruptionRequested(); });
            },
            [&](const platform::RuntimeError &e) {
                qCWarning(lcScans) << "reading scanned pages:" << e.description();
            });
        QMutexLocker lock(&m_mutex);
        if (!m_woken && !isInterruptionRequested())
            m_wake.wait(&m_mutex, m_interval);
        m_woken = false;
    }
}

} // namespace host
