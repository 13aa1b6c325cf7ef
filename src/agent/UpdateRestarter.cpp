#include "UpdateRestarter.h"

#include "core/FileManagerUtils.h"
#include "platform/Bundle.h"
#include "watching/VDKQueue.h"

#include <QCoreApplication>

UpdateRestarter &UpdateRestarter::GetInstance()
{
    static UpdateRestarter instance;
    return instance;
}

UpdateRestarter::UpdateRestarter()
    : m_sBundlePath(Bundle::mainBundlePath())
{
    if (m_sBundlePath.isNull())
        return;
    m_pVDKQueue = VDKQueue::init();
    if (!m_pVDKQueue)
        return;
    m_pVDKQueue->setDelegate(this);
    m_pVDKQueue->addPath(m_sBundlePath);
}

// Whatever changed: only whether the bundle is still at its path matters, so writes,
// attribute changes and renames inside a bundle that stays are ignored.
void UpdateRestarter::VDKQueue(::VDKQueue *, const QString &, const QString &)
{
    if (m_sBundlePath.isNull() || !FileManagerUtils::fileExistsWithoutTraversingSymbolicLinkAtPath(m_sBundlePath))
        QCoreApplication::quit();
}
