// The behaviour of the intercom menu: the daemon's lines and the time in, commands out.
//
//     Menu menu(10000, 300);                             // dims after 10 s; a press below 300 ms is a tap
//     menu.handle("OnFpId(\"beltpack\",1,96,64)", now);  // the settings and the first screen
//     menu.handle("OnFpKey(1,1,1200)", now);             // "a:set 9 1", and the screen with Talk 1 lit
//
// It knows no file and no clock, so that it can be tested alone. All times are milliseconds of any steady
// clock.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <iterator>
#include <utility>

#include "examples/menu_screens.h"

using Ms = std::int64_t;

// "set" numbers. That of a key's pair of LEDs is the key's code and LEDS.
enum { LEDS = 8, CONTRAST = 201, MIC_GAIN = 204, LED_BRIGHTNESS = 520 };
// States of a pair of LEDs.
enum { LEDS_OFF = 0, GREEN_ON = 1, RED_BLINKS = 4 };

constexpr Ms REPEAT_MS = 200;  // a held key that repeats tells it every 33 ms; silent for so long, it is up
constexpr int IDLE = 0;        // the alarm that dims the display; the others go by the code of their key

// The state of a talk key after a change: a tap latches it, a held key talks until it is let go.
inline Talk talkAfter(Talk state, bool pressed, bool isTap) {
    if (pressed) {
        return state == Talk::Latched ? Talk::Off : Talk::Held;
    }
    if (state == Talk::Held) {
        return isTap ? Talk::Latched : Talk::Off;
    }
    // A second release without a press: the first was no tap but the auto-repeat of a key that is still held,
    // which is told as a release, too. Talk on, as long as the repeats come. (The kernel's first comes after
    // 250 ms. Were it set to come after the longest tap, nothing could tell it from a release, and talking
    // ends.)
    return state == Talk::Latched ? Talk::Repeating : state;
}

// The value after a step up or down, 0 .. last.
inline std::size_t stepped(std::size_t value, int step, std::size_t last) {
    return step > 0 ? std::min(value + 1, last) : value - std::min<std::size_t>(value, 1);
}

class Menu {
public:
    Menu(Ms idleMs, Ms tapMs) : m_idleMs(idleMs), m_tapMs(tapMs) {}

    // Takes one line of the daemon, without its line feed. Returns what to send.
    Strings handle(const std::string& line, Ms now) {
        int code = 0;
        int event = 0;
        int ms = 0;
        int width = 0;
        int height = 0;
        if (std::sscanf(line.c_str(), "OnFpId(\"%*[^\"]\",%*d,%d,%d)", &width, &height) == 2) {
            takeStart(width, height);
        } else if (std::sscanf(line.c_str(), "OnFpKey(%d,%d,%d)", &code, &event, &ms) == 3) {
            takeEvent(code, event, ms, now);
        } else {
            return {};  // OnError and answers: nothing that the user did
        }
        m_alarms[IDLE] = now + m_idleMs;  // whatever the user does keeps the display bright, or wakes it
        return update();
    }

    // Does what is due at this time. Returns what to send.
    Strings tick(Ms now) {
        for (auto alarm = m_alarms.begin(); alarm != m_alarms.end();) {
            const bool due = now >= alarm->second;
            if (due && alarm->first != IDLE) {
                m_state.talk[alarm->first] = Talk::Off;
            }
            alarm =
                due ? m_alarms.erase(alarm) : std::next(alarm);  // without its alarm the display is dimmed
        }
        return update();
    }

    // The time until tick() has something to do, -1 for ever.
    [[nodiscard]] int waitMs(Ms now) const {
        const auto first = std::min_element(m_alarms.begin(), m_alarms.end(),
                                            [](const auto& a, const auto& b) { return a.second < b.second; });
        return first == m_alarms.end() ? -1 : static_cast<int>(std::max<Ms>(first->second - now, 0));
    }

private:
    // The daemon is ready. A panel that has just started has nothing of ours.
    void takeStart(int width, int height) {
        m_state.width = width;
        m_state.height = height;
        m_settings.clear();
        m_screen.clear();
    }

