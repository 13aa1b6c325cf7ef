#include "ui/AttributedString.h"
#include "ui/AttributedStringBuilder.h"

#include "support/TestSandbox.h"

#include <QTest>
#include <QTextBlock>
#include <QTextDocument>

#include <limits>
#include <memory>

namespace {

TextAttributes fg(const QColor &color)
{
    return TextAttributes().setForegroundColor(color);
}

TextAttributes aligned(Qt::Alignment alignment)
{
    ParagraphStyle style;
    style.setAlignment(alignment);
    return TextAttributes().setParagraphStyle(style);
}

using Run = AttributedString::Run;

} // namespace

class tst_AttributedString : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { m_sandbox = std::make_unique<TestSandbox>(); }
    void laterAdditionsWinPerKeyOverTheirRange();
    void rangesAreClippedToTheText();
    void runsFromCallersAreRepaired();
    void attributesAtAnIndex();
    void deepOverlapsBuildQuickly();
    void rendersCharacterFormats();
    void rendersOneBlockPerParagraph();
    void rendersAsRichTextForLabels();

private:
    std::unique_ptr<TestSandbox> m_sandbox;
};

void tst_AttributedString::laterAdditionsWinPerKeyOverTheirRange()
{
    AttributedStringBuilder builder(QStringLiteral("abcdef"), fg(Qt::black));
    builder.addAttributes(fg(Qt::red).setBackgroundColor(Qt::yellow), {1, 4});
    builder.addAttributes(fg(Qt::blue), {2, 1});
    builder.addAttributes(fg(Qt::red), {3, 1}); // equal to its neighbour: merged
    const AttributedString string = builder.build();
    const auto redOnYellow = fg(Qt::red).setBackgroundColor(Qt::yellow);
    QCOMPARE(string.runs(), (QList<Run>{
                                {{0, 1}, fg(Qt::black)},
                                {{1, 1}, redOnYellow},
                                {{2, 1}, TextAttributes(redOnYellow).setForegroundColor(Qt::blue)},
                                {{3, 2}, redOnYellow},
                                {{5, 1}, fg(Qt::black)},
                            }));
    QCOMPARE(AttributedStringBuilder(QString(), fg(Qt::red)).build().runs(), QList<Run>());
}

void tst_AttributedString::rangesAreClippedToTheText()
{
    constexpr qsizetype huge = std::numeric_limits<qsizetype>::max();
    AttributedStringBuilder builder(QStringLiteral("abc"));
    builder.addAttributes(fg(Qt::red), {-2, 3});
    builder.addAttributes(fg(Qt::blue), {2, huge});
    builder.addAttributes(fg(Qt::green), {huge, huge});
    builder.addAttributes(fg(Qt::green), {1, -4});
    QCOMPARE(builder.build().runs(), (QList<Run>{{{0, 1}, fg(Qt::red)}, {{1, 1}, {}}, {{2, 1}, fg(Qt::blue)}}));
}

void tst_AttributedString::runsFromCallersAreRepaired()
{
    const AttributedString string(QStringLiteral("abcd"), QList<Run>{{{2, 9}, fg(Qt::red)}, {{0, 3}, fg(Qt::blue)}});
    QCOMPARE(string.runs(), (QList<Run>{{{0, 3}, fg(Qt::blue)}, {{3, 1}, fg(Qt::red)}}));
    QCOMPARE(AttributedString(QStringLiteral("ab"), QList<Run>{}).runs(), (QList<Run>{{{0, 2}, {}}}));
}

void tst_AttributedString::attributesAtAnIndex()
{
    AttributedStringBuilder builder(QStringLiteral("abcdef"));
    builder.addAttributes(fg(Qt::red), {2, 3});
    const AttributedString string = builder.build();
    TextRange effective;
    QCOMPARE(string.attributesAt(3, &effective), fg(Qt::red));
    QCOMPARE(effective, (TextRange{2, 3}));
    QCOMPARE(string.attributesAt(5, &effective), TextAttributes());
    QCOMPARE(effective, (TextRange{5, 1}));
    QCOMPARE(string.attributesAt(6, &effective), TextAttributes());
    QCOMPARE(effective, TextRange());
    QCOMPARE(string.attributesAt(-1), TextAttributes());
}

