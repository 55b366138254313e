#include "searchindex.h"

#include "platform/database/connection.h"
#include "platform/runtime/errors.h"

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

QString headerPlaces()
{
    QStringList places;
    for (const HeaderText &text : HeaderTexts)
        places << QLatin1Char('\'') + L(text.place) + QLatin1Char('\'');
    return places.join(QLatin1Char(','));
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

QString deleteHeaderRows(const QString &row)
{
    return QStringLiteral("delete from agrSearchRows where DepartmentID = ") + row +
           QStringLiteral(".agrDepartmentid and AgreementID = ") + row +
           QStringLiteral(".agragreementid and Place in (") + headerPlaces() + QLatin1Char(')');
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

// One index row of the detail row, not all that match: a table may hold the same detail twice.
QString deleteDetailRow(const DetailSource &s, const QString &row, const QString &nullSafeEqual)
{
    return QStringLiteral("delete from agrSearchRows where RowID = (select RowID from agrSearchRows where "
                          "DepartmentID = ") +
           row + QLatin1Char('.') + L(s.department) + QStringLiteral(" and AgreementID = ") + row +
           QLatin1Char('.') + L(s.agreement) + QStringLiteral(" and Place = '") + L(s.place) +
           QStringLiteral("' and DetailID ") + nullSafeEqual + QLatin1Char(' ') + row + QLatin1Char('.') +
           L(s.detail) + QStringLiteral(" and Body = ") + bodyOf(s, row) + QStringLiteral(" limit 1)");
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
    QStringList names = {L(table::SearchFts), QStringLiteral("agrSearchPending"),
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
                                 "content='agrSearchRows', content_rowid='RowID', "
                                 "tokenize='unicode61 remove_diacritics 2', prefix='2 3')");
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

    auto trigger = [&](const QString &name, const QString &event, const QStringList &body) {
        statements << QStringLiteral("create trigger ") + name + QStringLiteral(" after ") + event +
                          QStringLiteral(" begin ") + body.join(QStringLiteral("; ")) +
                          QStringLiteral("; end");
    };
    const QString header = triggerName("agreementregister");
    trigger(header + QStringLiteral("_i"), QStringLiteral("insert on agreementregister"),
            {insertHeaderRows(QStringLiteral("new"))});
    trigger(header + QStringLiteral("_u"),
            QStringLiteral("update of ") + headerColumns() + QStringLiteral(" on agreementregister"),
            {deleteHeaderRows(QStringLiteral("old")), insertHeaderRows(QStringLiteral("new"))});
    trigger(header + QStringLiteral("_d"), QStringLiteral("delete on agreementregister"),
            {deleteHeaderRows(QStringLiteral("old"))});
    for (const DetailSource &s : DetailSources) {
        const QString name = triggerName(s.table);
        const QString del = deleteDetailRow(s, QStringLiteral("old"), QStringLiteral("is"));
        const QString ins = insertDetailRow(s, QStringLiteral("new"));
        trigger(name + QStringLiteral("_i"), QStringLiteral("insert on ") + L(s.table), {ins});
        trigger(name + QStringLiteral("_u"), QStringLiteral("update on ") + L(s.table), {del, ins});
        trigger(name + QStringLiteral("_d"), QStringLiteral("delete on ") + L(s.table), {del});
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
    QStringList names;
    for (const QString &t : indexedTables())
        names << QLatin1Char('\'') + triggerName(t.toLatin1().constData()) + QLatin1Char('\'');
    const int triggers = con.Execute(QStringLiteral("select count(*) from pg_trigger where tgname in (") +
                                     names.join(QLatin1Char(',')) + QLatin1Char(')'))
                             .Fields(0)
                             .toLong();
    const int words = con.Execute(QStringLiteral("select count(*) from information_schema.columns where "
                                                 "table_schema = current_schema() and table_name = "
                                                 "'agrsearchrows' and column_name = 'words'"))
                          .Fields(0)
                          .toLong();
    return triggers == names.size() && words == 1;
}

void postgresInstall(platform::Connection &con)
{
    QStringList statements;
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
    auto function = [&](const QString &name, const QStringList &onOld, const QStringList &onNew) {
        QString body = QStringLiteral("create or replace function ") + name +
                       QStringLiteral("() returns trigger language plpgsql security definer set search_path "
                                      "from current as $f$ begin ");
        if (!onOld.isEmpty())
            body += QStringLiteral("if tg_op in ('UPDATE', 'DELETE') then ") +
                    onOld.join(QStringLiteral("; ")) + QStringLiteral("; end if; ");
        if (!onNew.isEmpty())
            body += QStringLiteral("if tg_op in ('INSERT', 'UPDATE') then ") +
                    onNew.join(QStringLiteral("; ")) + QStringLiteral("; end if; ");
        statements << body + QStringLiteral("return null; end $f$");
    };
    auto trigger = [&](const QString &name, const QString &events, const QString &table) {
        statements << QStringLiteral("drop trigger if exists ") + name + QStringLiteral(" on ") + table
                   << QStringLiteral("create trigger ") + name + QStringLiteral(" after ") + events +
                          QStringLiteral(" on ") + table + QStringLiteral(" for each row execute function ") +
                          name + QStringLiteral("()");
    };
    const QString header = triggerName("agreementregister");
    function(header, {deleteHeaderRows(QStringLiteral("old"))}, {insertHeaderRows(QStringLiteral("new"))});
    trigger(header, QStringLiteral("insert or delete or update of ") + headerColumns(),
            QStringLiteral("agreementregister"));
    for (const DetailSource &s : DetailSources) {
        const QString name = triggerName(s.table);
        function(name, {deleteDetailRow(s, QStringLiteral("old"), QStringLiteral("is not distinct from"))},
                 {insertDetailRow(s, QStringLiteral("new"))});
        trigger(name, QStringLiteral("insert or update or delete"), L(s.table));
    }
    const QString scans = triggerName(ScanTable);
    function(scans,
             {deleteScanRows(QStringLiteral("old"), QStringLiteral("is not distinct from")),
              queueScan(QStringLiteral("old"))},
             {queueScan(QStringLiteral("new"))});
    trigger(scans, QStringLiteral("insert or update or delete"), L(ScanTable));
    for (const QString &statement : std::as_const(statements))
        con.Execute(statement);
}

void fill(platform::Connection &con)
{
    con.Execute(QStringLiteral("delete from agrSearchRows"));
    con.Execute(QStringLiteral("delete from agrScanUnread"));
    con.Execute(insertHeaderRows(QStringLiteral("r"), QStringLiteral(" from agreementregister r")));
    for (const DetailSource &s : DetailSources)
        con.Execute(insertDetailRow(s, QStringLiteral("r"),
                                    QStringLiteral(" from ") + L(s.table) + QStringLiteral(" r")));
    con.Execute(QStringLiteral("insert into agrScanUnread (AgreementID, DetailID) select agsAgreementID, "
                               "agsDetailID from ") +
                L(ScanTable));
    if (con.backend() == Backend::SQLite) {
        con.Execute(QStringLiteral("delete from agrSearchPending"));
        con.Execute(QStringLiteral("insert into agrSearchFts (agrSearchFts) values ('rebuild')"));
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
        break;
    case Backend::PostgreSQL:
        if (!postgresInstalled(con))
            inTransaction(con, [&] {
                postgresInstall(con);
                fill(con);
            });
        break;
    case Backend::ODBC:
        break;
    }
}

void SyncSearchIndex(platform::Connection &con)
{
    if (con.backend() != Backend::SQLite || con.transactionLevel() > 0 ||
        con.Execute(QStringLiteral("select count(*) from (select 1 from agrSearchPending limit 1) p"))
                .Fields(0)
                .toLong() == 0)
        return;
    auto apply = [&] {
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
        con.Execute(QStringLiteral("delete from agrSearchPending"));
    };
    inTransaction(con, apply);
}

void RebuildSearchIndex(platform::Connection &con)
{
    if (!SearchIndexSupported(con))
        platform::Raise(platform::err::DatabaseError, QStringLiteral("index"),
                        QStringLiteral("the full-text index is kept on SQLite and PostgreSQL only"));
    inTransaction(con, [&] { fill(con); });
}

QString SearchTermQuery(platform::Connection &con, const SearchTerm &term)
{
    if (con.backend() == Backend::PostgreSQL) {
        QStringList words;
        for (const QString &word : term.words)
            words << QLatin1Char('\'') + word + QLatin1Char('\'');
        return words.join(QStringLiteral(" <-> ")) + (term.prefix ? QStringLiteral(":*") : QString());
    }
    return QLatin1Char('"') + term.words.join(QLatin1Char(' ')) + QLatin1Char('"') +
           (term.prefix ? QStringLiteral(" *") : QString());
}

QString SearchTermStatement(platform::Connection &con, const QList<int> &departments, int limit)
{
    QString within;
    if (!departments.isEmpty()) {
        QStringList ids;
        for (int d : departments)
            ids << QString::number(d);
        within = QStringLiteral(" and r.DepartmentID in (") + ids.join(QLatin1Char(',')) + QLatin1Char(')');
    }
    const QString limited = QStringLiteral(" limit ") + QString::number(limit);
    if (con.backend() == Backend::PostgreSQL)
        return QStringLiteral("select r.RowID, r.DepartmentID, r.AgreementID, ts_rank(r.Words, q) from "
                              "agrSearchRows r, to_tsquery('simple', ?) q where r.Words @@ q") +
               within + limited;
    // A cross join keeps SQLite from probing the full-text table once per row of the departments.
    return QStringLiteral(
               "select r.RowID, r.DepartmentID, r.AgreementID, -bm25(agrSearchFts) from agrSearchFts "
               "cross join agrSearchRows r on r.RowID = agrSearchFts.rowid where agrSearchFts match ?") +
           within + limited;
}

} // namespace agr::schema
