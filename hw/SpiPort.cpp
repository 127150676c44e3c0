#include "hw/SpiPort.h"

#include <fcntl.h>
#include <sys/ioctl.h>

#include "hw/FileDescriptor.h"

namespace {

bool configure(int fd, const SpiSettings& settings) {
    return ioctl(fd, SPI_IOC_WR_MODE, &settings.mode) >= 0 &&
           ioctl(fd, SPI_IOC_WR_BITS_PER_WORD, &settings.bitsPerWord) >= 0 &&
           ioctl(fd, SPI_IOC_WR_MAX_SPEED_HZ, &settings.maxSpeedHz) >= 0;
}

}  // namespace

int spiOpen(const char* path, const SpiSettings& settings, spi_ioc_transfer* xfer) {
    FileDescriptor fd(open(path, O_RDWR | O_NONBLOCK));
    if (!fd.isOpen() || !configure(fd.get(), settings)) {
        return -1;
    }
    *xfer = {};
    return fd.release();
}

bool spiSend(int fd, spi_ioc_transfer* xfer, const unsigned char* bytes, std::uint32_t len) {
    xfer->tx_buf = reinterpret_cast<std::uintptr_t>(bytes);
    xfer->len = len;
    xfer->cs_change = 0;
    return ioctl(fd, SPI_IOC_MESSAGE(1), xfer) >= 0;
}
