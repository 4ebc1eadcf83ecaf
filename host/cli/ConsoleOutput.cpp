#include "host/cli/ConsoleOutput.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

void PrepareStandardStreams() {
    for (int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(descriptor, F_GETFD) == -1 && errno == EBADF) {
            // open() returns the lowest free descriptor: this one.
            const int opened = open("/dev/null", descriptor == STDIN_FILENO ? O_RDONLY : O_WRONLY);
            if (opened != -1 && opened != descriptor) {
                close(opened);
            }
        }
    }
    std::signal(SIGPIPE, SIG_IGN);
}

void WriteText(std::FILE* stream, std::string_view text) {
    std::fwrite(text.data(), 1, text.size(), stream);
}

bool StandardOutputWritten() {
    return std::fflush(stdout) == 0 && !std::ferror(stdout);
}
