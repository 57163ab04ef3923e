// Safari's bookmark nodes: the dictionaries of its bookmarks property list, read and changed in
// place. Plain functions: they keep no state.
#pragma once

#include <string_view>

#include "plist/value.h"
#include "tree/bookmark_tree.h"

namespace orvane::safari {

// The node's "Title", else the "title" of its "URIDictionary", else nothing (Null). The value is
// answered as it is, a string or not.
plist::Value titleOf(const plist::Value& node);
// Sets "title" in the node's "URIDictionary" when it has one, otherwise the node's "Title".
// Reading prefers "Title" and writing prefers "URIDictionary" on purpose: a node with both keys
// keeps reading its "Title" after a rename.
void setTitle(const plist::Value& node, const plist::Value& title);
// Whether a title set on the node is what titleOf answers afterwards.
bool newTitleIsRead(const plist::Value& node);

// The kind its "WebBookmarkType" names, compared exactly: leaf, list, proxy; anything else,
// letter case included, is of no known kind.
NodeKind kindOf(const plist::Value& node);
bool isHidden(const plist::Value& node);  // "ShouldOmitFromUI" is true

// The first direct child of the root whose "Title" is `title` ("BookmarksBar", "BookmarksMenu"),
// found by that key alone; Null when there is none.
plist::Value childTitled(const plist::Value& root, std::string_view title);

// A bookmarks file's root is a list node...
bool isBookmarksFileRoot(const plist::Value& root);
// ...whose "WebBookmarkFileVersion" reads as an integer below 2; a missing key reads as 0.
bool hasKnownVersion(const plist::Value& root);

}  // namespace orvane::safari
