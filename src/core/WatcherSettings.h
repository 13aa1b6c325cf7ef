#pragma once

#include <QString>

// The identities of the two applications, and the helper's login-item switch.
class WatcherSettings
{
public:
    static WatcherSettings &GetInstance();

    QString getMainAppBundleID() const;
    QString getHelperAppBundleID() const;
    // Writes or removes the helper's autostart entry; whether that worked.
    bool enableHelperInLoginItems(bool enable) const;

private:
    WatcherSettings() = default;
};
