// Safari's bookmark nodes: the dictionaries of its bookmarks property list. Each question is
// asked through an access to the nodes, values (ValueNodes) or the objects of a plain binary
// file (DocumentNodes), so that the store reads a file the same way either way. Plain functions:
// they keep no state.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "plist/binary_document.h"
#include "plist/coerce.h"
#include "plist/value.h"
#include "stores/safari/safari_keys.h"
#include "tree/bookmark_tree.h"

namespace orvane::safari {

// Nodes as values.
struct ValueNodes {
    using Node = plist::Value;
    static Node none() { return {}; }
    static bool exists(const Node& n) { return !n.isNull(); }
    Node find(const Node& dictionary, std::string_view key) const {
        const plist::Dictionary* d = dictionary.asDictionary();
        const plist::Value* v = d ? d->find(key) : nullptr;
        return v ? *v : Node();
    }
    bool isString(const Node& n) const { return n.isString(); }
    bool is(const Node& n, std::string_view text) const { return n.isString() && n.asString() == text; }
    // A string's text, as the tree keeps it: a copy, as values are no source the tree refers to.
    TextRef text(BookmarkTree& tree, const Node& n) const { return tree.keep(n.asString()); }
    bool isArray(const Node& n) const { return n.isArray(); }
    bool isDictionary(const Node& n) const { return n.isDictionary(); }
    std::size_t count(const Node& array) const { return array.asArray()->size(); }
    Node element(const Node& array, std::size_t i) const { return (*array.asArray())[i]; }
    bool flag(const Node& n) const { return boolValue(n); }
    std::int64_t integer(const Node& n) const { return integerValue(n); }
};

// Nodes as the objects of a plain binary file; none is no object at all. The keys the store
// asks for are found in one pass over a dictionary's keys, which are the same few objects
// throughout the file: each key object is compared with the known keys once.
class DocumentNodes {
public:
    using Node = plist::ObjectId;
    explicit DocumentNodes(const plist::BinaryDocument& document) : document_(document) {}

    static Node none() { return plist::kNoObject; }
    static bool exists(Node n) { return n != plist::kNoObject; }
    Node find(Node dictionary, keys::EntryKey key) const {
        return exists(dictionary) ? valuesOf(dictionary)[key.index] : none();
    }
    Node find(Node dictionary, std::string_view key) const {
        return exists(dictionary) ? document_.find(dictionary, key) : none();
    }
    bool isString(Node n) const { return typeOf(n) == plist::Type::String; }
    // Asked of the few objects every entry shares (its kind's name) over and over: the answers
    // are kept.
    bool is(Node n, std::string_view text) const;
    // A string's text, as the tree keeps it: where it lies in the file, which is the tree's source,
    // or a copy when the file holds it in UTF-16.
    TextRef text(BookmarkTree& tree, Node n) const {
        std::string converted;
        const std::string_view text = document_.text(n, converted);
        return text.data() == converted.data() ? tree.keep(converted) : tree.refer(text);
    }
    bool isArray(Node n) const { return typeOf(n) == plist::Type::Array; }
    bool isDictionary(Node n) const { return typeOf(n) == plist::Type::Dictionary; }
    std::size_t count(Node array) const { return document_.count(array); }
    Node element(Node array, std::size_t i) const { return document_.element(array, i); }
    bool flag(Node n) const { return boolValue(document_.scalar(n)); }
    std::int64_t integer(Node n) const { return integerValue(document_.scalar(n)); }
    plist::Type typeOf(Node n) const { return exists(n) ? document_.type(n) : plist::Type::Null; }

private:
    static constexpr int kKnownCount = sizeof keys::kEntryKeys / sizeof keys::kEntryKeys[0];
    // The known keys' values of a dictionary, found once: a node and its URI dictionary are
    // asked about in turn, so the last two are kept.
    const Node* valuesOf(Node dictionary) const;

