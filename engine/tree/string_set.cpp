#include "tree/string_set.h"

#include "plist/hash.h"

namespace orvane {
namespace {

std::size_t slotsFor(std::size_t strings) {
    std::size_t n = 8;
    while (4 * strings > 3 * n) n *= 2;
    return n;
}

std::uint32_t tagOf(std::string_view s) { return static_cast<std::uint32_t>(plist::hashBytes(s.data(), s.size())); }

}  // namespace

StringSet::StringSet(std::size_t capacity) : slots_(slotsFor(capacity)) { strings_.reserve(capacity); }

std::size_t StringSet::find(std::string_view s, std::uint32_t tag) const {
    const std::size_t mask = slots_.size() - 1;
    for (std::size_t i = tag & mask;; i = (i + 1) & mask) {
        const Slot& slot = slots_[i];
        if (slot.string == 0 || (slot.tag == tag && strings_[slot.string - 1] == s)) return i;
    }
}

bool StringSet::contains(std::string_view s) const { return slots_[find(s, tagOf(s))].string != 0; }

void StringSet::grow() {
    std::vector<Slot> old(slots_.size() * 2);
    old.swap(slots_);
    const std::size_t mask = slots_.size() - 1;
    for (const Slot& slot : old) {
        if (slot.string == 0) continue;
        std::size_t i = slot.tag & mask;
        while (slots_[i].string != 0) i = (i + 1) & mask;
        slots_[i] = slot;
    }
}

bool StringSet::insert(std::string_view s) {
    const std::uint32_t tag = tagOf(s);
    std::size_t i = find(s, tag);
    if (slots_[i].string != 0) return false;
    if (4 * (strings_.size() + 1) > 3 * slots_.size()) {
        grow();
        i = find(s, tag);
    }
    strings_.push_back(s);
    slots_[i] = {tag, static_cast<std::uint32_t>(strings_.size())};
    return true;
}

}  // namespace orvane
