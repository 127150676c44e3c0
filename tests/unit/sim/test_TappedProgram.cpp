// The tap with programs under the simulator: what they and their controllers see of it.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <string>

#include "tests/unit/sim/simulator_fixture.h"

namespace {

// "cat" stands for a daemon that answers each line with itself.
class TappedProgram : public Simulator {
protected:
    // A pipeline's part that runs cat tapped, with its lines in the file "lines".
    [[nodiscard]] std::string tappedCat() const {
        return "'" BELTPACK_SIM_PATH "' --lines --daemon cat -- cat 2>'" + work.file("lines") + "'";
    }
    [[nodiscard]] std::string path(const std::string& name) const { return '\'' + work.file(name) + '\''; }
    // Status 0 when the files are the same.
    int compare(const std::string& one, const std::string& other) {
        return shell("cmp " + path(one) + ' ' + path(other));
    }
    int shell(const std::string& command) {
        return Simulator::shell("PROBE='" BELTPACK_PROBE_PATH "'; " + command);
    }
};

TEST_F(TappedProgram, LinesAreShownAsTheyPass) {
    EXPECT_EQ(shell("printf 'one\\ntab\\there\\nlast' | " + tappedCat()), 0);
    EXPECT_EQ(out(), "one\ntab\there\nlast");
    const std::string lines = work.read("lines");
    expectContains(lines, "< one\n< tab\\there\n");
    expectContains(lines, "> one\n> tab\\there\n");
    expectContains(lines, "< last\n");
    expectContains(lines, "> last\n");
    EXPECT_TRUE(temporary.empty());
}

TEST_F(TappedProgram, NothingIsTappedUnlessSomebodyLooksAtLines) {
    work.write("in", "");
    const std::string streams = " -- $PROBE tell-streams <" + path("in");
    EXPECT_EQ(shell("'" BELTPACK_SIM_PATH "' --daemon shim_probe" + streams), 0);
    EXPECT_EQ(err(), work.file("in") + '\n' + work.file("out") + '\n');
    EXPECT_EQ(shell("'" BELTPACK_SIM_PATH "' --lines --daemon shim_probe" + streams), 0);
    EXPECT_EQ(err().find("pipe:["), 0U) << err();
    EXPECT_EQ(err().find(work.path()), std::string::npos) << err();
}

TEST_F(TappedProgram, OthersAreNotTapped) {
    work.write("in", "");
    EXPECT_EQ(shell("'" BELTPACK_SIM_PATH "' --lines -- $PROBE tell-streams <" + path("in")), 0);
    EXPECT_EQ(err(), work.file("in") + '\n' + work.file("out") + '\n');
}

TEST_F(TappedProgram, MegabyteThroughPipesAndASlowReader) {
    EXPECT_EQ(shell("seq 1 180000 >" + path("in") + "; cat " + path("in") + " | " + tappedCat() +
                    " | (sleep 0.3; cat) >" + path("answer")),
              0);
    EXPECT_EQ(compare("in", "answer"), 0);
    EXPECT_GT(work.read("answer").size(), 1000000U);
}

TEST_F(TappedProgram, FilesAndTheNullDevice) {
    EXPECT_EQ(
        shell("seq 1 20000 >" + path("in") + "; " + tappedCat() + " <" + path("in") + " >" + path("answer")),
        0);
    EXPECT_EQ(compare("in", "answer"), 0);
    EXPECT_EQ(shell(tappedCat() + " </dev/null >/dev/null"), 0);
    EXPECT_EQ(work.read("lines"), "");
    EXPECT_EQ(shell("echo gone | " + tappedCat() + " >/dev/null"), 0);
    EXPECT_EQ(work.read("lines"), "< gone\n> gone\n");
}

TEST_F(TappedProgram, ReaderThatIsGoneEndsItAsWithoutTheTap) {
    EXPECT_EQ(shell("('" BELTPACK_SIM_PATH "' --lines --daemon yes -- yes 2>/dev/null; echo $? >" +
                    path("status") + ") | head -n 2"),
              0);
    EXPECT_EQ(work.read("status"), std::to_string(128 + SIGPIPE) + '\n');
}

TEST_F(TappedProgram, CrashLeavesItsLastBytesAndItsStatus) {
    EXPECT_EQ(run("--lines --daemon shim_probe", "crash"), 128 + SIGSEGV);
    EXPECT_EQ(out(), "last\nand");
    // Where the probe runs in an emulator, that tells the crash in a line of its own, before or between
    // these.
    std::string told = err();
    const std::size_t crash = told.find("qemu:");
    if (crash != std::string::npos) {
        told.erase(crash, told.find('\n', crash) + 1 - crash);
    }
    EXPECT_EQ(told, "> last\n> and\n");
}

TEST_F(TappedProgram, ExitStatusIsTheCommands) {
    EXPECT_EQ(run("--lines --daemon shim_probe", "ends"), 7);
}

TEST_F(TappedProgram, OutputIsDeliveredToASlowReaderAfterItsEnd) {
    EXPECT_EQ(
        shell("'" BELTPACK_SIM_PATH "' --lines --daemon seq -- seq 1 30000 2>/dev/null | (sleep 0.3; cat) >" +
              path("answer") + "; seq 1 30000 >" + path("in")),
        0);
    EXPECT_EQ(compare("in", "answer"), 0);
}

TEST_F(TappedProgram, ControllerMayStartSeveralAtOnce) {
    work.write("controller",
               "seq 1 20000 | cat >\"$1/first\" &\n"
               "seq 20001 40000 | cat >\"$1/second\" &\n"
               "wait\n"
               "echo done | cat\n");
    EXPECT_EQ(shell("'" BELTPACK_SIM_PATH "' --lines --daemon cat -- sh " + path("controller") + " '" +
                    work.path() + "' 2>" + path("lines") + "; seq 1 20000 >" + path("in1") +
                    "; seq 20001 40000 >" + path("in2")),
              0);
    EXPECT_EQ(out(), "done\n");
    EXPECT_EQ(compare("first", "in1"), 0);
    EXPECT_EQ(compare("second", "in2"), 0);
    expectContains(work.read("lines"), "< 40000\n");
    expectContains(work.read("lines"), "> 40000\n");
}

TEST_F(TappedProgram, ScriptTellsTheLinesOfItsPipe) {
    EXPECT_EQ(play("send one\nwait line one\n", "echo", "--lines --daemon shim_probe"), 0) << err();
    EXPECT_EQ(err(), "< one\n> one\n");
}

TEST_F(TappedProgram, ScriptOfAControllerTellsTheDaemonsLinesAlone) {
    work.write("s.script", "send ask\nwait line end\n");
    EXPECT_EQ(shell("'" BELTPACK_SIM_PATH "' --lines --daemon cat --script " + path("s.script") +
                    " -- sh -c 'read word; answer=$(echo \"$word more\" | cat); echo \"$answer\"; echo end; "
                    "cat >/dev/null'"),
              0)
        << err();
    EXPECT_EQ(out(), "ask more\nend\n");
    EXPECT_EQ(err(), "< ask more\n> ask more\n");
}

TEST_F(TappedProgram, ShimWithoutASimulatorTapsNothing) {
    EXPECT_EQ(shell("echo x | BELTPACK_SIM_TAP=cat BELTPACK_SIM_SOCKET=nobody LD_PRELOAD='" BELTPACK_SHIM_PATH
                    "' cat"),
              0);
    EXPECT_EQ(out(), "x\n");
}

TEST_F(TappedProgram, ClosedStandardInputIsLeftAlone) {
    EXPECT_EQ(shell("'" BELTPACK_SIM_PATH "' --lines --daemon shim_probe -- sh -c '\"$0\" ends <&-' $PROBE"),
              7);
}

// The simulator at a terminal: what is typed and shown, and the terminal's own flags.
TEST_F(TappedProgram, WorksAtATerminal) {
    int terminal = -1;
    int program = -1;
    ASSERT_EQ(openpty(&terminal, &program, nullptr, nullptr, nullptr), 0);
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(program, STDIN_FILENO);
        dup2(program, STDOUT_FILENO);
        dup2(open(work.file("lines").c_str(), O_WRONLY | O_CREAT, 0600), STDERR_FILENO);
        execl(BELTPACK_SIM_PATH, BELTPACK_SIM_PATH, "--lines", "--daemon", "cat", "--", "cat", nullptr);
        _exit(127);
    }
    std::string shown;
    const auto showUntil = [&](const std::string& end) {
        char buffer[256];
        while (shown.size() < end.size() || shown.substr(shown.size() - end.size()) != end) {
            const ssize_t length = read(terminal, buffer, sizeof buffer);
            ASSERT_GT(length, 0);
            shown.append(buffer, static_cast<std::size_t>(length));
        }
    };
    ASSERT_EQ(write(terminal, "typed\n", 6), 6);
    showUntil("typed\r\ntyped\r\n");  // the terminal's echo and the answer
    EXPECT_EQ(fcntl(program, F_GETFL) & O_NONBLOCK, 0);
    ASSERT_EQ(write(terminal, "\x04", 1), 1);
    int status = -1;
    EXPECT_EQ(waitpid(pid, &status, 0), pid);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(work.read("lines"), "< typed\n> typed\n");
    close(terminal);
    close(program);
}

}  // namespace