// Each addition starts one character later and reaches the end: painting them one by
// one would touch n²/2 characters. The test's time-out guards it.
void tst_AttributedString::deepOverlapsBuildQuickly()
{
    constexpr int n = 200000;
    AttributedStringBuilder builder(QString(n, QLatin1Char('x')));
    for (int i = 0; i < n; ++i)
        builder.addAttributes(fg(i % 2 ? Qt::red : Qt::blue), {i, n - i});
    const AttributedString string = builder.build();
    QCOMPARE(string.runs().size(), n);
    QCOMPARE(string.attributesAt(n - 1), fg(Qt::red));
}

void tst_AttributedString::rendersCharacterFormats()
{
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPointSizeF(13);
    const QUrl link(QStringLiteral("https://example.org/help"));
    const AttributedString string(QStringLiteral("plain link"),
                                  QList<Run>{{{0, 10}, TextAttributes().setFont(font)},
                                             {{6, 4}, fg(Qt::red).setBackgroundColor(Qt::yellow).setLink(link).setCursor(
                                                          Qt::PointingHandCursor)}});
    const auto document = string.toTextDocument();
    QCOMPARE(document->toPlainText(), string.string());

    QTextCursor cursor(document.get());
    cursor.setPosition(3);
    QTextCharFormat plain = cursor.charFormat();
    QCOMPARE(plain.font().family(), QStringLiteral("DejaVu Sans"));
    QCOMPARE(plain.font().pointSizeF(), 13.0);
    QVERIFY(!plain.isAnchor());
    QVERIFY(!plain.hasProperty(QTextFormat::ForegroundBrush));

    cursor.setPosition(8);
    const QTextCharFormat linked = cursor.charFormat();
    QCOMPARE(linked.foreground().color(), QColor(Qt::red));
    QCOMPARE(linked.background().color(), QColor(Qt::yellow));
    QVERIFY(linked.isAnchor());
    QCOMPARE(linked.anchorHref(), link.toString());
    QCOMPARE(linked.property(AttributedString::kCursorProperty).toInt(), int(Qt::PointingHandCursor));
    QCOMPARE(linked.font().pointSizeF(), 13.0);
}

void tst_AttributedString::rendersOneBlockPerParagraph()
{
    // Paragraphs: "left", "right" (CR LF is one break), "" (aligned by its break), "mid".
    const QString text = QStringLiteral("left\nright\r\n\u2029mid");
    AttributedStringBuilder builder(text, aligned(Qt::AlignLeft));
    builder.addAttributes(aligned(Qt::AlignRight), {5, 8});
    builder.addAttributes(aligned(Qt::AlignHCenter), {13, 3});
    const auto document = builder.build().toTextDocument();
    QCOMPARE(document->blockCount(), 4);
    const QList<Qt::Alignment> expected{Qt::AlignLeft, Qt::AlignRight, Qt::AlignRight, Qt::AlignHCenter};
    QTextBlock block = document->begin();
    for (const Qt::Alignment alignment : expected) {
        QCOMPARE(block.blockFormat().alignment(), alignment);
        block = block.next();
    }
    QCOMPARE(document->begin().next().text(), QStringLiteral("right"));
    QCOMPARE(document->lastBlock().text(), QStringLiteral("mid"));

    QCOMPARE(AttributedString().toTextDocument()->toPlainText(), QString());
    // The frame markers of QTextDocument in the text itself only break paragraphs.
    QCOMPARE(AttributedString(QStringLiteral("a\uFDD0b\uFDD1c")).toTextDocument()->blockCount(), 3);
}

void tst_AttributedString::rendersAsRichTextForLabels()
{
    const QString html = AttributedString(QStringLiteral("a < b & c"), fg(QColor(0x7d, 0xb6, 0xff))).toHtml();
    QVERIFY(html.contains(QStringLiteral("#7db6ff")));
    QTextDocument reread;
    reread.setHtml(html);
    QCOMPARE(reread.toPlainText(), QStringLiteral("a < b & c"));
}

QTEST_MAIN(tst_AttributedString)
#include "tst_AttributedString.moc"
