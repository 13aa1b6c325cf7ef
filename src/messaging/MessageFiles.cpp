#include "MessageFiles.h"

#include "core/WatcherSettings.h"
#include "platform/FileAttributes.h"
#include "platform/PathCodec.h"
#include "platform/ScopedDescriptor.h"
#include "platform/TemporaryDirectory.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>

#include <cerrno>
#include <utility>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Seconds between the Unix epoch and 1 January 2001 UTC.
constexpr qint64 kReferenceDateOffset = 978307200;
constexpr int kTemporaryNameTries = 16;
// Names drawn for one message before it gives up: far more writers than ever run at once.
constexpr int kNameTries = 1000;

// The folder, opened only when it is itself a directory (not a link to one) that is
// private; -1 otherwise. What is checked is what was opened.
int openPrivateFolder(const QString &folder)
{
    ScopedDescriptor descriptor(::open(PathCodec::encode(folder).constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat status {};
    if (descriptor.get() < 0 || ::fstat(descriptor.get(), &status) != 0 || !TemporaryDirectory::isPrivateStatus(status))
        return -1;
    return descriptor.release();
}

bool writeAll(int descriptor, const QByteArray &bytes)
{
    qsizetype written = 0;
    while (written < bytes.size()) {
        const ssize_t count = ::write(descriptor, bytes.constData() + written, std::size_t(bytes.size() - written));
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return false;
        written += count;
    }
    return true;
}

// A new file in the folder, named after the final name with a random suffix and
// holding the bytes; its name, or nothing when it could not be written (and then it
// is gone again). The runtime directory lives in memory, so nothing is synced.
QByteArray writeTemporaryFile(int folder, const QByteArray &finalName, const QByteArray &bytes)
{
    for (int attempt = 0; attempt < kTemporaryNameTries; ++attempt) {
        const QByteArray name = '.' + finalName + '.' + QByteArray::number(QRandomGenerator::system()->generate64(), 36);
        const int file = ::openat(folder, name.constData(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
        if (file < 0) {
            if (errno == EEXIST)
                continue;
            return {};
        }
        const bool written = writeAll(file, bytes);
        if (::close(file) == 0 && written)
            return name;
        ::unlinkat(folder, name.constData(), 0);
        return {};
    }
    return {};
}

// Gives the file its final name unless something is already there. File systems
// without RENAME_NOREPLACE get a hard link, which refuses an existing name as well.
bool renameWithoutReplacing(int folder, const QByteArray &from, const QByteArray &to)
{
    if (::renameat2(folder, from.constData(), folder, to.constData(), RENAME_NOREPLACE) == 0)
        return true;
    if (errno != EINVAL && errno != ENOSYS)
        return false;
    if (::linkat(folder, from.constData(), folder, to.constData(), 0) != 0)
        return false;
    ::unlinkat(folder, from.constData(), 0);
    return true;
}

} // namespace

QString MessageFiles::folder()
{
    return TemporaryDirectory::privateFolder(WatcherSettings::GetInstance().getHelperAppBundleID());
}

quint64 MessageFiles::secondsSinceReferenceDate()
{
    const qint64 seconds = QDateTime::currentSecsSinceEpoch() - kReferenceDateOffset;
    return seconds > 0 ? quint64(seconds) : 0;
}

QString MessageFiles::randomString(std::atomic<quint64> &counter)
{
    const quint64 number = ++counter;
    return QStringLiteral("random_%1-%2").arg(number).arg(secondsSinceReferenceDate());
}

QString MessageFiles::uniqueFileName(const QString &folder, const QString &suffix, std::atomic<quint64> &counter)
{
    QString name;
    do
        name = randomString(counter) + suffix;
    while (FileAttributes::existsNoFollow(folder + QLatin1Char('/') + name));
    return name;
}

// The write goes through a descriptor of the folder, opened without following a link
// and checked to be private, so that a link planted at the folder's place, or the
// folder being swapped after it was chosen, cannot send the file elsewhere. The bytes
// go to a new temporary file (O_CREAT | O_EXCL never follows a link), which then takes
// the final name with RENAME_NOREPLACE: anything found at that name, a link planted
// there included, makes the write fail and stays untouched.
QString MessageFiles::writeNewFile(const QString &path, const QByteArray &bytes)
{
    const QFileInfo target(path);
    const QString name = target.fileName();
    return writeFile(target.path(), bytes, [&name, tried = false]() mutable {
        return std::exchange(tried, true) ? QString() : name;
    });
}

// Another writer (a second tarnwick-msg, whose counter also starts at 1) may take the
// free name drawn between the check and the rename: the next name is drawn then.
QString MessageFiles::writeNewUniqueFile(const QString &folder, const QString &suffix, std::atomic<quint64> &counter,
                                         const QByteArray &bytes)
{
    return writeFile(folder, bytes, [&, tries = 0]() mutable {
        return ++tries > kNameTries ? QString() : uniqueFileName(folder, suffix, counter);
    });
}

QString MessageFiles::writeFile(const QString &folder, const QByteArray &bytes, const std::function<QString()> &nextName)
{
    QString name = nextName();
    if (name.isEmpty())
        return {};
    const ScopedDescriptor descriptor(openPrivateFolder(folder));
    if (descriptor.get() < 0)
        return {};
    const QByteArray temporary = writeTemporaryFile(descriptor.get(), PathCodec::encode(name), bytes);
    if (temporary.isEmpty())
        return {};
    for (; !name.isEmpty(); name = nextName()) {
        if (renameWithoutReplacing(descriptor.get(), temporary, PathCodec::encode(name)))
            return folder + QLatin1Char('/') + name;
        if (errno != EEXIST)
            break;
    }
    ::unlinkat(descriptor.get(), temporary.constData(), 0);
    return {};
}

std::optional<QByteArray> MessageFiles::readFile(const QString &path)
{
    const int descriptor = ::open(PathCodec::encode(path).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (descriptor < 0)
        return std::nullopt;
    QFile file;
    if (!file.open(descriptor, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
        ::close(descriptor);
        return std::nullopt;
    }
    struct stat status {};
    if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode) || status.st_size > kMaxFileSize)
        return std::nullopt;
    // The size checked above bounds the read, whatever the file does meanwhile.
    QByteArray bytes = file.read(status.st_size);
    if (file.error() != QFileDevice::NoError)
        return std::nullopt;
    return bytes;
}
