#include "sim/record/OutputFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

namespace sim {
namespace {

constexpr mode_t kMode = 0666;  // less the umask

}  // namespace

bool OutputFile::failed() {
    m_error = "cannot write " + m_name + ": " + std::strerror(errno);
    return false;
}

bool OutputFile::open(const std::string& file) {
    (void)close();
    m_name = file;
    m_bytes = 0;
    m_error.clear();
    m_fd = ::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kMode);
    return m_fd >= 0 || failed();
}

bool OutputFile::write(std::string_view bytes) {
    while (m_error.empty() && !bytes.empty()) {
        const ssize_t written = ::write(m_fd, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR) {
            return failed();
        }
        const auto size = static_cast<std::size_t>(written < 0 ? 0 : written);
        m_bytes += size;
        bytes.remove_prefix(size);
    }
    return m_error.empty();
}

bool OutputFile::close() {
    const int fd = std::exchange(m_fd, -1);
    if (fd >= 0 && ::close(fd) < 0 && m_error.empty()) {
        return failed();  // a disk over the network may tell only now that it is full
    }
    return m_error.empty();
}

}  // namespace sim
