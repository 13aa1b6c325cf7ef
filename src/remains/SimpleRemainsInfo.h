#pragma once

#include "RemainsInfo.h"
#include "platform/Bundle.h"

#include <QList>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

class SimpleRemainsInfoListener;

// What an application moved to the Trash leaves behind: the bundle itself (and further
// trashed bundles with the same identifier) and its service files under the user's
// Library, as PathForRemove records, with a running total of their sizes.
//
// Main thread only: the remains are found once, at creation; sizes are measured in the
// background and arrive on the main thread, each setting its record's size, adding to the
// total and telling the listener (held weakly). Owned through shared_ptr: the size tasks
// keep the object alive until their results are in.
class SimpleRemainsInfo : public RemainsInfo, public std::enable_shared_from_this<SimpleRemainsInfo>
{
public:
    // The kinds of remains produced here (the "type" of a record).
    enum Type : qint32 {
        kApplicationBundle = 0,
        kApplicationSupportFiles = 3,
        kCaches = 8,
        kContainer = 9,
        kPreferences = 10,
        kLogs = 11,
        kCookies = 12,
        kCrashReports = 13,
    };

    // Nothing for a missing bundle. Finds the remains and queues every size, bundle first.
    static std::shared_ptr<SimpleRemainsInfo> initWithBundle(const std::optional<Bundle> &bundle,
                                                             std::weak_ptr<SimpleRemainsInfoListener> listener);

    // Adds a further bundle with exactly this object's identifier (others are ignored).
    void addBundle(const std::optional<Bundle> &bundle);
    void findRemains();
    // A probe of one name (with the extension appended, if any) in a Library-relative folder.
    void addFileWithSubPath(const QString &subPath, const QString &name, const QString &ext, qint32 type);
    // The file name joined to the folder and standardised, when it still lies inside it.
    static QString createSafeToDeletePathInFolder(const QString &folder, const QString &fileName);
    void addPath(const QString &path, QList<PathForRemove> &array, qint32 type);
    // The entries of a Library-relative folder whose names begin and end as given.
    void addPathInSubFolder(const QString &folder, const QString &prefix, const QString &suffix,
                            QList<PathForRemove> &array, qint32 type);
    void addSizeOfPath(const QString &path);

    void onSimpleSizeCalculationTaskComplete(const std::shared_ptr<SimpleSizeCalculationTask> &task) override;
    void updateSize(quint64 size);
    quint64 getTotalSize() const override { return m_nTotalSize; }
    // Appends the bundles' records, then the remains' records.
    void addRemoveObjectPathsToArray(QList<PathForRemove> &array) const override;
    QString getBundleID() const { return m_sBundleID; }
    QString getBundleName() const { return m_sBundleName; }

    // Calls the ok block (later, on the main thread) only when no other copy of the
    // application is installed in the system's or the user's Applications folder.
    static void calculateIsCanShowNotificationForBundleWithID(const QString &bundleId, std::function<void()> okBlock);

private:
    SimpleRemainsInfo(const Bundle &bundle, std::weak_ptr<SimpleRemainsInfoListener> listener);
    void setSizeOfRecord(const QString &path, quint64 size);

    std::weak_ptr<SimpleRemainsInfoListener> m_pListener;
    QString m_sBundleID;
    QString m_sBundleName;
    quint64 m_nTotalSize = 0;
    QList<PathForRemove> m_arrAppObjectPaths;
    QList<PathForRemove> m_arrRemainsObjectPaths;
    QString _homePath;
};
