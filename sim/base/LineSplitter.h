// Cuts a stream of bytes into lines.
#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

namespace sim {

class LineSplitter {
public:
    static constexpr std::size_t kMaxText = 4096;  // bytes of a line that are told, the rest of it is not
    // A whole line without its line feed.
    using Tell = std::function<void(const std::string& text)>;

    // tellEnd: called at the stream's end, behind its last line.
    explicit LineSplitter(Tell tell, std::function<void()> tellEnd = {})
        : m_tell(std::move(tell)), m_tellEnd(std::move(tellEnd)) {}

    // Bytes as they come, cut anywhere.
    void append(std::string_view bytes) {
        for (auto end = bytes.find('\n'); end != std::string_view::npos; end = bytes.find('\n')) {
            take(bytes.substr(0, end));
            m_tell(m_text);
            m_text.clear();
            bytes.remove_prefix(end + 1);
        }
        take(bytes);
    }
    // The stream has ended: what stands behind the last line feed is told too.
    void end() {
        if (!m_text.empty()) {
            m_tell(std::exchange(m_text, {}));
        }
        if (m_tellEnd) {
            m_tellEnd();
        }
    }

    // What has begun is forgotten.
    void clear() { m_text.clear(); }

private:
    void take(std::string_view part) { m_text += part.substr(0, kMaxText - m_text.size()); }

    const Tell m_tell;
    const std::function<void()> m_tellEnd;
    std::string m_text;
};

}  // namespace sim
