#include "sim/program/BootEnvironment.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>

namespace sim {
namespace {

std::string shellQuoted(const std::string& text) {
    std::string quoted = "'";
    for (const char c : text) {
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return quoted + '\'';
}

std::string stubBody(const BootAnswer& answer) {
    switch (answer.kind) {
        case BootAnswer::Kind::Unset:
            return "echo '## Error: \"disptype\" not defined' >&2\nexit 1\n";
        case BootAnswer::Kind::Missing:
            return "echo 'sh: fw_printenv: not found' >&2\nexit 127\n";
        default:
            break;
    }
    return "if [ \"$*\" != '-n disptype' ]; then\n"
           "    echo \"## Error: unknown variable: $*\" >&2\n"
           "    exit 1\n"
           "fi\n"
           "printf '%s\\n' " +
           shellQuoted(answer.value) + "\nexit " + std::to_string(answer.status) + '\n';
}

}  // namespace

BootAnswer BootAnswer::parse(const std::string& text, int status) {
    if (text == "unset") {
        return {Kind::Unset, {}, 0};
    }
    if (text == "missing") {
        return {Kind::Missing, {}, 0};
    }
    return {Kind::Value, text, status};
}

BootEnvironment::BootEnvironment() {
    const char* folder = std::getenv("TMPDIR");
    std::string pattern = std::string(folder != nullptr ? folder : "/tmp") + "/beltpack_sim.XXXXXX";
    if (::mkdtemp(pattern.data()) != nullptr) {
        m_folder = pattern;
    }
}

BootEnvironment::~BootEnvironment() {
    if (valid()) {
        ::unlink(stub().c_str());
        ::rmdir(m_folder.c_str());
    }
}

bool BootEnvironment::answer(const BootAnswer& answer) {
    std::ofstream file(stub(), std::ios::trunc);
    file << "#!/bin/sh\n" << stubBody(answer);
    file.close();
    m_answer = answer;
    return file.good() && ::chmod(stub().c_str(), S_IRWXU) == 0;
}

}  // namespace sim
