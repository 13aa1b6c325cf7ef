#include "RichNotificationWindow.h"

#include "platform/Delays.h"

#include <QApplication>
#include <QEvent>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QLayout>
#include <QWindow>

namespace {

// Layouts cache the heights their items need for a width, and a change of text
// reaches the layout above only once the layout around it has run again (and not at
// all while the window has never been shown). So every layout forgets and runs
// again, innermost first, before the window asks for its height.
void relayoutInnermostFirst(QWidget *widget)
{
    for (QObject *child : widget->children()) {
        if (auto *childWidget = qobject_cast<QWidget *>(child); childWidget && !childWidget->isWindow())
            relayoutInnermostFirst(childWidget);
    }
    if (QLayout *layout = widget->layout()) {
        layout->invalidate();
        layout->activate();
    }
}

bool isAnsweringKey(int key)
{
    return key == Qt::Key_Return || key == Qt::Key_Enter || key == Qt::Key_Escape || key == Qt::Key_Space;
}

} // namespace

RichNotificationWindow::RichNotificationWindow(QWidget *parent)
    : QDialog(parent, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint)
    , m_clock(&std::chrono::steady_clock::now)
{
    // The helper has no other window; hiding this one must never end the process.
    setAttribute(Qt::WA_QuitOnClose, false);
    // Keys go to the focused button before the dialog sees them; only the application
    // sees every key first.
    qApp->installEventFilter(this);
}

void RichNotificationWindow::fitHeightToContent()
{
    relayoutInnermostFirst(this);
    const int height = hasHeightForWidth() ? heightForWidth(width()) : sizeHint().height();
    resize(width(), qMax(height, minimumHeight()));
}

void RichNotificationWindow::makeKeyAndOrderFront()
{
    m_keyGuardStart = m_clock();
    raise();
    activateWindow();
    // Without a window manager nothing takes the focus when this window hides, so Qt
    // may still count it as the focused window when it shows again; asking for the
    // focus then changes nothing, and the window would never hear of its next focus
    // loss. Make it the active window outright in that case.
    if (windowHandle() && QGuiApplication::focusWindow() == windowHandle() && !isActiveWindow())
        QApplication::setActiveWindow(this);
}

void RichNotificationWindow::setClock(Clock clock)
{
    m_clock = clock ? std::move(clock) : Clock(&std::chrono::steady_clock::now);
}

// Escape and the window manager's close button both arrive here.
void RichNotificationWindow::reject()
{
    Q_EMIT closeRequested();
}

bool RichNotificationWindow::event(QEvent *event)
{
    const bool handled = QDialog::event(event);
    if (event->type() == QEvent::WindowDeactivate)
        Q_EMIT didResignKey();
    return handled;
}

bool RichNotificationWindow::eventFilter(QObject *watched, QEvent *event)
{
    return isGuardedKey(watched, event) || QDialog::eventFilter(watched, event);
}

bool RichNotificationWindow::isGuardedKey(QObject *receiver, const QEvent *event) const
{
    if (event->type() != QEvent::KeyPress && event->type() != QEvent::KeyRelease)
        return false;
    if (!isAnsweringKey(static_cast<const QKeyEvent *>(event)->key()))
        return false;
    const auto *widget = qobject_cast<const QWidget *>(receiver);
    if (!widget || widget->window() != this)
        return false;
    return m_keyGuardStart && m_clock() - *m_keyGuardStart < Delays::scaled(Delays::kAnswerKeyGuard);
}
