#include "support/TestSandbox.h"
#include "ui/FullScreenMask.h"
#include "ui/MouseOver.h"

#include <QCursor>
#include <QScrollArea>
#include <QTest>

// The two questions the kit answers about a view's window: is the pointer over the view
// (MouseOver), does its window fill the screen (FullScreenMask).
class tst_WindowHelpers : public QObject
{
    Q_OBJECT
    std::optional<TestSandbox> m_sandbox;

private Q_SLOTS:
    void initTestCase() { m_sandbox.emplace(); }

    // A view counts as under the pointer only once shown, within its own rectangle, and
    // (for the whole answer) not scrolled out of sight.
    void followsThePointerInShownViewsNotScrolledAway()
    {
        QVERIFY(!MouseOver::isMouseOverViewBounds(nullptr));
        QWidget window;
        window.setGeometry(100, 100, 400, 400);
        auto *area = new QScrollArea(&window);
        area->setGeometry(0, 0, 200, 200);
        auto *content = new QWidget;
        content->setFixedSize(1000, 1000);
        area->setWidget(content);
        QCursor::setPos(area->mapToGlobal(QPoint(20, 20)));
        QVERIFY(!MouseOver::isMouseOverViewBounds(content)); // never shown
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QCursor::setPos(area->mapToGlobal(QPoint(199, 199))); // the area's last pixel
        QVERIFY(MouseOver::isMouseOverView(content) && MouseOver::isMouseOverViewBounds(area));
        // Just beside the scroll area, where the content goes on out of sight.
        QCursor::setPos(area->mapToGlobal(QPoint(200, 100)));
        QVERIFY(!MouseOver::isMouseOverViewBounds(area) && MouseOver::isMouseOverViewBounds(&window));
        QVERIFY(MouseOver::isMouseOverViewBounds(content) && !MouseOver::isMouseOverView(content));
    }

    // The window state counts, not the size; a child answers for its window.
    void fullScreenFollowsTheWindowState()
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
};

QTEST_MAIN(tst_WindowHelpers)
#include "tst_WindowHelpers.moc"
