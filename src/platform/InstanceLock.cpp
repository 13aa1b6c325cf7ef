#include "InstanceLock.h"

#include "PathCodec.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <utility>

InstanceLock::InstanceLock(const QString &path)
    : m_path(path)
{
    m_descriptor = ::open(PathCodec::encode(path).constData(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (m_descriptor < 0) {
        m_error = QStringLiteral("cannot open the lock file %1: %2").arg(path, QString::fromLocal8Bit(std::strerror(errno)));
        return;
    }
    if (::flock(m_descriptor, LOCK_EX | LOCK_NB) == 0) {
        m_state = State::Acquired;
        return;
    }
    m_state = errno == EWOULDBLOCK ? State::HeldElsewhere : State::Failed;
    m_error = QStringLiteral("cannot lock %1: %2").arg(path, QString::fromLocal8Bit(std::strerror(errno)));
}

InstanceLock::~InstanceLock()
{
    if (m_descriptor >= 0)
        ::close(m_descriptor);
}

bool InstanceLock::isLockedFileAtPath() const
{
    struct stat onDisk {};
    struct stat held {};
    return m_state == State::Acquired && ::lstat(PathCodec::encode(m_path).constData(), &onDisk) == 0 &&
           ::fstat(m_descriptor, &held) == 0 && onDisk.st_dev == held.st_dev && onDisk.st_ino == held.st_ino;
}

InstanceLock::State InstanceLock::reassert()
{
    if (isLockedFileAtPath())
        return State::Acquired;
    // The old descriptor keeps its (now useless) lock until the new one is held.
    InstanceLock fresh(m_path);
    if (fresh.m_state == State::Acquired)
        std::swap(m_descriptor, fresh.m_descriptor);
    return fresh.m_state;
}
