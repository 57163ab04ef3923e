// A quick hash of a byte run, eight bytes at a time, for the open-addressing tables of the
// writer and of validation; std::hash is several times slower on short strings.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace orvane::plist {

inline std::uint64_t hashBytes(const void* p, std::size_t n, std::uint64_t seed = 0) {
    const auto* b = static_cast<const unsigned char*>(p);
    std::uint64_t h = seed ^ (n * 0x9e3779b97f4a7c15ull);
    auto mix = [&](std::uint64_t w) {
        h ^= w;
        h *= 0xbf58476d1ce4e5b9ull;
        h ^= h >> 31;
    };
    for (; n >= 8; b += 8, n -= 8) {
        std::uint64_t w;
        std::memcpy(&w, b, 8);
        mix(w);
    }
    std::uint64_t tail = 0;
    if (n > 0) std::memcpy(&tail, b, n);  // an empty run may have no address at all
    mix(tail);
    h *= 0x94d049bb133111ebull;
    return h ^ (h >> 29);
}

}  // namespace orvane::plist
