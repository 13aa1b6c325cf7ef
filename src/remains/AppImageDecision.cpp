#include "AppImageDecision.h"

#include "RemainsLogging.h"
#include "core/BundleExcludeList.h"
#include "platform/FileAttributes.h"
#include "platform/MainThread.h"
#include "platform/SerialQueue.h"

#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

namespace {

SerialQueue &decisionQueue()
{
    // Never destroyed, like the size calculator: a decision may still be running when
    // the process ends.
    static auto *queue = new SerialQueue(QStringLiteral("AppImageDecision work queue"));
    return *queue;
}

QString canonical(const QString &path)
{
    const QString resolved = QFileInfo(path).canonicalFilePath();
    return resolved.isEmpty() ? QDir::cleanPath(path) : resolved;
}

bool isSameDesktopIdAt(const QString &candidate, const AppImage &appImage)
{
    if (!AppImage::isAppImageFile(candidate) || canonical(candidate) == canonical(appImage.path()))
        return false;
    const auto other = AppImage::appImageWithPath(candidate);
    return other && other->desktopId() == appImage.desktopId();
}

bool isCopyInFolder(const QString &folder, const AppImage &appImage)
{
    const QStringList names = QDir(folder).entryList(QDir::Files | QDir::Hidden | QDir::System, QDir::Name);
    const QStringList candidates = names.first(qMin(names.size(), AppImageDecision::kMaxCandidatesPerFolder));
    return std::any_of(candidates.cbegin(), candidates.cend(), [&](const QString &name) {
        return isSameDesktopIdAt(folder + QLatin1Char('/') + name, appImage);
    });
}

// The program a desktop entry starts, when it exists: a path as it is, a bare name
// looked up in PATH.
QString existingProgram(const DesktopEntry &entry)
{
    const QString program = entry.program();
    if (program.startsWith(QLatin1Char('/')))
        return FileAttributes::exists(program) ? program : QString();
    return program.isEmpty() || program.contains(QLatin1Char('/')) ? QString() : QStandardPaths::findExecutable(program);
}

bool isInstalledEntryIn(const QString &dataDir, const AppImage &appImage)
{
    const auto entry = DesktopEntry::fromFile(dataDir + QStringLiteral("/applications/") + appImage.desktopId() +
                                              QStringLiteral(".desktop"));
    const QString program = entry ? existingProgram(*entry) : QString();
    return !program.isEmpty() && canonical(program) != canonical(appImage.path());
}

} // namespace

std::optional<AppImage> AppImageDecision::isReallyAppImagePath(const QString &path)
{
    auto appImage = AppImage::appImageWithPath(path);
    if (appImage && BundleExcludeList::GetInstance().isSystemBundleID(appImage->desktopId(), false)) {
        qCDebug(lcRemains) << path << "is one of the two applications' own AppImages";
        return std::nullopt;
    }
    return appImage;
}

bool AppImageDecision::isAnotherCopyInstalled(const AppImage &appImage, const AppImageLocations &locations)
{
    const auto inFolder = [&](const QString &folder) { return isCopyInFolder(folder, appImage); };
    const auto entryIn = [&](const QString &dataDir) { return isInstalledEntryIn(dataDir, appImage); };
    const QStringList dataDirs = QStringList{locations.dataHome} + locations.dataDirs;
    return std::any_of(locations.appImageFolders.cbegin(), locations.appImageFolders.cend(), inFolder) ||
           std::any_of(dataDirs.cbegin(), dataDirs.cend(), entryIn);
}

void AppImageDecision::calculateIsCanShowNotificationForAppImageAtPath(const QString &path,
                                                                       std::function<void(const AppImageRemains &)> okBlock)
{
    // Made here, on the main thread, so that the queue only reads them.
    BundleExcludeList::GetInstance();
    const AppImageLocations locations = AppImageLocations::current();
    decisionQueue().async([path, locations, okBlock = std::move(okBlock)]() mutable {
        std::optional<AppImageRemains> remains;
        if (const auto appImage = isReallyAppImagePath(path)) {
            if (isAnotherCopyInstalled(*appImage, locations))
                qCDebug(lcRemains) << "another copy of" << appImage->desktopId() << "is installed";
            else
                remains = AppImageRemains::find(*appImage, locations);
        }
        // The block goes back to the main thread either way: what it holds belongs there.
        MainThread::async([okBlock = std::move(okBlock), remains = std::move(remains)] {
            if (remains && okBlock)
                okBlock(*remains);
        });
    });
}
