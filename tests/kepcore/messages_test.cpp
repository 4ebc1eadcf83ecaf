#include <gtest/gtest.h>

#include <thread>

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

TEST(Messages, LinesFromManyThreadsStayWhole) {
    MessageCapture capture;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([t] {
            for (int i = 0; i < 200; ++i) {
                kep::Info()("thread {} line {}", t, i);
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    const auto lines = capture.lines(kep::MessageLevel::Info);
    ASSERT_EQ(lines.size(), 800u);
    for (const auto& line : lines) {
        ASSERT_TRUE(line.starts_with("thread ")) << line;
    }
}

}  // namespace
