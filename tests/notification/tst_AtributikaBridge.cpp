#include "notification/AtributikaBridge.h"
#include "notification/AttributedText.h"

#include "support/TestSandbox.h"

#include <QTest>

#include <optional>

using namespace Qt::StringLiterals;

using Runs = QList<AttributedString::Run>;
using Alignments = QList<std::pair<int, QString>>;

namespace {

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
    return Style(name).withAttribute(TextAttributes::Key::foregroundColor, color);
}

// Records what reaches the virtual paragraph-style setter.
class RecordingBridge : public AtributikaBridge
{
public:
    void setParagraphStyle(const ParagraphStyle &style, const QString &tag) override
    {
        calls.append({int(style.alignment()), tag});
        AtributikaBridge::setParagraphStyle(style, tag);
    }
    Alignments calls;
};

} // namespace

// Styled text from markup: the bridge's styles by tag name over the detections of
// AttributedText. Runs without a GUI application on purpose: conversion must not need one.
class tst_AtributikaBridge : public QObject
{
    Q_OBJECT
    std::optional<TestSandbox> m_sandbox;

private Q_SLOTS:
    void initTestCase() { m_sandbox.emplace(); }

    // Base styles merge, the later one's keys winning; detections follow in order, each
    // over its own range only (clipped to the text); only `normal` attributes count.
    void stylesLayInOrder()
    {
        const QUrl link(u"https://example.org"_s);
        AttributedText text(u"abcdef"_s);
        text.styleAll(colored(QString(), Qt::red).withAttribute(TextAttributes::Key::backgroundColor, QColor(Qt::gray)));
        text.styleAll(colored(QString(), Qt::blue));
        text.styleRange({1, 4}, colored("x", Qt::red)).styleRange({2, 1}, colored("y", Qt::green));
        text.styleRange({-5, 100}, Style("z")
                                       .withAttribute(TextAttributes::Key::link, link)
                                       .withAttribute(TextAttributes::Key::foregroundColor, QColor(Qt::white), StyleType::highlighted));
        const auto base = TextAttributes().setForegroundColor(Qt::blue).setBackgroundColor(Qt::gray).setLink(link);
        const auto red = TextAttributes(base).setForegroundColor(Qt::red);
        QCOMPARE(text.attributedString().runs(),
                 (Runs{{{0, 1}, base}, {{1, 1}, red}, {{2, 1}, TextAttributes(base).setForegroundColor(Qt::green)}, {{3, 2}, red}, {{5, 1}, base}}));
    }

    void tagsTakeTheFirstStyleOfTheirName()
    {
        const Tag b{u"b"_s, {}};
        AttributedText text(u"abcd"_s);
        text.styleTags({{b, {0, 2}}, {Tag{u"u"_s, {}}, {2, 2}}},
                       {colored("b", Qt::red), colored("b", Qt::green), colored("B", Qt::blue)});
        QCOMPARE(text.detections().size(), 2);
        QCOMPARE(text.detections().at(0), (Detection{DetectionType::tag, colored("b", Qt::red), {0, 2}, b}));
        // No style named "u": an empty style, which adds nothing.
        QCOMPARE(text.detections().at(1).style, Style());
        QCOMPARE(text.attributedString().attributesAt(3), TextAttributes());
    }

    void detectorsFindTheirMatches()
    {
        AttributedText text(u"#tag, @me and #über! # @ x#no mail@host 2024"_s);
        const Style style = colored("x", Qt::red);
        text.styleHashtags(style).styleMentions(style).styleRegex(QRegularExpression("\\d+"), style);
        text.styleRegex(QRegularExpression("(unclosed"), style);
        QMap<DetectionType, QList<TextRange>> ranges;
        for (const Detection &detection : text.detections())
            ranges[detection.type].append(detection.range);
        QCOMPARE(ranges.value(DetectionType::hashtag), (QList<TextRange>{{0, 4}, {14, 5}, {26, 3}}));
        QCOMPARE(ranges.value(DetectionType::mention), (QList<TextRange>{{6, 3}, {34, 5}}));
        QCOMPARE(ranges.value(DetectionType::regex), (QList<TextRange>{{40, 4}}));
        QCOMPARE(ranges.size(), 3);
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

    // The default style lies under every tag's; where tags nest, the outer one wins.
    void tagStylesOverTheDefaultOuterFirst()
    {
        AtributikaBridge bridge = windowLikeBridge();
        bridge.setBackgroundColor(Qt::black, QString());
        bridge.setForegroundColor(Qt::red, u"i"_s);
        bridge.setBackgroundColor(Qt::yellow, u"i"_s);
        const AttributedString converted = bridge.convertString("a<b>b<i>i</i></b><i>i</i>");
        QCOMPARE(converted.string(), u"abii"_s);
        const auto base = TextAttributes().setForegroundColor(kDefaultColor).setBackgroundColor(Qt::black);
        const auto bold = TextAttributes(base).setForegroundColor(kBoldColor);
        QCOMPARE(converted.runs(), (Runs{{{0, 1}, base}, {{1, 1}, bold}, {{2, 1}, TextAttributes(bold).setBackgroundColor(Qt::yellow)},
                                         {{3, 1}, TextAttributes(base).setForegroundColor(Qt::red).setBackgroundColor(Qt::yellow)}}));
    }

    // A setter replaces its key in the default style (empty tag name) or in the named
    // style, made on first use; paragraph styles go through the virtual setter.
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
        QCOMPARE(bridge.styles().keys(), QStringList{"b"});
        const AttributedString converted = bridge.convertString("a<b>b</b>");
        ParagraphStyle left = ParagraphStyle::defaultParagraphStyle(), right = left;
        left.setAlignment(Qt::AlignLeft);
        right.setAlignment(Qt::AlignRight);
        QCOMPARE(converted.attributesAt(0), TextAttributes().setFont(font).setParagraphStyle(left));
        QCOMPARE(converted.attributesAt(1),
                 TextAttributes().setFont(font).setParagraphStyle(right).setLink(link).setCursor(Qt::PointingHandCursor));
    }

    // Every range reaches the end, each one character further back: n overlapping layers
    // must neither recurse nor go quadratic; the test's time-out guards it.
    void overlappingLayersConvert()
    {
        constexpr int n = 100000;
        AtributikaBridge bridge = windowLikeBridge();
        bridge.setBackgroundColor(Qt::black, u"i"_s);
        const AttributedString staircase =
            bridge.convertString(QString("<i>x<b>y").repeated(n / 2) + QString("</b></i>").repeated(n / 2));
        // The outermost tags close last and win: "i" from 0, "b" from 1.
        const auto italic = TextAttributes().setForegroundColor(kDefaultColor).setBackgroundColor(Qt::black);
        QCOMPARE(staircase.length(), n);
        QCOMPARE(staircase.runs(), (Runs{{{0, 1}, italic}, {{1, n - 1}, TextAttributes(italic).setForegroundColor(kBoldColor)}}));
    }
};

QTEST_GUILESS_MAIN(tst_AtributikaBridge)
#include "tst_AtributikaBridge.moc"
