#pragma once
// The full-text index of the register, kept by the database itself: triggers on the header, the five
// detail tables and the scanned copies write agrSearchRows (one row per indexed text) and queue the
// scanned copies whose page text is still to be read (agrScanUnread). SQLite indexes the rows with FTS5,
// PostgreSQL with a tsvector column and a GIN index. Nothing of it is visible to the module's statements.

#include <QList>
#include <QString>
#include <QStringList>

namespace platform {
class Connection;
}

namespace agr::schema {

namespace table {
inline constexpr char SearchRows[] = "agrSearchRows"; // RowID, DepartmentID, AgreementID, Place,
                                                      // DetailID, Label, Body
inline constexpr char ScanText[] = "agrScanText";     // Sha256, Body, Confidence, Languages, ReadAt
inline constexpr char ScanUnread[] = "agrScanUnread"; // QueueID, AgreementID, DetailID
inline constexpr char SearchFts[] = "agrSearchFts";   // SQLite only: the FTS5 index of SearchRows
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
// SQLite: the full-text table takes the changes the triggers logged since the last search, in one
// statement (FTS5 written row by row inside triggers costs a segment per statement). Nothing elsewhere.
// Called before every search; inside an open transaction it leaves the log for the next one.
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

// The engine's text for one term, given to the marker of SearchTermStatement.
QString SearchTermQuery(platform::Connection &con, const SearchTerm &term);
// A select with one marker (the term's query text) giving RowID, DepartmentID, AgreementID and a score
// (higher is better) of every index row that holds the term, within the departments given (none: all).
QString SearchTermStatement(platform::Connection &con, const QList<int> &departments, int limit);

} // namespace agr::schema
