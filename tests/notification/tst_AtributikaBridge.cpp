#include "notification/AtributikaBridge.h"
#include "notification/AttributedText.h"

#include "support/TestSandbox.h"

#include <QTest>

#include <optional>

using Alignments = QList<std::pair<int, QString>>;

namespace {

const QColor kDefaultColor(222, 225, 233);
const QColor kBoldColor(125, 182, 255);

// The window's own set-up: a default colour for all text and one for "b".
AtributikaBridge windowLikeBridge()
{
    AtributikaBridge bridge;
    bridge.setForegroundColor(kDefaultColor, AtributikaBridge::DefaultTag());
    bridge.setForegroundColor(kBoldColor, QStringLiteral("b"));
    return bridge;
}

QColor colorAt(const AttributedString &string, qsizetype index)
{
    return string.attributesAt(index).foregroundColor().value_or(QColor());
}

Style colored(const QString &name, const QColor &color)
{
    return Style(name).withAttribute(TextAttributes::Key::foregroundColor, color);
}

QList<TextRange> rangesOf(const AttributedText &text, DetectionType type)
{
    QList<TextRange> ranges;
    for (const Detection &detection : text.detections()) {
        if (detection.type == type)
            ranges.append(detection.range);
    }
    return ranges;
}

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

    void baseStyleMergesWithLaterKeysWinning()
    {
        AttributedText text(QStringLiteral("abc"));
        text.styleAll(colored(QString(), Qt::red).withAttribute(TextAttributes::Key::backgroundColor, QColor(Qt::gray)));
        text.styleAll(colored(QString(), Qt::blue));
        QCOMPARE(text.attributedString().runs(),
                 (QList<AttributedString::Run>{{{0, 3}, TextAttributes().setForegroundColor(Qt::blue).setBackgroundColor(Qt::gray)}}));
    }

    void tagsTakeTheFirstStyleOfTheirName()
    {
        const Tag b{QStringLiteral("b"), {}};
        AttributedText text(QStringLiteral("abcd"));
        text.styleTags({{b, {0, 2}}, {Tag{QStringLiteral("u"), {}}, {2, 2}}},
                       {colored("b", Qt::red), colored("b", Qt::green), colored("B", Qt::blue)});
        QCOMPARE(text.detections().size(), 2);
        QCOMPARE(text.detections().at(0), (Detection{DetectionType::tag, colored("b", Qt::red), {0, 2}, b}));
        // No style named "u": an empty style, which adds nothing.
        QCOMPARE(text.detections().at(1).style, Style());
        QCOMPARE(text.attributedString().attributesAt(3), TextAttributes());
    }

    void detectorsFindTheirMatches()
    {
        AttributedText text(QStringLiteral("#tag, @me and #über! # @ x#no mail@host 2024"));
        const Style style = colored("x", Qt::red);
        text.styleHashtags(style).styleMentions(style).styleRegex(QRegularExpression("\\d+"), style);
        text.styleRegex(QRegularExpression("(unclosed"), style);
        QCOMPARE(rangesOf(text, DetectionType::hashtag), (QList<TextRange>{{0, 4}, {14, 5}, {26, 3}}));
        QCOMPARE(rangesOf(text, DetectionType::mention), (QList<TextRange>{{6, 3}, {34, 5}}));
        QCOMPARE(rangesOf(text, DetectionType::regex), (QList<TextRange>{{40, 4}}));
    }

    void laterDetectionsWinOverTheirRangeOnly()
    {
        AttributedText text(QStringLiteral("abcdef"));
        text.styleRange({1, 4}, colored("x", Qt::red)).styleRange({2, 1}, colored("y", Qt::blue));
        text.styleRange({-5, 100}, Style("z").withAttribute(TextAttributes::Key::link, QUrl("https://example.org")));
        const AttributedString string = text.attributedString();
        const QList<std::optional<QColor>> colors{{}, QColor(Qt::red), QColor(Qt::blue), QColor(Qt::red), QColor(Qt::red), {}};
        for (int i = 0; i < 6; ++i)
            QCOMPARE(string.attributesAt(i).foregroundColor(), colors.at(i));
        QCOMPARE(string.attributesAt(5).link(), QUrl("https://example.org"));
    }

    void onlyNormalAttributesReachTheString()
    {
        const Style style = Style("b")
                                .withAttribute(TextAttributes::Key::foregroundColor, QColor(Qt::red), StyleType::highlighted)
                                .withAttribute(TextAttributes::Key::foregroundColor, QColor(Qt::gray), StyleType::disabled);
        QCOMPARE(AttributedText(QStringLiteral("ab")).styleRange({0, 2}, style).attributedString(), AttributedString(QStringLiteral("ab")));
    }

