#pragma once

#include <cstdint>
#include <memory>
#include <new>
#include <utility>
#include <vector>

// Allocates like std::allocator, but leaves a byte made without a value
// uninitialised: growing the PCM by a frame's room before converting into it
// writes nothing twice.
template <class T>
class DefaultInitAllocator : public std::allocator<T> {
public:
    template <class U>
    struct rebind {
        using other = DefaultInitAllocator<U>;
    };
    using std::allocator<T>::allocator;

    template <class U>
    void construct(U* place) noexcept {
        ::new (static_cast<void*>(place)) U;
    }
    template <class U, class... Args>
    void construct(U* place, Args&&... args) {
        ::new (static_cast<void*>(place)) U(std::forward<Args>(args)...);
    }
};

// A decoded sound's PCM, as handed to alBufferData.
using PcmBytes = std::vector<std::uint8_t, DefaultInitAllocator<std::uint8_t>>;
