#include "stores/safari/safari_edit.h"

#include <algorithm>

#include "stores/safari/safari_keys.h"
#include "stores/safari/safari_nodes.h"

namespace orvane::safari {

using plist::ObjectId;
using plist::OutItem;

SafariEdit::SafariEdit(const plist::BinaryDocument& document, const BookmarkTree& tree,
                       const std::vector<ObjectId>& records, std::optional<std::vector<ObjectId>> rootList,
                       std::optional<std::string> identity)
    : document_(document), changed_((document.objectCount() + 63) / 64) {
    // In the order the changes are made to values: each entry's title, then its list of entries.
    const DocumentNodes nodes(document);
    for (NodeId id = 0; id < tree.size(); ++id) {
        const TreeNode& node = tree[id];
        // Most entries are unchanged: they are passed over before their objects are looked at.
        if (!node.titleChanged && !node.childrenChanged) continue;
        if (node.record >= records.size() || !nodes.isDictionary(records[node.record])) continue;
        const ObjectId object = records[node.record];
        if (node.titleChanged) {
            std::string_view key;
            const ObjectId holder = titleHolder(nodes, object, key);
            set(holder, key, {OutItem::String, addString(tree.newTitle(id))});
        }
        if (node.childrenChanged) {
            std::vector<ObjectId>& list = lists_.emplace_back();
            list.reserve(node.childCount);
            for (const NodeId child : tree.children(id)) list.push_back(records[tree[child].record]);
            set(object, keys::Children, {OutItem::MadeArray, static_cast<std::uint32_t>(lists_.size() - 1)});
        }
    }
    if (rootList) {
        lists_.push_back(std::move(*rootList));
        set(document.root(), keys::Children, {OutItem::MadeArray, static_cast<std::uint32_t>(lists_.size() - 1)});
    }
    if (identity) set(document.root(), keys::WebBookmarkUUID, {OutItem::String, addString(*identity)});
}

std::uint32_t SafariEdit::addString(std::string_view text) {
    strings_.emplace_back(text);
    return static_cast<std::uint32_t>(strings_.size() - 1);
}

void SafariEdit::set(ObjectId dictionary, std::string_view key, OutItem value) {
    changed_[dictionary / 64] |= std::uint64_t{1} << (dictionary % 64);
    changes_[dictionary].push_back({key, addString(key), value});
}

bool SafariEdit::changes(ObjectId object, std::vector<OutItem>& entries) const {
    if (!(changed_[object / 64] >> (object % 64) & 1)) return false;
    const std::vector<Set>& sets = changes_.at(object);
    const std::size_t n = document_.count(object);
    std::vector<OutItem> values;
    values.reserve(n + sets.size());
    for (std::size_t i = 0; i < n; ++i) values.push_back(OutItem::object(document_.value(object, i)));
    std::vector<OutItem> appendedKeys;
    for (const Set& s : sets) {
        std::size_t i = 0;
        while (i < n && !document_.equals(document_.key(object, i), s.key)) ++i;
        if (i < n) {
            values[i] = s.value;
        } else if (auto at = std::find_if(appendedKeys.begin(), appendedKeys.end(),
                                          [&](OutItem k) { return strings_[k.index] == s.key; });
                   at != appendedKeys.end()) {
            values[n + static_cast<std::size_t>(at - appendedKeys.begin())] = s.value;
        } else {
            appendedKeys.push_back({OutItem::String, s.keyString});
            values.push_back(s.value);
        }
    }
    for (std::size_t i = 0; i < n; ++i) entries.push_back(OutItem::object(document_.key(object, i)));
    entries.insert(entries.end(), appendedKeys.begin(), appendedKeys.end());
    entries.insert(entries.end(), values.begin(), values.end());
    return true;
}

void SafariEdit::made(OutItem container, std::vector<OutItem>& entries) const {
    for (const ObjectId object : lists_[container.index]) entries.push_back(OutItem::object(object));
}

}  // namespace orvane::safari
