// Panel pictures as an animated GIF.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "sim/panel/Picture.h"
#include "sim/record/OutputFile.h"

struct GifFileType;

namespace sim {

// Writes each picture as soon as it is known how long it is shown; one is kept in memory. Times are rounded
// to GIF's unit of 10 ms, each by itself, so that the errors do not add up.
class GifWriter {
public:
    // Viewers take less for a mistake and show such a picture for 100 ms. What is shown for a shorter time
    // is left out.
    static constexpr std::int64_t kShortestUnits = 2;
    static constexpr std::int64_t kLastUnits =
        100;  // the last picture's time at least, before the first comes again

    GifWriter() = default;
    ~GifWriter();
    GifWriter(const GifWriter&) = delete;
    GifWriter& operator=(const GifWriter&) = delete;

    // Every panel pixel becomes a square of scale x scale pixels. An error text, or an empty one.
    [[nodiscard]] std::string open(const std::string& file, unsigned scale);

    // From this moment on the glass shows this picture; the first call is the beginning of the animation.
    // Equal pictures one after the other are one. ms never goes back.
    void show(const Picture& picture, double ms);

    // The moment at which the last picture's time ends. An error text when the file is not whole, or an empty
    // one. Without any picture the file stays without one, which viewers refuse.
    [[nodiscard]] std::string close(double ms);

    // Of what was written so far; empty: all is well.
    [[nodiscard]] const std::string& error() const { return m_error; }

private:
    struct Area {  // in panel pixels; right and bottom are outside
        std::size_t left, top, right, bottom;
    };
    struct Shown {
        Picture picture;
        std::int64_t since = 0;  // units
    };

    void put(const Picture& picture, std::int64_t units);
    [[nodiscard]] bool putHeader();
    [[nodiscard]] bool putImage(const Picture& picture, std::int64_t units);
    [[nodiscard]] bool putDelay(std::int64_t units);
    [[nodiscard]] bool putRows(const Picture& picture, const Area& area);
    [[nodiscard]] Area changed(const Picture& picture) const;
    void fail();

    OutputFile m_file;
    GifFileType* m_gif = nullptr;  // the library's, on m_file
    std::size_t m_scale = 1;
    std::optional<Picture> m_written;  // what the images so far show
    std::optional<Shown> m_waiting;    // not written yet
    std::string m_error;
};

}  // namespace sim
