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

    // An installed typeface is used at the size asked for; a missing one falls back along
    // its chain (no Open Sans: Helvetica Bold for the semibold face; no light face: the
    // regular one of its family).
    void availableTypefacesAreUsedAtTheSize()
    {
        install({{"Helvetica Neue", "Medium"}, {"Helvetica Neue", "Regular"}, {"Helvetica", "Bold"}});
        for (const auto &[kind, expected] : {std::pair{int(FontsFactory::HelveticaNeueMedium), "Helvetica Neue|Medium|13"},
                                             {FontsFactory::HelveticaNeue, "Helvetica Neue||13"},
                                             {FontsFactory::OpenSansSemibold, "Helvetica|Bold|13"},
                                             {FontsFactory::HelveticaNeueLight, "Helvetica Neue||13"}}) {
            const QFont font = FontsFactory::fontWithName(kind, 13);
            QCOMPARE(QStringList({font.family(), font.styleName(), QString::number(font.pointSizeF())}).join('|'),
                     QString(expected));
        }
        QCOMPARE(m_asked, (QList<Typeface>{{"Helvetica Neue", "Medium"}, {"Helvetica Neue", "Regular"},
                                           {"Open Sans", "Semibold"}, {"Helvetica", "Bold"},
                                           {"Helvetica Neue", "Light"}, {"Helvetica Neue", "Regular"}}));
    }

    // With nothing installed, a kind tries its chain (the typefaces its PostScript names
    // stand for) and ends in the system font, bold for the bold kinds. One kind of each
    // shape of chain, and the two the notification uses.
    void everyKindEndsInASystemFont()
    {
        const Typeface helvetica{"Helvetica", "Regular"}, bold{"Helvetica", "Bold"}, neue{"Helvetica Neue", "Regular"};
        const std::tuple<int, bool, QList<Typeface>> cases[] = {
            {FontsFactory::LucidaGrande, false, {{"Lucida Grande", "Regular"}, helvetica}},
            {FontsFactory::OpenSansBold, true, {{"Open Sans", "Bold"}, bold}},
            {FontsFactory::Helvetica, false, {helvetica}},
            {FontsFactory::HelveticaNeue, false, {neue, helvetica}},
            {FontsFactory::HelveticaNeueMedium, true, {{"Helvetica Neue", "Medium"}, bold}},
            {FontsFactory::HelveticaNeueLight, false, {{"Helvetica Neue", "Light"}, neue, helvetica}},
            {FontsFactory::SystemFont, false, {}},
            {FontsFactory::BoldSystemFont, true, {}},
        };
        for (const auto &[kind, boldKind, tried] : cases) {
            install({});
            QFont system = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
            system.setPointSizeF(12);
            system.setWeight(boldKind ? QFont::Bold : system.weight());
            QCOMPARE(FontsFactory::fontWithName(kind, 12), system);
            QCOMPARE(m_asked, tried);
        }
        // No size means the system's usual one, as the platform's font calls read 0.
        QCOMPARE(FontsFactory::fontWithName(FontsFactory::SystemFont, 0).pointSizeF(),
                 QFontDatabase::systemFont(QFontDatabase::GeneralFont).pointSizeF());
        // The real font database always answers, for each of the twelve kinds.
        cleanup();
        for (int kind = FontsFactory::LucidaGrande; kind <= FontsFactory::BoldSystemFont; ++kind)
            QCOMPARE(FontsFactory::fontWithName(kind, 13).pointSizeF(), 13.0);
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
