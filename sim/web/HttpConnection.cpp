#include "sim/web/HttpConnection.h"

#include <boost/beast/http/error.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/write.hpp>
#include <boost/beast/websocket/rfc6455.hpp>
#include <utility>

#include "sim/base/Text.h"
#include "sim/program/Pictures.h"
#include "sim/web/PageConnection.h"
#include "sim/web/PageFiles.h"

namespace sim {
namespace {

namespace http = boost::beast::http;
using http::field;
using http::status;

constexpr char kPagePath[] = "/panel";
constexpr char kPicturePath[] = "/picture.png";
constexpr unsigned kPictureScale = 8;
constexpr int kMaxPictureScale = 32;

// Nothing from elsewhere, nothing written into the page's own text, no frame around it.
constexpr char kContentPolicy[] =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src 'self'; "
    "base-uri 'none'; form-action 'none'; frame-ancestors 'none'";

std::string_view view(boost::beast::string_view text) {
    return {text.data(), text.size()};
}

template <typename Response>
void addSafeguards(Response& response) {
    response.set(field::cache_control, "no-store");
    response.set("Content-Security-Policy", kContentPolicy);
    response.set("X-Content-Type-Options", "nosniff");
    response.set("X-Frame-Options", "DENY");
    response.set("Referrer-Policy", "no-referrer");
    response.set("Cross-Origin-Resource-Policy", "same-origin");
}

http::response<http::string_body> plain(status code, const std::string& text) {
    http::response<http::string_body> response(code, 11);
    response.set(field::content_type, "text/plain; charset=utf-8");
    response.body() = text + '\n';
    return response;
}

}  // namespace

HttpConnection::HttpConnection(boost::asio::ip::tcp::socket socket, WebServer& server,
                               std::shared_ptr<void> counted)
    : m_stream(std::move(socket)), m_server(server), m_counted(std::move(counted)) {}

void HttpConnection::read() {
    m_parser.emplace();
    m_parser->header_limit(kMaxHeaderBytes);
    m_parser->body_limit(0);
    m_stream.expires_after(kPatience);
    http::async_read(m_stream, m_buffer, *m_parser,
                     [self = shared_from_this()](Error error, std::size_t) { self->received(error); });
}

// What is no request at all is not answered.
void HttpConnection::received(Error error) {
    if (error == http::error::header_limit) {
        m_parser->get().keep_alive(false);
        send(plain(status::request_header_fields_too_large, "The request's header is too large."));
    } else if (error == http::error::body_limit || error == http::error::unexpected_body) {
        m_parser->get().keep_alive(false);
        send(plain(status::payload_too_large, "The request has a body."));
    } else if (!error) {
        answer();
    }
}

void HttpConnection::answer() {
    const auto& request = m_parser->get();
    const std::string_view host = view(request[field::host]);
    if (request.count(field::host) != 1 || !hostIsOurs(host, m_server.address())) {
        send(plain(status::forbidden, "This Host is not served here."));
    } else if (!originIsOurs(view(request[field::origin]), host)) {
        send(plain(status::forbidden, "Another site's page may not do this."));
    } else if (boost::beast::websocket::is_upgrade(request)) {
        openPage();
    } else if (request.method() != http::verb::get && request.method() != http::verb::head) {
        Response response = plain(status::method_not_allowed, "Only GET and HEAD are served.");
        response.set(field::allow, "GET, HEAD");
        send(std::move(response));
    } else {
        send(responseTo(view(request.target())));
    }
}

void HttpConnection::openPage() {
    if (view(m_parser->get().target()) != kPagePath) {
        send(plain(status::not_found, "There is no such page."));
    } else if (!m_server.takesPages()) {
        send(plain(status::service_unavailable, "Too many pages are open."));
    } else {
        std::make_shared<PageConnection>(std::move(m_stream), m_server, std::move(m_counted))
            ->start(m_parser->get());
    }
}

HttpConnection::Response HttpConnection::responseTo(std::string_view target) const {
    const std::size_t mark = target.find('?');
    const std::string_view path = target.substr(0, mark);
    if (path == kPicturePath) {
        return picture(mark == std::string_view::npos ? "" : target.substr(mark + 1));
    }
    const PageFile* file = findPageFile(path);
    if (file == nullptr) {
        return plain(status::not_found, "There is no such page.");
    }
    Response response(status::ok, 11);
    response.set(field::content_type, boost::beast::string_view(file->type.data(), file->type.size()));
    response.body() = file->bytes;
    return response;
}

HttpConnection::Response HttpConnection::picture(std::string_view query) const {
    constexpr std::string_view kScale = "scale=";
    const auto scale = query.substr(0, kScale.size()) == kScale
                           ? parseInt(query.substr(kScale.size()), 1, kMaxPictureScale)
                           : std::optional<int>();
    if (!query.empty() && !scale) {
        return plain(status::bad_request, "The scale is a number from 1 to 32.");
    }
    const Glass::Shown shown = m_server.now(0).glass;
    Response response(status::ok, 11);
    response.set(field::content_type, "image/png");
    response.set(field::content_disposition,
                 "attachment; filename=\"panel-" + std::to_string(shown.frame) + ".png\"");
    response.body() = pngOf(shown.picture, scale ? static_cast<unsigned>(*scale) : kPictureScale);
    return response;
}

void HttpConnection::send(Response response) {
    const auto& request = m_parser->get();
    m_response = std::move(response);
    addSafeguards(m_response);
    m_response.keep_alive(request.keep_alive());
    m_response.prepare_payload();
    if (request.method() == http::verb::head) {
        m_response.body().clear();  // the length stays
    }
    m_stream.expires_after(kPatience);
    http::async_write(m_stream, m_response, [self = shared_from_this()](Error error, std::size_t) {
        self->sent(error, self->m_response.need_eof());
    });
}

void HttpConnection::sent(Error error, bool last) {
    if (error) {
        return;
    }
    if (last) {
        m_stream.socket().shutdown(boost::asio::ip::tcp::socket::shutdown_send, error);
        return;
    }
    read();
}

}  // namespace sim