    void escapingRoundTrips_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("markup");
        QTest::newRow("both") << "R&D <beta>" << "R&amp;D &lt;beta>";
        // "&" first, so the "&" of an inserted "&lt;" is not escaped again.
        QTest::newRow("< before &") << "<&" << "&lt;&amp;";
        QTest::newRow("quotes, > and line feeds stay") << "\"q\" 'a' >\n" << "\"q\" 'a' >\n";
        QTest::newRow("entities stay literal") << "&amp;&lt;b&gt;" << "&amp;amp;&amp;lt;b&amp;gt;";
        QTest::newRow("tags stay literal") << "<b>x</b>a<br>b" << "&lt;b>x&lt;/b>a&lt;br>b";
        QTest::newRow("unterminated and empty entities") << "AT&T &;" << "AT&amp;T &amp;;";
        QTest::newRow("empty") << "" << "";
    }

    void escapingRoundTrips()
    {
        QFETCH(QString, text);
        QFETCH(QString, markup);
        QCOMPARE(AtributikaBridge::prepareString(text), markup);
        const AttributedString converted = windowLikeBridge().convertString(markup);
        QCOMPARE(converted.string(), text);
        QCOMPARE(converted.runs().size(), text.isEmpty() ? 0 : 1);
    }

    void defaultStyleUnderTagStyles()
    {
        AtributikaBridge bridge = windowLikeBridge();
        bridge.setBackgroundColor(Qt::black, QString());
        const AttributedString converted = bridge.convertString("a<b>bold</b>c");
        QCOMPARE(converted.string(), QStringLiteral("aboldc"));
        const auto both = TextAttributes().setForegroundColor(kDefaultColor).setBackgroundColor(Qt::black);
        QCOMPARE(converted.runs(), (QList<AttributedString::Run>{
                                       {{0, 1}, both}, {{1, 4}, TextAttributes(both).setForegroundColor(kBoldColor)}, {{5, 1}, both}}));
    }

    void outerTagWinsWhenNested()
    {
        AtributikaBridge bridge = windowLikeBridge();
        bridge.setForegroundColor(Qt::red, QStringLiteral("i"));
        bridge.setBackgroundColor(Qt::yellow, QStringLiteral("i"));
        const AttributedString converted = bridge.convertString("<b><i>x</i></b><i>y</i>");
        QCOMPARE(colorAt(converted, 0), kBoldColor);
        QCOMPARE(converted.attributesAt(0).backgroundColor(), QColor(Qt::yellow));
        QCOMPARE(colorAt(converted, 1), QColor(Qt::red));
    }

    void settersReplaceOrCreateStyles()
    {
        AtributikaBridge bridge;
        const QFont font(QStringLiteral("Open Sans"), 14);
        bridge.setFont(QFont(QStringLiteral("Helvetica Neue"), 13), QString());
        bridge.setFont(font, QString());
        const QUrl link(QStringLiteral("https://example.org/help"));
        bridge.setLink(link, QStringLiteral("b"));
        bridge.setCursor(Qt::PointingHandCursor, QStringLiteral("b"));
        QCOMPARE(bridge.styles().keys(), QStringList{"b"});
        const AttributedString converted = bridge.convertString("a<b>b</b>");
        QCOMPARE(converted.attributesAt(0), TextAttributes().setFont(font));
        QCOMPARE(converted.attributesAt(1), TextAttributes().setFont(font).setLink(link).setCursor(Qt::PointingHandCursor));
    }

    void paragraphStyleGoesThroughTheVirtualSetter()
    {
        RecordingBridge bridge;
        bridge.setDefaultParagraphStyleWithAlignment(Qt::AlignRight, QStringLiteral("p"));
        bridge.setDefaultParagraphStyleWithAlignment(Qt::AlignLeft, AtributikaBridge::DefaultTag());
        QCOMPARE(bridge.calls, (Alignments{{Qt::AlignRight, "p"}, {Qt::AlignLeft, ""}}));
        const AttributedString converted = bridge.convertString("a<p>b</p>");
        QCOMPARE(converted.attributesAt(0).paragraphStyle()->alignment(), Qt::Alignment(Qt::AlignLeft));
        QCOMPARE(converted.attributesAt(1).paragraphStyle()->alignment(), Qt::Alignment(Qt::AlignRight));
    }

    void onlyTheEmptyDefaultTagReachesTheDefaultStyle()
    {
        QVERIFY(AtributikaBridge::DefaultTag().isEmpty() && !AtributikaBridge::DefaultTag().isNull());
        AtributikaBridge::setDefaultTag(QStringLiteral("body"));
        AtributikaBridge bridge;
        bridge.setForegroundColor(Qt::red, AtributikaBridge::DefaultTag());
        AtributikaBridge::setDefaultTag(QStringLiteral(""));
        QCOMPARE(bridge.defaultStyle(), Style());
        QCOMPARE(colorAt(bridge.convertString("<body>x</body>y"), 0), QColor(Qt::red));
    }

    // Every range reaches the end, each one character further back: n overlapping layers
    // must neither recurse nor go quadratic; the test's time-out guards it.
    void overlappingLayersConvert()
    {
        constexpr int n = 100000;
        AtributikaBridge bridge = windowLikeBridge();
        bridge.setBackgroundColor(Qt::black, QStringLiteral("i"));
        const AttributedString staircase =
            bridge.convertString(QString("<i>x<b>y").repeated(n / 2) + QString("</b></i>").repeated(n / 2));
        QCOMPARE(staircase.length(), n);
        // The outermost tags close last and win: "i" from 0, "b" from 1.
        QCOMPARE(staircase.runs().size(), 2);
        QCOMPARE(colorAt(staircase, 0), kDefaultColor);
        QCOMPARE(colorAt(staircase, n - 1), kBoldColor);
        QCOMPARE(staircase.attributesAt(n - 1).backgroundColor(), QColor(Qt::black));
    }
};

QTEST_GUILESS_MAIN(tst_AtributikaBridge)
#include "tst_AtributikaBridge.moc"
