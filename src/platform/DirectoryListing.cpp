#include "DirectoryListing.h"

#include <QFile>

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
    if (path.isEmpty())
        return std::nullopt;
    const std::unique_ptr<DIR, DirectoryCloser> directory(::opendir(QFile::encodeName(path).constData()));
    if (!directory)
        return std::nullopt;
    std::vector<Entry> entries;
    while (const dirent *entry = ::readdir(directory.get())) {
        if (!isDotOrDotDot(entry->d_name))
            entries.push_back({QFile::decodeName(entry->d_name), typeOf(entry->d_type)});
    }
    return entries;
}
