#include "ui/FontsFactory.h"

#include "support/TestSandbox.h"

#include <QFontDatabase>
#include <QTest>

using Typeface = FontsFactory::Typeface;

class tst_FontsFactory : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { m_sandbox.emplace(); }
    void cleanup() { FontsFactory::setAvailability(nullptr); }

    void availableTypefacesAreUsedAtTheSize()
    {
        install({{"Helvetica Neue", "Medium"}, {"Helvetica Neue", "Regular"}, {"Helvetica", "Bold"}});
        const QFont medium = FontsFactory::fontWithName(FontsFactory::HelveticaNeueMedium, 13);
        QCOMPARE(medium.family() + ' ' + medium.styleName() + ' ' + QString::number(medium.pointSizeF()),
                 QString("Helvetica Neue Medium 13"));
        QCOMPARE(m_asked, (QList<Typeface>{{"Helvetica Neue", "Medium"}}));
        const QFont regular = FontsFactory::fontWithName(FontsFactory::HelveticaNeue, 13);
        QCOMPARE(regular.family() + '|' + regular.styleName(), QString("Helvetica Neue|"));
        // No Open Sans: the semibold face becomes Helvetica Bold at the same size.
        const QFont semibold = FontsFactory::fontWithName(FontsFactory::OpenSansSemibold, 14);
        QCOMPARE(semibold.family() + ' ' + semibold.styleName() + ' ' + QString::number(semibold.pointSizeF()),
                 QString("Helvetica Bold 14"));
        // No light face, but the regular one of the same family.
        QCOMPARE(FontsFactory::fontWithName(FontsFactory::HelveticaNeueLight, 11).family(), QString("Helvetica Neue"));
    }

    // With nothing installed, a kind tries its chain (the typefaces its PostScript names
    // stand for) and ends in the system font, bold for the bold kinds. One kind of each
    // shape of chain, and the two the notification uses.
    void everyKindEndsInASystemFont()
    {
        const Typeface helvetica{"Helvetica", "Regular"}, helveticaBold{"Helvetica", "Bold"};
        const std::tuple<int, bool, QList<Typeface>> cases[] = {
            {FontsFactory::LucidaGrande, false, {{"Lucida Grande", "Regular"}, helvetica}},
            {FontsFactory::OpenSansBold, true, {{"Open Sans", "Bold"}, helveticaBold}},
            {FontsFactory::Helvetica, false, {helvetica}},
            {FontsFactory::HelveticaNeue, false, {{"Helvetica Neue", "Regular"}, helvetica}},
            {FontsFactory::HelveticaNeueMedium, true, {{"Helvetica Neue", "Medium"}, helveticaBold}},
            {FontsFactory::HelveticaNeueLight, false, {{"Helvetica Neue", "Light"}, {"Helvetica Neue", "Regular"}, helvetica}},
            {FontsFactory::SystemFont, false, {}},
            {FontsFactory::BoldSystemFont, true, {}},
        };
        for (const auto &[kind, bold, tried] : cases) {
            install({});
            QFont system = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
            system.setPointSizeF(12);
            system.setWeight(bold ? QFont::Bold : system.weight());
            QCOMPARE(FontsFactory::fontWithName(kind, 12), system);
            QCOMPARE(m_asked, tried);
        }
        // No size means the system's usual one, as the platform's font calls read 0.
        QCOMPARE(FontsFactory::fontWithName(FontsFactory::SystemFont, 0).pointSizeF(),
                 QFontDatabase::systemFont(QFontDatabase::GeneralFont).pointSizeF());
        // Only twelve kinds; the real font database always answers.
        cleanup();
        QVERIFY(!FontsFactory::isValidKind(12) && !FontsFactory::isValidKind(-1));
        for (int kind = 0; kind < 12; ++kind)
            QVERIFY(FontsFactory::isValidKind(kind) && FontsFactory::fontWithName(kind, 13).pointSizeF() == 13.0);
    }

private:
    // A font database holding exactly the given typefaces, recording what is asked.
    void install(const QList<Typeface> &installed)
    {
        m_asked.clear();
        FontsFactory::setAvailability([this, installed](const Typeface &typeface) {
            m_asked.append(typeface);
            return installed.contains(typeface);
        });
    }

    QList<Typeface> m_asked;
    std::optional<TestSandbox> m_sandbox;
};

QTEST_MAIN(tst_FontsFactory)
#include "tst_FontsFactory.moc"
