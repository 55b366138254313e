#pragma once
// A file written whole or not at all by something that writes it by name (SQLite's backup, pg_dump), where
// QSaveFile cannot stand between: it is written under a temporary name in the target's folder and takes
// its real name only at commit(), after it reached the disk.

#include <QString>

namespace platform {

class PendingFile
{
public:
    // Creates the empty temporary file (owner-only: a copy of a register is as private as the register);
    // raises when the folder cannot hold it.
    explicit PendingFile(const QString &file);
    ~PendingFile(); // removes the temporary file unless committed
    PendingFile(const PendingFile &) = delete;
    PendingFile &operator=(const PendingFile &) = delete;

    const QString &temporaryPath() const { return m_temporary; }
    // Flushes the temporary file to the disk and renames it over the real name; raises on failure.
    void commit();

private:
    QString m_file;
    QString m_temporary;
    bool m_committed = false;
};

} // namespace platform
