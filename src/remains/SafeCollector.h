#pragma once

#include <QtGlobal>

#include <any>
#include <memory>
#include <vector>

class SafeCollectorListener;
class SerialQueue;

// Collects items from any thread and hands them to its listener in batches: whenever at
// least the batch size has gathered, and the remainder on a forced push. No timer is
// involved.
//
// Collecting, pushing and the listener calls all run on the collector's serial queue
// ("SafeCollector work queue"). Owned through shared_ptr; the listener is held weakly.
class SafeCollector : public std::enable_shared_from_this<SafeCollector>
{
public:
    static std::shared_ptr<SafeCollector> initWithListener(std::weak_ptr<SafeCollectorListener> listener,
                                                           qint64 updateCount);
    ~SafeCollector();
    SafeCollector(const SafeCollector &) = delete;
    SafeCollector &operator=(const SafeCollector &) = delete;

    void addObject(std::any item);
    void addObjects(std::vector<std::any> items);
    // Pushes whatever has been collected, even nothing.
    void pushObjectsForced();

    // The push itself; runs on the collector's queue.
    void updateListenerForced(bool forced);

private:
    SafeCollector(std::weak_ptr<SafeCollectorListener> listener, qint64 updateCount);
    void collect(std::vector<std::any> items);

    std::weak_ptr<SafeCollectorListener> m_pListener;
    std::unique_ptr<SerialQueue> m_pWorkQueue;
    std::vector<std::any> m_arrItems;
    const qint64 m_nUpdateCount;
    qint64 m_nItemsCount = 0;
};
