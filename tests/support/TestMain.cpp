// The main of every test program: the environment the tests expect, then GoogleTest.
#include <cstdlib>

#include <gmock/gmock.h>

#ifndef KEP_TEST_MEDIA_DIR
#define KEP_TEST_MEDIA_DIR ""
#endif
#ifndef KEP_TSAN_SUPPRESSIONS
#define KEP_TSAN_SUPPRESSIONS ""
#endif

// Huge sizes read from damaged streams must throw std::bad_alloc, not abort.
extern "C" const char* __asan_default_options() {
    return "allocator_may_return_null=1:detect_leaks=1";
}

extern "C" const char* __ubsan_default_options() {
    return "print_stacktrace=1:halt_on_error=1";
}

extern "C" const char* __tsan_default_options() {
    return "halt_on_error=1:second_deadlock_stack=1:suppressions=" KEP_TSAN_SUPPRESSIONS;
}

int main(int argc, char** argv) {
    // No sound card here: OpenAL Soft plays on its null backend unless told otherwise.
    setenv("ALSOFT_DRIVERS", "null", 0);
    setenv("KEP_TEST_MEDIA", KEP_TEST_MEDIA_DIR, 0);
    ::testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
