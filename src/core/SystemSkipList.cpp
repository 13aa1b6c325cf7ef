#include "SystemSkipList.h"

#include "PathsGenerator.h"

SystemSkipList &SystemSkipList::shared()
{
    static SystemSkipList instance;
    return instance;
}

SystemSkipList::SystemSkipList()
{
    const QString home = PathsGenerator::GetInstance().getHomeDirectory();
    for (const char *suffix : {"/Library/Application Support/AddressBook",
                               "/Library/Preferences/com.apple.AddressBook.plist", "/Library/Calendars"})
        skipItems.insert(home + QLatin1String(suffix));
}

void SystemSkipList::addPath(const QString &path)
{
    skipItems.insert(path);
}

void SystemSkipList::clearContent()
{
    skipItems.clear();
}

bool SystemSkipList::contains(const QString &path) const
{
    return skipItems.contains(path);
}
