#pragma once

#include <filesystem>
#include <string>

#include <CLI/CLI.hpp>

// Checks of option values that keep the host's rules: numbers are finite, and
// where the host hands them on as floats, a float holds them.

// A number a float holds, from lowest to highest.
CLI::Validator FloatFrom(double lowest, double highest);
// A finite number of at least lowest.
CLI::Validator NumberFrom(double lowest);
// "X,Y,Z", three numbers a float holds.
CLI::Validator FloatVector();
// A replication endpoint: tcp://HOST:PORT or ipc://PATH.
CLI::Validator ReplicationEndpoint();
// Adds --curve-keys DIR and --insecure, of which the command needs one: serve and
// join authenticate unless told not to.
void AddKeyOptions(CLI::App& command, std::filesystem::path& keys, bool& insecure,
                   const std::string& keysHelp, const std::string& insecureHelp);
