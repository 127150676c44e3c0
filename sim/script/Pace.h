// How time passes under a script.
#pragma once

#include <chrono>
#include <cstdint>

#include "sim/program/Session.h"

namespace sim {

// Serves a session round by round. With the machine's clock a round waits for something to happen. With a
// virtual one time moves only when the program has nothing to do and all that it has done is served, so that
// what happens at what time is the same on every run.
class Pace {
public:
    // The session is not owned.
    explicit Pace(Session& session) : m_session(session) {}

    enum class Round {
        Served,  // something has happened, or time has passed
        TimeUp,  // the time has come, and with a virtual clock all that is due by then has happened
        Stuck    // virtual clock: the program does not come to rest
    };

    // The session's clock, in microseconds.
    [[nodiscard]] std::int64_t now() const { return m_session.log().clock().elapsed(); }
    [[nodiscard]] bool isVirtual() const { return m_session.virtualClock() != nullptr; }

    // Before the first round of a wait: something may have been done to the program.
    void stir();

    // One round, until a time of the clock at the most. patience: real time within which the program has to
    // come to rest.
    [[nodiscard]] Round serve(std::int64_t until, std::chrono::seconds patience);

private:
    using RealClock = std::chrono::steady_clock;

    [[nodiscard]] Round serveReal(std::int64_t until);
    [[nodiscard]] Round serveVirtual(std::int64_t until, std::chrono::seconds patience);

    Session& m_session;
    RealClock::time_point m_lastRest;
};

}  // namespace sim
