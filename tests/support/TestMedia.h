#pragma once

#include <string>
#include <string_view>

// The folder holding the files tests/data/make_media.sh makes, as named by the
// environment variable KEP_TEST_MEDIA. Throws (failing the calling test with the
// reason) when the variable is unset or the folder does not exist.
std::string MediaDir();

// The full path of one test media file. Throws (failing the calling test with the
// reason) when the folder is unknown or the file is missing. Call it from a test
// body, fixture or SetUp, not while tests are being registered.
std::string MediaPath(std::string_view fileName);
