#include "notification/AtributikaBridge.h"
#include "notification/AttributedText.h"
#include "notification/TagScanner.h"

#include "support/TestSandbox.h"

#include <QTest>

#include <optional>

using namespace Qt::StringLiterals;

using Key = TextAttributes::Key;
using Attributes = QMap<QString, QString>;
using Tags = QList<TagInfo>;
using Runs = QList<AttributedString::Run>;
using Alignments = QList<std::pair<int, QString>>;

namespace {

TagScanner::Result scanWithBr(const QString &markup)
{
    return TagScanner::scan(markup, {TagTransformer::brTransformer()});
}

TagInfo info(const QString &name, qsizetype location, qsizetype length, const Attributes &attributes = {})
{
    return {Tag{name, attributes}, {location, length}};
}

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

Style colored(const QString &name, const QColor &color)
{
    return Style(name).withAttribute(Key::foregroundColor, color);
}

// Records what reaches the virtual paragraph-style setter.
struct RecordingBridge : AtributikaBridge
{
    void setParagraphStyle(const ParagraphStyle &style, const QString &tag) override
    {
        calls.append({int(style.alignment()), tag});
        AtributikaBridge::setParagraphStyle(style, tag);
    }
    Alignments calls;
};

} // namespace

// The markup engine: the scanner and the tag reader it uses (markup in, the plain text
// and the ranges of properly closed tags out), the styled-text layer, and the bridge's
// styles by tag name over it. Runs without a GUI application on purpose: conversion
// must not need one.
class tst_AtributikaBridge : public QObject
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
        QTest::newRow("white space before the name, non-Latin letters and digits")
            << "< \n b>x</b><größe2>y</größe2>" << "xy" << Tags{info("b", 0, 1), info("größe2", 1, 1)};
        QTest::newRow("a later, empty value wins") << "<a t=\"1\" t=\"\">x</a>" << "x" << Tags{info("a", 0, 1, {{"t", ""}})};
        // Attribute reading stops at the first malformed attribute.
        QTest::newRow("unquoted, single-quoted or unterminated values")
            << "<a x=\"1\" y=2 z=\"3\">x</a><b x='1' y=\"2\">y</b><i x=\"1>z</i>" << "xyz"
            << Tags{info("a", 0, 1, {{"x", "1"}}), info("b", 1, 1), info("i", 2, 1)};
        QTest::newRow("the five entities") << "&quot;&apos;&lt;&gt;&amp;" << "\"'<>&" << Tags{};
        QTest::newRow("entities decode once") << "&amp;lt;" << "&lt;" << Tags{};
        // Unknown, empty, numeric and upper-case entities all vanish.
        QTest::newRow("other entities vanish") << "a&nbsp;b&;c&#60;d&AMP;e" << "abcde" << Tags{};
        QTest::newRow("unterminated entity takes the rest") << "AT&T rocks" << "AT" << Tags{};
        QTest::newRow("br forms, in a range") << "<b>a<br>b<br/>c<br />d</b>" << "a\nb\nc\nd" << Tags{info("b", 0, 7)};
        QTest::newRow("BR and </br> add nothing") << "a<BR>b</br>c" << "abc" << Tags{};
        QTest::newRow("empty tag text keeps the >, a nameless tag vanishes") << "a<>b<->c" << "a>bc" << Tags{};
        QTest::newRow("unterminated tag takes the rest") << "x <b>y</b> 1 < 2" << "x y 1 " << Tags{info("b", 2, 1)};
        QTest::newRow("lone < at the end") << "x<" << "x" << Tags{};
        QTest::newRow("quotes, > and line breaks stay") << "a > \"b\" 'c'\nd\r\n" << "a > \"b\" 'c'\nd\r\n" << Tags{};
        QTest::newRow("empty") << "" << "" << Tags{};
        QTest::newRow("inner range first") << "<b><i>x</i></b>" << "x" << Tags{info("i", 0, 1), info("b", 0, 1)};
        QTest::newRow("end tag without start, start tag never closed") << "x</b>y<b>z" << "xyz" << Tags{};
        QTest::newRow("names are case-sensitive") << "<B>x</b>" << "x" << Tags{};
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
        QCOMPARE(scanWithBr(markup).string, text);
        QCOMPARE(scanWithBr(markup).tags, tags);
    }

    // Base styles merge, the later one's keys winning; detections follow in order, each
    // over its own range only (clipped to the text); only `normal` attributes count.
    void stylesLayInOrder()
    {
        const QUrl link(u"https://example.org"_s);
        AttributedText text(u"abcdef"_s);
        text.styleAll(colored(QString(), Qt::red).withAttribute(Key::backgroundColor, QColor(Qt::gray)));
        text.styleAll(colored(QString(), Qt::blue));
        text.styleRange({1, 4}, colored("x", Qt::red)).styleRange({2, 1}, colored("y", Qt::green));
        const Style linked = Style("z").withAttribute(Key::link, link);
        text.styleRange({-5, 100}, linked.withAttribute(Key::foregroundColor, QColor(Qt::white), StyleType::highlighted));
        const auto base = TextAttributes().setForegroundColor(Qt::blue).setBackgroundColor(Qt::gray).setLink(link);
        const auto red = TextAttributes(base).setForegroundColor(Qt::red);
        const auto green = TextAttributes(base).setForegroundColor(Qt::green);
        QCOMPARE(text.attributedString().runs(),
                 (Runs{{{0, 1}, base}, {{1, 1}, red}, {{2, 1}, green}, {{3, 2}, red}, {{5, 1}, base}}));
    }

    // Plain text, escaped for markup, converts back to itself in one run. "&" is escaped
    // first, so the "&" of an inserted "&lt;" is not escaped again.
    void escapingRoundTrips()
    {
        const QList<std::pair<QString, QString>> cases{
            {"R&D <beta>", "R&amp;D &lt;beta>"},
            {"<&", "&lt;&amp;"},
            {"\"q\" 'a' >\n", "\"q\" 'a' >\n"},
            {"&amp;&lt;b&gt;", "&amp;amp;&amp;lt;b&amp;gt;"},
            {"<b>x</b>a<br>b", "&lt;b>x&lt;/b>a&lt;br>b"},
            {"AT&T &;", "AT&amp;T &amp;;"},
            {"", ""},
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
    // DefaultTag says) or in the named style, made on first use; paragraph styles go
    // through the virtual setter.
    void settersReplaceOrCreateStyles()
    {
        RecordingBridge bridge;
        const QFont font(u"Open Sans"_s, 14);
        bridge.setFont(QFont(u"Helvetica Neue"_s, 13), QString());
        bridge.setFont(font, QString());
        const QUrl link(u"https://example.org/help"_s);
        bridge.setLink(link, u"b"_s);
        bridge.setCursor(Qt::PointingHandCursor, u"b"_s);
        bridge.setDefaultParagraphStyleWithAlignment(Qt::AlignRight, u"b"_s);
        bridge.setDefaultParagraphStyleWithAlignment(Qt::AlignLeft, AtributikaBridge::DefaultTag());
        QCOMPARE(bridge.calls, (Alignments{{Qt::AlignRight, "b"}, {Qt::AlignLeft, ""}}));
        AtributikaBridge::setDefaultTag(u"i"_s);
        bridge.setBackgroundColor(Qt::red, AtributikaBridge::DefaultTag());
        AtributikaBridge::setDefaultTag(u""_s);
        const AttributedString converted = bridge.convertString("a<b>b</b><i>i</i>");
        const auto aligned = [](Qt::Alignment alignment) { auto style = ParagraphStyle::defaultParagraphStyle(); style.setAlignment(alignment); return style; };
        const auto left = TextAttributes().setFont(font).setParagraphStyle(aligned(Qt::AlignLeft));
        QCOMPARE(converted.attributesAt(0), left);
        QCOMPARE(converted.attributesAt(1),
                 TextAttributes(left).setParagraphStyle(aligned(Qt::AlignRight)).setLink(link).setCursor(Qt::PointingHandCursor));
        QCOMPARE(converted.attributesAt(2), TextAttributes(left).setBackgroundColor(Qt::red));
    }

    // Hostile markup must neither recurse nor go quadratic; the test's time-out guards it.
    void hostileMarkupStaysLinear()
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

        // Every range reaches the end, each one character further back: n overlapping
        // layers. The outermost tags close last and win: "i" from 0, "b" from 1.
        AtributikaBridge bridge = windowLikeBridge();
        bridge.setBackgroundColor(Qt::black, u"i"_s);
        const QString markup = QString("<i>x<b>y").repeated(n / 2) + QString("</b></i>").repeated(n / 2);
        const AttributedString staircase = bridge.convertString(markup);
        const auto italic = TextAttributes().setForegroundColor(kDefaultColor).setBackgroundColor(Qt::black);
        QCOMPARE(staircase.runs(), (Runs{{{0, 1}, italic}, {{1, n - 1}, TextAttributes(italic).setForegroundColor(kBoldColor)}}));
    }
};

QTEST_GUILESS_MAIN(tst_AtributikaBridge)
#include "tst_AtributikaBridge.moc"
