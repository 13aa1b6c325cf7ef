#include "FolderSizeWalk.h"

#include "DirectoryBranch.h"
#include "platform/FileAttributes.h"
#include "platform/PathCodec.h"

#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <unordered_set>
#include <vector>

namespace {

constexpr size_t kEntryBufferSize = 64 * 1024;
constexpr int kDirectoryFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

using Identity = DirectoryBranch::Identity;

struct IdentityHash
{
    size_t operator()(const Identity &id) const noexcept
    {
        return std::hash<quint64>()(quint64(id.inode) * 0x9E3779B97F4A7C15ull ^ quint64(id.device));
    }
};

Identity identityOf(const struct stat &status)
{
    return {status.st_dev, status.st_ino};
}

bool isDotOrDotDot(const char *name)
{
    return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

// A depth-first walk without recursion, so that the depth of a tree costs no stack.
class Walker
{
public:
    explicit Walker(const FolderSizeWalk::IsCancelled &isCancelled) : m_isCancelled(isCancelled) {}

    // Takes over the descriptor of the top directory.
    std::optional<quint64> run(int topFd)
    {
        enter(topFd);
        while (!m_branch.isEmpty() && !isCancelled()) {
            if (std::optional<std::string> name = m_branch.nextSubdirectory())
                openSubdirectory(*name);
            else
                m_branch.leave();
        }
        return isCancelled() ? std::nullopt : std::optional<quint64>(m_total);
    }

private:
    bool isCancelled()
    {
        m_cancelled = m_cancelled || (m_isCancelled && m_isCancelled());
        return m_cancelled;
    }

    void enter(int fd)
    {
        struct stat status {};
        const bool walkable = ::fstat(fd, &status) == 0 && FileAttributes::linkCountOf(status).value_or(0) < 2;
        if (!walkable || !m_seen.insert(identityOf(status)).second) {
            ::close(fd);
            return;
        }
        std::vector<std::string> subdirectories;
        readEntries(fd, subdirectories);
        m_branch.enter(fd, identityOf(status), std::move(subdirectories));
    }

    void openSubdirectory(const std::string &name)
    {
        for (;;) {
            const int fd = ::openat(m_branch.descriptor(), name.c_str(), kDirectoryFlags);
            if (fd >= 0)
                return enter(fd);
            // Other threads hold descriptors too: when the process runs short, the walk
            // makes do with fewer rather than skip the sub-directory.
            if ((errno != EMFILE && errno != ENFILE) || !m_branch.releaseShallowest())
                return measureReplacedEntry(name);
        }
    }

    // Measures every non-directory entry at once and collects the sub-directories, so
    // that the shared buffer is free again before the walk goes deeper.
    void readEntries(int fd, std::vector<std::string> &subdirectories)
    {
        while (!isCancelled()) {
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
            countFile(status);
    }

    // A directory that turned into something else (a link, a file) since it was listed
    // counts as what it is now; one that cannot be opened adds nothing.
    void measureReplacedEntry(const std::string &name)
    {
        struct stat status {};
        if (::fstatat(m_branch.descriptor(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 && !S_ISDIR(status.st_mode))
            countFile(status);
    }

    // A file with one link has one entry, met once; others are counted at their first.
    void countFile(const struct stat &status)
    {
        if (status.st_nlink > 1 && !m_seen.insert(identityOf(status)).second)
            return;
        m_total += FileAttributes::allocatedSizeOf(status);
    }

    const FolderSizeWalk::IsCancelled &m_isCancelled;
    bool m_cancelled = false;
    DirectoryBranch m_branch{FolderSizeWalk::kDescriptorBudget};
    std::unordered_set<Identity, IdentityHash> m_seen; // directories, and files with several links
    std::vector<char> m_buffer = std::vector<char>(kEntryBufferSize);
    quint64 m_total = 0;
};

} // namespace

std::optional<quint64> FolderSizeWalk::allocatedSizeOfItem(const QString &path, const IsCancelled &isCancelled)
{
    const QByteArray encoded = PathCodec::encode(path);
    if (encoded.isEmpty() || encoded.contains('\0'))
        return 0; // a name the system would cut short names something else
    const int fd = ::open(encoded.constData(), kDirectoryFlags);
    if (fd >= 0)
        return Walker(isCancelled).run(fd);
    struct stat status {};
    if (::lstat(encoded.constData(), &status) != 0 || S_ISDIR(status.st_mode))
        return 0; // nothing there, or a folder that cannot be read
    return FileAttributes::allocatedSizeOf(status);
}
