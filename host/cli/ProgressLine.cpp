#include "host/cli/ProgressLine.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <string>

#include "host/cli/ConsoleOutput.h"

ProgressLine::ProgressLine() : onTerminal_(isatty(STDERR_FILENO) == 1) {}

ProgressLine::~ProgressLine() {
    if (shown_) {
        WriteText(stderr, "\n");
    }
}

void ProgressLine::Show(std::string_view text) {
    if (onTerminal_) {
        // Back to the line's start, the new text, and away with what is left of the old.
        PrintError("\r{}\x1b[K", text);
        std::fflush(stderr);
        shown_ = true;
    }
}

std::string ProgressBar(double fraction, int width) {
    const int done = static_cast<int>(std::clamp(fraction, 0.0, 1.0) * width + 0.5);
    return "[" + std::string(done, '#') + std::string(width - done, '-') + "]";
}
