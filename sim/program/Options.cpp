#include "sim/program/Options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <cstring>
#include <iostream>

namespace sim {
namespace {

constexpr int kUsageError = 2;
constexpr char kFooter[] =
    "The command to run, with its arguments, stands behind \"--\"; without one the daemon beside the "
    "simulator\n"
    "is run.\n"
    "Exit status: the command's (128 + n after signal n); with a script 0 passed, 1 an expectation failed,\n"
    "2 usage or script error, 3 the command ended by itself, 42 time-out; with a replay likewise, 0 equal "
    "and\n"
    "1 different. When a recording or picture file could not be written, 2 stands for 0.";
constexpr char kAsFastAsCanBe[] = "max";
constexpr double kSlowest = 0.01;
constexpr double kFastest = 1000;

std::optional<double> parseSpeed(const std::string& text) {
    double speed = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), speed);
    return error == std::errc{} && end == text.data() + text.size() ? std::optional(speed) : std::nullopt;
}

// A complaint, or an empty text.
std::string knownSpeed(const std::string& text) {
    const auto speed = parseSpeed(text);
    const bool known = text == kAsFastAsCanBe || (speed && *speed >= kSlowest && *speed <= kFastest);
    return known ? "" : "no speed: " + text;
}

void describe(CLI::App& app, Options& options) {
    app.footer(kFooter);
    app.set_version_flag("--version", std::string("beltpack_sim ") + BELTPACK_VERSION);
    app.add_option("--panel", options.panel, "Fitted display variant")->check(CLI::Range(0, 1));
    app.add_option(
        "--disptype", options.disptype,
        "What fw_printenv answers: a value, \"unset\" or \"missing\" (default: the fitted variant)");
    app.add_option("--disptype-status", options.disptypeStatus, "Exit status of fw_printenv after a value")
        ->check(CLI::Range(0, 255));
    app.add_option("--screenshot", options.screenshot, "Write the last frame as a PNG file at the end");
    app.add_option("--scale", options.scale, "Picture points a panel pixel, each way (default: 4)")
        ->check(CLI::Range(1, 32));
    app.add_option("--log", options.log, "Write what happens as JSON objects, one a line");
    app.add_flag("--trace", options.trace, "Show what happens on standard error");
    app.add_flag("--lines", options.lines, "Show the daemon's lines, in and out, on standard error");
    app.add_flag("--term", options.term, "Show the panel in the terminal, and take keys there");
    app.add_option_function<std::string>(
           "--web",
           [&options](const std::string& text) {
               options.web = WebAddress::parse(text);
               if (!options.web) {
                   throw CLI::ValidationError("--web", "\"" + text + "\" is no [ADDRESS:]PORT");
               }
           },
           "Offer the panel as a web page (default: 127.0.0.1:8096; port 0: a free one)")
        ->type_name("[ADDRESS:]PORT")
        ->expected(0, 1);
    app.add_option("--daemon", options.daemon,
                   "Name of the program whose lines are looked at (default: beltpack_fpui)");
    app.add_option("--script", options.script, "Play a scripted session")->check(CLI::ExistingFile);
    app.add_option_function<std::string>(
           "--clock", [&options](const std::string& name) { options.virtualTime = name == "virtual"; },
           "\"virtual\": time passes when the script and the daemon wait, and only then (default: real)")
        ->check(CLI::IsMember({"real", "virtual"}));
    app.add_option("--record", options.record, "Record the session in this file");
    app.add_option("--replay", options.replay, "Play a recording again and compare what comes")
        ->check(CLI::ExistingFile)
        ->excludes("--script");
    app.add_option_function<std::string>(
           "--speed", [&options](const std::string& text) { options.speed = parseSpeed(text); },
           "So many times as fast as recorded, 0.01 to 1000, or \"max\" (default: 1)")
        ->check(knownSpeed)
        ->needs("--replay");
    app.add_option("--gif", options.gif, "Write what the display shows as an animated GIF");
    app.add_option("--frames", options.frames, "Write every frame as a PNG file in this folder");
    app.add_option("--timeout", options.timeout,
                   "Longest wait of a script or a replay, in seconds (default: 10)")
        ->check(CLI::Range(1, 3600));
    app.add_option("--artifacts", options.artifacts,
                   "Folder for the pictures of a script or a replay and the page's recordings (default: the "
                   "current one)");
    app.add_flag("--update-pictures", options.updatePictures, "Write a script's expected pictures anew")
        ->needs("--script");
}

}  // namespace

// What follows "--" is the command's alone: it never reaches the parser, which would interpret some of it.
std::optional<int> parseOptions(int argc, char** argv, Options& options) {
    char** const end = argv + argc;
    char** const mark =
        std::find_if(argv, end, [](const char* word) { return std::strcmp(word, "--") == 0; });
    if (mark != end) {
        options.command.assign(mark + 1, end);
    }
    CLI::App app("Runs the front-panel daemon, or another command, on an emulated panel.", "beltpack_sim");
    describe(app, options);
    try {
        app.parse(static_cast<int>(mark - argv), argv);
    } catch (const CLI::ExtrasError& error) {
        app.exit(error);
        std::cerr << "A command to run stands behind \"--\": beltpack_sim -- COMMAND\n";
        return kUsageError;
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : kUsageError;
    }
    if (options.virtualTime && options.script.empty()) {
        std::cerr << "--clock virtual: needs --script, which says when time may pass\n";
        return kUsageError;
    }
    return std::nullopt;
}

}  // namespace sim
