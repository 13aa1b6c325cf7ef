#include "FileAttributes.h"

#include "PathCodec.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

constexpr quint64 kStatBlockSize = 512;

std::optional<struct stat> statOf(const QString &path, bool followLink)
{
    if (path.isEmpty())
        return std::nullopt;
    const QByteArray native = PathCodec::encode(path);
    struct stat status {};
    const int rc = followLink ? ::stat(native.constData(), &status) : ::lstat(native.constData(), &status);
    if (rc != 0)
        return std::nullopt;
    return status;
}

} // namespace

bool FileAttributes::exists(const QString &path)
{
    return statOf(path, true).has_value();
}

bool FileAttributes::existsNoFollow(const QString &path)
{
    return statOf(path, false).has_value();
}

bool FileAttributes::isDirectory(const QString &path)
{
    const auto status = statOf(path, true);
    return status && S_ISDIR(status->st_mode);
}

bool FileAttributes::isSymbolicLink(const QString &path)
{
    const auto status = statOf(path, false);
    return status && S_ISLNK(status->st_mode);
}

std::optional<FileAttributes::Identity> FileAttributes::directoryIdentity(const QString &path)
{
    const auto status = statOf(path, true);
    if (!status || !S_ISDIR(status->st_mode))
        return std::nullopt;
    return Identity{quint64(status->st_dev), quint64(status->st_ino)};
}

FileAttributes::ResourceType FileAttributes::resourceType(const QString &path)
{
    const auto status = statOf(path, false);
    return status ? resourceTypeOf(*status) : ResourceType::Unknown;
}

std::optional<quint64> FileAttributes::allocatedSize(const QString &path)
{
    const auto status = statOf(path, false);
    if (!status)
        return std::nullopt;
    return allocatedSizeOf(*status);
}

std::optional<quint64> FileAttributes::linkCount(const QString &path)
{
    const auto status = statOf(path, false);
    if (!status)
        return std::nullopt;
    return linkCountOf(*status);
}

bool FileAttributes::isImmutable(const QString &path)
{
    if (path.isEmpty())
        return false;
    const int fd = ::open(PathCodec::encode(path).constData(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0)
        return false;
    int flags = 0;
    const bool read = ::ioctl(fd, FS_IOC_GETFLAGS, &flags) == 0;
    ::close(fd);
    return read && (flags & FS_IMMUTABLE_FL) != 0;
}

FileAttributes::ResourceType FileAttributes::resourceTypeOf(const struct stat &status)
{
    if (S_ISREG(status.st_mode))
        return ResourceType::Regular;
    if (S_ISDIR(status.st_mode))
        return ResourceType::Directory;
    if (S_ISLNK(status.st_mode))
        return ResourceType::SymbolicLink;
    return ResourceType::Other;
}

quint64 FileAttributes::allocatedSizeOf(const struct stat &status)
{
    return status.st_blocks > 0 ? static_cast<quint64>(status.st_blocks) * kStatBlockSize : 0;
}

std::optional<quint64> FileAttributes::linkCountOf(const struct stat &status)
{
    if (S_ISDIR(status.st_mode))
        return std::nullopt;
    return static_cast<quint64>(status.st_nlink);
}
