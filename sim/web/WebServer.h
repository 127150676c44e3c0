// The server of the page: a thread of its own between the browsers and the simulator.
#pragma once

#include <atomic>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <thread>

#include "sim/view/View.h"
#include "sim/web/Glass.h"
#include "sim/web/PageFeed.h"
#include "sim/web/PageMessage.h"
#include "sim/web/WebAddress.h"

namespace sim {

class PageConnection;
class RecordButton;

// Everything but the constructor, listen, start, stop, onFrame and wake is for its own thread.
class WebServer {
public:
    static constexpr std::size_t kMaxPages = 8;         // that are open at a time
    static constexpr std::size_t kMaxConnections = 64;  // pages and requests for files together
    // So long pages that have been told the end may take to close.
    static constexpr std::chrono::milliseconds kGoodbye{1000};

    // record: null when nothing can be recorded. It is not owned, as what the seam names is not.
    WebServer(WebAddress address, const ViewSeam& seam, RecordButton* record);
    ~WebServer();
    WebServer(const WebServer&) = delete;
    WebServer& operator=(const WebServer&) = delete;

    // ---- On the simulator's thread ----

    // An error text, or an empty one: address() has its port then.
    [[nodiscard]] std::string listen();
    void start();
    // Tells the pages, at most kGoodbye long, and ends the thread.
    void stop();
    void onFrame(unsigned number, const Picture& picture);
    // Something has been published.
    void wake();

    [[nodiscard]] const WebAddress& address() const { return m_address; }

    // ---- For its connections ----

    // Counts a connection as long as the result lives.
    [[nodiscard]] std::shared_ptr<void> countConnection();
    [[nodiscard]] bool takesPages() const { return !m_ending && m_pages.size() < kMaxPages; }
    // Keeps the page until it leaves.
    void join(std::shared_ptr<PageConnection> page);
    void leave(const std::shared_ptr<PageConnection>& page);
    // A page takes updates again.
    void pageIsReady() { m_woken = false; }

    [[nodiscard]] bool canRecord() const { return m_record != nullptr; }
    [[nodiscard]] PageFeed::Now now(std::uint64_t afterLine) const;
    // Carries the message out on the simulator's thread and hands its error text, or an empty one, back.
    void carryOut(const PageMessage& message, std::function<void(const std::string& error)> done);

private:
    void accept();
    void takeConnections();
    void tellPages();
    void updateAll();
    void settle();
    void end();
    void noteRecording();

    WebAddress m_address;
    const ViewSeam m_seam;
    RecordButton* const m_record;
    Glass m_glass;
    std::atomic<bool> m_woken{false};  // pages are about to look, or none takes more

    std::size_t m_connections = 0;
    std::set<std::shared_ptr<PageConnection>> m_pages;
    std::string m_recording;  // its file
    bool m_ending = false;

    boost::asio::io_context m_context;  // destroys the connections that are left
    boost::asio::ip::tcp::acceptor m_acceptor;
    boost::asio::steady_timer m_pause;  // until descriptors may be there again
    boost::asio::steady_timer m_rest;   // runs out when the display is at rest
    boost::asio::steady_timer m_goodbye;
    std::thread m_thread;
};

}  // namespace sim
