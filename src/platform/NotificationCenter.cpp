#include "NotificationCenter.h"

#include <algorithm>

NotificationCenter &NotificationCenter::defaultCenter()
{
    static NotificationCenter center;
    return center;
}

NotificationCenter &NotificationCenter::workspaceCenter()
{
    static NotificationCenter center;
    return center;
}

void NotificationCenter::addObserver(const void *observer, const QString &name, const void *sender, Handler handler)
{
    if (!observer || !handler)
        return;
    m_entries.push_back(Entry{observer, name, sender, std::move(handler), m_nextSerial++});
}

void NotificationCenter::removeObserver(const void *observer)
{
    std::erase_if(m_entries, [observer](const Entry &entry) { return entry.observer == observer; });
}

void NotificationCenter::post(const QString &name, const void *sender, const QVariantMap &userInfo)
{
    const Notification notification{name, sender, userInfo};
    // Handlers may add or remove observers; walk a snapshot and skip entries that
    // were removed meanwhile.
    const std::vector<Entry> snapshot = m_entries;
    for (const Entry &entry : snapshot) {
        if (!entry.name.isEmpty() && entry.name != name)
            continue;
        if (entry.sender && entry.sender != sender)
            continue;
        const bool stillRegistered = std::any_of(m_entries.cbegin(), m_entries.cend(),
                                                 [&entry](const Entry &e) { return e.serial == entry.serial; });
        if (stillRegistered)
            entry.handler(notification);
    }
}
