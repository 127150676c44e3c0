#include "sim/program/Relay.h"

#include <poll.h>
#include <sys/epoll.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <utility>

namespace sim {
namespace {

constexpr int kReadsInARow = 16;  // then everybody else has a turn

bool wouldBlock() {
    return errno == EAGAIN || errno == EINTR;
}

}  // namespace

Relay::Relay(EventLoop& loop, StreamEnd source, StreamEnd sink, LineSplitter& passed)
    : m_loop(loop), m_source(std::move(source)), m_sink(std::move(sink)), m_passed(passed) {
    watchWhatIsNeeded();
}

void Relay::inject(const std::string& line) {
    m_injected.push_back(line);
    pump();
}

// Who is told of a line may inject another: the call under way takes care of it.
void Relay::pump() {
    if (over() || m_pumping) {
        return;
    }
    m_pumping = true;
    bool moving = writeAll();
    for (int reads = 0; reads < kReadsInARow && moving; ++reads) {
        moving = fill() && writeAll();
    }
    m_pumping = false;
    if (!over()) {
        watchWhatIsNeeded();
    }
}

// ---- Writing ----

// False: the sink takes no more now, or is gone.
bool Relay::writeAll() {
    for (choosePiece(); !m_piece.empty(); choosePiece()) {
        if (!writePiece()) {
            return false;
        }
    }
    if (m_sourceEnded) {
        finish();
    }
    return !over();
}

bool Relay::writePiece() {
    const ssize_t written = m_sink.write(m_piece);
    if (written < 0) {
        if (!wouldBlock()) {
            finish();
        }
        return false;
    }
    const auto size = static_cast<std::size_t>(written);
    m_atLineStart = size > 0 ? m_piece[size - 1] == '\n' : m_atLineStart;
    m_passed.append(std::string_view(m_piece).substr(0, size));
    m_piece.erase(0, size);
    return true;
}

// Fills m_piece with what is to be written next, if there is anything and nothing is half written.
void Relay::choosePiece() {
    if (!m_piece.empty()) {
        return;
    }
    if (m_atLineStart && !m_injected.empty()) {
        m_piece = std::move(m_injected.front());
        m_injected.pop_front();
        return;
    }
    const std::size_t size = streamPiece();
    m_piece.assign(m_buffer->data() + m_begin, size);
    m_begin += size;
}

std::size_t Relay::streamPiece() const {
    const std::string_view released(m_buffer->data() + m_begin, m_released - m_begin);
    const std::string_view piece = released.substr(0, PIPE_BUF);
    std::size_t lineFeed = std::string_view::npos;
    if (!m_injected.empty()) {
        lineFeed = piece.find('\n');  // the line under way ends, then it is their turn
    } else if (piece.size() < released.size()) {
        lineFeed = piece.rfind('\n');
    }
    return lineFeed == std::string_view::npos ? piece.size() : lineFeed + 1;
}

// ---- Reading ----

// One read, behind what is kept of the last. False: nothing has come.
bool Relay::fill() {
    std::copy(m_buffer->begin() + static_cast<std::ptrdiff_t>(m_begin),
              m_buffer->begin() + static_cast<std::ptrdiff_t>(m_end), m_buffer->begin());
    m_end -= m_begin;
    m_released -= m_begin;
    m_begin = 0;
    const ssize_t length = m_source.read(m_buffer->data() + m_end, kRoom - m_end);
    if (length < 0 && wouldBlock()) {
        const bool kept = m_released < m_end;  // somebody else has read what was to follow
        m_released = m_end;
        return kept;
    }
    m_sourceEnded = length <= 0;  // a failing source, such as a terminal that is gone, has ended too
    m_end += static_cast<std::size_t>(std::max<ssize_t>(length, 0));
    release(m_end == kRoom);
    return true;
}

// A full buffer may end within a line whose rest waits in the source: it is kept back, to go in one piece.
void Relay::release(bool wasFull) {
    m_released = m_end;
    if (!wasFull || m_sourceEnded || !m_source.ready(POLLIN)) {
        return;
    }
    const std::size_t lineFeed = std::string_view(m_buffer->data(), m_end).rfind('\n');
    if (lineFeed != std::string_view::npos) {
        m_released = lineFeed + 1;
    }
}

// ---- Waiting ----

// The source while there is room, the sink while there is something to write, and always the sink's end. A
// source that cannot be waited for is always ready: then the sink's readiness is what sets the pace.
void Relay::watchWhatIsNeeded() {
    const bool reading = nothingLeft();
    watchSource(reading);
    watchSink(reading && m_sourceWatched ? 0U : static_cast<std::uint32_t>(EPOLLOUT));
}

void Relay::watchSource(bool wanted) {
    if (wanted == m_sourceWatched) {
        return;
    }
    if (wanted) {
        m_sourceWatched = m_loop.watch(m_source.fd(), EPOLLIN, [this](std::uint32_t) { pump(); });
    } else {
        m_loop.unwatch(m_source.fd());
        m_sourceWatched = false;
    }
}

void Relay::watchSink(std::uint32_t events) {
    if (m_sinkWatched && events == m_sinkEvents) {
        return;
    }
    if (m_sinkWatched) {
        m_loop.unwatch(m_sink.fd());
    }
    m_sinkEvents = events;
    m_sinkWatched = m_loop.watch(m_sink.fd(), events, [this](std::uint32_t now) {
        if ((now & (EPOLLERR | EPOLLHUP)) != 0) {
            finish();
        } else {
            pump();
        }
    });
}

void Relay::finish() {
    if (!over()) {
        close();
        m_passed.end();
    }
}

void Relay::close() {
    watchSource(false);
    if (m_sinkWatched) {
        m_loop.unwatch(m_sink.fd());
        m_sinkWatched = false;
    }
    m_source.close();
    m_sink.close();
}

}  // namespace sim
