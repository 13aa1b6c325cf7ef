#include "ui/FontsFactory.h"

#include "support/TestSandbox.h"

#include <QFontDatabase>
#include <QTest>

#include <memory>

using Typeface = FontsFactory::Typeface;

namespace {

// A font database holding exactly the given typefaces, recording what is asked.
struct FakeFonts
{
    explicit FakeFonts(QList<Typeface> installed)
        : installed(std::move(installed))
    {
        FontsFactory::setAvailability([this](const Typeface &typeface) {
            asked.append(typeface);
            return this->installed.contains(typeface);
        });
    }
    ~FakeFonts() { FontsFactory::setAvailability(nullptr); }

    QList<Typeface> installed;
    QList<Typeface> asked;
};

Typeface face(const char *family, const char *style)
{
    return {QString::fromLatin1(family), QString::fromLatin1(style)};
}

QFont system(double size, bool bold)
{
    QFont font = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
    font.setPointSizeF(size);
    if (bold)
        font.setWeight(QFont::Bold);
    return font;
}

} // namespace

class tst_FontsFactory : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { m_sandbox = std::make_unique<TestSandbox>(); }
    void postScriptNamesMapToFamilyAndStyle();
    void availableTypefaceIsUsedAtTheSize();
    void fallbacksFollowTheChains();
    void everyKindEndsInASystemFont_data();
    void everyKindEndsInASystemFont();
    void systemKindsNeverFail();
    void onlyTwelveKinds();
    void realDatabaseAlwaysAnswers();

private:
    std::unique_ptr<TestSandbox> m_sandbox;
};

void tst_FontsFactory::postScriptNamesMapToFamilyAndStyle()
{
    QCOMPARE(FontsFactory::typefaceForPostScriptName("HelveticaNeue-Medium"), face("Helvetica Neue", "Medium"));
    QCOMPARE(FontsFactory::typefaceForPostScriptName("LucidaGrande"), face("Lucida Grande", "Regular"));
    QCOMPARE(FontsFactory::typefaceForPostScriptName("OpenSans-Semibold"), face("Open Sans", "Semibold"));
    QCOMPARE(FontsFactory::typefaceForPostScriptName("Helvetica"), face("Helvetica", "Regular"));
    QCOMPARE(FontsFactory::postScriptName(FontsFactory::HelveticaNeueLight), QStringLiteral("HelveticaNeue-Light"));
    QCOMPARE(FontsFactory::postScriptName(FontsFactory::SystemFont), QString());
}

void tst_FontsFactory::availableTypefaceIsUsedAtTheSize()
{
    FakeFonts fonts({face("Helvetica Neue", "Medium"), face("Helvetica Neue", "Regular")});
    const QFont medium = FontsFactory::fontWithName(FontsFactory::HelveticaNeueMedium, 13);
    QCOMPARE(medium.family(), QStringLiteral("Helvetica Neue"));
    QCOMPARE(medium.styleName(), QStringLiteral("Medium"));
    QCOMPARE(medium.pointSizeF(), 13.0);
    QCOMPARE(fonts.asked, QList<Typeface>{face("Helvetica Neue", "Medium")});

    const QFont regular = FontsFactory::fontWithName(FontsFactory::HelveticaNeue, 13);
    QCOMPARE(regular.family(), QStringLiteral("Helvetica Neue"));
    QCOMPARE(regular.styleName(), QString());
}

void tst_FontsFactory::fallbacksFollowTheChains()
{
    FakeFonts fonts({face("Helvetica", "Bold"), face("Helvetica Neue", "Regular")});
    // No Open Sans: the semibold face becomes Helvetica Bold at the same size.
    const QFont semibold = FontsFactory::fontWithName(FontsFactory::OpenSansSemibold, 14);
    QCOMPARE(semibold.family(), QStringLiteral("Helvetica"));
    QCOMPARE(semibold.styleName(), QStringLiteral("Bold"));
    QCOMPARE(semibold.pointSizeF(), 14.0);

    // No light face, but the regular one of the same family.
    fonts.asked.clear();
    const QFont light = FontsFactory::fontWithName(FontsFactory::HelveticaNeueLight, 11);
    QCOMPARE(light.family(), QStringLiteral("Helvetica Neue"));
    QCOMPARE(light.pointSizeF(), 11.0);
    QCOMPARE(fonts.asked, (QList<Typeface>{face("Helvetica Neue", "Light"), face("Helvetica Neue", "Regular")}));
}

