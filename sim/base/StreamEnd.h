// One end of a byte stream that never blocks its user, whosever it is.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string_view>

#include "sim/base/UniqueFd.h"

namespace sim {

// A descriptor that came from another process shares its O_NONBLOCK with that process, and whoever else holds
// a copy: it must stay as it is. Pipes and pseudo-terminals are opened once more for a flag of their own,
// sockets have calls that do not wait, and of the rest it is asked beforehand whether they would.
class StreamEnd {
public:
    StreamEnd() = default;
    // A descriptor of this process alone; it becomes non-blocking.
    [[nodiscard]] static StreamEnd ours(UniqueFd fd);
    // One that others share. accessMode: O_RDONLY or O_WRONLY, what it is used for here.
    [[nodiscard]] static StreamEnd shared(UniqueFd fd, int accessMode);

    // As the system calls of these names; -1 with EAGAIN: would block. Up to PIPE_BUF bytes are written to a
    // pipe wholly or not at all.
    [[nodiscard]] ssize_t read(char* buffer, std::size_t room) const;
    [[nodiscard]] ssize_t write(std::string_view bytes) const;

    // Whether one of these poll events, an error or a hang-up holds now.
    [[nodiscard]] bool ready(short events) const;

    // To wait on; epoll refuses what is always ready (files, /dev/null).
    [[nodiscard]] int fd() const { return m_fd.get(); }
    [[nodiscard]] bool open() const { return m_fd.valid(); }
    void close();

private:
    enum class Kind { NonBlocking, Socket, Asked };

    [[nodiscard]] int own() const { return m_again.valid() ? m_again.get() : m_fd.get(); }

    Kind m_kind = Kind::NonBlocking;
    UniqueFd m_fd;
    UniqueFd m_again;  // m_fd's pipe or terminal, opened for ourselves
};

}  // namespace sim
