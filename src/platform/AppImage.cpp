#include "AppImage.h"

#include "BoundedFile.h"
#include "KeyFile.h"
#include "ScopedDescriptor.h"
#include "SquashfsImage.h"
#include "TrashInfo.h"

#include <QDir>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QtEndian>

#include <cerrno>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

// Why an AppImage was not read; under the Trash watching's rules, as it is the
// watcher that asks.
Q_LOGGING_CATEGORY(lcAppImage, "tarnwick.watching.appimage", QtWarningMsg)

namespace {

constexpr qsizetype kMagicSize = 11;
constexpr qsizetype kElf64HeaderSize = 64;
constexpr qsizetype kElf32HeaderSize = 52;
const QByteArray kDesktopSuffix = QByteArrayLiteral(".desktop");

struct Identity
{
    QString desktopId;
    DesktopEntry entry;
};

// Reads bytes of the whole file at an absolute offset.
using FileReader = SquashfsImage::Reader;

template <typename T>
quint64 field(const QByteArray &header, qsizetype offset, bool bigEndian)
{
    const auto *bytes = reinterpret_cast<const uchar *>(header.constData() + offset);
    return bigEndian ? qFromBigEndian<T>(bytes) : qFromLittleEndian<T>(bytes);
}

// Where the ELF file ends: the end of its section header table, as the AppImage
// runtime finds its payload. 0 when the header is not one of a 32 or 64-bit ELF file.
quint64 elfSize(const QByteArray &header)
{
    const bool is64 = header.size() >= kElf64HeaderSize && header.at(4) == 2;
    const bool is32 = header.size() >= kElf32HeaderSize && header.at(4) == 1;
    const bool bigEndian = header.size() > 5 && header.at(5) == 2;
    if (!is64 && !is32)
        return 0;
    const quint64 tableOffset = is64 ? field<quint64>(header, 0x28, bigEndian) : field<quint32>(header, 0x20, bigEndian);
    const quint64 entrySize = field<quint16>(header, is64 ? 0x3A : 0x2E, bigEndian);
    const quint64 entryCount = field<quint16>(header, is64 ? 0x3C : 0x30, bigEndian);
    // Both factors are 16-bit: the table's size cannot overflow, its end only with a
    // forged offset, which is refused.
    const quint64 tableSize = entrySize * entryCount;
    return tableOffset > ~quint64(0) - tableSize ? 0 : tableOffset + tableSize;
}

bool isPlainName(const QByteArray &name)
{
    return !name.isEmpty() && name != "." && name != ".." && !name.contains('/') && !name.contains('\0');
}

// The one "*.desktop" name at the image's root.
std::optional<QByteArray> desktopEntryName(SquashfsImage &image)
{
    const auto names = image.rootEntryNames();
    if (!names)
        return std::nullopt;
    std::optional<QByteArray> found;
    for (const QByteArray &name : *names) {
        if (!name.endsWith(kDesktopSuffix))
            continue;
        if (found || !isPlainName(name) || name.size() == kDesktopSuffix.size())
            return std::nullopt;
        found = name;
    }
    return found;
}

std::optional<Identity> readIdentity(const FileReader &read, quint64 fileSize)
{
    QByteArray header(kElf64HeaderSize, '\0');
    if (fileSize < quint64(kMagicSize) || !read(0, header.data(), size_t(qMin<quint64>(fileSize, kElf64HeaderSize))) ||
        !AppImage::hasAppImageMagic(header))
        return std::nullopt;
    const quint64 offset = elfSize(header.first(qsizetype(qMin<quint64>(fileSize, kElf64HeaderSize))));
    if (offset == 0 || offset >= fileSize) {
        qCDebug(lcAppImage) << "no image after the ELF file";
        return std::nullopt;
    }
    const auto image = SquashfsImage::open(
        [&read, offset](quint64 at, void *buffer, size_t size) { return read(offset + at, buffer, size); },
        fileSize - offset);
    const auto name = image ? desktopEntryName(*image) : std::nullopt;
    const auto data = name ? image->readFile(*name, KeyFile::kMaxSize) : std::nullopt;
    const auto entry = data ? DesktopEntry::fromData(*data) : std::nullopt;
    if (!entry) {
        qCDebug(lcAppImage) << (image ? "no single readable desktop entry at the image's root" : "no squashfs image");
        return std::nullopt;
    }
    return Identity{QString::fromUtf8(name->chopped(kDesktopSuffix.size())), *entry};
}

bool readFully(int descriptor, quint64 offset, void *buffer, size_t size)
{
    auto *bytes = static_cast<char *>(buffer);
    while (size > 0) {
        const ssize_t count = ::pread(descriptor, bytes, size, off_t(offset));
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return false;
        bytes += count;
        offset += quint64(count);
        size -= size_t(count);
    }
    return true;
}

} // namespace

AppImage::AppImage(QString path, QString desktopId, DesktopEntry entry)
    : m_sPath(std::move(path))
    , m_sOriginalPath(m_sPath)
    , m_sDesktopId(std::move(desktopId))
    , m_entry(std::move(entry))
{
}

bool AppImage::hasAppImageMagic(const QByteArray &header)
{
    return header.size() >= kMagicSize && header.startsWith("\x7F" "ELF") && header.at(8) == 'A' &&
           header.at(9) == 'I' && header.at(10) == 2;
}

bool AppImage::isAppImageFile(const QString &path)
{
    const ScopedDescriptor descriptor(BoundedFile::openRegularFile(path, BoundedFile::FinalLink::Refuse));
    QByteArray header(kMagicSize, '\0');
    return descriptor.get() >= 0 && readFully(descriptor.get(), 0, header.data(), size_t(header.size())) &&
           hasAppImageMagic(header);
}

std::optional<AppImage> AppImage::appImageWithPath(const QString &path)
{
    const ScopedDescriptor descriptor(BoundedFile::openRegularFile(path, BoundedFile::FinalLink::Refuse));
    struct stat status {};
    if (descriptor.get() < 0 || ::fstat(descriptor.get(), &status) != 0)
        return std::nullopt;
    const int file = descriptor.get();
    const auto identity = readIdentity(
        [file](quint64 offset, void *buffer, size_t size) { return readFully(file, offset, buffer, size); },
        quint64(status.st_size));
    if (!identity) {
        qCDebug(lcAppImage) << path << "is not a readable AppImage";
        return std::nullopt;
    }
    AppImage appImage(QDir::cleanPath(QFileInfo(path).absoluteFilePath()), identity->desktopId, identity->entry);
    const QString original = TrashInfo::originalPathOf(appImage.m_sPath);
    if (!original.isNull())
        appImage.m_sOriginalPath = original;
    return appImage;
}

std::optional<AppImage> AppImage::appImageWithData(const QString &path, const QByteArray &bytes)
{
    const auto identity = readIdentity(
        [&bytes](quint64 offset, void *buffer, size_t size) {
            if (offset > quint64(bytes.size()) || size > quint64(bytes.size()) - offset)
                return false;
            std::memcpy(buffer, bytes.constData() + offset, size);
            return true;
        },
        quint64(bytes.size()));
    if (!identity)
        return std::nullopt;
    return AppImage(path, identity->desktopId, identity->entry);
}

QString AppImage::displayName() const
{
    const QString named = name();
    return named.trimmed().isEmpty() ? m_sDesktopId : named;
}

QString AppImage::programName() const
{
    const QString program = m_entry.program();
    return program.mid(program.lastIndexOf(QLatin1Char('/')) + 1);
}
