#pragma once

#include <AL/al.h>
#include <AL/alc.h>
#include <gtest/gtest.h>

// A real OpenAL Soft device with a current context for the test's lifetime, as the
// sound system has them when it loads a file: the decoder's extension queries and
// the loader's buffer calls need one. Base is testing::Test or a TestWithParam.
template <class Base = testing::Test>
class WithRealAlContext : public Base {
protected:
    void SetUp() override {
        device = alcOpenDevice(nullptr);
        ASSERT_NE(device, nullptr) << "no OpenAL device (run with ALSOFT_DRIVERS=null)";
        context = alcCreateContext(device, nullptr);
        ASSERT_NE(context, nullptr);
        ASSERT_TRUE(alcMakeContextCurrent(context));
        alGetError();
    }

    void TearDown() override {
        alcMakeContextCurrent(nullptr);
        if (context) {
            alcDestroyContext(context);
        }
        if (device) {
            alcCloseDevice(device);
        }
    }

    ALCdevice* device = nullptr;
    ALCcontext* context = nullptr;
};
