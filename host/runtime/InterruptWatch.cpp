#include "host/runtime/InterruptWatch.h"

#include <atomic>
#include <csignal>

namespace {

std::atomic<bool> interrupted{false};

extern "C" void OnInterrupt(int) {
    interrupted = true;
}

}  // namespace

InterruptWatch::InterruptWatch() {
    interrupted = false;
    std::signal(SIGINT, &OnInterrupt);
    std::signal(SIGTERM, &OnInterrupt);
    std::signal(SIGHUP, &OnInterrupt);  // the terminal closed
}

InterruptWatch::~InterruptWatch() {
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGTERM, SIG_DFL);
    std::signal(SIGHUP, SIG_DFL);
}

bool InterruptWatch::Interrupted() {
    return interrupted;
}
