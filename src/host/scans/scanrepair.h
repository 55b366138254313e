#pragma once
// Scanned copies grown by the older loading of the scanned-copies form, and their repair.
//
// That loading kept one byte stream for all of an agreement's copies, so each opening followed by OK
// replaced copy k (in the order the form's select returns them, null images skipped) by copies 1..k as
// they were stored, one after the other; copies added meanwhile were stored after them as they were. One
// such cycle is undone exactly by taking, for the run of copies from the first on in which each copy
// begins with the whole of the one before and holds more, each copy's remainder after the one before; the
// step is repeated until nothing changes. What still holds more than one JPEG picture after that, what
// would keep no whole picture of a JPEG copy, and what begins with the copy before it outside that run
// cannot be told apart exactly and is left alone.

#include <QByteArray>
#include <QList>
#include <QString>

namespace platform {
class Connection;
}

namespace host {

// The undo applied until nothing changes: each copy's own bytes, in the order given.
QList<QByteArray> undoGrowth(const QList<QByteArray> &copies);

// How many whole JPEG pictures the bytes hold, the first at their start (0 when they do not start with a
// whole one); bytes between or after the pictures that start no whole picture are stepped over.
int jpegPictures(const QByteArray &bytes);

struct ScanFinding
{
    qint32 agreementId = 0;
    QString department; // as stored ("" for NULL)
    QString serialNo;   // agsDetailID as stored
    qint64 bytesBefore = 0;
    qint64 bytesAfter = 0; // as bytesBefore when left alone
    QString leftAlone;     // why the copy is left as it is; "" for a copy that is (or would be) changed
};

struct ScanRepair
{
    QList<ScanFinding> findings; // in agreement order, then in the form's loading order
    int agreementsChanged = 0;

    int changed() const;
    int leftAlone() const;
};

// Finds the grown copies of the agreements that have a copy stored for one of departments, and with apply
// rewrites them, one transaction per agreement: the agreement's copies are deleted and stored again in
// their loading order, the grown ones with their own bytes (the form stores them the same way). A copy of
// another department is read, for the order, and left alone. Raises on a database error; what an earlier
// agreement's transaction committed stays.
ScanRepair repairScans(platform::Connection &con, const QList<int> &departments, bool apply);

} // namespace host
