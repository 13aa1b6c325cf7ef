#include "ui/ColorExtra.h"
#include "ui/GrayTextButton.h"
#include "ui/InvalidColorValue.h"

#include "support/TestSandbox.h"

#include <QTest>

#include <atomic>
#include <thread>
#include <vector>

namespace {

// The first row (from the top) of the rendered widget holding a pixel of exactly the
// colour; -1 if none.
int topRowOf(QWidget &widget, const QColor &color)
{
    widget.resize(160, 40);
    QImage image(widget.size(), QImage::Format_ARGB32);
    image.fill(Qt::white);
    widget.render(&image);
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x)
            if (image.pixelColor(x, y) == color)
                return y;
    }
    return -1;
}

} // namespace

// The palette: colours by name and from hex strings (cached across threads), and the
// button whose title always takes the palette's grey.
class tst_ColorExtra : public QObject
{
    Q_OBJECT
    TestSandbox m_sandbox; // made before any service reads the user's paths

private Q_SLOTS:

    void readsHexFormsAndNamedColors()
    {
        // Red, green, blue (and alpha first); every "#" dropped; a non-hex digit ends a
        // component, and a component without hex digits reads 0.
        const std::pair<const char *, QColor> cases[] = {
            {"#F0F", QColor(255, 0, 255)}, {"fff", QColor(255, 255, 255)}, {"#8F00", QColor(255, 0, 0, 0x88)},
            {"4a4a4a", QColor(0x4a, 0x4a, 0x4a)}, {"80FF0000", QColor(255, 0, 0, 128)},
            {"#12#34#56#", QColor(0x12, 0x34, 0x56)}, {"1G2H3Z", QColor(1, 2, 3)}, {"zzzzzz", QColor(0, 0, 0)}};
        for (const auto &[hex, color] : cases) {
            QCOMPARE(ColorExtra::colorWithHexStringNotCacheable(hex), color);
            QCOMPARE(ColorExtra::colorWithHexString(hex), color);
        }
        QCOMPARE(ColorExtra::colorComponentFrom("ab", 5, 2), 0.0);
        QCOMPARE(ColorExtra::colorWithHexString(QString()), std::nullopt);
        QCOMPARE(ColorExtra::welcomeTextColor(), QColor(0x4C, 0x4E, 0x54));
    }

    // Bad strings throw with the exact reason, also when asked again (nothing is cached).
    void rejectsOtherLengthsWithTheExactReason()
    {
        for (const QString hex : {"#12345", "", "###", "123456789"}) {
            const QString reason = "Color value " + hex +
                                   " is invalid.  It should be a hex value of the form #RBG, #ARGB, #RRGGBB, or #AARRGGBB";
            for (int attempt = 0; attempt < 2; ++attempt) {
                QStringList caught;
                try {
                    ColorExtra::colorWithHexString(hex);
                } catch (const InvalidColorValue &error) {
                    caught = {error.name(), error.reason(), error.what()};
                }
                QCOMPARE(caught, QStringList({"Invalid color value", reason, reason}));
            }
            QVERIFY_THROWS_EXCEPTION(std::invalid_argument, ColorExtra::colorWithHexStringNotCacheable(hex));
        }
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

    // The title is drawn grey and raised, and turns grey again with a new title.
    void grayButtonTitleIsGreyAndRaisedAlsoWhenItChanges()
    {
        const QColor grey = GrayTextButton::grayColor();
        GrayTextButton button("HHHH");
        QPushButton plain("HHHH");
        QPalette palette = plain.palette();
        palette.setColor(QPalette::ButtonText, grey);
        plain.setPalette(palette);
        QCOMPARE(topRowOf(button, grey), topRowOf(plain, grey) - GrayTextButton::kBaselineOffset);
        button.setColor(Qt::red);
        button.setTitle("IIII");
        QVERIFY(button.color() == grey && topRowOf(button, grey) >= 0 && topRowOf(button, Qt::red) == -1);
    }
};

QTEST_MAIN(tst_ColorExtra)
#include "tst_ColorExtra.moc"
