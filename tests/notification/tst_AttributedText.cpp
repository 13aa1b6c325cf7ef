#include "notification/AttributedText.h"

#include "support/TestSandbox.h"

#include <QTest>

#include <memory>

namespace {

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

} // namespace

class tst_AttributedText : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { m_sandbox = std::make_unique<TestSandbox>(); }
    void baseStyleMergesWithLaterKeysWinning();
    void tagsTakeTheFirstStyleOfTheirName();
    void detectorsFindTheirMatches();
    void laterDetectionsWinOverTheirRangeOnly();
    void onlyNormalAttributesReachTheString();

private:
    std::unique_ptr<TestSandbox> m_sandbox;
};

void tst_AttributedText::baseStyleMergesWithLaterKeysWinning()
{
    AttributedText text(QStringLiteral("abc"));
    text.styleAll(colored(QString(), Qt::red).withAttribute(TextAttributes::Key::backgroundColor, QColor(Qt::gray)));
    text.styleAll(colored(QString(), Qt::blue));
    const TextAttributes attributes = text.attributedString().attributesAt(1);
    QCOMPARE(attributes.foregroundColor(), QColor(Qt::blue));
    QCOMPARE(attributes.backgroundColor(), QColor(Qt::gray));
    QCOMPARE(text.attributedString().runs().size(), 1);
}

void tst_AttributedText::tagsTakeTheFirstStyleOfTheirName()
{
    const Tag b{QStringLiteral("b"), {}};
    const Tag u{QStringLiteral("u"), {}};
    AttributedText text(QStringLiteral("abcd"));
    text.styleTags({{b, {0, 2}}, {u, {2, 2}}}, {colored("b", Qt::red), colored("b", Qt::green), colored("B", Qt::blue)});
    QCOMPARE(text.detections().size(), 2);
    QCOMPARE(text.detections().at(0).type, DetectionType::tag);
    QCOMPARE(text.detections().at(0).tag, b);
    QCOMPARE(text.detections().at(0).style, colored("b", Qt::red));
    // No style named "u": an empty style, which adds nothing.
    QCOMPARE(text.detections().at(1).style, Style());
    QCOMPARE(text.attributedString().attributesAt(3), TextAttributes());
}

void tst_AttributedText::detectorsFindTheirMatches()
{
    AttributedText text(QStringLiteral("#tag, @me and #über! # @ x#no mail@host 2024"));
    const Style style = colored("x", Qt::red);
    text.styleHashtags(style).styleMentions(style).styleRegex(QRegularExpression("\\d+"), style);
    QCOMPARE(rangesOf(text, DetectionType::hashtag), (QList<TextRange>{{0, 4}, {14, 5}, {26, 3}}));
    QCOMPARE(rangesOf(text, DetectionType::mention), (QList<TextRange>{{6, 3}, {34, 5}}));
    QCOMPARE(rangesOf(text, DetectionType::regex), (QList<TextRange>{{40, 4}}));

    const int before = int(text.detections().size());
    text.styleRegex(QRegularExpression("(unclosed"), style);
    QCOMPARE(text.detections().size(), before);
}

void tst_AttributedText::laterDetectionsWinOverTheirRangeOnly()
{
    AttributedText text(QStringLiteral("abcdef"));
    text.styleRange({1, 4}, colored("x", Qt::red)).styleRange({2, 1}, colored("y", Qt::blue));
    text.styleRange({-5, 100}, Style("z").withAttribute(TextAttributes::Key::link, QUrl("https://example.org")));
    const AttributedString string = text.attributedString();
    QVERIFY(!string.attributesAt(0).foregroundColor());
    QCOMPARE(string.attributesAt(1).foregroundColor(), QColor(Qt::red));
    QCOMPARE(string.attributesAt(2).foregroundColor(), QColor(Qt::blue));
    QCOMPARE(string.attributesAt(3).foregroundColor(), QColor(Qt::red));
    QVERIFY(!string.attributesAt(5).foregroundColor());
    QCOMPARE(string.attributesAt(5).link(), QUrl("https://example.org"));
}

void tst_AttributedText::onlyNormalAttributesReachTheString()
{
    const Style style = Style("b")
                            .withAttribute(TextAttributes::Key::foregroundColor, QColor(Qt::red), StyleType::highlighted)
                            .withAttribute(TextAttributes::Key::foregroundColor, QColor(Qt::gray), StyleType::disabled);
    AttributedText text(QStringLiteral("ab"));
    text.styleRange({0, 2}, style);
    QCOMPARE(text.attributedString(), AttributedString(QStringLiteral("ab")));
}

QTEST_GUILESS_MAIN(tst_AttributedText)
#include "tst_AttributedText.moc"
