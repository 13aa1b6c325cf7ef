#include "notification/AtributikaBridge.h"
#include "notification/TagScanner.h"

#include "support/TestSandbox.h"

#include <QTest>

using namespace Qt::StringLiterals;

using Attributes = QMap<QString, QString>;
using Tags = QList<TagInfo>;
using Runs = QList<AttributedString::Run>;

namespace {

TagScanner::Result scanWithBr(const QString &markup) { return TagScanner::scan(markup, {TagTransformer::brTransformer()}); }

TagInfo info(const QString &name, qsizetype at, qsizetype length, const Attributes &attributes = {}) { return {Tag{name, attributes}, {at, length}}; }

const QColor kDefaultColor(222, 225, 233);
const QColor kBoldColor(125, 182, 255);

// The window's own set-up: a default colour for all text and one for "b".
AtributikaBridge windowLikeBridge()
{
    AtributikaBridge bridge;
    bridge.setForegroundColor(kDefaultColor, AtributikaBridge::DefaultTag());
    bridge.setForegroundColor(kBoldColor, u"b"_s);
    return bridge;
}

} // namespace

// The markup engine: the scanner (markup in, plain text and the ranges of properly closed
// tags out) and the bridge's styles by tag name. Without a GUI application on purpose:
// conversion must not need one.
class tst_AtributikaBridge : public QObject
{
    Q_OBJECT
    TestSandbox m_sandbox; // made before any service reads the user's paths

private Q_SLOTS:
    void scan_data()
    {
        QTest::addColumn<QString>("markup");
        QTest::addColumn<QString>("text");
        QTest::addColumn<Tags>("tags");
        QTest::newRow("one tag") << "a<b>bold</b>c" << "aboldc" << Tags{info("b", 1, 4)};
        // Attribute reading stops at the first malformed attribute; a later value wins.
        QTest::newRow("attributes") << "<a href=\"x\" t=\"1\" t=\"say &quot;hi&quot;\">l</a><b x=\"1\" y=2 z=\"3\">m</b>"
                                    "<i x='1' y=\"2\">n</i><u x=\"1>o</u>" << "lmno"
                                    << Tags{info("a", 0, 1, {{"href", "x"}, {"t", "say \"hi\""}}), info("b", 1, 1, {{"x", "1"}}),
                                            info("i", 2, 1), info("u", 3, 1)};
        QTest::newRow("white space before the name, non-Latin letters and digits")
            << "< \n b>x</b><größe2>y</größe2>" << "xy" << Tags{info("b", 0, 1), info("größe2", 1, 1)};
        QTest::newRow("the five entities, decoded once") << "&quot;&apos;&lt;&gt;&amp;&amp;lt;" << "\"'<>&&lt;" << Tags{};
        // Unknown, empty, numeric and upper-case entities all vanish.
        QTest::newRow("other entities vanish") << "a&nbsp;b&;c&#60;d&AMP;e" << "abcde" << Tags{};
        QTest::newRow("unterminated entity takes the rest") << "AT&T rocks" << "AT" << Tags{};
        QTest::newRow("br forms only") << "<BR></br><b>a<br>b<br/>c<br />d</b>" << "a\nb\nc\nd" << Tags{info("b", 0, 7)};
        QTest::newRow("empty tag text keeps the >, a nameless tag vanishes") << "a<>b<->c" << "a>bc" << Tags{};
        QTest::newRow("unterminated tag takes the rest") << "x <b>y</b> 1 < 2" << "x y 1 " << Tags{info("b", 2, 1)};
        QTest::newRow("inner range first") << "<b><i>x</i></b>" << "x" << Tags{info("i", 0, 1), info("b", 0, 1)};
        // Names are case-sensitive: <B> is never closed.
        QTest::newRow("unmatched end tags, start tags never closed") << "<B>w</b>x</b>y<b>z" << "wxyz" << Tags{};
        QTest::newRow("same name nested") << "<b>a<b>b</b>c</b>" << "abc" << Tags{info("b", 1, 1), info("b", 0, 3)};
        QTest::newRow("improper nesting leaves the inner tag open")
            << "<b><i>x</b>y</i>" << "xy" << Tags{info("b", 0, 1), info("i", 0, 2)};
        QTest::newRow("entities count once, empty range")
            << "&lt;<b>&amp;</b><i></i>" << "<&" << Tags{info("b", 1, 1), info("i", 2, 0)};
    }

    void scan()
    {
        QFETCH(QString, markup);
        QFETCH(QString, text);
        QFETCH(Tags, tags);
        const TagScanner::Result result = scanWithBr(markup);
        QCOMPARE(std::pair(result.string, result.tags), std::pair(text, tags));
    }

