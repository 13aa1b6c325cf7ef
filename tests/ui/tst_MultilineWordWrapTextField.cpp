#include "ui/AttributedStringBuilder.h"
#include "ui/MultilineWordWrapTextField.h"

#include "support/TestSandbox.h"

#include <QTest>
#include <QTextDocument>

using namespace Qt::StringLiterals;
using Field = MultilineWordWrapTextField;

namespace {

// The field's text as drawn at its width, laid out with breaks between words only, and
// the width of its widest line.
std::pair<QString, qreal> shownText(const Field &field)
{
    QTextDocument document;
    document.setDefaultTextOption(QTextOption(Qt::AlignLeft));
    document.setDocumentMargin(0);
    document.setHtml(field.text());
    document.setTextWidth(field.width());
    return {document.toPlainText(), document.idealWidth()};
}

} // namespace

// Every version flag is true here, so the field is a plain word-wrapping label (the
// window tests lay it out); its values, and the words it cuts.
class tst_MultilineWordWrapTextField : public QObject
{
    Q_OBJECT
    TestSandbox m_sandbox; // made before any service reads the user's paths

private Q_SLOTS:

    // Runs without a font follow the field's font, also when it changes later.
    void valuesRoundTrip()
    {
        Field field;
        field.setStringValue("a < b");
        QVERIFY(field.stringValue() == "a < b" && field.attributedStringValue().attributesAt(0).font() == field.font());
        const AttributedString styled("x & y", TextAttributes().setForegroundColor(Qt::red));
        field.setAttributedStringValue(styled);
        QVERIFY(field.attributedStringValue() == styled && field.text().contains("#ff0000"));
        QFont font = field.font();
        font.setPointSize(23);
        field.setFont(font);
        QVERIFY(field.text().contains("23pt"));
        field.setAttributedStringValue(AttributedString());
        QVERIFY(field.stringValue().isEmpty() && field.text().isEmpty());
    }

    // Words wider than the field end in an ellipsis at its edge, measured in the fonts
    // they are drawn in (a word across a bold and a regular run included); what follows
    // a word (spaces, the end of an isolated name) stays. The value keeps the whole
    // words; a wider field shows them.
    void truncatesWordsWiderThanTheField()
    {
        QFont bold(u"DejaVu Sans"_s, 13);
        bold.setStyleName(u"Bold"_s);
        const QList<std::tuple<QString, QString, QString>> cases{
            // text, the bold part, what the shown text holds
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
            QVERIFY2(shownText(field).first.contains(shownPart) && shownText(field).second <= 200, qPrintable(shownText(field).first));
            QCOMPARE(field.stringValue(), text);
            field.show();
            field.resize(4000, 100);
            QCOMPARE(shownText(field).first, text);
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
};

QTEST_MAIN(tst_MultilineWordWrapTextField)
#include "tst_MultilineWordWrapTextField.moc"
