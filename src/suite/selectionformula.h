#pragma once
// The report engine's record selection formula: comparisons of {Table.field} with numbers, quoted texts
// or other fields (=, <>, <, <=, >, >=), joined with and, or, not and parentheses. It becomes a condition
// for the report's query, with the numbers and texts as parameters. A table is matched to the report's
// tables without regard to case; anything the language does not have raises run-time error 20515 ("Error
// in formula") saying what and where, never anything worse.

#include <QHash>
#include <QString>
#include <QVariantList>

namespace suite {

struct SelectionCondition
{
    QString sql;         // "(agreementregister.agragreementid = ?)"; empty for an empty formula
    QVariantList values; // in marker order
};

constexpr int FormulaError = 20515;

// tables: the report's tables by lower-cased name, each with the name the query uses for it.
SelectionCondition translateSelectionFormula(const QString &formula, const QHash<QString, QString> &tables);

} // namespace suite
