#include "hw/TrulyOLED1M4012.h"

#include <array>

#include "hw/FileDescriptor.h"
#include "hw/SpiPort.h"

namespace {

constexpr const char* kCmdPath = "/dev/spidev3.0";
constexpr const char* kDataPath = "/dev/spidev3.1";
constexpr unsigned int kPages = 8;
constexpr unsigned int kPageBytes = 96;

// The controller's commands that are also sent after the set-up.
constexpr unsigned char kSetPage = 0xB0;
constexpr unsigned char kSetContrast = 0x81;

// clang-format off
constexpr unsigned char OLED1M4012_oled_setup[] = {
    0xAE,                // display off
    0x00,                // lower column start 0
    0x12,                // higher column start 2 (column 32)
    0x40,                // display start line 0
    kSetContrast, 0x7F,  // contrast control, middle
    0xA1,                // segment remap
    0xA4,                // display follows RAM
    0xA6,                // normal, not inverted
    0xA8, 0x3F,          // multiplex ratio 64
    0xAD, 0x8A,          // master configuration: DC-DC
    kSetPage,            // page 0
    0xC0,                // COM scan direction normal
    0xD3, 0x00,          // display offset 0
    0xD5, 0xF0,          // clock divide ratio, oscillator frequency
    0xD9, 0xF1,          // pre-charge period
    0xDA, 0x12,          // COM pins configuration
    0xDB, 0x34,          // VCOMH deselect level
    0xAF,                // display on
};
// clang-format on
static_assert(sizeof(OLED1M4012_oled_setup) == 26, "the set-up sequence is one 26-byte transfer");

// Where the frame starts in the controller's RAM, as the commands for the two nibbles of the column.
struct ColumnStart {
    unsigned char low;
    unsigned char high;
};
constexpr std::array<ColumnStart, 2> kColumnStarts = {{{0x00, 0x12}, {0x0C, 0x11}}};  // columns 32 and 28

constexpr unsigned char uiMode = 0;
constexpr unsigned char uiBits = 8;
constexpr unsigned int uiSpeed = 2500000;
constexpr SpiSettings kSettings = {uiMode, uiBits, uiSpeed};

int iCmdFd = -1;
int iDataFd = -1;
spi_ioc_transfer xfer_cmd;
spi_ioc_transfer xfer_data;

unsigned int m_displayType = 0;
unsigned char m_columnLow = kColumnStarts[0].low;
unsigned char m_columnHi = kColumnStarts[0].high;

bool openCmd() {
    if (iCmdFd < 0) {
        iCmdFd = spiOpen(kCmdPath, kSettings, &xfer_cmd);
    }
    return iCmdFd >= 0;
}

bool openData() {
    if (iDataFd < 0) {
        iDataFd = spiOpen(kDataPath, kSettings, &xfer_data);
    }
    return iDataFd >= 0;
}

// Sends a command; a failure closes the command node.
template <std::size_t N>
bool sendCmd(const unsigned char (&bytes)[N]) {
    const bool sent = spiSend(iCmdFd, &xfer_cmd, bytes, N);
    if (!sent) {
        closeDescriptor(&iCmdFd);
    }
    return sent;
}

// Sends one page of the frame; a failure closes the data node.
bool sendPage(const unsigned char* bytes) {
    const bool sent = spiSend(iDataFd, &xfer_data, bytes, kPageBytes);
    if (!sent) {
        closeDescriptor(&iDataFd);
    }
    return sent;
}

}  // namespace

void OLEDintf_init() {
    closeDescriptor(&iCmdFd);
    closeDescriptor(&iDataFd);
    // Not sendCmd(): after a refused set-up the command node stays open, so that a later contrast command
    // still has a node to try.
    if (openCmd() && spiSend(iCmdFd, &xfer_cmd, OLED1M4012_oled_setup, sizeof(OLED1M4012_oled_setup))) {
        openData();
    }
}

void OLEDintf_setDisplayType(int type) {
    m_displayType = type == 1 ? 1 : 0;
    m_columnLow = kColumnStarts[m_displayType].low;
    m_columnHi = kColumnStarts[m_displayType].high;
}

void OLEDintf_dim(int level) {
    if (openCmd()) {
        sendCmd({kSetContrast, static_cast<unsigned char>(level)});
    }
}

void OLEDintf_write(unsigned short /*display*/, unsigned char* frame) {
    // The data node first: with it missing, no command may reach the controller either.
    if (!openData() || !openCmd()) {
        return;
    }
    for (unsigned int page = 0; page < kPages; ++page) {
        if (!sendCmd({static_cast<unsigned char>(kSetPage | page), m_columnLow, m_columnHi}) ||
            !sendPage(frame + page * kPageBytes)) {
            return;
        }
    }
}
