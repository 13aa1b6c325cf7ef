#include "support/TestSandbox.h"
#include "ui/MouseOver.h"

#include <QCursor>
#include <QScrollArea>
#include <QTest>

class tst_MouseOver : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { m_sandbox.emplace(); }

    void followsThePointerInShownWindowsOnly()
    {
        QVERIFY(!MouseOver::isMouseOverViewBounds(nullptr));
        QWidget window;
        window.setGeometry(100, 100, 400, 400);
        auto *view = new QWidget(&window);
        view->setGeometry(50, 50, 100, 80);
        QCursor::setPos(view->mapToGlobal(QPoint(50, 50)));
        QVERIFY(!MouseOver::isMouseOverViewBounds(view) && !MouseOver::isMouseOverView(view)); // never shown
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QCursor::setPos(view->mapToGlobal(QPoint(99, 79)));
        QVERIFY(MouseOver::isMouseOverViewBounds(view) && MouseOver::isMouseOverView(view));
        QCursor::setPos(view->mapToGlobal(QPoint(100, 40)));
        QVERIFY(!MouseOver::isMouseOverViewBounds(view) && MouseOver::isMouseOverViewBounds(&window));
    }

    void aScrolledAwayPartIsNotUnderThePointer()
    {
        QWidget window;
        window.setGeometry(100, 100, 400, 400);
        auto *area = new QScrollArea(&window);
        area->setGeometry(0, 0, 200, 200);
        auto *content = new QWidget;
        content->setFixedSize(1000, 1000);
        area->setWidget(content);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QCursor::setPos(area->mapToGlobal(QPoint(20, 20)));
        QVERIFY(MouseOver::isMouseOverView(content));
        // Below the scroll area, where the content goes on out of sight.
        QCursor::setPos(area->mapToGlobal(QPoint(20, 300)));
        QVERIFY(MouseOver::isMouseOverViewBounds(content) && !MouseOver::isMouseOverView(content));
    }

private:
    std::optional<TestSandbox> m_sandbox;
};

QTEST_MAIN(tst_MouseOver)
#include "tst_MouseOver.moc"
