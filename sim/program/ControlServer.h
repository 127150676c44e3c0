// The socket that the shims in the processes connect to.
#pragma once

#include <functional>
#include <map>
#include <string>

#include "sim/base/EventLoop.h"
#include "sim/base/UniqueFd.h"
#include "sim/kernel/DeviceServer.h"

namespace sim {

// Any number of processes of the same user may be connected at once; each has one call under way at most.
class ControlServer {
public:
    using Answer = std::function<Reply(Request&)>;

    // The loop is not owned; answer carries out each request.
    ControlServer(EventLoop& loop, Answer answer);
    ~ControlServer();
    ControlServer(const ControlServer&) = delete;
    ControlServer& operator=(const ControlServer&) = delete;

    // False: the socket could not be made; errno tells why.
    [[nodiscard]] bool listen();
    // The abstract socket's name, for BELTPACK_SOCKET_VARIABLE.
    [[nodiscard]] const std::string& name() const { return m_name; }

private:
    void accept();
    void serve(int fd);
    [[nodiscard]] bool answer(int fd);
    void drop(int fd);

    EventLoop& m_loop;
    const Answer m_answer;
    const std::string m_name;
    UniqueFd m_listener;
    std::map<int, UniqueFd> m_connections;
    Request m_request;  // the one being served; kept for its payload's room
};

}  // namespace sim
