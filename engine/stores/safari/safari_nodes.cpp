#include "stores/safari/safari_nodes.h"

#include <algorithm>

namespace orvane::safari {

int DocumentNodes::knownIndex(std::string_view key) {
    for (int i = 0; i < kKnownCount; ++i)
        if (key.data() == kKnown[i].data() || key == kKnown[i]) return i;
    return -1;
}

const DocumentNodes::Node* DocumentNodes::valuesOf(Node dictionary) const {
    if (classified_[newest_].dictionary == dictionary) return classified_[newest_].values;
    if (classified_[1 - newest_].dictionary == dictionary) {
        newest_ = 1 - newest_;
        return classified_[newest_].values;
    }
    newest_ = 1 - newest_;
    Classified& c = classified_[newest_];
    c.dictionary = dictionary;
    std::fill(std::begin(c.values), std::end(c.values), plist::kNoObject);
    if (typeOf(dictionary) != plist::Type::Dictionary) return c.values;
    const std::size_t n = document_.count(dictionary);
    for (std::size_t i = 0; i < n; ++i) {
        const Node key = document_.key(dictionary, i);
        KeySlot& slot = keySlots_[key % 256];
        if (slot.key != key) {
            slot = {key, -1};
            for (int k = 0; k < kKnownCount && slot.known < 0; ++k)
                if (document_.equals(key, kKnown[k])) slot.known = k;
        }
        if (slot.known >= 0 && c.values[slot.known] == plist::kNoObject)
            c.values[slot.known] = document_.value(dictionary, i);
    }
    return c.values;
}

DocumentNodes::Node DocumentNodes::find(Node dictionary, std::string_view key) const {
    if (!exists(dictionary)) return none();
    const int known = knownIndex(key);
    if (known < 0) return document_.find(dictionary, key);
    return valuesOf(dictionary)[known];
}

void setTitle(const plist::Value& node, const plist::Value& title) {
    if (!node.isDictionary()) return;
    std::string_view key;
    const plist::Value holder = titleHolder(ValueNodes{}, node, key);
    holder.asDictionary()->set(key, title);
}

}  // namespace orvane::safari
