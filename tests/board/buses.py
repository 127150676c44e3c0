"""What reached the panel's chips, from the emulator's record of register writes.

The emulator writes one line for each write of the processor to a peripheral's register. This module knows the
registers of the i.MX6's SPI and I2C controllers so far as the kernel's drivers use them."""
import collections
import re

SpiMessage = collections.namedtuple("SpiMessage", "device data")  # e.g. "3.0", bytes
LedWrite = collections.namedtuple("LedWrite", "register value")

WRITE = re.compile(rb"memory_region_ops_write .* addr (\S+) value (\S+) size \d+ name '(imx\.spi|imx\.i2c)'")
PAGE = 0xFFF

# ECSPI: control (burst length in bits 20-31, chip select in 18-19) and transmit data.
SPI_CONTROL, SPI_DATA = 0x08, 0x04
SPI_EXCHANGE = 1 << 2
SPI_BUSES = {0x2014000: "3", 0x2018000: "4"}

# I2C: control (master mode, repeated start) and data.
I2C_CONTROL, I2C_DATA = 0x08, 0x10
I2C_MASTER, I2C_REPEATED_START = 0x20, 0x04
LED_BUS = 0x21A8000
LED_CHIP = 0x60 << 1  # the address byte of a write


class SpiDecoder:
    """One SPI controller. A message begins where the driver writes its control register without a burst length; the
    data come in big-endian words, of which the first of a burst holds what is over a multiple of four bytes."""

    def __init__(self, bus, messages):
        self._bus = bus
        self._messages = messages
        self._burst = self._left = 0

    def write(self, register, value):
        if register == SPI_CONTROL:
            self._control(value)
        elif register == SPI_DATA:
            self._take(value)

    def _control(self, value):
        bits = value >> 20
        if bits == 0:
            self._messages.append(SpiMessage(f"{self._bus}.{value >> 18 & 3}", b""))
        elif not value & SPI_EXCHANGE:
            self._burst = self._left = (bits + 8) // 8

    def _take(self, value):
        size = self._left % 4 or 4
        device, data = self._messages[-1]
        self._messages[-1] = SpiMessage(device, data + value.to_bytes(4, "big")[4 - size:])
        self._left = self._left - size or self._burst


class LedDecoder:
    """The I2C controller of the LED chip: collects what is written to the chip's registers."""

    def __init__(self, writes):
        self._writes = writes
        self._bytes = None  # of the transfer that is going on

    def write(self, register, value):
        if register == I2C_DATA and self._bytes is not None:
            self._bytes.append(value)
        elif register == I2C_CONTROL:
            if not value & I2C_MASTER or value & I2C_REPEATED_START:
                self._finish()
            if value & I2C_MASTER and (self._bytes is None or value & I2C_REPEATED_START):
                self._bytes = []

    def _finish(self):
        # Without a value the transfer only names the register for a read.
        if self._bytes and self._bytes[0] == LED_CHIP and len(self._bytes) == 3:
            self._writes.append(LedWrite(*self._bytes[1:]))
        self._bytes = None


class BusRecord:
    """Follows the emulator's file. `spi` and `leds` hold all messages and register writes so far; update() adds what
    has come since."""

    def __init__(self, path):
        self._file = open(path, "rb")
        self._rest = b""
        self.spi = []
        self.leds = []
        self._decoders = {base: SpiDecoder(bus, self.spi) for base, bus in SPI_BUSES.items()}
        self._decoders[LED_BUS] = LedDecoder(self.leds)

    def update(self):
        *lines, self._rest = (self._rest + self._file.read()).split(b"\n")
        for line in lines:
            if match := WRITE.match(line):
                address, value = int(match[1], 16), int(match[2], 16)
                decoder = self._decoders.get(address & ~PAGE)
                if decoder:
                    decoder.write(address & PAGE, value)

    def close(self):
        self._file.close()
