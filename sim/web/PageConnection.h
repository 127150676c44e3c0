// One page that is open in a browser.
#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <memory>
#include <set>
#include <string>

#include "sim/web/PageFeed.h"
#include "sim/web/RateLimit.h"
#include "sim/web/WebServer.h"

namespace sim {

// Everything on the server's thread. The server keeps the connection until it is closed.
//
// One update is written at a time, and put together when it is: nothing queues up for a slow page. One
// message is read at a time, and the next when it has been carried out: a page that sends without end waits.
class PageConnection : public std::enable_shared_from_this<PageConnection> {
public:
    static constexpr std::size_t kMaxMessageBytes = 16384;
    static constexpr double kMessagesAtOnce = 600;
    static constexpr double kMessagesASecond = 300;

    using Request = boost::beast::http::request<boost::beast::http::empty_body>;

    // The server is not owned; counted is held as long as the connection lives.
    PageConnection(boost::beast::tcp_stream stream, WebServer& server, std::shared_ptr<void> counted);

    // request: the one that asked for the WebSocket.
    void start(const Request& request);
    // Sends what is new if the page is ready for it.
    void update();
    // The page takes another update.
    [[nodiscard]] bool ready() const { return m_feed.ready() && !m_closed; }
    // Sends the last update and closes.
    void end();

private:
    using Error = boost::system::error_code;

    void opened(Error error);
    void read();
    void received(Error error);
    void take(const PageMessage& message);
    void answered(std::uint64_t id, const std::string& error);
    void write(std::string text);
    void written(Error error);
    void close(boost::beast::websocket::close_code code, const char* why);
    void gone();
    void releaseKeys();

    boost::beast::websocket::stream<boost::beast::tcp_stream> m_socket;
    WebServer& m_server;
    const std::shared_ptr<void> m_counted;
    boost::beast::flat_buffer m_incoming;
    std::string m_outgoing;
    PageFeed m_feed;
    RateLimit m_limit{kMessagesAtOnce, kMessagesASecond};
    std::set<std::string> m_held;  // keys that the page holds
    bool m_writing = false;
    bool m_reading = false;
    bool m_busy = false;  // what it has sent is carried out
    bool m_ending = false;
    bool m_closed = false;
};

}  // namespace sim
