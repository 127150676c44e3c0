// A panel with its devices, and all that views of it share, without a program.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "sim/record/Recorder.h"
#include "sim/view/View.h"
#include "tests/unit/sim/TemporaryFolder.h"

class RecordedPanel : public ::testing::Test {
protected:
    // Lets the display's controller show a whole frame of the picture.
    void showFrame(const sim::Picture& picture) {
        const std::uint8_t setUp[] = {0xA0, 0xC0, 0xAF};
        panel.oled.command(setUp, sizeof setUp);
        for (std::size_t page = 0; page < sim::OledController::kPages; ++page) {
            const std::uint8_t address[] = {static_cast<std::uint8_t>(0xB0 + page), 0x00, 0x12};
            panel.oled.command(address, sizeof address);
            std::uint8_t columns[sim::Picture::kWidth] = {};
            for (std::size_t x = 0; x < sim::Picture::kWidth; ++x) {
                for (std::size_t row = 0; row < 8; ++row) {
                    columns[x] |=
                        static_cast<std::uint8_t>((picture.lit(x, page * 8 + row) ? 1U : 0U) << row);
                }
            }
            panel.oled.data(columns, sizeof columns);
        }
    }
    // A picture with this one pixel lit.
    static sim::Picture dot(std::size_t x, std::size_t y) {
        sim::Picture picture;
        picture.set(x, y, true);
        return picture;
    }
    // Opens an input device as a program does; its events come from reader then.
    void openDevice(const std::string& path) {
        sim::Request request;
        request.head.operation = BELTPACK_OPEN;
        request.head.argument = O_RDONLY | O_NONBLOCK;
        request.head.event_size = 24;
        request.payload = path;
        sim::Reply reply = devices.handle(request);
        ASSERT_EQ(reply.result.error, 0);
        reader = std::move(reply.fd);
    }

    const TemporaryFolder work;
    sim::EventLoop loop;
    sim::EventLog log;
    sim::Panel panel{0};
    sim::DeviceServer devices{loop, panel, log};
    sim::Controls controls{panel, devices, [](const std::string&) { return std::string(); }};
    sim::StateKeeper keeper{panel, 0, [] { return 0.0; }};
    sim::Mailbox mailbox{loop};
    sim::SnapshotBox snapshots;
    const sim::ViewSeam seam{loop, panel, keeper, controls, mailbox, snapshots};
    double now = 1000;  // the recorder's clock, ms
    sim::UniqueFd reader;
};
