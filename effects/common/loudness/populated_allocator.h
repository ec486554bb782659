#pragma once
// Storage for the blocks that wait for the measurement. A rendered file's blocks arrive at
// memory speed and are copied at once, so a large block's pages come populated by one call
// rather than by a fault each as the copy first touches them; small ones come from the heap.
#include <cstddef>
#include <new>

#include "tvkit/os_process.h"

namespace tvfx {

template <typename T>
struct PopulatedAllocator {
    using value_type = T;
    static constexpr size_t LargeBytes = size_t{64} << 10;

    PopulatedAllocator() = default;
    template <typename U>
    PopulatedAllocator(const PopulatedAllocator<U>&) {}  // NOLINT: converting, as allocators are

    T* allocate(size_t n) {
        const size_t bytes = n * sizeof(T);
        if (bytes < LargeBytes) return static_cast<T*>(::operator new(bytes));
        if (void* memory = tvkit::os::AllocatePopulated(bytes)) return static_cast<T*>(memory);
        throw std::bad_alloc();
    }
    void deallocate(T* memory, size_t n) {
        const size_t bytes = n * sizeof(T);
        if (bytes < LargeBytes) {
            ::operator delete(memory);
        } else {
            tvkit::os::FreePopulated(memory, bytes);
        }
    }
    template <typename U>
    bool operator==(const PopulatedAllocator<U>&) const {
        return true;
    }
    template <typename U>
    bool operator!=(const PopulatedAllocator<U>&) const {
        return false;
    }
};

}  // namespace tvfx
