#include "hw/InputEvents.h"

#include <unistd.h>

#include <cerrno>

#include "hw/DeviceLog.h"
#include "hw/FileDescriptor.h"

std::size_t readInputEvents(int* fd, const char* function, InputEvents* events) {
    const ssize_t length = read(*fd, events->data(), kInputReadBytes);
    if (length >= 0) {
        return static_cast<std::size_t>(length) / sizeof(input_event);
    }
    if (errno == ENODEV) {
        logDeviceError(function, errno);
        closeDescriptor(fd);
    }
    return 0;
}

timeval inputEventTime(const input_event& event) {
    timeval time;
    time.tv_sec = static_cast<time_t>(event.input_event_sec);
    time.tv_usec = static_cast<suseconds_t>(event.input_event_usec);
    return time;
}
