// kep-host: a small host program for the sound plug-in.
#include <cstdio>

#include "host/CommandLine.h"
#include "host/ConsoleOutput.h"
#include "host/FfmpegLogRoute.h"
#include "host/HostContext.h"
#include "host/LimitedMessageSink.h"

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
