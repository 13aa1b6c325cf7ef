#include "ui/AttributedString.h"
#include "ui/AttributedStringBuilder.h"

#include "support/TestSandbox.h"

#include <QTest>
#include <QTextBlock>
#include <QTextDocument>

#include <limits>

using Run = AttributedString::Run;

class tst_AttributedString : public QObject
{
    Q_OBJECT
    TestSandbox m_sandbox; // made before any service reads the user's paths

    static TextAttributes fg(const QColor &color) { return TextAttributes().setForegroundColor(color); }

private Q_SLOTS:

    // The edges; layering is checked through the markup (tests/notification).
    void rangesAreClippedAndRunsRepaired()
    {
        QCOMPARE(AttributedStringBuilder(QString(), fg(Qt::red)).build().runs(), QList<Run>());
        constexpr qsizetype huge = std::numeric_limits<qsizetype>::max();
        AttributedStringBuilder clipped("abc");
        clipped.addAttributes(fg(Qt::red), {-2, 3});
        clipped.addAttributes(fg(Qt::blue), {2, huge});
        clipped.addAttributes(fg(Qt::green), {huge, huge});
        clipped.addAttributes(fg(Qt::green), {1, -4});
        QCOMPARE(clipped.build().runs(), (QList<Run>{{{0, 1}, fg(Qt::red)}, {{1, 1}, {}}, {{2, 1}, fg(Qt::blue)}}));

        // Runs handed in by callers are put in order, clipped and made to cover the text.
        const AttributedString repaired("abcd", QList<Run>{{{2, 9}, fg(Qt::red)}, {{0, 3}, fg(Qt::blue)}});
        QCOMPARE(repaired.runs(), (QList<Run>{{{0, 3}, fg(Qt::blue)}, {{3, 1}, fg(Qt::red)}}));
        QCOMPARE(AttributedString("ab", QList<Run>{}).runs(), (QList<Run>{{{0, 2}, {}}}));
        TextRange effective;
        QCOMPARE(repaired.attributesAt(1, &effective), fg(Qt::blue));
        QCOMPARE(effective, (TextRange{0, 3}));
        QCOMPARE(repaired.attributesAt(4, &effective), TextAttributes());
        QVERIFY(effective == TextRange() && repaired.attributesAt(-1) == TextAttributes());
    }

    void rendersCharacterAndParagraphFormats()
    {
        QFont font("DejaVu Sans");
        font.setPointSizeF(13);
        const QUrl link("https://example.org/help");
        const auto linked = fg(Qt::red).setBackgroundColor(Qt::yellow).setLink(link).setCursor(Qt::PointingHandCursor);
        const AttributedString string("plain link", QList<Run>{{{0, 10}, TextAttributes().setFont(font)}, {{6, 4}, linked}});
        const auto document = string.toTextDocument();
        QTextCursor cursor(document.get());
        cursor.setPosition(3);
        QVERIFY(!cursor.charFormat().isAnchor() && !cursor.charFormat().hasProperty(QTextFormat::ForegroundBrush));
        cursor.setPosition(8);
        const QTextCharFormat format = cursor.charFormat();
        QCOMPARE(QList<QVariant>({format.font().family(), format.font().pointSizeF(), format.foreground().color(),
                                  format.background().color(), format.anchorHref(), format.property(AttributedString::kCursorProperty)}),
                 QList<QVariant>({"DejaVu Sans", 13.0, QColor(Qt::red), QColor(Qt::yellow), link.toString(), int(Qt::PointingHandCursor)}));

        // One block per paragraph: "left", "right" (CR LF is one break), "" (aligned by its
        // break), "mid". The frame markers of QTextDocument in the text only break paragraphs.
        const auto aligned = [](Qt::Alignment alignment) { ParagraphStyle s; s.setAlignment(alignment); return TextAttributes().setParagraphStyle(s); };
        AttributedStringBuilder builder("left\nright\r\n\u2029mid", aligned(Qt::AlignLeft));
        builder.addAttributes(aligned(Qt::AlignRight), {5, 8});
        builder.addAttributes(aligned(Qt::AlignHCenter), {13, 3});
        const auto paragraphs = builder.build().toTextDocument();
        QStringList blocks;
        for (QTextBlock block = paragraphs->begin(); block.isValid(); block = block.next())
            blocks << block.text() + ':' + QString::number(int(block.blockFormat().alignment()));
        QCOMPARE(blocks, (QStringList{"left:1", "right:2", ":2", "mid:4"})); // left, right, right, centred
        QCOMPARE(AttributedString().toTextDocument()->toPlainText(), QString());
        QCOMPARE(AttributedString(QString::fromUtf16(u"a\uFDD0b\uFDD1c")).toTextDocument()->blockCount(), 3);
    }
};

QTEST_MAIN(tst_AttributedString)
#include "tst_AttributedString.moc"
