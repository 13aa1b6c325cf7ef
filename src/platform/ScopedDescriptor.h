#pragma once

#include <unistd.h>

#include <utility>

// Closes a file descriptor when it goes out of scope, unless released, so that every
// return of a function that opened it lets it go.
//
// Threads: a plain value of one thread. Ownership: owns the descriptor until release();
// moving hands it on.
class ScopedDescriptor
{
public:
    ScopedDescriptor() = default;
    explicit ScopedDescriptor(int descriptor) : m_descriptor(descriptor) {}
    ScopedDescriptor(ScopedDescriptor &&other) noexcept : m_descriptor(other.release()) {}
    ~ScopedDescriptor()
    {
        if (m_descriptor >= 0)
            ::close(m_descriptor);
    }
    ScopedDescriptor(const ScopedDescriptor &) = delete;
    ScopedDescriptor &operator=(const ScopedDescriptor &) = delete;

    int get() const { return m_descriptor; }
    bool isValid() const { return m_descriptor >= 0; }
    int release() { return std::exchange(m_descriptor, -1); }

private:
    int m_descriptor = -1;
};
