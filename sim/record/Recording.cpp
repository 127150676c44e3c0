#include "sim/record/Recording.h"

#include <linux/input-event-codes.h>

#include <array>
#include <nlohmann/json.hpp>

#include "sim/record/PictureText.h"
#include "sim/script/ScriptParser.h"

namespace sim::recorded {
namespace {

using Json = nlohmann::ordered_json;

constexpr unsigned kMaxFrame = 0x7FFFFFFF;
constexpr int kMaxGain = 31;
constexpr int kMaxStatus = 255;
constexpr double kMaxMs = 1e12;  // thirty years
constexpr std::array<const char*, 3> kBootKinds = {"value", "unset", "missing"};

// ---- Bytes as text ----

// A JSON text has characters, not bytes: byte n is the character of that number.
constexpr unsigned char kFirstNoAscii = 0x80;

std::string charactersOf(std::string_view bytes) {
    std::string text;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < kFirstNoAscii) {
            text += c;
        } else {
            text += static_cast<char>(0xC0U | byte >> 6U);
            text += static_cast<char>(0x80U | (byte & 0x3FU));
        }
    }
    return text;
}

// text: UTF-8. Nothing: a character is beyond 255.
std::optional<std::string> bytesOf(std::string_view text) {
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto first = static_cast<unsigned char>(text[i]);
        if (first < kFirstNoAscii) {
            bytes += text[i];
            continue;
        }
        if ((first & 0xFCU) != 0xC0U || ++i == text.size()) {
            return std::nullopt;
        }
        bytes += static_cast<char>((first & 0x03U) << 6U | (static_cast<unsigned char>(text[i]) & 0x3FU));
    }
    return bytes;
}

// ---- Writing: all members but ms ----

Json stateObject(const PanelState& state) {
    return {
        {"running", state.running},   {"frame", state.frame},       {"picture", pictureText(state.picture)},
        {"display", state.displayOn}, {"contrast", state.contrast}, {"gain", state.gainCode},
        {"leds", state.leds},         {"outputs", state.outputs},   {"held", state.keysHeld},
        {"plugged", state.plugged}};
}

Json object(const Heading& heading) {
    return {{"event", "recording"},
            {"version", Heading::kVersion},
            {"simulator", heading.simulator},
            {"daemon", charactersOf(heading.daemon)},
            {"variant", heading.state.variant},
            {"whole", heading.whole},
            {"state", stateObject(heading.state)}};
}
Json object(const End& end) {
    return {{"event", "end"}, {"limit", end.limit}};
}

Json object(const Start& start) {
    Json json = {{"event", "start"}, {"command", charactersOf(start.command)}};
    if (start.arguments) {
        json["arguments"] = Json::array();
        for (const std::string& argument : *start.arguments) {
            json["arguments"].push_back(charactersOf(argument));
        }
    }
    json["disptype"] = {{"answer", kBootKinds[static_cast<std::size_t>(start.boot.kind)]},
                        {"value", charactersOf(start.boot.value)},
                        {"status", start.boot.status}};
    return json;
}
Json object(const LineIn& line) {
    return {{"event", "line-in"}, {"text", charactersOf(line.text)}};
}
Json object(const InputEnd&) {
    return {{"event", "input-end"}};
}
Json object(const Key& key) {
    Json json = {{"event", "key"}, {"key", InputModel::kKeyNames.at(key.code - InputModel::kFirstKeyCode)}};
    json["value"] = key.value;
    json["joined"] = key.joined;
    return json;
}
Json object(const Turn& turn) {
    return {{"event", "turn"},
            {"encoder", InputModel::kEncoderNames.at(static_cast<std::size_t>(turn.encoder))},
            {"detents", turn.detents},
            {"reports", turn.reports},
            {"joined", turn.joined}};
}
Json object(const Plug& plug) {
    return {{"event", "plug"}, {"path", charactersOf(plug.path)}, {"plugged", plug.plugged}};
}
Json object(const FaultOrder& fault) {
    return {{"event", "fault"}, {"fault", charactersOf(fault.words)}};
}

Json object(const LineOut& line) {
    return {{"event", "line-out"}, {"text", charactersOf(line.text)}};
}
Json object(const Frame& frame) {
    Json json = {{"event", "frame"}, {"frame", frame.number}};
    if (frame.picture) {
        json["picture"] = pictureText(*frame.picture);
    }
    return json;
}
Json object(const Display& display) {
    return {{"event", "display"}, {"on", display.on}};
}
Json object(const Contrast& contrast) {
    return {{"event", "contrast"}, {"level", contrast.level}};
}
Json object(const Led& led) {
    return {{"event", "led"}, {"led", LedModel::kNames.at(led.index)}, {"level", led.level}};
}
Json object(const Output& output) {
    return {{"event", "output"}, {"output", output.number}, {"level", output.level}};
}
Json object(const Gain& gain) {
    return {{"event", "gain"}, {"code", gain.code}};
}
Json object(const ProtocolError& error) {
    return {{"event", "protocol-error"}, {"what", charactersOf(error.what)}};
}
Json object(const Exit& exit) {
    return {{"event", "exit"}, {"status", exit.status}};
}

