#include "RichNotificationWindow.h"

#include <QEvent>
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
