#pragma once

#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

// The current branch of a depth-first directory walk, from the top down: each
// directory with the sub-directories still to enter.
//
// No paths are kept, so depth costs neither path length nor descriptors: at most the
// budget's number of directories hold a descriptor, the deepest ones. Going deeper
// gives up the shallowest; leaving a directory whose parent gave its descriptor up
// opens the parent again through "..", checked to be the same directory. If it is not
// (the branch was moved or removed meanwhile), nothing above can be reached any more
// and the branch ends.
//
// A plain value of one thread; owns the descriptors it holds.
class DirectoryBranch
{
public:
    struct Identity
    {
        dev_t device = 0;
        ino_t inode = 0;
        bool operator==(const Identity &) const = default;
    };

    explicit DirectoryBranch(int descriptorBudget);
    ~DirectoryBranch();
    DirectoryBranch(const DirectoryBranch &) = delete;
    DirectoryBranch &operator=(const DirectoryBranch &) = delete;

    bool isEmpty() const { return m_frames.empty(); }
    // Takes over the descriptor of a directory entered below the current one.
    void enter(int fd, Identity identity, std::vector<std::string> subdirectories);
    // The current directory's descriptor, which is always held.
    int descriptor() const { return m_frames.back().fd; }
    // The current directory's next sub-directory to enter; nullopt once all were given.
    std::optional<std::string> nextSubdirectory();
    // Leaves the current directory for its parent.
    void leave();
    // Gives up the descriptor of the shallowest directory holding one, never the current
    // one's; false when there is no such directory.
    bool releaseShallowest();

private:
    struct Frame
    {
        int fd = -1; // -1 once given up
        Identity identity;
        std::vector<std::string> subdirectories;
        size_t next = 0;
    };

    void reopenParent(int childFd);

    const size_t m_budget;
    std::vector<Frame> m_frames;
    size_t m_firstHeld = 0; // the frames from here to the end hold their descriptors
};
