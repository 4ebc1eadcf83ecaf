#include "uxs/io.h"

#include <algorithm>
#include <cstring>

namespace uxs {

namespace {

// Copies `count` elements of `width` bytes, reversing each element when the
// buffer's order differs from the machine's.
void copy_elements(std::uint8_t* to, const std::uint8_t* from, std::size_t count, std::size_t width,
                   byte_order order) {
    if (count == 0) {
        return;  // an empty buffer may have no storage at all
    }
    if (width <= 1 || order == native_byte_order()) {
        std::memcpy(to, from, count * width);
        return;
    }
    for (std::size_t i = 0; i < count; ++i) {
        std::reverse_copy(from + i * width, from + (i + 1) * width, to + i * width);
    }
}

}  // namespace

template <class T>
std::size_t basic_ibuf<T>::read_with_endian(std::span<T> out, std::size_t width) {
    if (width == 0 || fail_) {
        if (fail_ && !out.empty()) {
            eof_ = true;
        }
        return 0;
    }
    const std::size_t wanted = out.size() / width;
    const std::size_t available = avail() / width;
    const std::size_t count = std::min(wanted, available);
    copy_elements(reinterpret_cast<std::uint8_t*>(out.data()),
                  reinterpret_cast<const std::uint8_t*>(data_ + pos_), count, width, order_);
    pos_ += count * width;
    if (count < wanted) {
        eof_ = fail_ = true;
    }
    return count * width;
}

template <class T>
basic_iobuf<T>& basic_iobuf<T>::write_with_endian(std::span<const T> bytes, std::size_t width) {
    if (width == 0) {
        return *this;
    }
    const std::size_t count = bytes.size() / width;
    const std::size_t offset = storage_.size();
    storage_.resize(offset + count * width);
    copy_elements(reinterpret_cast<std::uint8_t*>(storage_.data() + offset),
                  reinterpret_cast<const std::uint8_t*>(bytes.data()), count, width, this->order());
    this->reset_view(storage_.data(), storage_.size());
    return *this;
}

template <class T>
std::vector<T> basic_iobuf<T>::take() {
    std::vector<T> bytes = std::move(storage_);
    clear();
    return bytes;
}

template <class T>
void basic_iobuf<T>::clear() {
    storage_.clear();
    this->reset_view(storage_.data(), 0);
    this->rewind();
}

template class basic_ibuf<std::uint8_t>;
template class basic_iobuf<std::uint8_t>;

}  // namespace uxs
