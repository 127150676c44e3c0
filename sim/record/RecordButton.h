// A switch for recordings while a session runs, for views that offer one.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "sim/record/Recorder.h"
#include "sim/view/View.h"

namespace sim {

// Each recording goes to a new file of the folder, beltpack-1.rec and so on. On the simulator's thread only,
// as whenItEnds' function is called there.
class RecordButton {
public:
    static constexpr std::uint64_t kMaxBytes = std::uint64_t{1} << 30U;  // of a recording that nobody stops

    RecordButton(std::filesystem::path folder, RecordingSource source)
        : m_folder(std::move(folder)), m_source(std::move(source)) {}

    // Before anything else, with the view that has the button.
    void start(const ViewSeam& seam);

    // Starts a recording, or stops it; without a change nothing happens. An error text, or an empty one.
    [[nodiscard]] std::string press(bool on);

    // Where the recording that runs goes; empty: none runs.
    [[nodiscard]] std::string file() const;

    // A recording has ended by itself: the disk is full, or the file has its largest size.
    void whenItEnds(std::function<void()> told) { m_ended = std::move(told); }

private:
    [[nodiscard]] std::filesystem::path freshFile() const;

    const std::filesystem::path m_folder;
    const RecordingSource m_source;
    std::function<void()> m_ended;
    std::filesystem::path m_file;
    std::optional<Recorder> m_recorder;
};

}  // namespace sim
