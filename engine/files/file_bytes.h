// The bytes of a file read whole: a buffer of up to hundreds of megabytes, filled once by read().
#pragma once

#include <cstddef>
#include <cstdint>
#include <new>
#include <utility>
#include <vector>

namespace orvane {

// Leaves a buffer's bytes as they are when it grows: read() fills them at once, so clearing them
// first would write the whole buffer twice.
//
// The buffer is in the system's small pages. Large (2 MiB) pages were tried and measured: on a
// virtual machine that hands memory freed for a while back to its host, large pages come from
// that memory and cost the host's faults again, which made a 1,000,000-bookmark sort a fifth
// slower whenever another program had run in between; small pages were as fast at 100,000.
template <class T>
struct FileBytesAllocator {
    using value_type = T;
    FileBytesAllocator() = default;
    template <class U>
    FileBytesAllocator(const FileBytesAllocator<U>&) {}

    T* allocate(std::size_t n) { return static_cast<T*>(::operator new(n * sizeof(T))); }
    void deallocate(T* p, std::size_t) { ::operator delete(p); }
    // Default-initialised: for bytes, left as they are.
    template <class U>
    void construct(U* p) {
        ::new (static_cast<void*>(p)) U;
    }
    template <class U, class... Args>
    void construct(U* p, Args&&... args) {
        ::new (static_cast<void*>(p)) U(std::forward<Args>(args)...);
    }
    friend bool operator==(const FileBytesAllocator&, const FileBytesAllocator&) { return true; }
};

using FileBytes = std::vector<std::uint8_t, FileBytesAllocator<std::uint8_t>>;

}  // namespace orvane
