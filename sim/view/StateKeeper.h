// Keeps what views show.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "sim/panel/Panel.h"
#include "sim/view/LineRing.h"
#include "sim/view/PanelState.h"

namespace sim {

// Listens to the panel, counts what passes, and tells by its version that something has changed. Everything
// runs on the simulator's thread; SnapshotBox takes what it has to others.
class StateKeeper final : public PanelListener {
public:
    static constexpr std::size_t kKeptLines = 1000;
    // Milliseconds in the log's time.
    using Clock = std::function<double()>;

    // The panel is not owned; the keeper listens to it from now on. variant: the fitted display.
    StateKeeper(Panel& panel, int variant, Clock clock);

    // Grows with every change of what state() and lines() give. 1 at the start.
    [[nodiscard]] std::uint64_t version() const { return m_version; }
    // The state now, put together by this call.
    [[nodiscard]] PanelState state() const;
    // The last kKeptLines lines.
    [[nodiscard]] const LineRing& lines() const { return m_lines; }

private:
    void onFrame(unsigned number, const Picture& picture) override;
    void onDisplayOn(bool on) override;
    void onContrast(std::uint8_t level) override;
    void onLed(std::size_t index, unsigned level) override;
    void onOutput(int number, int level) override;
    void onGain(unsigned code) override;
    void onInput(InputDevice device, const std::vector<InputEvent>& events) override;
    void onTransfer(const std::string& path, std::string_view bytes) override;
    void onPlug(const std::string& path, bool plugged) override;
    void onLineIn(const std::string& text) override;
    void onLineOut(const std::string& text) override;
    void onStart(const std::string& command) override;
    void onExit(int status) override;

    void keep(const std::string& text, bool out);

    const Panel& m_panel;
    const Clock m_clock;
    std::uint64_t m_version = 1;
    PanelState m_counted;  // what the panel itself does not keep
    LineRing m_lines{kKeptLines};
};

}  // namespace sim
