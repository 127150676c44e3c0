#include "hw/ibp_micGain.h"

#include "hw/FileDescriptor.h"
#include "hw/SpiPort.h"

namespace {

constexpr const char* kPath = "/dev/spidev4.0";
constexpr SpiSettings kSettings = {0, 16, 4000000};
constexpr unsigned int kGainMask = 31;

int iCmdFd = -1;
spi_ioc_transfer xfer_cmd;

}  // namespace

void ibp_micGain_init() {
    closeDescriptor(&iCmdFd);
    iCmdFd = spiOpen(kPath, kSettings, &xfer_cmd);
}

void ibp_micGain_setGain(int gain) {
    if (iCmdFd < 0) {
        ibp_micGain_init();
    }
    if (iCmdFd < 0) {
        return;
    }
    // One 16-bit word in the processor's little-endian order.
    const unsigned char word[] = {static_cast<unsigned char>(static_cast<unsigned int>(gain) & kGainMask), 0};
    if (!spiSend(iCmdFd, &xfer_cmd, word, sizeof(word))) {
        closeDescriptor(&iCmdFd);
    }
}
