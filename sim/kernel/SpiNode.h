// One chip select of an SPI bus, as spidev offers it.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "sim/kernel/DeviceNode.h"

namespace sim {

// The settings belong to the device, not to a descriptor, and outlive closing. Nothing is received: reads
// give zeros.
class SpiNode final : public DeviceNode {
public:
    // What is wired to the select: gets the bytes of each transfer.
    using Chip = std::function<void(std::string_view bytes)>;

    SpiNode(std::string path, Chip chip);

    [[nodiscard]] Result read(std::size_t position, std::size_t room) override;
    [[nodiscard]] Result write(std::string_view bytes, std::size_t asked) override;
    [[nodiscard]] Result ioctl(std::uint32_t request, std::string_view argument) override;
    [[nodiscard]] std::string describe(std::uint32_t request, std::string_view argument) const override;
    [[nodiscard]] Result transfer(const std::vector<std::string>& transfers, std::int64_t total) override;

    [[nodiscard]] std::uint32_t mode() const { return m_mode; }
    [[nodiscard]] std::uint32_t bits() const { return m_bits; }    // a word
    [[nodiscard]] std::uint32_t speed() const { return m_speed; }  // Hz

private:
    struct Request;
    static const Request kRequests[];
    static const Request* find(std::uint32_t number);

    [[nodiscard]] int setMode(std::uint32_t value);
    [[nodiscard]] int setBits(std::uint32_t value);
    [[nodiscard]] int setSpeed(std::uint32_t value);
    [[nodiscard]] std::size_t wordSize() const;

    const Chip m_chip;
    std::uint32_t m_mode = 0;
    std::uint32_t m_bits = 8;
    std::uint32_t m_speed = 20000000;
};

}  // namespace sim
