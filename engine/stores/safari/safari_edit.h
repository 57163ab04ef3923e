// The sorted tree as an edit of the plain binary file it was read from: the folders whose entries
// changed get new lists of them, renamed entries their new titles, the root its new list of
// entries and a new identity. Everything else is copied from the file as it is.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "plist/binary_document.h"
#include "tree/bookmark_tree.h"

namespace orvane::safari {

class SafariEdit final : public plist::DocumentEdit {
public:
    // `records` holds the file's object of each tree node, by its record. `rootList` is the
    // root's new list of entries, unless the root keeps its own; `identity` its new
    // "WebBookmarkUUID", if any.
    SafariEdit(const plist::BinaryDocument& document, const BookmarkTree& tree,
               const std::vector<plist::ObjectId>& records, std::optional<std::vector<plist::ObjectId>> rootList,
               std::optional<std::string> identity);

    plist::OutItem root() const override { return plist::OutItem::object(document_.root()); }
    bool changes(plist::ObjectId object, std::vector<plist::OutItem>& entries) const override;
    void made(plist::OutItem container, std::vector<plist::OutItem>& entries) const override;
    std::size_t madeCount() const override { return lists_.size(); }
    std::span<const std::string> strings() const override { return strings_; }

private:
    // A key of one dictionary of the file set to a new value, as setting a value's key does: in
    // its place when the dictionary has it, else appended. A dictionary's sets, in the order made.
    struct Set {
        std::string_view key;
        std::uint32_t keyString;  // the key's text among the new strings, for an appended key
        plist::OutItem value;
    };
    void set(plist::ObjectId dictionary, std::string_view key, plist::OutItem value);
    std::uint32_t addString(std::string_view text);

    const plist::BinaryDocument& document_;
    std::unordered_map<plist::ObjectId, std::vector<Set>> changes_;
    std::vector<std::uint64_t> changed_;  // a bit per object: quick to say "no change" for most
    std::vector<std::vector<plist::ObjectId>> lists_;
    std::vector<std::string> strings_;
};

}  // namespace orvane::safari
