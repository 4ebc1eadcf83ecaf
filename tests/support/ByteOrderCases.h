#pragma once

// The two byte orders a host buffer can be set to, as test parameters that
// print their names.

#include <ostream>

#include "uxs/io.h"

struct ByteOrderCase {
    uxs::byte_order order;
    const char* name;
};

inline void PrintTo(const ByteOrderCase& byteOrder, std::ostream* out) {
    *out << byteOrder.name;
}

inline constexpr ByteOrderCase kByteOrderCases[] = {{uxs::byte_order::little, "Little"},
                                                    {uxs::byte_order::big, "Big"}};
