#include "savefile.h"

#include "platform/runtime/errors.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QTemporaryFile>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {

namespace {

const QString Source = QStringLiteral("platform.SaveFile");

[[noreturn]] void cannotWrite(const QString &path, const QString &why)
{
    Raise(FileAccessError, Source, QStringLiteral("Cannot write ") + path + QStringLiteral(": ") + why);
}

} // namespace

void saveWhole(const QString &path, const std::function<void(QIODevice &)> &write)
{
    if (QFileInfo(path).isDir())
        cannotWrite(path, QStringLiteral("it is a folder"));
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        cannotWrite(path, file.errorString());
    write(file); // an error here drops the new file: QSaveFile's destructor removes it
    if (!file.commit())
        cannotWrite(path, file.errorString());
}

ReplaceOnCommit::ReplaceOnCommit(const QString &target, Access access)
    : m_target(QFileInfo(target).absoluteFilePath()), m_access(access)
{
    if (QFileInfo(m_target).isDir())
        cannotWrite(m_target, QStringLiteral("it is a folder"));
    const QFileInfo existing(m_target);
    if (existing.exists() && !existing.isWritable())
        cannotWrite(m_target, QStringLiteral("the file is read-only"));
    // A name of our own beside the target, so that the rename stays on one file system; QTemporaryFile
    // makes it owner-only.
    QTemporaryFile reserve(m_target + QStringLiteral(".partial-XXXXXX"));
    reserve.setAutoRemove(false);
    if (!reserve.open())
        cannotWrite(m_target, reserve.errorString());
    m_temporary = reserve.fileName();
}

ReplaceOnCommit::~ReplaceOnCommit()
{
    if (!m_committed)
        QFile::remove(m_temporary);
}

void ReplaceOnCommit::commit()
{
    const QByteArray temporary = QFile::encodeName(m_temporary);
    const int fd = ::open(temporary.constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0 || ::fsync(fd) != 0) {
        const QString why = QString::fromLocal8Bit(std::strerror(errno));
        if (fd >= 0)
            ::close(fd);
        cannotWrite(m_target, why);
    }
    ::close(fd);
    if (m_access == Access::AsTarget) {
        // The new file gets the old one's permissions, or those a new file gets, not the private ones of a
        // temporary file.
        struct stat old = {};
        mode_t mode = 0;
        if (::stat(QFile::encodeName(m_target).constData(), &old) == 0) {
            mode = old.st_mode & 07777;
        } else {
            const mode_t mask = ::umask(0);
            ::umask(mask);
            mode = 0666 & ~mask;
        }
        ::chmod(temporary.constData(), mode);
    }
    // rename(2) replaces the target in one step, where QFile::rename would refuse an existing one: a reader
    // sees the old file or the new one.
    if (std::rename(temporary.constData(), QFile::encodeName(m_target).constData()) != 0)
        cannotWrite(m_target, QString::fromLocal8Bit(std::strerror(errno)));
    m_committed = true;
}

} // namespace platform
