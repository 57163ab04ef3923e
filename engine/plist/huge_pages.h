// Large buffers in 2 MiB pages where the system lets a program ask for them: a buffer of tens of
// megabytes filled once otherwise costs a page fault for every 4 KiB.
#pragma once

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>

namespace orvane::plist {

inline void adviseHugePages(const void* start, std::size_t bytes) {
    constexpr std::uintptr_t kHuge = 2 * 1024 * 1024;
    if (bytes < 2 * kHuge) return;
    const auto first = (reinterpret_cast<std::uintptr_t>(start) + kHuge - 1) & ~(kHuge - 1);
    const auto last = (reinterpret_cast<std::uintptr_t>(start) + bytes) & ~(kHuge - 1);
    if (last > first) ::madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);
}

}  // namespace orvane::plist
