// One general-purpose line through the kernel's sysfs GPIO files. Nothing is logged.
#pragma once

// How a line is used: what is written to its direction file.
constexpr int kGpioInput = 0;
constexpr int kGpioOutputLow = 1;   // output that starts low
constexpr int kGpioOutputHigh = 2;  // output that starts high

// Exports line `num` (the kernel's number), sets its direction and opens its value file. Returns that file's
// descriptor, owned by the caller (see oxgp_closeGpio), or -1. A line that is still exported fails: unexport
// it first. A failure after the export leaves the line exported.
[[nodiscard]] int oxgp_openGpio(int num, int dir);

// Closes `fd` unless negative, and unexports line `num`.
void oxgp_closeGpio(int num, int fd);

// Returns the level of the line, 0 or 1; -1 on failure.
[[nodiscard]] int oxgp_readGpio(int fd);

// Sets the line high (`level` not 0) or low. Returns 0; -1 on failure, with errno 0 when the kernel took
// nothing.
[[nodiscard]] int oxgp_writeGpio(int fd, int level);
