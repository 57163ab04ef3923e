#include "stores/safari/safari_nodes.h"

#include <algorithm>

namespace orvane::safari {

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
    const std::uint64_t references = document_.referencesOf(dictionary);
    const unsigned width = document_.referenceSize();
    for (std::size_t i = 0; i < n; ++i) {
        const Node key = document_.referenceAt(references + i * width);
        KeySlot& slot = keySlots_[key % 256];
        if (slot.key != key) {
            slot = {key, -1};
            for (int k = 0; k < kKnownCount && slot.known < 0; ++k)
                if (document_.equals(key, keys::kEntryKeys[k])) slot.known = k;
        }
        if (slot.known >= 0 && c.values[slot.known] == plist::kNoObject)
            c.values[slot.known] = document_.referenceAt(references + (n + i) * width);
    }
    return c.values;
}

bool DocumentNodes::is(Node n, std::string_view text) const {
    if (!exists(n)) return false;
    Answer& answer = answers_[(n ^ text.size()) % 64];
    if (answer.object != n || answer.text != text) answer = {n, text, document_.equals(n, text)};
    return answer.is;
}

void setTitle(const plist::Value& node, const plist::Value& title) {
    if (!node.isDictionary()) return;
    std::string_view key;
    const plist::Value holder = titleHolder(ValueNodes{}, node, key);
    holder.asDictionary()->set(key, title);
}

}  // namespace orvane::safari
