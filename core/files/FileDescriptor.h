#pragma once

#include <unistd.h>
#include <utility>

namespace velquor {

// Owns one POSIX descriptor; closes it unless closed explicitly first.
class FileDescriptor {
public:
    explicit FileDescriptor(int fd = -1) noexcept : m_fd(fd) {}
    ~FileDescriptor() {
        if (m_fd >= 0) {
            ::close(m_fd);
        }
    }
    FileDescriptor(FileDescriptor&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(m_fd, other.m_fd);
        return *this;
    }

    int get() const noexcept { return m_fd; }
    bool isOpen() const noexcept { return m_fd >= 0; }

    // For callers that must know: close() can report a deferred write error.
    int close() noexcept { return ::close(std::exchange(m_fd, -1)); }

private:
    int m_fd;
};

} // namespace velquor
