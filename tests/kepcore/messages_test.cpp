#include <gtest/gtest.h>

#include "kep/Messages.h"
#include "support/MessageCapture.h"

namespace {

struct CountsFormatting {
    int* count;
};

}  // namespace

template <>
struct fmt::formatter<CountsFormatting> : fmt::formatter<int> {
    auto format(const CountsFormatting& value, format_context& ctx) const {
        return fmt::formatter<int>::format(++*value.count, ctx);
    }
};

namespace {

TEST(Messages, ComposeOneLineWithTheSupportedFields) {
    MessageCapture capture;
    kep::Error()("{} {:x} {:.2f} {:010}", "a", 255, 1.0 / 3, 7);
    EXPECT_EQ(capture.lines(), std::vector<std::string>{"[error] a ff 0.33 0000000007"});
}

TEST(Messages, ALineLongerThanFourKibIsCutSayingHowMuchWasLeftOut) {
    MessageCapture capture;
    // "é" is two bytes: the one that would straddle the cut goes whole.
    const std::string name = std::string(4095, 'a') + "é" + std::string(9998, 'b');
    kep::Error()("{}", name);
    kep::Error()("{}", std::string(4096, 'c'));
    EXPECT_EQ(capture.lines(), (std::vector<std::string>{"[error] " + std::string(4095, 'a') +
                                                             " … [10000 bytes left out]",
                                                         "[error] " + std::string(4096, 'c')}));
}

TEST(Messages, ALevelThatIsOffFormatsNothing) {
    MessageCapture capture;
    kep::SetMessageLevel(kep::MessageLevel::Warning);
    int formatted = 0;
    kep::Debug()("{}", CountsFormatting{&formatted});
    kep::Warning()("{}", CountsFormatting{&formatted});
    EXPECT_EQ(formatted, 1);
    kep::MessageLevel level{};
    EXPECT_TRUE(kep::ParseMessageLevel("debug", level));
    EXPECT_EQ(level, kep::MessageLevel::Debug);
    EXPECT_FALSE(kep::ParseMessageLevel("verbose", level));
}

}  // namespace
