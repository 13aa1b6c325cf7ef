#include "ui/FontsFactory.h"

#include "support/TestSandbox.h"

#include <QFontDatabase>
#include <QTest>

using Typeface = FontsFactory::Typeface;

class tst_FontsFactory : public QObject
{
    Q_OBJECT
private Q_SLOTS:
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
    }

    // With nothing installed, every kind ends in the system font, bold for the bold kinds;
    // no size means the system's usual one. The real font database always answers.
    void everyKindEndsInASystemFont()
    {
        install({});
        const QList<int> boldKinds{FontsFactory::OpenSansBold, FontsFactory::OpenSansSemibold, FontsFactory::HelveticaBold,
                                   FontsFactory::HelveticaNeueBold, FontsFactory::HelveticaNeueMedium, FontsFactory::BoldSystemFont};
        for (int kind = FontsFactory::LucidaGrande; kind <= FontsFactory::BoldSystemFont; ++kind) {
            QFont system = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
            system.setPointSizeF(12);
            system.setWeight(boldKinds.contains(kind) ? QFont::Bold : system.weight());
            QCOMPARE(FontsFactory::fontWithName(kind, 12), system);
        }
        QCOMPARE(FontsFactory::fontWithName(FontsFactory::SystemFont, 0).pointSizeF(),
                 QFontDatabase::systemFont(QFontDatabase::GeneralFont).pointSizeF());
        cleanup();
        for (int kind = FontsFactory::LucidaGrande; kind <= FontsFactory::BoldSystemFont; ++kind)
            QCOMPARE(FontsFactory::fontWithName(kind, 13).pointSizeF(), 13.0);
    }

private:
    // A font database holding exactly the given typefaces.
    static void install(const QList<Typeface> &installed) { FontsFactory::setAvailability([installed](const Typeface &t) { return installed.contains(t); }); }

    TestSandbox m_sandbox; // made before any service reads the user's paths
};

QTEST_MAIN(tst_FontsFactory)
#include "tst_FontsFactory.moc"
