#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "kep/Export.h"

namespace uxs {

enum class byte_order : std::uint8_t { little, big };

// The byte order of the machine the program runs on.
constexpr byte_order native_byte_order() {
    return std::endian::native == std::endian::little ? byte_order::little : byte_order::big;
}

// A reading cursor over bytes it does not own. Multi-byte elements are read in the
// buffer's byte order. A read that cannot be satisfied takes what whole elements
// there are, and sets both the end-of-data and the fail state; a failed buffer
// delivers nothing more.
template <class T>
class basic_ibuf {
    static_assert(sizeof(T) == 1, "byte buffers only");

public:
    basic_ibuf() = default;
    explicit basic_ibuf(std::span<const T> data, byte_order order = byte_order::little)
        : data_(data.data()), size_(data.size()), order_(order) {}
    virtual ~basic_ibuf() = default;

    std::size_t read(std::span<T> out) { return read_with_endian(out, 1); }
    // Reads out.size() / width elements of `width` bytes each (width 1, 2, 4 or 8).
    std::size_t read_with_endian(std::span<T> out, std::size_t width);

    byte_order order() const { return order_; }
    void set_order(byte_order order) { order_ = order; }

    bool good() const { return !eof_ && !fail_; }
    bool eof() const { return eof_; }
    bool fail() const { return fail_; }
    explicit operator bool() const { return !fail_; }
    void clear_state() { eof_ = fail_ = false; }

    std::size_t position() const { return pos_; }
    std::size_t size() const { return size_; }
    std::size_t avail() const { return size_ - pos_; }
    void rewind() {
        pos_ = 0;
        clear_state();
    }

protected:
    void reset_view(const T* data, std::size_t size) {
        data_ = data;
        size_ = size;
    }

private:
    const T* data_ = nullptr;
    std::size_t size_ = 0;
    std::size_t pos_ = 0;
    byte_order order_ = byte_order::little;
    bool eof_ = false;
    bool fail_ = false;
};

// A growable byte buffer: what is written is appended and can be read back from
// the start through the reading side.
template <class T>
class basic_iobuf : public basic_ibuf<T> {
public:
    explicit basic_iobuf(byte_order order = byte_order::little) { this->set_order(order); }
    basic_iobuf(const basic_iobuf&) = delete;
    basic_iobuf& operator=(const basic_iobuf&) = delete;

    basic_iobuf& write(std::span<const T> bytes) { return write_with_endian(bytes, 1); }
    // Appends bytes.size() / width elements, each put into the buffer's byte order.
    basic_iobuf& write_with_endian(std::span<const T> bytes, std::size_t width);

    std::span<const T> data() const { return storage_; }
    std::vector<T> take();
    void clear();

private:
    std::vector<T> storage_;
};

using ibuf = basic_ibuf<std::uint8_t>;
using iobuf = basic_iobuf<std::uint8_t>;

extern template class KEPCORE_API basic_ibuf<std::uint8_t>;
extern template class KEPCORE_API basic_iobuf<std::uint8_t>;

}  // namespace uxs
