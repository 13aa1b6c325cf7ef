#pragma once

#include <QString>

// The lock that makes one agent per user: an exclusive flock(2) on a lock file in the
// user's runtime directory, held as long as the object lives. The kernel releases it
// when the process ends, however it ends, so a crash leaves nothing to clean up.
//
// Main thread only. Owns the lock file's descriptor.
class InstanceLock
{
public:
    enum class State { Acquired, HeldElsewhere, Failed };

    // Opens (creating it 0600 when missing, never through a link) and locks the file
    // without waiting.
    explicit InstanceLock(const QString &path);
    ~InstanceLock();
    InstanceLock(const InstanceLock &) = delete;
    InstanceLock &operator=(const InstanceLock &) = delete;

    State state() const { return m_state; }
    // Why the lock could not be taken (State::Failed).
    QString errorString() const { return m_error; }
    QString path() const { return m_path; }

    // Takes the lock again when the file at the path is no longer the one locked (it
    // was deleted or replaced, so that a new start would find it free). Acquired when
    // this process holds the lock of the file now at the path.
    State reassert();

private:
    bool isLockedFileAtPath() const;

    QString m_path;
    int m_descriptor = -1;
    State m_state = State::Failed;
    QString m_error;
};
