#include "sim/web/WebView.h"

#include <iostream>
#include <utility>

#include "sim/web/WebServer.h"

namespace sim {

WebView::WebView(WebAddress address, std::unique_ptr<RecordButton> record)
    : m_address(std::move(address)), m_record(std::move(record)) {}

WebView::~WebView() = default;

std::string WebView::start(const ViewSeam& seam) {
    m_server = std::make_unique<WebServer>(m_address, seam, m_record.get());
    std::string error = m_server->listen();
    if (!error.empty()) {
        return error;
    }
    if (m_record) {
        m_record->start(seam);
    }
    seam.panel.listen(*this);
    seam.snapshots.onNews([this] { m_server->wake(); });
    m_server->start();
    std::cerr << "beltpack_sim: the panel is at " + m_server->address().url() + '\n';
    return {};
}

void WebView::stop() {
    m_server->stop();
    if (const std::string error = m_record ? m_record->press(false) : std::string(); !error.empty()) {
        std::cerr << "beltpack_sim: " + error + '\n';
    }
}

void WebView::onFrame(unsigned number, const Picture& picture) {
    m_server->onFrame(number, picture);
}

}  // namespace sim
