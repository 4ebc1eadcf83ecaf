#include "host/commands/CommandLine.h"
#include "host/runtime/PluginFolder.h"

#include <sstream>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

#include "host/cli/ConsoleOutput.h"

#ifndef KEP_VERSION
#define KEP_VERSION "unknown"
#endif

namespace {

constexpr const char* kFooter = R"(
Coordinates are OpenAL's, in metres: right-handed, +X to the right, +Y up and -Z
ahead of a listener who has not turned. Gains are linear: 1 leaves a sound as it
is, 0.5 makes it 6 dB quieter.

Exit status: 0 done, 1 failed, 2 usage error, 130 interrupted (Ctrl-C).
Log lines go to standard error, results to standard output.)";

// Words run into lines of at most kHelpWidth characters.
constexpr std::size_t kHelpWidth = 80;
std::string Wrapped(const std::string& text) {
    std::istringstream words(text);
    std::string wrapped, line, word;
    while (words >> word) {
        if (!line.empty() && line.size() + 1 + word.size() > kHelpWidth) {
            wrapped += line + "\n";
            line.clear();
        }
        line += (line.empty() ? "" : " ") + word;
    }
    return wrapped + line;
}

}  // namespace

CLI::App* AddCommand(CLI::App& app, const std::string& name, const std::string& summary,
                     const std::string& details) {
    CLI::App* command = app.add_subcommand(name, summary);
    // The units and exit codes are said once, in kep-host --help.
    command->footer(details.empty() ? std::string() : "\n" + Wrapped(details));
    return command;
}

CommandLine ParseCommandLine(int argc, char** argv) {
    CommandLine result;
    result.options.pluginDir = DefaultPluginFolder();

    CLI::App app("kep-host: a small host program for the kepSoundPlugins sound plug-in.",
                 "kep-host");
    app.footer(kFooter);
    app.set_version_flag("--version", "kep-host " KEP_VERSION);
    app.require_subcommand(1);
    // The shared options may also follow the command's name.
    app.fallthrough();
    app.add_option("--plugins", result.options.pluginDir,
                   "where the plug-in libraries are (default: lib/kep/plugins beside an installed "
                   "kep-host, else the build's plugins folder)")
        ->type_name("DIR");
    CLI::Option* logLevel =
        app.add_option_function<std::string>(
               "--log-level",
               [&](const std::string& level) {
                   kep::ParseMessageLevel(level, result.options.logLevel);
               },
               "the least severe log lines shown (default: warning; it wins over -v)")
            ->type_name("LEVEL")
            ->check(CLI::IsMember({"error", "warning", "info", "debug"}));
    int verbosity = 0;
    CLI::Option* verbose = app.add_flag(
        "-v,--verbose", verbosity,
        "more log lines: -v adds the info lines (what was opened and loaded), -vv the debug "
        "lines");

    std::vector<std::pair<CLI::App*, CommandRun>> commands;
    for (auto add : {&AddDoctorCommand, &AddInfoCommand, &AddPlayCommand, &AddReplayDemoCommand,
                     &AddRunCommand, &AddRenderCommand, &AddServeCommand, &AddJoinCommand,
                     &AddRelayCommand, &AddKeygenCommand}) {
        CommandRun run = add(app);
        commands.emplace_back(app.get_subcommands([](CLI::App*) { return true; }).back(),
                              std::move(run));
    }

    if (argc <= 1) {
        PrintError("kep-host: a command is needed\n\n{}", app.help());
        result.exitStatus = kExitUsage;
        return result;
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        std::ostringstream out, err;
        const bool success = app.exit(error, out, err) == 0;
        WriteText(stdout, out.str());
        WriteText(stderr, err.str());
        result.exitStatus = !success                  ? kExitUsage
                            : StandardOutputWritten() ? kExitDone
                                                      : kExitFailed;
        return result;
    }
    if (verbose->count() > 0 && logLevel->count() == 0) {
        result.options.logLevel =
            verbosity >= 2 ? kep::MessageLevel::Debug : kep::MessageLevel::Info;
    }
    for (const auto& [command, run] : commands) {
        if (command->parsed()) {
            result.run = run;
        }
    }
    return result;
}
