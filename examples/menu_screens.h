// What the intercom menu shows: its state, and the drawing commands of a state.
#pragma once

#include <array>
#include <map>
#include <sstream>
#include <string>
#include <vector>

using Strings = std::vector<std::string>;

// The key codes of the event line OnFpKey(code,event,ms).
enum { TALK_1 = 1, CALL_1, TALK_2, CALL_2, MENU, REAR, LEFT, RIGHT, HEADPHONE = 99 };

// The menu: names and choices.
struct Entry {
    std::string name;
    Strings choices;
};
enum { BRIGHTNESS, LED_LIGHT, SIDETONE, CHANNEL, EXIT, ENTRY_COUNT };
inline const Strings STEPS = {"0", "1", "2", "3", "4", "5", "6", "7", "8", "9", "10"};  // of brightness
inline const std::array<Entry, ENTRY_COUNT> ENTRIES = {{{"Brightness", STEPS},
                                                        {"LED light", STEPS},
                                                        {"Sidetone", {"Off", "On"}},
                                                        {"Channel", {"Stage", "Light", "Sound", "Party"}},
                                                        {"Exit menu", {""}}}};

enum class Talk { Off, Held, Latched, Repeating };

struct State {
    int width = 0, height = 0;  // px; 0 until the daemon tells them
    std::map<int, Talk> talk = {{TALK_1, Talk::Off}, {TALK_2, Talk::Off}};
    std::map<int, bool> calling = {{CALL_1, false}, {CALL_2, false}};
    int volume = 10;        // 0 to 20
    int gain = 40;          // dB
    bool headphone = true;  // plugged in
    bool open = false;      // the menu
    std::size_t selected = 0;
    bool editing = false;  // the rear knob changes the selected entry's value
    std::array<std::size_t, ENTRY_COUNT> values = {5, 5, 1, 0, 0};  // of each entry: which of its choices
};

// All of them as one text.
template <typename... Parts>
std::string text(const Parts&... parts) {
    std::ostringstream stream;
    (stream << ... << parts);
    return stream.str();
}

// All black, then a white bar with black text. The x of rtext counts from where the text ends at the right
// edge.
inline Strings title(const State& state, const std::string& left, const std::string& right) {
    return {"g:clear 0", "g:font 0 F9x5p", text("g:rect 0 0 0 ", state.width, " 11 white white"),
            text("g:text 0 3 1 '", left, "' black"), text("g:rtext 0 -2 1 '", right, "' black")};
}

// The first line of a row below the title bar, px.
inline int top(const State& state, int row, int rows) {
    return 13 + row * ((state.height - 11) / rows);
}

// A box that is filled when lit. The x of ctext counts from where the text is in the middle of the display.
inline void addLamp(Strings& screen, const State& state, int row, const std::string& label, const char* word,
                    bool lit) {
    const int y = top(state, row, 4);
    const char* paper = lit ? "white" : "black";
    const char* ink = lit ? "black" : "white";
    screen.push_back(text("g:text 0 3 ", y + 1, " '", label, "' white"));
    screen.push_back(text("g:rect 0 ", state.width - 47, ' ', y - 1, " 45 12 white ", paper));
    screen.push_back(text("g:ctext 0 ", state.width / 2 - 24, ' ', y + 1, " '", word, "' ", ink));
}

inline void addTalk(Strings& screen, const State& state, int row, int key) {
    static const std::map<Talk, const char*> words = {
        {Talk::Off, "off"}, {Talk::Held, "TALK"}, {Talk::Latched, "LATCH"}, {Talk::Repeating, "TALK"}};
    const Talk talk = state.talk.at(key);
    addLamp(screen, state, row, text("Talk ", row + 1), words.at(talk), talk != Talk::Off);
}

inline void addCall(Strings& screen, const State& state, int row) {
    std::string called;
    for (const auto& [key, on] : state.calling) {
        called += on ? text(called.empty() ? "" : "+", key / 2) : "";  // the number of the key
    }
    const bool ringing = !called.empty();  // at the other side
    addLamp(screen, state, row, "Call " + called, ringing ? "ringing" : "-", ringing);
}

inline void addVolume(Strings& screen, const State& state, int row) {
    const int x = state.width - 66;
    const int y = top(state, row, 4);
    if (!state.headphone) {
        screen.push_back(text("g:ctext 0 0 ", y + 1, " 'No headphone' white"));
        return;
    }
    screen.push_back(text("g:text 0 3 ", y + 1, " 'Vol' white"));
    screen.push_back(text("g:rect 0 ", x, ' ', y, " 64 11 white"));  // one colour: a frame
    if (state.volume > 0) {                                          // two: a frame and what is in it
        screen.push_back(text("g:rect 0 ", x + 2, ' ', y + 2, ' ', 3 * state.volume, " 7 white white"));
    }
}

inline Strings mainScreen(const State& state) {
    const std::string& channel = ENTRIES[CHANNEL].choices[state.values[CHANNEL]];
    Strings screen = title(state, channel, text("Mic ", state.gain, " dB"));
    addTalk(screen, state, 0, TALK_1);
    addTalk(screen, state, 1, TALK_2);
    addCall(screen, state, 2);
    addVolume(screen, state, 3);
    return screen;
}

// The selected entry under a bar, or its value alone while the knob changes that.
inline Strings menuScreen(const State& state) {
    Strings screen = title(state, "Menu", state.editing ? "change" : "");
    for (std::size_t i = 0; i < ENTRIES.size(); ++i) {
        const bool here = i == state.selected;
        const int x = state.editing ? state.width - 34 : 0;
        const int y = top(state, static_cast<int>(i), ENTRY_COUNT);
        if (here) {
            screen.push_back(text("g:rect 0 ", x, ' ', y, ' ', state.width - x, " 10 white white"));
        }
        const char* ink = here ? "black" : "white";
        const std::string& value = ENTRIES[i].choices[state.values[i]];
        screen.push_back(text("g:text 0 3 ", y + 1, " '", ENTRIES[i].name, "' ", x > 0 ? "white" : ink));
        screen.push_back(text("g:rtext 0 -2 ", y + 1, " '", value, "' ", ink));
    }
    return screen;
}
