#include "HomeTrash.h"

#include "TrashInfo.h"
#include "core/StringFileManager.h"
#include "platform/PathCodec.h"

#include <QDateTime>
#include <QFileInfo>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr long kMaxNameCounter = 100000;
constexpr qint64 kMaxInfoSize = 64 * 1024;

QByteArray infoName(const QString &name)
{
    return PathCodec::encode(name) + ".trashinfo";
}

bool isFree(int folder, const QByteArray &name)
{
    struct stat status {};
    return ::fstatat(folder, name.constData(), &status, AT_SYMLINK_NOFOLLOW) != 0 && errno == ENOENT;
}

bool writeAll(int descriptor, const QByteArray &bytes)
{
    return ::write(descriptor, bytes.constData(), std::size_t(bytes.size())) == bytes.size();
}

} // namespace

HomeTrash::HomeTrash(QString filesFolder, int files, int info, dev_t device)
    : m_filesFolder(std::move(filesFolder))
    , m_files(files)
    , m_info(info)
    , m_device(device)
{
}

std::unique_ptr<HomeTrash> HomeTrash::open(const QString &filesFolder)
{
    constexpr int flags = O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
    const QString infoFolder = QFileInfo(filesFolder).path() + QStringLiteral("/info");
    ScopedDescriptor files(::open(PathCodec::encode(filesFolder).constData(), flags));
    ScopedDescriptor info(::open(PathCodec::encode(infoFolder).constData(), flags));
    struct stat status {};
    if (files.get() < 0 || info.get() < 0 || ::fstat(files.get(), &status) != 0)
        return nullptr;
    return std::unique_ptr<HomeTrash>(new HomeTrash(filesFolder, files.release(), info.release(), status.st_dev));
}

QString HomeTrash::reserve(const QString &name, const QString &originalPath)
{
    const QByteArray info = TrashInfo::compose(originalPath, QDateTime::currentDateTime());
    for (long counter = 1; counter <= kMaxNameCounter; ++counter) {
        const QString candidate = counter == 1 ? name : StringFileManager::nameWithCounter(name, counter);
        if (!isFree(m_files.get(), PathCodec::encode(candidate)))
            continue;
        const int file = ::openat(m_info.get(), infoName(candidate).constData(),
                                  O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
        if (file < 0 && errno == EEXIST)
            continue;
        if (file < 0)
            return {};
        const bool written = writeAll(file, info);
        if (::close(file) == 0 && written)
            return candidate;
        release(candidate);
        return {};
    }
    return {};
}

void HomeTrash::release(const QString &name)
{
    ::unlinkat(m_info.get(), infoName(name).constData(), 0);
}

int HomeTrash::moveIn(int folder, const QByteArray &item, const QString &reserved)
{
    const QByteArray target = PathCodec::encode(reserved);
    return ::renameat2(folder, item.constData(), m_files.get(), target.constData(), RENAME_NOREPLACE) == 0 ? 0 : errno;
}

int HomeTrash::takeOut(const QString &name, int folder, const QByteArray &item)
{
    const QByteArray source = PathCodec::encode(name);
    if (::renameat2(m_files.get(), source.constData(), folder, item.constData(), RENAME_NOREPLACE) != 0)
        return errno;
    release(name);
    return 0;
}

std::optional<QByteArray> HomeTrash::readInfo(const QString &name) const
{
    const ScopedDescriptor file(::openat(m_info.get(), infoName(name).constData(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat status {};
    if (file.get() < 0 || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode) || status.st_size > kMaxInfoSize)
        return std::nullopt;
    QByteArray bytes(status.st_size, Qt::Uninitialized);
    const ssize_t count = ::read(file.get(), bytes.data(), std::size_t(bytes.size()));
    if (count < 0)
        return std::nullopt;
    bytes.truncate(count);
    return bytes;
}
