#pragma once

#include "AppImageRemains.h"
#include "RemainsInfo.h"
#include "RemainsRecords.h"

#include <QList>
#include <QString>

#include <memory>
#include <optional>

class AppImageRemainsInfoListener;

// What an AppImage moved to the Trash leaves behind, shaped like SimpleRemainsInfo so
// that the notification window can hold either: the AppImage itself (and further
// trashed AppImages with the same desktop id) and its remains (AppImageRemains), as
// PathForRemove records, with a running total of their sizes.
//
// Main thread only: created from remains found beforehand (off the main thread, by
// AppImageDecision) or found at creation; sizes are measured by the size calculator
// and arrive on the main thread, each setting its record's size, adding to the total
// and telling the listener (held weakly). Owned through shared_ptr: the size tasks
// keep the object alive until their results are in.
class AppImageRemainsInfo : public RemainsInfo, public std::enable_shared_from_this<AppImageRemainsInfo>
{
public:
    // Nothing without remains. Queues every size, the AppImage's first.
    static std::shared_ptr<AppImageRemainsInfo> initWithRemains(const std::optional<AppImageRemains> &remains,
                                                                std::weak_ptr<AppImageRemainsInfoListener> listener);
    // Finds the remains first, on this thread, in the current locations.
    static std::shared_ptr<AppImageRemainsInfo> initWithAppImage(const std::optional<AppImage> &appImage,
                                                                 std::weak_ptr<AppImageRemainsInfoListener> listener);

    // Adds a further AppImage with exactly this object's desktop id (others are ignored).
    void addAppImage(const std::optional<AppImage> &appImage);

    void onSimpleSizeCalculationTaskComplete(const std::shared_ptr<SimpleSizeCalculationTask> &task) override;
    quint64 getTotalSize() const override { return m_records.totalSize(); }
    bool isEverySizeIn() const { return m_records.isEverySizeIn(); }
    // Appends the AppImages' records, then the remains' records.
    void addRemoveObjectPathsToArray(QList<PathForRemove> &array) const override { m_records.appendTo(array); }
    QString getDesktopID() const { return m_sDesktopID; }
    // What the window calls the application: its Name, else its desktop id.
    QString getDisplayName() const { return m_sDisplayName; }

private:
    AppImageRemainsInfo(const AppImage &appImage, std::weak_ptr<AppImageRemainsInfoListener> listener);
    void addSizeOfPath(const QString &path);

    std::weak_ptr<AppImageRemainsInfoListener> m_pListener;
    QString m_sDesktopID;
    QString m_sDisplayName;
    RemainsRecords m_records;
};
