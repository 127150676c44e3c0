#include "sim/log/EventLog.h"

#include <iostream>
#include <nlohmann/json.hpp>
#include <utility>

namespace sim {

bool EventLog::writeTo(const std::string& file) {
    m_file.open(file, std::ios::trunc);
    return m_file.is_open();
}

double EventLog::milliseconds() const {
    return static_cast<double>(m_clock.elapsed()) / 1000.0;
}

void EventLog::add(const std::string& text, nlohmann::ordered_json object) {
    if (m_keep) {
        m_texts.push_back(text);
    }
    if (m_trace) {
        std::cerr << text << '\n';
    }
    if (m_file.is_open()) {
        object["ms"] = milliseconds();
        using Json = nlohmann::ordered_json;
        m_file << object.dump(-1, ' ', false, Json::error_handler_t::replace) << '\n' << std::flush;
    }
}

}  // namespace sim
