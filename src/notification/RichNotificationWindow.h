#pragma once

#include <QDialog>

#include <chrono>
#include <functional>
#include <optional>

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
    using Clock = std::function<std::chrono::steady_clock::time_point()>;

    explicit RichNotificationWindow(QWidget *parent = nullptr);

    bool canBecomeKeyWindow() const { return true; }
    bool canBecomeMainWindow() const { return true; }

    // Gives the window the height its content needs at its width.
    void fitHeightToContent();
    // Orders the window front and asks for the focus. For Delays::kAnswerKeyGuard from
    // now, Return, Enter, Escape and Space are ignored: the focus arrives unasked, and
    // a key typed for another window at that moment must not answer this one.
    void makeKeyAndOrderFront();
    // The time source of that guard; nullptr restores the steady clock.
    void setClock(Clock clock);

public Q_SLOTS:
    void reject() override;

Q_SIGNALS:
    void didResignKey();
    void closeRequested();

protected:
    bool event(QEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    bool isGuardedKey(QObject *receiver, const QEvent *event) const;

    Clock m_clock;
    std::optional<std::chrono::steady_clock::time_point> m_keyGuardStart; // none before the first show
};
