#include "support/TestSandbox.h"
#include "notification/RichNotificationView.h"
#include "notification/RichNotificationWindow.h"

#include <QLabel>
#include <QSignalSpy>
#include <QTest>
#include <QVBoxLayout>

#include <memory>

class tst_RichNotificationWindow : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { m_sandbox = std::make_unique<TestSandbox>(); }
    void closeRequestsGoToTheController();
    void reportsFocusLoss();
    void heightFollowsTheContent();
    void viewIsFlatDarkGrey();

private:
    std::unique_ptr<TestSandbox> m_sandbox;
};

void tst_RichNotificationWindow::closeRequestsGoToTheController()
{
    RichNotificationWindow window;
    QVERIFY(window.windowFlags().testFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint));
    QVERIFY(!window.testAttribute(Qt::WA_QuitOnClose));
    QSignalSpy closeRequested(&window, &RichNotificationWindow::closeRequested);
    window.show();
    QTest::keyClick(&window, Qt::Key_Escape);
    window.close(); // as the window manager's close button does
    QCOMPARE(closeRequested.size(), 2);
    QVERIFY(window.isVisible()); // the controller decides; the window never hides itself
}

void tst_RichNotificationWindow::reportsFocusLoss()
{
    RichNotificationWindow window;
    QSignalSpy resigned(&window, &RichNotificationWindow::didResignKey);
    QEvent activate(QEvent::WindowActivate);
    QEvent deactivate(QEvent::WindowDeactivate);
    QCoreApplication::sendEvent(&window, &activate);
    QCoreApplication::sendEvent(&window, &deactivate);
    QCOMPARE(resigned.size(), 1);
}

void tst_RichNotificationWindow::heightFollowsTheContent()
{
    RichNotificationWindow window;
    auto *layout = new QVBoxLayout(&window);
    auto *label = new QLabel(&window);
    label->setWordWrap(true);
    layout->addWidget(label);
    window.setFixedWidth(200);
    label->setText(QStringLiteral("short"));
    window.fitHeightToContent();
    const int oneLine = window.height();
    label->setText(QStringLiteral("a much longer text that cannot fit on one line of two hundred pixels at all"));
    window.fitHeightToContent();
    QCOMPARE(window.width(), 200);
    QVERIFY2(window.height() > oneLine, qPrintable(QStringLiteral("%1 <= %2").arg(window.height()).arg(oneLine)));
    QCOMPARE(window.height(), window.heightForWidth(200));
}

void tst_RichNotificationWindow::viewIsFlatDarkGrey()
{
    RichNotificationView view;
    view.resize(40, 30);
    const QImage image = view.grab().toImage();
    QCOMPARE(image.pixelColor(0, 0), QColor(85, 85, 85));
    QCOMPARE(image.pixelColor(39, 29), QColor(85, 85, 85));
}

QTEST_MAIN(tst_RichNotificationWindow)
#include "tst_RichNotificationWindow.moc"
