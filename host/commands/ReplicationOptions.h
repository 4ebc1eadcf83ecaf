#pragma once

#include <filesystem>
#include <string>

#include <CLI/CLI.hpp>

// Options of the commands that replicate (serve, join).

// A replication endpoint: tcp://HOST:PORT or ipc://PATH.
CLI::Validator ReplicationEndpoint();
// Adds --curve-keys DIR and --insecure, of which the command needs one: serve and
// join authenticate unless told not to.
void AddKeyOptions(CLI::App& command, std::filesystem::path& keys, bool& insecure,
                   const std::string& keysHelp, const std::string& insecureHelp);
