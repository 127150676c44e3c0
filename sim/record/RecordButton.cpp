#include "sim/record/RecordButton.h"

#include <cstdio>

namespace sim {

void RecordButton::start(const ViewSeam& seam) {
    m_recorder.emplace(seam.panel, seam.keeper, m_source);
    m_recorder->whenItEnds([this](const std::string& why) {
        std::fprintf(stderr, "beltpack_sim: %s\n", why.c_str());
        if (m_ended) {
            m_ended();
        }
    });
}

std::string RecordButton::press(bool on) {
    if (on == m_recorder->recording()) {
        return {};
    }
    if (!on) {
        return m_recorder->stop();
    }
    m_file = freshFile();
    return m_recorder->start(m_file, kMaxBytes);
}

std::string RecordButton::file() const {
    return m_recorder && m_recorder->recording() ? m_file.string() : std::string();
}

std::filesystem::path RecordButton::freshFile() const {
    for (unsigned number = 1;; ++number) {
        auto file = m_folder / ("beltpack-" + std::to_string(number) + ".rec");
        std::error_code error;
        if (!std::filesystem::exists(std::filesystem::symlink_status(file, error))) {
            return file;
        }
    }
}

}  // namespace sim
