#include "host/search/search.h"

#include "platform/database/connection.h"
#include "platform/runtime/errors.h"

#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>

#include <algorithm>

namespace host {

namespace {

using agr::schema::SearchTerm;

constexpr int MinPrefix = 2;
constexpr int ImplicitPrefix = 3;

bool isWordChar(char32_t c)
{
    return QChar::isLetterOrNumber(c) || QChar::category(c) == QChar::Mark_NonSpacing ||
           QChar::category(c) == QChar::Mark_SpacingCombining;
}

struct Token
{
    qsizetype start;
    qsizetype length;
    QString folded;
};

// The words of text with where each stands in it.
QList<Token> tokens(const QString &text)
{
    QList<Token> out;
    qsizetype i = 0;
    const qsizetype n = text.size();
    auto codeAt = [&](qsizetype at, int &width) -> char32_t {
        if (QChar::isHighSurrogate(text.at(at).unicode()) && at + 1 < n &&
            QChar::isLowSurrogate(text.at(at + 1).unicode())) {
            width = 2;
            return QChar::surrogateToUcs4(text.at(at), text.at(at + 1));
        }
        width = 1;
        return text.at(at).unicode();
    };
    while (i < n) {
        int w = 1;
        if (!isWordChar(codeAt(i, w))) {
            i += w;
            continue;
        }
        const qsizetype start = i;
        while (i < n && isWordChar(codeAt(i, w)))
            i += w;
        out.append({start, i - start, foldForSearch(text.mid(start, i - start))});
    }
    return out;
}

QStringList foldedWords(const QString &text)
{
    QStringList words;
    for (const Token &t : tokens(text))
        if (!t.folded.isEmpty())
            words << t.folded;
    return words;
}

// Where term starts at token i of the text's tokens: how many tokens it covers, or 0.
int matchAt(const QList<Token> &text, qsizetype i, const SearchTerm &term)
{
    if (i + term.words.size() > text.size())
        return 0;
    for (qsizetype k = 0; k < term.words.size(); ++k) {
        const QString &word = text.at(i + k).folded;
        const bool last = k == term.words.size() - 1;
        if (last && term.prefix ? !word.startsWith(term.words.at(k)) : word != term.words.at(k))
            return 0;
    }
    return int(term.words.size());
}

} // namespace

QString foldForSearch(const QString &text)
{
    QString decomposed = text.normalized(QString::NormalizationForm_D);
    decomposed.removeIf([](QChar c) { return c.unicode() >= 0x0300 && c.unicode() <= 0x036F; });
    return decomposed.toLower().normalized(QString::NormalizationForm_C);
}

SearchQuery parseSearch(const QString &text, bool asYouType)
{
    SearchQuery query;
    if (text.size() > MaxSearchLength) {
        query.refusal = QStringLiteral("the search text is too long: %1 characters, at most %2")
                            .arg(text.size())
                            .arg(MaxSearchLength);
        return query;
    }
    // Chunks: a quoted phrase, or a run of characters without blanks (whose words, as in "AG/12", form a
    // phrase). A "*" right after a chunk makes its last word a prefix. Anything else is a separator, so no
    // operator of either engine's own query language gets through.
    qsizetype i = 0;
    const qsizetype n = text.size();
    while (i < n) {
        if (text.at(i).isSpace()) {
            ++i;
            continue;
        }
        QString chunk;
        bool quoted = false;
        if (text.at(i) == QLatin1Char('"')) {
            quoted = true;
            const qsizetype close = text.indexOf(QLatin1Char('"'), i + 1);
            const qsizetype end = close < 0 ? n : close;
            chunk = text.mid(i + 1, end - i - 1);
            i = close < 0 ? n : close + 1;
        } else {
            const qsizetype start = i;
            while (i < n && !text.at(i).isSpace() && text.at(i) != QLatin1Char('"'))
                ++i;
            chunk = text.mid(start, i - start);
        }
        bool prefix = false;
        if (quoted) {
            if (i < n && text.at(i) == QLatin1Char('*')) {
                prefix = true;
                ++i;
            }
        } else {
            prefix = chunk.endsWith(QLatin1Char('*'));
        }
        const QStringList words = foldedWords(chunk);
        if (words.isEmpty())
            continue;
        const bool lastChunk = i >= n;
        if (!prefix && asYouType && lastChunk && !quoted && words.last().size() >= ImplicitPrefix)
            prefix = true;
        if (prefix && words.last().size() < MinPrefix) {
            if (asYouType && lastChunk)
                prefix = false;
            else {
                query.refusal = QStringLiteral("a prefix needs at least %1 letters before the *: %2")
                                    .arg(MinPrefix)
                                    .arg(chunk);
                query.terms.clear();
                return query;
            }
        }
        query.terms.append({words, prefix});
    }
    if (query.terms.size() > MaxSearchTerms) {
        query.refusal =
            QStringLiteral("too many terms: %1, at most %2").arg(query.terms.size()).arg(MaxSearchTerms);
        query.terms.clear();
    } else if (query.terms.isEmpty()) {
        query.refusal = QStringLiteral("nothing to search for: give a word, \"a phrase\" or a prefix*");
    }
    return query;
}

SearchResult findAgreements(platform::Connection &con, const SearchQuery &query,
                            const QList<int> &departments, int limit, int rowsPerTerm)
{
    SearchResult result;
    if (query.terms.isEmpty())
        return result;
    struct Weighed
    {
        double score = 0;
        QList<QPair<double, qint64>> rows; // score and RowID
    };
    using Key = qint64; // department and agreement id
    auto keyOf = [](qint64 department, qint64 agreement) { return (department << 32) | quint32(agreement); };

    // Another program may hold the write lock; the search then answers from the index as it stands, and
    // rows removed since are still left out by the join with the index rows. PostgreSQL's statement brings
    // the index up to date itself.
    if (con.backend() != platform::Backend::PostgreSQL)
        platform::Trap([&] { agr::schema::SyncSearchIndex(con); }, {});
    const agr::schema::SearchTermsQuery terms = agr::schema::SearchTermsOf(
        con, query.terms, departments, rowsPerTerm, rowsPerTerm <= RowsPerTermWhileTyping);
    result.partial = terms.unweighed.contains(true);
    // The rows of each term, in the order of the terms.
    QList<QHash<Key, Weighed>> byTerm(query.terms.size());
    QList<int> rowsOfTerm(query.terms.size(), 0);
    for (const agr::schema::SearchTermRow &row : terms.rows) {
        const qsizetype term = row.term - 1;
        if (term < 0 || term >= byTerm.size())
            continue;
        ++rowsOfTerm[term];
        byTerm[term][keyOf(row.departmentId, row.agreementId)].rows.append({0.0, row.rowId});
    }
    // Terms sampled already came in rows; the others come from the statement.
    if (!terms.statement.isEmpty()) {
        platform::Command command(con);
        command.setCommandText(terms.statement);
        command.ParametersRefresh();
        for (platform::Recordset rs = command.Execute(terms.values); !rs.isEOF(); rs.MoveNext()) {
            const qsizetype term = rs.Fields(0).toLong() - 1;
            if (term < 0 || term >= byTerm.size())
                continue;
            // A term answered by a sample of its rows says so in a row of its own.
            if (rs.Fields(1).isNull()) {
                result.partial = true;
                continue;
            }
            ++rowsOfTerm[term];
            Weighed &w = byTerm[term][keyOf(rs.Fields(2).toLong(), rs.Fields(3).toLong())];
            const double score = rs.Fields(4).toDouble();
            w.score += score;
            w.rows.append({score, rs.Fields(1).Value().toLongLong()});
        }
    }
    for (int rows : std::as_const(rowsOfTerm))
        if (rows >= rowsPerTerm)
            result.partial = true;
    // An agreement is a hit when every term found a row of it.
    QHash<Key, Weighed> all = byTerm.value(0);
    for (qsizetype t = 1; t < byTerm.size() && !all.isEmpty(); ++t) {
        QHash<Key, Weighed> both;
        for (auto it = byTerm.at(t).cbegin(); it != byTerm.at(t).cend(); ++it) {
            auto had = all.constFind(it.key());
            if (had == all.cend())
                continue;
            Weighed w = *had;
            w.score += it->score;
            w.rows += it->rows;
            both.insert(it.key(), std::move(w));
        }
        all = std::move(both);
    }

    QList<Key> order = all.keys();
    std::sort(order.begin(), order.end(), [&](Key a, Key b) {
        const double sa = all.value(a).score, sb = all.value(b).score;
        return sa != sb ? sa > sb : a < b;
    });
    result.total = int(order.size());
    if (order.size() > limit)
        order.resize(limit);
    if (order.isEmpty())
        return result;

    // The hits' headers and the texts of their best rows.
    QHash<Key, int> position;
    QStringList rowIds;
    for (Key key : std::as_const(order)) {
        SearchHit hit;
        hit.departmentId = qint16(key >> 32);
        hit.agreementId = qint32(quint32(key & 0xffffffff));
        hit.score = all.value(key).score;
        position.insert(key, int(result.hits.size()));
        result.hits.append(hit);
        QList<QPair<double, qint64>> rows = all.value(key).rows;
        std::sort(rows.begin(), rows.end(), [](const auto &a, const auto &b) { return a.first > b.first; });
        QSet<qint64> seen;
        for (const auto &row : std::as_const(rows)) {
            if (seen.size() == 3)
                break;
            if (!seen.contains(row.second)) {
                seen.insert(row.second);
                rowIds << QString::number(row.second);
            }
        }
    }
    // The texts of the hits' best rows with their agreements' headers, in one statement.
    QHash<qint64, SearchMatch> matchOfRow;
    QHash<qint64, Key> keyOfRow;
    platform::Recordset rows = con.Execute(
        QStringLiteral("select r.RowID, r.DepartmentID, r.AgreementID, r.Place, r.DetailID, r.Label, r.Body, "
                       "h.agragreementNo, h.agragreementdesc, h.agrcancelled from agrSearchRows r left join "
                       "agreementregister h on h.agrDepartmentid = r.DepartmentID and h.agragreementid = "
                       "r.AgreementID where r.RowID in (") +
        rowIds.join(QLatin1Char(',')) + QLatin1Char(')'));
    for (; !rows.isEOF(); rows.MoveNext()) {
        SearchMatch match;
        match.place = rows.Fields(3).joinEmpty();
        match.detailId = rows.Fields(4).isNull() ? 0 : rows.Fields(4).toLong();
        match.label = rows.Fields(5).joinEmpty();
        match.excerpt = excerptOf(rows.Fields(6).joinEmpty(), query.terms);
        const qint64 id = rows.Fields(0).Value().toLongLong();
        const Key key = keyOf(rows.Fields(1).toLong(), rows.Fields(2).toLong());
        matchOfRow.insert(id, match);
        keyOfRow.insert(id, key);
        if (!rows.Fields(7).isNull() || !rows.Fields(8).isNull()) {
            SearchHit &hit = result.hits[position.value(key)];
            hit.number = rows.Fields(7).joinEmpty();
            hit.description = rows.Fields(8).joinEmpty();
            hit.cancelled = !rows.Fields(9).isNull() && rows.Fields(9).toLong() == 1;
        }
    }
    // In the order the rows were weighed: best first.
    for (const QString &id : std::as_const(rowIds)) {
        const qint64 row = id.toLongLong();
        if (matchOfRow.contains(row))
            result.hits[position.value(keyOfRow.value(row))].matches.append(matchOfRow.value(row));
    }
    return result;
}

QString excerptOf(const QString &text, const QList<SearchTerm> &terms, int words)
{
    const QList<Token> toks = tokens(text);
    QList<bool> marked(toks.size(), false);
    qsizetype firstMark = -1;
    for (qsizetype i = 0; i < toks.size(); ++i) {
        for (const SearchTerm &term : terms) {
            const int covered = matchAt(toks, i, term);
            for (int k = 0; k < covered; ++k)
                marked[i + k] = true;
            if (covered && firstMark < 0)
                firstMark = i;
        }
    }
    if (toks.isEmpty())
        return QString();
    const qsizetype from = std::max<qsizetype>(0, (firstMark < 0 ? 0 : firstMark) - words / 3);
    const qsizetype to = std::min<qsizetype>(toks.size(), from + words);
    QString out = from > 0 ? QStringLiteral("… ") : QString();
    qsizetype at = toks.at(from).start;
    for (qsizetype i = from; i < to; ++i) {
        out += text.mid(at, toks.at(i).start - at);
        const QString word = text.mid(toks.at(i).start, toks.at(i).length);
        out += marked.at(i) ? QLatin1Char('[') + word + QLatin1Char(']') : word;
        at = toks.at(i).start + toks.at(i).length;
    }
    if (to < toks.size())
        out += QStringLiteral(" …");
    else
        out += text.mid(at);
    // Line breaks of a page's text become blanks.
    return out.simplified();
}

QString placeCaption(const SearchMatch &match)
{
    static const QHash<QString, QString> captions = {
        {QStringLiteral("number"), QStringLiteral("number")},
        {QStringLiteral("description"), QStringLiteral("description")},
        {QStringLiteral("type"), QStringLiteral("type")},
        {QStringLiteral("reference"), QStringLiteral("reference number")},
        {QStringLiteral("party"), QStringLiteral("agreement with")},
        {QStringLiteral("applicable"), QStringLiteral("applicable to")},
        {QStringLiteral("remarks"), QStringLiteral("alert remarks")},
        {QStringLiteral("lawyer"), QStringLiteral("lawyer")},
        {QStringLiteral("location"), QStringLiteral("physical file location")},
        {QStringLiteral("summary"), QStringLiteral("summary line %1")},
        {QStringLiteral("signatory"), QStringLiteral("signatory %1")},
        {QStringLiteral("witness"), QStringLiteral("witness %1")},
        {QStringLiteral("terms"), QStringLiteral("terms line %1")},
        {QStringLiteral("content"), QStringLiteral("content line %1")},
    };
    if (match.place == QLatin1String(agr::schema::place::Scan))
        return QStringLiteral("page text of scan %1 '%2'").arg(match.detailId).arg(match.label.trimmed());
    const QString caption = captions.value(match.place, match.place);
    return caption.contains(QLatin1String("%1")) ? caption.arg(match.detailId) : caption;
}

QString hitsAsText(const SearchResult &result)
{
    QStringList lines;
    for (const SearchHit &hit : result.hits) {
        lines << QStringLiteral("%1\tdepartment %2, id %3\t%4%5")
                     .arg(hit.number, QString::number(hit.departmentId), QString::number(hit.agreementId),
                          hit.description, hit.cancelled ? QStringLiteral(" (cancelled)") : QString());
        for (const SearchMatch &match : hit.matches)
            lines << QStringLiteral("    %1: %2").arg(placeCaption(match), match.excerpt);
    }
    if (result.total > result.hits.size())
        lines << QStringLiteral("... and %1 more").arg(result.total - result.hits.size());
    return lines.join(QLatin1Char('\n'));
}

QString hitsAsJson(const SearchResult &result, const QString &searchText)
{
    QJsonArray hits;
    for (const SearchHit &hit : result.hits) {
        QJsonArray matches;
        for (const SearchMatch &match : hit.matches)
            matches.append(QJsonObject{{QStringLiteral("place"), match.place},
                                       {QStringLiteral("detailId"), match.detailId},
                                       {QStringLiteral("label"), match.label},
                                       {QStringLiteral("where"), placeCaption(match)},
                                       {QStringLiteral("excerpt"), match.excerpt}});
        hits.append(QJsonObject{{QStringLiteral("departmentId"), hit.departmentId},
                                {QStringLiteral("agreementId"), hit.agreementId},
                                {QStringLiteral("number"), hit.number},
                                {QStringLiteral("description"), hit.description},
                                {QStringLiteral("cancelled"), hit.cancelled},
                                {QStringLiteral("score"), hit.score},
                                {QStringLiteral("matches"), matches}});
    }
    const QJsonObject document{{QStringLiteral("search"), searchText},
                               {QStringLiteral("total"), result.total},
                               {QStringLiteral("partial"), result.partial},
                               {QStringLiteral("hits"), hits}};
    return QString::fromUtf8(QJsonDocument(document).toJson(QJsonDocument::Indented));
}

} // namespace host
