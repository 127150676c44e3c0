#include "sim/web/WebServer.h"

#include <fcntl.h>
#include <sys/socket.h>

#include <algorithm>
#include <boost/asio/ip/address.hpp>
#include <boost/asio/post.hpp>
#include <cerrno>
#include <cstring>
#include <utility>

#include "sim/base/UniqueFd.h"
#include "sim/record/RecordButton.h"
#include "sim/web/HttpConnection.h"
#include "sim/web/PageConnection.h"

namespace sim {
namespace {

namespace asio = boost::asio;
using asio::ip::tcp;

constexpr int kWaiting = 128;                     // connections that are not accepted yet
constexpr std::chrono::milliseconds kPause{100};  // when descriptors have run out

// A socket that the programs that the simulator starts do not inherit; errno tells what is wrong.
UniqueFd listeningSocket(const tcp::endpoint& endpoint) {
    UniqueFd fd(::socket(endpoint.protocol().family(), SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const int on = 1;
    const bool listens = fd.valid() &&
                         ::setsockopt(fd.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) == 0 &&
                         ::bind(fd.get(), endpoint.data(), static_cast<socklen_t>(endpoint.size())) == 0 &&
                         ::listen(fd.get(), kWaiting) == 0;
    return listens ? std::move(fd) : UniqueFd();
}

}  // namespace

WebServer::WebServer(WebAddress address, const ViewSeam& seam, RecordButton* record)
    : m_address(std::move(address)),
      m_seam(seam),
      m_record(record),
      m_context(1),
      m_acceptor(m_context),
      m_pause(m_context),
      m_rest(m_context),
      m_goodbye(m_context) {}

WebServer::~WebServer() {
    stop();
}

std::string WebServer::listen() {
    const tcp::endpoint endpoint(asio::ip::make_address(m_address.address), m_address.port);
    UniqueFd fd = listeningSocket(endpoint);
    if (!fd.valid()) {
        return "cannot offer the page at " + m_address.url() + ": " + std::strerror(errno) +
               (errno == EADDRINUSE ? " (--web 0 takes a free port)" : "");
    }
    m_acceptor.assign(endpoint.protocol(), fd.release());
    m_address.port = m_acceptor.local_endpoint().port();
    return {};
}

void WebServer::start() {
    if (m_record != nullptr) {
        m_record->whenItEnds([this] { noteRecording(); });
    }
    accept();
    m_thread = std::thread([this] { m_context.run(); });
}

void WebServer::stop() {
    if (m_thread.joinable()) {
        asio::post(m_context, [this] { end(); });
        m_thread.join();
        m_pages.clear();  // those that did not close in time
    }
}

// ---- Connections ----

void WebServer::accept() {
    m_acceptor.async_wait(tcp::acceptor::wait_read, [this](const boost::system::error_code& error) {
        if (!error && m_acceptor.is_open()) {
            takeConnections();
        }
    });
}

// By hand, since an accepted socket, too, must not reach the programs that the simulator starts.
void WebServer::takeConnections() {
    const int fd = ::accept4(m_acceptor.native_handle(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (fd < 0 && (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM)) {
        m_pause.expires_after(kPause);
        m_pause.async_wait([this](const boost::system::error_code& error) {
            if (!error) {
                accept();
            }
        });
        return;
    }
    if (fd >= 0) {
        tcp::socket socket(m_context, m_acceptor.local_endpoint().protocol(), fd);
        if (m_connections < kMaxConnections) {
            boost::system::error_code ignored;
            socket.set_option(tcp::no_delay(true), ignored);
            std::make_shared<HttpConnection>(std::move(socket), *this, countConnection())->start();
        }
    }
    accept();
}

std::shared_ptr<void> WebServer::countConnection() {
    ++m_connections;
    return {nullptr, [this](void*) { --m_connections; }};
}

void WebServer::join(std::shared_ptr<PageConnection> page) {
    m_pages.insert(std::move(page));
    m_woken = false;
}

void WebServer::leave(const std::shared_ptr<PageConnection>& page) {
    m_pages.erase(page);
    if (m_ending && m_pages.empty()) {
        m_context.stop();
    }
}

// ---- What the pages are told ----

void WebServer::onFrame(unsigned number, const Picture& picture) {
    m_glass.put(number, picture, Glass::Clock::now());
    wake();
}

// Once until pages have looked, however much happens meanwhile.
void WebServer::wake() {
    if (!m_woken.exchange(true)) {
        asio::post(m_context, [this] { tellPages(); });
    }
}

void WebServer::tellPages() {
    m_woken = false;
    updateAll();
    const auto ready = [](const std::shared_ptr<PageConnection>& page) { return page->ready(); };
    m_woken = std::none_of(m_pages.begin(), m_pages.end(), ready);  // who is again takes what is newest then
    settle();
}

void WebServer::updateAll() {
    for (const auto& page : m_pages) {
        page->update();
    }
}

// Looks again when the display is at rest.
void WebServer::settle() {
    m_rest.expires_after(Glass::kRest);
    m_rest.async_wait([this](const boost::system::error_code& error) {
        if (!error) {
            updateAll();
        }
    });
}

PageFeed::Now WebServer::now(std::uint64_t afterLine) const {
    PageFeed::Now now;
    now.news = m_seam.snapshots.latest(afterLine);
    now.glass = m_glass.shown(now.news.state, Glass::Clock::now());
    now.recording = m_recording;
    now.ended = m_ending;
    return now;
}

// ---- What the pages order ----

void WebServer::carryOut(const PageMessage& message, std::function<void(const std::string&)> done) {
    m_seam.mailbox.post([this, message, done = std::move(done)] {
        std::string error;
        if (message.verb != PageMessage::Verb::Record) {
            error = message.carryOut(m_seam.controls);
        } else if (m_record != nullptr) {
            error = m_record->press(message.on);
            noteRecording();
        } else {
            error = "nothing can be recorded here";
        }
        asio::post(m_context, [error, done] { done(error); });
    });
}

// On the simulator's thread.
void WebServer::noteRecording() {
    asio::post(m_context, [this, file = m_record->file()] {
        m_recording = file;
        tellPages();
    });
}

// ---- The end ----

void WebServer::end() {
    m_ending = true;
    m_acceptor.close();
    m_pause.cancel();
    m_rest.cancel();
    if (m_pages.empty()) {
        m_context.stop();
        return;
    }
    for (const auto& page : m_pages) {
        page->end();
    }
    m_goodbye.expires_after(kGoodbye);
    m_goodbye.async_wait([this](const boost::system::error_code&) { m_context.stop(); });
}

}  // namespace sim
