#include "hw/DeviceLog.h"

#include <syslog.h>

#include <cstring>

void logDeviceError(const char* function, int error) {
    syslog(LOG_ERR, "%s Error %d: %s", function, error, std::strerror(error));
}
