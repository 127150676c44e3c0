#include "sim/web/PageMessage.h"

#include <array>
#include <cstdlib>
#include <nlohmann/json.hpp>

#include "sim/panel/InputModel.h"

namespace sim {
namespace {

using Json = nlohmann::json;
using Verb = PageMessage::Verb;

bool takeText(const Json& value, PageMessage& message) {
    if (!value.is_string()) {
        return false;
    }
    message.text = value.get<std::string>();
    return true;
}

bool takeDetents(const Json& value, PageMessage& message) {
    if (!value.is_number_integer()) {
        return false;
    }
    const auto detents = value.get<double>();  // exact as far as it matters, and never wraps
    if (detents < -InputModel::kMaxDetents || detents > InputModel::kMaxDetents) {
        return false;
    }
    message.detents = static_cast<int>(detents);
    return true;
}

bool takeSwitch(const Json& value, PageMessage& message) {
    if (!value.is_boolean()) {
        return false;
    }
    message.on = value.get<bool>();
    return true;
}

bool takeUpdate(const Json& value, PageMessage& message) {
    if (!value.is_number_unsigned()) {
        return false;
    }
    message.update = value.get<std::uint64_t>();
    return true;
}

struct Member {
    const char* name;  // nullptr: no more
    bool (*take)(const Json& value, PageMessage& message);
};

struct Form {
    const char* verb;
    Verb meaning;
    std::array<Member, 2> members;
};

constexpr std::array<Form, 9> kForms = {{
    {"press", Verb::Press, {{{"key", takeText}, {}}}},
    {"release", Verb::Release, {{{"key", takeText}, {}}}},
    {"turn", Verb::Turn, {{{"encoder", takeText}, {"detents", takeDetents}}}},
    {"line", Verb::Line, {{{"text", takeText}, {}}}},
    {"unplug", Verb::Unplug, {{{"path", takeText}, {}}}},
    {"plug", Verb::Plug, {{{"path", takeText}, {}}}},
    {"fail", Verb::Fail, {{{"path", takeText}, {}}}},
    {"record", Verb::Record, {{{"on", takeSwitch}, {}}}},
    {"drawn", Verb::Drawn, {{{"update", takeUpdate}, {}}}},
}};

const Form* formOf(const Json& json) {
    const auto verb = json.find("do");
    for (const Form& form : kForms) {
        if (verb != json.end() && *verb == form.verb) {
            return &form;
        }
    }
    return nullptr;
}

bool takeMembers(const Json& json, const Form& form, PageMessage& message) {
    for (const Member& member : form.members) {
        const auto found = member.name != nullptr ? json.find(member.name) : json.end();
        if (member.name != nullptr && (found == json.end() || !member.take(*found, message))) {
            return false;
        }
    }
    return true;
}

bool takeId(const Json& json, PageMessage& message) {
    const auto id = json.find("id");
    if (id == json.end()) {
        return true;
    }
    message.id = id->is_number_unsigned() ? id->get<std::uint64_t>() : 0;
    return id->is_number_unsigned();
}

}  // namespace

std::optional<PageMessage> PageMessage::parse(std::string_view text) {
    const Json json = Json::parse(text, nullptr, false);
    if (!json.is_object()) {
        return std::nullopt;
    }
    const Form* form = formOf(json);
    PageMessage message;
    if (form == nullptr || !takeId(json, message) || !takeMembers(json, *form, message)) {
        return std::nullopt;
    }
    message.verb = form->meaning;
    return message;
}

std::string PageMessage::carryOut(Controls& controls) const {
    switch (verb) {
        case Verb::Press:
            return controls.press(text);
        case Verb::Release:
            return controls.release(text);
        case Verb::Turn:
            return controls.turn(text, detents);
        case Verb::Line:
            return controls.sendLine(text);
        case Verb::Unplug:
            return controls.unplug(text);
        case Verb::Plug:
            return controls.plug(text);
        case Verb::Fail:
            return controls.failNextTransfer(text);
        case Verb::Record:
        case Verb::Drawn:
            break;
    }
    return "nothing to carry out";
}

}  // namespace sim
