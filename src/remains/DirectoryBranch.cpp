#include "DirectoryBranch.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace {

void closeDescriptor(int fd)
{
    if (fd >= 0)
        ::close(fd);
}

} // namespace

DirectoryBranch::DirectoryBranch(int descriptorBudget)
    : m_budget(descriptorBudget > 1 ? size_t(descriptorBudget) : 1)
{
}

DirectoryBranch::~DirectoryBranch()
{
    for (const Frame &frame : m_frames)
        closeDescriptor(frame.fd);
}

void DirectoryBranch::enter(int fd, Identity identity, std::vector<std::string> subdirectories)
{
    m_frames.push_back(Frame{fd, identity, std::move(subdirectories), 0});
    if (m_frames.size() - m_firstHeld > m_budget)
        releaseShallowest();
}

std::optional<std::string> DirectoryBranch::nextSubdirectory()
{
    Frame &frame = m_frames.back();
    if (frame.next == frame.subdirectories.size())
        return std::nullopt;
    return std::move(frame.subdirectories[frame.next++]);
}

void DirectoryBranch::leave()
{
    const int fd = m_frames.back().fd;
    m_frames.pop_back();
    if (!m_frames.empty() && m_firstHeld == m_frames.size())
        reopenParent(fd);
    ::close(fd);
}

bool DirectoryBranch::releaseShallowest()
{
    if (m_firstHeld + 1 >= m_frames.size())
        return false;
    closeDescriptor(std::exchange(m_frames[m_firstHeld].fd, -1));
    ++m_firstHeld;
    return true;
}

void DirectoryBranch::reopenParent(int childFd)
{
    const int fd = ::openat(childFd, "..", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    struct stat status {};
    if (fd >= 0 && ::fstat(fd, &status) == 0 && Identity{status.st_dev, status.st_ino} == m_frames.back().identity) {
        m_frames.back().fd = fd;
        m_firstHeld = m_frames.size() - 1;
        return;
    }
    closeDescriptor(fd);
    m_frames.clear(); // none of them holds a descriptor
    m_firstHeld = 0;
}
