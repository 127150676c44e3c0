#include "sim/base/StreamEnd.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <string>
#include <utility>

namespace sim {
namespace {

// The kernel's major numbers of pseudo-terminals, the end that programs use. Their other end must not be
// opened again: that makes a new pair.
constexpr unsigned kFirstTerminal = 136;
constexpr unsigned kLastTerminal = 143;

bool isTerminal(const struct stat& status) {
    const unsigned number = major(status.st_rdev);
    return S_ISCHR(status.st_mode) && kFirstTerminal <= number && number <= kLastTerminal;
}

UniqueFd openAgain(int fd, int accessMode) {
    const std::string path = "/proc/self/fd/" + std::to_string(fd);
    return UniqueFd(::open(path.c_str(), accessMode | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
}

}  // namespace

StreamEnd StreamEnd::ours(UniqueFd fd) {
    ::fcntl(fd.get(), F_SETFL, ::fcntl(fd.get(), F_GETFL) | O_NONBLOCK);
    StreamEnd end;
    end.m_fd = std::move(fd);
    return end;
}

StreamEnd StreamEnd::shared(UniqueFd fd, int accessMode) {
    StreamEnd end;
    struct stat status {};
    ::fstat(fd.get(), &status);
    end.m_kind = S_ISSOCK(status.st_mode) ? Kind::Socket : Kind::Asked;
    if (S_ISFIFO(status.st_mode) || isTerminal(status)) {
        end.m_again = openAgain(fd.get(), accessMode);
        end.m_kind = end.m_again.valid() ? Kind::NonBlocking : Kind::Asked;
    }
    end.m_fd = std::move(fd);
    return end;
}

ssize_t StreamEnd::read(char* buffer, std::size_t room) const {
    if (m_kind == Kind::Socket) {
        return ::recv(own(), buffer, room, MSG_DONTWAIT);
    }
    if (m_kind == Kind::Asked && !ready(POLLIN)) {
        errno = EAGAIN;
        return -1;
    }
    return ::read(own(), buffer, room);
}

ssize_t StreamEnd::write(std::string_view bytes) const {
    if (m_kind == Kind::Socket) {
        return ::send(own(), bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    }
    if (m_kind == Kind::Asked) {
        if (!ready(POLLOUT)) {
            errno = EAGAIN;
            return -1;
        }
        bytes = bytes.substr(0, PIPE_BUF);  // what a pipe that is ready takes without waiting
    }
    return ::write(own(), bytes.data(), bytes.size());
}

bool StreamEnd::ready(short events) const {
    pollfd asked = {m_fd.get(), events, 0};
    return ::poll(&asked, 1, 0) > 0;
}

void StreamEnd::close() {
    m_again.reset();
    m_fd.reset();
}

}  // namespace sim
