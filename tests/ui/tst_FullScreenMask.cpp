#include "support/TestSandbox.h"
#include "ui/FullScreenMask.h"

#include <QTest>
#include <QWidget>

class tst_FullScreenMask : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { m_sandbox.emplace(); }

    // The window state counts, not the size; a child answers for its window.
    void followsTheWindowState()
    {
        QVERIFY(!FullScreenMask::hasFullScreenMask(nullptr));
        QWidget window;
        auto *child = new QWidget(&window);
        window.showMaximized();
        QVERIFY(!FullScreenMask::hasFullScreenMask(&window));
        window.showFullScreen();
        QVERIFY(FullScreenMask::hasFullScreenMask(&window) && FullScreenMask::hasFullScreenMask(child));
        window.showNormal();
        QVERIFY(!FullScreenMask::hasFullScreenMask(child));
    }

private:
    std::optional<TestSandbox> m_sandbox;
};

QTEST_MAIN(tst_FullScreenMask)
#include "tst_FullScreenMask.moc"
