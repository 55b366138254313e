#pragma once
// What tests and benchmarks share besides their databases: the number of the error a piece of code raises,
// and the module context as the host's Show leaves it for the demo data.

#include "data/schema.h"
#include "module/modulecontext.h"
#include "platform/runtime/errors.h"
#include "support/testdb.h"

#include <QBuffer>
#include <QColor>
#include <QDateTime>
#include <QImage>
#include <QProcess>
#include <functional>
#include <memory>

namespace agrtest {

// A small JPEG of one colour: a scanned page whose bytes tell it apart from another colour's.
inline QByteArray jpeg(QColor colour, int width = 64, int height = 48)
{
    QImage image(width, height, QImage::Format_RGB32);
    image.fill(colour);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "JPG");
    return bytes;
}

// The number of the run-time error body raises, 0 when it raises none; the error itself into *raised.
inline int errorOf(const std::function<void()> &body, platform::RuntimeError *raised = nullptr)
{
    int number = 0;
    platform::Trap(body, [&](const platform::RuntimeError &e) {
        number = e.number();
        if (raised)
            *raised = e;
    });
    return number;
}

// The text of a PDF as pdftotext reads it (columns kept in place), or what went wrong.
inline QString pdfText(const QString &path)
{
    QProcess process;
    process.start(QStringLiteral("pdftotext"), {QStringLiteral("-layout"), path, QStringLiteral("-")});
    if (!process.waitForFinished(60000) || process.exitCode() != 0)
        return QStringLiteral("pdftotext failed: ") + QString::fromLocal8Bit(process.readAllStandardError());
    return QString::fromUtf8(process.readAllStandardOutput());
}

// The module context for the demo data: the user in department 1 of company 1 under interface 1003,
// processing on DemoToday (the day openFresh dates the demo data from), on con.
inline void setDemoContext(platform::Connection *con, qint32 userId = agr::schema::demo::ClerkUserId,
                           const QString &caption = QStringLiteral("Agreement Register"))
{
    namespace demo = agr::schema::demo;
    agr::ModuleContext &ctx = agr::context();
    ctx.setConnection(con);
    ctx.processDate = QDateTime(DemoToday, QTime(0, 0));
    ctx.userId = userId;
    ctx.companyId = demo::CompanyId;
    ctx.departmentId = demo::DepartmentId;
    ctx.interfaceId = demo::InterfaceId;
    ctx.msgBoxCaption = caption;
}

// The caption the form tests' message boxes carry.
inline const QString FormCaption = QStringLiteral("Agreements");

// The start of a form test: a brand-new database of the row's backend with the demo data, and the module
// context set for it as Show leaves it. nullptr after marking the case; the caller returns.
inline std::unique_ptr<platform::Connection> openDemo(const QString &url,
                                                      qint32 userId = agr::schema::demo::ClerkUserId,
                                                      const QString &caption = FormCaption)
{
    auto con = openFresh(url, true, true, DemoToday);
    if (con)
        setDemoContext(con.get(), userId, caption);
    return con;
}

} // namespace agrtest
