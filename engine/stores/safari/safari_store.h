// Safari's "Bookmarks.plist": a property list whose root folder holds the Bookmarks Bar, the
// Bookmarks Menu and entries of its own. Three regions: the root's sortable entries (under a
// folder made for the sort), the Bookmarks Bar and the Bookmarks Menu. The root's other entries
// (proxies, hidden folders, the two special folders, entries of unknown kind) keep their order
// and come first; the sortable ones follow them.
#pragma once

#include <filesystem>
#include <vector>

#include "files/atomic_file.h"
#include "plist/value.h"
#include "stores/bookmark_store.h"

namespace orvane::safari {

// Where Safari keeps its bookmarks unless the user says otherwise.
inline constexpr std::string_view kDefaultBookmarksFile = "~/Library/Safari/Bookmarks.plist";

class SafariStore final : public BookmarkStore {
public:
    // `file` is the bookmarks file with its links resolved; Safari's lock item lies beside
    // `givenPath`, the path as the user named it.
    SafariStore(std::filesystem::path file, const std::filesystem::path& givenPath);

    std::string_view browserName() const override { return "Safari"; }
    // Safari's "lock" item (a file or a folder) beside the bookmarks file, while it writes.
    FileHolder holder() override;
    StoreResult load(BookmarkTree& tree) override;
    bool unchangedSinceLoad() override;
    StoreResult writeInitialBackup(const std::filesystem::path& backup, bool& made) override;
    // Writes binary, with a fresh "WebBookmarkUUID" for the root.
    StoreResult save(BookmarkTree& tree, const ReplaceHooks& hooks) override;
    StoreResult checkBackup(const std::filesystem::path& backup) override;
    StoreResult restoreBackup(const std::filesystem::path& backup) override;

    // The root as it will be written, for tests: the loaded one with the tree's changes.
    plist::Value sortedRoot(const BookmarkTree& tree);

private:
    NodeId addSubtree(BookmarkTree& tree, const plist::Value& node);
    StoreResult buildTree(BookmarkTree& tree);

    std::filesystem::path file_, lock_;
    FileSnapshot snapshot_;
    plist::Value root_;
    std::vector<plist::Value> records_;  // the plist node of each tree node, by its record
    std::vector<plist::Value> kept_;     // the root's entries that are not sorted, in order
    NodeId rootLevel_ = 0;               // the folder made for the root's sortable entries
    plist::Value bar_, menu_;
};

}  // namespace orvane::safari
