#include "RichNotificationWindow.h"

#include <QApplication>
#include <QEvent>
#include <QGuiApplication>
#include <QWindow>
#include <QLayout>

RichNotificationWindow::RichNotificationWindow(QWidget *parent)
    : QDialog(parent, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint)
{
    // The helper has no other window; hiding this one must never end the process.
    setAttribute(Qt::WA_QuitOnClose, false);
}

void RichNotificationWindow::fitHeightToContent()
{
    if (layout())
        layout()->activate();
    const int height = hasHeightForWidth() ? heightForWidth(width()) : sizeHint().height();
    resize(width(), qMax(height, minimumHeight()));
}

void RichNotificationWindow::makeKeyAndOrderFront()
{
    raise();
    activateWindow();
    // Without a window manager nothing takes the focus when this window hides, so Qt
    // may still count it as the focused window when it shows again; asking for the
    // focus then changes nothing, and the window would never hear of its next focus
    // loss. Make it the active window outright in that case.
    if (windowHandle() && QGuiApplication::focusWindow() == windowHandle() && !isActiveWindow())
        QApplication::setActiveWindow(this);
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
