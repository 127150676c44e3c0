// What lines of standard input do to the station, written down a second time: their routing, the "set"
// commands, and how bytes become lines.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "wrong_input/language.h"

namespace wrong_input {

struct Logged {
    int priority;  // 3 an error, 7 for debugging
    std::string text;
};

struct Light {
    int brightness = 82;  // when lit
    bool lit = false;
    bool blinking = false;
    std::vector<std::string> writes;  // to its brightness file
};

class Station {
public:
    explicit Station(Language& drawing) : language(drawing) {}

    // Carries out one line; it had `length` bytes with its end, and may hold NULs.
    void route(const std::string& line, int length);
    // Takes bytes as one read of standard input brings them.
    void receive(const std::string& bytes);

    // The identifiers of "set", and others near them.
    static std::vector<std::int64_t> identifiers();

    Language& language;
    std::vector<Logged> log;
    int debugLevel = 0;
    bool testMode = false;
    std::array<Light, 8> lights;                      // even ones are green, odd ones red
    std::array<int, 2> blinkMs = {500, 500};          // on, off
    std::vector<int> contrasts;                       // sent to the display
    std::vector<int> gains;                           // sent to the amplifier
    std::map<int, std::vector<std::string>> outputs;  // levels written to each output

private:
    void error(const std::string& text);
    void application(const std::string& text);
    void set(std::int64_t id, int state);
    void setPair(std::int64_t id, int state);
    void light(std::size_t i, int state);
    void brightness(std::int64_t key, int value);
    void contrast(int step);
    void gain(int value);

    std::string m_held;      // what the buffer holds
    std::size_t m_scan = 0;  // from where the next line feed is looked for
};

}  // namespace wrong_input
