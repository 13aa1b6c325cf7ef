#pragma once

#include <QSet>
#include <QString>

// Bundle identifiers that are never offered for removal: the main application's and
// the helper's own, compared in lower case.
class BundleExcludeList
{
public:
    static BundleExcludeList &GetInstance();

    bool isSystemBundleID(const QString &bundleID) const;
    // The user default "unsafeUninstallMode" is read when asked to, and changes nothing.
    bool isSystemBundleID(const QString &bundleID, bool checkPreferences) const;

private:
    BundleExcludeList();

    QSet<QString> m_pExcludeAppsList;
};
