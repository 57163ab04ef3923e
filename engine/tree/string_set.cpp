#include "tree/string_set.h"

namespace orvane {
namespace {

std::size_t slotsFor(std::size_t strings) {
    std::size_t n = 8;
    while (4 * strings > 3 * n) n *= 2;
    return n;
}

}  // namespace

StringTable::StringTable(std::size_t capacity) : slots_(slotsFor(capacity)) {}

void StringTable::grow() {
    std::vector<Slot> old(slots_.size() * 2);
    old.swap(slots_);
    const std::size_t mask = slots_.size() - 1;
    for (const Slot& slot : old) {
        if (slot.id == 0) continue;
        std::size_t i = slot.tag & mask;
        while (slots_[i].id != 0) i = (i + 1) & mask;
        slots_[i] = slot;
    }
}

}  // namespace orvane
