// Short ways to build Safari bookmark trees (property lists) for tests. Every node gets a
// distinct "WebBookmarkUUID", as Safari's own nodes have, unless a test builds one without.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "stores/safari/safari_keys.h"
#include "stores/safari/safari_nodes.h"
#include "test_support.h"

namespace orvane::test {

namespace keys = safari::keys;

inline plist::Value withUUID(plist::Value node) {
    static int next = 0;
    node.asDictionary()->set(keys::WebBookmarkUUID, S("UUID-" + std::to_string(++next)));
    return node;
}

inline plist::Value bookmark(std::string_view title, std::string_view url) {
    return withUUID(D({{"WebBookmarkType", S("WebBookmarkTypeLeaf")},
                       {"URLString", S(url)},
                       {"URIDictionary", D({{"title", S(title)}})}}));
}

inline plist::Value folder(std::string_view title, std::initializer_list<plist::Value> children) {
    return withUUID(D({{"WebBookmarkType", S("WebBookmarkTypeList")}, {"Title", S(title)}, {"Children", A(children)}}));
}

inline plist::Value proxy(std::string_view title) {
    return withUUID(D({{"WebBookmarkType", S("WebBookmarkTypeProxy")}, {"Title", S(title)}}));
}

inline plist::Value hidden(plist::Value folderNode) {
    folderNode.asDictionary()->set(keys::ShouldOmitFromUI, plist::Value::boolean(true));
    return folderNode;
}

inline plist::Value bookmarksRoot(std::initializer_list<plist::Value> children) {
    plist::Value root = folder("", children);
    root.asDictionary()->set(keys::WebBookmarkFileVersion, I(1));
    return root;
}

inline const plist::Array& childrenOf(const plist::Value& node) {
    return *node.asDictionary()->find(keys::Children)->asArray();
}

using Titles = std::vector<std::string>;

// The titles of a folder's children, in order, as the engine reads them.
inline Titles titlesIn(const plist::Value& node) {
    Titles titles;
    for (const plist::Value& child : childrenOf(node).items()) {
        const plist::Value title = safari::titleOf(child);
        titles.emplace_back(title.isString() ? title.asString() : "<none>");
    }
    return titles;
}

// Bookmarks under a node, in every folder however deep.
inline std::size_t bookmarksIn(const plist::Value& node) {
    if (safari::kindOf(node) == NodeKind::Bookmark) return 1;
    const plist::Dictionary* dict = node.asDictionary();
    const plist::Value* children = dict ? dict->find(keys::Children) : nullptr;
    std::size_t count = 0;
    if (children && children->isArray() && safari::kindOf(node) == NodeKind::Folder)
        for (const plist::Value& child : children->asArray()->items()) count += bookmarksIn(child);
    return count;
}

}  // namespace orvane::test
