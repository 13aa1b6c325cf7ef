#include "ui/GrayTextButton.h"

#include "support/TestSandbox.h"

#include <QTest>

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
        for (int x = 0; x < image.width(); ++x) {
            if (image.pixelColor(x, y) == color)
                return y;
        }
    }
    return -1;
}

} // namespace

class tst_GrayTextButton : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { m_sandbox.emplace(); }

    void titleIsGreyAndRaisedAlsoWhenItChanges()
    {
        const QColor grey(0x4C, 0x4E, 0x54);
        QCOMPARE(GrayTextButton::grayColor(), grey);
        GrayTextButton button("HHHH");
        QPushButton plain("HHHH");
        QPalette palette = plain.palette();
        palette.setColor(QPalette::ButtonText, grey);
        plain.setPalette(palette);
        QCOMPARE(topRowOf(button, grey), topRowOf(plain, grey) - GrayTextButton::kBaselineOffset);

        // A new title turns grey again.
        button.setColor(Qt::red);
        button.setTitle("IIII");
        QCOMPARE(button.color(), grey);
        QVERIFY(topRowOf(button, grey) >= 0);
        QCOMPARE(topRowOf(button, Qt::red), -1);
    }

private:
    std::optional<TestSandbox> m_sandbox;
};

QTEST_MAIN(tst_GrayTextButton)
#include "tst_GrayTextButton.moc"
