#include "host/commands/ReplicationOptions.h"

#include "host/cli/CommandLineChecks.h"
#include "host/net/Endpoint.h"

CLI::Validator ReplicationEndpoint() {
    return CLI::Validator(
        [](std::string& text) {
            std::string error;
            return replication::SnapshotEndpoint(text, error) ? std::string() : error;
        },
        "ENDPOINT");
}

void AddKeyOptions(CLI::App& command, std::filesystem::path& keys, bool& insecure,
                   const std::string& keysHelp, const std::string& insecureHelp) {
    CLI::Option* keysOption = command.add_option("--curve-keys", keys, keysHelp)->type_name("DIR");
    CLI::Option* insecureFlag = command.add_flag("--insecure", insecure, insecureHelp);
    keysOption->excludes(insecureFlag);
    command.callback([keysOption, insecureFlag] {
        if (keysOption->count() == 0 && insecureFlag->count() == 0) {
            throw CLI::ValidationError(
                "--curve-keys DIR is needed (kep-host keygen makes the keys), or --insecure "
                "to run without authentication");
        }
    });
}

void AddUpstreamOptions(CLI::App& command, UpstreamOptions& options,
                        const std::string& timeoutHelp) {
    command.add_option("--timeout", options.timeout, timeoutHelp)
        ->check(CLI::Range(0.1, 1e6) & Finite())
        ->type_name("S");
    command
        .add_option("--max-batch-kb", options.maxBatchKb,
                    "the largest batch accepted, in KiB (default: 1024); a larger one is "
                    "dropped and the state caught up by a snapshot")
        ->check(CLI::Range(1, 1 << 20))
        ->type_name("KB");
    command
        .add_option("--max-snapshot-mb", options.maxSnapshotMb,
                    "the largest snapshot accepted, in MiB (default: 16)")
        ->check(CLI::Range(1, 2047))
        ->type_name("MB");
}
