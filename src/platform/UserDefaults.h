#pragma once

#include <QString>
#include <QVariant>

// The user's defaults for the helper: QSettings of organisation "corbelle" and the
// helper's bundle identifier as application.
class UserDefaults
{
public:
    static QVariant objectForKey(const QString &key);
    static bool boolForKey(const QString &key);
};
