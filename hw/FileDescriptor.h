// Owns a descriptor while a device is being set up.
#pragma once

#include <unistd.h>

#include <cerrno>

// Closes its descriptor at the end of the scope unless release() has handed it on. -1 means none. errno is
// kept across the close, so that the caller can still report why the set-up failed.
class FileDescriptor {
public:
    explicit FileDescriptor(int fd) : m_fd(fd) {}
    ~FileDescriptor() {
        if (isOpen()) {
            const int error = errno;
            close(m_fd);
            errno = error;
        }
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;

    [[nodiscard]] bool isOpen() const { return m_fd >= 0; }
    [[nodiscard]] int get() const { return m_fd; }

    // Hands the descriptor to the caller, who closes it.
    [[nodiscard]] int release() {
        const int fd = m_fd;
        m_fd = -1;
        return fd;
    }

private:
    int m_fd;
};

// Closes the descriptor kept in a device record unless it is -1, and marks the record as closed.
inline void closeDescriptor(int* fd) {
    if (*fd != -1) {
        close(*fd);
        *fd = -1;
    }
}
