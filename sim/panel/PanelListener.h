// Who watches the panel: views, recordings and the device drivers derive from PanelListener and override what
// they care about.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "sim/panel/Picture.h"

namespace sim {

// The panel's input devices.
enum class InputDevice : std::size_t { Left, Right, Rear, Keys };
constexpr std::size_t kInputDeviceCount = 4;

// One record of an input device, as the kernel's input layer numbers types and codes; time is added on the
// way out.
struct InputEvent {
    std::uint16_t type;
    std::uint16_t code;
    std::int32_t value;
};

class PanelListener {
public:
    virtual ~PanelListener() = default;

    // A whole frame has reached the display. number counts from 1.
    virtual void onFrame(unsigned number, const Picture& picture) { (void)number, (void)picture; }
    virtual void onDisplayOn(bool on) { (void)on; }
    virtual void onContrast(std::uint8_t level) { (void)level; }
    // The display's controller was sent something that it does not know.
    virtual void onProtocolError(const std::string& what) { (void)what; }
    virtual void onLed(std::size_t index, unsigned level) { (void)index, (void)level; }
    // number: the line's GPIO number; level: 0 or 1.
    virtual void onOutput(int number, int level) { (void)number, (void)level; }
    // code: the amplifier's 5-bit gain code. Called for each word, also when it repeats the last.
    virtual void onGain(unsigned code) { (void)code; }
    // What a device reports at one time: one or more reports, each ended by EV_SYN.
    virtual void onInput(InputDevice device, const std::vector<InputEvent>& events) {
        (void)device, (void)events;
    }
};

// Tells every listener that was added, in the order of adding. Does not own them.
class PanelListeners final : public PanelListener {
public:
    void add(PanelListener& listener) { m_listeners.push_back(&listener); }

    void onFrame(unsigned number, const Picture& picture) override {
        tell([&](PanelListener& to) { to.onFrame(number, picture); });
    }
    void onDisplayOn(bool on) override {
        tell([&](PanelListener& to) { to.onDisplayOn(on); });
    }
    void onContrast(std::uint8_t level) override {
        tell([&](PanelListener& to) { to.onContrast(level); });
    }
    void onProtocolError(const std::string& what) override {
        tell([&](PanelListener& to) { to.onProtocolError(what); });
    }
    void onLed(std::size_t index, unsigned level) override {
        tell([&](PanelListener& to) { to.onLed(index, level); });
    }
    void onOutput(int number, int level) override {
        tell([&](PanelListener& to) { to.onOutput(number, level); });
    }
    void onGain(unsigned code) override {
        tell([&](PanelListener& to) { to.onGain(code); });
    }
    void onInput(InputDevice device, const std::vector<InputEvent>& events) override {
        tell([&](PanelListener& to) { to.onInput(device, events); });
    }

private:
    template <typename Call>
    void tell(Call call) {
        for (PanelListener* listener : m_listeners) {
            call(*listener);
        }
    }

    std::vector<PanelListener*> m_listeners;
};

}  // namespace sim
