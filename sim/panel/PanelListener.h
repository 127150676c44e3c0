// Who watches the panel, its buses, and the program on it: views, recordings and the device drivers derive
// from PanelListener and override what they care about.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
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

    // ---- The devices ----

    // One transfer that a bus took, told before it reaches the chip. path: one of kDevicePaths.
    virtual void onTransfer(const std::string& path, std::string_view bytes) { (void)path, (void)bytes; }
    // A file of the panel is gone, or back.
    virtual void onPlug(const std::string& path, bool plugged) { (void)path, (void)plugged; }
    // A failure was ordered. words: those of a script's step "fault".
    virtual void onFault(const std::string& words) { (void)words; }

    // ---- The program ----

    // A whole line that went into, or came out of, the daemon, without its line feed and cut behind 4096
    // bytes. Told as it is passed on, so that an answer comes behind its command.
    virtual void onLineIn(const std::string& text) { (void)text; }
    virtual void onLineOut(const std::string& text) { (void)text; }
    // Nothing goes into the daemon any more: its input was closed, or it reads no longer.
    virtual void onInputEnd() {}
    // The simulator's command: the daemon, or a controller that starts it. status: the exit status, or
    // 128 + n when signal n ended it.
    virtual void onStart(const std::string& command) { (void)command; }
    virtual void onExit(int status) { (void)status; }
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
    void onTransfer(const std::string& path, std::string_view bytes) override {
        tell([&](PanelListener& to) { to.onTransfer(path, bytes); });
    }
    void onPlug(const std::string& path, bool plugged) override {
        tell([&](PanelListener& to) { to.onPlug(path, plugged); });
    }
    void onFault(const std::string& words) override {
        tell([&](PanelListener& to) { to.onFault(words); });
    }
    void onLineIn(const std::string& text) override {
        tell([&](PanelListener& to) { to.onLineIn(text); });
    }
    void onLineOut(const std::string& text) override {
        tell([&](PanelListener& to) { to.onLineOut(text); });
    }
    void onInputEnd() override {
        tell([](PanelListener& to) { to.onInputEnd(); });
    }
    void onStart(const std::string& command) override {
        tell([&](PanelListener& to) { to.onStart(command); });
    }
    void onExit(int status) override {
        tell([&](PanelListener& to) { to.onExit(status); });
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
