#include "TemporaryDirectory.h"

#include "PathCodec.h"

#include <QDir>
#include <QStandardPaths>

#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr mode_t kPrivateMode = 0700;

} // namespace

// The usual case, an XDG_RUNTIME_DIR of this user's with mode 0700, is taken as it is
// (what Qt would answer, without loading its paths machinery into the agent); anything
// else goes to Qt's rules (the fallback folder, the repaired permissions, warnings).
QString TemporaryDirectory::path()
{
    const QString given = qEnvironmentVariable("XDG_RUNTIME_DIR");
    struct stat status {};
    if (QDir::isAbsolutePath(given) && ::stat(PathCodec::encode(given).constData(), &status) == 0 &&
        S_ISDIR(status.st_mode) && status.st_uid == ::geteuid() && (status.st_mode & 0777) == kPrivateMode)
        return QDir::cleanPath(given);
    const QString runtime = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    return runtime.isEmpty() ? QString() : QDir::cleanPath(runtime);
}

bool TemporaryDirectory::isPrivateFolder(const QString &path)
{
    struct stat status {};
    return ::lstat(PathCodec::encode(path).constData(), &status) == 0 && isPrivateStatus(status);
}

bool TemporaryDirectory::isPrivateStatus(const struct stat &status)
{
    return S_ISDIR(status.st_mode) && status.st_uid == ::geteuid() && (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

QString TemporaryDirectory::privateFolder(const QString &name)
{
    const QString base = path();
    if (base.isEmpty() || name.isEmpty() || name.contains(QLatin1Char('/')))
        return {};
    const QString folder = base + QLatin1Char('/') + name;
    // mkdir fails harmlessly when the folder exists; what exists is then checked.
    ::mkdir(PathCodec::encode(folder).constData(), kPrivateMode);
    return isPrivateFolder(folder) ? folder : QString();
}