    // Plain text, escaped for markup, converts back to itself in one run. "&" is escaped
    // first, so the "&" of an inserted "&lt;" is not escaped again.
    void escapingRoundTrips()
    {
        const QList<std::pair<QString, QString>> cases{
            {"R&D <beta>", "R&amp;D &lt;beta>"}, {"\"q\" 'a' >\n", "\"q\" 'a' >\n"}, {"", ""},
            {"&amp;&lt;b&gt;", "&amp;amp;&amp;lt;b&amp;gt;"}, {"<b>x</b>a<br>b", "&lt;b>x&lt;/b>a&lt;br>b"},
        };
        for (const auto &[text, markup] : cases) {
            QCOMPARE(AtributikaBridge::prepareString(text), markup);
            const AttributedString converted = windowLikeBridge().convertString(markup);
            QCOMPARE(converted.string(), text);
            QCOMPARE(converted.runs().size(), text.isEmpty() ? 0 : 1);
        }
    }

    // The default style lies under every tag's; where tags nest, the outer one wins; a tag
    // without a style adds nothing.
    void tagStylesOverTheDefaultOuterFirst()
    {
        AtributikaBridge bridge = windowLikeBridge();
        bridge.setBackgroundColor(Qt::black, QString());
        bridge.setForegroundColor(Qt::red, u"i"_s);
        bridge.setBackgroundColor(Qt::yellow, u"i"_s);
        const AttributedString converted = bridge.convertString("a<b>b<i>i</i></b><i>i</i><u>u</u>");
        QCOMPARE(converted.string(), u"abiiu"_s);
        const auto base = TextAttributes().setForegroundColor(kDefaultColor).setBackgroundColor(Qt::black);
        const auto bold = TextAttributes(base).setForegroundColor(kBoldColor);
        const auto both = TextAttributes(bold).setBackgroundColor(Qt::yellow);
        const auto italic = TextAttributes(base).setForegroundColor(Qt::red).setBackgroundColor(Qt::yellow);
        QCOMPARE(converted.runs(), (Runs{{{0, 1}, base}, {{1, 1}, bold}, {{2, 1}, both}, {{3, 1}, italic}, {{4, 1}, base}}));
    }

    // A setter replaces its key in the default style (an empty tag name, whatever
    // DefaultTag says) or in the named style, made on first use.
    void settersReplaceOrCreateStyles()
    {
        AtributikaBridge bridge;
        const QFont font(u"Open Sans"_s, 14);
        const QUrl link(u"https://example.org/help"_s);
        for (const QFont &each : {QFont(u"Helvetica Neue"_s, 13), font})
            bridge.setFont(each, QString());
        bridge.setLink(link, u"b"_s);
        bridge.setCursor(Qt::PointingHandCursor, u"b"_s);
        bridge.setDefaultParagraphStyleWithAlignment(Qt::AlignRight, u"b"_s);
        AtributikaBridge::setDefaultTag(u"i"_s);
        bridge.setBackgroundColor(Qt::red, AtributikaBridge::DefaultTag());
        AtributikaBridge::setDefaultTag(u""_s);
        ParagraphStyle right = ParagraphStyle::defaultParagraphStyle();
        right.setAlignment(Qt::AlignRight);
        const auto base = TextAttributes().setFont(font);
        QCOMPARE(bridge.convertString("a<b>b</b><i>i</i>").runs(),
                 (Runs{{{0, 1}, base}, {{1, 1}, TextAttributes(base).setParagraphStyle(right).setLink(link).setCursor(Qt::PointingHandCursor)},
                       {{2, 1}, TextAttributes(base).setBackgroundColor(Qt::red)}}));
    }

    // Hostile markup must neither recurse nor go quadratic; the test's time-out guards it.
    void hostileMarkupStaysLinear()
    {
        constexpr int n = 100000;
        QCOMPARE(scanWithBr(QString("&amp;").repeated(n)).string, QString("&").repeated(n));
        const auto closed = scanWithBr(QString("<b>x").repeated(n) + QString("</b>").repeated(n));
        QVERIFY(closed.string == QString("x").repeated(n) && closed.tags.size() == n);
        QCOMPARE(closed.tags.last().range, (TextRange{0, n}));
        // End tags that match nothing must not search every open tag each time.
        QVERIFY(scanWithBr(QString("<a>").repeated(n) + QString("</b>").repeated(n)).tags.isEmpty());
        QString manyNames;
        for (int i = 0; i < n; ++i)
            manyNames += u"<t%1>"_s.arg(i);
        QCOMPARE(scanWithBr(manyNames + "x</t0>").tags, (Tags{info("t0", 0, 1)}));

        // Every range reaches the end, each one character further back: n overlapping
        // layers. The outermost tags close last and win: "i" from 0, "b" from 1.
        AtributikaBridge bridge = windowLikeBridge();
        bridge.setBackgroundColor(Qt::black, u"i"_s);
        const AttributedString staircase = bridge.convertString(QString("<i>x<b>y").repeated(n / 2) + QString("</b></i>").repeated(n / 2));
        const auto italic = TextAttributes().setForegroundColor(kDefaultColor).setBackgroundColor(Qt::black);
        QCOMPARE(staircase.runs(), (Runs{{{0, 1}, italic}, {{1, n - 1}, TextAttributes(italic).setForegroundColor(kBoldColor)}}));
    }
};

QTEST_GUILESS_MAIN(tst_AtributikaBridge)
#include "tst_AtributikaBridge.moc"
