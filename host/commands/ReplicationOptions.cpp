#include "host/commands/ReplicationOptions.h"

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
