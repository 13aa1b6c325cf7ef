#include "BoundedFile.h"

#include "PathCodec.h"
#include "ScopedDescriptor.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

int BoundedFile::openRegularFile(const QString &path, FinalLink link)
{
    if (path.isEmpty())
        return -1;
    // Looked at first, so that nothing but a regular file is ever opened (a device may
    // act on being opened); opened non-blocking all the same, and what was opened is
    // checked again, as the path may have been replaced in between.
    const QByteArray name = PathCodec::encode(path);
    struct stat status {};
    const int looked = link == FinalLink::Refuse ? ::lstat(name.constData(), &status) : ::stat(name.constData(), &status);
    if (looked != 0 || !S_ISREG(status.st_mode))
        return -1;
    const int flags = O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY | (link == FinalLink::Refuse ? O_NOFOLLOW : 0);
    ScopedDescriptor descriptor(::open(name.constData(), flags));
    if (descriptor.get() < 0 || ::fstat(descriptor.get(), &status) != 0 || !S_ISREG(status.st_mode))
        return -1;
    return descriptor.release();
}

std::optional<QByteArray> BoundedFile::read(const QString &path, qint64 maxSize, FinalLink link)
{
    const ScopedDescriptor descriptor(openRegularFile(path, link));
    struct stat status {};
    if (descriptor.get() < 0 || maxSize < 0 || ::fstat(descriptor.get(), &status) != 0 || status.st_size > maxSize)
        return std::nullopt;
    // One byte more than the file held when it was opened: a file that grows meanwhile
    // fills it and is refused, as it may be half written.
    QByteArray contents(qint64(status.st_size) + 1, Qt::Uninitialized);
    qint64 filled = 0;
    while (filled < contents.size()) {
        const ssize_t count = ::read(descriptor.get(), contents.data() + filled, size_t(contents.size() - filled));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return std::nullopt;
        if (count == 0)
            break;
        filled += count;
    }
    if (filled == contents.size())
        return std::nullopt;
    contents.truncate(filled);
    return contents;
}
