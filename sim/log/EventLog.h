// The record of what happened on the panel's devices and to the programs, in order.
#pragma once

#include <fstream>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "sim/base/Clock.h"

namespace sim {

// Every record has two forms: a JSON object, written as one line to the log file, and a compact line of text,
// written to standard error by the trace and kept for scripts to match. The object's last member is "ms", the
// time since the session began, so that a comparison can cut it off.
class EventLog {
public:
    EventLog() : EventLog(nullptr) {}
    // clock: the session's, not owned; nullptr: the machine's, from now on.
    explicit EventLog(const Clock* clock) : m_clock(clock != nullptr ? *clock : m_machine) {}

    // Where records go; without any of these none are made. False: the file cannot be written.
    [[nodiscard]] bool writeTo(const std::string& file);
    void trace() { m_trace = true; }
    void keep() { m_keep = true; }

    // Whether somebody reads: callers need not put a record together otherwise.
    [[nodiscard]] bool wanted() const { return m_trace || m_keep || m_file.is_open(); }

    // object: a JSON object without "ms". Bytes in it that are no UTF-8 are written as replacement
    // characters.
    void add(const std::string& text, nlohmann::ordered_json object);

    // Since the clock was made.
    [[nodiscard]] double milliseconds() const;
    // The session's.
    [[nodiscard]] const Clock& clock() const { return m_clock; }

    // The kept texts, oldest first.
    [[nodiscard]] const std::vector<std::string>& texts() const { return m_texts; }

private:
    const Clock m_machine;
    const Clock& m_clock;
    std::ofstream m_file;
    bool m_trace = false;
    bool m_keep = false;
    std::vector<std::string> m_texts;
};

}  // namespace sim
