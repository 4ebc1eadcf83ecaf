#include "host/CommandLineChecks.h"

#include <fmt/format.h>

#include "host/ArgumentParsing.h"
#include "host/net/Endpoint.h"

CLI::Validator FloatFrom(double lowest, double highest) {
    const std::string rule = fmt::format("a number from {} to {}", lowest, highest);
    return CLI::Validator(
        [=](std::string& text) {
            const std::optional<float> value = ParseFloat(text);
            return value && *value >= lowest && *value <= highest ? std::string()
                                                                  : "expected " + rule;
        },
        fmt::format("NUMBER {}..{}", lowest, highest));
}

CLI::Validator NumberFrom(double lowest) {
    return CLI::Validator(
        [=](std::string& text) {
            const std::optional<double> value = ParseNumber(text);
            return value && *value >= lowest
                       ? std::string()
                       : fmt::format("expected a number of at least {}", lowest);
        },
        fmt::format("NUMBER >= {}", lowest));
}

CLI::Validator FloatVector() {
    return CLI::Validator(
        [](std::string& text) {
            return ParseVector(text) ? std::string()
                                     : std::string("expected X,Y,Z (numbers a float holds)");
        },
        "X,Y,Z");
}

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
