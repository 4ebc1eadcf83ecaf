#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "kep/Messages.h"

namespace {

struct CountsFormatting {
    int* count;
};

}  // namespace

template <>
struct fmt::formatter<CountsFormatting> : fmt::formatter<int> {
    auto format(const CountsFormatting& value, format_context& ctx) const {
        ++*value.count;
        return fmt::formatter<int>::format(*value.count, ctx);
    }
};

namespace {

TEST(Messages, ComposeOneLineWithTheSupportedFields) {
    kep::MessageCapture capture;
    kep::Error()("{} {:x} {:.2f} {:010}", "a", 255, 1.0 / 3, 7);
    EXPECT_EQ(capture.lines(),
              (std::vector<kep::LoggedLine>{{kep::MessageLevel::Error, "a ff 0.33 0000000007"}}));
}

TEST(Messages, ALevelThatIsOffFormatsNothing) {
    kep::MessageCapture capture;
    kep::SetMessageLevel(kep::MessageLevel::Warning);
    int formatted = 0;
    kep::Debug()("{}", CountsFormatting{&formatted});
    kep::Info()("{}", CountsFormatting{&formatted});
    kep::Warning()("{}", CountsFormatting{&formatted});
    EXPECT_EQ(formatted, 1);
    EXPECT_EQ(capture.lines().size(), 1u);
}

TEST(Messages, CaptureRestoresTheLevelItFound) {
    kep::SetMessageLevel(kep::MessageLevel::Error);
    {
        kep::MessageCapture capture;
        EXPECT_EQ(kep::GetMessageLevel(), kep::MessageLevel::Debug);
    }
    EXPECT_EQ(kep::GetMessageLevel(), kep::MessageLevel::Error);
}

TEST(Messages, LinesFromManyThreadsStayWhole) {
    kep::MessageCapture capture;
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
    auto lines = capture.lines(kep::MessageLevel::Info);
    ASSERT_EQ(lines.size(), 800u);
    for (auto& line : lines) {
        EXPECT_TRUE(line.starts_with("thread ")) << line;
    }
}

TEST(Messages, LevelsParseByName) {
    kep::MessageLevel level{};
    EXPECT_TRUE(kep::ParseMessageLevel("debug", level));
    EXPECT_EQ(level, kep::MessageLevel::Debug);
    EXPECT_FALSE(kep::ParseMessageLevel("verbose", level));
}

}  // namespace
