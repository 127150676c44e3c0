// The records of a recording and their form in a file. docs/recording.md is the format's manual.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "sim/panel/PanelListener.h"
#include "sim/panel/Picture.h"
#include "sim/program/BootEnvironment.h"
#include "sim/view/PanelState.h"

namespace sim::recorded {

// ---- First and last ----

struct Heading {
    static constexpr int kVersion = 1;

    std::string simulator;  // version of the program that made the recording
    std::string daemon;     // name of the program whose lines are told
    bool whole = false;     // nothing at all had happened before: the session can be played again
    // The panel at the recording's start; of it, picture is that of the last whole frame, and line and
    // transfer counts, exit status and turned detents are not kept.
    PanelState state;
};
struct End {
    bool limit = false;  // the recording had reached its size, while the session went on
};

// ---- What goes in ----

struct Start {
    std::string command;  // as shown: the program without its folder, and its arguments
    // Those of the daemon; nothing: the command is a controller's.
    std::optional<std::vector<std::string>> arguments;
    BootAnswer boot;
};
struct LineIn {
    std::string text;  // without its line feed
};
struct InputEnd {};  // the daemon's input is closed: no line follows
struct Key {
    std::uint16_t code = 0;  // InputModel's
    int value = 0;           // 0 released, 1 pressed, 2 auto-repeat
    bool joined = false;     // see Turn
};
struct Turn {
    InputDevice encoder = InputDevice::Left;
    int detents = 0;      // negative for counter-clockwise
    int reports = 0;      // told in so many reports
    bool joined = false;  // the device's event before it had not been read yet: one read gave both
};
struct Plug {
    std::string path;
    bool plugged = false;
};
struct FaultOrder {
    std::string words;  // as in a script behind "fault"
};

// ---- What comes out ----

struct LineOut {
    std::string text;
};
struct Frame {
    unsigned number = 0;             // from 1 on
    std::optional<Picture> picture;  // nothing: as that of the frame before
};
struct Display {
    bool on = false;
};
struct Contrast {
    int level = 0;  // 0 .. 255
};
struct Led {
    std::size_t index = 0;  // LedModel's
    unsigned level = 0;     // 0 .. LedModel::kMaxLevel
};
struct Output {
    int number = 0;  // of the GPIO line
    int level = 0;
};
struct Gain {
    unsigned code = 0;  // 0 .. 31
};
struct ProtocolError {
    std::string what;
};
struct Exit {
    int status = 0;  // 128 + n: by signal n
};

using Content = std::variant<Heading, End, Start, LineIn, InputEnd, Key, Turn, Plug, FaultOrder, LineOut,
                             Frame, Display, Contrast, Led, Output, Gain, ProtocolError, Exit>;

struct Record {
    Content content;
    double ms = 0;  // since the recording's start
};

// One line of the file, with its line feed.
[[nodiscard]] std::string encode(const Record& record);

// The reverse, of a line without its line feed. Nothing: error tells what is wrong with it. All names,
// numbers and sizes of a record that is returned are in their range.
[[nodiscard]] std::optional<Record> decode(std::string_view line, std::string& error);

}  // namespace sim::recorded
