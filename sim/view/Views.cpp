#include "sim/view/Views.h"

#include <sys/epoll.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <utility>

namespace sim {
namespace {

constexpr long kPublishEveryNs = 10'000'000;  // at the most

}  // namespace

// The first change is published at once and starts the timer; what comes before it has run out waits for it.
struct Views::Shared {
    Shared(EventLoop& theLoop, Panel& panel, int variant, const StateKeeper::Clock& clock)
        : loop(theLoop),
          keeper(panel, variant, clock),
          mailbox(theLoop),
          timer(::timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK)) {
        loop.watch(timer.get(), EPOLLIN, [this](std::uint32_t) { timeIsUp(); });
    }
    ~Shared() { loop.unwatch(timer.get()); }
    Shared(const Shared&) = delete;
    Shared& operator=(const Shared&) = delete;

    void publishIfDue() {
        if (!waiting && published != keeper.version()) {
            publish();
            const itimerspec once = {{0, 0}, {0, kPublishEveryNs}};
            ::timerfd_settime(timer.get(), 0, &once, nullptr);
            waiting = true;
        }
    }
    void publish() {
        published = keeper.version();
        snapshots.publish(published, keeper.state(), keeper.lines());
    }
    void timeIsUp() {
        std::uint64_t times = 0;
        waiting = ::read(timer.get(), &times, sizeof times) < 0;
    }

    EventLoop& loop;
    StateKeeper keeper;
    Mailbox mailbox;
    SnapshotBox snapshots;
    UniqueFd timer;
    bool waiting = false;
    std::uint64_t published = 0;  // version
};

Views::Views(EventLoop& loop, Panel& panel, Controls& controls, int variant, StateKeeper::Clock clock)
    : m_loop(loop), m_panel(panel), m_controls(controls), m_variant(variant), m_clock(std::move(clock)) {}

Views::~Views() {
    stop();
}

void Views::add(std::unique_ptr<View> view) {
    if (!m_shared) {
        m_shared = std::make_unique<Shared>(m_loop, m_panel, m_variant, m_clock);
    }
    m_views.push_back(std::move(view));
}

bool Views::wantLines() const {
    return std::any_of(m_views.begin(), m_views.end(),
                       [](const std::unique_ptr<View>& view) { return view->wantsLines(); });
}

std::string Views::start() {
    for (; m_started < m_views.size(); ++m_started) {
        const ViewSeam seam = {m_loop,     m_panel,           m_shared->keeper,
                               m_controls, m_shared->mailbox, m_shared->snapshots};
        std::string error = m_views[m_started]->start(seam);
        if (!error.empty()) {
            return error;
        }
    }
    return {};
}

void Views::afterRound() {
    if (m_shared && !m_stopped) {
        m_shared->publishIfDue();
    }
}

void Views::stop() {
    if (!m_shared || m_stopped) {
        return;
    }
    m_stopped = true;
    m_shared->publish();
    m_shared->snapshots.close();
    m_shared->mailbox.close();
    for (; m_started > 0; --m_started) {
        m_views[m_started - 1]->stop();
    }
}

}  // namespace sim
