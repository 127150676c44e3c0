// A terminal whose screen can be read: a window of tmux, with a server of its own.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <functional>
#include <string>
#include <thread>

#include "tests/unit/sim/TemporaryFolder.h"

class TmuxTerminal {
public:
    TmuxTerminal() = default;
    ~TmuxTerminal() { tmux("kill-server 2>&1"); }
    TmuxTerminal(const TmuxTerminal&) = delete;
    TmuxTerminal& operator=(const TmuxTerminal&) = delete;

    // Runs a command line of the shell in a window of so many columns and rows; "before" stands on its
    // screen. variables: set for the command, e.g. "TERM=vt100".
    void start(const std::string& command, int width = 80, int height = 24,
               const std::string& variables = "TERM=tmux-256color LC_ALL=C.UTF-8") {
        files.write("run", "cd '" + files.path() + "'\nexport " + variables +
                               "\nstty -g >settings_before\necho before\n" + command +
                               "\necho $? >status\nstty -g >settings_after\necho >ended\ncat >/dev/null\n");
        tmux("-f /dev/null -u new-session -d -x " + std::to_string(width) + " -y " + std::to_string(height) +
             " sh '" + files.file("run") + "'");
    }

    // Keys by tmux' names, e.g. "Left Escape a".
    void keys(const std::string& names) { tmux("send-keys " + names); }
    // Text as it is, without a single quote.
    void type(const std::string& text) { tmux("send-keys -l '" + text + "'"); }
    void resize(int width, int height) {
        tmux("resize-window -x " + std::to_string(width) + " -y " + std::to_string(height));
    }

    [[nodiscard]] std::string screen() { return tmux("capture-pane -p"); }
    // A value of tmux' formats, e.g. "#{alternate_on}".
    [[nodiscard]] std::string value(const std::string& format) {
        const std::string text = tmux("display-message -p '" + format + "'");
        return text.substr(0, text.find('\n'));
    }
    [[nodiscard]] bool shows(const std::string& text) { return screen().find(text) != std::string::npos; }
    [[nodiscard]] bool waitFor(const std::string& text) {
        return waitUntil([&] { return shows(text); });
    }
    [[nodiscard]] bool waitUntilGone(const std::string& text) {
        return waitUntil([&] { return !shows(text); });
    }
    // Waits for the end of the command and gives its exit status; -1: it has not ended.
    [[nodiscard]] int status() {
        if (!waitUntil([&] { return !files.read("ended").empty(); })) {
            return -1;
        }
        return std::stoi(files.read("status"));
    }

    const TemporaryFolder files;  // where the command runs

private:
    bool waitUntil(const std::function<bool()>& condition) {
        constexpr std::chrono::seconds kLongest{20};
        const auto end = std::chrono::steady_clock::now() + kLongest;
        while (!condition()) {
            if (std::chrono::steady_clock::now() > end) {
                ADD_FAILURE() << "the screen is:\n" << screen();
                return false;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        return true;
    }
    // Runs a command of tmux and gives what it prints.
    std::string tmux(const std::string& command) {
        std::FILE* const pipe = ::popen(("tmux -S '" + files.file("tmux") + "' " + command).c_str(), "r");
        std::string output;
        std::array<char, 4096> buffer{};
        while (const std::size_t length = std::fread(buffer.data(), 1, buffer.size(), pipe)) {
            output.append(buffer.data(), length);
        }
        ::pclose(pipe);
        return output;
    }
};
