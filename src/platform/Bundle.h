#pragma once

#include <QByteArray>
#include <QString>
#include <QVariantMap>

#include <optional>

// The record of a bundle: a directory whose information dictionary is
// Contents/Info.plist, else Info.plist at its top (XML or binary).
//
// The helper's own bundle is the ".app" that contains the running executable, else
// the executable's folder; tests and sandboxes may point it elsewhere.
class Bundle
{
public:
    // A bundle for an existing directory; nullopt otherwise. A directory without a
    // readable information dictionary is still a bundle, with no identifier.
    static std::optional<Bundle> bundleWithPath(const QString &path);
    // The bundle at the path as bundleWithPath() makes it when its Info.plist holds
    // these bytes, without touching the disk (for checks on untrusted Info.plists).
    static Bundle bundleWithInfoData(const QString &path, const QByteArray &infoPlist);

    static QString mainBundlePath();
    static std::optional<Bundle> mainBundle();
    static void setMainBundlePath(const QString &path);

    QString bundlePath() const { return m_sPath; }
    // CFBundleIdentifier when it is a string; a null string otherwise.
    QString bundleIdentifier() const;
    // CFBundleExecutable when it is a string; a null string otherwise.
    QString executableName() const;
    // Contents/MacOS/<CFBundleExecutable>; a null string without an executable name.
    QString executablePath() const;
    QVariantMap infoDictionary() const { return m_info; }
    QVariant objectForInfoDictionaryKey(const QString &key) const { return m_info.value(key); }

private:
    Bundle(QString path, QVariantMap info);
    QString stringForKey(const QString &key) const;

    QString m_sPath;
    QVariantMap m_info;
};
