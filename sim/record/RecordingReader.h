// Reads recordings record by record.
#pragma once

#include <cstddef>
#include <fstream>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "sim/record/Recording.h"

namespace sim {

// Takes one line at a time, so that the size of a recording does not matter. Every record that it gives is
// right by itself and in its place: the heading first, the end last, the time never going back, no frame
// without a picture.
class RecordingReader {
public:
    static constexpr std::size_t kMaxLine = 65536;  // bytes; a longer line is no record

    explicit RecordingReader(const std::string& file);

    // The next record; a frame always with its picture. Nothing: behind the last one, or error() tells what
    // is wrong.
    [[nodiscard]] std::optional<recorded::Record> next();
    // Of the record that next gave last, counted from 1.
    [[nodiscard]] int line() const { return m_line; }
    // E.g. "a.rec:7: unknown event \"jump\""; empty: all is well so far.
    [[nodiscard]] const std::string& error() const { return m_error; }

private:
    [[nodiscard]] bool readLine();
    [[nodiscard]] std::string misplaced(const recorded::Record& record) const;
    void keepPicture(recorded::Record& record);
    std::nullopt_t fail(const std::string& what);

    const std::string m_file;
    std::ifstream m_stream;
    std::vector<char> m_buffer;
    std::size_t m_size = 0;  // of the line in the buffer
    int m_line = 0;
    double m_ms = 0;
    bool m_ended = false;
    Picture m_picture;
    std::string m_error;
};

// What is known of a recording when it has been read to its end once.
struct RecordingSummary {
    std::string file;
    recorded::Heading heading;
    bool started = false;  // a program was started in it
    // Lines of keys and turns that were read together with a later one of their device.
    std::set<int> heldBack;
};

// Reads it all. What is wrong, or an empty text.
[[nodiscard]] std::string checkRecording(const std::string& file, RecordingSummary& summary);

}  // namespace sim
