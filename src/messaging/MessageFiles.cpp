#include "MessageFiles.h"

#include "core/WatcherSettings.h"
#include "platform/FileAttributes.h"
#include "platform/TemporaryDirectory.h"

#include <QDateTime>
#include <QFile>
#include <QSaveFile>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Seconds between the Unix epoch and 1 January 2001 UTC.
constexpr qint64 kReferenceDateOffset = 978307200;

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

// QSaveFile writes a temporary file beside the target and renames it into place, and
// rename() replaces whatever is at the target without following it. But QSaveFile
// resolves a symbolic link that already sits at the target when it opens, and would
// then write to the link's target. The name was chosen free, so anything found there
// once the file is open was planted, and the write is abandoned. (A link planted and
// removed again between the name check and the open is left to the folder being the
// user's own and closed to others.)
QString MessageFiles::writeNewFile(const QString &path, const QByteArray &bytes)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return {};
    if (FileAttributes::existsNoFollow(path) || file.write(bytes) != bytes.size()) {
        file.cancelWriting();
        return {};
    }
    return file.commit() ? path : QString();
}

std::optional<QByteArray> MessageFiles::readFile(const QString &path)
{
    const int descriptor = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
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
