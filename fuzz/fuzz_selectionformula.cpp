// The report's selection formula on any text: it becomes a condition or raises "Error in formula" (20515),
// nothing else. A condition carries every number and text as a parameter, one value per marker, so that
// nothing typed in a formula reaches the report's query as SQL; extra parentheses change nothing.

#include "fuzzsupport.h"
#include "suite/selectionformula.h"

#include <QHash>
#include <QVariant>

namespace {

const QHash<QString, QString> &tables()
{
    static const QHash<QString, QString> names = {
        {QStringLiteral("agreementregister"), QStringLiteral("AgreementRegister")},
        {QStringLiteral("agreementdetails"), QStringLiteral("AgreementDetails")}};
    return names;
}

// What a condition may contain besides field names: markers, comparisons, parentheses and blanks.
bool allowedInCondition(QChar c)
{
    return c.isLetterOrNumber() || QStringLiteral("_.?()<>= ").contains(c);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString formula = fuzz::text(data, size);
    suite::SelectionCondition condition;
    if (!fuzz::raisesOnly([&] { condition = suite::translateSelectionFormula(formula, tables()); },
                          {suite::FormulaError}, "a formula raises only Error in formula"))
        return 0;

    fuzz::check(condition.sql.count(QLatin1Char('?')) == condition.values.size(), "one value for each marker",
                formula + QStringLiteral(" -> ") + condition.sql);
    int depth = 0;
    for (const QChar c : condition.sql) {
        fuzz::check(allowedInCondition(c), "nothing but names, markers and operators in a condition",
                    formula + QStringLiteral(" -> ") + condition.sql);
        depth += c == QLatin1Char('(') ? 1 : c == QLatin1Char(')') ? -1 : 0;
        fuzz::check(depth >= 0, "parentheses balance", condition.sql);
    }
    fuzz::check(depth == 0, "parentheses balance", condition.sql);
    for (const QVariant &value : std::as_const(condition.values)) {
        const int type = value.typeId();
        fuzz::check(type == QMetaType::LongLong || type == QMetaType::Double || type == QMetaType::QString,
                    "values are numbers or texts", formula);
    }
    fuzz::check(condition.sql.isEmpty() == formula.trimmed().isEmpty(), "only an empty formula selects all",
                formula);

    if (!condition.sql.isEmpty()) {
        suite::SelectionCondition wrapped;
        const QString inParentheses = QLatin1Char('(') + formula + QLatin1Char(')');
        // One more level may pass the nesting limit; that is the only way it may fail.
        if (fuzz::raisesOnly([&] { wrapped = suite::translateSelectionFormula(inParentheses, tables()); },
                             {suite::FormulaError}, "a formula raises only Error in formula")) {
            fuzz::check(wrapped.sql == condition.sql && wrapped.values == condition.values,
                        "parentheses around a formula change nothing", formula);
        }
    }
    return 0;
}
