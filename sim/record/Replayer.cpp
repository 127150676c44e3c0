#include "sim/record/Replayer.h"

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <iostream>

#include "sim/base/Text.h"
#include "sim/program/Pictures.h"
#include "sim/script/ScriptParser.h"

namespace sim {
namespace {

using namespace recorded;

constexpr int kSignalExit = 128;
constexpr int kReadPollMs = 1;  // nothing tells that a pipe has been emptied
constexpr int kFullPipeWaitMs = 5;

template <typename... Handlers>
struct Overloaded : Handlers... {
    using Handlers::operator()...;
};
template <typename... Handlers>
Overloaded(Handlers...) -> Overloaded<Handlers...>;

// The daemon does not end with these by itself.
bool endedFromOutside(int status) {
    constexpr int kSignals[] = {SIGHUP, SIGINT, SIGKILL, SIGTERM};
    return std::any_of(std::begin(kSignals), std::end(kSignals),
                       [status](int signal) { return status == kSignalExit + signal; });
}

// How a report tells an input; empty for what is none.
std::string inputText(const Content& content) {
    return std::visit(
        Overloaded{
            [](const LineIn& line) { return "line " + printable(line.text); },
            [](const InputEnd&) { return std::string("the end of the input"); },
            [](const Key& key) {
                constexpr const char* kWords[] = {"release ", "press ", "repeat "};
                return kWords[key.value] +
                       std::string(InputModel::kKeyNames.at(key.code - InputModel::kFirstKeyCode));
            },
            [](const Turn& turn) {
                const auto encoder = static_cast<std::size_t>(turn.encoder);
                return "turn " + std::string(InputModel::kEncoderNames.at(encoder)) + ' ' +
                       std::to_string(turn.detents);
            },
            [](const Plug& plug) { return (plug.plugged ? "plug " : "unplug ") + printable(plug.path); },
            [](const FaultOrder& fault) { return "fault " + printable(fault.words); },
            [](const Start& start) { return "start " + printable(start.command); },
            [](const auto&) { return std::string(); },
        },
        content);
}

bool ofDevice(const Content& event, InputDevice device) {
    const auto* turn = std::get_if<Turn>(&event);
    return device == (turn != nullptr ? turn->encoder : InputDevice::Keys);
}

InputDevice deviceOf(const Content& event) {
    const auto* turn = std::get_if<Turn>(&event);
    return turn != nullptr ? turn->encoder : InputDevice::Keys;
}

}  // namespace

Replayer::Replayer(Session& session, const RecordingSummary& summary, const ReplaySettings& settings)
    : m_session(session), m_summary(summary), m_settings(settings), m_reader(summary.file) {
    session.panel().listen(*this);
}

std::string Replayer::unplayable(const RecordingSummary& summary) {
    if (!summary.heading.whole) {
        return summary.file + ": was begun when the session was under way already, and cannot be played";
    }
    return summary.started ? "" : summary.file + ": no program was started in it";
}

void Replayer::onFrame(unsigned, const Picture& picture) {
    m_frames.push_back(picture);
}

void Replayer::onLineOut(const std::string& text) {
    ComparedLine line = comparedLine(text, m_settings.maskTimes);
    m_lines[line.stream].push_back(std::move(line.text));
}

// ---- Playing ----

int Replayer::run() {
    m_start = Clock::now();
    const Outcome failure = playAll();
    if (m_session.running()) {
        m_session.kill();
    }
    if (!failure) {
        reportEqual();
        return kReplayEqual;
    }
    report(*failure);
    return failure->status;
}

Replayer::Outcome Replayer::playAll() {
    while (const auto record = m_reader.next()) {
        if (auto failure = play(*record)) {
            return failure;
        }
    }
    return m_reader.error().empty()
               ? std::nullopt
               : Outcome(Failure{kReplayUnusable, "the recording as before", m_reader.error()});
}

Replayer::Outcome Replayer::play(const Record& record) {
    const std::string input = inputText(record.content);
    if (!input.empty()) {
        if (auto failure = waitForTime(record.ms)) {
            return failure;
        }
        m_lastInput = input + " (record " + std::to_string(m_reader.line()) + ')';
        ++m_inputs;
    }
    return std::visit(Overloaded{
                          [this](const Start& content) { return start(content); },
                          [this](const LineIn& content) { return lineIn(content); },
                          [this](const InputEnd&) { return closeInput(); },
                          [this, &record](const Key&) { return deviceEvent(record.content); },
                          [this, &record](const Turn&) { return deviceEvent(record.content); },
                          [this](const Plug& content) { return plug(content); },
                          [this](const FaultOrder& content) { return fault(content); },
                          [this](const LineOut& content) { return lineOut(content); },
                          [this](const Frame& content) { return frame(content); },
                          [this](const Exit& content) { return exit(content); },
                          [this](const End&) { return end(); },
                          [](const auto&) { return Outcome(); },
                      },
                      record.content);
}

void Replayer::report(const Failure& failure) const {
    std::cerr << m_summary.file << ':' << m_reader.line() << ": not as recorded";
    if (!m_lastInput.empty()) {
        std::cerr << ", after " << m_lastInput;
    }
    std::cerr << "\n  expected: " << failure.expected << "\n  got:      " << failure.got << '\n';
}

void Replayer::reportEqual() const {
    std::cout << m_summary.file << ": equal, " << m_inputs << " inputs, " << m_comparedLines << " lines, "
              << m_comparedFrames << " frames\n"
              << std::flush;
}

// ---- Waiting ----

Replayer::Outcome Replayer::stopped(const std::string& expected) const {
    if (m_session.interruption() != 0) {
        return Failure{kSignalExit + m_session.interruption(), expected, "a signal to end"};
    }
    if (!m_session.running()) {
        const int status = m_session.exitStatus().value_or(0);
        return Failure{kReplayEnded, expected, "the end of the daemon, exit " + std::to_string(status)};
    }
    return std::nullopt;
}

Replayer::Outcome Replayer::serveUntil(const std::function<bool()>& done, const std::string& expected,
                                       int pollMilliseconds) {
    const auto deadline = Clock::now() + std::chrono::seconds(m_settings.timeoutSeconds);
    while (!done()) {
        if (auto failure = stopped(expected)) {
            return failure;
        }
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        if (left <= 0) {
            return Failure{kReplayTimeout, expected,
                           "nothing within " + std::to_string(m_settings.timeoutSeconds) + " s"};
        }
        m_session.serve(static_cast<int>(std::min<std::int64_t>(left, pollMilliseconds)));
    }
    return std::nullopt;
}

// An end of the daemon meanwhile shows at the next record.
Replayer::Outcome Replayer::waitForTime(double ms) {
    if (m_settings.fast) {
        return std::nullopt;
    }
    const auto due = m_start + std::chrono::duration_cast<Clock::duration>(
                                   std::chrono::duration<double, std::milli>(ms / m_settings.speed));
    for (auto now = Clock::now(); now < due; now = Clock::now()) {
        if (m_session.interruption() != 0) {
            return stopped("the next input");
        }
        // Rounded up: a wait of 0 ms would spin.
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(due - now).count();
        m_session.serve(
            static_cast<int>(std::min<std::int64_t>(left, m_settings.timeoutSeconds * std::int64_t{1000})));
    }
    return std::nullopt;
}

bool Replayer::devicesRead() {
    constexpr InputDevice kDevices[] = {InputDevice::Left, InputDevice::Right, InputDevice::Rear,
                                        InputDevice::Keys};
    return std::all_of(std::begin(kDevices), std::end(kDevices),
                       [this](InputDevice device) { return m_session.devices().unreadEvents(device) == 0; });
}

// The daemon carries out what it has read before it reads on, so that what is given now comes behind it.
Replayer::Outcome Replayer::waitUntilRead() {
    if (!m_session.running()) {
        return std::nullopt;
    }
    return serveUntil([this] { return m_session.inputRead() && devicesRead(); },
                      "a daemon that reads its input and its devices", kReadPollMs);
}

// ---- What goes in ----

Replayer::Outcome Replayer::start(const Start& start) {
    if (m_session.running()) {
        return Failure{kReplayUnusable, "an end of the daemon before its next start", "it still runs"};
    }
    m_controller = !start.arguments;
    m_inputEnded = false;
    if (m_settings.recordedBoot && !m_session.boot().answer(start.boot)) {
        return Failure{kReplayUnusable, "an answer of the boot loader's tool", "it cannot be written"};
    }
    if (!m_session.start(start.arguments.value_or(std::vector<std::string>()))) {
        return Failure{kReplayUnusable, "a process", "none could be made"};
    }
    return std::nullopt;
}

// Lines need not wait for each other: they stay in order in the pipe, and it takes each whole.
Replayer::Outcome Replayer::lineIn(const LineIn& line) {
    if (m_inputEnded) {
        return Failure{kReplayUnusable, "one run of the daemon for each start",
                       "a line behind the end of its input: a controller has started it again"};
    }
    Outcome failure =
        serveUntil([this] { return devicesRead(); }, "a daemon that reads its devices", kReadPollMs);
    const std::string text = line.text + '\n';
    std::string_view rest = text;
    while (!failure && !rest.empty()) {
        long written = 0;
        failure = serveUntil([&] { return (written = m_session.writeInput(rest)) != 0; },
                             "a daemon that reads its input", kFullPipeWaitMs);
        if (!failure && written < 0) {
            (void)serveUntil([this] { return !m_session.running(); }, "", kFullPipeWaitMs);
            failure = Failure{kReplayEnded, "a daemon that reads its input", "its input is closed"};
        }
        rest.remove_prefix(static_cast<std::size_t>(std::max(written, 0L)));
    }
    return failure;
}

Replayer::Outcome Replayer::closeInput() {
    Outcome failure = waitUntilRead();
    m_session.closeInput();
    m_inputEnded = true;
    return failure;
}

// What the daemon once read together it is given together: nothing is served in between, and so it cannot
// read.
Replayer::Outcome Replayer::deviceEvent(const Content& event) {
    if (m_summary.heldBack.count(m_reader.line()) != 0) {
        m_heldBack.push_back(event);
        return std::nullopt;
    }
    Outcome failure = waitUntilRead();
    if (failure) {
        return failure;
    }
    const InputDevice device = deviceOf(event);
    for (const Content& held : m_heldBack) {
        if (ofDevice(held, device)) {
            give(held);
        }
    }
    m_heldBack.erase(std::remove_if(m_heldBack.begin(), m_heldBack.end(),
                                    [device](const Content& held) { return ofDevice(held, device); }),
                     m_heldBack.end());
    give(event);
    return std::nullopt;
}

void Replayer::give(const Content& event) {
    InputModel& inputs = m_session.panel().inputs;
    if (const auto* turn = std::get_if<Turn>(&event)) {
        inputs.turn(turn->encoder, turn->detents, turn->reports);
        return;
    }
    using Change = void (InputModel::*)(std::uint16_t);
    constexpr Change kChanges[] = {&InputModel::release, &InputModel::press, &InputModel::repeat};
    const auto& key = std::get<Key>(event);
    (inputs.*kChanges[key.value])(key.code);
}

Replayer::Outcome Replayer::plug(const Plug& plug) {
    if (auto failure = waitUntilRead()) {
        return failure;
    }
    Controls& controls = m_session.controls();
    const std::string error = plug.plugged ? controls.plug(plug.path) : controls.unplug(plug.path);
    return error.empty() ? std::nullopt : Outcome(Failure{kReplayUnusable, "a path of the panel", error});
}

Replayer::Outcome Replayer::fault(const FaultOrder& fault) {
    Outcome failure = waitUntilRead();
    if (!failure) {
        m_session.devices().order(*parseFault(*splitWords(fault.words)));  // checked when it was read
    }
    return failure;
}

// ---- What comes out ----

Replayer::Outcome Replayer::lineOut(const LineOut& line) {
    const ComparedLine expected = comparedLine(line.text, m_settings.maskTimes);
    std::deque<std::string>& queue = m_lines[expected.stream];
    const std::string shown = "line " + printable(expected.text);
    if (auto failure = serveUntil([&queue] { return !queue.empty(); }, shown, INT32_MAX)) {
        return failure;
    }
    const std::string got = std::move(queue.front());
    queue.pop_front();
    ++m_comparedLines;
    return got == expected.text ? std::nullopt
                                : Outcome(Failure{kReplayDifferent, shown, "line " + printable(got)});
}

Replayer::Outcome Replayer::frame(const Frame& frame) {
    const std::string shown = "frame " + std::to_string(frame.number);
    if (auto failure = serveUntil([this] { return !m_frames.empty(); }, shown, INT32_MAX)) {
        return failure;
    }
    const Picture got = m_frames.front();
    m_frames.pop_front();
    ++m_comparedFrames;
    return got == *frame.picture ? std::nullopt : comparePicture(frame, got);
}

// The recorded picture becomes a file too, which the others are named after.
Replayer::Outcome Replayer::comparePicture(const Frame& expected, const Picture& got) {
    const std::string name = std::filesystem::path(m_summary.file).stem().string() + ".frame-" +
                             std::to_string(expected.number) + ".png";
    const std::string file = std::filesystem::path(m_settings.pictures.artifacts) / name;
    const std::string shown = "frame " + std::to_string(expected.number);
    if (!savePicture(file, *expected.picture, m_settings.pictures.scale)) {
        return Failure{kReplayDifferent, shown, "another picture; " + file + " cannot be written"};
    }
    const auto difference = checkPicture(file, got, m_settings.pictures);
    return Failure{kReplayDifferent, shown + ", see " + file, difference.value_or("another picture")};
}

// A session that was ended from outside ends here likewise; a controller's status is not the daemon's.
Replayer::Outcome Replayer::exit(const Exit& exit) {
    if (m_session.running() && !m_controller && endedFromOutside(exit.status)) {
        m_session.kill();
        return std::nullopt;
    }
    if (m_controller) {
        m_session.closeInput();
        m_inputEnded = true;
    }
    const std::string shown = "exit " + std::to_string(exit.status);
    auto failure = serveUntil([this] { return !m_session.running(); },
                              m_controller ? "the end of the daemon" : shown, INT32_MAX);
    const int status = m_session.exitStatus().value_or(0);
    if (!failure && !m_controller && !endedFromOutside(exit.status) && status != exit.status) {
        failure = Failure{kReplayDifferent, shown, "exit " + std::to_string(status)};
    }
    return failure;
}

// A recording that was stopped while the daemon ran tells nothing of what came behind it.
Replayer::Outcome Replayer::end() {
    if (m_session.running()) {
        return std::nullopt;
    }
    return nothingLeft();
}

Replayer::Outcome Replayer::nothingLeft() const {
    for (const auto& [stream, lines] : m_lines) {
        if (!lines.empty()) {
            return Failure{kReplayDifferent, "no further line", "line " + printable(lines.front())};
        }
    }
    if (!m_frames.empty()) {
        return Failure{kReplayDifferent, "no further frame", std::to_string(m_frames.size()) + " more"};
    }
    return std::nullopt;
}

}  // namespace sim
