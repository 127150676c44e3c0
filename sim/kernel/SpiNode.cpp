#include "sim/kernel/SpiNode.h"

#include <linux/spi/spidev.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <cstring>
#include <iterator>

namespace sim {
namespace {

constexpr std::uint32_t kMaxBits = 32;

// The argument is one byte or a little-endian 32-bit word.
std::uint32_t valueOf(std::string_view argument) {
    std::uint32_t value = 0;
    std::memcpy(&value, argument.data(), std::min(argument.size(), sizeof value));
    return value;
}

std::string bytesOf(std::uint32_t value, std::size_t size) {
    return {reinterpret_cast<const char*>(&value), std::min(size, sizeof value)};
}

}  // namespace

// A request either sets a value, or tells one.
struct SpiNode::Request {
    std::uint32_t number;
    const char* name;
    int (SpiNode::*set)(std::uint32_t value);
    std::uint32_t SpiNode::*tell;
};

const SpiNode::Request SpiNode::kRequests[] = {
    {SPI_IOC_WR_MODE, "SPI_IOC_WR_MODE", &SpiNode::setMode, nullptr},
    {SPI_IOC_WR_MODE32, "SPI_IOC_WR_MODE32", &SpiNode::setMode, nullptr},
    {SPI_IOC_WR_BITS_PER_WORD, "SPI_IOC_WR_BITS_PER_WORD", &SpiNode::setBits, nullptr},
    {SPI_IOC_WR_MAX_SPEED_HZ, "SPI_IOC_WR_MAX_SPEED_HZ", &SpiNode::setSpeed, nullptr},
    {SPI_IOC_RD_MODE, "SPI_IOC_RD_MODE", nullptr, &SpiNode::m_mode},
    {SPI_IOC_RD_MODE32, "SPI_IOC_RD_MODE32", nullptr, &SpiNode::m_mode},
    {SPI_IOC_RD_BITS_PER_WORD, "SPI_IOC_RD_BITS_PER_WORD", nullptr, &SpiNode::m_bits},
    {SPI_IOC_RD_MAX_SPEED_HZ, "SPI_IOC_RD_MAX_SPEED_HZ", nullptr, &SpiNode::m_speed},
};

SpiNode::SpiNode(std::string path, Chip chip)
    : DeviceNode(std::move(path), BELTPACK_SPI), m_chip(std::move(chip)) {}

const SpiNode::Request* SpiNode::find(std::uint32_t number) {
    const auto* const found = std::find_if(std::begin(kRequests), std::end(kRequests),
                                           [number](const Request& known) { return known.number == number; });
    return found == std::end(kRequests) ? nullptr : found;
}

Result SpiNode::ioctl(std::uint32_t request, std::string_view argument) {
    const Request* known = find(request);
    if (known == nullptr) {
        return Result::failed(ENOTTY);
    }
    if (known->set != nullptr) {
        return {(this->*known->set)(valueOf(argument)), 0, {}};
    }
    Result result;
    result.bytes = bytesOf(this->*known->tell, _IOC_SIZE(request));
    return result;
}

std::string SpiNode::describe(std::uint32_t request, std::string_view argument) const {
    const Request* known = find(request);
    if (known == nullptr) {
        return DeviceNode::describe(request, argument);
    }
    return known->set != nullptr ? std::string(known->name) + ' ' + std::to_string(valueOf(argument))
                                 : known->name;
}

int SpiNode::setMode(std::uint32_t value) {
    m_mode = value;
    return 0;
}

int SpiNode::setBits(std::uint32_t value) {
    if (value > kMaxBits) {
        return EINVAL;
    }
    m_bits = value == 0 ? 8 : value;
    return 0;
}

int SpiNode::setSpeed(std::uint32_t value) {
    if (value == 0) {
        return EINVAL;
    }
    m_speed = value;
    return 0;
}

// Bytes that one word takes in memory: 1, 2 or 4.
std::size_t SpiNode::wordSize() const {
    return m_bits <= 8 ? 1 : m_bits <= 16 ? 2 : 4;
}

Result SpiNode::read(std::size_t, std::size_t room) {
    return Result::gave(std::string(room, '\0'));
}

Result SpiNode::write(std::string_view bytes, std::size_t asked) {
    return transfer({std::string(bytes)}, static_cast<std::int64_t>(asked));
}

Result SpiNode::transfer(const std::vector<std::string>& transfers, std::int64_t total) {
    if (total > BELTPACK_BUS_LIMIT) {
        return Result::failed(EMSGSIZE);
    }
    const bool wholeWords = std::all_of(transfers.begin(), transfers.end(), [this](const std::string& bytes) {
        return bytes.size() % wordSize() == 0;
    });
    if (!wholeWords) {
        return Result::failed(EINVAL);
    }
    for (const std::string& bytes : transfers) {
        m_chip(bytes);
    }
    return Result::returned(total);
}

}  // namespace sim
