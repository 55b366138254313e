#pragma once
// Text of the scanned pages. The database queues every scanned copy that is stored, changed or removed
// (agrScanUnread); the reader takes the queue, reads each picture with Tesseract, keeps the text with the
// engine's confidence by the SHA-256 of the picture's bytes (agrScanText: the same bytes are never read
// twice) and writes the copy's index rows. The program reads on a thread of its own while the module is
// shown (ScanReadingThread); `agreement-register index` reads what is left.

#include <QByteArray>
#include <QImage>
#include <QList>
#include <QMutex>
#include <QString>
#include <QThread>
#include <QWaitCondition>

#include <functional>
#include <memory>

namespace tesseract {
class TessBaseAPI;
}

namespace platform {
class Connection;
}

namespace host {

struct PageText
{
    QString text;
    double confidence = 0; // the engine's mean word confidence, 0..100
    bool picture = false;  // false: the bytes are no picture; the text is empty
};

// One Tesseract engine; use it on one thread at a time.
class PageReader
{
public:
    // languages as Tesseract names them ("eng+tam"); empty: AGR_OCR_LANGUAGES when set, else English with
    // Tamil when its data is installed.
    explicit PageReader(QString languages = QString());
    ~PageReader();
    PageReader(const PageReader &) = delete;
    PageReader &operator=(const PageReader &) = delete;

    const QString &languages() const { return m_languages; }
    // Empty when the engine started; otherwise why not.
    const QString &failure() const { return m_failure; }

    PageText read(const QByteArray &bytes);
    // The picture in bytes as the engine reads it: one grey byte a pixel, its resolution kept; null when the
    // bytes are no picture.
    static QImage decodeGrey(const QByteArray &bytes);

private:
    QString m_languages;
    QString m_failure;
    std::unique_ptr<tesseract::TessBaseAPI> m_api;
};

// The hex SHA-256 of bytes: the key of a read page.
QString pageKey(const QByteArray &bytes);

struct ReadCounts
{
    int read = 0;    // pictures given to the engine
    int known = 0;   // pictures whose text was kept already
    int skipped = 0; // copies of departments not given, left queued
    int total = 0;   // queued copies found
};

// Reads the queue once. departments: whose copies this session may index (none: all). progress is told
// after each copy and may return false to stop. Raises what the database raises.
ReadCounts readUnreadScans(platform::Connection &con, PageReader &reader, const QList<int> &departments,
                           const std::function<bool(const ReadCounts &)> &progress = {});

// Reads the queue of the database at url on a thread of its own, again every few seconds, until stop().
class ScanReadingThread : public QThread
{
public:
    ScanReadingThread(QString url, QList<int> departments, int intervalMs = 3000);
    ~ScanReadingThread() override;
    void stop();
    // Reads at once instead of waiting for the interval.
    void wake();

protected:
    void run() override;

private:
    QString m_url;
    QList<int> m_departments;
    int m_interval;
    QMutex m_mutex;
    QWaitCondition m_wake;
    bool m_woken = false;
};

} // namespace host
