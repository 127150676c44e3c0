#include "sim/script/ScriptRunner.h"

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <iterator>

#include "sim/base/Text.h"
#include "sim/program/Pictures.h"

namespace sim {
namespace {

constexpr int kSignalExit = 128;
constexpr int kFullPipeWaitMs = 5;        // a full pipe is looked at again after this time
constexpr int kSettleRounds = 1000;       // bounds settling under a program that never rests
constexpr std::size_t kReportedLast = 5;  // lines and records that a failure report shows

int number(const std::string& text) {
    return std::stoi(text);
}  // the parser has checked it

// The argument at the index, or what stands for a missing one.
std::string argument(const Step& step, std::size_t index, const std::string& otherwise) {
    return index < step.arguments.size() ? step.arguments[index] : otherwise;
}

void reportLast(const char* title, const std::vector<std::string>& texts) {
    std::cerr << "  " << title << ":\n";
    const std::size_t first = texts.size() - std::min(texts.size(), kReportedLast);
    for (std::size_t i = first; i < texts.size(); ++i) {
        std::cerr << "    " << texts[i] << '\n';
    }
}

}  // namespace

const ScriptRunner::Action ScriptRunner::kActions[] = {
    {"start", &ScriptRunner::start},
    {"send", &ScriptRunner::send},
    {"raw", &ScriptRunner::raw},
    {"repeat raw", &ScriptRunner::repeatRaw},
    {"close", &ScriptRunner::closeInput},
    {"press", &ScriptRunner::press},
    {"release", &ScriptRunner::release},
    {"hold", &ScriptRunner::hold},
    {"repeat", &ScriptRunner::repeat},
    {"turn", &ScriptRunner::turn},
    {"wait line", &ScriptRunner::waitLine},
    {"wait log", &ScriptRunner::waitLog},
    {"wait frame", &ScriptRunner::waitFrame},
    {"wait led", &ScriptRunner::waitLed},
    {"wait output", &ScriptRunner::waitOutput},
    {"wait exit", &ScriptRunner::waitExit},
    {"expect line", &ScriptRunner::expectLine},
    {"expect line~", &ScriptRunner::expectLineLike},
    {"expect quiet", &ScriptRunner::expectQuiet},
    {"expect silence", &ScriptRunner::expectSilence},
    {"expect frames", &ScriptRunner::expectFrames},
    {"expect picture", &ScriptRunner::expectPicture},
    {"expect led", &ScriptRunner::expectLed},
    {"expect output", &ScriptRunner::expectOutput},
    {"expect gain", &ScriptRunner::expectGain},
    {"expect contrast", &ScriptRunner::expectContrast},
    {"expect display", &ScriptRunner::expectDisplay},
    {"expect exit", &ScriptRunner::waitExit},
    {"expect no log", &ScriptRunner::expectNoLog},
    {"kill", &ScriptRunner::kill},
    {"pause", &ScriptRunner::pause},
    {"advance", &ScriptRunner::advance},
    {"speed", &ScriptRunner::speed},
    {"fault", &ScriptRunner::fault},
    {"unplug", &ScriptRunner::unplug},
    {"plug", &ScriptRunner::plug},
    {"disptype", &ScriptRunner::disptype},
    {"screenshot", &ScriptRunner::screenshot},
    {"timeout", &ScriptRunner::timeout},
};

ScriptRunner::ScriptRunner(Session& session, const Script& script, const ScriptSettings& settings)
    : m_session(session),
      m_script(script),
      m_settings(settings),
      m_timeout(settings.timeoutSeconds),
      m_pace(session) {}

// ---- Playing ----

int ScriptRunner::run() {
    Outcome failure = playSteps();
    if (!failure) {
        m_step = nullptr;
        m_place = "at the end";
        failure = finish();
    }
    if (m_session.running()) {
        m_session.kill();
    }
    if (!failure) {
        return kScriptPassed;
    }
    report(*failure);
    return failure->status;
}

ScriptRunner::Outcome ScriptRunner::playSteps() {
    const bool startsItself = std::any_of(m_script.steps.begin(), m_script.steps.end(),
                                          [](const Step& step) { return step.word == "start"; });
    Outcome failure = startsItself ? std::nullopt : startProgram({});
    if (!failure) {
        failure = rest();
    }
    for (auto step = m_script.steps.begin(); step != m_script.steps.end() && !failure; ++step) {
        m_step = &*step;
        failure = play(*step);
    }
    return failure;
}

ScriptRunner::Outcome ScriptRunner::play(const Step& step) {
    const auto* const action = std::find_if(std::begin(kActions), std::end(kActions),
                                            [&step](const Action& known) { return step.word == known.word; });
    Outcome failure = (this->*action->perform)(step);
    return failure ? failure : rest();
}

// With its input closed the program has to end by itself, with the status that the script accepted, or 0.
ScriptRunner::Outcome ScriptRunner::finish() {
    m_session.closeInput();
    Outcome failure = serveUntil([this] { return !m_session.running(); }, "the end of the command");
    const int status = m_session.exitStatus().value_or(0);
    if (!failure && m_session.interruption() != 0) {
        return Failure{kSignalExit + m_session.interruption(), "the end of the script", "a signal to end"};
    }
    if (!failure && status != 0 && !m_endAccepted) {
        failure = Failure{kScriptEnded, "exit 0", "exit " + std::to_string(status)};
    }
    return failure;
}

void ScriptRunner::report(const Failure& failure) const {
    std::cerr << (m_step != nullptr ? m_step->file : m_script.file) << ':';
    if (m_step != nullptr) {
        std::cerr << m_step->line << ": " << m_step->source << '\n';
    } else {
        std::cerr << ' ' << m_place << " of the script\n";
    }
    std::cerr << "  expected: " << failure.expected << "\n  got:      " << failure.got << '\n';
    const std::string picture = std::filesystem::path(m_settings.pictures.artifacts) / "failure.png";
    const auto& oled = m_session.panel().oled;
    if (oled.frames() > 0 && savePicture(picture, oled.lastFrame(), m_settings.pictures.scale)) {
        std::cerr << "  picture:  " << picture << '\n';
    }
    reportLast("last lines", m_session.output().lines());
    reportLast("last log records", m_session.log().texts());
}

ScriptRunner::Outcome ScriptRunner::serveUntil(const std::function<bool()>& done,
                                               const std::string& expected) {
    const std::int64_t until = m_pace.now() + std::chrono::microseconds(m_timeout).count();
    m_pace.stir();
    while (!done()) {
        if (m_session.interruption() != 0) {
            return Failure{kSignalExit + m_session.interruption(), expected, "a signal to end"};
        }
        if (!m_session.running()) {
            return Failure{m_endSeen ? kScriptFailed : kScriptEnded, expected, "the end of the command"};
        }
        switch (m_pace.serve(until, m_timeout)) {
            case Pace::Round::Served:
                break;
            case Pace::Round::TimeUp:
                return Failure{kScriptTimeout, expected,
                               "nothing within " + std::to_string(m_timeout.count()) + " s"};
            case Pace::Round::Stuck:
                return stuck();
        }
    }
    return std::nullopt;
}

ScriptRunner::Outcome ScriptRunner::pass(double milliseconds, const std::function<bool()>& stop) {
    const auto until = m_pace.now() + static_cast<std::int64_t>(milliseconds * 1000);
    m_pace.stir();
    while (!stop() && m_session.interruption() == 0) {
        const Pace::Round round = m_pace.serve(until, m_timeout);
        if (round != Pace::Round::Served) {
            return round == Pace::Round::Stuck ? Outcome(stuck()) : std::nullopt;
        }
    }
    return std::nullopt;
}

ScriptRunner::Outcome ScriptRunner::rest() {
    return m_pace.isVirtual() ? pass(0, [] { return false; }) : std::nullopt;
}

ScriptRunner::Failure ScriptRunner::stuck() const {
    return {kScriptTimeout, "a command that waits, and whose time is the virtual one",
            "neither within " + std::to_string(m_timeout.count()) + " s"};
}

void ScriptRunner::settle() {
    for (int round = 0; round < kSettleRounds && m_session.serve(0); ++round) {
    }
}

// ---- The program and its input ----

ScriptRunner::Outcome ScriptRunner::startProgram(const std::vector<std::string>& arguments) {
    if (m_session.running()) {
        return Failure{kScriptError, "no command running", "the one before still runs"};
    }
    m_endSeen = m_endAccepted = false;
    if (!m_session.start(arguments)) {
        return Failure{kScriptError, "a process", "none could be made"};
    }
    return std::nullopt;
}

ScriptRunner::Outcome ScriptRunner::start(const Step& step) {
    return startProgram(step.arguments);
}

ScriptRunner::Outcome ScriptRunner::sendBytes(std::string_view bytes) {
    const auto deadline = RealClock::now() + m_timeout;
    bool rested = false;  // virtual clock: the program has had its time to read
    while (!bytes.empty()) {
        const long written = m_session.writeInput(bytes);
        if (written < 0) {
            settle();
            return Failure{kScriptEnded, "a command that reads its input", "its input is closed"};
        }
        bytes.remove_prefix(static_cast<std::size_t>(written));
        const bool full = written == 0;
        if (RealClock::now() >= deadline || (full && rested)) {
            return Failure{kScriptTimeout, "a command that reads its input", "its input stays full"};
        }
        if (full && !m_pace.isVirtual()) {
            m_session.serve(kFullPipeWaitMs);
        } else if (full) {
            if (auto failure = rest()) {
                return failure;
            }
        }
        rested = full && m_pace.isVirtual();
    }
    return std::nullopt;
}

ScriptRunner::Outcome ScriptRunner::send(const Step& step) {
    return sendBytes(argument(step, 0, "") + '\n');
}

ScriptRunner::Outcome ScriptRunner::raw(const Step& step) {
    return sendBytes(step.arguments[0]);
}

ScriptRunner::Outcome ScriptRunner::repeatRaw(const Step& step) {
    std::string bytes;
    for (int i = 0; i < number(step.arguments[0]); ++i) {
        bytes += step.arguments[1];
    }
    return sendBytes(bytes);
}

ScriptRunner::Outcome ScriptRunner::closeInput(const Step&) {
    m_session.closeInput();
    return std::nullopt;
}

// ---- Keys and encoders ----

// What a person may do too; error: what the controls say.
ScriptRunner::Outcome ScriptRunner::done(const std::string& error) {
    return error.empty() ? std::nullopt : Outcome(Failure{kScriptError, m_step->word, error});
}

ScriptRunner::Outcome ScriptRunner::press(const Step& step) {
    return done(m_session.controls().press(step.arguments[0]));
}

ScriptRunner::Outcome ScriptRunner::release(const Step& step) {
    return done(m_session.controls().release(step.arguments[0]));
}

ScriptRunner::Outcome ScriptRunner::repeat(const Step& step) {
    return done(m_session.controls().repeat(step.arguments[0]));
}

ScriptRunner::Outcome ScriptRunner::turn(const Step& step) {
    const int steps = number(step.arguments[1]);
    const int reports = number(argument(step, 2, std::to_string(std::abs(steps))));
    return done(m_session.controls().turn(step.arguments[0], steps, reports));
}

ScriptRunner::Outcome ScriptRunner::hold(const Step& step) {
    Outcome failure = press(step);
    if (!failure) {
        failure = pass(number(step.arguments[1]) / m_speed, [] { return false; });
    }
    return failure ? failure : release(step);
}

// ---- Lines of output ----

ScriptRunner::Outcome ScriptRunner::waitLine(const Step& step) {
    const auto found = [this, &pattern = step.arguments[0]] {
        const auto& lines = m_session.output().lines();
        while (m_linesTaken < lines.size()) {
            if (globMatches(pattern, lines[m_linesTaken++])) {
                return true;
            }
        }
        return false;
    };
    return serveUntil(found, "a line " + step.arguments[0]);
}

ScriptRunner::Outcome ScriptRunner::takeLine(const std::string& expected,
                                             const std::function<bool(const std::string&)>& matches) {
    const auto& lines = m_session.output().lines();
    if (auto failure = serveUntil([&] { return lines.size() > m_linesTaken; }, expected)) {
        return failure;
    }
    const std::string& line = lines[m_linesTaken++];
    return matches(line) ? std::nullopt : Outcome(Failure{kScriptFailed, expected, line});
}

ScriptRunner::Outcome ScriptRunner::expectLine(const Step& step) {
    const std::string expected = argument(step, 0, "");
    return takeLine(expected, [&expected](const std::string& line) { return line == expected; });
}

ScriptRunner::Outcome ScriptRunner::expectLineLike(const Step& step) {
    const std::string& pattern = step.arguments[0];
    return takeLine(pattern, [&pattern](const std::string& line) { return globMatches(pattern, line); });
}

ScriptRunner::Outcome ScriptRunner::expectQuiet(const Step&) {
    settle();
    const auto& lines = m_session.output().lines();
    const std::string& unread =
        m_linesTaken < lines.size() ? lines[m_linesTaken] : m_session.output().partial();
    return unread.empty() && m_linesTaken == lines.size()
               ? std::nullopt
               : Outcome(Failure{kScriptFailed, "no unread line", '"' + unread + '"'});
}

ScriptRunner::Outcome ScriptRunner::expectSilence(const Step& step) {
    const auto heard = [this] { return m_session.output().lines().size() > m_linesTaken; };
    Outcome failure = pass(number(step.arguments[0]), heard);
    return failure ? failure : expectQuiet(step);
}

// ---- The log ----

ScriptRunner::Outcome ScriptRunner::waitLog(const Step& step) {
    const auto found = [this, &pattern = step.arguments[0]] {
        const auto& records = m_session.log().texts();
        while (m_recordsTaken < records.size()) {
            if (globMatches(pattern, records[m_recordsTaken++])) {
                return true;
            }
        }
        return false;
    };
    return serveUntil(found, "a log record " + step.arguments[0]);
}

ScriptRunner::Outcome ScriptRunner::expectNoLog(const Step& step) {
    settle();
    const std::string& pattern = step.arguments[0];
    const auto& records = m_session.log().texts();
    const auto found = std::find_if(records.begin(), records.end(),
                                    [&](const std::string& record) { return globMatches(pattern, record); });
    return found == records.end() ? std::nullopt
                                  : Outcome(Failure{kScriptFailed, "no log record " + pattern, *found});
}

// ---- The panel ----

ScriptRunner::Outcome ScriptRunner::waitFrame(const Step& step) {
    const auto wanted = static_cast<unsigned>(number(argument(step, 0, std::to_string(m_framesTaken + 1))));
    m_framesTaken = std::max(m_framesTaken, wanted);
    return serveUntil([&] { return m_session.panel().oled.frames() >= wanted; },
                      "frame " + std::to_string(wanted));
}

ScriptRunner::Outcome ScriptRunner::waitLed(const Step& step) {
    const std::size_t index = *LedModel::indexOf(step.arguments[0]);
    const auto level = static_cast<unsigned>(number(step.arguments[1]));
    return serveUntil([&] { return m_session.panel().leds.level(index) == level; },
                      step.arguments[0] + " at " + step.arguments[1]);
}

int ScriptRunner::lineLevel(const std::string& output) {
    return m_session.panel().gpio.line(*GpioModel::numberOf(output))->level;
}

ScriptRunner::Outcome ScriptRunner::waitOutput(const Step& step) {
    return serveUntil([&] { return lineLevel(step.arguments[0]) == number(step.arguments[1]); },
                      step.arguments[0] + " at " + step.arguments[1]);
}

ScriptRunner::Outcome ScriptRunner::expectNumber(const std::string& expected, long got) {
    return number(expected) == got ? std::nullopt
                                   : Outcome(Failure{kScriptFailed, expected, std::to_string(got)});
}

ScriptRunner::Outcome ScriptRunner::expectFrames(const Step& step) {
    settle();
    return expectNumber(step.arguments[0], static_cast<long>(m_session.panel().oled.frames()));
}

ScriptRunner::Outcome ScriptRunner::expectPicture(const Step& step) {
    settle();
    const auto difference = checkPicture(besideScript(step.arguments[0]), m_session.panel().oled.lastFrame(),
                                         m_settings.pictures);
    return difference ? Outcome(Failure{kScriptFailed, step.arguments[0], *difference}) : std::nullopt;
}

ScriptRunner::Outcome ScriptRunner::expectLed(const Step& step) {
    settle();
    const std::size_t index = *LedModel::indexOf(step.arguments[0]);
    return expectNumber(step.arguments[1], static_cast<long>(m_session.panel().leds.level(index)));
}

ScriptRunner::Outcome ScriptRunner::expectOutput(const Step& step) {
    settle();
    return expectNumber(step.arguments[1], lineLevel(step.arguments[0]));
}

ScriptRunner::Outcome ScriptRunner::expectGain(const Step& step) {
    settle();
    return expectNumber(step.arguments[0], static_cast<long>(m_session.panel().micGain.code()));
}

ScriptRunner::Outcome ScriptRunner::expectContrast(const Step& step) {
    settle();
    return expectNumber(step.arguments[0], m_session.panel().oled.contrast());
}

ScriptRunner::Outcome ScriptRunner::expectDisplay(const Step& step) {
    settle();
    const std::string got = m_session.panel().oled.displayOn() ? "on" : "off";
    return got == step.arguments[0] ? std::nullopt : Outcome(Failure{kScriptFailed, step.arguments[0], got});
}

ScriptRunner::Outcome ScriptRunner::screenshot(const Step& step) {
    settle();
    const std::string file = std::filesystem::path(m_settings.pictures.artifacts) / step.arguments[0];
    const bool saved = savePicture(file, m_session.panel().oled.lastFrame(), m_settings.pictures.scale);
    return saved ? std::nullopt : Outcome(Failure{kScriptError, "a picture file", "cannot write " + file});
}

std::string ScriptRunner::besideScript(const std::string& file) const {
    return std::filesystem::path(m_step->file).parent_path() / file;
}

// ---- The end of the program, time ----

ScriptRunner::Outcome ScriptRunner::waitExit(const Step& step) {
    if (auto failure = serveUntil([this] { return !m_session.running(); }, "the end of the command")) {
        return failure;
    }
    m_endSeen = true;
    if (step.arguments.empty()) {
        return std::nullopt;
    }
    m_endAccepted = true;
    return expectNumber(step.arguments[0], m_session.exitStatus().value_or(0));
}

ScriptRunner::Outcome ScriptRunner::kill(const Step& step) {
    if (!m_session.running()) {
        return Failure{kScriptError, "a command that runs", "it has ended"};
    }
    m_session.sendSignal(*parseSignal(argument(step, 0, "TERM")));
    return std::nullopt;
}

ScriptRunner::Outcome ScriptRunner::pause(const Step& step) {
    return pass(number(step.arguments[0]) / m_speed, [] { return false; });
}

ScriptRunner::Outcome ScriptRunner::advance(const Step& step) {
    return m_pace.isVirtual() ? pause(step)
                              : Outcome(Failure{kScriptError, "--clock virtual", "the machine's clock"});
}

// Virtual time costs nothing: it keeps its length.
ScriptRunner::Outcome ScriptRunner::speed(const Step& step) {
    m_speed = m_pace.isVirtual() ? 1 : std::stod(step.arguments[0]);
    return std::nullopt;
}

ScriptRunner::Outcome ScriptRunner::timeout(const Step& step) {
    m_timeout = std::chrono::seconds(number(step.arguments[0]));
    return std::nullopt;
}

// ---- Faults ----

ScriptRunner::Outcome ScriptRunner::fault(const Step& step) {
    const Fault fault = *parseFault(step.arguments);
    if (fault.call == DeviceCall::Select && !m_pace.isVirtual()) {
        return Failure{kScriptError, "--clock virtual",
                       "the machine's clock, with which waits are the kernel's"};
    }
    m_session.devices().order(fault);
    return std::nullopt;
}

ScriptRunner::Outcome ScriptRunner::unplug(const Step& step) {
    return done(m_session.controls().unplug(step.arguments[0]));
}

ScriptRunner::Outcome ScriptRunner::plug(const Step& step) {
    return done(m_session.controls().plug(step.arguments[0]));
}

ScriptRunner::Outcome ScriptRunner::disptype(const Step& step) {
    const BootAnswer answer = BootAnswer::parse(step.arguments[0], number(argument(step, 1, "0")));
    return m_session.boot().answer(answer)
               ? std::nullopt
               : Outcome(Failure{kScriptError, "a stub of fw_printenv", "no file"});
}

}  // namespace sim
