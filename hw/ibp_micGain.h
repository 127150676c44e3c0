// Gain of the headset microphone amplifier, a write-only SPI device. Nothing is logged.
#pragma once

// Opens and configures the device afresh. When that fails, the device stays closed.
void ibp_micGain_init();

// Sends the gain code, 0 .. 31; only the low 5 bits of `gain` count. Opens the device when it is closed; a
// failed transfer closes it, so that the next call opens it again.
void ibp_micGain_setGain(int gain);
