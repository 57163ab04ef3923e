// What one validation and sort did to a tree: for a dry run that tells the user what a sort
// would change before anything is written, and for a job that found nothing to change.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace orvane {

struct SortReport {
    struct Rename {
        std::string from;  // empty for an entry that had no title
        std::string to;
    };
    std::size_t brokenBookmarksRemoved = 0;  // no address, or a blank one
    std::size_t duplicatesRemoved = 0;
    std::size_t emptyFoldersRemoved = 0;
    std::vector<Rename> renames;
    std::size_t foldersReordered = 0;  // folders whose entries the sort put in a new order
    bool wouldWrite = false;
};

}  // namespace orvane