    // ms: since the device's previous change. After OnFpId each key tells its state as an event with -1.
    void takeEvent(int code, int event, int ms, Ms now) {
        const bool pressed = event == 1;       // -1 for a release
        const int step = event == 2 ? 1 : -1;  // of a knob: 2 is clockwise, -2 is not
        if (m_state.talk.count(code) > 0) {
            takeTalk(code, pressed, ms, now);
        } else if (m_state.calling.count(code) > 0) {
            m_state.calling[code] = pressed;
        } else if (code == HEADPHONE) {
            m_state.headphone = pressed;
        } else if (code == MENU && pressed && ms >= 0) {  // held at the start it opens nothing
            pressMenu();
        } else if (code == REAR) {
            turnRear(step);
        } else if (code == LEFT) {
            m_state.volume = std::clamp(m_state.volume + step, 0, 20);
        } else if (code == RIGHT) {
            m_state.gain =
                std::clamp(m_state.gain + 3 * step, 16, 70);  // the amplifier's range and its steps
        }
    }

    void takeTalk(int code, bool pressed, int ms, Ms now) {
        Talk& talk = m_state.talk[code];
        talk = talkAfter(talk, pressed, ms < m_tapMs);
        m_alarms.erase(code);
        if (talk == Talk::Repeating) {
            m_alarms[code] = now + REPEAT_MS;
        }
    }

    void pressMenu() {
        if (!m_state.open) {
            m_state.open = true;
            m_state.selected = 0;
        } else if (m_state.selected == EXIT) {
            m_state.open = false;
        } else {
            m_state.editing = !m_state.editing;  // from now on the knob changes the value, or moves on again
        }
    }

    void turnRear(int step) {
        const std::size_t i = m_state.selected;
        if (m_state.editing) {
            m_state.values[i] = stepped(m_state.values[i], step, ENTRIES[i].choices.size() - 1);
        } else if (m_state.open) {
            m_state.selected = stepped(i, step, EXIT);
        }
    }

    // The "set" values of the present state, by number. Volume, sidetone and channel are not the panel's: a
    // real application tells them its audio device.
    [[nodiscard]] std::map<int, int> settings() const {
        std::map<int, int> values;
        for (const auto& [key, talk] : m_state.talk) {
            values[key + LEDS] = talk == Talk::Off ? LEDS_OFF : GREEN_ON;
        }
        for (const auto& [key, on] : m_state.calling) {
            values[key + LEDS] = on ? RED_BLINKS : LEDS_OFF;
        }
        values[CONTRAST] = m_alarms.count(IDLE) > 0 ? static_cast<int>(m_state.values[BRIGHTNESS]) : 0;
        values[LED_BRIGHTNESS] = static_cast<int>(m_state.values[LED_LIGHT]);
        values[MIC_GAIN] = m_state.gain;
        return values;
    }

    // Brings the panel to the present state. Returns what differs from what it has been sent, if anything.
    Strings update() {
        Strings commands;
        if (m_state.width == 0) {
            return commands;  // the daemon is not ready
        }
        for (const auto& [number, value] : settings()) {
            if (m_settings.count(number) == 0 || m_settings[number] != value) {
                commands.push_back(text("a:set ", number, ' ', value));
            }
            m_settings[number] = value;
        }
        Strings screen = m_state.open ? menuScreen(m_state) : mainScreen(m_state);
        if (screen != m_screen) {
            commands.insert(commands.end(), screen.begin(), screen.end());
            commands.push_back("g:flush 0");  // only this shows what was drawn, the whole frame at once
            m_screen = std::move(screen);
        }
        return commands;
    }

    const Ms m_idleMs;
    const Ms m_tapMs;
    State m_state;
    std::map<int, Ms> m_alarms;     // when something is due
    std::map<int, int> m_settings;  // what the panel has been sent: values by "set" number,
    Strings m_screen;               // and the drawing commands of the present screen
};
