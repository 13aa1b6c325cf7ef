#include "DirectoryListing.h"

#include "PathCodec.h"

#include <QStringDecoder>

#include <array>
#include <climits>
#include <dirent.h>
#include <memory>

namespace {

struct DirectoryCloser
{
    void operator()(DIR *directory) const { ::closedir(directory); }
};

FileAttributes::ResourceType typeOf(unsigned char recorded)
{
    switch (recorded) {
    case DT_REG:
        return FileAttributes::ResourceType::Regular;
    case DT_DIR:
        return FileAttributes::ResourceType::Directory;
    case DT_LNK:
        return FileAttributes::ResourceType::SymbolicLink;
    case DT_UNKNOWN:
        return FileAttributes::ResourceType::Unknown;
    default:
        return FileAttributes::ResourceType::Other;
    }
}

bool isDotOrDotDot(const char *name)
{
    return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

} // namespace

std::optional<std::vector<DirectoryListing::Entry>> DirectoryListing::read(const QString &path)
{
    std::vector<Entry> entries;
    const bool read = forEachEntry(path, [&entries](QStringView name, FileAttributes::ResourceType type) {
        entries.push_back({name.toString(), type});
    });
    return read ? std::optional(std::move(entries)) : std::nullopt;
}

QStringList DirectoryListing::names(const QString &path)
{
    QStringList names;
    forEachEntry(path, [&names](QStringView name, FileAttributes::ResourceType) { names.append(name.toString()); });
    names.sort();
    return names;
}

// Names are decoded as UTF-8 into one reused buffer; the rare name that is not valid
// UTF-8 is decoded by PathCodec, which keeps its bytes.
bool DirectoryListing::forEachEntry(const QString &path, const Visitor &visit)
{
    if (path.isEmpty())
        return false;
    const std::unique_ptr<DIR, DirectoryCloser> directory(::opendir(PathCodec::encode(path).constData()));
    if (!directory)
        return false;
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    std::array<QChar, NAME_MAX + 1> name; // a UTF-8 name never needs more UTF-16 units than bytes
    while (const dirent *entry = ::readdir(directory.get())) {
        if (isDotOrDotDot(entry->d_name))
            continue;
        const QChar *end = decoder.appendToBuffer(name.data(), QByteArrayView(entry->d_name));
        if (decoder.hasError()) {
            decoder.resetState();
            visit(PathCodec::decode(QByteArrayView(entry->d_name)), typeOf(entry->d_type));
            continue;
        }
        visit(QStringView(name.data(), end), typeOf(entry->d_type));
    }
    return true;
}
