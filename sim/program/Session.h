// A simulated station: the panel, its devices, and the program that runs on them.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "sim/base/EventLoop.h"
#include "sim/kernel/DeviceServer.h"
#include "sim/log/EventLog.h"
#include "sim/panel/Panel.h"
#include "sim/program/BootEnvironment.h"
#include "sim/program/ChildProcess.h"
#include "sim/program/ControlServer.h"
#include "sim/program/LineQueue.h"
#include "sim/program/LineTap.h"
#include "sim/program/PipedInput.h"
#include "sim/program/VirtualClock.h"
#include "sim/view/Controls.h"
#include "sim/view/View.h"
#include "sim/view/Views.h"

namespace sim {

struct SessionOptions {
    int variant = 0;  // the fitted display
    BootAnswer boot;
    std::vector<std::string> command;  // the program and its first arguments
    std::string shim;                  // path of the preload shim
    bool piped = false;                // feed the program's input and read its output, else leave them alone
    bool echo = true;                  // piped: its output goes to standard output too
    std::string daemon;                // name, without its folder, of the program whose lines are told
    bool virtualTime = false;          // and whose time is virtual
};

// Runs one program at a time, any number in turn; the panel keeps its state in between. Programs that those
// leave behind end with the session.
//
// From construction on SIGCHLD, SIGINT, SIGTERM and SIGHUP are handled here, and SIGPIPE is ignored: the
// session owns the process's signals. The last three go to the program; a second one kills it.
class Session {
public:
    explicit Session(SessionOptions options);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    // Takes a view, before prepare starts them all. Views stop with the session.
    void add(std::unique_ptr<View> view) { m_views.add(std::move(view)); }

    // Makes socket, signals, stub and views ready. An error text, or an empty one.
    [[nodiscard]] std::string prepare();

    // Starts the program, with these arguments behind those of the command. False: no process could be made.
    [[nodiscard]] bool start(const std::vector<std::string>& arguments);
    [[nodiscard]] bool running() const { return m_running; }
    // The words of the program that was started last, its arguments behind it; listeners that are told of its
    // start find them here.
    [[nodiscard]] const std::vector<std::string>& command() const { return m_command; }
    // The name of the program whose lines are told.
    [[nodiscard]] const std::string& daemon() const { return m_options.daemon; }
    // Of the program that ended last: its exit status, or 128 + n when signal n ended it.
    [[nodiscard]] std::optional<int> exitStatus() const { return m_exitStatus; }
    // The signal that asked the simulator to end, or 0.
    [[nodiscard]] int interruption() const { return m_interruption; }

    // Serves devices and program for up to so many milliseconds (-1: no limit), or until something has
    // happened. False: nothing has.
    bool serve(int milliseconds);

    // Piped: hands as much to the program's input, in one write, as the pipe takes now: 0 when it is full, -1
    // when it is closed.
    [[nodiscard]] long writeInput(std::string_view bytes) { return m_input.write(bytes); }
    void closeInput() { m_input.close(); }
    // Piped: whether the program has read all of it. True also when its input is closed.
    [[nodiscard]] bool inputRead() const { return m_input.drained(); }

    void kill();                  // the running program, and waits for its end
    void sendSignal(int signal);  // to the running program

    // After the last program: ends what it has left behind, and serves until all that tapped daemons wrote is
    // delivered, or a signal comes.
    void finish();

    [[nodiscard]] Panel& panel() { return m_panel; }
    [[nodiscard]] DeviceServer& devices() { return m_devices; }
    [[nodiscard]] Controls& controls() { return m_controls; }
    [[nodiscard]] EventLog& log() { return m_log; }
    // Nothing: time is the machine's.
    [[nodiscard]] VirtualClock* virtualClock() { return m_virtual.get(); }
    // Virtual time: whether the program has nothing to do, also since it does not run. What it has done may
    // still have to be served.
    [[nodiscard]] bool atRest() const { return !m_running || m_virtual->asleep(m_child.pid()); }
    [[nodiscard]] BootEnvironment& boot() { return m_boot; }
    [[nodiscard]] const LineQueue& output() const { return m_output; }

private:
    [[nodiscard]] Reply answer(Request& request);
    void tellLineIn(const std::string& text);
    void tellLineOut(const std::string& text);
    void tellInputEnd();
    [[nodiscard]] std::string sendLine(const std::string& text);
    [[nodiscard]] bool watchSignals();
    void takeSignal();
    void passOn(int signal);
    void reapChildren();
    void noteExit(int waitStatus);
    void relayOutput();
    [[nodiscard]] Launch launchOf(const std::vector<std::string>& arguments) const;
    void killLeftBehind();

    const SessionOptions m_options;
    const bool m_pipeIsTheDaemons;  // and not a controller's
    EventLoop m_loop;
    const std::unique_ptr<VirtualClock> m_virtual;
    EventLog m_log{m_virtual.get()};
    CallLog m_records{m_log};
    Panel m_panel;
    DeviceServer m_devices;
    ControlServer m_control;
    BootEnvironment m_boot;
    UniqueFd m_signals;
    ChildProcess m_child;
    std::vector<std::string> m_command;
    bool m_running = false;
    std::optional<int> m_exitStatus;
    int m_interruption = 0;
    unsigned m_interruptions = 0;  // how many signals have asked
    LineQueue m_output;
    PipedInput m_input;
    LineSplitter m_linesOut;  // of the piped program
    LineTaps m_taps;
    Controls m_controls;
    Views m_views;
};

}  // namespace sim
