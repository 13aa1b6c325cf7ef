#include "AppImageRemainsInfo.h"

#include "AppImageRemainsInfoListener.h"
#include "SimpleRemainsInfo.h"
#include "SimpleSizeCalculationTask.h"

std::shared_ptr<AppImageRemainsInfo> AppImageRemainsInfo::initWithRemains(const std::optional<AppImageRemains> &remains,
                                                                          std::weak_ptr<AppImageRemainsInfoListener> listener)
{
    if (!remains)
        return nullptr;
    std::shared_ptr<AppImageRemainsInfo> info(new AppImageRemainsInfo(remains->appImage(), std::move(listener)));
    info->addAppImage(remains->appImage());
    info->m_records.addRemains(remains->records());
    for (const PathForRemove &record : remains->records())
        info->addSizeOfPath(record.path());
    return info;
}

std::shared_ptr<AppImageRemainsInfo> AppImageRemainsInfo::initWithAppImage(const std::optional<AppImage> &appImage,
                                                                           std::weak_ptr<AppImageRemainsInfoListener> listener)
{
    if (!appImage)
        return nullptr;
    return initWithRemains(AppImageRemains::find(*appImage, AppImageLocations::current()), std::move(listener));
}

AppImageRemainsInfo::AppImageRemainsInfo(const AppImage &appImage, std::weak_ptr<AppImageRemainsInfoListener> listener)
    : m_pListener(std::move(listener))
    , m_sDesktopID(appImage.desktopId())
    , m_sDisplayName(appImage.displayName())
{
}

void AppImageRemainsInfo::addAppImage(const std::optional<AppImage> &appImage)
{
    if (!appImage || appImage->desktopId() != m_sDesktopID)
        return;
    const auto record = PathForRemove::initWithPath(appImage->path(), SimpleRemainsInfo::kApplicationBundle, m_sDesktopID);
    if (!record)
        return;
    m_records.addApplication(*record);
    addSizeOfPath(appImage->path());
}

void AppImageRemainsInfo::addSizeOfPath(const QString &path)
{
    queueSizeOfPath(path, shared_from_this());
}

void AppImageRemainsInfo::onSimpleSizeCalculationTaskComplete(const std::shared_ptr<SimpleSizeCalculationTask> &task)
{
    if (!task)
        return;
    m_records.setSize(task->itemPath(), task->itemSize());
    if (const auto listener = m_pListener.lock())
        listener->onAppImageRemainsInfoChanged(this);
}
