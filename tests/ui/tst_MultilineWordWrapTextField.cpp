#include "ui/MultilineWordWrapTextField.h"

#include "support/TestSandbox.h"

#include <QApplication>
#include <QTest>

using Field = MultilineWordWrapTextField;

namespace {

// Counts the intrinsic-size invalidations the field asks for.
class CountingField : public Field
{
public:
    int invalidations = 0;

protected:
    void invalidateIntrinsicContentSize() override
    {
        ++invalidations;
        Field::invalidateIntrinsicContentSize();
    }
};

const QString kText = "Tarnwick found 12 MB of leftovers from Foo and 2 other apps.";

QSize plainLabelHint()
{
    QLabel plain(kText);
    plain.setWordWrap(true);
    return plain.sizeHint();
}

} // namespace

class tst_MultilineWordWrapTextField : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { m_sandbox.emplace(); }
    void cleanup() { Field::setIsOldSystem(nullptr); }

    void currentSystemsGetThePlainField()
    {
        QVERIFY(!Field::isOldSystem()); // every version flag is true here
        CountingField field;
        field.awakeFromNib();
        show(field, kText);
        QVERIFY(!field.widthConstraint() && !field.myPreferredMaxLayoutWidth());
        QCOMPARE(field.invalidations, 0);
        QCOMPARE(field.minimumWidth(), 0);
        QCOMPARE(field.sizeHint(), plainLabelHint());
        QVERIFY(field.wordWrap());
    }

    void oldSystemWrapsAtTheFrameWidthAndInvalidatesOnlyOnRealChanges()
    {
        Field::setIsOldSystem([] { return true; });
        CountingField field;
        field.setStringValue(kText);
        QCOMPARE(field.sizeHint(), plainLabelHint()); // before any layout
        show(field, kText);
        QCOMPARE(field.myPreferredMaxLayoutWidth(), 120);
        const QSize narrow = field.sizeHint();
        QCOMPARE(narrow, field.cellSizeForWidth(120));
        QVERIFY(narrow.width() <= 120);

        field.invalidations = 0;
        field.resize(600, 60);
        field.resize(600, 60);
        QCOMPARE(field.invalidations, 1);
        QCOMPARE(field.myPreferredMaxLayoutWidth(), 600);
        QVERIFY(field.sizeHint().height() < narrow.height());
        // The layout pass that follows finds the width already taken: nothing more.
        QCoreApplication::sendPostedEvents(&field, QEvent::LayoutRequest);
        QCOMPARE(field.invalidations, 1);
        // A layout pass at a width the field has not seen takes it and invalidates.
        field.setGeometry(field.x(), field.y(), 600, 61);
        QCOMPARE(field.invalidations, 2);
        field.performLayout();
        QCOMPARE(field.invalidations, 2);
    }

    void oldSystemKeepsTheWidthConstraintInStep()
    {
        Field::setIsOldSystem([] { return true; });
        Field made; // fields made in code have no constraint
        made.setStringValue(kText);
        made.setAttributedStringValue(AttributedString(kText));
        QVERIFY(!made.widthConstraint());
        QCOMPARE(made.minimumWidth(), 0);

        Field field;
        field.setContentCompressionResistancePriority(500, Qt::Horizontal);
        field.awakeFromNib();
        QCOMPARE(field.widthConstraint()->constant, 100.0);
        QCOMPARE(field.widthConstraint()->priority, 500.0f);
        QCOMPARE(field.minimumWidth(), 100);
        // Only the horizontal resistance reaches the constraint.
        field.setContentCompressionResistancePriority(250, Qt::Vertical);
        QCOMPARE(field.widthConstraint()->priority, 500.0f);
        QCOMPARE(field.contentCompressionResistancePriority(Qt::Vertical), 250.0f);
        field.setContentCompressionResistancePriority(1000, Qt::Horizontal);
        QCOMPARE(field.widthConstraint()->priority, 1000.0f);

        field.setStringValue("Short");
        const qreal shortWidth = field.widthConstraint()->constant;
        QCOMPARE(shortWidth, field.textSizeForWidth(-1).width() + 4.0);
        QCOMPARE(field.minimumWidth(), qCeil(shortWidth));
        field.setStringValue(kText);
        QVERIFY(field.widthConstraint()->constant > shortWidth);
        const qreal before = field.widthConstraint()->constant;
        QFont bigger = field.font();
        bigger.setPointSizeF(bigger.pointSizeF() * 2);
        field.setFont(bigger);
        QVERIFY(field.widthConstraint()->constant > before);
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
        QCOMPARE(field.stringValue(), QString("x & y"));
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
    static void show(Field &field, const QString &text)
    {
        field.setStringValue(text);
        field.resize(120, 40);
        field.show();
        QVERIFY(QTest::qWaitForWindowExposed(&field));
        QCoreApplication::sendPostedEvents(&field, QEvent::LayoutRequest);
    }

    std::optional<TestSandbox> m_sandbox;
};

QTEST_MAIN(tst_MultilineWordWrapTextField)
#include "tst_MultilineWordWrapTextField.moc"
