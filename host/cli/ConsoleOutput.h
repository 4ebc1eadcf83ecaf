#pragma once

#include <cstdio>
#include <string_view>
#include <utility>

#include <fmt/format.h>

// The program's standard streams. A closed standard error or a reader that has
// gone away loses the text written there; it never ends the program (fmt::print
// would throw, and SIGPIPE would kill it).

// Puts /dev/null behind a closed standard stream, so that no file the program
// opens later takes its descriptor and receives its text, and ignores SIGPIPE,
// so that writing to a pipe without a reader fails instead of killing the program.
void PrepareStandardStreams();

// Writes the whole text or as much as the stream takes; failures are only noted
// in the stream's error flag.
void WriteText(std::FILE* stream, std::string_view text);

// A result line, or part of one, on standard output.
template <class... Args>
void Print(fmt::format_string<Args...> format, Args&&... args) {
    WriteText(stdout, fmt::format(format, std::forward<Args>(args)...));
}

// A usage error or a failure of the program itself, on standard error.
template <class... Args>
void PrintError(fmt::format_string<Args...> format, Args&&... args) {
    WriteText(stderr, fmt::format(format, std::forward<Args>(args)...));
}

// Flushes standard output; false if any of it could not be written.
bool StandardOutputWritten();
