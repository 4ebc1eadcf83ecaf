#pragma once

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
