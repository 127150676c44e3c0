// Reading the event records of a Linux input device; shared by the buttons and the rotary encoders.
#pragma once

#include <linux/input.h>
#include <sys/time.h>

#include <array>
#include <cstddef>

// What one read may take from the device.
constexpr std::size_t kInputReadBytes = 1024;

// Room for one read, aligned for the records; a last partial record has room as well.
using InputEvents =
    std::array<input_event, (kInputReadBytes + sizeof(input_event) - 1) / sizeof(input_event)>;

// Reads once, up to 1024 bytes, from the non-blocking descriptor `*fd` and returns the number of whole
// records read into `events`: 0 when nothing is waiting, the read fails, or less than one record arrived;
// bytes after the last whole record are dropped. When the device is gone for good (ENODEV), logs the error in
// the name of `function`, closes the descriptor and sets `*fd` to -1: select() would report it ready for
// ever.
[[nodiscard]] std::size_t readInputEvents(int* fd, const char* function, InputEvents* events);

// The record's time stamp, on every host in the host's own timeval.
[[nodiscard]] timeval inputEventTime(const input_event& event);
