// kep-host: a small host program for the sound plug-in.
#include <cstdio>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "host/ConsoleOutput.h"
#include "host/FfmpegLogRoute.h"
#include "host/HostContext.h"
#include "host/PluginFolder.h"

#ifndef KEP_DEFAULT_PLUGIN_DIR
#define KEP_DEFAULT_PLUGIN_DIR "plugins"
#endif

namespace {

constexpr const char* kUsage =
    R"(usage: kep-host [--plugins DIR] [--log-level LEVEL] COMMAND [ARGS...]

Commands:
  doctor                 load the plug-ins, open the audio device, report
  info FILE...           decode each file and describe the sound it makes
  play FILE [--at X,Y,Z] [--loop] [--gain G] [--seconds S]
                         play a file from a source placed in the world
  replay-demo FILE [--frames N] [--dump]
                         keep a second sound system in step with a first

Options:
  --plugins DIR          where the plug-in libraries are (default: the build's)
  --log-level LEVEL      error, warning, info (default) or debug
)";

struct Command {
    const char* name;
    int (*run)(HostContext&, std::span<const std::string>);
};

constexpr Command kCommands[] = {
    {"doctor", &RunDoctor},
    {"info", &RunInfo},
    {"play", &RunPlay},
    {"replay-demo", &RunReplayDemo},
};

}  // namespace

int main(int argc, char** argv) {
    PrepareStandardStreams();
    HostContext::Options options;
    options.pluginDir = DefaultPluginFolder();
    std::vector<std::string> rest;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if ((arg == "--plugins" || arg == "--log-level") && i + 1 >= argc) {
            PrintError("{} needs a value\n{}", arg, kUsage);
            return 2;
        }
        if (arg == "--plugins") {
            options.pluginDir = argv[++i];
        } else if (arg == "--log-level") {
            const std::string level = argv[++i];
            if (!kep::ParseMessageLevel(level, options.logLevel)) {
                PrintError("unknown log level {}\n{}", level, kUsage);
                return 2;
            }
        } else if (arg == "--help" || arg == "-h") {
            Print("{}", kUsage);
            return StandardOutputWritten() ? 0 : 1;
        } else {
            rest.push_back(arg);
        }
    }
    if (rest.empty()) {
        PrintError("{}", kUsage);
        return 2;
    }
    kep::SetMessageLevel(options.logLevel);
    for (const Command& command : kCommands) {
        if (rest.front() == command.name) {
            const FfmpegLogRoute ffmpegLog;
            int status = 0;
            {
                HostContext context(options);
                status = command.run(context, std::span<const std::string>(rest).subspan(1));
            }
            // Results that never reached their reader make the run a failure.
            if (!StandardOutputWritten() && status == 0) {
                PrintError("kep-host: standard output could not be written\n");
                status = 1;
            }
            return status;
        }
    }
    PrintError("unknown command {}\n{}", rest.front(), kUsage);
    return 2;
}
