#include "TrustedMessageFile.h"

#include "messaging/MessageFiles.h"
#include "messaging/WatcherMessage.h"
#include "platform/PathCodec.h"
#include "platform/ScopedDescriptor.h"

#include <QFileInfo>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

bool isTrustedFolder(const struct stat &status)
{
    return S_ISDIR(status.st_mode) && (status.st_uid == ::getuid() || status.st_uid == 0) &&
           (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

bool isTrustedFile(const struct stat &status)
{
    return S_ISREG(status.st_mode) && status.st_uid == ::getuid() && status.st_size <= MessageFiles::kMaxFileSize;
}

std::optional<QByteArray> readAll(int file, qint64 size)
{
    QByteArray bytes(size, Qt::Uninitialized);
    qint64 done = 0;
    while (done < size) {
        const ssize_t count = ::read(file, bytes.data() + done, std::size_t(size - done));
        if (count <= 0)
            return std::nullopt;
        done += count;
    }
    return bytes;
}

} // namespace

std::optional<QList<PathForRemove>> TrustedMessageFile::load(const QString &path, QString *why)
{
    const QFileInfo info(path);
    const QByteArray name = PathCodec::encode(info.fileName());
    const ScopedDescriptor folder(::open(PathCodec::encode(info.absolutePath()).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    struct stat status {};
    if (folder.get() < 0 || ::fstat(folder.get(), &status) != 0 || !isTrustedFolder(status)) {
        *why = QStringLiteral("its folder is missing or can be written by others");
        return std::nullopt;
    }
    const ScopedDescriptor file(::openat(folder.get(), name.constData(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (file.get() < 0 || ::fstat(file.get(), &status) != 0 || !isTrustedFile(status)) {
        *why = QStringLiteral("not a regular file of this user's own (or too large)");
        return std::nullopt;
    }
    const auto bytes = readAll(file.get(), status.st_size);
    auto items = bytes ? WatcherMessage::fromData(*bytes) : std::nullopt;
    if (!items) {
        *why = QStringLiteral("not a watcher message with at least one valid item");
        return std::nullopt;
    }
    ::unlinkat(folder.get(), name.constData(), 0);
    return items;
}
