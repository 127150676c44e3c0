#include "sim/program/PipedInput.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>

namespace sim {

void PipedInput::restart() {
    m_lines.clear();
    m_waiting.clear();
    m_atLineStart = true;
}

void PipedInput::close() {
    const bool open = m_fd.valid();
    m_fd.reset();
    if (open && m_tellEnd) {
        m_tellEnd();
    }
}

bool PipedInput::drained() const {
    int unread = 0;
    return m_waiting.empty() && (::ioctl(m_fd.get(), FIONREAD, &unread) < 0 || unread == 0);
}

long PipedInput::put(std::string_view bytes) {
    const ssize_t written = ::write(m_fd.get(), bytes.data(), bytes.size());
    if (written < 0) {
        return errno == EAGAIN ? 0 : -1;
    }
    if (written > 0) {
        m_atLineStart = bytes[static_cast<std::size_t>(written) - 1] == '\n';
        m_lines.append(bytes.substr(0, static_cast<std::size_t>(written)));
    }
    return written;
}

long PipedInput::write(std::string_view bytes) {
    const long written = put(bytes);
    while (written > 0 && m_atLineStart && !m_waiting.empty() && put(m_waiting.front()) > 0) {
        m_waiting.pop_front();
    }
    return written;
}

std::string PipedInput::sendLine(const std::string& line) {
    if (!m_fd.valid()) {
        return "the program's input is closed";
    }
    if (!m_atLineStart || !m_waiting.empty()) {
        m_waiting.push_back(line);
        return {};
    }
    const long written = put(line);
    return written > 0    ? ""
           : written == 0 ? "the program does not read its input"
                          : "the program's input is closed";
}

}  // namespace sim
