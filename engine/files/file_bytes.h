// The bytes of a file read whole: a buffer of up to hundreds of megabytes, filled once by read().
#pragma once

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <vector>

namespace orvane {

// Gives a large buffer in 2 MiB pages where the system lets a program ask for them, aligned so
// that all of it can be (a buffer filled once otherwise costs a page fault for every 4 KiB), and
// leaves its bytes as they are when it grows: read() fills them at once, so clearing them first
// would write the whole buffer twice.
template <class T>
struct FileBytesAllocator {
    using value_type = T;
    FileBytesAllocator() = default;
    template <class U>
    FileBytesAllocator(const FileBytesAllocator<U>&) {}

    static constexpr std::size_t kLargePage = std::size_t{2} << 20;

    T* allocate(std::size_t n) {
        const std::size_t bytes = n * sizeof(T);
        if (bytes < 2 * kLargePage) return static_cast<T*>(::operator new(bytes));
        const std::size_t rounded = (bytes + kLargePage - 1) / kLargePage * kLargePage;
        void* p = std::aligned_alloc(kLargePage, rounded);
        if (!p) throw std::bad_alloc();
        // The last, partly used page stays in small pages: a large one would be all in memory.
        ::madvise(p, bytes / kLargePage * kLargePage, MADV_HUGEPAGE);
        return static_cast<T*>(p);
    }
    void deallocate(T* p, std::size_t n) {
        if (n * sizeof(T) < 2 * kLargePage)
            ::operator delete(p);
        else
            std::free(p);
    }
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
