#include "platform/database/pendingfile.h"

#include "platform/runtime/errors.h"

#include <QFile>
#include <QFileInfo>
#include <QTemporaryFile>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace platform {

namespace {

void raiseFileError(const QString &what, const QString &file, const QString &why)
{
    Raise(err::FileNotFound, QStringLiteral("platform"),
          what % QLatin1Char(' ') % file % QStringLiteral(": ") % why);
}

} // namespace

PendingFile::PendingFile(const QString &file) : m_file(QFileInfo(file).absoluteFilePath())
{
    QTemporaryFile temporary(m_file + QStringLiteral(".partial-XXXXXX"));
    temporary.setAutoRemove(false);
    if (!temporary.open())
        raiseFileError(QStringLiteral("cannot write"), m_file, temporary.errorString());
    m_temporary = temporary.fileName();
    temporary.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner);
}

PendingFile::~PendingFile()
{
    if (!m_committed && !m_temporary.isEmpty())
        QFile::remove(m_temporary);
}

void PendingFile::commit()
{
    const QByteArray temporary = QFile::encodeName(m_temporary);
    const int fd = ::open(temporary.constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0 || ::fsync(fd) != 0) {
        const QString why = QString::fromLocal8Bit(std::strerror(errno));
        if (fd >= 0)
            ::close(fd);
        raiseFileError(QStringLiteral("cannot write"), m_file, why);
    }
    ::close(fd);
    // rename() replaces an older file of that name in one step: a reader sees the old file or the new one.
    if (std::rename(temporary.constData(), QFile::encodeName(m_file).constData()) != 0)
        raiseFileError(QStringLiteral("cannot write"), m_file, QString::fromLocal8Bit(std::strerror(errno)));
    m_committed = true;
}

} // namespace platform
