#pragma once

#include "DesktopNotifier.h"
#include "Removal.h"

#include <QObject>
#include <QString>
#include <QTextStream>

#include <chrono>
#include <optional>

// The main application's two jobs.
//
// Opening a watcher message: load it (TrustedMessageFile), reserve the items' names
// in the Trash (TrashMover), tell the helper those names ("exclude-paths") so that it
// offers no second clean-up for an application among them, move the items, keep the
// record of the clean-up (RemovalRecord), report it on the output and as a desktop
// notification with an "Undo" action, and, once the helper has had time to see the
// arrivals (its Trash debounce and folder search), send "clear-exclude-paths".
// The process stays while the notification can still be acted on, kUndoOffer at
// most, and ends by itself.
//
// Undoing: the items of the last clean-up (or of this one, from the notification)
// are put back (TrashRestorer).
//
// Main thread.
class MainApplication : public QObject
{
    Q_OBJECT
public:
    static constexpr std::chrono::seconds kUndoOffer{60};
    static constexpr std::chrono::seconds kResultShown{10};

    MainApplication(QTextStream &out, QTextStream &err);

    // The exit status when the job is over at once; nothing while the process must
    // stay (the event loop then ends with 0 once it is done).
    std::optional<int> openMessage(const QString &file);
    int undoLast();

private:
    void announce(const Removal &removal);
    void clearExclusionsLater();
    void onAction(const QString &key);
    Removal putBack(const Removal &removal);
    void printLeft(const Removal &removal, const QString &verdict);
    void endOffer();
    void finishPart();

    QTextStream &m_out;
    QTextStream &m_err;
    DesktopNotifier m_notifier;
    Removal m_removal;
    bool m_offerOpen = false;
    int m_pendingParts = 0;
};
