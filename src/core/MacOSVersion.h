#pragma once

#include <QString>
#include <QStringList>

// The running system's version, read once from its version property list, and the
// cached "this version or higher" flags that version-dependent code tests. Where
// the list is missing (as on Linux) the version is unknown and every flag is true.
class MacOSVersion
{
public:
    static constexpr const char *kSystemVersionPlist = "/System/Library/CoreServices/SystemVersion.plist";

    static MacOSVersion &GetInstance();
    // For checks against another version list than the system's.
    explicit MacOSVersion(const QString &systemVersionPlist);

    QString version() const { return m_sMacOSVersion; }
    bool is_10_9_orHigher() const { return m_bIs_10_9_orHigher; }
    bool is_10_10_orHigher() const { return m_bIs_10_10_orHigher; }
    bool is_10_11_orHigher() const { return m_bIs_10_11_orHigher; }
    bool is_10_12_orHigher() const { return m_bIs_10_12_orHigher; }
    bool is_10_14_orHigher() const { return m_bIs_10_14_orHigher; }

    // Whether the system matches the version: equal (no flag), at least it
    // (orHigher), at most it (orLower); both flags, or an unknown version, answer yes.
    bool isMacOSHasVersion(const QString &version, bool orLower, bool orHigher) const;

    // A developer self-check: lines such as "> 10.9 = YES" for a fixed list of versions.
    QStringList runTests() const;
    QString printTestToCheckMacOSVersion(const QString &version) const;
    QString printTestToCheckMacOSVersion(const QString &version, bool orLower, bool orHigher) const;

    // Numeric comparison of version strings: "10.10" is above "10.9". -1, 0 or 1.
    static int compareVersions(const QString &a, const QString &b);

private:
    QString m_sMacOSVersion;
    bool m_bIs_10_9_orHigher = true;
    bool m_bIs_10_10_orHigher = true;
    bool m_bIs_10_11_orHigher = true;
    bool m_bIs_10_12_orHigher = true;
    bool m_bIs_10_14_orHigher = true;
};
