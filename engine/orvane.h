// The engine object. One is made per job; it keeps no state between calls of the methods here,
// which read and change bookmark nodes (property-list dictionaries) in place.
#pragma once

#include <cstddef>
#include <filesystem>

#include "plist/value.h"

namespace orvane {

enum BookmarkNodeType : int {
    BookmarkNodeTypeNone = 0,
    BookmarkNodeTypeLeaf = 1,
    BookmarkNodeTypeList = 2,
    BookmarkNodeTypeProxy = 3,
};

class Orvane {
public:
    // The node's "Title", else the "title" of its "URIDictionary", else nothing (Null).
    plist::Value titleFromBookmarkNode(const plist::Value& node) const;
    // Sets "title" in the node's "URIDictionary" when it has one, otherwise the node's "Title".
    // Reading prefers "Title" and writing prefers "URIDictionary" on purpose: a node with both
    // keeps reading its "Title" after a rename.
    void setTitle(const plist::Value& title, const plist::Value& node) const;
    BookmarkNodeType typeFromBookmarkNode(const plist::Value& node) const;
    // Bookmarks (leaves) below the node; folders do not count themselves, proxies count 0.
    std::size_t numberOfBookmarksInDictionary(const plist::Value& node) const;
    // The first direct child of the root whose "Title" is "BookmarksBar" / "BookmarksMenu".
    plist::Value bookmarksBarDictionaryFromBookmarksFileRootNode(const plist::Value& root) const;
    plist::Value bookmarksMenuDictionaryFromBookmarksFileRootNode(const plist::Value& root) const;

    // The root of the property list in the file, or Null when it cannot be read or parsed (the
    // reason goes to the log only).
    plist::Value bookmarksDictionaryWithFilename(const std::filesystem::path& path) const;
    bool verifyThatDictionaryIsBookmarksFileRootNode(const plist::Value& root) const;
    // True when "WebBookmarkFileVersion" reads as an integer below 2; a missing key reads as 0.
    bool verifyThatDictionaryHasCorrectVersionWithRootNode(const plist::Value& root) const;
};

// The integer a value stands for, read the way a number or its text would be: integers as they
// are, reals truncated, booleans 0 or 1, strings by their leading integer, anything else 0.
long long integerValue(const plist::Value& value);

}  // namespace orvane
