// What a person may do with the panel and the program.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "sim/kernel/DeviceServer.h"
#include "sim/panel/Panel.h"

namespace sim {

// Each call is carried out at once and returns an empty text, or changes nothing and returns what is wrong,
// in a form to be shown. Names and paths are those of InputModel and of the panel's files. On the simulator's
// thread only: other threads post to the Mailbox.
class Controls {
public:
    static constexpr std::size_t kMaxLineBytes = 1500;  // of one line, without its line feed

    // Hands a line to the daemon; an error text, or an empty one.
    using LineSender = std::function<std::string(const std::string& text)>;

    // Panel and devices are not owned.
    Controls(Panel& panel, DeviceServer& devices, LineSender sender);

    // key: e.g. "Talk_1". Pressing a held key and releasing a free one is no error, and tells nothing.
    [[nodiscard]] std::string press(std::string_view key);
    [[nodiscard]] std::string release(std::string_view key);
    // Auto-repeat of a key.
    [[nodiscard]] std::string repeat(std::string_view key);
    // encoder: e.g. "Left"; detents: negative for counter-clockwise, at most InputModel::kMaxDetents either
    // way. All at one time, in one report a detent.
    [[nodiscard]] std::string turn(std::string_view encoder, int detents);
    // The same in so many reports, see InputModel::turn.
    [[nodiscard]] std::string turn(std::string_view encoder, int detents, int reports);

    // One line to the daemon's input, between two of its controller's. Without a line feed or a zero byte, of
    // up to kMaxLineBytes.
    [[nodiscard]] std::string sendLine(const std::string& text);

    // path: any file of the panel. The device is gone, or back for new opens.
    [[nodiscard]] std::string unplug(const std::string& path);
    [[nodiscard]] std::string plug(const std::string& path);
    // path: one of the three buses. Its next transfer fails with EIO.
    [[nodiscard]] std::string failNextTransfer(const std::string& path);

private:
    using KeyChange = void (InputModel::*)(std::uint16_t code);
    [[nodiscard]] std::string change(std::string_view key, KeyChange how);

    Panel& m_panel;
    DeviceServer& m_devices;
    const LineSender m_sender;
};

}  // namespace sim
