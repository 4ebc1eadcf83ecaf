#pragma once

#include <filesystem>
#include <string>

#include <CLI/CLI.hpp>

#include "host/net/ReplicationClient.h"

// Options of the commands that replicate (serve, join).

// A replication endpoint: tcp://HOST:PORT or ipc://PATH.
CLI::Validator ReplicationEndpoint();
// Adds --curve-keys DIR and --insecure, of which the command needs one: serve and
// join authenticate unless told not to.
void AddKeyOptions(CLI::App& command, std::filesystem::path& keys, bool& insecure,
                   const std::string& keysHelp, const std::string& insecureHelp);

// What an instance that follows a server (join, relay) accepts from it.
struct UpstreamOptions {
    double timeout = 10;
    std::size_t maxBatchKb = 1024;
    std::size_t maxSnapshotMb = 16;

    replication::ReplicationClient::Limits limits() const {
        return {maxBatchKb << 10, maxSnapshotMb << 20};
    }
};
// Adds --timeout, --max-batch-kb and --max-snapshot-mb.
void AddUpstreamOptions(CLI::App& command, UpstreamOptions& options,
                        const std::string& timeoutHelp);
