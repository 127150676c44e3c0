// The log's records of device calls, one function a kind.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "sim/kernel/Result.h"
#include "sim/log/EventLog.h"

namespace sim {

// Text forms; a failed call ends in " = ERRNO", a short write in " = COUNT":
//   open PATH FLAGS                 read PATH TEXT           write PATH TEXT
//   ioctl PATH REQUEST [VALUE]      spi PATH HEX BYTES       syslog PRIORITY TEXT
//   fault CALL [PATH] EFFECT        and KIND WHAT for anything else, e.g. "frame 1"
class CallLog {
public:
    // The log is not owned.
    explicit CallLog(EventLog& log) : m_log(log) {}

    void open(const std::string& path, std::uint32_t flags, const Result& result);
    void read(const std::string& path, const Result& result);
    void write(const std::string& path, std::string_view bytes, const Result& result);
    // request: the request's name with its value, if it sets one.
    void ioctl(const std::string& path, const std::string& request, const Result& result);
    // One SPI message; " | " stands between its transfers.
    void transfer(const std::string& path, const std::vector<std::string>& transfers, const Result& result);
    // priority: with facility, as given to syslog().
    void syslog(unsigned priority, const std::string& identifier, const std::string& text);
    // path: empty for a call that has none.
    void fault(std::string_view call, const std::string& path, const std::string& effect);
    void event(const std::string& kind, const std::string& what);

private:
    EventLog& m_log;
};

}  // namespace sim
