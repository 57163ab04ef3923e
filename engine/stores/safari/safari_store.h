// Safari's "Bookmarks.plist": a property list whose root folder holds the Bookmarks Bar, the
// Bookmarks Menu and entries of its own. Three regions: the root's sortable entries (under a
// folder made for the sort), the Bookmarks Bar and the Bookmarks Menu. The root's other entries
// (proxies, hidden folders, the two special folders, entries of unknown kind) keep their order
// and come first; the sortable ones follow them.
//
// A binary file that is plain (plist/binary_document.h), as Safari writes them, is read where it
// lies and written again by copying what the sort did not change; any other file is read into
// values and written from them. Both ways give the same bytes.
#pragma once

#include <atomic>
#include <filesystem>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "files/atomic_file.h"
#include "plist/binary_document.h"
#include "plist/value.h"
#include "stores/bookmark_store.h"
#include "stores/safari/default_file.h"

namespace orvane::safari {

struct ValueNodes;
class DocumentNodes;
class SafariEdit;

class SafariStore final : public BookmarkStore {
public:
    // `file` is the bookmarks file with its links resolved; Safari's lock item lies beside
    // `givenPath`, the path as the user named it.
    // `copyThrough` false reads and writes every file through values, as a reference for tests.
    SafariStore(std::filesystem::path file, const std::filesystem::path& givenPath, bool copyThrough = true);
    ~SafariStore() override;

    std::string_view browserName() const override { return "Safari"; }
    // Safari's "lock" item (a file or a folder) beside the bookmarks file, while it writes.
    FileHolder holder() override;
    StoreResult load(BookmarkTree& tree) override;
    bool unchangedSinceLoad() override;
    StoreResult writeInitialBackup(const std::filesystem::path& backup, bool& made) override;
    // Writes binary, with a fresh "WebBookmarkUUID" for the root. The tree is emptied once what
    // is to be written has been taken from it, when the file is written by copying.
    StoreResult save(BookmarkTree& tree, const ReplaceHooks& hooks) override;
    StoreResult checkBackup(const std::filesystem::path& backup) override;
    StoreResult restoreBackup(const std::filesystem::path& backup) override;

    // The root as it will be written, for tests: the loaded one with the tree's changes.
    plist::Value sortedRoot(const BookmarkTree& tree);

    // Whether the last load read the file where it lies; false when it was read into values.
    bool readInPlace() const { return placeRead_ != nullptr; }
    // What save() writes, with `identity` as the root's new "WebBookmarkUUID" if given: for tests.
    // "" or why it could not.
    std::string writeSorted(const BookmarkTree& tree, std::optional<std::string> identity, plist::Sink& sink);

    // A file as the tree was made of it (safari_store.cpp).
    template <class Nodes>
    struct Read;

private:
    // The sorted tree as an edit of the file read where it lies, and the index of its scalars; none
    // when the file must be written from values.
    std::unique_ptr<SafariEdit> editFor(const BookmarkTree& tree, const std::optional<std::string>& identity,
                                        plist::ScalarIndex& index);
    std::string writeThroughValues(const BookmarkTree& tree, const std::optional<std::string>& identity,
                                   plist::Sink& sink);
    // Ends the making of index_ if it is under way: it is no longer needed.
    void dropIndex();
    // The index of the document's scalars, once made; false when two of them are equal.
    bool takeIndex(plist::ScalarIndex& index);

    std::filesystem::path file_, lock_;
    bool copyThrough_;
    FileSnapshot snapshot_;
    plist::BinaryDocument document_;  // snapshot_.bytes, when they are plain
    plist::ScalarIndex index_;        // its scalars, when they are all distinct
    std::future<bool> indexing_;      // index_ being made
    std::atomic<bool> stopIndexing_ = false;
    bool distinct_ = false;                           // index_ made, or given to the writer
    std::unique_ptr<Read<ValueNodes>> valueRead_;     // a file read into values...
    std::unique_ptr<Read<DocumentNodes>> placeRead_;  // ...or where it lies, in document_
};

}  // namespace orvane::safari
