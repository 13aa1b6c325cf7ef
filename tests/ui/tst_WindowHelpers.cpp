#include "support/TestSandbox.h"
#include "ui/MouseOver.h"

#include <QCursor>
#include <QScrollArea>
#include <QTest>

// Whether the pointer is over a view (FullScreenMask only reads the window state).
class tst_WindowHelpers : public QObject
{
    Q_OBJECT
    TestSandbox m_sandbox; // made before any service reads the user's paths

private Q_SLOTS:

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
};

QTEST_MAIN(tst_WindowHelpers)
#include "tst_WindowHelpers.moc"
