#include "FolderSizeWalk.h"

#include "platform/FileAttributes.h"

#include <QFile>

#include <dirent.h>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

namespace {

// Directory descriptors kept open along the current branch; below this depth a
// directory is closed once read and its sub-directories are opened by path, so that a
// very deep tree cannot exhaust the process's descriptors.
constexpr int kHeldDescriptorDepth = 256;
constexpr size_t kEntryBufferSize = 64 * 1024;
constexpr int kSubdirectoryFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

bool isDotOrDotDot(const char *name)
{
    return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

class Walker
{
public:
    quint64 total() const { return m_total; }

    void walkDirectory(int fd, std::string &path, int depth)
    {
        std::vector<std::string> subdirectories;
        readEntries(fd, subdirectories);
        const bool holdDescriptor = depth < kHeldDescriptorDepth;
        if (!holdDescriptor) {
            ::close(fd);
            fd = -1;
        }
        for (const std::string &name : subdirectories)
            enterSubdirectory(fd, path, name, depth);
        if (fd >= 0)
            ::close(fd);
    }

private:
    // Measures every non-directory entry at once and returns the sub-directories, so that
    // the shared buffer is free again before the walk goes deeper.
    void readEntries(int fd, std::vector<std::string> &subdirectories)
    {
        for (;;) {
            // getdents64 fills the buffer with records laid out as struct dirent64.
            const long read = ::syscall(SYS_getdents64, fd, m_buffer.data(), m_buffer.size());
            if (read <= 0)
                return; // the end, or an unreadable directory: what was read counts
            for (long offset = 0; offset < read;) {
                const auto *entry = reinterpret_cast<const struct dirent64 *>(m_buffer.data() + offset);
                offset += entry->d_reclen;
                if (!isDotOrDotDot(entry->d_name))
                    classifyEntry(fd, entry->d_name, entry->d_type, subdirectories);
            }
        }
    }

    void classifyEntry(int fd, const char *name, unsigned char type, std::vector<std::string> &subdirectories)
    {
        if (type == DT_DIR) {
            subdirectories.emplace_back(name);
            return;
        }
        struct stat status {};
        if (::fstatat(fd, name, &status, AT_SYMLINK_NOFOLLOW) != 0)
            return;
        if (S_ISDIR(status.st_mode))
            subdirectories.emplace_back(name); // a file system without entry types
        else
            m_total += FileAttributes::allocatedSizeOf(status);
    }

    void enterSubdirectory(int parentFd, std::string &path, const std::string &name, int depth)
    {
        const size_t length = path.size();
        path.append(1, '/').append(name);
        const int fd = parentFd >= 0 ? ::openat(parentFd, name.c_str(), kSubdirectoryFlags)
                                     : ::open(path.c_str(), kSubdirectoryFlags);
        if (fd >= 0) {
            struct stat status {};
            const bool hasStatus = ::fstat(fd, &status) == 0;
            const auto links = hasStatus ? FileAttributes::linkCountOf(status) : std::nullopt;
            if (hasStatus && !(links && *links >= 2))
                walkDirectory(fd, path, depth + 1);
            else
                ::close(fd);
        } else {
            measureReplacedEntry(parentFd, path, name);
        }
        path.resize(length);
    }

    // A directory that turned into something else (a link, a file) since it was listed
    // counts as what it is now; one that cannot be opened adds nothing.
    void measureReplacedEntry(int parentFd, const std::string &path, const std::string &name)
    {
        struct stat status {};
        const int result = parentFd >= 0 ? ::fstatat(parentFd, name.c_str(), &status, AT_SYMLINK_NOFOLLOW)
                                         : ::lstat(path.c_str(), &status);
        if (result == 0 && !S_ISDIR(status.st_mode))
            m_total += FileAttributes::allocatedSizeOf(status);
    }

    std::vector<char> m_buffer = std::vector<char>(kEntryBufferSize);
    quint64 m_total = 0;
};

} // namespace

quint64 FolderSizeWalk::allocatedSizeOfContents(const QString &folder)
{
    if (folder.isEmpty())
        return 0;
    std::string path = QFile::encodeName(folder).toStdString();
    const int fd = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return 0;
    Walker walker;
    walker.walkDirectory(fd, path, 0);
    return walker.total();
}
