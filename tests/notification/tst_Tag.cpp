#include "notification/Tag.h"

#include "support/TestSandbox.h"

#include <QTest>

#include <memory>

using Attributes = QMap<QString, QString>;

class tst_Tag : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { m_sandbox = std::make_unique<TestSandbox>(); }
    void parsesNameAndAttributes_data();
    void parsesNameAndAttributes();
    void textWithoutNameIsNoTag();

private:
    std::unique_ptr<TestSandbox> m_sandbox;
};

void tst_Tag::parsesNameAndAttributes_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("name");
    QTest::addColumn<Attributes>("attributes");
    QTest::newRow("bare name") << "b" << "b" << Attributes{};
    QTest::newRow("white space before the name") << " \n b" << "b" << Attributes{};
    QTest::newRow("digits and letters") << "h1x" << "h1x" << Attributes{};
    QTest::newRow("non-Latin name") << "größe" << "größe" << Attributes{};
    QTest::newRow("name ends at a non-alphanumeric") << "br/" << "br" << Attributes{};
    QTest::newRow("one attribute") << "a href=\"x\"" << "a" << Attributes{{"href", "x"}};
    QTest::newRow("several attributes") << "a x=\"1\" y=\"2\"" << "a" << Attributes{{"x", "1"}, {"y", "2"}};
    QTest::newRow("&quot; in a value") << "a t=\"say &quot;hi&quot;\"" << "a" << Attributes{{"t", "say \"hi\""}};
    QTest::newRow("empty value") << "a t=\"\"" << "a" << Attributes{{"t", ""}};
    QTest::newRow("later attribute wins") << "a t=\"1\" t=\"2\"" << "a" << Attributes{{"t", "2"}};
    QTest::newRow("unquoted value stops reading") << "a x=\"1\" y=2 z=\"3\"" << "a" << Attributes{{"x", "1"}};
    QTest::newRow("single quotes are not quotes") << "a x='1'" << "a" << Attributes{};
    QTest::newRow("unterminated value") << "a x=\"1" << "a" << Attributes{};
}

void tst_Tag::parsesNameAndAttributes()
{
    QFETCH(QString, text);
    QFETCH(QString, name);
    QFETCH(Attributes, attributes);
    const auto tag = Tag::parse(text);
    QVERIFY(tag);
    QCOMPARE(tag->name, name);
    QCOMPARE(tag->attributes, attributes);
}

void tst_Tag::textWithoutNameIsNoTag()
{
    for (const QString text : {"", "   ", "/b", "-x", "=\"1\""})
        QVERIFY2(!Tag::parse(text), qPrintable(text));
}

QTEST_GUILESS_MAIN(tst_Tag)
#include "tst_Tag.moc"