void tst_FontsFactory::everyKindEndsInASystemFont_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<bool>("bold");
    QTest::addColumn<QList<Typeface>>("tried");
    const Typeface helvetica = face("Helvetica", "Regular");
    const Typeface helveticaBold = face("Helvetica", "Bold");
    QTest::newRow("LucidaGrande") << 0 << false << QList<Typeface>{face("Lucida Grande", "Regular"), helvetica};
    QTest::newRow("OpenSans") << 1 << false << QList<Typeface>{face("Open Sans", "Regular"), helvetica};
    QTest::newRow("OpenSans-Bold") << 2 << true << QList<Typeface>{face("Open Sans", "Bold"), helveticaBold};
    QTest::newRow("OpenSans-Semibold") << 3 << true << QList<Typeface>{face("Open Sans", "Semibold"), helveticaBold};
    QTest::newRow("Helvetica") << 4 << false << QList<Typeface>{helvetica};
    QTest::newRow("Helvetica-Bold") << 5 << true << QList<Typeface>{helveticaBold};
    QTest::newRow("HelveticaNeue") << 6 << false << QList<Typeface>{face("Helvetica Neue", "Regular"), helvetica};
    QTest::newRow("HelveticaNeue-Bold") << 7 << true << QList<Typeface>{face("Helvetica Neue", "Bold"), helveticaBold};
    QTest::newRow("HelveticaNeue-Medium")
        << 8 << true << QList<Typeface>{face("Helvetica Neue", "Medium"), helveticaBold};
    QTest::newRow("HelveticaNeue-Light")
        << 9 << false
        << QList<Typeface>{face("Helvetica Neue", "Light"), face("Helvetica Neue", "Regular"), helvetica};
}

void tst_FontsFactory::everyKindEndsInASystemFont()
{
    QFETCH(int, kind);
    QFETCH(bool, bold);
    QFETCH(QList<Typeface>, tried);
    FakeFonts nothing({});
    QCOMPARE(FontsFactory::fontWithName(kind, 12), system(12, bold));
    QCOMPARE(nothing.asked, tried);
}

void tst_FontsFactory::systemKindsNeverFail()
{
    FakeFonts nothing({});
    QCOMPARE(FontsFactory::fontWithName(FontsFactory::SystemFont, 12), system(12, false));
    QCOMPARE(FontsFactory::fontWithName(FontsFactory::BoldSystemFont, 12), system(12, true));
    QVERIFY(nothing.asked.isEmpty());
    // No size means the system's usual one, as the platform's font calls read 0.
    QCOMPARE(FontsFactory::fontWithName(FontsFactory::SystemFont, 0).pointSizeF(),
             QFontDatabase::systemFont(QFontDatabase::GeneralFont).pointSizeF());
}

void tst_FontsFactory::onlyTwelveKinds()
{
    for (int kind = 0; kind < 12; ++kind)
        QVERIFY(FontsFactory::isValidKind(kind));
    QVERIFY(!FontsFactory::isValidKind(12));
    QVERIFY(!FontsFactory::isValidKind(-1));
}

void tst_FontsFactory::realDatabaseAlwaysAnswers()
{
    for (int kind = 0; kind < 12; ++kind)
        QCOMPARE(FontsFactory::fontWithName(kind, 13).pointSizeF(), 13.0);
}

QTEST_MAIN(tst_FontsFactory)
#include "tst_FontsFactory.moc"
