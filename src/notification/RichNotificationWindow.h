#pragma once

#include <QDialog>

// The notification window: frameless, always on top, a tool window that takes the
// focus when shown (it can become the key and the main window). Being a dialog, it
// has a default button for Return and closes on Escape.
//
// It reports focus loss and every request to close (Escape, the window manager's
// close) to its controller, which decides; it never hides itself. GUI thread only;
// owned by its controller.
class RichNotificationWindow : public QDialog
{
    Q_OBJECT
public:
    explicit RichNotificationWindow(QWidget *parent = nullptr);

    bool canBecomeKeyWindow() const { return true; }
    bool canBecomeMainWindow() const { return true; }

    // Gives the window the height its content needs at its width.
    void fitHeightToContent();
    // Orders the window front and asks for the focus.
    void makeKeyAndOrderFront();

public Q_SLOTS:
    void reject() override;

Q_SIGNALS:
    void didResignKey();
    void closeRequested();

protected:
    bool event(QEvent *event) override;
};
