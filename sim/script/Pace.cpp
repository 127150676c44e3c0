#include "sim/script/Pace.h"

#include <algorithm>

namespace sim {
namespace {

constexpr std::int64_t kMicroseconds = 1000;  // of a millisecond
constexpr std::int64_t kLongestRound = 1000;  // ms
constexpr int kBusyRound = 100;               // ms: how often patience with a busy program is looked at

}  // namespace

void Pace::stir() {
    if (isVirtual()) {
        m_session.virtualClock()->stir();
        m_lastRest = RealClock::now();
    }
}

Pace::Round Pace::serve(std::int64_t until, std::chrono::seconds patience) {
    return isVirtual() ? serveVirtual(until, patience) : serveReal(until);
}

Pace::Round Pace::serveReal(std::int64_t until) {
    const std::int64_t left = until - now();
    if (left <= 0) {
        return Round::TimeUp;
    }
    m_session.serve(static_cast<int>(std::min(left / kMicroseconds + 1, kLongestRound)));
    return Round::Served;
}

// What the program did before it came to rest may wait to be served: only when nothing is left of it may time
// move.
Pace::Round Pace::serveVirtual(std::int64_t until, std::chrono::seconds patience) {
    if (!m_session.atRest()) {
        m_session.serve(kBusyRound);
        return RealClock::now() - m_lastRest > patience ? Round::Stuck : Round::Served;
    }
    m_lastRest = RealClock::now();
    if (m_session.serve(0)) {
        return Round::Served;
    }
    if (now() >= until) {
        return Round::TimeUp;
    }
    m_session.virtualClock()->moveOn(until);
    return Round::Served;
}

}  // namespace sim
