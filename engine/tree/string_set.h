// A set of strings that answers, as it inserts, whether the string was new: the duplicate tests of
// validation (addresses per region, titles per folder) both rest on it. Equality is exact, code
// unit for code unit: no case folding, no trimming, no normalisation. The set holds views: the
// texts must outlive it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace orvane {

class StringSet {
public:
    // Room for `capacity` strings before the set grows.
    explicit StringSet(std::size_t capacity = 0);
    // Adds the string and answers true, or answers false when an equal string is already there.
    bool insert(std::string_view s);
    bool contains(std::string_view s) const;
    std::size_t size() const { return strings_.size(); }

private:
    // Open addressing: each slot holds part of a string's hash and its place in strings_ + 1,
    // so most probes never touch the strings. One flat table per set instead of a node per
    // string keeps a region of 100,000 addresses to two blocks of memory.
    struct Slot {
        std::uint32_t tag = 0;
        std::uint32_t string = 0;  // 0 marks an empty slot
    };
    std::size_t find(std::string_view s,
                     std::uint32_t tag) const;  // the slot holding s, or the empty one where it goes
    void grow();

    std::vector<Slot> slots_;
    std::vector<std::string_view> strings_;
};

}  // namespace orvane
