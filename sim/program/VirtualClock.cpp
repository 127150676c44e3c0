#include "sim/program/VirtualClock.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

namespace sim {
namespace {

constexpr std::int64_t kMicroseconds = 1'000'000;

void publish(std::uint64_t& to, std::uint64_t value) {
    __atomic_store_n(&to, value, __ATOMIC_SEQ_CST);
}

}  // namespace

VirtualClock::VirtualClock(EventLoop& loop, WaitError waitError)
    : m_loop(loop), m_waitError(std::move(waitError)), m_file(::memfd_create("beltpack_clock", MFD_CLOEXEC)) {
    if (::ftruncate(m_file.get(), sizeof *m_page) < 0) {
        return;
    }
    void* page = ::mmap(nullptr, sizeof *m_page, PROT_READ | PROT_WRITE, MAP_SHARED, m_file.get(), 0);
    m_page = page == MAP_FAILED ? nullptr : static_cast<beltpack_clock*>(page);
}

VirtualClock::~VirtualClock() {
    for (const auto& [name, process] : m_processes) {
        m_loop.unwatch(process.wake.get());
    }
    if (valid()) {
        ::munmap(m_page, sizeof *m_page);
    }
}

std::int64_t VirtualClock::elapsed() const {
    return m_now;
}

std::int64_t VirtualClock::timeOfDay() const {
    return BELTPACK_CLOCK_EPOCH * kMicroseconds + m_now;
}

Reply VirtualClock::answer(const Request& request) {
    if (request.head.operation == BELTPACK_CLOCK) {
        return join(request);
    }
    Reply reply;
    const auto found = m_processes.find(request.head.device);
    if (found == m_processes.end()) {
        reply.result = Result::failed(ESRCH);
    } else if (request.head.operation == BELTPACK_WAIT) {
        reply.result = wait(found->second, request.head);
    } else {
        found->second.sleeps = false;
    }
    return reply;
}

Reply VirtualClock::join(const Request& request) {
    std::array<int, 2> ends{-1, -1};
    Reply reply;
    if (::pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) < 0) {
        reply.result = Result::failed(errno);
        return reply;
    }
    const std::uint64_t name = ++m_lastName;
    reply.fd = UniqueFd(ends[0]);
    reply.outputFd = UniqueFd(::fcntl(m_file.get(), F_DUPFD_CLOEXEC, 0));
    reply.result = Result::returned(static_cast<std::int64_t>(name));
    const auto pid = static_cast<pid_t>(request.head.offset);
    m_processes.emplace(name, Process{pid, UniqueFd(ends[1])});
    m_loop.watch(ends[1], 0, [this, name](std::uint32_t) { drop(name); });
    return reply;
}

// A process that knew of fewer stirs looked too early: it looks again at once. Before the first look of a
// call it may have done something to the others.
Result VirtualClock::wait(Process& process, const beltpack_request& request) {
    const bool first = request.argument != 0;
    const int error = first ? m_waitError() : 0;
    if (error != 0) {
        return Result::failed(error);
    }
    const bool sawAll = request.inode == m_stirs;
    if (first && m_processes.size() > 1) {
        stir();
    }
    process.sleeps = true;
    process.deadline = request.offset;
    if (!sawAll) {
        wake(process);
    }
    return {};
}

void VirtualClock::wake(Process& process) {
    process.sleeps = false;
    const char look = 0;
    (void)!::write(process.wake.get(), &look, sizeof look);  // fails when the process is gone
}

void VirtualClock::stir() {
    publish(m_page->stirs, ++m_stirs);
    for (auto& [name, process] : m_processes) {
        if (process.sleeps) {
            wake(process);
        }
    }
}

bool VirtualClock::asleep(pid_t program) const {
    const auto isProgram = [program](const auto& entry) { return entry.second.pid == program; };
    const auto sleeps = [](const auto& entry) { return entry.second.sleeps; };
    return std::any_of(m_processes.begin(), m_processes.end(), isProgram) &&
           std::all_of(m_processes.begin(), m_processes.end(), sleeps);
}

void VirtualClock::moveOn(std::int64_t limit) {
    m_now = limit;
    for (const auto& [name, process] : m_processes) {
        if (process.sleeps && process.deadline != kNever) {
            m_now = std::min(m_now, process.deadline);
        }
    }
    publish(m_page->now, static_cast<std::uint64_t>(m_now));
    for (auto& [name, process] : m_processes) {
        if (process.sleeps && process.deadline != kNever && process.deadline <= m_now) {
            wake(process);
        }
    }
}

void VirtualClock::forget(pid_t program) {
    for (auto process = m_processes.begin(); process != m_processes.end();) {
        const auto present = process++;
        if (present->second.pid == program) {
            drop(present->first);
        }
    }
}

void VirtualClock::drop(std::uint64_t name) {
    const auto found = m_processes.find(name);
    m_loop.unwatch(found->second.wake.get());
    m_processes.erase(found);
    stir();  // with what it did last it may have meant the others
}

}  // namespace sim
