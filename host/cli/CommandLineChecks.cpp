#include "host/cli/CommandLineChecks.h"

#include "host/cli/ArgumentParsing.h"

CLI::Validator Finite() {
    return CLI::Validator(
        [](std::string& text) {
            return ParseNumber(text) ? std::string() : std::string("expected a finite number");
        },
        "");
}

CLI::Validator FloatVector() {
    return CLI::Validator(
        [](std::string& text) {
            return ParseVector(text) ? std::string()
                                     : std::string("expected X,Y,Z (numbers a float holds)");
        },
        "X,Y,Z");
}
