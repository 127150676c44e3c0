#include "sim/kernel/DeviceServer.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstring>

#include "sim/kernel/InputNode.h"

namespace sim {
namespace {

// The payload of BELTPACK_TRANSFER; a piece that is cut short ends the list.
std::vector<std::string> splitTransfers(std::string_view payload) {
    std::vector<std::string> transfers;
    std::uint32_t length = 0;
    while (payload.size() >= sizeof length) {
        std::memcpy(&length, payload.data(), sizeof length);
        payload.remove_prefix(sizeof length);
        transfers.emplace_back(payload.substr(0, length));
        payload.remove_prefix(std::min<std::size_t>(length, payload.size()));
    }
    return transfers;
}

}  // namespace

DeviceServer::DeviceServer(EventLoop& loop, Panel& panel, EventLog& log)
    : m_listeners(panel.listeners()), m_tree(panel), m_files(loop), m_log(log), m_clock(log.clock()) {
    panel.listen(*this);
}

Reply DeviceServer::handle(const Request& request) {
    switch (request.head.operation) {
        case BELTPACK_OPEN:
            return open(request);
        case BELTPACK_SYSLOG:
            return syslog(request);
        default:
            break;
    }
    OpenFile* file = m_files.find({request.head.device, request.head.inode});
    Reply reply;
    reply.result = file != nullptr ? callOn(*file, request) : Result::failed(ENODEV);
    logNews();
    return reply;
}

void DeviceServer::logNews() {
    for (const auto& [kind, what] : m_news) {
        m_log.event(kind, what);
    }
    m_news.clear();
}

Result DeviceServer::callOn(OpenFile& file, const Request& request) {
    switch (request.head.operation) {
        case BELTPACK_READ:
            return read(file, request);
        case BELTPACK_WRITE:
            return write(file, request);
        case BELTPACK_SEEK:
            return seek(file, request);
        case BELTPACK_IOCTL:
            return ioctl(file, request);
        case BELTPACK_TRANSFER:
            return transfer(file, request);
        default:
            return Result::failed(ENOSYS);
    }
}

Reply DeviceServer::open(const Request& request) {
    const std::uint32_t flags = request.head.argument;
    Reply reply;
    reply.result.error = openError(request.payload, flags);
    if (reply.result.error == 0) {
        DeviceNode& node = *m_tree.find(request.payload);
        OpenFiles::Opened opened = m_files.open(node, flags, request.head.event_size);
        reply.result.error = opened.error;
        reply.kind = node.kind();
        reply.slot = opened.slot;
        reply.fd = std::move(opened.fd);
    }
    m_log.open(request.payload, flags, reply.result);
    return reply;
}

int DeviceServer::openError(const std::string& path, std::uint32_t flags) {
    if (const auto fault = takeFault(DeviceCall::Open, path)) {
        return fault->error;
    }
    const DeviceNode* node = m_tree.find(path);
    if (node == nullptr || !node->exists() || m_unplugged.count(path) != 0) {
        return ENOENT;
    }
    const std::uint32_t mode = flags & O_ACCMODE;
    return node->allows(mode != O_WRONLY, mode != O_RDONLY);
}

Reply DeviceServer::syslog(const Request& request) {
    const std::size_t identifier = std::min<std::size_t>(request.head.event_size, request.payload.size());
    m_log.syslog(request.head.argument, request.payload.substr(0, identifier),
                 request.payload.substr(identifier));
    return {};
}

// An input device's events wait in the pipe: a successful answer lets the process fetch them there, and is
// not logged.
Result DeviceServer::read(OpenFile& file, const Request& request) {
    const std::string& path = file.node->path();
    const bool input = file.node->kind() == BELTPACK_INPUT;
    Result result;
    if (const auto fault = takeFault(DeviceCall::Read, path)) {
        result.error = fault->error;
    } else if (!file.node->exists()) {
        result.error = ENODEV;
    } else if (!input) {
        result = file.node->read(file.position, request.head.argument);
        file.position += result.bytes.size();
    }
    if (!input || result.error != 0) {
        m_log.read(path, result);
    }
    return result;
}

Result DeviceServer::write(OpenFile& file, const Request& request) {
    const std::string& path = file.node->path();
    const auto fault = takeFault(DeviceCall::Write, path);
    const bool isShort = fault && fault->error == 0;
    const std::string_view taken =
        std::string_view(request.payload).substr(0, isShort ? fault->shortCount : INT_MAX);
    Result result;
    if (fault && !isShort) {
        result.error = fault->error;
    } else if (!file.node->exists()) {
        result.error = ENODEV;
    } else if (!taken.empty()) {
        result = file.node->write(taken, isShort ? taken.size() : request.head.argument);
        file.position += result.error == 0 ? taken.size() : 0;
    }
    if (file.node->kind() == BELTPACK_SPI) {
        m_log.transfer(path, {request.payload}, result);
    } else {
        m_log.write(path, request.payload, result);
    }
    return result;
}

Result DeviceServer::seek(OpenFile& file, const Request& request) const {
    const auto present = static_cast<std::int64_t>(file.position);
    const bool relative = request.head.argument == SEEK_CUR;
    const std::int64_t position = request.head.offset + (relative ? present : 0);
    if (position < 0 || (!relative && request.head.argument != SEEK_SET)) {
        return Result::failed(EINVAL);
    }
    file.position = static_cast<std::size_t>(position);
    return Result::returned(position);
}

Result DeviceServer::ioctl(OpenFile& file, const Request& request) {
    const std::string& path = file.node->path();
    const auto fault = takeFault(DeviceCall::Ioctl, path);
    Result result =
        fault ? Result::failed(fault->error) : file.node->ioctl(request.head.argument, request.payload);
    m_log.ioctl(path, file.node->describe(request.head.argument, request.payload), result);
    return result;
}

Result DeviceServer::transfer(OpenFile& file, const Request& request) {
    const std::string& path = file.node->path();
    const auto fault = takeFault(DeviceCall::Ioctl, path);
    const std::vector<std::string> transfers = splitTransfers(request.payload);
    Result result =
        fault ? Result::failed(fault->error) : file.node->transfer(transfers, request.head.offset);
    m_log.transfer(path, transfers, result);
    return result;
}

std::optional<Fault> DeviceServer::takeFault(DeviceCall call, const std::string& path) {
    auto fault = m_faults.take(call, path);
    if (fault) {
        m_log.fault(kDeviceCallNames[static_cast<std::size_t>(call)], path, fault->effect());
    }
    return fault;
}

int DeviceServer::waitError() {
    const auto fault = takeFault(DeviceCall::Select, {});
    return fault ? fault->error : 0;
}

void DeviceServer::order(const Fault& fault) {
    m_faults.add(fault);
    if (m_tree.find(fault.path) != nullptr) {  // no call ever meets another
        m_listeners.onFault(fault.words());
    }
}

bool DeviceServer::unplug(const std::string& path) {
    const DeviceNode* node = m_tree.find(path);
    if (node == nullptr) {
        return false;
    }
    m_unplugged.insert(path);
    m_files.abandon(*node);
    m_log.event("unplug", path);
    m_listeners.onPlug(path, false);
    return true;
}

bool DeviceServer::plug(const std::string& path) {
    if (m_tree.find(path) == nullptr) {
        return false;
    }
    m_unplugged.erase(path);
    m_log.event("plug", path);
    m_listeners.onPlug(path, true);
    return true;
}

void DeviceServer::onFrame(unsigned number, const Picture&) {
    m_news.emplace_back("frame", std::to_string(number));
}

void DeviceServer::onProtocolError(const std::string& what) {
    m_news.emplace_back("protocol-error", what);
}

void DeviceServer::onInput(InputDevice device, const std::vector<InputEvent>& events) {
    forEachReader(device, [this, &events](OpenFile& file) { deliver(file, events); });
}

std::size_t DeviceServer::unreadEvents(InputDevice device) {
    std::size_t most = 0;
    forEachReader(device, [&most](OpenFile& file) {
        int bytes = 0;
        if (::ioctl(file.peer.get(), FIONREAD, &bytes) == 0) {
            most = std::max(most, static_cast<std::size_t>(bytes) / file.eventSize);
        }
    });
    return most;
}

void DeviceServer::forEachReader(InputDevice device, const std::function<void(OpenFile&)>& act) {
    const auto isDevice = [device](const DeviceNode& node) {
        const auto* input = dynamic_cast<const InputNode*>(&node);
        return input != nullptr && input->device() == device;
    };
    m_files.forEachOn(isDevice, act);
}

// The kernel takes a write of up to PIPE_BUF bytes whole or not at all, so readers see whole events only.
// What finds the pipe full is lost.
void DeviceServer::deliver(OpenFile& file, const std::vector<InputEvent>& events) {
    const std::string bytes = encodeEvents(events, file.eventSize, m_clock.timeOfDay());
    const std::size_t piece = PIPE_BUF / file.eventSize * file.eventSize;
    for (std::size_t at = 0; at < bytes.size(); at += piece) {
        if (::write(file.peer.get(), bytes.data() + at, std::min(piece, bytes.size() - at)) < 0) {
            m_log.event("drop", file.node->path());
        }
    }
}

}  // namespace sim
