// The choices a person makes about a sort. These defaults are the only ones: the desktop
// application's settings, orvane-cli and the helper all start from them.
#pragma once

namespace orvane {

struct SortOptions {
    bool foldersAtTop = true;       // folders ahead of bookmarks in each folder
    bool removeDuplicates = true;   // of several bookmarks with one address in a region, keep the last
    bool renameSamenamed = true;    // give entries of one folder that share a title distinct titles
    bool sortBookmarksBar = false;  // sort the Bookmarks Bar's own entries too, not only its folders

    bool operator==(const SortOptions&) const = default;
};

}  // namespace orvane
