#pragma once

#include "agent/AppDelegate.h"

#include <QHash>
#include <QString>

#include <memory>

class RichNotificationWC;
class TestSandbox;

// The whole agent (an application delegate with its Trash watcher) and the
// presenter's notification window with its remains finder, in one process, on a
// sandbox home, driven with bursts of application bundles
// moved into its Trash, for the load benchmark.
//
// Every call to onAppMovedToTrash is counted per path before the delegate handles it.
// Each burst is awaited until the notification holds all of it; then a sentinel
// application, whose name the main application excluded, is moved in: once it has
// been reported, any late or repeated report of the burst would have come too.
//
// Main thread only; needs a QApplication. The sandbox must outlive the driver.
class AgentLoad
{
public:
    struct Burst
    {
        int moved = 0;
        int reported = 0;      // distinct paths of the burst reported
        int extraReports = 0;  // reports beyond one per path
        int gatherings = 0;    // notifications shown for the burst
        int gathered = 0;      // bundles the notification held
        qint64 milliseconds = 0; // from the first move until the notification held them all
        bool complete = false; // everything arrived before the time limit
    };

    explicit AgentLoad(const TestSandbox &sandbox);
    ~AgentLoad();
    Q_DISABLE_COPY(AgentLoad)

    // Moves `size` new bundles into the Trash at once and waits for the notification
    // to hold them all (at most timeoutMs), then for the sentinel; closes the
    // notification before returning.
    Burst runBurst(int size, int timeoutMs);
    // Moves one bundle in and tells whether it was reported and shown.
    bool isShownWhenTrashed(const QString &name, int timeoutMs);
    // Whether the agent's Trash folder is watched at this moment.
    bool isWatchingTrash() const;

    // Resident memory (VmRSS, in kilobytes), open descriptors and threads of this process.
    static qint64 residentKilobytes();
    static int openDescriptors();
    static int threadCount();

private:
    class CountingDelegate;

    QString makeApp(const QString &folder, const QString &name) const;
    QString moveToTrash(const QString &path) const;
    bool waitForReport(const QString &trashedPath, int timeoutMs) const;
    bool waitUntilShown(int bundles, int timeoutMs);
    void closeWindow();

    const TestSandbox &m_sandbox;
    std::unique_ptr<RichNotificationWC> m_window;
    std::unique_ptr<CountingDelegate> m_delegate;
    QHash<QString, int> m_reports;
    int m_bursts = 0;
    int m_shown = 0; // gatherings begun
};
