#include "host/scans/scanrepair.h"

#include "platform/database/connection.h"
#include "platform/runtime/errors.h"

#include <QStringList>
#include <QVariantList>

#include <algorithm>

namespace host {

namespace {

// ---- JPEG structure -------------------------------------------------------------------------------

bool startsPicture(const QByteArray &bytes, qsizetype at)
{
    return at + 3 <= bytes.size() && uchar(bytes[at]) == 0xFF && uchar(bytes[at + 1]) == 0xD8 &&
           uchar(bytes[at + 2]) == 0xFF;
}

// The offset just after the end marker of the picture that starts at `at`; -1 when it does not end.
// Segments are stepped over by their lengths (a thumbnail inside one is not seen), and the coded data
// after a start of scan runs to the next marker that is neither a stuffed byte nor a restart.
qsizetype pictureEnd(const QByteArray &bytes, qsizetype at)
{
    const qsizetype n = bytes.size();
    const auto byte = [&](qsizetype i) { return uchar(bytes[i]); };
    qsizetype i = at + 2;
    while (i < n) {
        if (byte(i) != 0xFF)
            return -1;
        while (i < n && byte(i) == 0xFF)
            ++i;
        if (i >= n)
            return -1;
        const uchar marker = byte(i++);
        if (marker == 0xD9)
            return i;
        if (marker == 0xD8 || marker == 0x01 || (marker >= 0xD0 && marker <= 0xD7))
            continue;
        if (i + 2 > n)
            return -1;
        const int length = (byte(i) << 8) | byte(i + 1);
        if (length < 2)
            return -1;
        i += length;
        if (marker != 0xDA)
            continue;
        while (i < n) {
            if (byte(i) == 0xFF && i + 1 < n) {
                const uchar next = byte(i + 1);
                if (next == 0x00 || (next >= 0xD0 && next <= 0xD7)) {
                    i += 2;
                    continue;
                }
                break;
            }
            ++i;
        }
    }
    return -1;
}

// ---- the agreement's copies ---------------------------------------------------------------------------

const char *const Columns[] = {"agsCompanyID", "agsAgreementID",   "agsDepartmentID",
                               "agsDetailID",  "agsAgreementName", "agsDocuments"};
constexpr int DepartmentColumn = 2;
constexpr int SerialColumn = 3;
constexpr int ImageColumn = 5;

struct StoredRow
{
    QVariantList values; // in the order of Columns
    bool hasImage() const { return !values.at(ImageColumn).isNull(); }
};

QString idText(qint32 agreementId)
{
    return QString::number(agreementId);
}

// As the form reads them, so that the order is the form's.
QList<StoredRow> readCopies(platform::Connection &con, qint32 agreementId)
{
    QList<StoredRow> rows;
    platform::Recordset rs =
        con.Execute(QStringLiteral("Select * from AgreementScanCopyDetails where agsAgreementID = ") +
                    idText(agreementId));
    for (; !rs.isEOF(); rs.MoveNext()) {
        StoredRow row;
        for (const char *column : Columns)
            row.values << rs.Fields(QLatin1String(column)).Value();
        rows << row;
    }
    return rows;
}

void storeAgain(platform::Connection &con, qint32 agreementId, const QList<StoredRow> &rows)
{
    const platform::Recordset removed = con.Execute(
        QStringLiteral("Delete from AgreementScanCopyDetails where agsAgreementID = ") + idText(agreementId));
    if (removed.RecordsAffected() != rows.size())
        platform::Raise(platform::err::DatabaseError, QStringLiteral("scans repair"),
                        QStringLiteral("the copies of agreement %1 changed while they were repaired; nothing "
                                       "of it was changed, run the repair again")
                            .arg(agreementId));
    platform::Command insert(con);
    insert.setCommandText(QStringLiteral(
        "insert into AgreementScanCopyDetails (agsCompanyID,agsAgreementID,agsDepartmentID,agsDetailID,"
        "agsAgreementName,agsDocuments) values (?,?,?,?,?,?)"));
    insert.ParametersRefresh();
    for (const StoredRow &row : rows)
        insert.Execute(row.values);
}

QString textOf(const QVariant &value)
{
    return value.isNull() ? QString() : value.toString();
}

// The findings for one agreement's copies; rows get the bytes of the copies that change.
QList<ScanFinding> examine(qint32 agreementId, QList<StoredRow> &rows, const QList<int> &departments)
{
    QList<int> withImage;
    QList<QByteArray> stored;
    for (int r = 0; r < rows.size(); ++r) {
        if (rows.at(r).hasImage()) {
            withImage << r;
            stored << rows.at(r).values.at(ImageColumn).toByteArray();
        }
    }
    const QList<QByteArray> own = undoGrowth(stored);

    QList<ScanFinding> findings;
    for (int k = 0; k < own.size(); ++k) {
        StoredRow &row = rows[withImage.at(k)];
        ScanFinding finding;
        finding.agreementId = agreementId;
        finding.department = textOf(row.values.at(DepartmentColumn));
        finding.serialNo = textOf(row.values.at(SerialColumn));
        finding.bytesBefore = stored.at(k).size();
        finding.bytesAfter = finding.bytesBefore;
        const int pictures = jpegPictures(own.at(k));
        const bool pictureLost = pictures == 0 && jpegPictures(stored.at(k)) > 0;
        // Outside the run from the first copy, a copy that still begins with the one before does not fit
        // the older loading: the copies were reordered or changed since, and its own bytes are not known.
        const bool strayChain = k > 0 && !own.at(k - 1).isEmpty() &&
                                own.at(k).size() > own.at(k - 1).size() &&
                                own.at(k).startsWith(own.at(k - 1));
        if (pictures > 1)
            finding.leftAlone =
                QStringLiteral("it holds %1 JPEG pictures%2, and which are its own cannot be "
                               "told")
                    .arg(pictures)
                    .arg(own.at(k) == stored.at(k) ? QString() : QStringLiteral(" after the repair"));
        else if (pictureLost)
            finding.leftAlone = QStringLiteral("what would be left of it is no JPEG picture");
        else if (strayChain)
            finding.leftAlone =
                QStringLiteral("it begins with the copy before it, but the copies before that "
                               "do not follow the older loading");
        else if (own.at(k) == stored.at(k))
            continue;
        else if (!departments.contains(row.values.at(DepartmentColumn).toInt()))
            finding.leftAlone = QStringLiteral("its department is not one this login acts for");
        if (finding.leftAlone.isEmpty()) {
            finding.bytesAfter = own.at(k).size();
            row.values[ImageColumn] = own.at(k);
        }
        findings << finding;
    }
    return findings;
}

QList<qint32> agreementsWithCopies(platform::Connection &con, const QList<int> &departments)
{
    QStringList ids;
    for (int department : departments)
        ids << QString::number(department);
    QList<qint32> agreements;
    if (ids.isEmpty())
        return agreements;
    for (platform::Recordset rs =
             con.Execute(QStringLiteral("select distinct agsAgreementID from AgreementScanCopyDetails where "
                                        "agsDepartmentID in (") +
                         ids.join(QLatin1Char(',')) + QStringLiteral(") order by agsAgreementID"));
         !rs.isEOF(); rs.MoveNext())
        agreements << rs.Fields(0).toLong();
    return agreements;
}

} // namespace

QList<QByteArray> undoGrowth(const QList<QByteArray> &copies)
{
    QList<QByteArray> current = copies;
    for (;;) {
        QList<QByteArray> next = current;
        bool changed = false;
        for (qsizetype k = 1; k < current.size(); ++k) {
            const QByteArray &before = current.at(k - 1);
            const QByteArray &copy = current.at(k);
            if (copy.size() <= before.size() || !copy.startsWith(before))
                break;
            if (before.isEmpty())
                continue;
            next[k] = copy.mid(before.size());
            changed = true;
        }
        if (!changed)
            return current;
        current = std::move(next);
    }
}

int jpegPictures(const QByteArray &bytes)
{
    if (!startsPicture(bytes, 0))
        return 0;
    // Bytes a scanner or camera leaves after a picture's end may stand between two stored copies.
    const QByteArray start("\xFF\xD8\xFF", 3);
    int pictures = 0;
    qsizetype at = 0;
    while (at >= 0) {
        const qsizetype end = pictureEnd(bytes, at);
        if (end >= 0)
            ++pictures;
        else if (at == 0)
            return 0;
        at = bytes.indexOf(start, end >= 0 ? end : at + 1);
    }
    return pictures;
}

int ScanRepair::changed() const
{
    int count = 0;
    for (const ScanFinding &finding : findings)
        count += finding.leftAlone.isEmpty() ? 1 : 0;
    return count;
}

int ScanRepair::leftAlone() const
{
    return int(findings.size()) - changed();
}

ScanRepair repairScans(platform::Connection &con, const QList<int> &departments, bool apply)
{
    ScanRepair repair;
    const QList<qint32> agreements = agreementsWithCopies(con, departments);
    for (qint32 agreementId : agreements) {
        // With apply the copies are read inside the transaction that rewrites them.
        if (apply)
            con.BeginTrans();
        try {
            QList<StoredRow> rows = readCopies(con, agreementId);
            const QList<ScanFinding> findings = examine(agreementId, rows, departments);
            const bool changes = std::any_of(findings.cbegin(), findings.cend(),
                                             [](const ScanFinding &f) { return f.leftAlone.isEmpty(); });
            if (apply && changes)
                storeAgain(con, agreementId, rows);
            if (apply)
                con.CommitTrans();
            repair.findings << findings;
            repair.agreementsChanged += changes ? 1 : 0;
        } catch (...) {
            if (apply && con.transactionLevel() > 0)
                platform::Trap([&] { con.RollbackTrans(); }, {});
            throw;
        }
    }
    return repair;
}

} // namespace host
