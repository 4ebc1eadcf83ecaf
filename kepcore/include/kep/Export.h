#pragma once

// Symbols of the host framework stay visible to plug-ins built with hidden visibility.
#define KEPCORE_API __attribute__((visibility("default")))
