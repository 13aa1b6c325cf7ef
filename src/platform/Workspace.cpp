#include "Workspace.h"

#include "Bundle.h"
#include "DirectoryListing.h"
#include "FileAttributes.h"
#include "PackageRules.h"
#include "PathCodec.h"
#include "UserDatabase.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QProcess>

#include <mutex>
#include <sys/stat.h>
#include <unistd.h>

namespace {

std::mutex g_lock;
QString g_systemApplicationsFolder;

bool hasIdentifier(const QString &bundlePath, const QString &bundleIdentifier)
{
    const auto bundle = Bundle::bundleWithPath(bundlePath);
    return bundle && bundle->bundleIdentifier().compare(bundleIdentifier, Qt::CaseInsensitive) == 0;
}

QStringList entriesOf(const QString &folder)
{
    return DirectoryListing::names(folder);
}

// Bundles at the top of the folder and one folder below, not entering bundles.
void collectApplications(const QString &folder, int levels, const QString &bundleIdentifier, QStringList &found)
{
    for (const QString &name : entriesOf(folder)) {
        const QString path = folder + QLatin1Char('/') + name;
        if (PackageRules::isApplication(path)) {
            if (hasIdentifier(path, bundleIdentifier))
                found.append(path);
        } else if (levels > 1 && !PackageRules::isPackage(path) && FileAttributes::isDirectory(path)) {
            collectApplications(path, levels - 1, bundleIdentifier, found);
        }
    }
}

QString enclosingApplication(const QString &executable)
{
    QString candidate = QFileInfo(executable).path();
    while (candidate.size() > 1) {
        if (PackageRules::hasApplicationExtension(candidate))
            return candidate;
        candidate = QFileInfo(candidate).path();
    }
    return {};
}

bool isOwnProcess(const QString &procEntry)
{
    struct stat status {};
    return ::stat(PathCodec::encode(procEntry).constData(), &status) == 0 && status.st_uid == ::getuid();
}

QString executableOf(const QString &procEntry)
{
    QString target = QFile::symLinkTarget(procEntry + QStringLiteral("/exe"));
    const QString deleted = QStringLiteral(" (deleted)");
    if (target.endsWith(deleted))
        target.chop(deleted.size());
    return target;
}

// A sandboxed process (--home) starts applications on the same home: they find it in
// TARNWICK_HOME, and never touch the real one.
QProcessEnvironment environmentForStartedApplication()
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    const QString home = UserDatabase::homeOverride();
    if (!home.isNull())
        environment.insert(QStringLiteral("TARNWICK_HOME"), home);
    return environment;
}

} // namespace

QString Workspace::systemApplicationsFolder()
{
    std::lock_guard guard(g_lock);
    return g_systemApplicationsFolder.isEmpty() ? QStringLiteral("/Applications") : g_systemApplicationsFolder;
}

void Workspace::setSystemApplicationsFolder(const QString &folder)
{
    std::lock_guard guard(g_lock);
    g_systemApplicationsFolder = folder;
}

QStringList Workspace::applicationFolders()
{
    QStringList folders{systemApplicationsFolder()};
    const QString home = UserDatabase::homeDirectory();
    if (!home.isEmpty())
        folders.append(home + QStringLiteral("/Applications"));
    return folders;
}

QStringList Workspace::installedApplications(const QString &bundleIdentifier)
{
    QStringList found;
    if (bundleIdentifier.isEmpty())
        return found;
    for (const QString &folder : applicationFolders())
        collectApplications(folder, 2, bundleIdentifier, found);
    return found;
}

QString Workspace::urlForApplicationWithBundleIdentifier(const QString &bundleIdentifier)
{
    const QStringList found = installedApplications(bundleIdentifier);
    return found.isEmpty() ? QString() : found.first();
}

QList<RunningApplication> Workspace::runningApplications(const QString &bundleIdentifier)
{
    QList<RunningApplication> running;
    if (bundleIdentifier.isEmpty())
        return running;
    QHash<QString, bool> matches; // bundle path -> whether it carries the identifier
    const QDir proc(QStringLiteral("/proc"));
    for (const QString &name : proc.entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name)) {
        bool isPid = false;
        const qint64 pid = name.toLongLong(&isPid);
        const QString entry = proc.filePath(name);
        if (!isPid || !isOwnProcess(entry))
            continue;
        const QString executable = executableOf(entry);
        const QString bundlePath = enclosingApplication(executable);
        if (bundlePath.isEmpty())
            continue;
        if (!matches.contains(bundlePath))
            matches.insert(bundlePath, hasIdentifier(bundlePath, bundleIdentifier));
        if (matches.value(bundlePath))
            running.append(RunningApplication{pid, executable, bundlePath});
    }
    return running;
}

bool Workspace::startDetached(const QString &program, const QStringList &arguments, const QString &folder)
{
    QProcess process;
    process.setProgram(program);
    process.setArguments(arguments);
    process.setWorkingDirectory(folder);
    process.setProcessEnvironment(environmentForStartedApplication());
    return process.startDetached();
}

bool Workspace::openFile(const QString &file, const QString &application)
{
    if (application.isEmpty())
        return false;
    QString executable = application;
    if (FileAttributes::isDirectory(application)) {
        const auto bundle = Bundle::bundleWithPath(application);
        executable = bundle ? bundle->executablePath() : QString();
    }
    if (executable.isEmpty() || !QFileInfo(executable).isExecutable() || FileAttributes::isDirectory(executable))
        return false;
    return startDetached(executable, {file}, QFileInfo(executable).absolutePath());
}

// The desktop's own opener, as a desktop's file manager would use it: it needs no
// display library in this process.
bool Workspace::openUrl(const QUrl &url)
{
    return url.isValid() && startDetached(QStringLiteral("xdg-open"), {url.toString(QUrl::FullyEncoded)}, QString());
}

bool Workspace::isFilePackageAtPath(const QString &path)
{
    return PackageRules::isPackage(path);
}
