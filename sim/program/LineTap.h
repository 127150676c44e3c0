// The daemon's standard input and output on their way through the simulator.
#pragma once

#include <functional>
#include <list>
#include <string>
#include <string_view>

#include "sim/base/EventLoop.h"
#include "sim/base/LineSplitter.h"
#include "sim/kernel/DeviceServer.h"
#include "sim/panel/PanelListener.h"
#include "sim/program/Relay.h"

namespace sim {

// One daemon's tap: a pipe of ours stands in place of each of the two descriptors that it was started with,
// and what goes through is passed on to or from those and told to the listener line by line.
class LineTap {
public:
    struct Descriptors {
        UniqueFd input;
        UniqueFd output;
        [[nodiscard]] bool valid() const { return input.valid() && output.valid(); }
    };

    // given: the daemon's own descriptors 0 and 1. replacements: filled with those that take their places.
    // Loop and listener are not owned.
    LineTap(EventLoop& loop, PanelListener& listener, Descriptors given, Descriptors& replacements);

    void inject(const std::string& line) { m_in.inject(line); }
    void pump();
    [[nodiscard]] bool takesLines() const { return !m_in.over(); }
    // What the daemon wrote is still on its way, or it may still write.
    [[nodiscard]] bool delivers() const { return !m_out.over(); }

private:
    struct Ends {
        Descriptors ours;
        Descriptors daemons;
    };
    [[nodiscard]] static Ends makeEnds(const Descriptors& given);
    LineTap(EventLoop& loop, PanelListener& listener, Descriptors& given, Ends ends,
            Descriptors& replacements);

    LineSplitter m_linesIn;
    LineSplitter m_linesOut;
    Relay m_in;
    Relay m_out;
};

// The taps of all daemons that processes under the simulator start: each asks for its own through the shim.
class LineTaps {
public:
    // Loop and listener are not owned.
    LineTaps(EventLoop& loop, PanelListener& listener) : m_loop(loop), m_listener(listener) {}

    // Carries out BELTPACK_TAP.
    [[nodiscard]] Reply open(Request& request);

    // Injects into the input of the daemon that was tapped last and still has one. An error text, or an empty
    // one. line: with its line feed.
    [[nodiscard]] std::string sendLine(const std::string& line);

    // Passes on what can be now.
    void pump();
    // Whether some daemon's output is not wholly delivered yet.
    [[nodiscard]] bool delivering() const;

private:
    EventLoop& m_loop;
    PanelListener& m_listener;
    std::list<LineTap> m_taps;  // oldest first
};

}  // namespace sim
