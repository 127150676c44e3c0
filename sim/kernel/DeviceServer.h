// Stands in for the kernel: carries out the calls that processes make on the panel's files.
#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "sim/base/EventLoop.h"
#include "sim/base/UniqueFd.h"
#include "sim/kernel/CallLog.h"
#include "sim/kernel/DeviceTree.h"
#include "sim/kernel/FaultTable.h"
#include "sim/kernel/OpenFiles.h"
#include "sim/panel/Panel.h"
#include "sim/shim/wire.h"

namespace sim {

// A request as it came, and what goes back. See wire.h for what the members mean for each operation.
struct Request {
    beltpack_request head{};
    std::string payload;
    std::array<UniqueFd, 2> fds;  // BELTPACK_TAP: the process's own
};
struct Reply {
    Result result;
    beltpack_kind kind{};
    std::uint32_t slot = 0;
    UniqueFd fd;        // for the process
    UniqueFd outputFd;  // BELTPACK_TAP: the second one
};

// Calls are carried out, and logged, in the order in which they come. Every call first meets the ordered
// faults, then unplugged devices, then the device.
class DeviceServer final : public PanelListener {
public:
    // Nothing is owned; the server listens to the panel. Events are stamped with the log's clock.
    DeviceServer(EventLoop& loop, Panel& panel, EventLog& log);

    [[nodiscard]] Reply handle(const Request& request);

    // Listeners of the panel are told, if its path is one of the panel's.
    void order(const Fault& fault);
    // Counts a wait of a process for its descriptors: the errno that was ordered for it, or 0.
    [[nodiscard]] int waitError();
    // The device is gone: opening it gives ENOENT, calls on files that are open on it ENODEV, for good.
    // False: there is no such path. Listeners of the panel are told.
    bool unplug(const std::string& path);
    // It is back, for new opens.
    bool plug(const std::string& path);

    // So many events of the device wait to be read, by the slowest who has it open.
    [[nodiscard]] std::size_t unreadEvents(InputDevice device);

private:
    void onFrame(unsigned number, const Picture& picture) override;
    void onProtocolError(const std::string& what) override;
    void onInput(InputDevice device, const std::vector<InputEvent>& events) override;

    [[nodiscard]] Reply open(const Request& request);
    [[nodiscard]] int openError(const std::string& path, std::uint32_t flags);
    [[nodiscard]] Reply syslog(const Request& request);
    [[nodiscard]] Result callOn(OpenFile& file, const Request& request);
    [[nodiscard]] Result read(OpenFile& file, const Request& request);
    [[nodiscard]] Result write(OpenFile& file, const Request& request);
    [[nodiscard]] Result seek(OpenFile& file, const Request& request) const;
    [[nodiscard]] Result ioctl(OpenFile& file, const Request& request);
    [[nodiscard]] Result transfer(OpenFile& file, const Request& request);
    [[nodiscard]] std::optional<Fault> takeFault(DeviceCall call, const std::string& path);
    void logNews();
    void forEachReader(InputDevice device, const std::function<void(OpenFile&)>& act);
    void deliver(OpenFile& file, const std::vector<InputEvent>& events);

    PanelListener& m_listeners;  // the panel's
    DeviceTree m_tree;
    OpenFiles m_files;
    FaultTable m_faults;
    CallLog m_log;
    const Clock& m_clock;
    std::set<std::string> m_unplugged;
    // What a call has caused on the panel, as kind and text: logged after the call itself.
    std::vector<std::pair<std::string, std::string>> m_news;
};

}  // namespace sim
