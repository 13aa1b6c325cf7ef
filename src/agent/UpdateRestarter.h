#pragma once

#include "watching/VDKQueueDelegate.h"

#include <QString>

#include <memory>

class VDKQueue;

// Quits the helper as soon as its own bundle is no longer at its path (moved away,
// replaced or deleted, as when the main application is updated or removed), so that
// it never keeps running from a bundle that is gone. It does not start a new copy.
//
// A singleton created on first use on the main thread and never destroyed; it watches
// the bundle with its own kernel-event queue.
class UpdateRestarter : public VDKQueueDelegate
{
public:
    static UpdateRestarter &GetInstance();

    void VDKQueue(::VDKQueue *queue, const QString &notificationName, const QString &path) override;
    QString bundlePath() const { return m_sBundlePath; }

private:
    UpdateRestarter();

    QString m_sBundlePath;
    std::unique_ptr<::VDKQueue> m_pVDKQueue;
};
