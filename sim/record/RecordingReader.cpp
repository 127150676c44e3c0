#include "sim/record/RecordingReader.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <utility>

namespace sim {
namespace {

using namespace recorded;

std::optional<std::pair<InputDevice, bool>> deviceEvent(const Content& content) {
    if (const auto* key = std::get_if<Key>(&content)) {
        return std::pair(InputDevice::Keys, key->joined);
    }
    if (const auto* turn = std::get_if<Turn>(&content)) {
        return std::pair(turn->encoder, turn->joined);
    }
    return std::nullopt;
}

}  // namespace

RecordingReader::RecordingReader(const std::string& file)
    : m_file(file), m_stream(file, std::ios::binary), m_buffer(kMaxLine + 1) {
    if (!m_stream) {
        m_error = "cannot read " + file + ": " + std::strerror(errno);
    }
}

std::nullopt_t RecordingReader::fail(const std::string& what) {
    m_error = m_file + ':' + std::to_string(m_line) + ": " + what;
    return std::nullopt;
}

// False: there is none, or it is too long.
bool RecordingReader::readLine() {
    ++m_line;
    m_stream.getline(m_buffer.data(), static_cast<std::streamsize>(m_buffer.size()));
    m_size = static_cast<std::size_t>(m_stream.gcount());
    return m_stream.good();  // at the end of the file the line feed is missing
}

std::optional<Record> RecordingReader::next() {
    if (!m_error.empty()) {
        return std::nullopt;
    }
    if (!readLine()) {
        if (m_stream.eof() && m_size == 0 && m_ended) {
            return std::nullopt;
        }
        return fail(m_stream.eof() ? "the recording is cut off: its last record must be an \"end\""
                                   : "a line of more than " + std::to_string(kMaxLine) + " bytes");
    }
    std::string wrong;
    auto record = decode(std::string_view(m_buffer.data(), m_size - 1), wrong);  // without its line feed
    if (!record) {
        return fail(wrong);
    }
    wrong = misplaced(*record);
    if (!wrong.empty()) {
        return fail(wrong);
    }
    m_ms = record->ms;
    m_ended = std::holds_alternative<End>(record->content);
    keepPicture(*record);
    return record;
}

std::string RecordingReader::misplaced(const Record& record) const {
    const bool heading = std::holds_alternative<Heading>(record.content);
    if (heading != (m_line == 1)) {
        return heading ? "a second \"recording\" record" : "the first record must be a \"recording\"";
    }
    if (m_ended) {
        return "a record behind the \"end\"";
    }
    return record.ms < m_ms ? "the time goes back" : "";
}

void RecordingReader::keepPicture(Record& record) {
    if (const auto* heading = std::get_if<Heading>(&record.content)) {
        m_picture = heading->state.picture;
    }
    if (auto* frame = std::get_if<Frame>(&record.content)) {
        m_picture = frame->picture.value_or(m_picture);
        frame->picture = m_picture;
    }
}

std::string checkRecording(const std::string& file, RecordingSummary& summary) {
    RecordingReader reader(file);
    std::array<int, kInputDeviceCount> last{};  // line of each device's last event
    summary.file = file;
    while (const auto record = reader.next()) {
        if (const auto* heading = std::get_if<Heading>(&record->content)) {
            summary.heading = *heading;
        }
        summary.started = summary.started || std::holds_alternative<Start>(record->content);
        if (const auto event = deviceEvent(record->content)) {
            int& before = last[static_cast<std::size_t>(event->first)];
            if (event->second && before != 0) {
                summary.heldBack.insert(before);
            }
            before = reader.line();
        }
    }
    return reader.error();
}

}  // namespace sim
