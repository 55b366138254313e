// The conversions the forms apply to what a clerk types: Val's leading number, CDbl/CLng/CInt with their
// errors, and CDate's date forms; among them the texts the fuzz target found mishandled.

#include "platform/runtime/conversions.h"
#include "support/testsupport.h"

#include <QTest>

using platform::err::Overflow;
using platform::err::TypeMismatch;

class tst_Conversions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void val_data();
    void val();
    void numbers_data();
    void numbers();
    void dates_data();
    void dates();
};

void tst_Conversions::val_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<double>("value");
    QTest::addColumn<int>("error");
    QTest::newRow("leading number") << " 12 pages" << 12.0 << 0;
    QTest::newRow("sign and one point") << "-3.5.1" << -3.5 << 0;
    QTest::newRow("no number") << "pages 12" << 0.0 << 0;
    QTest::newRow("Tamil digits are no number") << QStringLiteral("௧௨") << 0.0 << 0;
    QTest::newRow("tiny fraction") << "0." + QString(400, QLatin1Char('0')) + "1" << 0.0 << 0;
    // Found by fuzz_conversions: four hundred digits were read as infinity and stored as such.
    QTest::newRow("too many digits") << QString(400, QLatin1Char('9')) << 0.0 << int(Overflow);
}

void tst_Conversions::val()
{
    QFETCH(QString, text);
    QFETCH(double, value);
    QFETCH(int, error);
    double read = -1;
    QCOMPARE(agrtest::errorOf([&] { read = platform::Val(text); }), error);
    if (!error)
        QCOMPARE(read, value);
}

void tst_Conversions::numbers_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<double>("dbl");
    QTest::addColumn<int>("dblError");
    QTest::addColumn<int>("lngError");
    QTest::addColumn<int>("intError");
    QTest::newRow("text with blanks") << QVariant(" 2.5 ") << 2.5 << 0 << 0 << 0;
    QTest::newRow("exponent") << QVariant("-3.75e2") << -375.0 << 0 << 0 << 0;
    QTest::newRow("null is 0") << QVariant() << 0.0 << 0 << 0 << 0;
    QTest::newRow("beyond CInt") << QVariant("40000") << 40000.0 << 0 << 0 << int(Overflow);
    QTest::newRow("beyond CLng") << QVariant(3e9) << 3e9 << 0 << int(Overflow) << int(Overflow);
    QTest::newRow("no number") << QVariant("12 pages") << 0.0 << int(TypeMismatch) << int(TypeMismatch)
                               << int(TypeMismatch);
    // Found by fuzz_conversions: the C locale reads these as infinity and not-a-number.
    QTest::newRow("inf") << QVariant("+inf") << 0.0 << int(TypeMismatch) << int(TypeMismatch)
                         << int(TypeMismatch);
    QTest::newRow("nan") << QVariant(" nan") << 0.0 << int(TypeMismatch) << int(TypeMismatch)
                         << int(TypeMismatch);
    QTest::newRow("beyond a Double") << QVariant("1e400") << 0.0 << int(Overflow) << int(Overflow)
                                     << int(Overflow);
}

void tst_Conversions::numbers()
{
    QFETCH(QVariant, value);
    QFETCH(double, dbl);
    QFETCH(int, dblError);
    QFETCH(int, lngError);
    QFETCH(int, intError);
    double read = -1;
    QCOMPARE(agrtest::errorOf([&] { read = platform::CDbl(value); }), dblError);
    if (!dblError)
        QCOMPARE(read, dbl);
    QCOMPARE(agrtest::errorOf([&] { platform::CLng(value); }), lngError);
    QCOMPARE(agrtest::errorOf([&] { platform::CInt(value); }), intError);
    QCOMPARE(platform::isNumericText(value.toString()), !dblError && !value.isNull());
}

void tst_Conversions::dates_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QDate>("date");
    QTest::addColumn<int>("error");
    QTest::newRow("short date") << QVariant(" 15/11/2026 ") << QDate(2026, 11, 15) << 0;
    QTest::newRow("one digit day") << QVariant("5/1/2026") << QDate(2026, 1, 5) << 0;
    QTest::newRow("database forms") << QVariant("2026-11-15 10:30") << QDate(2026, 11, 15) << 0;
    QTest::newRow("compact") << QVariant("20261115") << QDate(2026, 11, 15) << 0;
    QTest::newRow("no such day") << QVariant("31/02/2026") << QDate() << int(TypeMismatch);
    QTest::newRow("text") << QVariant("tomorrow") << QDate() << int(TypeMismatch);
    QTest::newRow("null") << QVariant() << QDate() << int(platform::err::InvalidUseOfNull);
}

void tst_Conversions::dates()
{
    QFETCH(QVariant, value);
    QFETCH(QDate, date);
    QFETCH(int, error);
    QDate read;
    QCOMPARE(agrtest::errorOf([&] { read = platform::CDate(value); }), error);
    QCOMPARE(read, date);
}

QTEST_MAIN(tst_Conversions)
#include "tst_conversions.moc"
