#pragma once

// Field encodings of the replication stream. Multi-byte values go through the
// buffer's byte-order setting element by element; the writer never chooses the
// order. Reads that run out of data leave the buffer failed and the field as the
// rules below say.

#include <cstddef>
#include <cstdint>
#include <new>
#include <span>
#include <string>
#include <string_view>

#include <osg/Vec3f>

#include "uxs/io.h"

namespace wire {

using WriteBuffer = uxs::basic_iobuf<std::uint8_t>;
using ReadBuffer = uxs::basic_ibuf<std::uint8_t>;

// A string length beyond this is treated as an allocation that cannot succeed.
// Sound names and file paths are far shorter; the limit only matters for damaged
// streams, whose lengths are arbitrary 64-bit numbers, and keeps one damaged
// length from making the reader fill gigabytes with zeros.
inline constexpr std::uint64_t kLargestStringLength = std::uint64_t{1} << 24;

template <class T>
std::span<const std::uint8_t> BytesOf(const T& value) {
    return {reinterpret_cast<const std::uint8_t*>(&value), sizeof(T)};
}

template <class T>
std::span<std::uint8_t> BytesOf(T& value) {
    return {reinterpret_cast<std::uint8_t*>(&value), sizeof(T)};
}

// A 4- or 8-byte scalar as one element in the buffer's byte order.
template <class T>
void WriteScalar(WriteBuffer& buffer, T value) {
    static_assert(sizeof(T) == 4 || sizeof(T) == 8);
    buffer.write_with_endian(BytesOf(value), sizeof(T));
}

// Reads in place: a short read leaves the value as it was.
template <class T>
void ReadScalar(ReadBuffer& buffer, T& value) {
    static_assert(sizeof(T) == 4 || sizeof(T) == 8);
    buffer.read_with_endian(BytesOf(value), sizeof(T));
}

inline void WriteVector(WriteBuffer& buffer, const osg::Vec3f& vector) {
    WriteScalar(buffer, vector.x());
    WriteScalar(buffer, vector.y());
    WriteScalar(buffer, vector.z());
}

inline void ReadVector(ReadBuffer& buffer, osg::Vec3f& vector) {
    ReadScalar(buffer, vector.x());
    ReadScalar(buffer, vector.y());
    ReadScalar(buffer, vector.z());
}

// One raw byte, 0 or 1.
inline void WriteBool(WriteBuffer& buffer, bool value) {
    const std::uint8_t byte = value ? 1 : 0;
    buffer.write(std::span(&byte, 1));
}

// Any non-zero byte reads as true; the value is only touched when the byte was
// really there.
inline void ReadBool(ReadBuffer& buffer, bool& value) {
    std::uint8_t byte = 0;
    buffer.read(std::span(&byte, 1));
    if (!buffer.fail() && !buffer.eof()) {
        value = byte != 0;
    }
}

// An 8-byte length, then the bytes without a terminator.
inline void WriteString(WriteBuffer& buffer, std::string_view text) {
    WriteScalar(buffer, static_cast<std::uint64_t>(text.size()));
    buffer.write_with_endian(
        std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()), 1);
}

// The string is resized to the length read even when the bytes behind it run
// short; characters it gains are zero until read.
inline void ReadString(ReadBuffer& buffer, std::string& text) {
    std::uint64_t length = 0;
    ReadScalar(buffer, length);
    if (length > kLargestStringLength) {
        // Fails the way the allocation itself would, also where the allocator
        // aborts instead of throwing (as under the address sanitizer).
        throw std::bad_alloc();
    }
    text.resize(static_cast<std::size_t>(length));
    buffer.read_with_endian(std::span(reinterpret_cast<std::uint8_t*>(text.data()), text.size()),
                            1);
}

}  // namespace wire
