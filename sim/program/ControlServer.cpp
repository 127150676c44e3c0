#include "sim/program/ControlServer.h"

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

std::string uniqueName() {
    return "beltpack_sim." + std::to_string(::getpid()) + '.' + std::to_string(std::random_device{}());
}

bool sameUser(int fd) {
    ucred peer{};
    socklen_t size = sizeof peer;
    return ::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && peer.uid == ::getuid();
}

constexpr std::size_t kMostPassed = 2;  // descriptors with one packet

// Room for the descriptors that go with a packet.
union Passed {
    cmsghdr header;
    std::array<char, CMSG_SPACE(kMostPassed * sizeof(int))> room;
};

enum class Arrival { Request, Nothing, End };

void takePassed(msghdr& message, std::array<UniqueFd, kMostPassed>& fds) {
    const cmsghdr* passed = CMSG_FIRSTHDR(&message);
    if (passed == nullptr || passed->cmsg_level != SOL_SOCKET || passed->cmsg_type != SCM_RIGHTS) {
        return;
    }
    const std::size_t count = (passed->cmsg_len - CMSG_LEN(0)) / sizeof(int);
    std::array<int, kMostPassed> numbers{};
    std::memcpy(numbers.data(), CMSG_DATA(passed), count * sizeof(int));
    for (std::size_t i = 0; i < count; ++i) {
        fds[i] = UniqueFd(numbers[i]);
    }
}

Arrival receive(int fd, Request& request) {
    request.payload.resize(BELTPACK_PAYLOAD_LIMIT);
    request.fds = {};
    std::array<iovec, 2> parts = {
        {{&request.head, sizeof request.head}, {request.payload.data(), request.payload.size()}}};
    Passed passed{};
    msghdr message{};
    message.msg_iov = parts.data();
    message.msg_iovlen = parts.size();
    message.msg_control = &passed;
    message.msg_controllen = sizeof passed;
    const ssize_t length = ::recvmsg(fd, &message, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
    if (length < 0 && errno == EAGAIN) {
        return Arrival::Nothing;
    }
    if (length < static_cast<ssize_t>(sizeof request.head)) {
        return Arrival::End;
    }
    takePassed(message, request.fds);
    request.payload.resize(static_cast<std::size_t>(length) - sizeof request.head);
    return Arrival::Request;
}

void putPassed(msghdr& message, Passed& passed, const Reply& reply) {
    const std::array<int, kMostPassed> numbers = {reply.fd.get(), reply.outputFd.get()};
    const std::size_t size = (reply.outputFd.valid() ? 2 : 1) * sizeof(int);
    message.msg_control = &passed;
    message.msg_controllen = CMSG_SPACE(size);
    cmsghdr* header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(size);
    std::memcpy(CMSG_DATA(header), numbers.data(), size);
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
    Passed passed{};
    if (reply.fd.valid()) {
        putPassed(message, passed, reply);
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

// One call a round of the loop, so that everything else has its turn.
void ControlServer::serve(int fd) {
    const Arrival arrival = receive(fd, m_request);
    if (arrival == Arrival::End || (arrival == Arrival::Request && !answer(fd))) {
        drop(fd);
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
