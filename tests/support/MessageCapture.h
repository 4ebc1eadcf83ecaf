#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "kep/Messages.h"

// Collects every line written to the host's message streams while it lives (all
// levels, whatever level is shown), and puts the previous sink and level back
// when it goes.
class MessageCapture {
public:
    MessageCapture();
    ~MessageCapture();
    MessageCapture(const MessageCapture&) = delete;
    MessageCapture& operator=(const MessageCapture&) = delete;

    // Every line as "[level] text", oldest first.
    std::vector<std::string> lines() const;
    // The texts of one level, oldest first.
    std::vector<std::string> lines(kep::MessageLevel level) const;
    bool contains(kep::MessageLevel level, std::string_view text) const;
    void clear();

private:
    struct Sink;
    std::shared_ptr<Sink> sink;
    std::shared_ptr<kep::MessageSink> previousSink;
    kep::MessageLevel previousLevel;
};
