#include "ui/ColorExtra.h"
#include "ui/InvalidColorValue.h"

#include "support/TestSandbox.h"

#include <QTest>

#include <atomic>
#include <thread>
#include <vector>

class tst_ColorExtra : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { m_sandbox.emplace(); }

    void readsHexForms()
    {
        const std::pair<const char *, QColor> cases[] = {
            {"#fff", QColor(255, 255, 255)}, {"fff", QColor(255, 255, 255)}, {"FFF", QColor(255, 255, 255)},
            {"#F0F", QColor(255, 0, 255)}, // red, green, blue
            {"#8F00", QColor(255, 0, 0, 0x88)}, {"4a4a4a", QColor(0x4a, 0x4a, 0x4a)}, {"80FF0000", QColor(255, 0, 0, 128)},
            {"#12#34#56#", QColor(0x12, 0x34, 0x56)}, // every # dropped
            {"1G2H3Z", QColor(1, 2, 3)},               // a non-hex digit ends a component
            {"zzzzzz", QColor(0, 0, 0)},               // no hex digit at all reads 0
        };
        for (const auto &[hex, color] : cases) {
            QCOMPARE(ColorExtra::colorWithHexStringNotCacheable(hex), color);
            QCOMPARE(ColorExtra::colorWithHexString(hex), color);
        }
        QCOMPARE(ColorExtra::colorComponentFrom("F", 0, 1), 1.0);
        QCOMPARE(ColorExtra::colorComponentFrom("x8", 1, 1), 0x88 / 255.0);
        QCOMPARE(ColorExtra::colorComponentFrom("7G", 0, 2), 7 / 255.0);
        QCOMPARE(ColorExtra::colorComponentFrom(" a", 0, 2), 10 / 255.0);
        QCOMPARE(ColorExtra::colorComponentFrom("GG", 0, 2), 0.0);
        QCOMPARE(ColorExtra::colorComponentFrom("ab", 5, 2), 0.0);
    }

    void rejectsOtherLengthsWithTheExactReason()
    {
        for (const QString hex : {"#12345", "", "###", "123456789"}) {
            const QString reason = "Color value " + hex +
                                   " is invalid.  It should be a hex value of the form #RBG, #ARGB, #RRGGBB, or #AARRGGBB";
            for (int attempt = 0; attempt < 2; ++attempt) { // nothing is cached for a bad string
                const quint64 hits = ColorExtra::hexCacheHits();
                try {
                    ColorExtra::colorWithHexString(hex);
                    QFAIL("no exception");
                } catch (const InvalidColorValue &error) {
                    QCOMPARE(error.name(), QString("Invalid color value"));
                    QCOMPARE(error.reason(), reason);
                    QCOMPARE(QString::fromStdString(error.what()), reason);
                }
                QCOMPARE(ColorExtra::hexCacheHits(), hits);
            }
            QVERIFY_THROWS_EXCEPTION(std::invalid_argument, ColorExtra::colorWithHexStringNotCacheable(hex));
        }
    }

    void cacheIsKeyedByTheExactString()
    {
        QCOMPARE(ColorExtra::colorWithHexString(QString()), std::nullopt);
        const quint64 start = ColorExtra::hexCacheHits();
        const auto first = ColorExtra::colorWithHexString("#0a0b0c");
        QCOMPARE(ColorExtra::hexCacheHits(), start);
        QCOMPARE(ColorExtra::colorWithHexString("#0a0b0c"), first);
        QCOMPARE(ColorExtra::hexCacheHits(), start + 1);
        // Another spelling of the same colour is another entry.
        QCOMPARE(ColorExtra::colorWithHexString("#0A0B0C"), first);
        QCOMPARE(ColorExtra::hexCacheHits(), start + 1);
        // The named colours built from hex strings go through the same cache.
        QCOMPARE(ColorExtra::applicationsSeparatorColor(), QColor(0x46, 0x46, 0x46));
        QCOMPARE(ColorExtra::colorWithHexString("464646"), QColor(0x46, 0x46, 0x46));
        QCOMPARE(ColorExtra::hexCacheHits(), start + 2);
    }

    void cacheIsSharedAcrossThreads()
    {
        const QStringList strings{"#111", "#222", "#333333", "80444444"};
        std::atomic<int> mismatches{0};
        std::vector<std::thread> threads;
        for (int t = 0; t < 4; ++t) {
            threads.emplace_back([&strings, &mismatches] {
                for (int i = 0; i < 2000; ++i) {
                    const QString &hex = strings.at(i % strings.size());
                    mismatches += ColorExtra::colorWithHexString(hex) != ColorExtra::colorWithHexStringNotCacheable(hex);
                }
            });
        }
        for (std::thread &thread : threads)
            thread.join();
        QCOMPARE(mismatches.load(), 0);
    }

    void namedColorsAndTextures()
    {
        QCOMPARE(ColorExtra::properColorWithRed(85 / 255.0f, 85 / 255.0f, 85 / 255.0f, 1.0f), QColor(85, 85, 85));
        QCOMPARE(ColorExtra::appsListSelectedCellBordersColor().alpha(), 0);
        QCOMPARE(ColorExtra::appInfoBarTopSeparatorColor(), ColorExtra::appsListCellSeparatorColor());
        QCOMPARE(ColorExtra::appInfoBarBackgroundColor(), ColorExtra::commonTableviewBackgroundColor());
        QCOMPARE(ColorExtra::appInfoBarBottomSeparatorColor(), std::nullopt);
        const QBrush texture = ColorExtra::grayTextureColor();
        QCOMPARE(texture.style(), Qt::TexturePattern);
        QCOMPARE(texture.textureImage().size(), QSize(48, 48));
        QCOMPARE(ColorExtra::appsListGroupColor().textureImage(), texture.textureImage());
    }

private:
    std::optional<TestSandbox> m_sandbox;
};

QTEST_GUILESS_MAIN(tst_ColorExtra)
#include "tst_ColorExtra.moc"
