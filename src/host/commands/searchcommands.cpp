#include "host/commands/searchcommands.h"

#include "host/hostsupport.h"
#include "host/identity.h"
#include "host/options.h"
#include "host/search/scanreader.h"
#include "host/search/search.h"

#include "data/access.h"
#include "data/schema.h"
#include "data/searchindex.h"
#include "platform/database/connection.h"
#include "platform/runtime/errors.h"

#include <QElapsedTimer>
#include <cstdio>
#include <unistd.h>

namespace host {

namespace {

void requireIndex(platform::Connection &con, const QString &url)
{
    if (!agr::schema::SearchIndexSupported(con))
        throw Failure(QStringLiteral("%1 keeps no full-text index: it is kept on SQLite and PostgreSQL")
                          .arg(platform::printableUrl(url)));
    QStringList missing;
    agr::schema::SchemaPresent(con, &missing);
    if (missing.contains(QLatin1String(agr::schema::table::SearchRows)))
        throw Failure(QStringLiteral("the database %1 has no full-text index yet; create it with init-db")
                          .arg(platform::printableUrl(url)));
}

} // namespace

int find(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Lists the agreements of the login's departments that hold every term, best first, with where each "
        "matched and the matching words in [brackets]. Terms: words, \"a phrase\", a prefix*; case and "
        "accents "
        "are ignored. Exit status 0 when something matched, 3 when nothing did."));
    parser.addPositionalArgument(QStringLiteral("find"), QStringLiteral("The command."));
    parser.addPositionalArgument(QStringLiteral("words"), QStringLiteral("What to look for."),
                                 QStringLiteral("WORDS..."));
    parser.addOption(databaseOption());
    parser.addOption(
        {QStringLiteral("department"),
         QStringLiteral("Only this department, one of those mapped to the database login. Default: "
                        "all of them."),
         QStringLiteral("N")});
    parser.addOption({QStringLiteral("format"), QStringLiteral("text (default) or json."),
                      QStringLiteral("format"), QStringLiteral("text")});
    parser.addOption({QStringLiteral("limit"), QStringLiteral("At most this many agreements (default 50)."),
                      QStringLiteral("N"), QStringLiteral("50")});
    parseArguments(parser, arguments);
    const QString format = parser.value(QStringLiteral("format")).trimmed().toLower();
    if (format != QLatin1String("text") && format != QLatin1String("json"))
        throw Failure(
            QStringLiteral("--format: '%1' is not text or json").arg(parser.value(QStringLiteral("format"))),
            ExitUsage);
    const int limit = int32Option(parser, QStringLiteral("limit"), 50);
    if (limit < 1)
        throw Failure(QStringLiteral("--limit: give at least 1"), ExitUsage);
    const QString text = parser.positionalArguments().mid(1).join(QLatin1Char(' '));
    const SearchQuery query = parseSearch(text);
    if (!query.refusal.isEmpty())
        throw Failure(QStringLiteral("find: ") + query.refusal, ExitUsage);
    const std::optional<qint16> askedDepartment =
        optionalOption(int16Option, parser, QStringLiteral("department"));

    platform::Connection con;
    const QString url = databaseUrl(parser);
    openDatabase(con, url, false);
    requireIndex(con, url);
    const Identity who = identify(con, std::nullopt, askedDepartment);
    QList<int> departments = {who.departmentId};
    SearchResult result;
    try {
        if (!askedDepartment)
            departments = agr::schema::departmentsOfLogin(con, who.login);
        result = findAgreements(con, query, departments, limit);
    } catch (const platform::RuntimeError &e) {
        throw Failure(QStringLiteral("find: error %1: %2").arg(e.number()).arg(oneLine(e.description())));
    }
    if (format == QLatin1String("json"))
        printOut(hitsAsJson(result, text).trimmed());
    else if (result.hits.isEmpty())
        printOut(QStringLiteral("No agreement holds %1.").arg(text.simplified()));
    else
        printOut(hitsAsText(result));
    if (result.partial)
        printErr(QStringLiteral("a term is so common that only part of its places were weighed; add a word"));
    return result.hits.isEmpty() ? ExitNothingFound : 0;
}

int index(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Reads the text of the scanned pages not read yet (copies stored by any program) into the full-text "
        "index. A page already read is known by the hash of its bytes and not read again. Then the index is "
        "compacted, so that it stays quick to read after months of saves."));
    parser.addPositionalArgument(QStringLiteral("index"), QStringLiteral("The command."));
    parser.addOption(databaseOption());
    parser.addOption({QStringLiteral("rebuild"),
                      QStringLiteral("First empty the index and fill it again from the register's tables.")});
    parser.addOption({QStringLiteral("languages"),
                      QStringLiteral("Tesseract's languages, e.g. eng+tam (default: English, and Tamil when "
                                     "installed)."),
                      QStringLiteral("list")});
    parseArguments(parser, arguments);
    noMorePositionals(parser, 1);

    platform::Connection con;
    const QString url = databaseUrl(parser);
    openDatabase(con, url, false);
    con.setStatementLogEnabled(false);
    requireIndex(con, url);
    const bool terminal = ::isatty(STDERR_FILENO) != 0;
    ReadCounts counts;
    try {
        const bool rebuild = parser.isSet(QStringLiteral("rebuild"));
        if (rebuild) {
            agr::schema::RebuildSearchIndex(con);
            printOut(QStringLiteral("Filled the index again from the register's tables."));
        }
        // The owner of the database indexes every department; another login its own.
        QList<int> departments;
        if (con.backend() == platform::Backend::PostgreSQL) {
            const QString login = agr::schema::currentLogin(con);
            const bool owner = con.Execute(QStringLiteral("select count(*) from pg_tables where tablename = "
                                                          "'agrsearchrows' and tableowner = session_user"))
                                   .Fields(0)
                                   .toLong() > 0;
            if (!owner)
                departments = agr::schema::departmentsOfLogin(con, login);
        }
        PageReader reader(parser.value(QStringLiteral("languages")));
        if (!reader.failure().isEmpty())
            throw Failure(QStringLiteral("index: ") + reader.failure());
        QElapsedTimer clock;
        clock.start();
        counts = readUnreadScans(con, reader, departments, [&](const ReadCounts &c) {
            if (terminal) {
                std::fprintf(stderr, "\rscanned copies: %d of %d (%d read, %d known already) %llds ",
                             c.read + c.known + c.skipped, c.total, c.read, c.known,
                             static_cast<long long>(clock.elapsed() / 1000));
                std::fflush(stderr);
            }
            return true;
        });
        if (terminal && counts.total > 0)
            std::fprintf(stderr, "\n");
        // An index filled again is compact already.
        if (!rebuild)
            agr::schema::CompactSearchIndex(con);
    } catch (const platform::RuntimeError &e) {
        throw Failure(QStringLiteral("index: error %1: %2").arg(e.number()).arg(oneLine(e.description())));
    }
    printOut(QStringLiteral("Scanned copies: %1 read, %2 known by their bytes already, %3 left for another "
                            "department's login.")
                 .arg(counts.read)
                 .arg(counts.known)
                 .arg(counts.skipped));
    return 0;
}

} // namespace host
