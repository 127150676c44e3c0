// The language of scripted sessions: playing. docs/simulator.md is its manual.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "sim/program/Session.h"
#include "sim/script/Pace.h"
#include "sim/script/PictureCheck.h"
#include "sim/script/ScriptParser.h"

namespace sim {

enum ScriptStatus {
    kScriptPassed = 0,
    kScriptFailed = 1,   // an expectation was not met
    kScriptError = 2,    // the script asks for what cannot be
    kScriptEnded = 3,    // the program ended by itself, or in another way than the script expects
    kScriptTimeout = 42  // a wait took too long
};

struct ScriptSettings {
    PictureSettings pictures;
    int timeoutSeconds = 10;  // of the session's clock
};

// Plays one script in one session, step by step; while a step waits, devices and program are served. With a
// virtual clock the program comes to rest after each step, before the next one. Lines of output and log
// records are two queues that the "wait" and "expect line" words take from.
class ScriptRunner {
public:
    // Session and script are not owned.
    ScriptRunner(Session& session, const Script& script, const ScriptSettings& settings);

    // Plays it to its end or to the first failure, which is told on standard error. The program has ended
    // afterwards. A ScriptStatus, or 128 + n when signal n interrupted.
    [[nodiscard]] int run();

private:
    struct Failure {
        int status;  // what run returns
        std::string expected;
        std::string got;
    };
    using Outcome = std::optional<Failure>;  // nothing: the step has passed
    using RealClock = std::chrono::steady_clock;
    struct Action {
        const char* word;
        Outcome (ScriptRunner::*perform)(const Step& step);
    };
    static const Action kActions[];

    [[nodiscard]] Outcome playSteps();
    [[nodiscard]] Outcome play(const Step& step);
    [[nodiscard]] Outcome finish();
    void report(const Failure& failure) const;

    [[nodiscard]] Outcome start(const Step& step);
    [[nodiscard]] Outcome send(const Step& step);
    [[nodiscard]] Outcome raw(const Step& step);
    [[nodiscard]] Outcome repeatRaw(const Step& step);
    [[nodiscard]] Outcome closeInput(const Step& step);
    [[nodiscard]] Outcome press(const Step& step);
    [[nodiscard]] Outcome release(const Step& step);
    [[nodiscard]] Outcome hold(const Step& step);
    [[nodiscard]] Outcome repeat(const Step& step);
    [[nodiscard]] Outcome turn(const Step& step);
    [[nodiscard]] Outcome waitLine(const Step& step);
    [[nodiscard]] Outcome waitLog(const Step& step);
    [[nodiscard]] Outcome waitFrame(const Step& step);
    [[nodiscard]] Outcome waitLed(const Step& step);
    [[nodiscard]] Outcome waitOutput(const Step& step);
    [[nodiscard]] Outcome waitExit(const Step& step);
    [[nodiscard]] Outcome expectLine(const Step& step);
    [[nodiscard]] Outcome expectLineLike(const Step& step);
    [[nodiscard]] Outcome expectQuiet(const Step& step);
    [[nodiscard]] Outcome expectSilence(const Step& step);
    [[nodiscard]] Outcome expectFrames(const Step& step);
    [[nodiscard]] Outcome expectPicture(const Step& step);
    [[nodiscard]] Outcome expectLed(const Step& step);
    [[nodiscard]] Outcome expectOutput(const Step& step);
    [[nodiscard]] Outcome expectGain(const Step& step);
    [[nodiscard]] Outcome expectContrast(const Step& step);
    [[nodiscard]] Outcome expectDisplay(const Step& step);
    [[nodiscard]] Outcome expectNoLog(const Step& step);
    [[nodiscard]] Outcome kill(const Step& step);
    [[nodiscard]] Outcome pause(const Step& step);
    [[nodiscard]] Outcome advance(const Step& step);
    [[nodiscard]] Outcome speed(const Step& step);
    [[nodiscard]] Outcome fault(const Step& step);
    [[nodiscard]] Outcome unplug(const Step& step);
    [[nodiscard]] Outcome plug(const Step& step);
    [[nodiscard]] Outcome disptype(const Step& step);
    [[nodiscard]] Outcome screenshot(const Step& step);
    [[nodiscard]] Outcome timeout(const Step& step);

    [[nodiscard]] Outcome done(const std::string& error);
    [[nodiscard]] Outcome startProgram(const std::vector<std::string>& arguments);
    [[nodiscard]] Outcome sendBytes(std::string_view bytes);
    // Lets so much time pass, or less when stop() holds; also when the program ends meanwhile.
    [[nodiscard]] Outcome pass(double milliseconds, const std::function<bool()>& stop);
    // Virtual clock: serves until the program has nothing to do.
    [[nodiscard]] Outcome rest();
    [[nodiscard]] Failure stuck() const;
    // Serves until done() holds. A failure, told with what is expected, when the program has ended or the
    // time is up.
    [[nodiscard]] Outcome serveUntil(const std::function<bool()>& done, const std::string& expected);
    [[nodiscard]] Outcome takeLine(const std::string& expected,
                                   const std::function<bool(const std::string&)>& matches);
    // Serves what has happened already, so that a check sees the present state.
    void settle();
    [[nodiscard]] Outcome expectNumber(const std::string& expected, long got);
    [[nodiscard]] std::string besideScript(const std::string& file) const;
    [[nodiscard]] int lineLevel(const std::string& output);

    Session& m_session;
    const Script& m_script;
    const ScriptSettings m_settings;
    std::chrono::seconds m_timeout;
    Pace m_pace;
    const Step* m_step = nullptr;  // the one being played; nullptr: the script's start or end
    const char* m_place = "at the start";
    double m_speed = 1;  // of pauses
    std::size_t m_linesTaken = 0;
    std::size_t m_recordsTaken = 0;
    unsigned m_framesTaken = 0;
    bool m_endSeen = false;      // the script knows that the program has ended
    bool m_endAccepted = false;  // and by its own words with this status
};

}  // namespace sim
