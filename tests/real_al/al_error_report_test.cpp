#include <gtest/gtest.h>

#include "kep/Messages.h"
#include "plugin/AlErrorReport.h"

namespace {

struct ErrorText {
    ALenum code;
    const char* message;
};

class AlErrorReport : public ::testing::TestWithParam<ErrorText> {};

TEST_P(AlErrorReport, WritesOneErrorLineWithTheCodesText) {
    kep::MessageCapture capture;
    ReportAlError("X", GetParam().code);
    EXPECT_EQ(capture.lines(),
              (std::vector<kep::LoggedLine>{
                  {kep::MessageLevel::Error,
                   std::string("SoundSystem::OpenAL::X: ") + GetParam().message}}));
}

INSTANTIATE_TEST_SUITE_P(
    Codes, AlErrorReport,
    ::testing::Values(ErrorText{0, "No error"},
                      ErrorText{0xA001, "Invalid Name parameter passed to AL call."},
                      ErrorText{0xA002, "Invalid enum. Invalid parameter passed to AL call"},
                      ErrorText{0xA003, "Invalid enum parameter value."},
                      ErrorText{0xA004, "Illegal call."}, ErrorText{0xA005, "Out of memory."},
                      ErrorText{0xA006, "Unknown error."}, ErrorText{-1, "Unknown error."}));

}  // namespace
