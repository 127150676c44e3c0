// The lines as they pass, on standard error.
#pragma once

#include <string>

#include "sim/view/View.h"

namespace sim {

// "< g:flush 0" for a line into the daemon, "> OnFpKey(...)" for one out of it; what cannot be shown is
// written as in the log.
class LinePrinter final : public View, private PanelListener {
public:
    [[nodiscard]] std::string start(const ViewSeam& seam) override {
        seam.panel.listen(*this);
        return {};
    }
    void stop() override {}

private:
    void onLineIn(const std::string& text) override;
    void onLineOut(const std::string& text) override;
};

}  // namespace sim
