#include "sim/record/PictureViews.h"

#include <array>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include "sim/program/Pictures.h"

namespace sim {

// ---- GifView ----

std::string GifView::start(const ViewSeam& seam) {
    m_panel = &seam.panel;
    seam.panel.listen(*this);
    return m_writer.open(m_file, m_scale);
}

void GifView::onFrame(unsigned, const Picture& picture) {
    show(picture);
}

void GifView::onDisplayOn(bool) {
    show(m_panel->oled.picture());
}

void GifView::show(const Picture& picture) {
    m_writer.show(picture, m_clock());
    if (!m_told && !m_writer.error().empty()) {
        m_told = true;
        m_complain(m_writer.error());
    }
}

void GifView::stop() {
    const std::string error = m_writer.close(m_clock());
    if (!m_told && !error.empty()) {
        m_complain(error);
    }
}

// ---- FrameFolder ----

std::string FrameFolder::start(const ViewSeam& seam) {
    std::error_code error;
    std::filesystem::create_directories(m_folder, error);
    if (error) {
        return "cannot make " + m_folder + ": " + error.message();
    }
    if (!m_index.open(std::filesystem::path(m_folder) / "index.tsv") || !m_index.write("frame\tms\tfile\n")) {
        return m_index.error();
    }
    seam.panel.listen(*this);
    return {};
}

void FrameFolder::onFrame(unsigned number, const Picture& picture) {
    if (!m_index.isOpen()) {
        return;
    }
    const double now = m_clock();  // before the picture is written, which takes its time
    if (m_picture != picture) {
        std::array<char, 32> name{};
        std::snprintf(name.data(), name.size(), "frame-%06u.png", number);
        m_name = name.data();
        m_picture = picture;
        const std::string file = std::filesystem::path(m_folder) / m_name;
        if (!savePicture(file, picture, m_scale)) {
            fail("cannot write " + file);
            return;
        }
    }
    std::array<char, 64> line{};
    std::snprintf(line.data(), line.size(), "%u\t%.3f\t", number, now);
    if (!m_index.write(line.data() + m_name + '\n')) {
        fail(m_index.error());
    }
}

// The session goes on without further pictures.
void FrameFolder::fail(const std::string& what) {
    (void)m_index.close();
    m_complain(what);
}

void FrameFolder::stop() {
    if (m_index.isOpen() && !m_index.close()) {
        m_complain(m_index.error());
    }
}

}  // namespace sim
