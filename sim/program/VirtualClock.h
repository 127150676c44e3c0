// Time that moves when the program has nothing to do, and not otherwise.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <map>

#include "sim/base/Clock.h"
#include "sim/base/EventLoop.h"
#include "sim/base/UniqueFd.h"
#include "sim/kernel/DeviceServer.h"

namespace sim {

// Starts at 0, 2020-01-01 UTC. The processes whose time it is read it from a page that they share with it.
// They wait in turns with it: a process looks at its descriptors by itself, and when nothing is ready says
// so, until when it would sleep, and how many stirs it knew of before it looked. So a process that sleeps and
// knew of all stirs has seen all that was done to it, and does nothing more until somebody moves the clock or
// stirs.
class VirtualClock final : public Clock {
public:
    // Asked for each wait that a process begins: the errno that it fails with, or 0.
    using WaitError = std::function<int()>;

    // The loop is not owned.
    VirtualClock(EventLoop& loop, WaitError waitError);
    ~VirtualClock() override;

    // False: the shared page could not be made.
    [[nodiscard]] bool valid() const { return m_page != nullptr; }

    [[nodiscard]] std::int64_t elapsed() const override;
    [[nodiscard]] std::int64_t timeOfDay() const override;

    // Carries out BELTPACK_CLOCK, BELTPACK_WAIT and BELTPACK_LEAVE.
    [[nodiscard]] Reply answer(const Request& request);

    // To be called after whatever may have made a descriptor of a process ready: all look again.
    void stir();

    // Whether the program's time is this one, and it sleeps, and so does every other process whose time it
    // is.
    [[nodiscard]] bool asleep(pid_t program) const;

    // Moves to the first time for which a process wants to be woken, which it is, or to the limit if that
    // comes sooner. limit: not before now. For processes that work it moves under their feet: only while all
    // sleep.
    void moveOn(std::int64_t limit);

    // The program has ended.
    void forget(pid_t program);

private:
    static constexpr std::int64_t kNever = -1;
    struct Process {
        pid_t pid;
        UniqueFd wake;  // a pipe's write end
        bool sleeps = false;
        std::int64_t deadline = kNever;
    };

    [[nodiscard]] Reply join(const Request& request);
    [[nodiscard]] Result wait(Process& process, const beltpack_request& request);
    static void wake(Process& process);
    void drop(std::uint64_t name);

    EventLoop& m_loop;
    const WaitError m_waitError;
    UniqueFd m_file;  // the page's
    beltpack_clock* m_page = nullptr;
    std::int64_t m_now = 0;
    std::uint64_t m_stirs = 0;
    std::uint64_t m_lastName = 0;
    std::map<std::uint64_t, Process> m_processes;
};

}  // namespace sim
