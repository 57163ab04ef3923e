// Sets of strings that answer, as they insert, whether the string was new: the duplicate tests of
// validation (addresses per region, titles per folder) both rest on them. Equality is exact, code
// unit for code unit: no case folding, no trimming, no normalisation.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "plist/hash.h"

namespace orvane {

// Open addressing over strings kept elsewhere: a slot holds part of a string's hash and a number
// that the caller's `textOf` turns back into the string, so most probes never touch the strings,
// and one flat table serves a whole set. A region's addresses are numbered by their bookmarks,
// whose addresses stay in the tree: a million of them make one table of 16 MB and no copy.
class StringTable {
public:
    // Room for `capacity` strings before the table grows.
    explicit StringTable(std::size_t capacity);

    static std::uint32_t hashOf(std::string_view s) {
        return static_cast<std::uint32_t>(plist::hashBytes(s.data(), s.size()));
    }
    // The slots of a large table lie all over it: asked for ahead, they are there when used.
    void prefetch(std::uint32_t hash) const { __builtin_prefetch(&slots_[hash & (slots_.size() - 1)]); }

    // Adds string number `id`, which is `s` with hashOf(s) `hash`, and answers true; or answers
    // false when an equal string is already there.
    template <class TextOf>
    bool insert(std::uint32_t id, std::string_view s, std::uint32_t hash, const TextOf& textOf) {
        std::size_t i = find(s, hash, textOf);
        if (slots_[i].id != 0) return false;
        if (4 * (count_ + 1) > 3 * slots_.size()) {
            grow();
            i = find(s, hash, textOf);
        }
        slots_[i] = {hash, id + 1};
        ++count_;
        return true;
    }
    template <class TextOf>
    bool contains(std::string_view s, const TextOf& textOf) const {
        return slots_[find(s, hashOf(s), textOf)].id != 0;
    }

private:
    struct Slot {
        std::uint32_t tag = 0;
        std::uint32_t id = 0;  // the string's number plus one; 0 marks an empty slot
    };
    // The slot holding s, or the empty one where it goes.
    template <class TextOf>
    std::size_t find(std::string_view s, std::uint32_t tag, const TextOf& textOf) const {
        const std::size_t mask = slots_.size() - 1;
        for (std::size_t i = tag & mask;; i = (i + 1) & mask) {
            const Slot& slot = slots_[i];
            if (slot.id == 0 || (slot.tag == tag && textOf(slot.id - 1) == s)) return i;
        }
    }
    void grow();

    std::vector<Slot> slots_;
    std::size_t count_ = 0;
};

// A set that holds views of its strings: the texts must outlive it.
class StringSet {
    struct TextOf {
        const std::vector<std::string_view>& strings;
        std::string_view operator()(std::uint32_t i) const { return strings[i]; }
    };

public:
    // Room for `capacity` strings before the set grows.
    explicit StringSet(std::size_t capacity = 0) : table_(capacity) { strings_.reserve(capacity); }
    // Adds the string and answers true, or answers false when an equal string is already there.
    bool insert(std::string_view s) {
        if (!table_.insert(static_cast<std::uint32_t>(strings_.size()), s, StringTable::hashOf(s), TextOf{strings_}))
            return false;
        strings_.push_back(s);
        return true;
    }
    bool contains(std::string_view s) const { return table_.contains(s, TextOf{strings_}); }
    std::size_t size() const { return strings_.size(); }

private:
    StringTable table_;
    std::vector<std::string_view> strings_;
};

}  // namespace orvane
