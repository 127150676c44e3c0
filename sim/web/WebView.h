// The panel as a page in a browser.
#pragma once

#include <memory>

#include "sim/record/RecordButton.h"
#include "sim/view/View.h"
#include "sim/web/WebAddress.h"

namespace sim {

class WebServer;

// Any number of pages show the same panel; none of them holds up the program. Tells on standard error where
// the page is.
class WebView final : public View, private PanelListener {
public:
    // record: for the page's button; without one it has none.
    explicit WebView(WebAddress address, std::unique_ptr<RecordButton> record = nullptr);
    ~WebView() override;

    [[nodiscard]] std::string start(const ViewSeam& seam) override;
    void stop() override;

private:
    void onFrame(unsigned number, const Picture& picture) override;

    const WebAddress m_address;
    const std::unique_ptr<RecordButton> m_record;
    std::unique_ptr<WebServer> m_server;
};

}  // namespace sim