    const plist::BinaryDocument& document_;
    struct Classified {
        Node dictionary = plist::kNoObject;
        Node values[kKnownCount] = {};
    };
    mutable Classified classified_[2];
    mutable int newest_ = 0;
    // Key objects met, each with the known key it is (-1: none), by a hash of the object.
    struct KeySlot {
        Node key = plist::kNoObject;
        int known = -1;
    };
    mutable KeySlot keySlots_[256] = {};
    struct Answer {
        Node object = plist::kNoObject;
        std::string_view text;
        bool is = false;
    };
    mutable Answer answers_[64] = {};
};

// The node's "Title", else the "title" of its "URIDictionary", else none. The value is answered
// as it is, a string or not.
template <class Nodes>
typename Nodes::Node titleOf(const Nodes& nodes, const typename Nodes::Node& node) {
    if (auto title = nodes.find(node, keys::Title); Nodes::exists(title)) return title;
    if (auto uri = nodes.find(node, keys::URIDictionary); Nodes::exists(uri))
        return nodes.find(uri, keys::URIDictionaryTitle);
    return Nodes::none();
}

// Where setting a title writes it: the "URIDictionary" when the node has one, otherwise the node
// itself, under "Title". Reading prefers "Title" and writing prefers "URIDictionary" on purpose: a
// node with both keys keeps reading its "Title" after a rename.
template <class Nodes>
typename Nodes::Node titleHolder(const Nodes& nodes, const typename Nodes::Node& node, std::string_view& key) {
    if (auto uri = nodes.find(node, keys::URIDictionary); Nodes::exists(uri) && nodes.isDictionary(uri)) {
        key = keys::URIDictionaryTitle;
        return uri;
    }
    key = keys::Title;
    return node;
}

// Whether a title set on the node is what titleOf answers afterwards.
template <class Nodes>
bool newTitleIsRead(const Nodes& nodes, const typename Nodes::Node& node) {
    if (!nodes.isDictionary(node)) return false;  // nothing is ever written to it
    const auto uri = nodes.find(node, keys::URIDictionary);
    return !(Nodes::exists(nodes.find(node, keys::Title)) && Nodes::exists(uri) && nodes.isDictionary(uri));
}

// The kind its "WebBookmarkType" names, compared exactly: leaf, list, proxy; anything else,
// letter case included, is of no known kind.
template <class Nodes>
NodeKind kindOf(const Nodes& nodes, const typename Nodes::Node& node) {
    const auto type = nodes.find(node, keys::WebBookmarkType);
    if (!Nodes::exists(type)) return NodeKind::Other;
    if (nodes.is(type, keys::TypeLeaf)) return NodeKind::Bookmark;
    if (nodes.is(type, keys::TypeList)) return NodeKind::Folder;
    if (nodes.is(type, keys::TypeProxy)) return NodeKind::Pinned;
    return NodeKind::Other;
}

// "ShouldOmitFromUI" is true.
template <class Nodes>
bool isHidden(const Nodes& nodes, const typename Nodes::Node& node) {
    const auto hidden = nodes.find(node, keys::ShouldOmitFromUI);
    return Nodes::exists(hidden) && nodes.flag(hidden);
}

// The first direct child of the root whose "Title" is `title` ("BookmarksBar", "BookmarksMenu"),
// found by that key alone; none when there is none.
template <class Nodes>
typename Nodes::Node childTitled(const Nodes& nodes, const typename Nodes::Node& root, std::string_view title) {
    const auto children = nodes.find(root, keys::Children);
    if (!Nodes::exists(children) || !nodes.isArray(children)) return Nodes::none();
    for (std::size_t i = 0; i < nodes.count(children); ++i) {
        const auto child = nodes.element(children, i);
        if (nodes.is(nodes.find(child, keys::Title), title)) return child;
    }
    return Nodes::none();
}

// A bookmarks file's root is a list node...
template <class Nodes>
bool isBookmarksFileRoot(const Nodes& nodes, const typename Nodes::Node& root) {
    return nodes.is(nodes.find(root, keys::WebBookmarkType), keys::TypeList);
}

// ...whose "WebBookmarkFileVersion" reads as an integer below 2; a missing key reads as 0.
template <class Nodes>
bool hasKnownVersion(const Nodes& nodes, const typename Nodes::Node& root) {
    const auto version = nodes.find(root, keys::WebBookmarkFileVersion);
    return (Nodes::exists(version) ? nodes.integer(version) : 0) < 2;
}

// Which of the root's entries the sort puts in order: bookmarks, and folders that are neither
// hidden nor one of the two special folders.
template <class Nodes>
bool isSortableAtRoot(const Nodes& nodes, const typename Nodes::Node& entry) {
    switch (kindOf(nodes, entry)) {
    case NodeKind::Bookmark: return true;
    case NodeKind::Folder: {
        const auto title = titleOf(nodes, entry);
        return !isHidden(nodes, entry) && !nodes.is(title, keys::BookmarksBarTitle) &&
               !nodes.is(title, keys::BookmarksMenuTitle);
    }
    default: return false;
    }
}

// The root's entries as they are written: the kept ones first, in their order, then the sorted
// ones; the special folders take the places of the entries of their titles ("Title" alone), each
// met before both are placed, and one not met is appended.
template <class Nodes>
std::vector<typename Nodes::Node> rootEntries(const Nodes& nodes, const std::vector<typename Nodes::Node>& kept,
                                              const std::vector<typename Nodes::Node>& sorted,
                                              const typename Nodes::Node& bar, const typename Nodes::Node& menu) {
    std::vector<typename Nodes::Node> list;
    list.reserve(kept.size() + sorted.size() + 2);
    list.insert(list.end(), kept.begin(), kept.end());
    list.insert(list.end(), sorted.begin(), sorted.end());
    bool barPlaced = false, menuPlaced = false;
    for (std::size_t i = 0; i < list.size() && !(barPlaced && menuPlaced); ++i) {
        const auto title = nodes.find(list[i], keys::Title);
        if (nodes.is(title, keys::BookmarksBarTitle)) {
            list[i] = bar;
            barPlaced = true;
        } else if (nodes.is(title, keys::BookmarksMenuTitle)) {
            list[i] = menu;
            menuPlaced = true;
        }
    }
    if (!barPlaced) list.push_back(bar);
    if (!menuPlaced) list.push_back(menu);
    return list;
}

// The same questions of values, for callers that hold values.
inline plist::Value titleOf(const plist::Value& node) { return titleOf(ValueNodes{}, node); }
void setTitle(const plist::Value& node, const plist::Value& title);
inline bool newTitleIsRead(const plist::Value& node) { return newTitleIsRead(ValueNodes{}, node); }
inline NodeKind kindOf(const plist::Value& node) { return kindOf(ValueNodes{}, node); }
inline bool isHidden(const plist::Value& node) { return isHidden(ValueNodes{}, node); }
inline plist::Value childTitled(const plist::Value& root, std::string_view title) {
    return childTitled(ValueNodes{}, root, title);
}
inline bool isBookmarksFileRoot(const plist::Value& root) { return isBookmarksFileRoot(ValueNodes{}, root); }
inline bool hasKnownVersion(const plist::Value& root) { return hasKnownVersion(ValueNodes{}, root); }

}  // namespace orvane::safari
