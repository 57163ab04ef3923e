// Sorting the regions of a tree, and the test that tells whether the sort changed their order,
// which is what decides whether a file is written at all.
#pragma once

#include "tree/bookmark_tree.h"
#include "tree/sort_options.h"
#include "tree/sort_report.h"

namespace orvane {

class TitleCollator;

// Cleans (validation.h) and sorts every region of the tree, in place, and answers whether the
// order of any region changed. Removals and new titles alone do not count: a region whose cleaned
// entries were in order already is unchanged. The report, when given, is made afresh.
bool sortTree(BookmarkTree& tree, const SortOptions& options, const TitleCollator& collator,
              SortReport* report = nullptr);

// Sorts the folders under `root`, `root` included, deepest first. In each folder pinned entries
// lead, then (with foldersAtTop) folders, bookmarks and entries of other kinds, each kind by title
// in the collator's order; entries that compare equal keep their order, and separators stay where
// they are, the entries between two of them sorted on their own. Hidden folders are neither
// sorted nor looked into, and a folder that counts as the bar keeps its own order unless the
// options say otherwise.
void sortRegion(BookmarkTree& tree, const Region& region, const SortOptions& options, const TitleCollator& collator,
                SortReport* report = nullptr);

// Whether the subtree at `after` has the shape and identities of the one at `before` as it was
// before the sort (titles and addresses are not compared). An entry without an identity equals
// nothing, not even itself, so a file whose entries have none is always written; hidden folders
// of one identity are equal whatever they hold.
bool isSameOrder(const BookmarkTree& tree, NodeId before, NodeId after);

}  // namespace orvane
