// One device file as its driver offers it.
#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "sim/kernel/Result.h"
#include "sim/shim/wire.h"

namespace sim {

class DeviceNode {
public:
    DeviceNode(std::string path, beltpack_kind kind) : m_path(std::move(path)), m_kind(kind) {}
    virtual ~DeviceNode() = default;
    DeviceNode(const DeviceNode&) = delete;
    DeviceNode& operator=(const DeviceNode&) = delete;

    [[nodiscard]] const std::string& path() const { return m_path; }
    [[nodiscard]] beltpack_kind kind() const { return m_kind; }

    // Whether the file is there now: some come and go by calls on others.
    [[nodiscard]] virtual bool exists() const { return true; }
    // 0, or the errno of an open that wants these directions.
    [[nodiscard]] virtual int allows(bool reading, bool writing) const {
        return (void)reading, (void)writing, 0;
    }

    // position: bytes from the start of the file; room: the most bytes to give.
    [[nodiscard]] virtual Result read(std::size_t position, std::size_t room) {
        return (void)position, (void)room, Result::failed(EINVAL);
    }
    // asked: the byte count of the call; bytes holds at most BELTPACK_BUS_LIMIT of them.
    [[nodiscard]] virtual Result write(std::string_view bytes, std::size_t asked) {
        return (void)bytes, (void)asked, Result::failed(EINVAL);
    }
    // argument: the bytes that the request hands in.
    [[nodiscard]] virtual Result ioctl(std::uint32_t request, std::string_view argument) {
        return (void)request, (void)argument, Result::failed(ENOTTY);
    }
    // The request's name for the log, with the value that it sets.
    [[nodiscard]] virtual std::string describe(std::uint32_t request, std::string_view argument) const;
    // One SPI message of so many transfers. total: their bytes; transfers is empty when it is over
    // BELTPACK_BUS_LIMIT.
    [[nodiscard]] virtual Result transfer(const std::vector<std::string>& transfers, std::int64_t total) {
        return (void)transfers, (void)total, Result::failed(ENOTTY);
    }

private:
    const std::string m_path;
    const beltpack_kind m_kind;
};

}  // namespace sim
