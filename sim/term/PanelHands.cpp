#include "sim/term/PanelHands.h"

namespace sim {

PanelHands::PanelHands(EventLoop& loop, Controls& controls, const InputModel& inputs)
    : m_controls(controls), m_inputs(inputs) {
    for (std::size_t i = 0; i < m_tapEnds.size(); ++i) {
        m_tapEnds[i] =
            std::make_unique<Alarm>(loop, [this, i] { (void)m_controls.release(InputModel::kKeyNames[i]); });
    }
}

std::string PanelHands::perform(const Binding& binding) {
    switch (binding.action) {
        case Action::Tap:
            return tap(binding.target);
        case Action::Hold:
            return hold(binding.target);
        case Action::Turn:
            return m_controls.turn(binding.target, binding.detents);
        default:
            return {};
    }
}

std::string PanelHands::tap(std::string_view key) {
    Alarm& end = alarmOf(key);
    if (held(key)) {
        std::string error = m_controls.release(key);
        if (!end.armed()) {
            return error;
        }
    }
    end.set(kTapTime);
    return m_controls.press(key);
}

std::string PanelHands::hold(std::string_view key) {
    Alarm& end = alarmOf(key);
    if (end.armed()) {
        end.cancel();
        return {};
    }
    return held(key) ? m_controls.release(key) : m_controls.press(key);
}

bool PanelHands::held(std::string_view key) const {
    return m_inputs.held(*InputModel::keyCode(key));
}

Alarm& PanelHands::alarmOf(std::string_view key) {
    return *m_tapEnds[static_cast<std::size_t>(*InputModel::keyCode(key) - InputModel::kFirstKeyCode)];
}

}  // namespace sim
