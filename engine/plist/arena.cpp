#include "arena.h"

#include <cstdlib>
#include <cstring>

namespace orvane::plist {
namespace {

constexpr std::size_t kChunkSize = 64 * 1024;

// At the start of every chunk. `live` counts the objects in the chunk, plus one while an arena
// still allocates from it.
struct ChunkHeader {
    std::uint32_t live;
};
constexpr std::size_t kHeaderSize = 16;
static_assert(sizeof(ChunkHeader) <= kHeaderSize);
static_assert(Arena::kMaxObject <= kChunkSize - kHeaderSize);

ChunkHeader* headerOf(void* object) {
    return reinterpret_cast<ChunkHeader*>(reinterpret_cast<std::uintptr_t>(object) & ~(std::uintptr_t{kChunkSize} - 1));
}

void drop(ChunkHeader* chunk) {
    if (--chunk->live == 0) std::free(chunk);
}

}  // namespace

Arena::~Arena() {
    if (chunk_) drop(reinterpret_cast<ChunkHeader*>(chunk_));
}

void* Arena::allocate(std::size_t bytes) {
    if (bytes > kMaxObject) return nullptr;
    bytes = (bytes + 7) & ~std::size_t{7};
    if (!chunk_ || used_ + bytes > kChunkSize) {
        auto* fresh = static_cast<std::byte*>(std::aligned_alloc(kChunkSize, kChunkSize));
        if (!fresh) return nullptr;
        reinterpret_cast<ChunkHeader*>(fresh)->live = 1;
        if (chunk_) drop(reinterpret_cast<ChunkHeader*>(chunk_));
        chunk_ = fresh;
        used_ = kHeaderSize;
    }
    void* object = chunk_ + used_;
    used_ += bytes;
    ++reinterpret_cast<ChunkHeader*>(chunk_)->live;
    return object;
}

void Arena::release(void* object) { drop(headerOf(object)); }

}  // namespace orvane::plist
