#include "stores/safari/safari_nodes.h"

#include <algorithm>

namespace orvane::safari {

int DocumentNodes::knownIndex(std::string_view key) {
    for (int i = 0; i < kKnownCount; ++i)
        if (key.data() == kKnown[i].data() || key == kKnown[i]) return i;
    return -1;
}

void DocumentNodes::classify(Node dictionary) const {
    classified_ = dictionary;
    std::fill(std::begin(values_), std::end(values_), plist::kNoObject);
    if (typeOf(dictionary) != plist::Type::Dictionary) return;
    const std::size_t n = document_.count(dictionary);
    for (std::size_t i = 0; i < n; ++i) {
        const Node key = document_.key(dictionary, i);
        KeySlot& slot = keySlots_[key % 256];
        if (slot.key != key) {
            slot = {key, -1};
            for (int k = 0; k < kKnownCount && slot.known < 0; ++k)
                if (document_.equals(key, kKnown[k])) slot.known = k;
        }
        if (slot.known >= 0 && values_[slot.known] == plist::kNoObject)
            values_[slot.known] = document_.value(dictionary, i);
    }
}

DocumentNodes::Node DocumentNodes::find(Node dictionary, std::string_view key) const {
    if (!exists(dictionary)) return none();
    const int known = knownIndex(key);
    if (known < 0) return document_.find(dictionary, key);
    if (dictionary != classified_) classify(dictionary);
    return values_[known];
}

void setTitle(const plist::Value& node, const plist::Value& title) {
    if (!node.isDictionary()) return;
    std::string_view key;
    const plist::Value holder = titleHolder(ValueNodes{}, node, key);
    holder.asDictionary()->set(key, title);
}

}  // namespace orvane::safari
