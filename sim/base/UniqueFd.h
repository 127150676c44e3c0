// Sole owner of a file descriptor.
#pragma once

#include <unistd.h>

#include <utility>

namespace sim {

class UniqueFd {
public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) : m_fd(fd) {}
    UniqueFd(UniqueFd&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept {
        std::swap(m_fd, other.m_fd);
        return *this;
    }
    ~UniqueFd() { reset(); }

    // Hands the descriptor over to who closes it from now on.
    [[nodiscard]] int release() { return std::exchange(m_fd, -1); }
    void reset() {
        if (m_fd >= 0) {
            ::close(std::exchange(m_fd, -1));
        }
    }
    [[nodiscard]] int get() const { return m_fd; }  // -1: none
    [[nodiscard]] bool valid() const { return m_fd >= 0; }

private:
    int m_fd = -1;
};

}  // namespace sim
