#include "sim/record/Recorder.h"

#include <linux/input-event-codes.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <utility>

#include "sim/program/Session.h"

namespace sim {
namespace {

constexpr std::uint64_t kEndRoom = 64;  // bytes: what an end record takes at most

double steadyMilliseconds() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<double>(std::chrono::duration_cast<std::chrono::microseconds>(now).count()) / 1000.0;
}

double roundedToMicroseconds(double ms) {
    return std::round(ms * 1000.0) / 1000.0;
}

recorded::Content deviceEvent(InputDevice device, const std::vector<InputEvent>& events, bool joined) {
    if (device == InputDevice::Keys) {
        return recorded::Key{events.front().code, events.front().value, joined};
    }
    recorded::Turn turn{device, 0, 0, joined};
    for (const InputEvent& event : events) {
        if (event.type == EV_REL) {
            turn.detents += event.value;
            ++turn.reports;
        }
    }
    return turn;
}

}  // namespace

RecordingSource RecordingSource::of(Session& session) {
    RecordingSource source;
    source.daemon = session.daemon();
    source.program = [&session] { return Program{session.command(), session.boot().current()}; };
    source.unread = [&session](InputDevice device) { return session.devices().unreadEvents(device); };
    return source;
}

Recorder::Recorder(Panel& panel, const StateKeeper& keeper, RecordingSource source)
    : Recorder(panel, keeper, std::move(source), steadyMilliseconds) {}

Recorder::Recorder(Panel& panel, const StateKeeper& keeper, RecordingSource source, Clock clock)
    : m_panel(panel), m_keeper(keeper), m_source(std::move(source)), m_clock(std::move(clock)) {
    panel.listen(*this);
}

// ---- The file ----

std::string Recorder::start(const std::string& file, std::uint64_t maxBytes) {
    std::string error = stop();
    if (!error.empty()) {
        return error;
    }
    if (!m_file.open(file)) {
        return m_file.error();
    }
    m_limit = std::max(maxBytes, kSmallestLimit);
    m_start = m_clock();
    m_picture = m_panel.oled.lastFrame();
    if (!write(heading())) {
        (void)m_file.close();
    }
    return m_file.error();
}

std::string Recorder::stop() {
    if (!recording()) {
        return {};
    }
    (void)write(recorded::End{false});
    (void)m_file.close();
    return m_file.error();
}

recorded::Heading Recorder::heading() const {
    recorded::Heading heading;
    heading.simulator = BELTPACK_VERSION;
    heading.daemon = m_source.daemon;
    heading.state = m_keeper.state();
    heading.state.picture = m_picture;
    heading.whole = !m_touched;
    return heading;
}

void Recorder::add(recorded::Content content) {
    m_touched = true;
    if (recording() && !write(std::move(content))) {
        endByItself(m_file.error());
    }
}

// False: see the file's error.
bool Recorder::write(recorded::Content content) {
    const bool last = std::holds_alternative<recorded::End>(content);
    const double ms = roundedToMicroseconds(m_clock() - m_start);
    const std::string line = recorded::encode({std::move(content), ms});
    if (last || m_limit - m_file.bytes() >= line.size() + kEndRoom) {
        return m_file.write(line);
    }
    const bool written = m_file.write(recorded::encode({recorded::End{true}, ms}));
    if (written) {
        endByItself("the recording ends here: it has reached " + std::to_string(m_limit) + " bytes");
    }
    return written;
}

void Recorder::endByItself(const std::string& why) {
    const bool closed = m_file.close();
    if (m_told) {
        m_told(closed ? why : m_file.error());
    }
}

// ---- What happens ----

void Recorder::onFrame(unsigned number, const Picture& picture) {
    recorded::Frame frame{number, std::nullopt};
    if (recording() && picture != m_picture) {
        m_picture = picture;
        frame.picture = picture;
    }
    add(frame);
}

void Recorder::onDisplayOn(bool on) {
    add(recorded::Display{on});
}
void Recorder::onContrast(std::uint8_t level) {
    add(recorded::Contrast{level});
}
void Recorder::onProtocolError(const std::string& what) {
    add(recorded::ProtocolError{what});
}
void Recorder::onLed(std::size_t index, unsigned level) {
    add(recorded::Led{index, level});
}
void Recorder::onOutput(int number, int level) {
    add(recorded::Output{number, level});
}
void Recorder::onGain(unsigned code) {
    add(recorded::Gain{code});
}

// The device has been given these events already: what is unread beyond them came before. A reader announces
// its read first, and is answered on this thread, so that what counts as unread here is read together with
// these.
void Recorder::onInput(InputDevice device, const std::vector<InputEvent>& events) {
    add(deviceEvent(device, events, m_source.unread(device) > events.size()));
}

void Recorder::onPlug(const std::string& path, bool plugged) {
    add(recorded::Plug{path, plugged});
}
void Recorder::onFault(const std::string& words) {
    add(recorded::FaultOrder{words});
}
void Recorder::onLineIn(const std::string& text) {
    add(recorded::LineIn{text});
}
void Recorder::onLineOut(const std::string& text) {
    add(recorded::LineOut{text});
}
void Recorder::onInputEnd() {
    add(recorded::InputEnd{});
}

void Recorder::onStart(const std::string& command) {
    const RecordingSource::Program program = m_source.program();
    recorded::Start start{command, std::nullopt, program.boot};
    if (std::filesystem::path(program.words.front()).filename() == m_source.daemon) {
        start.arguments.emplace(program.words.begin() + 1, program.words.end());
    }
    add(std::move(start));
}

void Recorder::onExit(int status) {
    add(recorded::Exit{status});
}

}  // namespace sim
