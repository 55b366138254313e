#include "searchindex.h"

#include "platform/database/connection.h"
#include "platform/database/dialect.h"
#include "platform/runtime/errors.h"

#include <algorithm>

namespace agr::schema {

namespace {

using platform::Backend;

// The header's indexed texts, one index row each (detail id 0).
struct HeaderText
{
    const char *place;
    const char *column;
};
constexpr HeaderText HeaderTexts[] = {
    {"number", "agragreementNo"},       {"description", "agragreementdesc"},
    {"type", "agragreementtype"},       {"reference", "agrReferenceNo"},
    {"party", "agragreementwith"},      {"applicable", "agrapplicableTo"},
    {"remarks", "alertremarks"},        {"lawyer", "agrLawyer"},
    {"location", "agrPhysicalfileLOC"},
};

// A detail table: one index row per detail row, its text made of the columns given.
struct DetailSource
{
    const char *table;
    const char *place;
    const char *department;
    const char *agreement;
    const char *detail;
    std::initializer_list<const char *> columns;
};
const DetailSource DetailSources[] = {
    {"AgreementDetails", "summary", "agdDepartmentid", "agdAgreementid", "agdDetailid", {"agdDetails"}},
    {"AgreementSignedDetails",
     "signatory",
     "agsDepartmentid",
     "agsagreementid",
     "agsDetailid",
     {"agsSignedBy", "agsPosition"}},
    {"AgreementWitnessDetails",
     "witness",
     "agwDepartmentid",
     "agwAgreementid",
     "agwDetailid",
     {"agwSignedBy", "agwPostion", "agwWitenessAddress"}},
    {"AgreementFinancialDetails",
     "terms",
     "agfDepartmentid",
     "agfAgreementid",
     "agffinanceDetailid",
     {"agffinanceDetail"}},
    {"AgreementContents", "content", "agcDepartmentid", "agcAgreementid", "agcDetailid", {"agcContentdesc"}},
};

constexpr char ScanTable[] = "AgreementScanCopyDetails";
// SQLite: how the full-text table splits and folds its texts; the words of new texts are listed with it too.
constexpr char Tokenizer[] = "tokenize='unicode61 remove_diacritics 2'";
constexpr char RowColumns[] = "(DepartmentID, AgreementID, Place, DetailID, Label, Body)";

QString L(const char *text)
{
    return QLatin1String(text);
}

// The text of a detail row as row (e.g. "new") holds it.
QString bodyOf(const DetailSource &source, const QString &row)
{
    if (source.columns.size() == 1)
        return row + QLatin1Char('.') + L(*source.columns.begin());
    QStringList parts;
    for (const char *column : source.columns)
        parts << QStringLiteral("coalesce(") + row + QLatin1Char('.') + L(column) + QStringLiteral(", '')");
    return parts.join(QStringLiteral(" || ' ' || "));
}

QString headerColumns()
{
    QStringList columns = {QStringLiteral("agrDepartmentid"), QStringLiteral("agragreementid")};
    for (const HeaderText &text : HeaderTexts)
        columns << L(text.column);
    return columns.join(QStringLiteral(", "));
}

// Index rows of a header as row holds it (row: "new" in a trigger; an alias of the rows of `from` when
// filling).
QString insertHeaderRows(const QString &row, const QString &from = QString())
{
    QStringList texts;
    for (const HeaderText &text : HeaderTexts)
        texts << QStringLiteral("select ") + row + QStringLiteral(".agrDepartmentid as d, ") + row +
                     QStringLiteral(".agragreementid as a, '") + L(text.place) + QStringLiteral("' as p, ") +
                     row + QLatin1Char('.') + L(text.column) + QStringLiteral(" as b") + from;
    return QStringLiteral("insert into agrSearchRows ") + L(RowColumns) +
           QStringLiteral(" select h.d, h.a, h.p, 0, '', h.b from (") +
           texts.join(QStringLiteral(" union all ")) + QStringLiteral(") h where trim(h.b) <> ''");
}

QString insertDetailRow(const DetailSource &s, const QString &row, const QString &from = QString())
{
    const QString body = bodyOf(s, row);
    return QStringLiteral("insert into agrSearchRows ") + L(RowColumns) + QStringLiteral(" select ") + row +
           QLatin1Char('.') + L(s.department) + QStringLiteral(", ") + row + QLatin1Char('.') +
           L(s.agreement) + QStringLiteral(", '") + L(s.place) + QStringLiteral("', ") + row +
           QLatin1Char('.') + L(s.detail) + QStringLiteral(", '', ") + body + from +
           QStringLiteral(" where trim(") + body + QStringLiteral(") <> ''");
}

// The page text of a scanned copy is read later, by whoever reads the queue; its index rows go at once.
QString deleteScanRows(const QString &row, const QString &nullSafeEqual)
{
    return QStringLiteral("delete from agrSearchRows where Place = '") + L(place::Scan) +
           QStringLiteral("' and AgreementID = ") + row + QStringLiteral(".agsAgreementID and DetailID ") +
           nullSafeEqual + QLatin1Char(' ') + row + QStringLiteral(".agsDetailID");
}

QString queueScan(const QString &row)
{
    return QStringLiteral("insert into agrScanUnread (AgreementID, DetailID) values (") + row +
           QStringLiteral(".agsAgreementID, ") + row + QStringLiteral(".agsDetailID)");
}

// The agreement keys of a table: its department and agreement id columns; indexed: the columns an update
// of which can change the agreement's index rows (others, a signing date say, leave them as they are).
struct KeySource
{
    const char *table;
    const char *department;
    const char *agreement;
    QString indexed;
};

QList<KeySource> keySources()
{
    QList<KeySource> out = {{"agreementregister", "agrDepartmentid", "agragreementid", headerColumns()}};
    for (const DetailSource &s : DetailSources) {
        QStringList indexed = {L(s.department), L(s.agreement), L(s.detail)};
        for (const char *column : s.columns)
            indexed << L(column);
        out.append({s.table, s.department, s.agreement, indexed.join(QStringLiteral(", "))});
    }
    return out;
}

// The index rows of the agreements named by keys (a relation of DepartmentID and AgreementID, read first)
// are made again from the tables; the page text of their scanned copies stays.
QStringList remakeRows(Backend backend, const QString &keys, const QString &deleteRows)
{
    QStringList statements = {deleteRows};
    // The few keys lead (SQLite takes a cross join's order as written): the tables are read by their index
    // on department and agreement.
    const QString join =
        backend == Backend::SQLite ? QStringLiteral(" cross join ") : QStringLiteral(" join ");
    auto from = [&](const KeySource &k) -> QString {
        return QStringLiteral(" from ") + keys + join + L(k.table) + QStringLiteral(" r on r.") +
               L(k.department) + QStringLiteral(" = k.DepartmentID and r.") + L(k.agreement) +
               QStringLiteral(" = k.AgreementID");
    };
    const QList<KeySource> sources = keySources();
    statements << insertHeaderRows(QStringLiteral("r"), from(sources.first()));
    for (qsizetype i = 0; i < qsizetype(std::size(DetailSources)); ++i)
        statements << insertDetailRow(DetailSources[i], QStringLiteral("r"), from(sources.at(i + 1)));
    return statements;
}

QString triggerName(const char *table)
{
    return QStringLiteral("agr_ix_") + L(table).toLower();
}

QStringList indexedTables()
{
    QStringList tables = {QStringLiteral("agreementregister")};
    for (const DetailSource &s : DetailSources)
        tables << L(s.table);
    tables << L(ScanTable);
    return tables;
}

// ---- SQLite: FTS5 over agrSearchRows, row triggers ---------------------------------------------------

bool sqliteInstalled(platform::Connection &con)
{
    QStringList names = {L(table::SearchFts), QStringLiteral("agrSearchPending"), L(table::SearchDirty),
                         QStringLiteral("agr_fts_i")};
    for (const QString &t : indexedTables())
        names << triggerName(t.toLatin1().constData()) + QStringLiteral("_i");
    QStringList quoted;
    for (const QString &n : std::as_const(names))
        quoted << QLatin1Char('\'') + n.toLower() + QLatin1Char('\'');
    return con.Execute(QStringLiteral("select count(*) from sqlite_master where lower(name) in (") +
                       quoted.join(QLatin1Char(',')) + QLatin1Char(')'))
               .Fields(0)
               .toLong() == names.size();
}

void sqliteInstall(platform::Connection &con)
{
    QStringList statements;
    // Case and accents are folded by the tokenizer, on the texts and on the queries alike.
    statements << QStringLiteral("create virtual table if not exists agrSearchFts using fts5(Body, "
                                 "content='agrSearchRows', content_rowid='RowID', ") +
                      L(Tokenizer) + QStringLiteral(", prefix='2 3')");
    // FTS5 written inside a trigger writes a segment of its own for every statement, which made a save of
    // 5 x 200 detail lines four times slower; the triggers log the changes instead, and the full-text table
    // takes them in one statement before the next search (SyncSearchIndex).
    statements << QStringLiteral(
        "create table if not exists agrSearchPending (Seq INTEGER PRIMARY KEY, RowID "
        "INTEGER NOT NULL, Op TEXT NOT NULL, Body TEXT)");
    const QString logDelete =
        QStringLiteral("insert into agrSearchPending (RowID, Op, Body) values (old.RowID, 'd', old.Body);");
    const QString logInsert =
        QStringLiteral("insert into agrSearchPending (RowID, Op) values (new.RowID, 'i');");
    statements << QStringLiteral("create trigger agr_fts_i after insert on agrSearchRows begin ") +
                      logInsert + QStringLiteral(" end")
               << QStringLiteral("create trigger agr_fts_d after delete on agrSearchRows begin ") +
                      logDelete + QStringLiteral(" end")
               << QStringLiteral("create trigger agr_fts_u after update on agrSearchRows begin ") +
                      logDelete + QLatin1Char(' ') + logInsert + QStringLiteral(" end");

    // The index's words once each (department 0: all of them), for a prefix typed in the window: FTS5
    // finds the words that begin with a prefix it does not index by reading on from where the prefix
    // would stand in each segment, 3 to 5 ms at 100,000 agreements for a prefix of one word, where a word
    // is found at once. They replace the fts5vocab table that earlier versions read for it.
    statements << QStringLiteral("drop table if exists agrSearchVocab")
               << QStringLiteral("create unique index if not exists ix_agrsearchwords_word on agrSearchWords "
                                 "(Word, DepartmentID)");
    // A save writes hundreds of detail rows: each only names its agreement, once, and the agreement's index
    // rows are made again before the next search (SyncSearchIndex).
    statements << QStringLiteral("create table if not exists agrSearchDirty (DepartmentID INTEGER NOT NULL, "
                                 "AgreementID INTEGER NOT NULL, PRIMARY KEY (DepartmentID, AgreementID)) "
                                 "without rowid");
    auto trigger = [&](const QString &name, const QString &event, const QStringList &body) {
        statements << QStringLiteral("create trigger ") + name + QStringLiteral(" after ") + event +
                          QStringLiteral(" begin ") + body.join(QStringLiteral("; ")) +
                          QStringLiteral("; end");
    };
    for (const KeySource &k : keySources()) {
        auto mark = [&](const char *row) -> QString {
            return QStringLiteral("insert or ignore into agrSearchDirty values (") + L(row) +
                   QLatin1Char('.') + L(k.department) + QStringLiteral(", ") + L(row) + QLatin1Char('.') +
                   L(k.agreement) + QLatin1Char(')');
        };
        const QString name = triggerName(k.table);
        trigger(name + QStringLiteral("_i"), QStringLiteral("insert on ") + L(k.table), {mark("new")});
        trigger(name + QStringLiteral("_u"),
                QStringLiteral("update of ") + k.indexed + QStringLiteral(" on ") + L(k.table),
                {mark("old"), mark("new")});
        trigger(name + QStringLiteral("_d"), QStringLiteral("delete on ") + L(k.table), {mark("old")});
    }
    const QString scans = triggerName(ScanTable);
    trigger(scans + QStringLiteral("_i"), QStringLiteral("insert on ") + L(ScanTable),
            {queueScan(QStringLiteral("new"))});
    trigger(scans + QStringLiteral("_u"), QStringLiteral("update on ") + L(ScanTable),
            {deleteScanRows(QStringLiteral("old"), QStringLiteral("is")), queueScan(QStringLiteral("old")),
             queueScan(QStringLiteral("new"))});
    trigger(scans + QStringLiteral("_d"), QStringLiteral("delete on ") + L(ScanTable),
            {deleteScanRows(QStringLiteral("old"), QStringLiteral("is")), queueScan(QStringLiteral("old"))});

    // Triggers of a half-made index are made again whole.
    platform::Recordset old = con.Execute(
        QStringLiteral("select name from sqlite_master where type = 'trigger' and (name like 'agr_ix_%' or "
                       "name like 'agr_fts_%')"));
    QStringList drops;
    for (; !old.isEOF(); old.MoveNext())
        drops << QStringLiteral("drop trigger ") + old.Fields(0).text();
    for (const QString &statement : std::as_const(drops) + statements)
        con.Execute(statement);
}

// ---- PostgreSQL: tsvector column with a GIN index, trigger functions --------------------------------

bool postgresInstalled(platform::Connection &con)
{
    QStringList names = {QLatin1Char('\'') + triggerName(ScanTable) + QLatin1Char('\'')};
    for (const KeySource &k : keySources())
        names << QLatin1Char('\'') + triggerName(k.table) + QLatin1Char('\'');
    const int triggers = con.Execute(QStringLiteral("select count(*) from pg_trigger where tgname in (") +
                                     names.join(QLatin1Char(',')) + QLatin1Char(')'))
                             .Fields(0)
                             .toLong();
    const int words = con.Execute(QStringLiteral("select count(*) from information_schema.columns where "
                                                 "table_schema = current_schema() and table_name = "
                                                 "'agrsearchrows' and column_name = 'words'"))
                          .Fields(0)
                          .toLong();
    const int functions =
        con.Execute(QStringLiteral("select count(*) from pg_proc where proname in "
                                   "('agr_search_mark', 'agr_search_sync', 'agr_search_remake', "
                                   "'agr_search_terms')"))
            .Fields(0)
            .toLong();
    const int vocabulary =
        con.Execute(QStringLiteral("select (select count(*) from pg_proc where proname = 'agr_search_terms' "
                                   "and pronargs = 4) + (select count(*) from pg_indexes "
                                   "where schemaname = current_schema() and indexname = "
                                   "'ix_agrsearchwords_word')"))
            .Fields(0)
            .toLong();
    return triggers == names.size() && words == 1 && functions == 4 && vocabulary == 2;
}

// Whether the index's triggers and functions are this version's: earlier versions marked each row as it
// was written, and left the samples of common words to go stale.
bool postgresCurrent(platform::Connection &con)
{
    if (con.Execute(QStringLiteral("select count(*) from pg_proc where proname = 'agr_search_remake' and "
                                   "prosrc like '%renewed%'"))
            .Fields(0)
            .toLong() != 1)
        return false;
    QStringList names;
    for (const KeySource &k : keySources())
        names << QLatin1Char('\'') + triggerName(k.table) + QLatin1Char('\'');
    return con.Execute(
                  QStringLiteral("select count(*) from pg_trigger where tginitdeferred and tgname in (") +
                  names.join(QLatin1Char(',')) + QLatin1Char(')'))
               .Fields(0)
               .toLong() == names.size();
}

void postgresInstall(platform::Connection &con)
{
    QStringList statements;
    const QString schema =
        con.Execute(QStringLiteral("select quote_ident(current_schema())")).Fields(0).text();
    QStringList watched; // the deferred triggers, by their schema's name
    // Lower case, accents of Latin letters dropped, punctuation a blank: the parser then splits "AG/12" into
    // "ag" and "12" as the queries do, instead of keeping it as a path.
    statements << QStringLiteral(
        "create or replace function agr_fold(t text) returns text language sql immutable parallel safe as "
        "$f$ select regexp_replace(regexp_replace(lower(normalize(t, NFD)), E'[\\u0300-\\u036f]', '', 'g'), "
        "'[[:punct:][:space:]]+', ' ', 'g') $f$");
    statements << QStringLiteral(
                      "alter table agrSearchRows add column if not exists Words tsvector generated "
                      "always as (to_tsvector('simple', agr_fold(Body))) stored")
               << QStringLiteral(
                      "create index if not exists ix_agrsearchrows_words on agrSearchRows using gin "
                      "(Words)");

    // The functions run as the index's owner: a clerk writes the register's tables, not the index, and a
    // scanned copy deleted by agreement id alone takes the index rows of every department with it.
    auto function = [&](const QString &name, const QStringList &onOld, const QStringList &onNew,
                        bool owner = true) {
        QString body =
            QStringLiteral("create or replace function ") + name +
            QStringLiteral("() returns trigger language plpgsql ") +
            (owner ? QStringLiteral("security definer set search_path from current ") : QString()) +
            QStringLiteral("as $f$ begin ");
        auto run = [&](const QStringList &statements) {
            for (const QString &statement : statements)
                body += statement + QStringLiteral("; ");
        };
        // An insert, the save's case, evaluates as little as it can.
        body += QStringLiteral("if tg_op = 'INSERT' then ");
        run(onNew);
        body += QStringLiteral("return null; end if; ");
        run(onOld);
        body += QStringLiteral("if tg_op = 'UPDATE' then ");
        run(onNew);
        statements << body + QStringLiteral("end if; return null; end $f$");
    };
    auto trigger = [&](const QString &name, const QString &function, const QString &events,
                       const QString &table, bool deferred = false) {
        statements << QStringLiteral("drop trigger if exists ") + name + QStringLiteral(" on ") + table
                   << (deferred ? QStringLiteral("create constraint trigger ")
                                : QStringLiteral("create trigger ")) +
                          name + QStringLiteral(" after ") + events + QStringLiteral(" on ") + table +
                          (deferred ? QStringLiteral(" deferrable initially deferred") : QString()) +
                          QStringLiteral(" for each row execute function ") + function + QStringLiteral("()");
    };

    // A save writes hundreds of detail rows of one agreement, each with its own statement: the first names
    // the agreement in agrSearchDirty and in a setting of the transaction, the others find it there; the
    // agreement's index rows are made again before the next search (agr_search_sync). The triggers are
    // deferred to the commit: a trigger fired at the end of each one-row statement is set up again for
    // each, at several times the cost of the call, while the commit fires the whole queue at once. The
    // test is made inside the function, not in a WHEN: a WHEN is compiled again for every statement, at
    // about a microsecond and a half for each function it calls.
    // The queue has no key: a search that empties it takes exactly the rows it saw, so a name written
    // meanwhile stays. The trigger functions run as the caller: a function with settings of its own would
    // undo the setting on its way out.
    statements << QStringLiteral("create table if not exists agrSearchDirty (Seq bigserial primary key, "
                                 "DepartmentID smallint not null, AgreementID integer not null)")
               << QStringLiteral("create or replace function agr_search_mark(d smallint, a integer) returns "
                                 "void language sql security definer set search_path from current as $f$ "
                                 "insert into agrSearchDirty (DepartmentID, AgreementID) values (d, a) $f$");
    for (const KeySource &k : keySources()) {
        auto mark = [&](const char *row) -> QString {
            const QString department = L(row) + QLatin1Char('.') + L(k.department);
            const QString agreement = L(row) + QLatin1Char('.') + L(k.agreement);
            const QString key =
                department + QStringLiteral("::text || '/' || ") + agreement + QStringLiteral("::text");
            return QStringLiteral("if current_setting('agr.search_dirty', true) is distinct from ") + key +
                   QStringLiteral(" then perform agr_search_mark(") + department +
                   QStringLiteral("::smallint, ") + agreement +
                   QStringLiteral("::integer); perform set_config('agr.search_dirty', ") + key +
                   QStringLiteral(", true); end if");
        };
        const QString name = triggerName(k.table);
        function(name, {mark("old")}, {mark("new")}, false);
        // Made by earlier versions: one trigger per event, each with a WHEN.
        for (const char *event : {"_i", "_u", "_d"})
            statements << QStringLiteral("drop trigger if exists ") + name + L(event) +
                              QStringLiteral(" on ") + L(k.table);
        trigger(name, name, QStringLiteral("insert or update of ") + k.indexed + QStringLiteral(" or delete"),
                L(k.table), true);
        watched << schema + QLatin1Char('.') + name;
    }
    // What the transaction wrote before is named first (its deferred marks are fired now); the marks of
    // the transaction are forgotten, so that what it writes after the search is named again; then the
    // index rows of the queued agreements are made again, as the index's owner: a clerk's search brings
    // every department's rows up to date, and reads only its own.
    statements << QStringLiteral("create or replace function agr_search_sync() returns void language plpgsql "
                                 "as $f$ begin set constraints ") +
                      watched.join(QLatin1Char(',')) + QStringLiteral(" immediate; set constraints ") +
                      watched.join(QLatin1Char(',')) +
                      QStringLiteral(" deferred; perform set_config('agr.search_dirty', '', true); perform "
                                     "agr_search_remake(); end $f$");
    // Without JIT: the queue's statement looks costly to the planner, and compiling it took a tenth of a
    // second of the first search after a save.
    QString sync = QStringLiteral(
        "create or replace function agr_search_remake() returns void language plpgsql "
        "security definer set search_path from current set jit = off as $f$ declare kd smallint; ka "
        "integer; renewed "
        "text[]; "
        "begin if not exists (select 1 from agrSearchDirty) then return; end if; "
        "perform pg_advisory_xact_lock(hashtext('agrSearchDirty')); "
        "for kd, ka in with q as (delete from agrSearchDirty returning DepartmentID, "
        "AgreementID) select distinct DepartmentID, AgreementID from q loop ");
    // One agreement at a time, so that each statement reads the tables by their index. The rows of a
    // common word kept for the window's samples (agrSearchWords, below) lose the agreement's rows as they
    // go, and take its new rows after the others: without it the samples of the words of the agreements
    // saved first would empty as those are saved again.
    const QString keys = QStringLiteral("(select kd as DepartmentID, ka as AgreementID) k");
    auto ownRows = [](const QString &alias) -> QString {
        return alias + QStringLiteral("DepartmentID = kd and ") + alias +
               QStringLiteral("AgreementID = ka and ") + alias + QStringLiteral("Place <> '") +
               L(place::Scan) + QLatin1Char('\'');
    };
    // A sample keeps the rows not in the agreement's old ones, looked up in a hashed set (NOT IN is not
    // turned into a join, which compared every row with every old one).
    const QString kept =
        QStringLiteral("array(select r from unnest(w.Rows) r where r not in (select RowID from gone))");
    for (const QString &statement : remakeRows(
             Backend::PostgreSQL, keys,
             QStringLiteral("with gone as (delete from agrSearchRows where ") + ownRows(QString()) +
                 QStringLiteral(" returning RowID, Words), p as (update agrSearchWords w set Rows = ") +
                 kept +
                 QStringLiteral(", Common = true where w.DepartmentID = kd and w.Word collate \"C\" = "
                                "any(array(select distinct unnest(tsvector_to_array(Words)) from gone)) and "
                                "(cardinality(w.Rows) >= %1 or w.Common) and cardinality(")
                     .arg(SampleRows) +
                 kept +
                 QStringLiteral(") < cardinality(w.Rows) returning w.Word) select array_agg(Word) into "
                                "renewed from p")))
        sync += statement + QStringLiteral("; ");
    sync += QStringLiteral("if renewed is not null then update agrSearchWords w set Rows = (w.Rows || "
                           "n.Ids)[1:%1] from (select u.Word, array_agg(x.RowID order by x.RowID) as Ids "
                           "from agrSearchRows x cross join unnest(tsvector_to_array(x.Words)) u(Word) "
                           "where ")
                .arg(SampleRows) +
            ownRows(QStringLiteral("x.")) +
            QStringLiteral(" and u.Word = any(renewed) group by u.Word) n where w.DepartmentID = kd and "
                           "w.Word collate \"C\" = n.Word; end if; end loop; ");
    statements << sync + QStringLiteral("end $f$");
    // The words of the index with the RowIDs of their first rows (at most SampleRows), for the window:
    // GIN gathers every row of every word a term matches before it gives the first, a fifth of a second
    // for a word of every content line or a prefix of 20,000 words at 100,000 agreements, while the rows
    // kept here give a sample at once. A new word comes with the rows that brought it (a statement
    // trigger, not one per row; adding rows to known words made the first search after 50 saves several
    // times slower); words and rows stay when those rows go, and a row no longer held only finds nothing.
    // The fill takes them anew.
    statements << QStringLiteral("alter table agrSearchWords add column if not exists Rows integer[]")
               << QStringLiteral("alter table agrSearchWords add column if not exists Common boolean")
               << QStringLiteral("create unique index if not exists ix_agrsearchwords_word on agrSearchWords "
                                 "(Word collate \"C\", DepartmentID)")
               << QStringLiteral(
                      "create or replace function agr_search_words() returns trigger language plpgsql "
                      "security definer set search_path from current as $f$ begin if "
                      "current_setting('agr.search_filling', true) = 'on' then return null; end if; insert "
                      "into agrSearchWords (DepartmentID, Word, Rows) select a.DepartmentID, w.Word, "
                      "(array_agg(a.RowID))[1:%1] from agr_added a cross join "
                      "unnest(tsvector_to_array(a.Words)) w(Word) where a.DepartmentID is not null and not "
                      "exists (select 1 from agrSearchWords o where o.Word collate \"C\" = w.Word and "
                      "o.DepartmentID = a.DepartmentID) group by a.DepartmentID, w.Word on conflict do "
                      "nothing; return null; end $f$")
                      .arg(SampleRows)
               << QStringLiteral("drop trigger if exists agr_search_words on agrSearchRows")
               << QStringLiteral("create trigger agr_search_words after insert on agrSearchRows referencing "
                                 "new table as agr_added for each statement execute function "
                                 "agr_search_words()");
    // Every term of a search in one statement, after the index is brought up to date; as the caller, so
    // that row-level security keeps the clerk to the departments. Planned afresh for each call, for the
    // words asked, and never as a scan of every row: a word of every content line looks cheap to find that
    // way, but those rows are stored last. keys (while typing): the last word of each term, a prefix
    // with "*"; a term of more than SampledPrefixWords words, or whose words were held by SampleRows rows,
    // is answered by the rows kept for its first words, unweighed, after a row without RowID; their text
    // is matched row by row (ts_match_vq), as the GIN index would gather every row of the term first,
    // read in the order of their RowIDs (an array the btree sorts), near each other on disk.
    statements << QStringLiteral("drop function if exists agr_search_terms(text, integer, smallint[])")
               << QStringLiteral(
                      "create or replace function agr_search_terms(queries text, per_term integer, "
                      "departments smallint[], keys text) returns table (term_no integer, row_id integer, "
                      "department_id smallint, agreement_id integer, score real) language plpgsql set "
                      "plan_cache_mode = force_custom_plan set enable_seqscan = off as $f$ declare qs "
                      "text[] := string_to_array(queries, E'\\t'); ks text[] := string_to_array(keys, "
                      "E'\\t'); n integer; q tsquery; k text; found text[]; held bigint; common boolean; "
                      "begin perform "
                      "agr_search_sync(); for n in 1 .. coalesce(array_length(qs, 1), 0) loop q := "
                      "to_tsquery('simple', qs[n]); k := coalesce(ks[n], ''); if k <> '' then if right(k, "
                      "1) = '*' then k := left(k, -1); select array_agg(v.Word), coalesce(sum(v.Held), 0), "
                      "coalesce(bool_or(v.Common), false) into found, held, common from (select w.Word, "
                      "cardinality(w.Rows) as Held, w.Common from "
                      "agrSearchWords w where w.Word collate \"C\" >= k and w.Word collate \"C\" < k || "
                      "chr(1114111) and (departments is null or w.DepartmentID = any(departments)) order by "
                      "w.Word collate \"C\" limit %1 + 1) v; else select array_agg(w.Word), "
                      "coalesce(sum(cardinality(w.Rows)), 0), coalesce(bool_or(w.Common), false) into found, "
                      "held, common from agrSearchWords w where "
                      "w.Word collate \"C\" = k and (departments is null or w.DepartmentID = "
                      "any(departments)); end if; if cardinality(found) > %1 or held >= %2 or common then "
                      "return "
                      "query select n, null::integer, null::smallint, null::integer, null::real; return "
                      "query select n, x.RowID, x.DepartmentID, x.AgreementID, 0::real from agrSearchRows x "
                      "where x.RowID = any(array(select unnest(w.Rows) from agrSearchWords w where w.Word "
                      "collate \"C\" = any(found[1:%1]) and (departments is null or w.DepartmentID = "
                      "any(departments)) limit %2)) and ts_match_vq(x.Words, q) and (departments is null or "
                      "x.DepartmentID = any(departments)); continue; end if; end if; return query select n, "
                      "x.RowID, x.DepartmentID, x.AgreementID, ts_rank(x.Words, q) from agrSearchRows x "
                      "where x.Words @@ q and (departments is null or x.DepartmentID = any(departments)) "
                      "limit per_term; end loop; end $f$")
                      .arg(SampledPrefixWords)
                      .arg(SampleRows);

    const QString scans = triggerName(ScanTable);
    function(scans,
             {deleteScanRows(QStringLiteral("old"), QStringLiteral("is not distinct from")),
              queueScan(QStringLiteral("old"))},
             {queueScan(QStringLiteral("new"))});
    trigger(scans, scans, QStringLiteral("insert or update or delete"), L(ScanTable));
    for (const QString &statement : std::as_const(statements))
        con.Execute(statement);
}

// SQLite: the full-text table's words listed anew (1.6 s at 100,000 agreements).
void listWords(platform::Connection &con)
{
    con.Execute(QStringLiteral("delete from agrSearchWords"));
    con.Execute(QStringLiteral("create virtual table if not exists temp.agrSearchVocabWords using "
                               "fts5vocab(main, agrSearchFts, row)"));
    con.Execute(QStringLiteral(
        "insert into agrSearchWords (DepartmentID, Word) select 0, term from temp.agrSearchVocabWords"));
}

// SQLite: whether the words are listed; an index made by an earlier version has its rows, not the list.
bool wordsListed(platform::Connection &con)
{
    return con.Execute(
                  QStringLiteral("select (select count(*) from sqlite_master where name = "
                                 "'ix_agrsearchwords_word') + (select exists (select 1 from agrSearchWords) "
                                 "or not exists (select 1 from agrSearchRows))"))
               .Fields(0)
               .toLong() == 2;
}

void fill(platform::Connection &con)
{
    const bool pg = con.backend() == Backend::PostgreSQL;
    // The GIN index is built once over all rows: kept while millions are inserted it costs several times
    // as much.
    // The words are listed once, after the rows are in (agr_search_words waits for it).
    if (pg) {
        con.Execute(QStringLiteral("drop index if exists ix_agrsearchrows_words"));
        con.Execute(QStringLiteral("select set_config('agr.search_filling', 'on', true)"));
    }
    con.Execute(QStringLiteral("delete from agrSearchRows"));
    con.Execute(QStringLiteral("delete from agrSearchDirty"));
    con.Execute(QStringLiteral("delete from agrScanUnread"));
    con.Execute(insertHeaderRows(QStringLiteral("r"), QStringLiteral(" from agreementregister r")));
    for (const DetailSource &s : DetailSources)
        con.Execute(insertDetailRow(s, QStringLiteral("r"),
                                    QStringLiteral(" from ") + L(s.table) + QStringLiteral(" r")));
    con.Execute(QStringLiteral("insert into agrScanUnread (AgreementID, DetailID) select agsAgreementID, "
                               "agsDetailID from ") +
                L(ScanTable));
    if (pg) {
        con.Execute(QStringLiteral("set local maintenance_work_mem = '256MB'"));
        con.Execute(QStringLiteral("create index ix_agrsearchrows_words on agrSearchRows using gin (Words)"));
        con.Execute(QStringLiteral("set local work_mem = '256MB'"));
        con.Execute(QStringLiteral("delete from agrSearchWords"));
        con.Execute(
            QStringLiteral("insert into agrSearchWords (DepartmentID, Word, Rows) select DepartmentID, "
                           "w, (array_agg(RowID))[1:%1] from agrSearchRows cross join "
                           "unnest(tsvector_to_array(Words)) w where DepartmentID is not null group by "
                           "DepartmentID, w")
                .arg(SampleRows));
        con.Execute(QStringLiteral("select set_config('agr.search_filling', 'off', true)"));
    } else {
        con.Execute(QStringLiteral("delete from agrSearchPending"));
        con.Execute(QStringLiteral("insert into agrSearchFts (agrSearchFts) values ('rebuild')"));
        // One segment, not the dozen the rebuild leaves: every word looked up is then one seek, not one
        // for each segment (the window's samples look up 64 words at a keystroke).
        con.Execute(QStringLiteral("insert into agrSearchFts (agrSearchFts) values ('optimize')"));
        listWords(con);
    }
}

template <class Body> void inTransaction(platform::Connection &con, Body body)
{
    con.BeginTrans();
    try {
        body();
    } catch (...) {
        platform::Trap([&] { con.RollbackTrans(); }, {});
        throw;
    }
    con.CommitTrans();
}

// PostgreSQL: a GIN index filled anew answers a rare word in milliseconds instead of microseconds until
// the table is vacuumed once; autovacuum would come to it later. Outside a transaction only; a login that
// may not vacuum the table leaves it to autovacuum.
void settle(platform::Connection &con)
{
    if (con.backend() == Backend::PostgreSQL && con.transactionLevel() == 0)
        platform::Trap([&] { con.Execute(QStringLiteral("vacuum analyze agrSearchRows")); }, {});
}

} // namespace

bool SearchIndexSupported(platform::Connection &con)
{
    return con.backend() == Backend::SQLite || con.backend() == Backend::PostgreSQL;
}

void CreateSearchIndex(platform::Connection &con)
{
    switch (con.backend()) {
    case Backend::SQLite:
        if (!sqliteInstalled(con))
            inTransaction(con, [&] {
                sqliteInstall(con);
                fill(con);
            });
        else if (!wordsListed(con))
            inTransaction(con, [&] {
                sqliteInstall(con);
                listWords(con);
            });
        break;
    case Backend::PostgreSQL:
        if (!postgresInstalled(con)) {
            inTransaction(con, [&] {
                postgresInstall(con);
                fill(con);
            });
            settle(con);
        } else if (!postgresCurrent(con)) {
            // An index of an earlier version: its rows are right, its triggers and functions are made again.
            inTransaction(con, [&] { postgresInstall(con); });
        }
        break;
    case Backend::ODBC:
        break;
    }
}

void SyncSearchIndex(platform::Connection &con)
{
    if (con.backend() == Backend::PostgreSQL) {
        con.Execute(QStringLiteral("select agr_search_sync()"));
        return;
    }
    if (con.backend() != Backend::SQLite || con.transactionLevel() > 0 ||
        con.Execute(QStringLiteral("select (select count(*) from (select 1 from agrSearchPending limit 1)) + "
                                   "(select count(*) from (select 1 from agrSearchDirty limit 1))"))
                .Fields(0)
                .toLong() == 0)
        return;
    auto apply = [&] {
        const QString keys = QStringLiteral("agrSearchDirty k");
        for (const QString &statement :
             remakeRows(Backend::SQLite, keys,
                        QStringLiteral("delete from agrSearchRows where Place <> '") + L(place::Scan) +
                            QStringLiteral("' and (DepartmentID, AgreementID) in (select DepartmentID, "
                                           "AgreementID from agrSearchDirty)")))
            con.Execute(statement);
        con.Execute(QStringLiteral("delete from agrSearchDirty"));
        // A row's first logged change tells whether the full-text table holds it; rows still there are
        // (re)entered with their present text.
        con.Execute(QStringLiteral(
            "insert into agrSearchFts (agrSearchFts, rowid, Body) select 'delete', p.RowID, p.Body from "
            "agrSearchPending p join (select RowID, min(Seq) as First from agrSearchPending group by RowID) "
            "f on "
            "f.First = p.Seq where p.Op = 'd'"));
        con.Execute(
            QStringLiteral("insert into agrSearchFts (rowid, Body) select r.RowID, r.Body from agrSearchRows "
                           "r where r.RowID in (select RowID from agrSearchPending)"));
        // The words of the texts entered join the list, split as the full-text table splits them (by a
        // table of this connection's own that keeps no text); words whose texts went stay listed.
        con.Execute(QStringLiteral("create virtual table if not exists temp.agrSearchNew using fts5(Body, "
                                   "content='', detail=none, ") +
                    L(Tokenizer) + QLatin1Char(')'));
        con.Execute(QStringLiteral("create virtual table if not exists temp.agrSearchNewWords using "
                                   "fts5vocab(temp, agrSearchNew, row)"));
        con.Execute(QStringLiteral("insert into temp.agrSearchNew (Body) select r.Body from agrSearchRows r "
                                   "where r.RowID in (select RowID from agrSearchPending where Op = 'i')"));
        con.Execute(QStringLiteral("insert or ignore into agrSearchWords (DepartmentID, Word) select 0, term "
                                   "from temp.agrSearchNewWords"));
        con.Execute(QStringLiteral("insert into temp.agrSearchNew (agrSearchNew) values ('delete-all')"));
        con.Execute(QStringLiteral("delete from agrSearchPending"));
    };
    inTransaction(con, apply);
}

void CompactSearchIndex(platform::Connection &con)
{
    if (con.backend() == Backend::SQLite) {
        SyncSearchIndex(con);
        // A table of one segment already is left as it is.
        inTransaction(con, [&] {
            con.Execute(QStringLiteral("insert into agrSearchFts (agrSearchFts) values ('optimize')"));
        });
    }
    settle(con);
}

void RemakeSearchTriggers(platform::Connection &con)
{
    if (con.backend() == Backend::SQLite && con.dialect().tableExists(con, L(table::SearchFts)))
        sqliteInstall(con);
}

void RebuildSearchIndex(platform::Connection &con)
{
    if (!SearchIndexSupported(con))
        platform::Raise(platform::err::DatabaseError, QStringLiteral("index"),
                        QStringLiteral("the full-text index is kept on SQLite and PostgreSQL only"));
    inTransaction(con, [&] { fill(con); });
    settle(con);
}

namespace {

QString ftsQuery(const SearchTerm &term)
{
    return QLatin1Char('"') + term.words.join(QLatin1Char(' ')) + QLatin1Char('"') +
           (term.prefix ? QStringLiteral(" *") : QString());
}

// Longest prefix FTS5 keeps an index of (prefix='2 3').
constexpr int IndexedPrefix = 3;

// The words that begin with prefix lie between prefix and prefix followed by the last code point.
QString pastPrefix(const QString &prefix)
{
    return prefix + QString::fromUcs4(U"\U0010FFFF", 1);
}

// The first SampledPrefixWords words that begin with a prefix (allWords: no other does), and the first
// texts, in the order of the rows, within the departments that hold one of them, each text once: at most
// rows + 1, so that the caller sees whether there are more.
struct FirstTexts
{
    QStringList words;
    bool allWords = true;
    QList<SearchTermRow> rows;
};

FirstTexts firstTextsOf(platform::Connection &con, int term, const QString &prefix, const QString &within,
                        int rows)
{
    platform::Command listed(con);
    listed.setCommandText(QStringLiteral("select Word from agrSearchWords where Word >= ? and Word < ? and "
                                         "DepartmentID = 0 order by Word limit %1")
                              .arg(SampledPrefixWords + 1));
    listed.ParametersRefresh();
    FirstTexts out;
    for (platform::Recordset w = listed.Execute({prefix, pastPrefix(prefix)}); !w.isEOF(); w.MoveNext())
        out.words << w.Fields(0).text();
    out.allWords = out.words.size() <= SampledPrefixWords;
    if (out.words.isEmpty())
        return out;
    if (!out.allWords)
        out.words.removeLast();
    // Each word is an exact look-up, and FTS5 merges their rows in order as it reads them.
    platform::Command read(con);
    read.setCommandText(
        QStringLiteral("select r.RowID, r.DepartmentID, r.AgreementID from agrSearchFts cross "
                       "join agrSearchRows r on r.RowID = agrSearchFts.rowid where "
                       "agrSearchFts match ?%1 limit %2")
            .arg(within)
            .arg(rows + 1));
    read.ParametersRefresh();
    QStringList quoted;
    for (const QString &word : std::as_const(out.words))
        quoted << QLatin1Char('"') + word + QLatin1Char('"');
    for (platform::Recordset r = read.Execute({quoted.join(QStringLiteral(" OR "))}); !r.isEOF();
         r.MoveNext())
        out.rows.append({term, r.Fields(0).Value().toLongLong(), qint16(r.Fields(1).toLong()),
                         qint32(r.Fields(2).toLong())});
    return out;
}

} // namespace

SearchTermsQuery SearchTermsOf(platform::Connection &con, const QList<SearchTerm> &terms,
                               const QList<int> &departments, int rowsPerTerm, bool quick)
{
    SearchTermsQuery out;
    QStringList ids;
    for (int d : departments)
        ids << QString::number(d);
    if (con.backend() == Backend::PostgreSQL) {
        QStringList queries;
        QStringList keys;
        for (const SearchTerm &term : terms) {
            keys << term.words.last() + (term.prefix ? QStringLiteral("*") : QString());
            QStringList words;
            for (const QString &word : term.words)
                words << QLatin1Char('\'') + word + QLatin1Char('\'');
            queries << words.join(QStringLiteral(" <-> ")) + (term.prefix ? QStringLiteral(":*") : QString());
        }
        out.statement = QStringLiteral("select term_no, row_id, department_id, agreement_id, score from "
                                       "agr_search_terms(?, %1, %2, ?)")
                            .arg(rowsPerTerm)
                            .arg(ids.isEmpty() ? QStringLiteral("null")
                                               : QStringLiteral("'{") + ids.join(QLatin1Char(',')) +
                                                     QStringLiteral("}'::smallint[]"));
        out.values = {queries.join(QLatin1Char('\t')), quick ? keys.join(QLatin1Char('\t')) : QString()};
        return out;
    }
    const QString within = ids.isEmpty() ? QString()
                                         : QStringLiteral(" and r.DepartmentID in (") +
                                               ids.join(QLatin1Char(',')) + QLatin1Char(')');
    QStringList arms;
    for (qsizetype n = 1; n <= terms.size(); ++n) {
        const SearchTerm &term = terms.at(n - 1);
        // While typing, a word (or a prefix) found in more texts than are weighed is taken by its first
        // texts, unweighed: weighing it reads every text that holds it (bm25 counts them). FTS5 streams a
        // word and a prefix it indexes (two or three letters); a longer prefix it expands whole before the
        // first row, seconds at 100,000 agreements, so that one is read as its first words instead, from
        // the index's list of words. A rarer term costs little and is weighed as usual.
        const QString word = term.words.first();
        const bool streamed = !term.prefix || word.size() <= IndexedPrefix;
        bool firstRows = false;
        SearchTerm asked = term;
        if (quick && term.words.size() == 1 && streamed) {
            platform::Command count(con);
            count.setCommandText(QStringLiteral("select count(*) from (select rowid from agrSearchFts where "
                                                "agrSearchFts match ? limit %1)")
                                     .arg(rowsPerTerm + 1));
            count.ParametersRefresh();
            firstRows = count.Execute({ftsQuery(term)}).Fields(0).toLong() > rowsPerTerm;
        } else if (quick && term.words.size() == 1) {
            // Weighing a long prefix costs FTS5 its expansion twice (bm25 counts the texts apart) and a
            // look-up for every text: a prefix of more words than are read, or of many texts, is taken by
            // the texts of its first words, as on PostgreSQL.
            FirstTexts first = firstTextsOf(con, int(n), word, within, rowsPerTerm);
            if (!first.allWords || first.rows.size() >= std::min(SampleRows, rowsPerTerm + 1)) {
                if (first.rows.size() > rowsPerTerm)
                    first.rows.resize(rowsPerTerm);
                out.rows += first.rows;
                out.unweighed << true;
                continue;
            }
            // Every word that begins with it was read, and none has a text within the departments.
            if (first.rows.isEmpty()) {
                arms << QStringLiteral("select %1, r.RowID, r.DepartmentID, r.AgreementID, 0.0 from "
                                       "agrSearchRows r where 0")
                            .arg(n);
                out.unweighed << false;
                continue;
            }
            // A prefix that only one word begins with matches what that word matches, and weighs the
            // same; the word is found at once, where the prefix is sought through the list of words.
            if (first.words.size() == 1)
                asked = SearchTerm{first.words, false};
        }
        out.unweighed << firstRows;
        // A cross join keeps SQLite from probing the full-text table once per row of the departments.
        arms << QStringLiteral(
                    "select %1, * from (select r.RowID, r.DepartmentID, r.AgreementID, %4 from "
                    "agrSearchFts cross join agrSearchRows r on r.RowID = agrSearchFts.rowid where "
                    "agrSearchFts match ?%2 limit %3)")
                    .arg(n)
                    .arg(within)
                    .arg(rowsPerTerm)
                    .arg(firstRows ? QStringLiteral("0.0") : QStringLiteral("-bm25(agrSearchFts)"));
        out.values << ftsQuery(asked);
    }
    out.statement = arms.join(QStringLiteral(" union all "));
    return out;
}

} // namespace agr::schema
