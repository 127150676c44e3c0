#include "sim/view/SnapshotBox.h"

#include <utility>

namespace sim {

void SnapshotBox::publish(std::uint64_t version, const PanelState& state, const LineRing& lines) {
    LineRing::Newer newer = lines.since(m_lines.last());  // only this thread changes m_lines
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_version = version;
        m_state = state;
        for (ShownLine& line : newer.lines) {
            m_lines.add(std::move(line));
        }
    }
    wakeAll();
}

void SnapshotBox::close() {
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_closed = true;
    }
    wakeAll();
}

// Without the lock: who is woken may take at once.
void SnapshotBox::wakeAll() {
    m_changed.notify_all();
    for (const std::function<void()>& wake : m_wakes) {
        wake();
    }
}

SnapshotBox::News SnapshotBox::take(std::uint64_t afterLine) const {
    LineRing::Newer newer = m_lines.since(afterLine);
    return {m_version, m_state, std::move(newer.lines), newer.missed};
}

SnapshotBox::News SnapshotBox::latest(std::uint64_t afterLine) const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return take(afterLine);
}

std::optional<SnapshotBox::News> SnapshotBox::waitNewer(std::uint64_t version, std::uint64_t afterLine,
                                                        std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait_for(lock, timeout, [this, version] { return m_closed || m_version > version; });
    if (m_version <= version) {
        return std::nullopt;
    }
    return take(afterLine);
}

bool SnapshotBox::closed() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_closed;
}

}  // namespace sim
