#include "ui/MultilineWordWrapTextField.h"

#include "support/TestSandbox.h"

#include <QApplication>
#include <QTest>

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

private:
    std::optional<TestSandbox> m_sandbox;
};

QTEST_MAIN(tst_MultilineWordWrapTextField)
#include "tst_MultilineWordWrapTextField.moc"
