// A recording of a whole session, as a view.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "sim/record/Recorder.h"
#include "sim/view/View.h"

namespace sim {

// Tells what went wrong while the session ran.
using Complaint = std::function<void(const std::string& what)>;

class RecordingView final : public View {
public:
    RecordingView(std::string file, RecordingSource source, Complaint complain)
        : m_file(std::move(file)), m_source(std::move(source)), m_complain(std::move(complain)) {}

    [[nodiscard]] std::string start(const ViewSeam& seam) override {
        m_recorder.emplace(seam.panel, seam.keeper, m_source);
        m_recorder->whenItEnds(m_complain);
        return m_recorder->start(m_file);
    }
    void stop() override {
        const std::string error = m_recorder->stop();
        if (!error.empty()) {
            m_complain(error);
        }
    }

private:
    const std::string m_file;
    const RecordingSource m_source;
    const Complaint m_complain;
    std::optional<Recorder> m_recorder;
};

}  // namespace sim
