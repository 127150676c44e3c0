// The system-log message of a failed device call.
#pragma once

// Logs "%s Error %d: %s" at error priority: `function` (the reporting function's name), `error` (an errno
// value) and its text.
void logDeviceError(const char* function, int error);
