#include "sim/web/PageConnection.h"

#include <boost/asio/buffer.hpp>
#include <boost/beast/core/buffers_to_string.hpp>
#include <boost/beast/websocket/rfc6455.hpp>
#include <chrono>
#include <utility>

namespace sim {
namespace {

namespace websocket = boost::beast::websocket;

constexpr std::chrono::seconds kHandshake{5};  // to open, and to close
constexpr std::chrono::seconds kSilence{30};   // without an answer to a ping, which is sent half-way
constexpr char kSwitch[] = "Hp_Detect";        // stays as it is when the page is gone

}  // namespace

PageConnection::PageConnection(boost::beast::tcp_stream stream, WebServer& server,
                               std::shared_ptr<void> counted)
    : m_socket(std::move(stream)), m_server(server), m_counted(std::move(counted)) {}

void PageConnection::start(const Request& request) {
    m_socket.next_layer().expires_never();  // the WebSocket has time-outs of its own
    m_socket.set_option(websocket::stream_base::timeout{kHandshake, kSilence, true});
    m_socket.read_message_max(kMaxMessageBytes);
    m_server.join(shared_from_this());
    m_socket.async_accept(request, [self = shared_from_this()](Error error) { self->opened(error); });
}

void PageConnection::opened(Error error) {
    if (error) {
        gone();
        return;
    }
    read();
    write(PageFeed::hello(m_server.canRecord()));
}

// ---- What the page sends ----

void PageConnection::read() {
    if (m_reading || m_busy || m_closed) {
        return;
    }
    m_reading = true;
    m_socket.async_read(m_incoming,
                        [self = shared_from_this()](Error error, std::size_t) { self->received(error); });
}

// Beast has closed a connection with too large a message by itself.
void PageConnection::received(Error error) {
    if (error) {
        gone();
        return;
    }
    const std::string text = boost::beast::buffers_to_string(m_incoming.data());
    m_incoming.consume(m_incoming.size());
    m_reading = false;
    if (!m_limit.take(RateLimit::Clock::now())) {
        close(websocket::close_code::policy_error, "too many messages");
    } else if (const auto message = PageMessage::parse(text)) {
        take(*message);
    } else {
        close(websocket::close_code::policy_error, "not understood");
    }
}

void PageConnection::take(const PageMessage& message) {
    if (message.verb == PageMessage::Verb::Drawn) {
        if (!m_feed.drawn(message.update)) {
            close(websocket::close_code::policy_error, "no such update");
            return;
        }
        m_server.pageIsReady();
        update();
        read();
        return;
    }
    if (message.verb == PageMessage::Verb::Press && message.text != kSwitch &&
        InputModel::keyCode(message.text)) {
        m_held.insert(message.text);
    } else if (message.verb == PageMessage::Verb::Release) {
        m_held.erase(message.text);
    }
    m_busy = true;
    m_server.carryOut(message, [weak = weak_from_this(), id = message.id](const std::string& error) {
        if (const auto self = weak.lock()) {
            self->answered(id, error);
        }
    });
}

void PageConnection::answered(std::uint64_t id, const std::string& error) {
    m_busy = false;
    m_feed.addResult(id, error);
    if (m_feed.waitingResults() > PageFeed::kMaxResults) {
        close(websocket::close_code::policy_error, "too many orders without drawing");
        return;
    }
    update();
    read();
}

// ---- What it is sent ----

void PageConnection::update() {
    if (m_writing || m_closed || !(m_feed.ready() || m_ending)) {
        return;
    }
    PageFeed::Now now = m_server.now(m_feed.lastLine());
    if (auto text = m_feed.next(now)) {
        write(std::move(*text));
    } else if (m_ending) {
        close(websocket::close_code::going_away, "the simulator ends");
    }
}

void PageConnection::write(std::string text) {
    m_writing = true;
    m_outgoing = std::move(text);
    m_socket.text(true);
    m_socket.async_write(boost::asio::buffer(m_outgoing),
                         [self = shared_from_this()](Error error, std::size_t) { self->written(error); });
}

void PageConnection::written(Error error) {
    m_writing = false;
    if (error) {
        gone();
        return;
    }
    update();
}

// ---- The end ----

void PageConnection::end() {
    m_ending = true;
    update();
}

void PageConnection::close(websocket::close_code code, const char* why) {
    if (std::exchange(m_closed, true)) {
        return;
    }
    m_socket.async_close({code, why}, [self = shared_from_this()](Error) { self->gone(); });
}

void PageConnection::gone() {
    m_closed = true;
    releaseKeys();
    m_server.leave(shared_from_this());
}

void PageConnection::releaseKeys() {
    PageMessage release;
    release.verb = PageMessage::Verb::Release;
    for (const std::string& key : std::exchange(m_held, {})) {
        release.text = key;
        m_server.carryOut(release, [](const std::string&) {});
    }
}

}  // namespace sim
