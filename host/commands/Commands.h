#pragma once

#include <functional>

#include <CLI/CLI.hpp>

#include "host/runtime/HostContext.h"

// Exit statuses of kep-host.
inline constexpr int kExitDone = 0;
inline constexpr int kExitFailed = 1;
inline constexpr int kExitUsage = 2;
inline constexpr int kExitInterrupted = 130;  // 128 + SIGINT, as a shell reports it

// How a run's summing-up line begins: Done, Interrupted or Failed.
inline const char* OutcomeWord(int status) {
    return status == kExitDone ? "Done" : status == kExitInterrupted ? "Interrupted" : "Failed";
}

// A command's work once its command line is read: it gets the host's context and
// returns the exit status.
using CommandRun = std::function<int(HostContext&)>;

// Adds a command to the command line: a one-line summary for the list of
// commands, and details that its own help shows before the notes all share.
CLI::App* AddCommand(CLI::App& app, const std::string& name, const std::string& summary,
                     const std::string& details = {});

// Each adds its command, with its options and help, to the command line, and
// returns what runs it with the options that the command line will fill in.
CommandRun AddDoctorCommand(CLI::App& app);
CommandRun AddInfoCommand(CLI::App& app);
CommandRun AddJoinCommand(CLI::App& app);
CommandRun AddKeygenCommand(CLI::App& app);
CommandRun AddPlayCommand(CLI::App& app);
CommandRun AddRelayCommand(CLI::App& app);
CommandRun AddReplayDemoCommand(CLI::App& app);
CommandRun AddRunCommand(CLI::App& app);
CommandRun AddRenderCommand(CLI::App& app);
CommandRun AddServeCommand(CLI::App& app);
