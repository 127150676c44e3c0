#include "sim/kernel/CallLog.h"

#include <fcntl.h>
#include <sys/syslog.h>

#include <nlohmann/json.hpp>
#include <utility>

#include "sim/base/Text.h"

namespace sim {
namespace {

using Json = nlohmann::ordered_json;

constexpr const char* kAccessModes[] = {"O_RDONLY", "O_WRONLY", "O_RDWR", "O_ACCMODE"};

constexpr struct {
    std::uint32_t bit;
    const char* name;
} kOpenFlags[] = {
    {O_CREAT, "O_CREAT"},   {O_EXCL, "O_EXCL"},         {O_TRUNC, "O_TRUNC"},
    {O_APPEND, "O_APPEND"}, {O_NONBLOCK, "O_NONBLOCK"}, {O_CLOEXEC, "O_CLOEXEC"},
};

constexpr const char* kPriorities[] = {"emerg", "alert", "crit", "err", "warning", "notice", "info", "debug"};

std::string flagNames(std::uint32_t flags) {
    std::string names = kAccessModes[flags & O_ACCMODE];
    for (const auto& flag : kOpenFlags) {
        if ((flags & flag.bit) != 0) {
            names += '|';
            names += flag.name;
        }
    }
    return names;
}

std::string failure(const Result& result) {
    return result.error != 0 ? " = " + errorName(result.error) : std::string();
}

Json withOutcome(Json object, const Result& result) {
    if (result.error != 0) {
        object["error"] = errorName(result.error);
    } else {
        object["result"] = result.value;
    }
    return object;
}

}  // namespace

void CallLog::open(const std::string& path, std::uint32_t flags, const Result& result) {
    if (!m_log.wanted()) {
        return;
    }
    const std::string names = flagNames(flags);
    m_log.add("open " + path + ' ' + names + failure(result),
              withOutcome({{"event", "open"}, {"path", path}, {"flags", names}}, result));
}

void CallLog::read(const std::string& path, const Result& result) {
    if (!m_log.wanted()) {
        return;
    }
    m_log.add("read " + path + ' ' + printable(result.bytes) + failure(result),
              withOutcome({{"event", "read"}, {"path", path}, {"text", result.bytes}}, result));
}

void CallLog::write(const std::string& path, std::string_view bytes, const Result& result) {
    if (!m_log.wanted()) {
        return;
    }
    const bool isShort = result.error == 0 && result.value != static_cast<std::int64_t>(bytes.size());
    m_log.add("write " + path + ' ' + printable(bytes) + failure(result) +
                  (isShort ? " = " + std::to_string(result.value) : std::string()),
              withOutcome({{"event", "write"}, {"path", path}, {"text", bytes}}, result));
}

void CallLog::ioctl(const std::string& path, const std::string& request, const Result& result) {
    if (!m_log.wanted()) {
        return;
    }
    m_log.add("ioctl " + path + ' ' + request + failure(result),
              withOutcome({{"event", "ioctl"}, {"path", path}, {"request", request}}, result));
}

void CallLog::transfer(const std::string& path, const std::vector<std::string>& transfers,
                       const Result& result) {
    if (!m_log.wanted()) {
        return;
    }
    std::string hex;
    for (const std::string& bytes : transfers) {
        hex += (hex.empty() ? "" : " | ") + hexBytes(bytes);
    }
    m_log.add("spi " + path + ' ' + hex + failure(result),
              withOutcome({{"event", "spi"}, {"path", path}, {"bytes", hex}}, result));
}

void CallLog::syslog(unsigned priority, const std::string& identifier, const std::string& text) {
    if (!m_log.wanted()) {
        return;
    }
    const char* name = kPriorities[priority & LOG_PRIMASK];
    m_log.add(std::string("syslog ") + name + ' ' + printable(text),
              {{"event", "syslog"}, {"priority", name}, {"identifier", identifier}, {"text", text}});
}

void CallLog::fault(std::string_view call, const std::string& path, const std::string& effect) {
    if (!m_log.wanted()) {
        return;
    }
    m_log.add("fault " + std::string(call) + ' ' + (path.empty() ? "" : path + ' ') + effect,
              {{"event", "fault"}, {"call", call}, {"path", path}, {"effect", effect}});
}

void CallLog::event(const std::string& kind, const std::string& what) {
    if (m_log.wanted()) {
        m_log.add(kind + ' ' + what, {{"event", kind}, {"what", what}});
    }
}

}  // namespace sim
