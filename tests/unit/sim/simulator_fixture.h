// Runs the simulator program on command lines of the tests.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <string>

#include "tests/unit/sim/TemporaryFolder.h"

class Simulator : public ::testing::Test {
protected:
    // Runs the simulator with these options on one of the probe's scenarios; returns its exit status.
    int run(const std::string& options, const std::string& scenario) {
        return shell("'" BELTPACK_SIM_PATH "' " + options + " -- '" BELTPACK_PROBE_PATH "' " + scenario);
    }
    // As above, with a script.
    int play(const std::string& script, const std::string& scenario, const std::string& options = "") {
        work.write("s.script", script);
        return run("--script '" + work.file("s.script") + "' --artifacts '" + work.path() + "' " + options,
                   scenario);
    }
    // Runs a command line with its temporary files, output and error in folders of the test's own.
    int shell(const std::string& command) {
        const std::string whole = "export TMPDIR='" + temporary.path() + "'; (" + command + ") >'" +
                                  work.file("out") + "' 2>'" + work.file("err") + "' </dev/null";
        const int status = std::system(whole.c_str());
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    [[nodiscard]] std::string out() const { return work.read("out"); }
    [[nodiscard]] std::string err() const { return work.read("err"); }

    const TemporaryFolder work;
    const TemporaryFolder temporary;  // the simulator's own: has to be empty again after each run
};

inline void expectContains(const std::string& text, const std::string& part) {
    EXPECT_NE(text.find(part), std::string::npos) << "no \"" << part << "\" in:\n" << text;
}
