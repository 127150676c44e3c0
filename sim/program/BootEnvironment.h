// The boot loader's environment tool, as the simulated station has it.
#pragma once

#include <string>

namespace sim {

// What "fw_printenv -n disptype" does.
struct BootAnswer {
    enum class Kind { Value, Unset, Missing };

    Kind kind = Kind::Value;
    std::string value;  // Value: the line printed
    int status = 0;     // Value: the exit status

    // From "VALUE", "unset" (a message on standard error and status 1) or "missing" (no such program: status
    // 127).
    [[nodiscard]] static BootAnswer parse(const std::string& text, int status);
};

// A private temporary folder with a stub of the tool; removed with the object.
class BootEnvironment {
public:
    BootEnvironment();  // valid() tells whether it could be made
    ~BootEnvironment();
    BootEnvironment(const BootEnvironment&) = delete;
    BootEnvironment& operator=(const BootEnvironment&) = delete;

    [[nodiscard]] bool valid() const { return !m_folder.empty(); }
    // To stand first in PATH.
    [[nodiscard]] const std::string& folder() const { return m_folder; }

    // Sets what the tool does from now on. False: the stub cannot be written.
    [[nodiscard]] bool answer(const BootAnswer& answer);
    // What it does now.
    [[nodiscard]] const BootAnswer& current() const { return m_answer; }

private:
    [[nodiscard]] std::string stub() const { return m_folder + "/fw_printenv"; }

    std::string m_folder;
    BootAnswer m_answer;
};

}  // namespace sim
