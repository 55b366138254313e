// SQLite: the suite's functions are registered on each connection, the calls whose names SQLite reserves
// (isnull, right, left) are renamed to the registered ones, and dates are kept as text in columns with a
// collation that compares them as dates.

#include "platform/database/dialect.h"

#include "platform/runtime/errors.h"
#include "platform/runtime/savefile.h"

#include <QDate>
#include <QFile>
#include <QFileInfo>
#include <QSqlDriver>
#include <QSqlResult>
#include <sqlite3.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {

namespace {

const char DateType[] = "DATETEXT";
const char DateTimeType[] = "DATETIMETEXT";
const char DateCollation[] = "AGRDATE";

// ---- dates kept as text -------------------------------------------------------------------------

struct ParsedDate
{
    int year = 0;
    int month = 0;
    int day = 0;
    int msecs = 0; // time of day
};

bool digits(const char *p, int count, int &value)
{
    value = 0;
    for (int i = 0; i < count; ++i) {
        if (p[i] < '0' || p[i] > '9')
            return false;
        value = value * 10 + (p[i] - '0');
    }
    return true;
}

// "hh:mm[:ss[.fff]]" after a date; nothing at all is midnight.
bool parseTime(const char *p, const char *end, int &msecs)
{
    msecs = 0;
    if (p == end)
        return true;
    if (*p != ' ' && *p != 'T')
        return false;
    ++p;
    int h = 0, m = 0, s = 0, ms = 0;
    if (end - p < 5 || !digits(p, 2, h) || p[2] != ':' || !digits(p + 3, 2, m))
        return false;
    p += 5;
    if (p < end && *p == ':') {
        if (end - p < 3 || !digits(p + 1, 2, s))
            return false;
        p += 3;
        if (p < end && *p == '.') {
            ++p;
            int scale = 100;
            while (p < end && *p >= '0' && *p <= '9') {
                ms += (*p - '0') * scale;
                scale /= 10;
                ++p;
            }
        }
    }
    if (p != end || h > 23 || m > 59 || s > 59)
        return false;
    msecs = ((h * 60 + m) * 60 + s) * 1000 + ms;
    return true;
}

// Accepts "yyyymmdd", "yyyy-mm-dd" and "dd/mm/yyyy", each optionally followed by a time; blanks around
// the value are ignored.
bool parseDate(const char *text, int size, ParsedDate &out)
{
    const char *p = text;
    const char *end = text + size;
    while (p < end && (*p == ' ' || *p == '\t'))
        ++p;
    while (end > p && (end[-1] == ' ' || end[-1] == '\t'))
        --end;
    const auto n = end - p;
    const char *rest = nullptr;
    if (n >= 8 && digits(p, 4, out.year) && digits(p + 4, 2, out.month) && digits(p + 6, 2, out.day)) {
        rest = p + 8;
    } else if (n >= 10 && p[4] == '-' && p[7] == '-' && digits(p, 4, out.year) &&
               digits(p + 5, 2, out.month) && digits(p + 8, 2, out.day)) {
        rest = p + 10;
    } else if (n >= 10 && p[2] == '/' && p[5] == '/' && digits(p, 2, out.day) &&
               digits(p + 3, 2, out.month) && digits(p + 6, 4, out.year)) {
        rest = p + 10;
    } else {
        return false;
    }
    if (!QDate::isValid(out.year, out.month, out.day))
        return false;
    return parseTime(rest, end, out.msecs);
}

// Dates first, in date order; then everything else in byte order.
int compareDates(void *, int sizeA, const void *a, int sizeB, const void *b)
{
    ParsedDate da, db;
    const bool okA = parseDate(static_cast<const char *>(a), sizeA, da);
    const bool okB = parseDate(static_cast<const char *>(b), sizeB, db);
    if (okA && okB) {
        const long long ka = ((da.year * 100LL + da.month) * 100 + da.day) * 86400000LL + da.msecs;
        const long long kb = ((db.year * 100LL + db.month) * 100 + db.day) * 86400000LL + db.msecs;
        return ka < kb ? -1 : ka > kb ? 1 : 0;
    }
    if (okA != okB)
        return okA ? -1 : 1;
    const int c = std::memcmp(a, b, static_cast<size_t>(std::min(sizeA, sizeB)));
    if (c != 0)
        return c;
    return sizeA < sizeB ? -1 : sizeA > sizeB ? 1 : 0;
}

// ---- the suite's functions ----------------------------------------------------------------------

// Characters of UTF-8 text (continuation bytes are not counted).
int utf8Length(const unsigned char *s, int bytes)
{
    int chars = 0;
    for (int i = 0; i < bytes; ++i)
        if ((s[i] & 0xC0) != 0x80)
            ++chars;
    return chars;
}

// len(x): the length without trailing blanks.
void fnLen(sqlite3_context *ctx, int, sqlite3_value **argv)
{
    if (sqlite3_value_type(argv[0]) == SQLITE_NULL) {
        sqlite3_result_null(ctx);
        return;
    }
    const auto *s = sqlite3_value_text(argv[0]);
    int bytes = sqlite3_value_bytes(argv[0]);
    while (bytes > 0 && s[bytes - 1] == ' ')
        --bytes;
    sqlite3_result_int(ctx, utf8Length(s, bytes));
}

// Byte offset of the character with index chars (counted from the start).
int utf8Offset(const unsigned char *s, int bytes, int chars)
{
    int i = 0;
    while (i < bytes && chars > 0) {
        ++i;
        while (i < bytes && (s[i] & 0xC0) == 0x80)
            ++i;
        --chars;
    }
    return i;
}

// right(x, n) and left(x, n); a length of zero or less gives ''.
template <bool FromRight> void fnSide(sqlite3_context *ctx, int, sqlite3_value **argv)
{
    if (sqlite3_value_type(argv[0]) == SQLITE_NULL || sqlite3_value_type(argv[1]) == SQLITE_NULL) {
        sqlite3_result_null(ctx);
        return;
    }
    const auto *s = sqlite3_value_text(argv[0]);
    const int bytes = sqlite3_value_bytes(argv[0]);
    const sqlite3_int64 wanted = sqlite3_value_int64(argv[1]);
    const int total = utf8Length(s, bytes);
    if (wanted <= 0) {
        sqlite3_result_text(ctx, "", 0, SQLITE_STATIC);
        return;
    }
    if (wanted >= total) {
        sqlite3_result_text(ctx, reinterpret_cast<const char *>(s), bytes, SQLITE_TRANSIENT);
        return;
    }
    if (FromRight) {
        const int from = utf8Offset(s, bytes, total - static_cast<int>(wanted));
        sqlite3_result_text(ctx, reinterpret_cast<const char *>(s) + from, bytes - from, SQLITE_TRANSIENT);
    } else {
        const int to = utf8Offset(s, bytes, static_cast<int>(wanted));
        sqlite3_result_text(ctx, reinterpret_cast<const char *>(s), to, SQLITE_TRANSIENT);
    }
}

bool isBlank(unsigned char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

bool isDigit(unsigned char c)
{
    return c >= '0' && c <= '9';
}

// A sign, digits with at most one decimal point, an exponent; blanks around; at least one digit.
bool numericText(const unsigned char *s, int n)
{
    int i = 0;
    while (i < n && isBlank(s[i]))
        ++i;
    while (n > i && isBlank(s[n - 1]))
        --n;
    if (i < n && (s[i] == '+' || s[i] == '-'))
        ++i;
    int mantissaDigits = 0;
    while (i < n && isDigit(s[i])) {
        ++i;
        ++mantissaDigits;
    }
    if (i < n && s[i] == '.') {
        ++i;
        while (i < n && isDigit(s[i])) {
            ++i;
            ++mantissaDigits;
        }
    }
    if (mantissaDigits == 0)
        return false;
    if (i < n && (s[i] == 'e' || s[i] == 'E')) {
        ++i;
        if (i < n && (s[i] == '+' || s[i] == '-'))
            ++i;
        int exponentDigits = 0;
        while (i < n && isDigit(s[i])) {
            ++i;
            ++exponentDigits;
        }
        if (exponentDigits == 0)
            return false;
    }
    return i == n;
}

void fnIsNumeric(sqlite3_context *ctx, int, sqlite3_value **argv)
{
    switch (sqlite3_value_type(argv[0])) {
    case SQLITE_NULL:
        sqlite3_result_int(ctx, 0);
        return;
    case SQLITE_INTEGER:
    case SQLITE_FLOAT:
        sqlite3_result_int(ctx, 1);
        return;
    default:
        break;
    }
    const auto *s = sqlite3_value_text(argv[0]);
    sqlite3_result_int(ctx, numericText(s, sqlite3_value_bytes(argv[0])) ? 1 : 0);
}

// datediff('day', start, end): whole days from start to end; NULL when either is no date. Other parts
// give NULL, as on the other engines.
void fnDateDiff(sqlite3_context *ctx, int, sqlite3_value **argv)
{
    const auto dayNumber = [](sqlite3_value *value, qint64 &day) {
        if (sqlite3_value_type(value) != SQLITE_TEXT)
            return false;
        ParsedDate d;
        if (!parseDate(reinterpret_cast<const char *>(sqlite3_value_text(value)), sqlite3_value_bytes(value),
                       d))
            return false;
        const QDate date(d.year, d.month, d.day);
        day = date.toJulianDay();
        return date.isValid();
    };
    const auto *part = sqlite3_value_text(argv[0]);
    const bool days = part && (qstricmp(reinterpret_cast<const char *>(part), "day") == 0 ||
                               qstricmp(reinterpret_cast<const char *>(part), "dd") == 0 ||
                               qstricmp(reinterpret_cast<const char *>(part), "d") == 0);
    qint64 start = 0;
    qint64 end = 0;
    if (!days || !dayNumber(argv[1], start) || !dayNumber(argv[2], end)) {
        sqlite3_result_null(ctx);
        return;
    }
    sqlite3_result_int64(ctx, end - start);
}

// agr_isdate(x): whether x may stand in a date column, as the suite's server takes it: a null, a blank text
// (kept as given) or a text the date collation reads as a date. A text that is no date is refused there.
void fnIsDate(sqlite3_context *ctx, int, sqlite3_value **argv)
{
    bool ok = false;
    switch (sqlite3_value_type(argv[0])) {
    case SQLITE_NULL:
        ok = true;
        break;
    case SQLITE_TEXT: {
        const auto *s = sqlite3_value_text(argv[0]);
        const int n = sqlite3_value_bytes(argv[0]);
        int i = 0;
        while (i < n && (s[i] == ' ' || s[i] == '\t'))
            ++i;
        ParsedDate date;
        ok = i == n || parseDate(reinterpret_cast<const char *>(s), n, date);
        break;
    }
    default:
        break;
    }
    sqlite3_result_int(ctx, ok ? 1 : 0);
}

void fnIsNull(sqlite3_context *ctx, int, sqlite3_value **argv)
{
    sqlite3_result_value(ctx, sqlite3_value_type(argv[0]) != SQLITE_NULL ? argv[0] : argv[1]);
}

sqlite3 *handleOf(QSqlDatabase &db)
{
    const QVariant v = db.driver() ? db.driver()->handle() : QVariant();
    if (!v.isValid() || qstrcmp(v.typeName(), "sqlite3*") != 0)
        return nullptr;
    return *static_cast<sqlite3 *const *>(v.constData());
}

sqlite3_stmt *statementOf(const QSqlQuery &query)
{
    const QSqlResult *result = query.result();
    const QVariant v = result ? result->handle() : QVariant();
    if (!v.isValid() || qstrcmp(v.typeName(), "sqlite3_stmt*") != 0)
        return nullptr;
    return *static_cast<sqlite3_stmt *const *>(v.constData());
}

// Copies every page of from's main database into to's, as one consistent picture: the copy holds a read
// lock on from while it runs, and a writer that holds the lock is waited for (its busy handler, then here).
void copyPages(sqlite3 *to, sqlite3 *from, const QString &driver)
{
    sqlite3_backup *copy = sqlite3_backup_init(to, "main", from, "main");
    if (!copy)
        Raise(sqlite3_errcode(to), driver,
              QStringLiteral("cannot start the copy: ") + QString::fromUtf8(sqlite3_errmsg(to)));
    int rc = SQLITE_OK;
    for (int waits = 0; waits < 600; ++waits) {
        rc = sqlite3_backup_step(copy, -1);
        if (rc != SQLITE_BUSY && rc != SQLITE_LOCKED && rc != SQLITE_OK)
            break;
        sqlite3_sleep(50);
    }
    sqlite3_backup_finish(copy);
    if (rc != SQLITE_DONE)
        Raise(rc, driver,
              QStringLiteral("the copy did not finish: ") + QString::fromUtf8(sqlite3_errstr(rc)));
}

// "ok", or what SQLite's integrity check found first.
QString integrityOf(Connection &con)
{
    Recordset rs = con.Execute(QStringLiteral("pragma integrity_check"));
    return rs.isEOF() ? QStringLiteral("no answer") : rs.Fields(0).joinEmpty();
}

// ---- locks on names ------------------------------------------------------------------------------

// A write lock on one byte of the database's lock file, tied to this open file description (not to the
// process), so that two connections of one process exclude each other too; closing the file releases it,
// and so does the death of the process. The byte is taken from the name: two names that meet on one byte
// only wait for each other.
class FileByteHold : public KeyLock::Holder
{
public:
    explicit FileByteHold(int fd) : m_fd(fd) {}
    ~FileByteHold() override { ::close(m_fd); }

private:
    int m_fd;
};

[[noreturn]] void raiseLockFailure(const QString &file, int error)
{
    Raise(err::DatabaseError, QStringLiteral("QSQLITE"),
          QStringLiteral("cannot lock ") + file + QStringLiteral(": ") +
              QString::fromLocal8Bit(std::strerror(error)));
}

// The lock file beside the database, made with the database file's permissions, so that whoever may write
// the database may take its locks. It is never written: only its bytes are locked.
int openLockFile(const QString &database)
{
    const QByteArray path = QFile::encodeName(database + QStringLiteral("-lock"));
    struct stat info
    {
    };
    const mode_t mode =
        ::stat(QFile::encodeName(database).constData(), &info) == 0 ? (info.st_mode & 0666) : 0600;
    int fd = ::open(path.constData(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    if (fd >= 0) {
        // The umask may have narrowed the mode; a failure here only keeps other accounts out, as before.
        const int widened = ::fchmod(fd, mode);
        Q_UNUSED(widened);
        return fd;
    }
    if (errno == EEXIST)
        fd = ::open(path.constData(), O_RDWR | O_CLOEXEC);
    if (fd < 0)
        raiseLockFailure(QFile::decodeName(path), errno);
    return fd;
}

class SqliteDialect : public Dialect
{
public:
    Backend backend() const override { return Backend::SQLite; }
    QString driverName() const override { return QStringLiteral("QSQLITE"); }

    // The write lock is taken when the transaction begins: one that read first would be refused at once,
    // not made to wait, when it came to write while another program held the lock.
    bool beginTransaction(QSqlDatabase &db, QSqlError &error) const override
    {
        QSqlQuery begin(db);
        const bool begun = begin.exec(QStringLiteral("BEGIN IMMEDIATE"));
        if (!begun)
            error = begin.lastError();
        return begun;
    }

    std::unique_ptr<KeyLock::Holder> lockKey(Connection &con, const QString &key) override
    {
        sqlite3 *h = handleOf(con.database());
        const char *file = h ? sqlite3_db_filename(h, "main") : nullptr;
        if (!file || !*file)
            return nullptr; // a database in memory, or a temporary one: no other connection reaches it
        const QString database = QString::fromUtf8(file);
        const int fd = openLockFile(database);
        struct flock byte
        {
        };
        byte.l_type = F_WRLCK;
        byte.l_whence = SEEK_SET;
        byte.l_start = off_t(quint64(keyNumber(key)) % 0x40000000u);
        byte.l_len = 1;
        int rc;
        do
            rc = ::fcntl(fd, F_OFD_SETLKW, &byte);
        while (rc != 0 && errno == EINTR);
        if (rc != 0) {
            const int error = errno;
            ::close(fd);
            raiseLockFailure(database + QStringLiteral("-lock"), error);
        }
        return std::make_unique<FileByteHold>(fd);
    }

    void prepare(QSqlDatabase &db) override
    {
        sqlite3 *h = handleOf(db);
        if (!h)
            Raise(err::DatabaseError, driverName(),
                  QStringLiteral("the SQLite driver gave no database handle"));
        const int flags = SQLITE_UTF8 | SQLITE_DETERMINISTIC;
        int rc = SQLITE_OK;
        auto add = [&](const char *name, int args, void (*fn)(sqlite3_context *, int, sqlite3_value **)) {
            if (rc == SQLITE_OK)
                rc = sqlite3_create_function_v2(h, name, args, flags, nullptr, fn, nullptr, nullptr, nullptr);
        };
        add("len", 1, fnLen);
        add("agr_right", 2, fnSide<true>);
        add("agr_left", 2, fnSide<false>);
        add("isnumeric", 1, fnIsNumeric);
        add("agr_isnull", 2, fnIsNull);
        add("datediff", 3, fnDateDiff);
        add("agr_isdate", 1, fnIsDate);
        if (rc == SQLITE_OK)
            rc = sqlite3_create_collation_v2(h, DateCollation, SQLITE_UTF8, nullptr, compareDates, nullptr);
        if (rc != SQLITE_OK)
            Raise(rc, driverName(),
                  QStringLiteral("cannot register the dialect's functions: ") +
                      QString::fromUtf8(sqlite3_errmsg(h)));
    }

    void install(Connection &) override {}

    // SQLite's online backup, never a copy of the file: a file copied while a clerk saves can hold half a
    // transaction. The copy is opened as a database of its own (with the dialect's functions and date
    // collation, which its indexes need) and must pass the integrity check before it takes its name.
    void backup(Connection &con, const QString &file) const override
    {
        ReplaceOnCommit pending(file, ReplaceOnCommit::Access::OwnerOnly);
        {
            Connection copy;
            copy.setStatementLogEnabled(false);
            copy.Open(QStringLiteral("sqlite:") + pending.temporaryPath());
            copyPages(handleOf(copy.database()), handleOf(con.database()), driverName());
            const QString integrity = integrityOf(copy);
            if (integrity != QLatin1String("ok"))
                Raise(err::DatabaseError, driverName(),
                      QStringLiteral("the copy failed its integrity check: ") + integrity);
            copy.Close();
        }
        pending.commit();
    }

    void restore(Connection &con, const QString &file) const override
    {
        if (!QFileInfo::exists(file))
            Raise(err::FileNotFound, driverName(), QStringLiteral("no backup file ") + file);
        Connection copy;
        copy.setStatementLogEnabled(false);
        copy.Open(QStringLiteral("sqlite:") + file);
        QString integrity;
        if (!Trap([&] { integrity = integrityOf(copy); }, {}))
            integrity = QStringLiteral("not a SQLite database");
        if (integrity != QLatin1String("ok"))
            Raise(err::DatabaseError, driverName(),
                  QStringLiteral("the backup %1 is damaged: %2").arg(file, integrity));
        // Written as one transaction on the target: a failure leaves it as it was.
        copyPages(handleOf(con.database()), handleOf(copy.database()), driverName());
    }

    bool holdsTables(Connection &con) const override
    {
        Recordset rs = con.Execute(QStringLiteral(
            "select count(*) from sqlite_master where type = 'table' and name not like 'sqlite%'"));
        return rs.Fields(0).Value().toInt() > 0;
    }

    QString translate(const QString &sql) const override
    {
        static const QHash<QString, QString> renamed = {
            {QStringLiteral("isnull"), QStringLiteral("agr_isnull")},
            {QStringLiteral("right"), QStringLiteral("agr_right")},
            {QStringLiteral("left"), QStringLiteral("agr_left")},
        };
        return quoteDateParts(renameFunctions(rewriteConvert(sql, mapType), renamed));
    }

    QString columnType(ColumnType type) const override
    {
        switch (type) {
        case ColumnType::SmallInt:
            return QStringLiteral("SMALLINT");
        case ColumnType::Integer:
            return QStringLiteral("INTEGER");
        case ColumnType::BigInt:
            return QStringLiteral("BIGINT");
        case ColumnType::Double:
            return QStringLiteral("DOUBLE");
        case ColumnType::Text:
            return QStringLiteral("TEXT");
        case ColumnType::Date:
            return QLatin1String(DateType) + QStringLiteral(" COLLATE ") + QLatin1String(DateCollation);
        case ColumnType::DateTime:
            return QLatin1String(DateTimeType) + QStringLiteral(" COLLATE ") + QLatin1String(DateCollation);
        case ColumnType::Blob:
            return QStringLiteral("BLOB");
        case ColumnType::Identity:
            return QStringLiteral("INTEGER PRIMARY KEY AUTOINCREMENT");
        }
        return QString();
    }

    // Date columns keep their values as text; the check refuses a text that is no date, as the server does,
    // instead of storing it where it could never be read back as a date.
    QString columnDefinition(const QString &name, ColumnType type) const override
    {
        QString definition = Dialect::columnDefinition(name, type);
        if (type == ColumnType::Date || type == ColumnType::DateTime)
            definition += QStringLiteral(" CHECK (agr_isdate(") + name + QStringLiteral("))");
        return definition;
    }

    // FAIL ends the statement at the row without undoing the rows before it, so that SQLite needs no
    // statement journal for each insert into a table with triggers.
    QString notNullOfWatchedRows() const override { return QStringLiteral("NOT NULL ON CONFLICT FAIL"); }

    QString columnOfWatchedRows(const QString &name, ColumnType type) const override
    {
        return Dialect::columnDefinition(name, type);
    }

    bool tableExists(Connection &con, const QString &table) const override
    {
        return countsAny(
            con,
            QStringLiteral(
                "select count(*) from sqlite_master where type = 'table' and lower(name) = lower(?)"),
            table);
    }

    QVariant readValue(const QVariant &raw, const QString &declaredType) const override
    {
        if (raw.isNull() || raw.typeId() != QMetaType::QString)
            return raw;
        const QByteArray text = raw.toString().toUtf8();
        ParsedDate d;
        if (!parseDate(text.constData(), static_cast<int>(text.size()), d))
            return raw; // not a date after all: shown as stored
        const QDate date(d.year, d.month, d.day);
        if (!date.isValid())
            return raw;
        if (declaredType.compare(QLatin1String(DateTimeType), Qt::CaseInsensitive) == 0)
            return QDateTime(date, QTime::fromMSecsSinceStartOfDay(d.msecs));
        return date;
    }

    QStringList declaredTypes(const QSqlQuery &query) const override
    {
        QStringList types;
        sqlite3_stmt *stmt = statementOf(query);
        if (!stmt)
            return types;
        const int columns = sqlite3_column_count(stmt);
        bool any = false;
        for (int i = 0; i < columns; ++i) {
            const char *decl = sqlite3_column_decltype(stmt, i);
            const bool isDate = decl && (qstricmp(decl, DateType) == 0 || qstricmp(decl, DateTimeType) == 0);
            types.append(isDate ? QString::fromLatin1(decl).toUpper() : QString());
            any = any || isDate;
        }
        if (!any)
            types.clear();
        return types;
    }

private:
    static QString mapType(const QString &type)
    {
        const QString t = type.trimmed().toLower();
        if (t == QLatin1String("int") || t == QLatin1String("integer") || t == QLatin1String("smallint") ||
            t == QLatin1String("bigint") || t == QLatin1String("tinyint") || t == QLatin1String("bit"))
            return QStringLiteral("integer");
        if (t == QLatin1String("float") || t == QLatin1String("real") ||
            t.startsWith(QLatin1String("float(")))
            return QStringLiteral("real");
        if (t.startsWith(QLatin1String("decimal")) || t.startsWith(QLatin1String("numeric")) ||
            t == QLatin1String("money"))
            return QStringLiteral("numeric");
        if (t.contains(QLatin1String("char")) || t == QLatin1String("text") || t == QLatin1String("ntext"))
            return QStringLiteral("text");
        if (t.startsWith(QLatin1String("date")) || t.startsWith(QLatin1String("smalldatetime")))
            return QStringLiteral("text");
        return type.trimmed();
    }
};

} // namespace

std::unique_ptr<Dialect> detail::makeSqliteDialect()
{
    return std::make_unique<SqliteDialect>();
}

} // namespace platform
