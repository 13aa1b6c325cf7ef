#include "support/TestSandbox.h"
#include "ui/FullScreenMask.h"

#include <QTest>
#include <QWidget>

#include <memory>

class tst_FullScreenMask : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { m_sandbox = std::make_unique<TestSandbox>(); }
    void followsTheWindowState();

private:
    std::unique_ptr<TestSandbox> m_sandbox;
};

void tst_FullScreenMask::followsTheWindowState()
{
    QVERIFY(!FullScreenMask::hasFullScreenMask(nullptr));
    QWidget window;
    auto *child = new QWidget(&window);
    window.resize(300, 200);
    window.show();
    QVERIFY(!FullScreenMask::hasFullScreenMask(&window));
    window.showMaximized(); // as large as the screen allows, but not full screen
    QVERIFY(!FullScreenMask::hasFullScreenMask(&window));
    window.showFullScreen();
    QVERIFY(FullScreenMask::hasFullScreenMask(&window));
    QVERIFY(FullScreenMask::hasFullScreenMask(child));
    window.showNormal();
    QVERIFY(!FullScreenMask::hasFullScreenMask(child));
}

QTEST_MAIN(tst_FullScreenMask)
#include "tst_FullScreenMask.moc"
