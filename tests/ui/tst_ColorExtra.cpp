#include "ui/ColorExtra.h"
#include "ui/InvalidColorValue.h"

#include "support/TestSandbox.h"

#include <QTest>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

class tst_ColorExtra : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { m_sandbox = std::make_unique<TestSandbox>(); }
    void readsHexForms_data();
    void readsHexForms();
    void rejectsOtherLengthsWithTheExactReason_data();
    void rejectsOtherLengthsWithTheExactReason();
    void cacheIsKeyedByTheExactString();
    void cacheIsSharedAcrossThreads();
    void componentsReadLikeAScanner();
    void namedColors();
    void grayTextureTilesTheSiteImage();

private:
    std::unique_ptr<TestSandbox> m_sandbox;
};

void tst_ColorExtra::readsHexForms_data()
{
    QTest::addColumn<QString>("hex");
    QTest::addColumn<QColor>("color");
    QTest::newRow("#fff") << "#fff" << QColor(255, 255, 255);
    QTest::newRow("fff") << "fff" << QColor(255, 255, 255);
    QTest::newRow("FFF") << "FFF" << QColor(255, 255, 255);
    QTest::newRow("#F0F is magenta (red, green, blue)") << "#F0F" << QColor(255, 0, 255);
    QTest::newRow("ARGB") << "#8F00" << QColor(255, 0, 0, 0x88);
    QTest::newRow("RRGGBB") << "4a4a4a" << QColor(0x4a, 0x4a, 0x4a);
    QTest::newRow("AARRGGBB") << "80FF0000" << QColor(255, 0, 0, 128);
    QTest::newRow("every # dropped") << "#12#34#56#" << QColor(0x12, 0x34, 0x56);
    QTest::newRow("non-hex digit ends a component") << "1G2H3Z" << QColor(1, 2, 3);
    QTest::newRow("no hex digit at all reads 0") << "zzzzzz" << QColor(0, 0, 0);
}

void tst_ColorExtra::readsHexForms()
{
    QFETCH(QString, hex);
    QFETCH(QColor, color);
    QCOMPARE(ColorExtra::colorWithHexStringNotCacheable(hex), color);
    QCOMPARE(ColorExtra::colorWithHexString(hex), color);
}

void tst_ColorExtra::rejectsOtherLengthsWithTheExactReason_data()
{
    QTest::addColumn<QString>("hex");
    QTest::newRow("five digits") << "#12345";
    QTest::newRow("empty") << "";
    QTest::newRow("only #") << "###";
    QTest::newRow("nine digits") << "123456789";
}

void tst_ColorExtra::rejectsOtherLengthsWithTheExactReason()
{
    QFETCH(QString, hex);
    const QString reason = QStringLiteral("Color value %1 is invalid.  It should be a hex value of the form #RBG, "
                                          "#ARGB, #RRGGBB, or #AARRGGBB")
                               .arg(hex);
    for (int attempt = 0; attempt < 2; ++attempt) { // nothing is cached for a bad string
        const quint64 hits = ColorExtra::hexCacheHits();
        try {
            ColorExtra::colorWithHexString(hex);
            QFAIL("no exception");
        } catch (const InvalidColorValue &error) {
            QCOMPARE(error.name(), QStringLiteral("Invalid color value"));
            QCOMPARE(error.reason(), reason);
            QCOMPARE(QString::fromStdString(error.what()), reason);
        }
        QCOMPARE(ColorExtra::hexCacheHits(), hits);
    }
    QVERIFY_THROWS_EXCEPTION(std::invalid_argument, ColorExtra::colorWithHexStringNotCacheable(hex));
}

