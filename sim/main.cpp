// beltpack_sim: runs a program on an emulated front panel. See docs/simulator.md.
#include <cstdio>
#include <filesystem>
#include <memory>

#include "sim/program/Options.h"
#include "sim/program/Pictures.h"
#include "sim/program/Session.h"
#include "sim/record/PictureViews.h"
#include "sim/record/RecordButton.h"
#include "sim/record/RecordingReader.h"
#include "sim/record/RecordingView.h"
#include "sim/record/Replayer.h"
#include "sim/script/ScriptParser.h"
#include "sim/script/ScriptRunner.h"
#include "sim/term/TerminalView.h"
#include "sim/view/LinePrinter.h"
#include "sim/web/WebView.h"

namespace {

constexpr int kUsageError = 2;
constexpr char kDaemon[] = "beltpack_fpui";
constexpr char kShim[] = "libbeltpack_shim.so";

int complain(const std::string& what) {
    std::fprintf(stderr, "beltpack_sim: %s\n", what.c_str());
    return kUsageError;
}

// What the command line asks for, with the files that it names read already.
struct Task {
    sim::Options options;
    sim::Script script;              // --script
    sim::RecordingSummary recorded;  // --replay

    [[nodiscard]] bool scripted() const { return !options.script.empty(); }
    [[nodiscard]] bool replayed() const { return !options.replay.empty(); }
};

// The shim stands beside the simulator in a build, and among the private libraries when both are installed;
// BELTPACK_SHIM_FOLDER is the way there from the programs' folder, so that an installed tree can be moved.
std::filesystem::path shimPath(const std::filesystem::path& programs) {
    const auto beside = programs / kShim;
    return exists(beside) ? beside : (programs / BELTPACK_SHIM_FOLDER / kShim).lexically_normal();
}

sim::SessionOptions sessionOptions(const Task& task) {
    const sim::Options& options = task.options;
    const auto folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    sim::SessionOptions session;
    session.variant = options.panel.value_or(task.recorded.heading.state.variant);
    session.boot = sim::BootAnswer::parse(options.disptype.value_or(std::to_string(session.variant)),
                                          options.disptypeStatus);
    session.command = options.command;
    if (session.command.empty()) {
        session.command = {folder / kDaemon};
    }
    session.shim = shimPath(folder);
    session.piped = task.scripted() || task.replayed();
    session.echo = !task.replayed();
    // What is played again is the daemon's, whatever program stands in for it.
    session.daemon =
        task.replayed() ? std::filesystem::path(session.command.front()).filename().string() : options.daemon;
    session.virtualTime = options.virtualTime;
    return session;
}

// failed: set when a view cannot write what it was asked for.
void addViews(sim::Session& session, const sim::Options& options, bool& failed) {
    const sim::Complaint told = [&failed](const std::string& what) {
        complain(what);
        failed = true;
    };
    const auto clock = [&session] { return session.log().milliseconds(); };
    if (options.lines) {
        session.add(std::make_unique<sim::LinePrinter>());
    }
    if (options.term) {
        session.add(std::make_unique<sim::TerminalView>());
    }
    if (!options.record.empty()) {
        const auto source = sim::RecordingSource::of(session);
        session.add(std::make_unique<sim::RecordingView>(options.record, source, told));
    }
    if (!options.gif.empty()) {
        session.add(std::make_unique<sim::GifView>(options.gif, options.scale, clock, told));
    }
    if (!options.frames.empty()) {
        session.add(std::make_unique<sim::FrameFolder>(options.frames, options.scale, clock, told));
    }
    if (options.web) {
        auto record =
            std::make_unique<sim::RecordButton>(options.artifacts, sim::RecordingSource::of(session));
        session.add(std::make_unique<sim::WebView>(*options.web, std::move(record)));
    }
}

int runCommand(sim::Session& session) {
    if (!session.start({})) {
        return complain("cannot make a process");
    }
    while (session.running()) {
        session.serve(-1);
    }
    return *session.exitStatus();
}

int runScript(sim::Session& session, const sim::Script& script, const sim::Options& options) {
    session.log().keep();
    sim::ScriptSettings settings;
    settings.pictures = {options.artifacts, options.scale, options.updatePictures};
    settings.timeoutSeconds = options.timeout;
    return sim::ScriptRunner(session, script, settings).run();
}

int runReplay(sim::Session& session, const sim::RecordingSummary& recorded, const sim::Options& options) {
    sim::ReplaySettings settings;
    settings.speed = options.speed.value_or(settings.speed);
    settings.fast = !options.speed;
    settings.timeoutSeconds = options.timeout;
    settings.recordedBoot = !options.disptype;
    settings.pictures = {options.artifacts, options.scale, false};
    return sim::Replayer(session, recorded, settings).run();
}

int play(sim::Session& session, const Task& task) {
    if (task.replayed()) {
        return runReplay(session, task.recorded, task.options);
    }
    return task.scripted() ? runScript(session, task.script, task.options) : runCommand(session);
}

int run(const Task& task, bool& failed) {
    const sim::Options& options = task.options;
    const sim::SessionOptions settings = sessionOptions(task);
    if (!std::filesystem::exists(settings.shim)) {
        // The loader would go on without it, and the command would drive the machine's own devices.
        return complain("cannot find " + settings.shim);
    }
    sim::Session session(settings);
    if (!options.log.empty() && !session.log().writeTo(options.log)) {
        return complain("cannot write " + options.log);
    }
    if (options.trace) {
        session.log().trace();
    }
    addViews(session, options, failed);
    const std::string error = session.prepare();
    if (!error.empty()) {
        return complain(error);
    }
    const int status = play(session, task);
    session.finish();
    if (!options.screenshot.empty() &&
        !sim::savePicture(options.screenshot, session.panel().oled.lastFrame(), options.scale)) {
        complain("cannot write " + options.screenshot);
        failed = true;
    }
    return status;
}

// What is wrong, or an empty text.
std::string readFiles(Task& task) {
    if (task.scripted()) {
        return sim::parseScriptFile(task.options.script, task.script);
    }
    if (!task.replayed()) {
        return {};
    }
    const std::string error = sim::checkRecording(task.options.replay, task.recorded);
    return error.empty() ? sim::Replayer::unplayable(task.recorded) : error;
}

}  // namespace

int main(int argc, char** argv) {
    Task task;
    if (const auto done = sim::parseOptions(argc, argv, task.options)) {
        return *done;
    }
    const std::string error = readFiles(task);
    if (!error.empty()) {
        return complain(error);
    }
    bool failed = false;
    const int status = run(task, failed);
    return failed && status == 0 ? kUsageError : status;
}
