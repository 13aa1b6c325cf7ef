#include "UpdateRestarter.h"

#include "core/PathsGenerator.h"
#include "platform/Bundle.h"
#include "platform/KernelEventQueue.h"
#include "platform/PathCodec.h"
#include "watching/VDKQueue.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

#include <sys/stat.h>

namespace {

constexpr quint32 kDeparture =
    KernelEventQueue::NoteRename | KernelEventQueue::NoteDelete | KernelEventQueue::NoteRevoke;

} // namespace

UpdateRestarter &UpdateRestarter::GetInstance()
{
    static UpdateRestarter instance;
    return instance;
}

UpdateRestarter::UpdateRestarter()
    : m_sBundlePath(Bundle::mainBundlePath())
{
    struct stat status {};
    if (m_sBundlePath.isNull() || ::lstat(PathCodec::encode(m_sBundlePath).constData(), &status) != 0)
        return;
    m_device = status.st_dev;
    m_inode = status.st_ino;
    m_pVDKQueue = VDKQueue::init();
    if (!m_pVDKQueue)
        return;
    m_pVDKQueue->setDelegate(this);
    m_pVDKQueue->addPath(m_sBundlePath);
    for (const QString &folder : enclosingFolders(m_sBundlePath, PathsGenerator::GetInstance().getHomeDirectory()))
        m_pVDKQueue->addPath(folder, kDeparture);
}

QStringList UpdateRestarter::enclosingFolders(const QString &bundlePath, const QString &home)
{
    QStringList folders;
    const QString cleanHome = home.isEmpty() ? QString() : QDir::cleanPath(home);
    for (QString folder = QFileInfo(QDir::cleanPath(bundlePath)).path(); folder != QLatin1String("/");
         folder = QFileInfo(folder).path()) {
        folders.append(folder);
        if (folder == cleanHome || folder == QLatin1String("."))
            break;
    }
    return folders;
}

bool UpdateRestarter::isBundleInPlace() const
{
    struct stat status {};
    return !m_sBundlePath.isNull() && ::lstat(PathCodec::encode(m_sBundlePath).constData(), &status) == 0 &&
           status.st_dev == m_device && status.st_ino == m_inode;
}

// Whatever changed: only whether the bundle is still at its path matters, so writes,
// attribute changes and renames inside a bundle that stays are ignored.
void UpdateRestarter::VDKQueue(::VDKQueue *, const QString &, const QString &)
{
    if (!isBundleInPlace())
        QCoreApplication::quit();
}
