#pragma once

#include <string>

#include <CLI/CLI.hpp>

// Checks of option values that keep the host's rules: numbers are finite, and
// where the host hands them on as floats, a float holds them.
//

// CLI11's own checks (CLI::Range, CLI::NonNegativeNumber) do the rest; these two
// are what it lacks. Its ranges let "nan" through (it compares false with any
// bound), so a number option takes its range and Finite().

// A finite number: not "nan", "inf" nor too large for a double.
CLI::Validator Finite();
// "X,Y,Z", three numbers a float holds.
CLI::Validator FloatVector();
