#include "notification/LocalizedFormat.h"

#include <QTest>

class tst_LocalizedFormat : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void placeholdersArePositional();
    void argumentsAreNeverReadAsFormat();
    void choicesPickByValue_data();
    void choicesPickByValue();
    void malformedChoicesStayText_data();
    void malformedChoicesStayText();
    void deepChoicesStopAtTheLimit();
};

void tst_LocalizedFormat::placeholdersArePositional()
{
    const QStringList arguments{QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")};
    // %2 unused: %3 is still the third argument (QString::arg would shift it).
    QCOMPARE(LocalizedFormat::format(QStringLiteral("%3 then %1, %1 again"), arguments), QStringLiteral("c then a, a again"));
    // Missing arguments and lone percent signs stay as written.
    QCOMPARE(LocalizedFormat::format(QStringLiteral("%4 %0 100% %"), arguments), QStringLiteral("%4 %0 100% %"));
    // Two digits at most: %10 is the tenth argument.
    QStringList ten;
    for (int i = 1; i <= 10; ++i)
        ten << QString::number(i * 11);
    QCOMPARE(LocalizedFormat::format(QStringLiteral("%10|%1|%100"), ten), QStringLiteral("110|11|1100"));
}

void tst_LocalizedFormat::argumentsAreNeverReadAsFormat()
{
    const QString format = QStringLiteral("%1 / %2 / {2, select, x {chosen} other {other}}");
    const QStringList arguments{QStringLiteral("%2 {2, select, x {no} other {no}}"), QStringLiteral("x")};
    QCOMPARE(LocalizedFormat::format(format, arguments),
             QStringLiteral("%2 {2, select, x {no} other {no}} / x / chosen"));
}

void tst_LocalizedFormat::choicesPickByValue_data()
{
    QTest::addColumn<QString>("format");
    QTest::addColumn<QString>("expected");
    // Argument 1 is "1", argument 2 is "0", argument 3 is "7".
    QTest::newRow("matching case") << "{1, select, 1 {one} other {many}}" << "one";
    QTest::newRow("other") << "{2, select, 1 {one} other {many}}" << "many";
    QTest::newRow("no case, no other") << "[{3, select, 1 {one}}]" << "[]";
    QTest::newRow("first match wins") << "{1, select, 1 {a} 1 {b} other {c}}" << "a";
    QTest::newRow("spacing is free") << "{1,select,1{x}other{y}}" << "x";
    QTest::newRow("placeholders inside") << "{2, select, 0 {%3 left} other {}}" << "7 left";
    QTest::newRow("nested") << "{1, select, 1 {{2, select, 0 {in} other {out}}!} other {no}}" << "in!";
    QTest::newRow("markup inside") << "{1, select, 1 {<b>%3</b>} other {}}" << "<b>7</b>";
    QTest::newRow("argument out of range") << "{9, select, 1 {one} other {fallback}}" << "fallback";
    QTest::newRow("braces in a case body") << "{1, select, 1 {a {b} c} other {}}" << "a {b} c";
}

void tst_LocalizedFormat::choicesPickByValue()
{
    QFETCH(QString, format);
    QFETCH(QString, expected);
    QCOMPARE(LocalizedFormat::format(format, {QStringLiteral("1"), QStringLiteral("0"), QStringLiteral("7")}), expected);
}

void tst_LocalizedFormat::malformedChoicesStayText_data()
{
    QTest::addColumn<QString>("format");
    QTest::newRow("plain braces") << "{not a choice}";
    QTest::newRow("no number") << "{x, select, 1 {a}}";
    QTest::newRow("other kind") << "{1, plural, one {a} other {b}}";
    QTest::newRow("unclosed case") << "{1, select, 1 {a";
    QTest::newRow("unclosed choice") << "{1, select, 1 {a}";
    QTest::newRow("key without body") << "{1, select, 1 }";
    QTest::newRow("lone brace") << "{";
}

void tst_LocalizedFormat::malformedChoicesStayText()
{
    QFETCH(QString, format);
    QCOMPARE(LocalizedFormat::format(format, {QStringLiteral("1")}), format);
}

void tst_LocalizedFormat::deepChoicesStopAtTheLimit()
{
    QString format = QStringLiteral("x");
    for (int i = 0; i < 100; ++i)
        format = QStringLiteral("{1, select, 1 {") + format + QStringLiteral("}}");
    const QString result = LocalizedFormat::format(format, {QStringLiteral("1")});
    // The outer levels are resolved; what lies deeper stays as written.
    QCOMPARE(result.size(), format.size() - LocalizedFormat::kMaximumChoiceDepth * QStringLiteral("{1, select, 1 {}}").size());
}

QTEST_APPLESS_MAIN(tst_LocalizedFormat)
#include "tst_LocalizedFormat.moc"
