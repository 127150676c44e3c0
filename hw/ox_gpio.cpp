#include "hw/ox_gpio.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <string_view>

#include "hw/FileDescriptor.h"

namespace {

constexpr const char* kExportPath = "/sys/class/gpio/export";
constexpr const char* kUnexportPath = "/sys/class/gpio/unexport";

std::string linePath(int num, const char* file) {
    return "/sys/class/gpio/gpio" + std::to_string(num) + "/" + file;
}

bool writeFile(const char* path, int flags, std::string_view text) {
    const FileDescriptor fd(open(path, flags));
    return fd.isOpen() && write(fd.get(), text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

std::string_view directionText(int dir) {
    switch (dir) {
        case kGpioOutputLow:
            return "low";
        case kGpioOutputHigh:
            return "high";
        default:
            return "in";
    }
}

}  // namespace

int oxgp_openGpio(int num, int dir) {
    if (!writeFile(kExportPath, O_WRONLY, std::to_string(num)) ||
        !writeFile(linePath(num, "direction").c_str(), O_WRONLY | O_CLOEXEC, directionText(dir))) {
        return -1;
    }
    return open(linePath(num, "value").c_str(), O_RDWR);
}

void oxgp_closeGpio(int num, int fd) {
    if (fd >= 0) {
        close(fd);
    }
    writeFile(kUnexportPath, O_WRONLY | O_CLOEXEC, std::to_string(num));
}

int oxgp_readGpio(int fd) {
    char level = '0';
    if (lseek(fd, 0, SEEK_SET) < 0 || read(fd, &level, 1) < 0) {
        return -1;
    }
    return level == '0' ? 0 : 1;
}

int oxgp_writeGpio(int fd, int level) {
    errno = 0;
    return write(fd, level != 0 ? "1" : "0", 1) < 1 ? -1 : 0;
}
