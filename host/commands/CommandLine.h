#pragma once

#include "host/commands/Commands.h"
#include "host/runtime/HostContext.h"

// What kep-host's command line asks for: the command to run with the options all
// commands share, or, when there is nothing to run (help, --version, a usage
// error, all written out already), the exit status.
struct CommandLine {
    HostContext::Options options;
    CommandRun run;
    int exitStatus = kExitDone;
};

CommandLine ParseCommandLine(int argc, char** argv);
