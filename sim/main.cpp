// beltpack_sim: runs a program on an emulated front panel. See docs/simulator.md.
#include <cstdio>
#include <filesystem>
#include <memory>

#include "sim/program/Options.h"
#include "sim/program/Pictures.h"
#include "sim/program/Session.h"
#include "sim/script/ScriptParser.h"
#include "sim/script/ScriptRunner.h"
#include "sim/term/TerminalView.h"
#include "sim/view/LinePrinter.h"

namespace {

constexpr int kUsageError = 2;
constexpr char kDaemon[] = "beltpack_fpui";
constexpr char kShim[] = "libbeltpack_shim.so";

int complain(const std::string& what) {
    std::fprintf(stderr, "beltpack_sim: %s\n", what.c_str());
    return kUsageError;
}

sim::SessionOptions sessionOptions(const sim::Options& options) {
    const auto folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    sim::SessionOptions session;
    session.variant = options.panel;
    session.boot = sim::BootAnswer::parse(options.disptype.value_or(std::to_string(options.panel)),
                                          options.disptypeStatus);
    session.command = options.command;
    if (session.command.empty()) {
        session.command = {folder / kDaemon};
    }
    session.shim = folder / kShim;
    session.piped = !options.script.empty();
    session.daemon = options.daemon;
    session.virtualTime = options.virtualTime;
    return session;
}

void addViews(sim::Session& session, const sim::Options& options) {
    if (options.lines) {
        session.add(std::make_unique<sim::LinePrinter>());
    }
    if (options.term) {
        session.add(std::make_unique<sim::TerminalView>());
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

int run(const sim::Options& options, const sim::Script& script) {
    sim::Session session(sessionOptions(options));
    if (!options.log.empty() && !session.log().writeTo(options.log)) {
        return complain("cannot write " + options.log);
    }
    if (options.trace) {
        session.log().trace();
    }
    addViews(session, options);
    const std::string error = session.prepare();
    if (!error.empty()) {
        return complain(error);
    }
    const int status = options.script.empty() ? runCommand(session) : runScript(session, script, options);
    session.finish();
    if (!options.screenshot.empty() &&
        !sim::savePicture(options.screenshot, session.panel().oled.lastFrame(), options.scale)) {
        complain("cannot write " + options.screenshot);
    }
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    sim::Options options;
    if (const auto done = sim::parseOptions(argc, argv, options)) {
        return *done;
    }
    sim::Script script;
    if (!options.script.empty()) {
        const std::string error = sim::parseScriptFile(options.script, script);
        if (!error.empty()) {
            return complain(error);
        }
    }
    return run(options, script);
}