void tst_ColorExtra::cacheIsKeyedByTheExactString()
{
    QCOMPARE(ColorExtra::colorWithHexString(QString()), std::nullopt);

    const quint64 start = ColorExtra::hexCacheHits();
    const auto first = ColorExtra::colorWithHexString(QStringLiteral("#0a0b0c"));
    QCOMPARE(ColorExtra::hexCacheHits(), start);
    QCOMPARE(ColorExtra::colorWithHexString(QStringLiteral("#0a0b0c")), first);
    QCOMPARE(ColorExtra::hexCacheHits(), start + 1);
    // Another spelling of the same colour is another entry.
    QCOMPARE(ColorExtra::colorWithHexString(QStringLiteral("#0A0B0C")), first);
    QCOMPARE(ColorExtra::hexCacheHits(), start + 1);
    // The named colours built from hex strings go through the same cache.
    QCOMPARE(ColorExtra::applicationsSeparatorColor(), QColor(0x46, 0x46, 0x46));
    QCOMPARE(ColorExtra::colorWithHexString(QStringLiteral("464646")), QColor(0x46, 0x46, 0x46));
    QCOMPARE(ColorExtra::hexCacheHits(), start + 2);
}

void tst_ColorExtra::cacheIsSharedAcrossThreads()
{
    const QStringList strings{"#111", "#222", "#333333", "80444444"};
    std::vector<std::thread> threads;
    std::atomic<int> mismatches{0};
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&strings, &mismatches] {
            for (int i = 0; i < 2000; ++i) {
                const QString &hex = strings.at(i % strings.size());
                if (ColorExtra::colorWithHexString(hex) != ColorExtra::colorWithHexStringNotCacheable(hex))
                    ++mismatches;
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    QCOMPARE(mismatches.load(), 0);
}

void tst_ColorExtra::componentsReadLikeAScanner()
{
    QCOMPARE(ColorExtra::colorComponentFrom(QStringLiteral("F"), 0, 1), 1.0);
    QCOMPARE(ColorExtra::colorComponentFrom(QStringLiteral("x8"), 1, 1), 0x88 / 255.0);
    QCOMPARE(ColorExtra::colorComponentFrom(QStringLiteral("7G"), 0, 2), 7 / 255.0);
    QCOMPARE(ColorExtra::colorComponentFrom(QStringLiteral(" a"), 0, 2), 10 / 255.0);
    QCOMPARE(ColorExtra::colorComponentFrom(QStringLiteral("GG"), 0, 2), 0.0);
    QCOMPARE(ColorExtra::colorComponentFrom(QStringLiteral("ab"), 5, 2), 0.0);
}

void tst_ColorExtra::namedColors()
{
    QCOMPARE(ColorExtra::currentColorSpace(), QColorSpace(QColorSpace::SRgb));
    QCOMPARE(ColorExtra::properColorWithRed(85 / 255.0f, 85 / 255.0f, 85 / 255.0f, 1.0f), QColor(85, 85, 85));
    QCOMPARE(ColorExtra::welcomeTextColor(), QColor(0x4C, 0x4E, 0x54));
    QCOMPARE(ColorExtra::toolbarTitleTextColor(), QColor(0x81, 0x87, 0x95));
    QCOMPARE(ColorExtra::appsListTableHeaderTopSeparatorColor(), QColor(133, 133, 133));
    QCOMPARE(ColorExtra::dependenciesBackgroundColor(), QColor(255, 255, 255, 0));
    QCOMPARE(ColorExtra::appsListSelectedCellBordersColor().alpha(), 0);
    QCOMPARE(ColorExtra::appInfoBarTopSeparatorColor(), ColorExtra::appsListCellSeparatorColor());
    QCOMPARE(ColorExtra::appInfoBarBackgroundColor(), ColorExtra::commonTableviewBackgroundColor());
    QCOMPARE(ColorExtra::appInfoBarBottomSeparatorColor(), std::nullopt);
}

void tst_ColorExtra::grayTextureTilesTheSiteImage()
{
    const QBrush texture = ColorExtra::grayTextureColor();
    QCOMPARE(texture.style(), Qt::TexturePattern);
    QVERIFY(!texture.textureImage().isNull());
    QCOMPARE(texture.textureImage().size(), QSize(48, 48));
    QCOMPARE(ColorExtra::appsListGroupColor().textureImage(), texture.textureImage());
}

QTEST_GUILESS_MAIN(tst_ColorExtra)
#include "tst_ColorExtra.moc"
