// The plain functions through which the hardware object reaches the panel's devices.
#pragma once

// Shows a packed frame of 768 bytes (8 pages x 96 columns). The first call of the process sets the panel up
// before. When that first call finds no device, the set-up sequence is not sent later either: frames are then
// written to a panel in its power-on state as soon as its device appears. The frame is only read.
void hardwareWriteFrameToDisplay(unsigned char* frame);

// The hook for hardware that reports keys by itself. This panel's keys are read by the application from their
// input devices, so it always returns 0 (no event) and writes nothing.
[[nodiscard]] int hardwareScanForKeyEvents(int* a, int* b, int* c);
