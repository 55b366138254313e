#pragma once
// The full-text index of the register, kept by the database itself: triggers on the header, the five
// detail tables and the scanned copies write agrSearchRows (one row per indexed text) and queue the
// scanned copies whose page text is still to be read (agrScanUnread). SQLite indexes the rows with FTS5,
// PostgreSQL with a tsvector column and a GIN index. Nothing of it is visible to the module's statements.

#include <QList>
#include <QString>
#include <QStringList>
#include <QVariantList>

namespace platform {
class Connection;
}

namespace agr::schema {

namespace table {
inline constexpr char SearchRows[] = "agrSearchRows";   // RowID, DepartmentID, AgreementID, Place,
                                                        // DetailID, Label, Body
inline constexpr char ScanText[] = "agrScanText";       // Sha256, Body, Confidence, Languages, ReadAt
inline constexpr char ScanUnread[] = "agrScanUnread";   // QueueID, AgreementID, DetailID
inline constexpr char SearchFts[] = "agrSearchFts";     // SQLite only: the FTS5 index of SearchRows
inline constexpr char SearchDirty[] = "agrSearchDirty"; // DepartmentID, AgreementID: index rows to remake
inline constexpr char SearchWords[] = "agrSearchWords"; // DepartmentID, Word (PostgreSQL: and Rows;
                                                        // SQLite: department 0 for the words of all)
} // namespace table

// Where a row of agrSearchRows comes from ("description", "content", "signatory", "scan", ...).
namespace place {
inline constexpr char Scan[] = "scan";
}

// Creates the index's triggers (and on SQLite its FTS5 table, on PostgreSQL its tsvector column, GIN index
// and functions) when they are missing; an index made now is filled from the rows already stored, and every
// stored scanned copy is queued to be read. Called by CreateSchema after the tables exist. Nothing on ODBC.
void CreateSearchIndex(platform::Connection &con);
// Empties the index and fills it again from the tables; every scanned copy is queued again (its page text,
// kept by the hash of its bytes, is not read again).
void RebuildSearchIndex(platform::Connection &con);
// Keeps the index quick to read after months of saves: on SQLite the full-text table's segments, which it
// merges only a few at a time as saves come in, become one (each word looked up is then one seek); on
// PostgreSQL the table is vacuumed, which empties the GIN index's pending list. Run by `index`.
void CompactSearchIndex(platform::Connection &con);
// After tables the index watches were made again (their triggers went with them): the triggers as they
// were, where the index exists, so that it need not be filled again.
void RemakeSearchTriggers(platform::Connection &con);
// Brings the index up to date: the index rows of the agreements the triggers named since are made again
// from the tables, and (SQLite) the full-text table takes the changed rows in one statement (FTS5 written
// row by row inside triggers costs a segment per statement). Called before every search (on PostgreSQL by
// the search's own statement); on SQLite, inside an open transaction it leaves the work for the next one.
void SyncSearchIndex(platform::Connection &con);
// True when the connection's engine keeps the index.
bool SearchIndexSupported(platform::Connection &con);

// One term of a search: a word, or a phrase of several words in a row; prefix: its last word may go on.
// Words are folded already (lower case, no accents) and hold only letters, marks and digits.
struct SearchTerm
{
    QStringList words;
    bool prefix = false;
};

// A row of the index that holds a term: the term's number (1 for the first) and where the row belongs.
struct SearchTermRow
{
    int term = 0;
    qint64 rowId = 0;
    qint16 departmentId = 0;
    qint32 agreementId = 0;
};

// A select giving the term's number (1 for the first), RowID, DepartmentID, AgreementID and a score (higher
// is better) of the index rows that hold each of the terms, at most rowsPerTerm of each, within the
// departments given (none: all), with the values of its markers. On PostgreSQL the statement brings the
// index up to date first. quick (while the clerk types): on SQLite a word, or a prefix of up to three
// letters, found in more than rowsPerTerm texts is taken by its first rowsPerTerm texts, unweighed (score
// 0); a longer prefix begun by more than SampledPrefixWords of the words agrSearchWords lists, or whose
// words are held by SampleRows texts or more (or more than rowsPerTerm), is taken by the first rowsPerTerm
// texts of its first SampledPrefixWords words, unweighed, read already and given in rows, not in the
// select. On PostgreSQL a term of more than SampledPrefixWords words (a prefix), or whose words were held
// by SampleRows rows or more, is taken by the newest rows agrSearchWords keeps for its first words,
// unweighed, and the statement gives a row without RowID for each term so taken.
struct SearchTermsQuery
{
    QString statement; // empty when every term's rows are in rows
    QVariantList values;
    QList<bool> unweighed; // per term
    QList<SearchTermRow> rows;
};
constexpr int SampledPrefixWords = 64;
constexpr int SampleRows = 256;
SearchTermsQuery SearchTermsOf(platform::Connection &con, const QList<SearchTerm> &terms,
                               const QList<int> &departments, int rowsPerTerm, bool quick);

} // namespace agr::schema