// ---- Reading ----

// The members of one object. The first that is missing or wrong is remembered; what is returned then is of no
// use.
class Members {
public:
    Members(const Json& object, std::string& error) : m_object(object), m_error(error) {}

    std::string text(const char* name) {
        const Json* member = find(name);
        const auto bytes = member != nullptr && member->is_string()
                               ? bytesOf(member->get_ref<const std::string&>())
                               : std::nullopt;
        require(bytes.has_value(), name);
        return bytes.value_or("");
    }
    bool flag(const char* name) {
        const Json* member = find(name);
        const bool good = member != nullptr && member->is_boolean();
        require(good, name);
        return good && member->get<bool>();
    }
    int number(const char* name, int minimum, int maximum) {
        return static_cast<int>(element(find(name), name, minimum, maximum));
    }
    double milliseconds(const char* name) {
        const Json* member = find(name);
        const double value = member != nullptr && member->is_number() ? member->get<double>() : -1;
        require(value >= 0 && value <= kMaxMs, name);
        return value;
    }
    Picture picture(const char* name) {
        const auto picture = pictureFromText(text(name));
        require(picture.has_value(), name);
        return picture.value_or(Picture());
    }
    // The index of the member's text in the list.
    template <typename Name, std::size_t Size>
    std::size_t oneOf(const char* name, const std::array<Name, Size>& names) {
        const std::string value = text(name);
        for (std::size_t index = 0; index < Size; ++index) {
            if (names[index] == value) {
                return index;
            }
        }
        require(false, name);
        return 0;
    }
    // As many elements as the array has.
    template <typename Value, std::size_t Size>
    std::array<Value, Size> numbers(const char* name, int maximum) {
        std::array<Value, Size> values{};
        const Json* member = find(name);
        const bool good = member != nullptr && member->is_array() && member->size() == Size;
        require(good, name);
        for (std::size_t i = 0; good && i < Size; ++i) {
            values[i] = static_cast<Value>(element(&(*member)[i], name, 0, maximum));
        }
        return values;
    }
    template <std::size_t Size>
    std::array<bool, Size> flags(const char* name) {
        std::array<bool, Size> values{};
        const Json* member = find(name);
        bool good = member != nullptr && member->is_array() && member->size() == Size;
        for (std::size_t i = 0; good && i < Size; ++i) {
            good = (*member)[i].is_boolean();
            values[i] = good && (*member)[i].get<bool>();
        }
        require(good, name);
        return values;
    }
    std::vector<std::string> texts(const char* name) {
        std::vector<std::string> values;
        const Json* member = find(name);
        require(member != nullptr && member->is_array(), name);
        for (std::size_t i = 0; m_error.empty() && i < member->size(); ++i) {
            const Json& item = (*member)[i];
            const auto bytes = item.is_string() ? bytesOf(item.get_ref<const std::string&>()) : std::nullopt;
            require(bytes.has_value(), name);
            values.push_back(bytes.value_or(""));
        }
        return values;
    }
    Members members(const char* name) {
        static const Json kNone = Json::object();
        const Json* member = find(name);
        const bool good = member != nullptr && member->is_object();
        require(good, name);
        return {good ? *member : kNone, m_error};
    }
    void requireVersion(const char* name, int known) {
        const int version = number(name, 1, INT32_MAX);
        if (m_error.empty() && version != known) {
            m_error = "version " + std::to_string(version) + " of the format; this program reads version " +
                      std::to_string(known);
        }
    }
    [[nodiscard]] bool has(const char* name) const { return find(name) != nullptr; }
    void require(bool good, const char* name) {
        if (!good && m_error.empty()) {
            m_error = std::string("member \"") + name + "\" is missing or wrong";
        }
    }

private:
    [[nodiscard]] const Json* find(const char* name) const {
        const auto found = m_object.find(name);
        return found == m_object.end() ? nullptr : &*found;
    }
    std::int64_t element(const Json* value, const char* name, int minimum, int maximum) {
        const bool whole = value != nullptr && value->is_number_integer();
        // A number without a sign is kept as one that may be beyond the others.
        const bool huge = whole && value->is_number_unsigned() && value->get<std::uint64_t>() > INT32_MAX;
        const bool good = whole && !huge && *value >= minimum && *value <= maximum;
        require(good, name);
        return good ? value->get<std::int64_t>() : 0;
    }

    const Json& m_object;
    std::string& m_error;
};

PanelState readState(Members members) {
    PanelState state;
    state.running = members.flag("running");
    state.frame = static_cast<unsigned>(members.number("frame", 0, kMaxFrame));
    state.picture = members.picture("picture");
    state.displayOn = members.flag("display");
    state.contrast = members.number("contrast", 0, UINT8_MAX);
    state.gainCode = static_cast<unsigned>(members.number("gain", 0, kMaxGain));
    state.leds = members.numbers<unsigned, LedModel::kNames.size()>("leds", LedModel::kMaxLevel);
    state.outputs = members.numbers<int, GpioModel::kLineCount>("outputs", 1);
    state.keysHeld = members.flags<InputModel::kKeyNames.size()>("held");
    state.plugged = members.flags<kDevicePaths.size()>("plugged");
    return state;
}

