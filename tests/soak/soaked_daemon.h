// A daemon on an emulated panel, for tests that count every line of it.
#pragma once

#include <map>
#include <optional>
#include <string>

#include "sim/base/LineSplitter.h"
#include "sim/base/UniqueFd.h"
#include "sim/program/Session.h"

// Prints why, and ends the program with status 1.
[[noreturn]] void fail(const std::string& why);

// How often each line has come, or has to; the milliseconds of event lines are MS.
using LineCounts = std::map<std::string, long>;

// The daemon as a child process with a pipe at either end. Whatever does not hold ends the program.
class SoakedDaemon {
public:
    // A pipe takes as many bytes whole or not at all.
    static constexpr std::size_t kMostAtOnce = 4096;

    // program, shim: paths.
    SoakedDaemon(const std::string& program, const std::string& shim);
    SoakedDaemon(const SoakedDaemon&) = delete;
    SoakedDaemon& operator=(const SoakedDaemon&) = delete;

    // Sends whole lines, up to kMostAtOnce bytes, in one write.
    void send(const std::string& lines);

    // These have to come, at some time up to compareLines().
    void expect(const std::string& line, long count = 1);
    void expect(const LineCounts& lines);
    // Serves the panel until as many lines have come as were expected so far.
    void catchUp();
    // Exactly the lines that were expected have come.
    void compareLines() const;
    [[nodiscard]] long lines() const { return m_lines; }

    [[nodiscard]] sim::Controls& controls() { return m_session->controls(); }
    [[nodiscard]] const sim::Picture& lastFrame() { return m_session->panel().oled.lastFrame(); }

    // Closes its input and waits for its end; the exit status.
    int end();

    // Resident memory of its own, KiB: pages of program and libraries come and go with the system's cache of
    // files.
    [[nodiscard]] static long memory();
    [[nodiscard]] static long descriptors();  // that are open

private:
    void start(const std::string& program, const std::string& shim, int input, int output);
    void readLines();

    sim::UniqueFd m_to;
    sim::UniqueFd m_from;
    std::optional<sim::Session> m_session;
    sim::LineSplitter m_splitter;
    LineCounts m_came;
    LineCounts m_expected;
    long m_lines = 0;
    long m_expectedLines = 0;
};
