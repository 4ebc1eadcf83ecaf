// kep-host: a small host program for the sound plug-in.
#include <cstdio>

#include "host/cli/ConsoleOutput.h"
#include "host/commands/CommandLine.h"
#include "host/runtime/FfmpegLogRoute.h"
#include "host/runtime/HostContext.h"
#include "host/runtime/LimitedMessageSink.h"

int main(int argc, char** argv) {
    PrepareStandardStreams();
    const CommandLine commandLine = ParseCommandLine(argc, argv);
    if (!commandLine.run) {
        return commandLine.exitStatus;
    }
    kep::SetMessageLevel(commandLine.options.logLevel);
    const auto logLimit = LimitedMessageSink::Install();
    const FfmpegLogRoute ffmpegLog;
    int status = kExitDone;
    {
        HostContext context(commandLine.options);
        status = commandLine.run(context);
    }
    logLimit->Flush();
    // Results that never reached their reader make the run a failure.
    if (!StandardOutputWritten() && status == kExitDone) {
        PrintError("kep-host: standard output could not be written\n");
        status = kExitFailed;
    }
    return status;
}
