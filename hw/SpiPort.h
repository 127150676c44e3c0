// One spidev node: open and configure, send, close. Nothing is logged: the callers report by their own rules.
#pragma once

#include <linux/spi/spidev.h>

#include <cstdint>

// How a chip on the bus is to be clocked.
struct SpiSettings {
    std::uint8_t mode;         // SPI mode, 0 .. 3
    std::uint8_t bitsPerWord;  // bits a word
    std::uint32_t maxSpeedHz;  // greatest clock, Hz
};

// Opens the node for writing without blocking and applies mode, word size and clock, in that order. On
// success zeroes `xfer`, the transfer record to use with the node, and returns the descriptor, which the
// caller owns. Returns -1 when a step fails; nothing stays open then.
[[nodiscard]] int spiOpen(const char* path, const SpiSettings& settings, spi_ioc_transfer* xfer);

// Sends `len` bytes as one transfer, with the node's own clock and word size; nothing is received.
// Returns true when the kernel took the transfer.
[[nodiscard]] bool spiSend(int fd, spi_ioc_transfer* xfer, const unsigned char* bytes, std::uint32_t len);
