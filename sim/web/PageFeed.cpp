#include "sim/web/PageFeed.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string_view>

#include "sim/base/Text.h"
#include "sim/view/Controls.h"

namespace sim {
namespace {

using Json = nlohmann::ordered_json;

std::string base64(const std::vector<std::uint8_t>& bytes) {
    constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    text.reserve(bytes.size() / 3 * 4);
    for (std::size_t i = 0; i + 2 < bytes.size(); i += 3) {
        const unsigned three = (unsigned{bytes[i]} << 16U) | (unsigned{bytes[i + 1]} << 8U) | bytes[i + 2];
        for (const unsigned shift : {18U, 12U, 6U, 0U}) {
            text += kDigits[(three >> shift) & 0x3FU];
        }
    }
    return text;
}

Json stateOf(const PageFeed::Now& now) {
    const PanelState& state = now.news.state;
    return {{"frame", now.glass.frame},
            {"on", state.displayOn},
            {"contrast", state.contrast},
            {"variant", state.variant},
            {"leds", state.leds},
            {"outputs", state.outputs},
            {"gain", state.gainCode},
            {"keys", state.keysHeld},
            {"detents", state.detents},
            {"plugged", state.plugged},
            {"running", state.running},
            {"exit", state.exitStatus ? Json(*state.exitStatus) : Json()},
            {"transfers", state.transfers},
            {"bytes", state.busBytes},
            {"linesIn", state.linesIn},
            {"linesOut", state.linesOut},
            {"errors", state.errors},
            {"recording", now.recording},
            {"ended", now.ended}};
}

// The newest that fit into one update.
Json linesOf(const std::vector<ShownLine>& lines) {
    Json json = Json::array();
    const std::size_t count = std::min(lines.size(), PageFeed::kLinesAtOnce);
    for (auto line = lines.end() - static_cast<std::ptrdiff_t>(count); line != lines.end(); ++line) {
        json.push_back(Json::array({line->number, line->out, line->error, line->ms, printable(line->text)}));
    }
    return json;
}

template <typename Names>
Json namesOf(const Names& names) {
    Json json = Json::array();
    for (const std::string_view name : names) {
        json.push_back(std::string(name));
    }
    return json;
}

}  // namespace

// 768 is a multiple of three: base64 needs no filling.
std::string packedPicture(const Picture& picture) {
    constexpr std::size_t kBits = 8;
    static_assert(Picture::kWidth % kBits == 0 && Picture::kWidth * Picture::kHeight / kBits % 3 == 0);
    std::vector<std::uint8_t> bytes(Picture::kWidth * Picture::kHeight / kBits);
    for (std::size_t i = 0; i < Picture::kWidth * Picture::kHeight; ++i) {
        if (picture.lit(i % Picture::kWidth, i / Picture::kWidth)) {
            bytes[i / kBits] = static_cast<std::uint8_t>(bytes[i / kBits] | (0x80U >> i % kBits));
        }
    }
    return base64(bytes);
}

std::string PageFeed::hello(bool canRecord) {
    Json outputs = Json::array();
    for (const GpioModel::Line& line : GpioModel::kPowerOn) {
        outputs.push_back({{"number", line.number}, {"name", std::string(line.name)}});
    }
    const Json hello = {{"keys", namesOf(InputModel::kKeyNames)},
                        {"encoders", namesOf(InputModel::kEncoderNames)},
                        {"leds", namesOf(LedModel::kNames)},
                        {"outputs", outputs},
                        {"devices", namesOf(kDevicePaths)},
                        {"firstBus", kDisplayCommandBus},
                        {"maxDetents", InputModel::kMaxDetents},
                        {"maxLineBytes", Controls::kMaxLineBytes},
                        {"canRecord", canRecord}};
    return Json({{"hello", hello}}).dump();
}

bool PageFeed::drawn(std::uint64_t update) {
    if (update > m_sent) {
        return false;
    }
    m_drawn = std::max(m_drawn, update);
    return true;
}

bool PageFeed::isNew(const Now& now) const {
    return now.news.version != m_version || now.glass.frame != m_frame || m_picture != now.glass.picture ||
           now.recording != m_recording || now.ended != m_ended || !m_results.empty();
}

std::optional<std::string> PageFeed::next(const Now& now) {
    if (!isNew(now)) {
        return std::nullopt;
    }
    Json json = {{"update", ++m_sent}};
    if (m_picture != now.glass.picture) {
        json["picture"] = packedPicture(now.glass.picture);
        m_picture = now.glass.picture;
    }
    json["state"] = stateOf(now);
    const std::vector<ShownLine>& lines = now.news.lines;
    const std::size_t left = lines.size() - std::min(lines.size(), kLinesAtOnce);
    if (now.news.missed + left > 0) {
        json["missed"] = now.news.missed + left;
    }
    if (!lines.empty()) {
        json["lines"] = linesOf(lines);
    }
    for (const Result& result : m_results) {
        json["results"].push_back(Json::array({result.id, result.error}));
    }
    m_version = now.news.version;
    m_frame = now.glass.frame;
    m_lastLine = lines.empty() ? m_lastLine : lines.back().number;
    m_recording = now.recording;
    m_ended = now.ended;
    m_results.clear();
    return json.dump(-1, ' ', true, Json::error_handler_t::replace);
}

}  // namespace sim
