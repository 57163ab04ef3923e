// Chromium's "Bookmarks" file (and that of Chrome, Edge, Brave, Vivaldi and Opera): JSON with
// three root folders, "bookmark_bar" (the Bookmarks Bar region), "other" and "synced" (each a
// region sorted like Safari's Bookmarks Menu). The roots themselves are never removed, renamed
// or moved. Written back as the browser writes it, with its checksum, every id, guid, date and
// key the sort does not change kept as it was, and nothing else in the profile touched but the
// encrypted copy newer versions keep beside the file, which is moved aside so that the browser
// cannot prefer it to the sorted file.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "files/atomic_file.h"
#include "stores/bookmark_store.h"
#include "stores/chromium/json_document.h"

namespace orvane::chromium {

// The deepest nesting the browser reads.
inline constexpr std::size_t kMaxDepth = 200;

// How the encrypted copies' names begin, and what a copy moved aside has added to its name.
inline constexpr std::string_view kEncryptedCopy = "EncryptedBookmarks";
inline constexpr std::string_view kMovedAside = ".orvane-moved-aside";

class ChromiumStore final : public BookmarkStore {
public:
    ChromiumStore(std::filesystem::path file, const StoreOptions& options);

    std::string_view browserName() const override { return browser_; }
    // A running browser that holds the profile (its "SingletonLock").
    FileHolder holder() override;
    StoreResult load(BookmarkTree& tree) override;
    bool unchangedSinceLoad() override;
    StoreResult writeInitialBackup(const std::filesystem::path& backup, bool& made) override;
    StoreResult save(BookmarkTree& tree, const ReplaceHooks& hooks) override;
    StoreResult checkBackup(const std::filesystem::path& backup) override;
    StoreResult restoreBackup(const std::filesystem::path& backup) override;

    // The checksum the browser computes of the tree as it will be written.
    std::string checksum(const BookmarkTree& tree, bool sha256) const;

private:
    // Parses the bytes and checks that they are a bookmarks file the browser would read.
    StoreResult parse(const std::filesystem::path& path, FileBytes& bytes,
                      json::Document& document) const;
    void buildTree(BookmarkTree& tree);
    NodeId addSubtree(BookmarkTree& tree, json::ValueId top);
    void moveEncryptedCopiesAside() const;

    std::filesystem::path file_;
    StoreOptions options_;
    std::string browser_;
    FileIdentity identity_;
    FileBytes text_;  // what the document's strings point into
    json::Document document_;
    std::vector<json::ValueId> records_;  // the JSON value of each tree node, by its record
    std::vector<std::string_view> ids_;   // its "id", which the checksum reads
    std::vector<NodeId> roots_;           // the tree's bookmark_bar, other and synced
};

}  // namespace orvane::chromium
