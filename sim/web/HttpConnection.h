// One connection of a browser that asks for files, or for a WebSocket.
#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "sim/web/WebServer.h"

namespace sim {

// Everything on the server's thread. Answers GET and HEAD for the page's files and for
// "/picture.png?scale=N", and turns "/panel" into a PageConnection. Each request has to be whole kPatience
// after the one before was answered. The connection keeps itself alive until it is closed.
class HttpConnection : public std::enable_shared_from_this<HttpConnection> {
public:
    static constexpr unsigned kMaxHeaderBytes = 8192;
    static constexpr std::chrono::seconds kPatience{5};

    // The server is not owned; counted is held as long as the connection lives.
    HttpConnection(boost::asio::ip::tcp::socket socket, WebServer& server, std::shared_ptr<void> counted);
    void start() { read(); }

private:
    using Error = boost::system::error_code;
    using Parser = boost::beast::http::request_parser<boost::beast::http::empty_body>;
    using Response = boost::beast::http::response<boost::beast::http::string_body>;

    void read();
    void received(Error error);
    void answer();
    void openPage();
    [[nodiscard]] Response responseTo(std::string_view target) const;
    [[nodiscard]] Response picture(std::string_view query) const;
    void send(Response response);
    void sent(Error error, bool last);

    boost::beast::tcp_stream m_stream;
    WebServer& m_server;
    std::shared_ptr<void> m_counted;
    boost::beast::flat_buffer m_buffer;
    std::optional<Parser> m_parser;  // of the request that is read or answered
    Response m_response;
};

}  // namespace sim
