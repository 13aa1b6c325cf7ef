#include "ui/MultilineWordWrapTextField.h"

#include "support/TestSandbox.h"

#include <QApplication>
#include <QTest>

#include <memory>

namespace {

// Counts the intrinsic-size invalidations the field asks for.
class CountingField : public MultilineWordWrapTextField
{
public:
    int invalidations = 0;

protected:
    void invalidateIntrinsicContentSize() override
    {
        ++invalidations;
        MultilineWordWrapTextField::invalidateIntrinsicContentSize();
    }
};

const QString kText = QStringLiteral("Tarnwick found 12 MB of leftovers from Foo and 2 other apps.");

} // namespace

class tst_MultilineWordWrapTextField : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { m_sandbox = std::make_unique<TestSandbox>(); }
    void cleanup() { MultilineWordWrapTextField::setIsOldSystem(nullptr); }
    void currentSystemsGetThePlainField();
    void oldSystemWrapsAtTheFrameWidth();
    void oldSystemInvalidatesOnlyOnRealChanges();
    void oldSystemKeepsTheWidthConstraintInStep();
    void fieldsMadeInCodeHaveNoConstraint();
    void onlyHorizontalResistanceReachesTheConstraint();
    void valuesRoundTrip();

private:
    void useOldSystem(bool old)
    {
        MultilineWordWrapTextField::setIsOldSystem([old] { return old; });
    }

    std::unique_ptr<TestSandbox> m_sandbox;
};

void tst_MultilineWordWrapTextField::currentSystemsGetThePlainField()
{
    QVERIFY(!MultilineWordWrapTextField::isOldSystem()); // every version flag is true here
    CountingField field;
    field.awakeFromNib();
    field.setStringValue(kText);
    field.resize(120, 40);
    field.show();
    QVERIFY(QTest::qWaitForWindowExposed(&field));
    QCoreApplication::sendPostedEvents(&field, QEvent::LayoutRequest);

    QLabel plain;
    plain.setWordWrap(true);
    plain.setText(kText);
    QVERIFY(!field.widthConstraint());
    QVERIFY(!field.myPreferredMaxLayoutWidth());
    QCOMPARE(field.invalidations, 0);
    QCOMPARE(field.minimumWidth(), 0);
    QCOMPARE(field.sizeHint(), plain.sizeHint());
    QVERIFY(field.wordWrap());
}

void tst_MultilineWordWrapTextField::oldSystemWrapsAtTheFrameWidth()
{
    useOldSystem(true);
    CountingField field;
    field.setStringValue(kText);
    QLabel plain;
    plain.setWordWrap(true);
    plain.setText(kText);
    QCOMPARE(field.sizeHint(), plain.sizeHint()); // before any layout

    field.resize(120, 40);
    field.show();
    QVERIFY(QTest::qWaitForWindowExposed(&field));
    QCOMPARE(field.myPreferredMaxLayoutWidth(), 120);
    const QSize narrow = field.sizeHint();
    QCOMPARE(narrow, field.cellSizeForWidth(120));
    QVERIFY(narrow.width() <= 120);

    field.resize(600, 40);
    QCOMPARE(field.myPreferredMaxLayoutWidth(), 600);
    QVERIFY(field.sizeHint().height() < narrow.height());
}

void tst_MultilineWordWrapTextField::oldSystemInvalidatesOnlyOnRealChanges()
{
    useOldSystem(true);
    CountingField field;
    field.setStringValue(kText);
    field.show();
    QVERIFY(QTest::qWaitForWindowExposed(&field));
    QCoreApplication::sendPostedEvents(&field, QEvent::LayoutRequest);
    field.invalidations = 0;

    field.resize(200, 60);
    field.resize(200, 60);
    QCOMPARE(field.invalidations, 1);
    // The layout pass that follows finds the width already taken: nothing more.
    QCoreApplication::sendPostedEvents(&field, QEvent::LayoutRequest);
    QCOMPARE(field.invalidations, 1);

    // A layout pass at a width the field has not seen takes it and invalidates.
    field.setGeometry(field.x(), field.y(), 200, 61);
    QCOMPARE(field.invalidations, 2);
    field.performLayout();
    QCOMPARE(field.invalidations, 2);
}

void tst_MultilineWordWrapTextField::oldSystemKeepsTheWidthConstraintInStep()
{
    useOldSystem(true);
    MultilineWordWrapTextField field;
    field.awakeFromNib();
    QVERIFY(field.widthConstraint());
    QCOMPARE(field.widthConstraint()->constant, 100.0);
    QCOMPARE(field.widthConstraint()->priority, MultilineWordWrapTextField::kDefaultCompressionResistance);
    QCOMPARE(field.minimumWidth(), 100);

    field.setStringValue(QStringLiteral("Short"));
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

    field.setAttributedStringValue(AttributedString(QStringLiteral("Short"), TextAttributes().setFont(bigger)));
    QCOMPARE(field.widthConstraint()->constant, field.textSizeForWidth(-1).width() + 4.0);
}

void tst_MultilineWordWrapTextField::fieldsMadeInCodeHaveNoConstraint()
{
    useOldSystem(true);
    MultilineWordWrapTextField field;
    field.setStringValue(kText);
    field.setAttributedStringValue(AttributedString(kText));
    QVERIFY(!field.widthConstraint());
    QCOMPARE(field.minimumWidth(), 0);
}

void tst_MultilineWordWrapTextField::onlyHorizontalResistanceReachesTheConstraint()
{
    useOldSystem(true);
    MultilineWordWrapTextField field;
    field.setContentCompressionResistancePriority(500, Qt::Horizontal);
    field.awakeFromNib();
    QCOMPARE(field.widthConstraint()->priority, 500.0f);

    field.setContentCompressionResistancePriority(250, Qt::Vertical);
    QCOMPARE(field.widthConstraint()->priority, 500.0f);
    QCOMPARE(field.contentCompressionResistancePriority(Qt::Vertical), 250.0f);

    field.setContentCompressionResistancePriority(1000, Qt::Horizontal);
    QCOMPARE(field.widthConstraint()->priority, 1000.0f);
}

void tst_MultilineWordWrapTextField::valuesRoundTrip()
{
    MultilineWordWrapTextField field;
    field.setStringValue(QStringLiteral("a < b"));
    QCOMPARE(field.stringValue(), QStringLiteral("a < b"));
    QCOMPARE(field.textFormat(), Qt::PlainText);
    QCOMPARE(field.attributedStringValue().attributesAt(0).font(), field.font());

    const AttributedString styled(QStringLiteral("x & y"), TextAttributes().setForegroundColor(Qt::red));
    field.setAttributedStringValue(styled);
    QCOMPARE(field.attributedStringValue(), styled);
    QCOMPARE(field.stringValue(), QStringLiteral("x & y"));
    QCOMPARE(field.textFormat(), Qt::RichText);
    QVERIFY(field.text().contains(QStringLiteral("#ff0000")));

    // Runs without a font follow the field's font, also when it changes later.
    QFont font = field.font();
    font.setPointSize(21);
    field.setFont(font);
    QVERIFY(field.text().contains(QStringLiteral("21pt")));
    font.setPointSize(23);
    field.setFont(font);
    QVERIFY(field.text().contains(QStringLiteral("23pt")));

    field.setAttributedStringValue(AttributedString());
    QCOMPARE(field.stringValue(), QString());
    QVERIFY(field.text().isEmpty());
}

QTEST_MAIN(tst_MultilineWordWrapTextField)
#include "tst_MultilineWordWrapTextField.moc"
