#include "activitychain.h"

#include "data/schema.h"
#include "platform/database/connection.h"
#include "platform/runtime/errors.h"

#include <QCryptographicHash>
#include <QDateTime>

namespace suite::chain {

namespace {

enum class Kind
{
    Integer,
    Number,
    Text,
    Stamp
};

constexpr Kind Kinds[ContentCount] = {Kind::Integer, Kind::Integer, Kind::Integer,
                                      Kind::Integer, Kind::Number,  Kind::Text,
                                      Kind::Text,    Kind::Text,    Kind::Stamp};

// Any key will do as long as every writer of the log takes the same one.
constexpr char AppendLockKey[] = "1634169393";

const QString Table = QLatin1String(agr::schema::table::ActivityLog);

// One value as the hash sees it; the leading letter keeps a NULL apart from the text "N".
QString canonical(Kind kind, const QVariant &value)
{
    if (!value.isValid() || value.isNull())
        return QStringLiteral("N");
    switch (kind) {
    case Kind::Integer:
        return QLatin1Char('I') + QString::number(value.toLongLong());
    case Kind::Number:
        return QLatin1Char('D') + QString::number(value.toDouble(), 'g', 17);
    case Kind::Text:
        return QLatin1Char('T') + value.toString();
    case Kind::Stamp:
        return QLatin1Char('S') + value.toDateTime().toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss"));
    }
    return QString();
}

class Writing
{
public:
    explicit Writing(platform::Connection &con) : m_con(con), m_own(con.transactionLevel() == 0)
    {
        // On SQLite the transaction takes the write lock before the chain's head is read; inside the
        // caller's transaction the save has already written and holds it.
        if (m_own)
            con.BeginTrans();
        if (con.backend() == platform::Backend::PostgreSQL) {
            // Held until the transaction ends, so the next writer reads this row as the head.
            con.Execute(QStringLiteral("select count(*) from (select pg_advisory_xact_lock(") +
                        QLatin1String(AppendLockKey) + QStringLiteral(")) as appending"));
        }
    }
    Writing(const Writing &) = delete;
    Writing &operator=(const Writing &) = delete;

    void commit()
    {
        if (!m_own)
            return;
        m_con.CommitTrans();
        m_own = false;
    }

    ~Writing()
    {
        if (!m_own)
            return;
        platform::Trap([this] { m_con.RollbackTrans(); }, {});
    }

private:
    platform::Connection &m_con;
    bool m_own;
};

} // namespace

QString rowHash(const QVariantList &content, const QString &prevHash)
{
    QStringList parts;
    for (int i = 0; i < ContentCount; ++i)
        parts << canonical(Kinds[i], content.value(i));
    parts << prevHash;
    return QString::fromLatin1(
        QCryptographicHash::hash(parts.join(QChar(0x1f)).toUtf8(), QCryptographicHash::Sha256).toHex());
}

void append(platform::Connection &con, const QVariantList &content)
{
    Writing writing(con);
    platform::Recordset head = con.Execute(QStringLiteral("select RowHash from ") + Table +
                                           QStringLiteral(" order by LogID desc limit 1"));
    const QString prev = head.isEOF() ? QString() : head.Fields(0).joinEmpty();
    platform::Command insert(con);
    insert.setCommandText(QStringLiteral("insert into ") + Table + QStringLiteral(" (") +
                          QLatin1String(ContentColumns) +
                          QStringLiteral(", PrevHash, RowHash) values (?,?,?,?,?,?,?,?,?,?,?)"));
    insert.ParametersRefresh();
    QVariantList values = content;
    values << prev << rowHash(content, prev);
    insert.Execute(values);
    writing.commit();
}

agr::ChainCheck verify(platform::Connection &con)
{
    agr::ChainCheck check;
    platform::Recordset rs =
        con.Execute(QStringLiteral("select LogID, ") + QLatin1String(ContentColumns) +
                    QStringLiteral(", PrevHash, RowHash from ") + Table + QStringLiteral(" order by LogID"));
    QString prev;
    qint64 prevId = 0;
    for (; !rs.isEOF(); rs.MoveNext()) {
        ++check.rows;
        const qint64 id = rs.Fields(0).Value().toLongLong();
        QVariantList content;
        for (int i = 0; i < ContentCount; ++i) {
            const platform::Field field = rs.Fields(i + 1);
            content << (field.isNull() ? QVariant() : field.Value());
        }
        const QString storedPrev = rs.Fields(ContentCount + 1).joinEmpty();
        const QString stored = rs.Fields(ContentCount + 2).joinEmpty();
        if (storedPrev != prev) {
            check.brokenLogId = id;
            check.reason =
                prevId == 0 ? QStringLiteral("it names a predecessor, but it is the first row")
                            : QStringLiteral("it does not follow row %1: a row between was removed, or row "
                                             "%1 was changed")
                                  .arg(prevId);
            return check;
        }
        if (stored.isEmpty() || rowHash(content, storedPrev) != stored) {
            check.brokenLogId = id;
            check.reason = stored.isEmpty() ? QStringLiteral("it carries no hash")
                                            : QStringLiteral("its content does not match its hash");
            return check;
        }
        prev = stored;
        prevId = id;
    }
    check.headHash = prev;
    return check;
}

} // namespace suite::chain
