#include "sim/program/ControlServer.h"

#include <sched.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <random>
#include <utility>

namespace sim {
namespace {

constexpr int kBacklog = 16;
constexpr int kLooksForNext = 50;
constexpr int kCallsInARow = 64;

std::string uniqueName() {
    return "beltpack_sim." + std::to_string(::getpid()) + '.' + std::to_string(std::random_device{}());
}

bool sameUser(int fd) {
    ucred peer{};
    socklen_t size = sizeof peer;
    return ::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && peer.uid == ::getuid();
}

enum class Arrival { Request, Nothing, End };

Arrival receive(int fd, Request& request) {
    request.payload.resize(BELTPACK_PAYLOAD_LIMIT);
    std::array<iovec, 2> parts = {
        {{&request.head, sizeof request.head}, {request.payload.data(), request.payload.size()}}};
    msghdr message{};
    message.msg_iov = parts.data();
    message.msg_iovlen = parts.size();
    const ssize_t length = ::recvmsg(fd, &message, MSG_DONTWAIT);
    if (length < 0 && errno == EAGAIN) {
        return Arrival::Nothing;
    }
    if (length < static_cast<ssize_t>(sizeof request.head)) {
        return Arrival::End;
    }
    request.payload.resize(static_cast<std::size_t>(length) - sizeof request.head);
    return Arrival::Request;
}

bool send(int fd, Reply& reply) {
    beltpack_reply head{};
    head.result = reply.result.value;
    head.error = reply.result.error;
    head.kind = reply.kind;
    head.slot = reply.slot;
    head.size = static_cast<std::uint32_t>(reply.result.bytes.size());
    std::array<iovec, 2> parts = {
        {{&head, sizeof head}, {reply.result.bytes.data(), reply.result.bytes.size()}}};
    msghdr message{};
    message.msg_iov = parts.data();
    message.msg_iovlen = parts.size();
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> room{};
    if (reply.fd.valid()) {
        message.msg_control = room.data();
        message.msg_controllen = room.size();
        cmsghdr* passed = CMSG_FIRSTHDR(&message);
        passed->cmsg_level = SOL_SOCKET;
        passed->cmsg_type = SCM_RIGHTS;
        passed->cmsg_len = CMSG_LEN(sizeof(int));
        const int number = reply.fd.get();
        std::memcpy(CMSG_DATA(passed), &number, sizeof number);
    }
    return ::sendmsg(fd, &message, MSG_NOSIGNAL) >= 0;
}

}  // namespace

ControlServer::ControlServer(EventLoop& loop, Answer answer)
    : m_loop(loop), m_answer(std::move(answer)), m_name(uniqueName()) {}

ControlServer::~ControlServer() {
    for (const auto& [fd, connection] : m_connections) {
        m_loop.unwatch(fd);
    }
    m_loop.unwatch(m_listener.get());
}

bool ControlServer::listen() {
    m_listener = UniqueFd(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    m_name.copy(address.sun_path + 1, sizeof address.sun_path - 1);
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + m_name.size());
    if (::bind(m_listener.get(), reinterpret_cast<const sockaddr*>(&address), size) < 0 ||
        ::listen(m_listener.get(), kBacklog) < 0) {
        return false;
    }
    m_loop.watch(m_listener.get(), EPOLLIN, [this](std::uint32_t) { accept(); });
    return true;
}

void ControlServer::accept() {
    UniqueFd connection(::accept4(m_listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
    if (!connection.valid() || !sameUser(connection.get())) {
        return;
    }
    const int fd = connection.get();
    m_connections.emplace(fd, std::move(connection));
    m_loop.watch(fd, EPOLLIN, [this, fd](std::uint32_t) { serve(fd); });
}

// Calls come in bursts, a frame in sixteen: after each one it pays to look for the next for a while, giving
// way to other processes, before going to sleep. The bound lets everything else have its turn.
void ControlServer::serve(int fd) {
    int served = 0;
    for (int looks = 0; looks < kLooksForNext && served < kCallsInARow; ++looks) {
        const Arrival arrival = receive(fd, m_request);
        if (arrival == Arrival::Nothing) {
            ::sched_yield();
            continue;
        }
        if (arrival == Arrival::End || !answer(fd)) {
            drop(fd);
            return;
        }
        looks = 0;
        ++served;
    }
}

bool ControlServer::answer(int fd) {
    Reply reply = m_answer(m_request);
    return send(fd, reply);
}

void ControlServer::drop(int fd) {
    m_loop.unwatch(fd);
    m_connections.erase(fd);
}

}  // namespace sim
