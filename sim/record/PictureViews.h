// What the display showed, as picture files.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "sim/record/GifWriter.h"
#include "sim/record/OutputFile.h"
#include "sim/record/RecordingView.h"
#include "sim/view/View.h"

namespace sim {

// An animated GIF of the session: the glass at every whole frame, and dark while the display is off.
class GifView final : public View, private PanelListener {
public:
    // clock: milliseconds that never go back.
    GifView(std::string file, unsigned scale, StateKeeper::Clock clock, Complaint complain)
        : m_file(std::move(file)),
          m_scale(scale),
          m_clock(std::move(clock)),
          m_complain(std::move(complain)) {}

    [[nodiscard]] bool wantsLines() const override { return false; }
    [[nodiscard]] std::string start(const ViewSeam& seam) override;
    void stop() override;

private:
    void onFrame(unsigned number, const Picture& picture) override;
    void onDisplayOn(bool on) override;
    void show(const Picture& picture);

    const std::string m_file;
    const unsigned m_scale;
    const StateKeeper::Clock m_clock;
    const Complaint m_complain;
    const Panel* m_panel = nullptr;
    GifWriter m_writer;
    bool m_told = false;  // that it has failed
};

// Every whole frame of the session as a PNG file in a folder, equal ones in a row as one file; and index.tsv,
// a line a frame: its number, milliseconds, and the name of its file, with tabs between and a heading.
class FrameFolder final : public View, private PanelListener {
public:
    FrameFolder(std::string folder, unsigned scale, StateKeeper::Clock clock, Complaint complain)
        : m_folder(std::move(folder)),
          m_scale(scale),
          m_clock(std::move(clock)),
          m_complain(std::move(complain)) {}

    [[nodiscard]] bool wantsLines() const override { return false; }
    [[nodiscard]] std::string start(const ViewSeam& seam) override;
    void stop() override;

private:
    void onFrame(unsigned number, const Picture& picture) override;
    void fail(const std::string& what);

    const std::string m_folder;
    const unsigned m_scale;
    const StateKeeper::Clock m_clock;
    const Complaint m_complain;
    OutputFile m_index;
    std::optional<Picture> m_picture;  // of the last file
    std::string m_name;                // of the last file
};

}  // namespace sim
