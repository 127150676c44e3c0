#include "wrong_input/station.h"

#include <syslog.h>

#include <algorithm>
#include <optional>

namespace wrong_input {
namespace {

constexpr std::array<int, 11> kSteps = {4, 9, 20, 36, 57, 82, 109, 140, 175, 213, 254};
constexpr std::size_t kBuffer = 2048;
constexpr std::size_t kFull = 1536;

enum LightState { kOff, kOn, kBlink };

// The green and the red light of a key, by the key's number.
const std::map<std::int64_t, std::pair<std::size_t, std::size_t>> kPairs = {
    {9, {4, 5}}, {10, {6, 7}}, {11, {2, 3}}, {12, {0, 1}}};

std::string number(std::int64_t value) {
    return std::to_string(value);
}

// A number as the C library's 32-bit strtoul reads it with base 0, at `at`, which is moved behind it.
std::optional<std::uint32_t> readNumber(const std::string& text, std::size_t& at) {
    std::size_t i = text.find_first_not_of(" \t\n\v\f\r", at);
    if (i == std::string::npos) {
        return std::nullopt;
    }
    const bool minus = text[i] == '-';
    i += minus || text[i] == '+' ? 1 : 0;
    const std::string digits = "0123456789abcdef";
    const auto valueAt = [&](std::size_t place) {
        return place < text.size() ? digits.find(lowerCase(text.substr(place, 1))) : std::string::npos;
    };
    std::size_t base = valueAt(i) == 0 ? 8 : 10;
    if (base == 8 && lowerCase(text.substr(i + 1, 1)) == "x" && valueAt(i + 2) < 16) {
        base = 16;
        i += 2;
    }
    if (!(valueAt(i) < base)) {
        return std::nullopt;
    }
    std::uint64_t value = 0;
    for (; valueAt(i) < base; ++i) {
        value = std::min<std::uint64_t>(value * base + valueAt(i), 0x100000000);
    }
    if (value > 0xFFFFFFFF) {
        return std::nullopt;
    }
    at = i;
    return static_cast<std::uint32_t>(minus ? -value : value);
}

}  // namespace

void Station::error(const std::string& text) {
    if (debugLevel > 0) {
        log.push_back({LOG_ERR, text});
    }
}

// Routing

// `line` up to its first NUL, behind its prefix and one blank.
static std::string behindPrefix(const std::string& line) {
    return line.substr(line.size() > 2 && (line[2] == ' ' || line[2] == '\t') ? 3 : 2);
}

void Station::route(const std::string& whole, int length) {
    const std::string line = whole.c_str();
    if (debugLevel > 1) {
        log.push_back({LOG_DEBUG, length <= 100 && line.size() <= 100
                                      ? "processInput Len=" + number(length) + ", Data=" + line
                                      : "processInput Len=" + number(length) +
                                            ", Data (truncated to 100 char)=" + line.substr(0, 100) + "..."});
    }
    const std::string prefix = line.substr(0, 2);
    if (prefix == "a:") {
        application(behindPrefix(line));
    } else if (prefix == "g:") {
        if (!language.run(behindPrefix(line))) {
            error("processGraphicsCommand Bad command \"" + behindPrefix(line) + "\"\n");
        }
    } else if (!line.empty()) {
        error("processInput UNKNOWN SubSyst, Cmd=\"" + line + "\"\n");
    }
}

void Station::application(const std::string& text) {
    if (text.rfind("set ", 0) != 0) {
        error("processInput SubSyst=a:, UNKNOWN CMD=\"" + text + "\"\n");
        return;
    }
    std::size_t at = 4;
    const auto id = readNumber(text, at);
    if (!id) {
        error("processInput Bad ID, Cmd=\"" + text + "\"\n");
        return;
    }
    const auto state = readNumber(text, at);
    if (!state) {
        error("processInput Bad State, Cmd=\"" + text + "\"\n");
        return;
    }
    const int signedId = static_cast<std::int32_t>(*id);
    const int signedState = static_cast<std::int32_t>(*state);
    if (debugLevel > 2) {
        log.push_back(
            {LOG_DEBUG, "processSetCommand Id=" + number(signedId) + ",State=" + number(signedState) + "\n"});
    }
    set(signedId, signedState);
}

// "set" commands

std::vector<std::int64_t> Station::identifiers() {
    return {9,   10,  11,  12,  20,  200, 201, 202, 203,        204,        299,       400, 401,
            402, 403, 509, 510, 511, 512, 520, 559, 560,        561,        562,       570, 0,
            1,   8,   13,  19,  21,  199, 205, 298, 300,        399,        404,       508, 513,
            519, 521, 558, 563, 569, 571, -1,  -9,  4294967305, 2147483647, 4294967295};
}

void Station::set(std::int64_t id, int state) {
    const bool key = kPairs.count(id) > 0;
    if (key || id == 20) {
        setPair(id, state);
    } else if (id == 200) {
        testMode = true;
    } else if (id == 201) {
        contrast(state);
    } else if (id == 202 || id == 203) {
        const bool possible = state >= 100 && state <= 10000;
        int& ms = blinkMs[static_cast<std::size_t>(id - 202)];
        ms = possible ? state : ms;
    } else if (id == 204) {
        gain(state);
    } else if (id == 299) {
        if (state < 0 || state > 3) {
            error("processSetCommand ID=299, bad value=" + number(state));
        } else {
            debugLevel = state;
        }
    } else if (id >= 400 && id <= 403) {
        outputs[static_cast<int>(id - 400)].push_back(state != 0 ? "1" : "0");
    } else if (kPairs.count(id - 500) > 0 || id == 520) {
        if (state >= 0 && state <= 10) {
            brightness(id - 500, kSteps[static_cast<std::size_t>(state)]);
        }
    } else if (kPairs.count(id - 550) > 0 || id == 570) {
        if (state >= 0 && state <= 254) {
            brightness(id - 550, state);
        }
    } else {
        error("processSetCommand command \"set\" bad ID=" + number(id));
    }
}

void Station::light(std::size_t i, int state) {
    Light& light = lights[i];
    light.blinking = state == kBlink;
    if (state == kBlink) {
        return;  // the blink clock lights it
    }
    light.lit = state == kOn;
    light.writes.push_back(number(light.lit ? light.brightness : 0));
}

void Station::setPair(std::int64_t id, int state) {
    int green = kOff;
    int red = kOff;
    switch (state) {
        case 0:
            break;
        case 1:
            green = kOn;
            break;
        case 2:
            red = kOn;
            break;
        case 3:
            green = kBlink;
            break;
        case 4:
            red = kBlink;
            break;
        default:
            error("processSetCommand command \"set\" bad State=" + number(state));
    }
    for (const auto& pair : kPairs) {
        if (id == 20 || id == pair.first) {
            light(pair.second.first, green);
            light(pair.second.second, red);
        }
    }
}

// key: 9 .. 12, or 20 for all.
void Station::brightness(std::int64_t key, int value) {
    for (const auto& pair : kPairs) {
        for (const std::size_t i : {pair.second.first, pair.second.second}) {
            if (key != 20 && key != pair.first) {
                continue;
            }
            lights[i].brightness = value;
            if (lights[i].lit) {
                lights[i].writes.push_back(number(value));
            }
        }
    }
}

void Station::contrast(int step) {
    if (step < 0 || step > 10) {
        error("displaySetContrastStep Bad display contrast step " + number(step) + ", use 5\n");
        step = 5;
    }
    contrasts.push_back(kSteps[static_cast<std::size_t>(step)]);
}

void Station::gain(int value) {
    const std::int64_t above = std::int64_t{value} - 10;
    gains.push_back(above > 60 ? 18 : above > 5 ? (value - 16) / 3 : 0);
}

// Framing

void Station::receive(const std::string& bytes) {
    std::string left = bytes;
    while (!left.empty() && !testMode) {
        const std::string part = left.substr(0, kBuffer - m_held.size());
        left.erase(0, part.size());
        m_held += part;
        if (debugLevel > 2) {
            log.push_back(
                {LOG_INFO, "readInput stdin read: iInLen=" + number(static_cast<int>(part.size()))});
        }
        std::size_t start = m_scan;
        std::size_t end = 0;
        while ((end = m_held.find('\n', start)) != std::string::npos) {
            route(m_held.substr(start, end - start), static_cast<int>(end - start) + 1);
            start = end + 1;
        }
        if (testMode) {
            log.push_back({LOG_INFO, "readInput Switch to Front Panel Test Mode"});
        }
        m_scan = m_held.size();
        if (m_held.back() == '\n') {
            m_held.clear();
        } else if (m_held.size() > kFull) {
            m_held.erase(0, start == 0 ? m_held.size() : start);  // nothing behind a full buffer: dropped
            m_scan = 0;
        }
        m_scan = m_held.empty() ? 0 : m_scan;
    }
}

}  // namespace wrong_input
