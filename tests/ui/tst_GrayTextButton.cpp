#include "ui/GrayTextButton.h"

#include "support/TestSandbox.h"

#include <QTest>

#include <memory>

namespace {

// The first row (from the top) holding a pixel of exactly the colour; -1 if none.
int topRowOf(const QImage &image, const QColor &color)
{
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (image.pixelColor(x, y) == color)
                return y;
        }
    }
    return -1;
}

QImage render(QWidget &widget)
{
    widget.resize(160, 40);
    QImage image(widget.size(), QImage::Format_ARGB32);
    image.fill(Qt::white);
    widget.render(&image);
    return image;
}

} // namespace

class tst_GrayTextButton : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { m_sandbox = std::make_unique<TestSandbox>(); }
    void titleIsGreyAndRaised();
    void newTitlesStayGrey();

private:
    std::unique_ptr<TestSandbox> m_sandbox;
};

void tst_GrayTextButton::titleIsGreyAndRaised()
{
    const QColor grey(0x4C, 0x4E, 0x54);
    QCOMPARE(GrayTextButton::grayColor(), grey);

    GrayTextButton button(QStringLiteral("HHHH"));
    QPushButton plain(QStringLiteral("HHHH"));
    QPalette palette = plain.palette();
    palette.setColor(QPalette::ButtonText, grey);
    plain.setPalette(palette);

    const int raised = topRowOf(render(button), grey);
    const int level = topRowOf(render(plain), grey);
    QVERIFY(raised >= 0);
    QVERIFY(level >= 0);
    QCOMPARE(raised, level - GrayTextButton::kBaselineOffset);
}

void tst_GrayTextButton::newTitlesStayGrey()
{
    GrayTextButton button(QStringLiteral("HHHH"));
    button.setColor(Qt::red);
    QVERIFY(topRowOf(render(button), Qt::red) >= 0);

    button.setTitle(QStringLiteral("IIII"));
    QCOMPARE(button.text(), QStringLiteral("IIII"));
    QCOMPARE(button.color(), GrayTextButton::grayColor());
    const QImage image = render(button);
    QVERIFY(topRowOf(image, GrayTextButton::grayColor()) >= 0);
    QCOMPARE(topRowOf(image, Qt::red), -1);
}

QTEST_MAIN(tst_GrayTextButton)
#include "tst_GrayTextButton.moc"
