#pragma once
// Finding agreements by what they say: what a clerk types becomes terms (words, "a phrase", a prefix*),
// the database's full-text index answers each term, and an agreement is a hit when it holds every term,
// in any of its indexed places. Case and accents are ignored on both sides.

#include "data/searchindex.h"

#include <QList>
#include <QString>

namespace platform {
class Connection;
}

namespace host {

// Longest search text taken, and most terms in one search.
constexpr int MaxSearchLength = 1000;
constexpr int MaxSearchTerms = 16;

struct SearchQuery
{
    QList<agr::schema::SearchTerm> terms;
    QString refusal; // why the text cannot be searched; empty when it can
};

// asYouType: the last word, while no blank follows it, is a prefix once it has three letters.
SearchQuery parseSearch(const QString &text, bool asYouType = false);

// Lower case, Latin accents dropped.
QString foldForSearch(const QString &text);

// One place of an agreement where the terms were found.
struct SearchMatch
{
    QString place; // "description", "content", "signatory", "scan", ...
    qint32 detailId = 0;
    QString label;   // a scanned copy's name
    QString excerpt; // a short piece of the text, each matching word in [brackets]
};

struct SearchHit
{
    qint16 departmentId = 0;
    qint32 agreementId = 0;
    QString number;
    QString description;
    bool cancelled = false;
    double score = 0;
    QList<SearchMatch> matches; // best first, at most three
};

struct SearchResult
{
    QList<SearchHit> hits; // best first
    int total = 0;         // agreements that hold every term (hits holds the first `limit`)
    bool partial = false;  // a term was so common that only part of its rows were weighed
};

// The agreements of the departments given (none: every department the connection may see) that hold every
// term, best first. Raises what the database raises. A term found in more than rowsPerTerm texts is
// weighed on that many (the result is then partial); the search window weighs fewer, so that a keystroke
// answers within a frame. With rowsPerTerm at most RowsPerTermWhileTyping a word or prefix found in more
// texts than that (a prefix of more than three letters: in many) is taken by its first texts, unweighed
// (SearchTermsOf's quick).
constexpr int RowsPerTerm = 50000;
constexpr int RowsPerTermWhileTyping = 2000;
SearchResult findAgreements(platform::Connection &con, const SearchQuery &query,
                            const QList<int> &departments, int limit = 50, int rowsPerTerm = RowsPerTerm);

// "content line 3", "page text of scan 'Lease deed'".
QString placeCaption(const SearchMatch &match);
// text marked with [brackets] around the words that match, cut to about `words` words around the first.
QString excerptOf(const QString &text, const QList<agr::schema::SearchTerm> &terms, int words = 12);

QString hitsAsText(const SearchResult &result);
QString hitsAsJson(const SearchResult &result, const QString &searchText);

} // namespace host
