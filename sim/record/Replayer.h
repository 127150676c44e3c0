// Plays a recording again, and compares what comes.
#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "sim/program/Session.h"
#include "sim/record/ComparedLine.h"
#include "sim/record/RecordingReader.h"
#include "sim/script/PictureCheck.h"

namespace sim {

enum ReplayStatus {
    kReplayEqual = 0,
    kReplayDifferent = 1,
    kReplayUnusable = 2,  // not a recording that can be played, or no process could be made
    kReplayEnded = 3,     // the daemon ended by itself before the recording did
    kReplayTimeout = 42   // what was to come did not come in time
};

struct ReplaySettings {
    double speed = 1;          // times as fast as recorded
    bool fast = false;         // no waiting for time at all
    int timeoutSeconds = 10;   // the longest wait for one line, frame or end
    bool maskTimes = true;     // see ComparedLine
    bool recordedBoot = true;  // the boot loader's tool answers as it did; else as the session was told
    PictureSettings pictures;  // where to, and how large, a picture that differs is written
};

// Gives the daemon what it was given, in the same order: a line in one write, each input only when the daemon
// has read all before it and after every line and frame that had come before it in the recording. Lines and
// frames are taken one after the other from the queues in which they come.
class Replayer final : private PanelListener {
public:
    // Nothing is owned. The session is piped, and its program the daemon; summary: checkRecording's, of a
    // recording without an error.
    Replayer(Session& session, const RecordingSummary& summary, const ReplaySettings& settings);

    // Why this recording cannot be played, or an empty text.
    [[nodiscard]] static std::string unplayable(const RecordingSummary& summary);

    // Plays it to its end or to the first difference, which is told on standard error; equality is told on
    // standard output. The daemon has ended afterwards. A ReplayStatus, or 128 + n when signal n interrupted.
    [[nodiscard]] int run();

private:
    struct Failure {
        int status;  // what run returns
        std::string expected;
        std::string got;
    };
    using Outcome = std::optional<Failure>;  // nothing: as recorded
    using Clock = std::chrono::steady_clock;

    void onFrame(unsigned number, const Picture& picture) override;
    void onLineOut(const std::string& text) override;

    [[nodiscard]] Outcome playAll();
    [[nodiscard]] Outcome play(const recorded::Record& record);
    void report(const Failure& failure) const;
    void reportEqual() const;

    [[nodiscard]] Outcome start(const recorded::Start& start);
    [[nodiscard]] Outcome lineIn(const recorded::LineIn& line);
    [[nodiscard]] Outcome closeInput();
    [[nodiscard]] Outcome deviceEvent(const recorded::Content& event);
    [[nodiscard]] Outcome plug(const recorded::Plug& plug);
    [[nodiscard]] Outcome fault(const recorded::FaultOrder& fault);
    [[nodiscard]] Outcome lineOut(const recorded::LineOut& line);
    [[nodiscard]] Outcome frame(const recorded::Frame& frame);
    [[nodiscard]] Outcome exit(const recorded::Exit& exit);
    [[nodiscard]] Outcome end();
    [[nodiscard]] Outcome nothingLeft() const;

    void give(const recorded::Content& event);
    [[nodiscard]] Outcome waitForTime(double ms);
    [[nodiscard]] Outcome waitUntilRead();
    // Serves until done() holds, or fails with what is expected when the time is up or the daemon has ended.
    [[nodiscard]] Outcome serveUntil(const std::function<bool()>& done, const std::string& expected,
                                     int pollMilliseconds);
    [[nodiscard]] Outcome stopped(const std::string& expected) const;
    [[nodiscard]] bool devicesRead();
    [[nodiscard]] Outcome comparePicture(const recorded::Frame& expected, const Picture& got);

    Session& m_session;
    const RecordingSummary& m_summary;
    const ReplaySettings m_settings;
    RecordingReader m_reader;
    Clock::time_point m_start;
    bool m_controller = false;  // the recorded command was a controller: its end was not the daemon's
    bool m_inputEnded = false;

    std::map<std::string, std::deque<std::string>> m_lines;  // come and not yet compared, by stream
    std::deque<Picture> m_frames;                            // likewise
    std::vector<recorded::Content> m_heldBack;               // to be given with a later event of their device

    std::string m_lastInput;  // as told in a report
    std::size_t m_inputs = 0, m_comparedLines = 0, m_comparedFrames = 0;
};

}  // namespace sim
