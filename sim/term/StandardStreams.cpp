#include "sim/term/StandardStreams.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>

namespace sim {
namespace {

constexpr off_t kMostKept = 1 << 20;   // bytes
constexpr off_t kMostShown = 1 << 14;  // bytes

UniqueFd copyOf(int fd) {
    return UniqueFd(::fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

// Puts a descriptor in the place of a standard one; gives the one that was there.
UniqueFd replace(int standard, const UniqueFd& with) {
    UniqueFd before = copyOf(standard);
    ::dup2(with.get(), standard);
    return before;
}

void putBack(int standard, UniqueFd& before) {
    if (before.valid()) {
        ::dup2(before.get(), standard);
        before.reset();
    }
}

off_t sizeOf(const UniqueFd& fd) {
    struct stat status {};
    return ::fstat(fd.get(), &status) == 0 ? status.st_size : 0;
}

}  // namespace

void StandardStreams::takeFrom(const Terminal& terminal) {
    if (terminal.is(STDIN_FILENO)) {
        std::array<int, 2> ends{-1, -1};
        if (::pipe2(ends.data(), O_CLOEXEC) == 0) {
            m_input = replace(STDIN_FILENO, UniqueFd(ends[0]));
            m_noInput = UniqueFd(ends[1]);
        }
    }
    if (terminal.is(STDOUT_FILENO)) {
        m_output = replace(STDOUT_FILENO, UniqueFd(::open("/dev/null", O_WRONLY | O_CLOEXEC)));
    }
    if (terminal.is(STDERR_FILENO)) {
        m_kept = UniqueFd(::memfd_create("beltpack_sim-errors", MFD_CLOEXEC));
        ::fcntl(m_kept.get(), F_SETFL, O_APPEND);  // so that it may be cut while others write
        m_error = replace(STDERR_FILENO, m_kept);
    }
}

bool StandardStreams::endInput() {
    const bool open = m_noInput.valid();
    m_noInput.reset();
    return open;
}

void StandardStreams::trim() const {
    if (m_kept.valid() && sizeOf(m_kept) > kMostKept) {
        (void)(::ftruncate(m_kept.get(), 0) == 0);
    }
}

void StandardStreams::giveBack() {
    putBack(STDIN_FILENO, m_input);
    putBack(STDOUT_FILENO, m_output);
    putBack(STDERR_FILENO, m_error);
    m_noInput.reset();
    if (m_kept.valid()) {
        const off_t size = sizeOf(m_kept);
        std::string last(static_cast<std::size_t>(std::min(size, kMostShown)), '\0');
        const ssize_t length =
            ::pread(m_kept.get(), last.data(), last.size(), std::max<off_t>(size - kMostShown, 0));
        (void)(::write(STDERR_FILENO, last.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0))) <
               0);
        m_kept.reset();
    }
}

}  // namespace sim
