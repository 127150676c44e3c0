// Passes a byte stream on from one descriptor to another, in the simulator's loop.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>

#include "sim/base/EventLoop.h"
#include "sim/base/LineSplitter.h"
#include "sim/base/StreamEnd.h"

namespace sim {

// Every byte in order, and what goes with it: while the reader is slow no more is read than one buffer holds,
// the end of the stream and a reader that has gone are passed on.
//
// A program that takes each read for whole commands needs them whole: what one read gave is written in one
// piece, or, when a pipe would not take it whole, in pieces that end with a line; a line that the buffer's
// end cuts waits for its rest.
class Relay {
public:
    // Loop and splitter are not owned; the splitter gets the bytes as they are written.
    Relay(EventLoop& loop, StreamEnd source, StreamEnd sink, LineSplitter& passed);
    ~Relay() { close(); }
    Relay(const Relay&) = delete;
    Relay& operator=(const Relay&) = delete;

    // Puts a line, which ends with its line feed, between two of the stream, as soon as one has ended.
    void inject(const std::string& line);

    // Passes on what can be now, without waiting.
    void pump();

    // The stream has ended, or its reader is gone: both ends are closed.
    [[nodiscard]] bool over() const { return !m_sink.open(); }

private:
    static constexpr std::size_t kRoom = 65536;  // bytes: what a pipe holds

    [[nodiscard]] bool writeAll();
    [[nodiscard]] bool writePiece();
    void choosePiece();
    [[nodiscard]] std::size_t streamPiece() const;
    [[nodiscard]] bool fill();
    void release(bool wasFull);
    [[nodiscard]] bool nothingLeft() const { return m_piece.empty() && m_begin == m_released; }
    void watchWhatIsNeeded();
    void watchSource(bool wanted);
    void watchSink(std::uint32_t events);
    void finish();
    void close();

    EventLoop& m_loop;
    StreamEnd m_source;
    StreamEnd m_sink;
    LineSplitter& m_passed;

    // Read and not yet passed on: m_begin .. m_end, of which the bytes up to m_released may be.
    const std::unique_ptr<std::array<char, kRoom>> m_buffer = std::make_unique<std::array<char, kRoom>>();
    std::size_t m_begin = 0;
    std::size_t m_released = 0;
    std::size_t m_end = 0;
    std::string m_piece;  // being written
    std::deque<std::string> m_injected;
    bool m_atLineStart = true;  // of what has been written
    bool m_sourceEnded = false;
    bool m_pumping = false;

    bool m_sourceWatched = false;
    bool m_sinkWatched = false;
    std::uint32_t m_sinkEvents = 0;
};

}  // namespace sim
