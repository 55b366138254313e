#pragma once
// Files the program produces are written whole or not at all: a failure leaves the file that was there
// before as it was, and no partial file behind. Reports, exports, pictures, backups and calendars all go
// through one of these two.

#include <QString>
#include <functional>

class QIODevice;

namespace platform {

// The run-time error these raise when a file cannot be written (the original's "Path/File access error").
constexpr int FileAccessError = 75;

// Writes path through a QSaveFile: write fills the device; the file takes its place only when write
// returned normally and everything reached the disk. A write that raises leaves the old file as it was.
void saveWhole(const QString &path, const std::function<void(QIODevice &file)> &write);

// For writers that open a file by name themselves (a library writing a workbook, SQLite's backup, pg_dump):
// they write to temporaryPath(), a new name in the target's folder; commit() flushes that file to the disk
// and puts it in the target's place in one rename. Until then the target is untouched, and a
// ReplaceOnCommit never committed removes its file.
class ReplaceOnCommit
{
public:
    enum class Access
    {
        AsTarget, // the old file's permissions, or those a new file gets
        OwnerOnly // a copy of a whole register is as private as the register
    };
    explicit ReplaceOnCommit(const QString &target, Access access = Access::AsTarget);
    ~ReplaceOnCommit();
    ReplaceOnCommit(const ReplaceOnCommit &) = delete;
    ReplaceOnCommit &operator=(const ReplaceOnCommit &) = delete;

    const QString &temporaryPath() const { return m_temporary; }
    void commit();

private:
    QString m_target;
    QString m_temporary;
    Access m_access;
    bool m_committed = false;
};

} // namespace platform
