#include "ui/FontsFactory.h"

#include "support/TestSandbox.h"

#include <QFontDatabase>
#include <QTest>

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
    void initTestCase() { m_sandbox.emplace(); }

    void postScriptNamesMapToFamilyAndStyle()
    {
        QCOMPARE(FontsFactory::typefaceForPostScriptName("HelveticaNeue-Medium"), (Typeface{"Helvetica Neue", "Medium"}));
        QCOMPARE(FontsFactory::typefaceForPostScriptName("LucidaGrande"), (Typeface{"Lucida Grande", "Regular"}));
        QCOMPARE(FontsFactory::typefaceForPostScriptName("OpenSans-Semibold"), (Typeface{"Open Sans", "Semibold"}));
        QCOMPARE(FontsFactory::typefaceForPostScriptName("Helvetica"), (Typeface{"Helvetica", "Regular"}));
        QCOMPARE(FontsFactory::postScriptName(FontsFactory::HelveticaNeueLight), QString("HelveticaNeue-Light"));
        QCOMPARE(FontsFactory::postScriptName(FontsFactory::SystemFont), QString());
    }

    void availableTypefacesAreUsedAtTheSize()
    {
        FakeFonts fonts({{"Helvetica Neue", "Medium"}, {"Helvetica Neue", "Regular"}, {"Helvetica", "Bold"}});
        const QFont medium = FontsFactory::fontWithName(FontsFactory::HelveticaNeueMedium, 13);
        QCOMPARE(medium.family() + ' ' + medium.styleName() + ' ' + QString::number(medium.pointSizeF()),
                 QString("Helvetica Neue Medium 13"));
        QCOMPARE(fonts.asked, (QList<Typeface>{{"Helvetica Neue", "Medium"}}));
        const QFont regular = FontsFactory::fontWithName(FontsFactory::HelveticaNeue, 13);
        QCOMPARE(regular.family() + '|' + regular.styleName(), QString("Helvetica Neue|"));
        // No Open Sans: the semibold face becomes Helvetica Bold at the same size.
        const QFont semibold = FontsFactory::fontWithName(FontsFactory::OpenSansSemibold, 14);
        QCOMPARE(semibold.family() + ' ' + semibold.styleName() + ' ' + QString::number(semibold.pointSizeF()),
                 QString("Helvetica Bold 14"));
        // No light face, but the regular one of the same family.
        QCOMPARE(FontsFactory::fontWithName(FontsFactory::HelveticaNeueLight, 11).family(), QString("Helvetica Neue"));
    }

    void everyKindEndsInASystemFont()
    {
        const Typeface helvetica{"Helvetica", "Regular"}, helveticaBold{"Helvetica", "Bold"};
        const std::tuple<int, bool, QList<Typeface>> cases[] = {
            {FontsFactory::LucidaGrande, false, {{"Lucida Grande", "Regular"}, helvetica}},
            {FontsFactory::OpenSans, false, {{"Open Sans", "Regular"}, helvetica}},
            {FontsFactory::OpenSansBold, true, {{"Open Sans", "Bold"}, helveticaBold}},
            {FontsFactory::OpenSansSemibold, true, {{"Open Sans", "Semibold"}, helveticaBold}},
            {FontsFactory::Helvetica, false, {helvetica}},
            {FontsFactory::HelveticaBold, true, {helveticaBold}},
            {FontsFactory::HelveticaNeue, false, {{"Helvetica Neue", "Regular"}, helvetica}},
            {FontsFactory::HelveticaNeueBold, true, {{"Helvetica Neue", "Bold"}, helveticaBold}},
            {FontsFactory::HelveticaNeueMedium, true, {{"Helvetica Neue", "Medium"}, helveticaBold}},
            {FontsFactory::HelveticaNeueLight, false, {{"Helvetica Neue", "Light"}, {"Helvetica Neue", "Regular"}, helvetica}},
            {FontsFactory::SystemFont, false, {}},
            {FontsFactory::BoldSystemFont, true, {}},
        };
        for (const auto &[kind, bold, tried] : cases) {
            FakeFonts nothing({});
            QCOMPARE(FontsFactory::fontWithName(kind, 12), system(12, bold));
            QCOMPARE(nothing.asked, tried);
        }
        // No size means the system's usual one, as the platform's font calls read 0.
        QCOMPARE(FontsFactory::fontWithName(FontsFactory::SystemFont, 0).pointSizeF(),
                 QFontDatabase::systemFont(QFontDatabase::GeneralFont).pointSizeF());
        // Only twelve kinds; the real font database always answers.
        QVERIFY(!FontsFactory::isValidKind(12) && !FontsFactory::isValidKind(-1));
        for (int kind = 0; kind < 12; ++kind)
            QVERIFY(FontsFactory::isValidKind(kind) && FontsFactory::fontWithName(kind, 13).pointSizeF() == 13.0);
    }

private:
    std::optional<TestSandbox> m_sandbox;
};

QTEST_MAIN(tst_FontsFactory)
#include "tst_FontsFactory.moc"
