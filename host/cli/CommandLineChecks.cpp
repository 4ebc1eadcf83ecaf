#include "host/cli/CommandLineChecks.h"

#include <fmt/format.h>

#include "host/cli/ArgumentParsing.h"

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
