#pragma once

// Notices Ctrl-C (and SIGTERM, and SIGHUP) while it lives, so that a long command can stop
// cleanly, keep what it has made and close the device, instead of dying.
class InterruptWatch {
public:
    InterruptWatch();   // forgets an earlier interruption
    ~InterruptWatch();  // the signals end the process again
    InterruptWatch(const InterruptWatch&) = delete;
    InterruptWatch& operator=(const InterruptWatch&) = delete;

    static bool Interrupted();
};
