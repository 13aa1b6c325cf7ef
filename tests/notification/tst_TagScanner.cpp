#include "notification/TagScanner.h"

#include "support/TestSandbox.h"

#include <QTest>

#include <optional>

using namespace Qt::StringLiterals;

using Attributes = QMap<QString, QString>;
using Tags = QList<TagInfo>;

namespace {

TagScanner::Result scanWithBr(const QString &markup)
{
    return TagScanner::scan(markup, {TagTransformer::brTransformer()});
}

TagInfo info(const QString &name, qsizetype location, qsizetype length, const Attributes &attributes = {})
{
    return {Tag{name, attributes}, {location, length}};
}

} // namespace

// The scanner and the tag reader it uses: markup in, the plain text and the ranges of
// properly closed tags, with their attributes, out.
class tst_TagScanner : public QObject
{
    Q_OBJECT
    std::optional<TestSandbox> m_sandbox;

private Q_SLOTS:
    void initTestCase() { m_sandbox.emplace(); }

    void scan_data()
    {
        QTest::addColumn<QString>("markup");
        QTest::addColumn<QString>("text");
        QTest::addColumn<Tags>("tags");
        QTest::newRow("one tag") << "a<b>bold</b>c" << "aboldc" << Tags{info("b", 1, 4)};
        QTest::newRow("attributes do not reach the text") << "<a href=\"x\" t=\"say &quot;hi&quot;\">link</a>" << "link"
                                                          << Tags{info("a", 0, 4, {{"href", "x"}, {"t", "say \"hi\""}})};
        QTest::newRow("white space before the name") << "< \n b>x</b>" << "x" << Tags{info("b", 0, 1)};
        QTest::newRow("non-Latin letters and digits") << "<größe2>x</größe2>" << "x" << Tags{info("größe2", 0, 1)};
        QTest::newRow("later attribute wins, even empty") << "<a t=\"1\" t=\"\">x</a>" << "x" << Tags{info("a", 0, 1, {{"t", ""}})};
        // Attribute reading stops at the first malformed attribute.
        QTest::newRow("unquoted value") << "<a x=\"1\" y=2 z=\"3\">x</a>" << "x" << Tags{info("a", 0, 1, {{"x", "1"}})};
        QTest::newRow("single quotes are not quotes") << "<a x='1' y=\"2\">x</a>" << "x" << Tags{info("a", 0, 1)};
        QTest::newRow("unterminated value") << "<a x=\"1>x</a>" << "x" << Tags{info("a", 0, 1)};
        QTest::newRow("the five entities") << "&quot;&apos;&lt;&gt;&amp;" << "\"'<>&" << Tags{};
        QTest::newRow("entities decode once") << "&amp;lt;" << "&lt;" << Tags{};
        // Unknown, empty, numeric and upper-case entities all vanish.
        QTest::newRow("other entities vanish") << "a&nbsp;b&;c&#60;d&AMP;e" << "abcde" << Tags{};
        QTest::newRow("unterminated entity takes the rest") << "AT&T rocks" << "AT" << Tags{};
        QTest::newRow("br, self-closing or spaced") << "a<br>b<br/>c<br />d" << "a\nb\nc\nd" << Tags{};
        QTest::newRow("BR and </br> add nothing") << "a<BR>b</br>c" << "abc" << Tags{};
        QTest::newRow("empty tag text keeps the >, a nameless tag vanishes") << "a<>b<->c" << "a>bc" << Tags{};
        QTest::newRow("unterminated tag takes the rest") << "x <b>y</b> 1 < 2" << "x y 1 " << Tags{info("b", 2, 1)};
        QTest::newRow("lone < at the end") << "x<" << "x" << Tags{};
        QTest::newRow("quotes, > and line breaks stay") << "a > \"b\" 'c'\nd\r\n" << "a > \"b\" 'c'\nd\r\n" << Tags{};
        QTest::newRow("empty") << "" << "" << Tags{};
        QTest::newRow("inner range first") << "<b><i>x</i></b>" << "x" << Tags{info("i", 0, 1), info("b", 0, 1)};
        QTest::newRow("end tag without start") << "x</b>y" << "xy" << Tags{};
        QTest::newRow("start tag never closed") << "x<b>y" << "xy" << Tags{};
        QTest::newRow("names are case-sensitive") << "<B>x</b>" << "x" << Tags{};
        QTest::newRow("same name nested") << "<b>a<b>b</b>c</b>" << "abc" << Tags{info("b", 1, 1), info("b", 0, 3)};
        QTest::newRow("improper nesting leaves the inner tag open")
            << "<b><i>x</b>y</i>" << "xy" << Tags{info("b", 0, 1), info("i", 0, 2)};
        QTest::newRow("br inside a range counts") << "<b>a<br>b</b>" << "a\nb" << Tags{info("b", 0, 3)};
        QTest::newRow("empty range") << "a<b></b>c" << "ac" << Tags{info("b", 1, 0)};
        QTest::newRow("entities count once") << "&lt;<b>&amp;</b>" << "<&" << Tags{info("b", 1, 1)};
    }

    void scan()
    {
        QFETCH(QString, markup);
        QFETCH(QString, text);
        QFETCH(Tags, tags);
        const auto result = scanWithBr(markup);
        QCOMPARE(result.string, text);
        QCOMPARE(result.tags, tags);
    }

    void transformersMatchNameAndType()
    {
        const QList<TagTransformer> transformers{
            {"li", TagType::start, [](const Tag &) { return u"* "_s; }},
            {"li", TagType::end, [](const Tag &) { return u";"_s; }},
            {"v", TagType::start, [](const Tag &tag) { return tag.attributes.value("say"); }},
        };
        const auto result = TagScanner::scan(u"<li>a</li><li>b</li><v say=\"hi\"/>", transformers);
        QCOMPARE(result.string, u"* a;* b;hi"_s);
        // A start transformer's text lies inside the tag's range, an end transformer's after it.
        QCOMPARE(result.tags, (Tags{info("li", 0, 3), info("li", 4, 3)}));
    }

    // Hostile input must neither recurse nor go quadratic; the test's time-out guards it.
    void longHostileInputsStayLinear()
    {
        constexpr int n = 100000;
        QCOMPARE(scanWithBr(QString("&amp;").repeated(n)).string, QString("&").repeated(n));
        const auto closed = scanWithBr(QString("<b>x").repeated(n) + QString("</b>").repeated(n));
        QCOMPARE(closed.string, QString("x").repeated(n));
        QCOMPARE(closed.tags.size(), n);
        QCOMPARE(closed.tags.last().range, (TextRange{0, n}));
        // End tags that match nothing must not search every open tag each time.
        QVERIFY(scanWithBr(QString("<a>").repeated(n) + QString("</b>").repeated(n)).tags.isEmpty());
        QString manyNames;
        for (int i = 0; i < n; ++i)
            manyNames += u"<t%1>"_s.arg(i);
        QCOMPARE(scanWithBr(manyNames + "x</t0>").tags, (Tags{info("t0", 0, 1)}));
    }
};

QTEST_GUILESS_MAIN(tst_TagScanner)
#include "tst_TagScanner.moc"
