// Records a session.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "sim/panel/Panel.h"
#include "sim/record/OutputFile.h"
#include "sim/record/Recording.h"
#include "sim/view/StateKeeper.h"

namespace sim {

class Session;

// What a recorder asks about the session, since the panel does not know it.
struct RecordingSource {
    struct Program {
        std::vector<std::string> words;  // the program and its arguments
        BootAnswer boot;
    };
    std::string daemon;                              // name of the program whose lines are told
    std::function<Program()> program;                // the one that is being started
    std::function<std::size_t(InputDevice)> unread;  // events of the device that wait to be read

    // The session is not owned.
    [[nodiscard]] static RecordingSource of(Session& session);
};

// Writes one recording after another, each from when it is started to when it is stopped, each record to the
// file as it happens: nothing is kept in memory. On the simulator's thread only.
class Recorder final : private PanelListener {
public:
    static constexpr std::uint64_t kNoLimit = std::numeric_limits<std::uint64_t>::max();
    static constexpr std::uint64_t kSmallestLimit = 4096;  // bytes: room for the first and the last record

    using Clock = std::function<double()>;  // milliseconds that never go back
    // A recording has ended by itself: why, to be shown.
    using EndTold = std::function<void(const std::string& why)>;

    // Panel and keeper are not owned and must outlive the recorder's use, and the recorder the panel's. Only
    // a recording that is started before anything has happened on the panel can be played again: a recorder
    // that is to know this is made before the program is started.
    Recorder(Panel& panel, const StateKeeper& keeper, RecordingSource source);
    // With another clock than the machine's.
    Recorder(Panel& panel, const StateKeeper& keeper, RecordingSource source, Clock clock);

    // Starts a recording in a new file; one that runs is stopped. maxBytes: the largest that the file may
    // get (kSmallestLimit at least); the recording ends before, and is as good as one that was stopped. An
    // error text, or an empty one.
    [[nodiscard]] std::string start(const std::string& file, std::uint64_t maxBytes = kNoLimit);

    // Ends the recording; without one nothing happens. An error text when the file is not whole, or an empty
    // one; what EndTold has been told is not told again.
    [[nodiscard]] std::string stop();

    [[nodiscard]] bool recording() const { return m_file.isOpen(); }
    // Of the recording, or of the last one.
    [[nodiscard]] std::uint64_t bytes() const { return m_file.bytes(); }
    void whenItEnds(EndTold told) { m_told = std::move(told); }

private:
    void onFrame(unsigned number, const Picture& picture) override;
    void onDisplayOn(bool on) override;
    void onContrast(std::uint8_t level) override;
    void onProtocolError(const std::string& what) override;
    void onLed(std::size_t index, unsigned level) override;
    void onOutput(int number, int level) override;
    void onGain(unsigned code) override;
    void onInput(InputDevice device, const std::vector<InputEvent>& events) override;
    void onPlug(const std::string& path, bool plugged) override;
    void onFault(const std::string& words) override;
    void onLineIn(const std::string& text) override;
    void onLineOut(const std::string& text) override;
    void onInputEnd() override;
    void onStart(const std::string& command) override;
    void onExit(int status) override;

    [[nodiscard]] recorded::Heading heading() const;
    void add(recorded::Content content);
    [[nodiscard]] bool write(recorded::Content content);
    void endByItself(const std::string& why);

    const Panel& m_panel;
    const StateKeeper& m_keeper;
    const RecordingSource m_source;
    const Clock m_clock;
    EndTold m_told;
    bool m_touched = false;  // something has happened on the panel
    OutputFile m_file;
    std::uint64_t m_limit = kNoLimit;
    double m_start = 0;
    Picture m_picture;  // the last that was written
};

}  // namespace sim
