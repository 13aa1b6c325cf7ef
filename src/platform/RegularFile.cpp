#include "RegularFile.h"

#include "ScopedDescriptor.h"

#include <QFile>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

std::optional<QByteArray> RegularFile::read(const QString &path, qint64 maxSize)
{
    const QByteArray name = QFile::encodeName(path);
    struct stat status {};
    // Looked at first so that nothing but a regular file is ever opened; opened
    // non-blocking all the same, and what was opened is checked again, as the path may
    // have been replaced in between.
    if (name.isEmpty() || ::stat(name.constData(), &status) != 0 || !S_ISREG(status.st_mode))
        return std::nullopt;
    const ScopedDescriptor file(::open(name.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
    if (file.get() < 0 || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode) || status.st_size > maxSize)
        return std::nullopt;
    // One byte more than allowed tells a file that grew past the limit meanwhile.
    QByteArray bytes(qsizetype(qMin<qint64>(status.st_size, maxSize) + 1), Qt::Uninitialized);
    qsizetype length = 0;
    while (length < bytes.size()) {
        const ssize_t got = ::read(file.get(), bytes.data() + length, size_t(bytes.size() - length));
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return std::nullopt;
        if (got == 0)
            break;
        length += got;
        if (length == bytes.size() && length <= maxSize)
            bytes.resize(qMin<qint64>(length * 2, maxSize + 1)); // it grew: read on, within the limit
    }
    if (length > maxSize)
        return std::nullopt;
    bytes.truncate(length);
    return bytes;
}
