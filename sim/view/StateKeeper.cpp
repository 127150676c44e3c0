#include "sim/view/StateKeeper.h"

#include <linux/input-event-codes.h>

#include <string_view>
#include <utility>

namespace sim {
namespace {

constexpr std::string_view kErrorLine = "OnError(";

}  // namespace

StateKeeper::StateKeeper(Panel& panel, int variant, Clock clock) : m_panel(panel), m_clock(std::move(clock)) {
    m_counted.variant = variant;
    m_counted.plugged.fill(true);
    panel.listen(*this);
}

// What the panel keeps is asked of the panel, so that nothing can differ from it.
PanelState StateKeeper::state() const {
    PanelState state = m_counted;
    state.picture = m_panel.oled.picture();
    state.frame = m_panel.oled.frames();
    state.displayOn = m_panel.oled.displayOn();
    state.contrast = m_panel.oled.contrast();
    state.gainCode = m_panel.micGain.code();
    for (std::size_t i = 0; i < state.leds.size(); ++i) {
        state.leds[i] = m_panel.leds.level(i);
    }
    for (std::size_t i = 0; i < state.outputs.size(); ++i) {
        state.outputs[i] = m_panel.gpio.lines()[i].level;
    }
    for (std::size_t i = 0; i < state.keysHeld.size(); ++i) {
        state.keysHeld[i] = m_panel.inputs.held(static_cast<unsigned>(InputModel::kFirstKeyCode + i));
    }
    return state;
}

void StateKeeper::onFrame(unsigned, const Picture&) {
    ++m_version;
}
void StateKeeper::onDisplayOn(bool) {
    ++m_version;
}
void StateKeeper::onContrast(std::uint8_t) {
    ++m_version;
}
void StateKeeper::onLed(std::size_t, unsigned) {
    ++m_version;
}
void StateKeeper::onOutput(int, int) {
    ++m_version;
}
void StateKeeper::onGain(unsigned) {
    ++m_version;
}

void StateKeeper::onInput(InputDevice device, const std::vector<InputEvent>& events) {
    for (const InputEvent& event : events) {
        if (event.type == EV_REL) {
            m_counted.detents[static_cast<std::size_t>(device)] += event.value;
        }
    }
    ++m_version;
}

void StateKeeper::onTransfer(const std::string&, std::string_view bytes) {
    ++m_counted.transfers;
    m_counted.busBytes += bytes.size();
    ++m_version;
}

void StateKeeper::onPlug(const std::string& path, bool plugged) {
    if (const auto index = deviceIndex(path)) {
        m_counted.plugged[*index] = plugged;
        ++m_version;
    }
}

void StateKeeper::onLineIn(const std::string& text) {
    ++m_counted.linesIn;
    keep(text, false);
}

void StateKeeper::onLineOut(const std::string& text) {
    ++m_counted.linesOut;
    keep(text, true);
}

void StateKeeper::keep(const std::string& text, bool out) {
    const bool error = out && text.compare(0, kErrorLine.size(), kErrorLine) == 0;
    m_counted.errors += error ? 1 : 0;
    m_lines.add({m_lines.last() + 1, out, error, text, m_clock()});
    ++m_version;
}

void StateKeeper::onStart(const std::string&) {
    m_counted.running = true;
    m_counted.exitStatus.reset();
    ++m_version;
}

void StateKeeper::onExit(int status) {
    m_counted.running = false;
    m_counted.exitStatus = status;
    ++m_version;
}

}  // namespace sim
