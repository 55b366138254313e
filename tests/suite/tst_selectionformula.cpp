// The report engine's selection formula: what it makes of good formulas, run on the demo data of SQLite
// and PostgreSQL, and the clear error it gives for everything else.

#include "platform/database/connection.h"
#include "suite/selectionformula.h"
#include "support/testdb.h"
#include "support/testsupport.h"

#include <QTest>

namespace {

const QHash<QString, QString> Tables = {
    {QStringLiteral("agreementregister"), QStringLiteral("AgreementRegister")},
    {QStringLiteral("agreementdetails"), QStringLiteral("AgreementDetails")}};

} // namespace

class tst_SelectionFormula : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void translation_data();
    void translation();
    void selectsOnEachBackend_data() { agrtest::addBackends(); }
    void selectsOnEachBackend();
    void refused_data();
    void refused();
};

void tst_SelectionFormula::translation_data()
{
    QTest::addColumn<QString>("formula");
    QTest::addColumn<QString>("sql");
    QTest::addColumn<QVariantList>("values");
    QTest::newRow("the list's formula") << "{AgreementRegister.agragreementid}=17"
                                        << "(AgreementRegister.agragreementid = ?)" << QVariantList{17LL};
    QTest::newRow("empty") << "  "
                           << "" << QVariantList{};
    QTest::newRow("case and blanks") << " { agreementREGISTER . agrDepartmentid } <> -2.5 "
                                     << "(AgreementRegister.agrDepartmentid <> ?)" << QVariantList{-2.5};
    QTest::newRow("texts, both quotes") << "{AgreementRegister.agragreementNo} >= 'AG/1' or "
                                           "{AgreementRegister.agragreementtype}=\"Say \"\"hi\"\"\""
                                        << "((AgreementRegister.agragreementNo >= ?) or "
                                           "(AgreementRegister.agragreementtype = ?))"
                                        << QVariantList{QStringLiteral("AG/1"), QStringLiteral("Say \"hi\"")};
    QTest::newRow("precedence")
        << "not {AgreementRegister.agrcancelled}=1 and ({AgreementRegister.agragreementid}<3 "
           "OR {AgreementRegister.agragreementid}>10)"
        << "((not (AgreementRegister.agrcancelled = ?)) and "
           "((AgreementRegister.agragreementid < ?) or (AgreementRegister.agragreementid > ?)))"
        << QVariantList{1LL, 3LL, 10LL};
    QTest::newRow("whole number too long for an integer")
        << "{AgreementRegister.agragreementid} < 99999999999999999999"
        << "(AgreementRegister.agragreementid < ?)" << QVariantList{1e20};
    QTest::newRow("field with field")
        << "{AgreementDetails.agdAgreementid}={AgreementRegister.agragreementid}"
        << "(AgreementDetails.agdAgreementid = AgreementRegister.agragreementid)" << QVariantList{};
}

void tst_SelectionFormula::translation()
{
    QFETCH(QString, formula);
    QFETCH(QString, sql);
    QFETCH(QVariantList, values);
    const suite::SelectionCondition condition = suite::translateSelectionFormula(formula, Tables);
    QCOMPARE(condition.sql, sql);
    QCOMPARE(condition.values, values);
}

// The condition runs as the report's query would run it, on each backend.
void tst_SelectionFormula::selectsOnEachBackend()
{
    AGR_FETCH_URL();
    auto con = agrtest::openFresh(url, true, true);
    if (!con)
        return;
    const auto ids = [&con](const QString &formula) {
        const suite::SelectionCondition condition = suite::translateSelectionFormula(formula, Tables);
        platform::Command cmd(*con);
        cmd.setCommandText(
            QStringLiteral("select AgreementRegister.agragreementid from agreementregister "
                           "AgreementRegister where AgreementRegister.agrDepartmentid = 1 and ") +
            condition.sql + QStringLiteral(" order by 1"));
        cmd.ParametersRefresh();
        QList<int> found;
        for (platform::Recordset rs = cmd.Execute(condition.values); !rs.isEOF(); rs.MoveNext())
            found << rs[0].toLong();
        return found;
    };
    QCOMPARE(ids(QStringLiteral("{AgreementRegister.agragreementid}=7")), QList<int>({7}));
    QCOMPARE(ids(QStringLiteral("{agreementregister.agragreementid}=17")), QList<int>());
    QCOMPARE(ids(QStringLiteral(
                 "{AgreementRegister.agragreementNo}='AG/3' or ({AgreementRegister.agragreementid}>10 "
                 "and not {AgreementRegister.agragreementid}=12)")),
             QList<int>({3, 11}));
    QCOMPARE(ids(QStringLiteral("{AgreementRegister.agrcancelled}<>0")), QList<int>({6}));
}

void tst_SelectionFormula::refused_data()
{
    QTest::addColumn<QString>("formula");
    QTest::addColumn<QString>("says");
    QTest::newRow("unknown table") << "{Payments.id}=1"
                                   << "the report has no table \"Payments\"";
    QTest::newRow("no table") << "{agragreementid}=1"
                              << "{Table.field}";
    QTest::newRow("unclosed field") << "{AgreementRegister.agragreementid=1"
                                    << "closing }";
    QTest::newRow("field name") << "{AgreementRegister.agr id}=1"
                                << "no field name";
    QTest::newRow("injection in a name") << "{AgreementRegister.x;drop table aUsers}=1"
                                         << "no field name";
    QTest::newRow("function") << "len({AgreementRegister.agragreementNo})=2"
                              << "\"len\" is not part";
    QTest::newRow("lone field") << "{AgreementRegister.agragreementid}"
                                << "a comparison is wanted";
    QTest::newRow("two operators") << "{AgreementRegister.agragreementid}==1"
                                   << "a field, number or text is wanted";
    QTest::newRow("unclosed text") << "{AgreementRegister.agragreementNo}='AG"
                                   << "closing quote";
    QTest::newRow("bad number") << "{AgreementRegister.agragreementid}=1.2.3"
                                << "\"1.2.3\" is no number";
    QTest::newRow("unclosed parenthesis") << "({AgreementRegister.agragreementid}=1"
                                          << "a ( without its )";
    QTest::newRow("stray parenthesis") << "{AgreementRegister.agragreementid}=1)"
                                       << "unexpected \")\"";
    QTest::newRow("dangling and") << "{AgreementRegister.agragreementid}=1 and"
                                  << "ends too soon";
    QTest::newRow("semicolon") << "{AgreementRegister.agragreementid}=1; delete"
                               << "\";\" is not part";
    QTest::newRow("too deep") << QString(200, QLatin1Char('(')) + "{AgreementRegister.agragreementid}=1" +
                                     QString(200, QLatin1Char(')'))
                              << "nests too deeply";
    QTest::newRow("many nots") << QStringLiteral("not ").repeated(500) +
                                      "{AgreementRegister.agragreementid}=1"
                               << "nests too deeply";
}

void tst_SelectionFormula::refused()
{
    QFETCH(QString, formula);
    QFETCH(QString, says);
    platform::RuntimeError error(0, {}, {});
    QCOMPARE(agrtest::errorOf([&] { suite::translateSelectionFormula(formula, Tables); }, &error),
             suite::FormulaError);
    QVERIFY2(error.description().contains(says), qPrintable(error.description()));
    QVERIFY2(error.description().contains(QStringLiteral("at position ")), qPrintable(error.description()));
}

QTEST_MAIN(tst_SelectionFormula)
#include "tst_selectionformula.moc"
