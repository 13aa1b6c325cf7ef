#include "ApplicationLocator.h"

#include "core/ApplicationDirectoryUtils.h"
#include "platform/Bundle.h"
#include "platform/Workspace.h"

QString ApplicationLocator::runningExecutable(const QString &bundleIdentifier)
{
    const QList<RunningApplication> running = Workspace::runningApplications(bundleIdentifier);
    return running.isEmpty() ? QString() : running.first().executablePath;
}

QString ApplicationLocator::containingApplication(const QString &bundleIdentifier)
{
    const QString parent = ApplicationDirectoryUtils::parentAppPathForPath(Bundle::mainBundlePath());
    if (parent.isEmpty())
        return {};
    const auto bundle = Bundle::bundleWithPath(parent);
    return bundle && bundle->bundleIdentifier() == bundleIdentifier ? parent : QString();
}
