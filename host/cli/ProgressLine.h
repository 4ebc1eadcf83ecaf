#pragma once

#include <string>
#include <string_view>

// One line on a terminal's standard error that each Show rewrites in place, for
// a person watching a long command. Where standard error is not a terminal (a
// file, a pipe, a test) it shows nothing.
class ProgressLine {
public:
    ProgressLine();
    ~ProgressLine();  // ends the line, so that what follows starts on a fresh one
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    // Whether anything is shown: a caller may skip composing text that is not.
    bool visible() const { return onTerminal_; }
    void Show(std::string_view text);

private:
    bool onTerminal_;
    bool shown_ = false;
};

// "[########------------]" for a fraction from 0 to 1.
std::string ProgressBar(double fraction, int width);
