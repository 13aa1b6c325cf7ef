#include "ui/MultilineWordWrapTextField.h"

#include "support/TestSandbox.h"

#include "ui/AttributedStringBuilder.h"

#include <QApplication>
#include <QTest>
#include <QTextDocument>

using namespace Qt::StringLiterals;

using Field = MultilineWordWrapTextField;

// Every version flag is true here, so the old-system path of the field (a preferred
// width taken from its frame, a width constraint following its text) is reached only
// through the test setting; only its constraint is checked.
class tst_MultilineWordWrapTextField : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { m_sandbox.emplace(); }
    void cleanup() { Field::setIsOldSystem(nullptr); }

    void wrapsLikeALabel()
    {
        const QString text = "Tarnwick found 12 MB of leftovers from Foo and 2 other apps.";
        QVERIFY(!Field::isOldSystem());
        Field field;
        field.awakeFromNib();
        field.setStringValue(text);
        field.resize(120, 40);
        field.show();
        QVERIFY(QTest::qWaitForWindowExposed(&field));
        QCoreApplication::sendPostedEvents(&field, QEvent::LayoutRequest);
        QVERIFY(!field.widthConstraint() && !field.myPreferredMaxLayoutWidth() && field.wordWrap());
        QLabel label(text);
        label.setWordWrap(true);
        QCOMPARE(field.sizeHint(), label.sizeHint());
    }

    void oldSystemKeepsTheWidthConstraintInStep()
    {
        Field::setIsOldSystem([] { return true; });
        Field field;
        field.awakeFromNib();
        QCOMPARE(field.widthConstraint()->constant, 100.0);
        field.setStringValue("Short");
        QCOMPARE(field.widthConstraint()->constant, field.textSizeForWidth(-1).width() + 4.0);
        QCOMPARE(field.minimumWidth(), qCeil(field.widthConstraint()->constant));
        QFont bigger = field.font();
        bigger.setPointSizeF(bigger.pointSizeF() * 2);
        field.setAttributedStringValue(AttributedString("Short", TextAttributes().setFont(bigger)));
        QCOMPARE(field.widthConstraint()->constant, field.textSizeForWidth(-1).width() + 4.0);
    }

    void valuesRoundTrip()
    {
        Field field;
        field.setStringValue("a < b");
        QCOMPARE(field.stringValue(), QString("a < b"));
        QCOMPARE(field.textFormat(), Qt::PlainText);
        QCOMPARE(field.attributedStringValue().attributesAt(0).font(), field.font());
        const AttributedString styled("x & y", TextAttributes().setForegroundColor(Qt::red));
        field.setAttributedStringValue(styled);
        QCOMPARE(field.attributedStringValue(), styled);
        QCOMPARE(field.textFormat(), Qt::RichText);
        QVERIFY(field.text().contains("#ff0000"));
        // Runs without a font follow the field's font, also when it changes later.
        for (const int size : {21, 23}) {
            QFont font = field.font();
            font.setPointSize(size);
            field.setFont(font);
            QVERIFY(field.text().contains(QString("%1pt").arg(size)));
        }
        field.setAttributedStringValue(AttributedString());
        QVERIFY(field.stringValue().isEmpty() && field.text().isEmpty());
    }

    // Words wider than the field end in an ellipsis at its edge, measured in the fonts
    // they are drawn in (a word across a bold and a regular run included); what follows
    // a word (spaces, the end of an isolated name) stays. The value keeps the whole
    // words; a wider field shows them.
    void truncatesWordsWiderThanTheField()
    {
        QFont bold = QFont(u"DejaVu Sans"_s, 13);
        bold.setStyleName(u"Bold"_s);
        const QList<std::tuple<QString, QString, QString>> cases{
            // text, the bold part, what the shown text must contain
            {u"Short words wrap at their spaces, never cut"_s, {}, u"Short words wrap at their spaces, never cut"_s},
            {u"\u2068"_s + u"W"_s.repeated(60) + u"\u2069 was moved"_s, {}, u"\u2026\u2069 was moved"_s},
            {u"Bold"_s.repeated(9) + u"Regular"_s.repeated(9) + u" tail"_s, u"Bold"_s.repeated(9), u"\u2026 tail"_s},
        };
        for (const auto &[text, boldPart, shownPart] : cases) {
            Field field;
            field.setTruncatesLongWords(true);
            field.resize(200, 100);
            AttributedStringBuilder builder(text);
            builder.addAttributes(TextAttributes().setFont(bold), {0, boldPart.size()});
            field.setAttributedStringValue(builder.build());
            const auto shown = [&field] { // as drawn, breaking between words only
                QTextDocument document;
                document.setDefaultTextOption(QTextOption(Qt::AlignLeft));
                document.setDocumentMargin(0);
                document.setHtml(field.text());
                document.setTextWidth(field.width());
                return std::pair(document.toPlainText(), document.idealWidth());
            };
            QVERIFY2(shown().first.contains(shownPart) && shown().second <= 200, qPrintable(shown().first));
            QCOMPARE(field.stringValue(), text);
            field.show();
            field.resize(4000, 100);
            QCOMPARE(shown().first, text);
        }
    }

    // A face chosen by its style name keeps its weight and slant in the rich text the
    // field shows, which carries weights, not style names.
    void facesChosenByStyleNameKeepTheirWeight()
    {
        const auto drawn = [](const QFont &font) {
            Field field;
            field.setAttributedStringValue(AttributedString(u"Bold words"_s, TextAttributes().setFont(font)));
            field.resize(200, 40);
            return field.grab().toImage();
        };
        for (const QString &style : {u"Bold"_s, u"Bold Oblique"_s}) {
            QFont byName(u"DejaVu Sans"_s, 13), byWeight(u"DejaVu Sans"_s, 13, QFont::Bold);
            byName.setStyleName(style);
            byWeight.setItalic(style.contains(u"Oblique"_s));
            QCOMPARE(drawn(byName), drawn(byWeight));
        }
    }

private:
    std::optional<TestSandbox> m_sandbox;
};

QTEST_MAIN(tst_MultilineWordWrapTextField)
#include "tst_MultilineWordWrapTextField.moc"
