#include "notification/TagScanner.h"

#include "support/TestSandbox.h"

#include <QTest>

#include <memory>

namespace {

TagScanner::Result scanWithBr(const QString &markup)
{
    return TagScanner::scan(markup, {TagTransformer::brTransformer()});
}

TagInfo info(const QString &name, qsizetype location, qsizetype length)
{
    return {Tag{name, {}}, {location, length}};
}

} // namespace

class tst_TagScanner : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { m_sandbox = std::make_unique<TestSandbox>(); }
    void outputText_data();
    void outputText();
    void rangesOfClosedTags_data();
    void rangesOfClosedTags();
    void transformersMatchNameAndType();
    void longHostileInputsStayLinear();

private:
    std::unique_ptr<TestSandbox> m_sandbox;
};

void tst_TagScanner::outputText_data()
{
    QTest::addColumn<QString>("markup");
    QTest::addColumn<QString>("text");
    QTest::newRow("tags removed") << "a<b>bold</b>c" << "aboldc";
    QTest::newRow("the five entities") << "&quot;&apos;&lt;&gt;&amp;" << "\"'<>&";
    QTest::newRow("unknown entity vanishes") << "a&nbsp;b" << "ab";
    QTest::newRow("entities decode once") << "&amp;lt;" << "&lt;";
    QTest::newRow("no numeric entities") << "&#60;x" << "x";
    QTest::newRow("entity names are case-sensitive") << "&AMP;x" << "x";
    QTest::newRow("unterminated entity takes the rest") << "AT&T rocks" << "AT";
    QTest::newRow("empty entity") << "a&;b" << "ab";
    QTest::newRow("br") << "a<br>b" << "a\nb";
    QTest::newRow("self-closing br") << "a<br/>b" << "a\nb";
    QTest::newRow("br with a space") << "a<br />b" << "a\nb";
    QTest::newRow("BR is not br") << "a<BR>b" << "ab";
    QTest::newRow("end tag of br adds nothing") << "a</br>b" << "ab";
    QTest::newRow("empty tag text keeps the >") << "a<>b" << "a>b";
    QTest::newRow("nameless tag vanishes") << "a<->b" << "ab";
    QTest::newRow("unterminated tag takes the rest") << "x <b>y</b> 1 < 2" << "x y 1 ";
    QTest::newRow("lone < at the end") << "x<" << "x";
    QTest::newRow("> and quotes stay") << "a > \"b\" 'c'" << "a > \"b\" 'c'";
    QTest::newRow("line breaks stay") << "a\nb\r\nc" << "a\nb\r\nc";
    QTest::newRow("attributes do not reach the text") << "<a href=\"x\">link</a>" << "link";
    QTest::newRow("empty") << "" << "";
}

void tst_TagScanner::outputText()
{
    QFETCH(QString, markup);
    QFETCH(QString, text);
    QCOMPARE(scanWithBr(markup).string, text);
}

void tst_TagScanner::rangesOfClosedTags_data()
{
    QTest::addColumn<QString>("markup");
    QTest::addColumn<QList<TagInfo>>("tags");
    QTest::newRow("one tag") << "a<b>bold</b>c" << QList<TagInfo>{info("b", 1, 4)};
    QTest::newRow("inner range first") << "<b><i>x</i></b>" << QList<TagInfo>{info("i", 0, 1), info("b", 0, 1)};
    QTest::newRow("end tag without start") << "x</b>y" << QList<TagInfo>{};
    QTest::newRow("start tag never closed") << "x<b>y" << QList<TagInfo>{};
    QTest::newRow("names are case-sensitive") << "<B>x</b>" << QList<TagInfo>{};
    QTest::newRow("same name nested") << "<b>a<b>b</b>c</b>" << QList<TagInfo>{info("b", 1, 1), info("b", 0, 3)};
    QTest::newRow("improper nesting leaves the inner tag open")
        << "<b><i>x</b>y</i>" << QList<TagInfo>{info("b", 0, 1), info("i", 0, 2)};
    QTest::newRow("br inside a range counts") << "<b>a<br>b</b>" << QList<TagInfo>{info("b", 0, 3)};
    QTest::newRow("empty range") << "a<b></b>c" << QList<TagInfo>{info("b", 1, 0)};
    QTest::newRow("entities count once") << "&lt;<b>&amp;</b>" << QList<TagInfo>{info("b", 1, 1)};
}

void tst_TagScanner::rangesOfClosedTags()
{
    QFETCH(QString, markup);
    QFETCH(QList<TagInfo>, tags);
    QCOMPARE(scanWithBr(markup).tags, tags);
}

void tst_TagScanner::transformersMatchNameAndType()
{
    const QList<TagTransformer> transformers{
        {QStringLiteral("li"), TagType::start, [](const Tag &) { return QStringLiteral("* "); }},
        {QStringLiteral("li"), TagType::end, [](const Tag &) { return QStringLiteral(";"); }},
        {QStringLiteral("v"), TagType::start, [](const Tag &tag) { return tag.attributes.value("say"); }},
    };
    const auto result = TagScanner::scan(u"<li>a</li><li>b</li><v say=\"hi\"/>", transformers);
    QCOMPARE(result.string, QStringLiteral("* a;* b;hi"));
    // A start transformer's text lies inside the tag's range, an end transformer's after it.
    QCOMPARE(result.tags, (QList<TagInfo>{info("li", 0, 3), info("li", 4, 3)}));
}

// Hostile input must neither recurse nor go quadratic; the test's time-out guards it.
void tst_TagScanner::longHostileInputsStayLinear()
{
    constexpr int n = 100000;
    QCOMPARE(scanWithBr(QString("&amp;").repeated(n)).string, QString("&").repeated(n));

    const auto closed = scanWithBr(QString("<b>x").repeated(n) + QString("</b>").repeated(n));
    QCOMPARE(closed.string, QString("x").repeated(n));
    QCOMPARE(closed.tags.size(), n);
    QCOMPARE(closed.tags.last().range, (TextRange{0, n}));

    // End tags that match nothing must not search every open tag each time.
    const auto unmatched = scanWithBr(QString("<a>").repeated(n) + QString("</b>").repeated(n));
    QVERIFY(unmatched.tags.isEmpty());
    const auto distinct = [](int i) { return QStringLiteral("<t%1>").arg(i); };
    QString manyNames;
    for (int i = 0; i < n; ++i)
        manyNames += distinct(i);
    QCOMPARE(scanWithBr(manyNames + "x</t0>").tags, (QList<TagInfo>{info("t0", 0, 1)}));
}

QTEST_GUILESS_MAIN(tst_TagScanner)
#include "tst_TagScanner.moc"
