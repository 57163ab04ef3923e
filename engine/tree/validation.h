// Cleaning a region of the tree in place before it is sorted: bookmarks without a usable address
// and folders that are or become empty go, and so do repeated addresses when asked; untitled
// entries are named, and entries of one folder that share a title are told apart when asked.
#pragma once

#include <string>

#include "tree/bookmark_tree.h"
#include "tree/sort_options.h"
#include "tree/sort_report.h"

namespace orvane {

// Cleans the region under `root`; `root` itself always stays, even when it ends up empty. Folders
// walk their entries from the last to the first, so of several bookmarks with one address the
// last in document order is kept, and of several same-named entries the last keeps its title.
void validateRegion(BookmarkTree& tree, NodeId root, const SortOptions& options, SortReport* report = nullptr);

// The title of an entry that has neither a title nor an address: "No Name", translated.
std::string untitledName();

}  // namespace orvane
