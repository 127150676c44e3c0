#include "sim/program/LineTap.h"

#include <fcntl.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

namespace sim {
namespace {

struct Pipe {
    UniqueFd readEnd;
    UniqueFd writeEnd;
};

Pipe makePipe() {
    std::array<int, 2> ends{-1, -1};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        return {};
    }
    return {UniqueFd(ends[0]), UniqueFd(ends[1])};
}

// A program that was given a non-blocking descriptor goes on with one.
void takeFlag(const UniqueFd& from, const UniqueFd& to) {
    const int nonBlocking = ::fcntl(from.get(), F_GETFL) & O_NONBLOCK;
    ::fcntl(to.get(), F_SETFL, ::fcntl(to.get(), F_GETFL) | nonBlocking);
}

}  // namespace

// ---- LineTap ----

LineTap::Ends LineTap::makeEnds(const Descriptors& given) {
    Pipe input = makePipe();
    Pipe output = makePipe();
    takeFlag(given.input, input.readEnd);
    takeFlag(given.output, output.writeEnd);
    return {{std::move(input.writeEnd), std::move(output.readEnd)},
            {std::move(input.readEnd), std::move(output.writeEnd)}};
}

LineTap::LineTap(EventLoop& loop, PanelListener& listener, Descriptors given, Descriptors& replacements)
    : LineTap(loop, listener, given, makeEnds(given), replacements) {}

LineTap::LineTap(EventLoop& loop, PanelListener& listener, Descriptors& given, Ends ends,
                 Descriptors& replacements)
    : m_linesIn([&listener](const std::string& text) { listener.onLineIn(text); },
                [&listener] { listener.onInputEnd(); }),
      m_linesOut([&listener](const std::string& text) { listener.onLineOut(text); }),
      m_in(loop, StreamEnd::shared(std::move(given.input), O_RDONLY),
           StreamEnd::ours(std::move(ends.ours.input)), m_linesIn),
      m_out(loop, StreamEnd::ours(std::move(ends.ours.output)),
            StreamEnd::shared(std::move(given.output), O_WRONLY), m_linesOut) {
    replacements = std::move(ends.daemons);
}

void LineTap::pump() {
    m_in.pump();
    m_out.pump();
}

// ---- LineTaps ----

Reply LineTaps::open(Request& request) {
    m_taps.remove_if([](const LineTap& tap) { return !tap.takesLines() && !tap.delivers(); });
    Reply reply;
    LineTap::Descriptors given{std::move(request.fds[0]), std::move(request.fds[1])};
    if (!given.valid()) {
        reply.result.error = EINVAL;
        return reply;
    }
    LineTap::Descriptors replacements;
    m_taps.emplace_back(m_loop, m_listener, std::move(given), replacements);
    if (!replacements.valid()) {
        m_taps.pop_back();
        reply.result.error = ENFILE;
        return reply;
    }
    reply.fd = std::move(replacements.input);
    reply.outputFd = std::move(replacements.output);
    return reply;
}

std::string LineTaps::sendLine(const std::string& line) {
    for (auto tap = m_taps.rbegin(); tap != m_taps.rend(); ++tap) {
        if (tap->takesLines()) {
            tap->inject(line);
            return {};
        }
    }
    return "no daemon reads its input";
}

void LineTaps::pump() {
    for (LineTap& tap : m_taps) {
        tap.pump();
    }
}

bool LineTaps::delivering() const {
    return std::any_of(m_taps.begin(), m_taps.end(), [](const LineTap& tap) { return tap.delivers(); });
}

}  // namespace sim