Content readHeading(Members& members) {
    Heading heading;
    members.requireVersion("version", Heading::kVersion);
    heading.simulator = members.text("simulator");
    heading.daemon = members.text("daemon");
    heading.whole = members.flag("whole");
    heading.state = readState(members.members("state"));
    heading.state.variant = members.number("variant", 0, 1);
    return heading;
}
Content readEnd(Members& members) {
    return End{members.flag("limit")};
}

Content readStart(Members& members) {
    Start start;
    start.command = members.text("command");
    if (members.has("arguments")) {
        start.arguments = members.texts("arguments");
    }
    Members boot = members.members("disptype");
    start.boot.kind = static_cast<BootAnswer::Kind>(boot.oneOf("answer", kBootKinds));
    start.boot.value = boot.text("value");
    start.boot.status = boot.number("status", 0, kMaxStatus);
    return start;
}
Content readLineIn(Members& members) {
    LineIn line{members.text("text")};
    members.require(line.text.find('\n') == std::string::npos, "text");
    return line;
}
Content readInputEnd(Members&) {
    return InputEnd{};
}
Content readKey(Members& members) {
    Key key;
    key.code =
        static_cast<std::uint16_t>(InputModel::kFirstKeyCode + members.oneOf("key", InputModel::kKeyNames));
    key.value = members.number("value", 0, 2);
    key.joined = members.flag("joined");
    return key;
}
Content readTurn(Members& members) {
    Turn turn;
    turn.encoder = static_cast<InputDevice>(members.oneOf("encoder", InputModel::kEncoderNames));
    turn.detents = members.number("detents", -InputModel::kMaxDetents, InputModel::kMaxDetents);
    turn.reports = members.number("reports", 1, InputModel::kMaxDetents);
    turn.joined = members.flag("joined");
    return turn;
}
Content readPlug(Members& members) {
    return Plug{members.text("path"), members.flag("plugged")};
}
Content readFault(Members& members) {
    FaultOrder order{members.text("fault")};
    const auto words = splitWords(order.words);
    members.require(words && parseFault(*words), "fault");
    return order;
}

Content readLineOut(Members& members) {
    return LineOut{members.text("text")};
}
Content readFrame(Members& members) {
    Frame frame;
    frame.number = static_cast<unsigned>(members.number("frame", 1, kMaxFrame));
    if (members.has("picture")) {
        frame.picture = members.picture("picture");
    }
    return frame;
}
Content readDisplay(Members& members) {
    return Display{members.flag("on")};
}
Content readContrast(Members& members) {
    return Contrast{members.number("level", 0, UINT8_MAX)};
}
Content readLed(Members& members) {
    const std::size_t index = members.oneOf("led", LedModel::kNames);
    return Led{index, static_cast<unsigned>(members.number("level", 0, LedModel::kMaxLevel))};
}
Content readOutput(Members& members) {
    const int number = members.number("output", 0, INT16_MAX);
    return Output{number, members.number("level", 0, 1)};
}
Content readGain(Members& members) {
    return Gain{static_cast<unsigned>(members.number("code", 0, kMaxGain))};
}
Content readProtocolError(Members& members) {
    return ProtocolError{members.text("what")};
}
Content readExit(Members& members) {
    return Exit{members.number("status", 0, kMaxStatus)};
}

struct Kind {
    const char* name;
    Content (*read)(Members& members);
};
constexpr Kind kKinds[] = {
    {"recording", readHeading},
    {"end", readEnd},
    {"start", readStart},
    {"line-in", readLineIn},
    {"input-end", readInputEnd},
    {"key", readKey},
    {"turn", readTurn},
    {"plug", readPlug},
    {"fault", readFault},
    {"line-out", readLineOut},
    {"frame", readFrame},
    {"display", readDisplay},
    {"contrast", readContrast},
    {"led", readLed},
    {"output", readOutput},
    {"gain", readGain},
    {"protocol-error", readProtocolError},
    {"exit", readExit},
};

const Kind* findKind(const std::string& name) {
    for (const Kind& kind : kKinds) {
        if (kind.name == name) {
            return &kind;
        }
    }
    return nullptr;
}

}  // namespace

std::string encode(const Record& record) {
    Json json = std::visit([](const auto& content) { return object(content); }, record.content);
    json["ms"] = record.ms;
    return json.dump(-1, ' ', true) + '\n';
}

std::optional<Record> decode(std::string_view line, std::string& error) {
    const Json json = Json::parse(line, nullptr, false);
    if (!json.is_object()) {
        error = "no JSON object";
        return std::nullopt;
    }
    error.clear();
    Members members(json, error);
    const std::string event = members.text("event");
    const Kind* kind = findKind(event);
    if (kind == nullptr) {
        error = error.empty() ? "unknown event \"" + event + '"' : error;
        return std::nullopt;
    }
    Record record;
    record.content = kind->read(members);
    record.ms = members.milliseconds("ms");
    return error.empty() ? std::optional(record) : std::nullopt;
}

}  // namespace sim::recorded
