// What one page has been told, and what it is told next.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "sim/panel/Picture.h"
#include "sim/view/SnapshotBox.h"
#include "sim/web/Glass.h"

namespace sim {

// Updates are JSON texts. The page tells which of them it has drawn, and gets the next when it has all but
// one: a slow page, or one in a hidden tab, gets fewer of them, never old ones.
//
//   "update"   number, from 1 on
//   "picture"  only when it has changed: 768 bytes in base64, row by row, 12 bytes a row, the left pixel in
//              the highest bit of the first
//   "state"    frame, on, contrast, variant, leds, outputs, gain, keys, detents, plugged, running, exit (null
//              or a status), transfers, bytes, linesIn, linesOut, errors: as in PanelState, names as in the
//              hello; recording: its file, or ""; ended: nothing follows
//   "lines"    [number, out, error, ms, text] each, oldest first, what cannot be shown written as in the log
//   "missed"   how many lines before these the page was not told, if there are any
//   "results"  [id, error text] of what the page has ordered
class PageFeed {
public:
    static constexpr std::uint64_t kAhead = 2;        // updates that the page has not drawn
    static constexpr std::size_t kLinesAtOnce = 100;  // in one update; of more, the newest
    static constexpr std::size_t kMaxResults = 1000;  // that a page may leave waiting

    struct Now {
        SnapshotBox::News news;  // lines: behind lastLine()
        Glass::Shown glass;
        std::string recording;  // the file; empty: none is written
        bool ended = false;
    };

    // The first text for every page: the names in the order of the arrays of "state", and what there is.
    [[nodiscard]] static std::string hello(bool canRecord);

    // The page takes another update.
    [[nodiscard]] bool ready() const { return m_sent < m_drawn + kAhead; }
    // The last line that the page was told.
    [[nodiscard]] std::uint64_t lastLine() const { return m_lastLine; }
    // Answers that wait for the next update.
    [[nodiscard]] std::size_t waitingResults() const { return m_results.size(); }

    // False: there was no such update.
    [[nodiscard]] bool drawn(std::uint64_t update);
    void addResult(std::uint64_t id, const std::string& error) { m_results.push_back({id, error}); }

    // The next update, whether the page is ready or not. Nothing: it has been told all that there is.
    [[nodiscard]] std::optional<std::string> next(const Now& now);

private:
    struct Result {
        std::uint64_t id;
        std::string error;
    };
    [[nodiscard]] bool isNew(const Now& now) const;

    std::uint64_t m_sent = 0;
    std::uint64_t m_drawn = 0;
    std::uint64_t m_version = 0;
    std::uint64_t m_lastLine = 0;
    unsigned m_frame = 0;
    std::string m_recording;
    bool m_ended = false;
    std::optional<Picture> m_picture;
    std::vector<Result> m_results;
};

// The picture's 768 bytes, packed as told above, in base64.
[[nodiscard]] std::string packedPicture(const Picture& picture);

}  // namespace sim
