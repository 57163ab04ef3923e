// Memory for the hundreds of thousands of small objects a reader makes: strings, data and
// containers are carved one after another out of 64 KiB chunks instead of being allocated one by
// one. That saves malloc's per-block overhead (a third of a bookmarks tree's memory) and most of
// the time spent allocating and freeing.
//
// Objects still die one by one, as the tree's reference counts say: each chunk counts the
// objects alive in it and goes back to the heap with the last of them. Chunks are aligned to
// their size, so an object finds its chunk from its own address and needs no pointer to it.
// Like the values, an arena and its chunks belong to one thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>

namespace orvane::plist {

class Arena {
public:
    Arena() = default;
    ~Arena();
    Arena(const Arena&) = delete;
    Arena& operator=(const Arena&) = delete;

    // Room for one object of `bytes` bytes, aligned to 8, or nullptr when the object is too big
    // to share a chunk (the caller then allocates it on its own) or memory ran out.
    void* allocate(std::size_t bytes);

    // The largest object an arena hands out.
    static constexpr std::size_t kMaxObject = 8 * 1024;

    // Gives back an object's room; the chunk is freed when nothing in it is alive any more.
    static void release(void* object);

private:
    std::byte* chunk_ = nullptr;
    std::size_t used_ = 0;
};

}  // namespace orvane::plist
