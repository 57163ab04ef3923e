// One bookmarks format: how its file becomes a tree (tree/bookmark_tree.h) and the sorted tree
// its file again, who else may be using the file, and the one-time backup. The sort job does the
// rest the same way for every format.
//
// The contract every store keeps, because a browser may save the file at any moment while it is
// sorted and a person's newest bookmark must never be lost:
// - load() reads one consistent state of the file and remembers which state that was (a file's
//   identity, or for a database the transaction it reads in);
// - save() replaces the file only if it is still in that state, in one step that cannot leave it
//   half written; when another program has changed it meanwhile, save() changes nothing and
//   answers Changed, and the job starts over from a fresh load();
// - save() writes the way the browser itself makes the same change (identities, checksums,
//   counters), so that the browser and its sync take the new order as their own.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "files/new_file.h"
#include "tree/bookmark_tree.h"

namespace orvane {

// The outcome of a store's operation.
struct StoreResult {
    enum Status {
        Done,
        Changed,  // another program changed the file meanwhile: nothing was done, start over
        Failed,
    };
    Status status = Done;
    std::uint32_t code = 0;  // when Failed: the job's code (support/error_codes.h)
    std::string reason;      // when Failed: what went wrong, for people, naming the file

    bool done() const { return status == Done; }
    static StoreResult failed(std::uint32_t code, std::string reason) { return {Failed, code, std::move(reason)}; }
    static StoreResult changed() { return {Changed, 0, {}}; }
};

// What the user allows a store beyond its defaults.
struct StoreOptions {
    // Sort bookmarks that the browser syncs with an account, although sync may undo the order.
    bool ignoreSync = false;
    // Only read, for a print or a preview: no lock is taken, so a running browser does not stop it.
    bool readOnly = false;
};

// Someone else using the file right now.
struct FileHolder {
    enum Kind {
        Nobody,
        Writing,  // for a moment (Safari's lock item): the job waits and tries again
        Running,  // for as long as it runs (a browser with the profile open): the job stops
    };
    Kind kind = Nobody;
    std::string who;              // "Safari", "Chromium", ...
    std::filesystem::path where;  // the lock that tells, for messages
};

class BookmarkStore {
public:
    virtual ~BookmarkStore() = default;

    // The browser whose file this is, for people: "Safari", "Chromium", "Firefox".
    virtual std::string_view browserName() const = 0;

    virtual FileHolder holder() = 0;

    // Reads the file into `tree` (empty on entry) with its regions and rules. Failed with code
    // 5 (unreadable), 3 (not a bookmarks file), 4 (a newer version) or 70 (a shape the sort does
    // not support); Changed when the file changed while it was read.
    virtual StoreResult load(BookmarkTree& tree) = 0;
    // Whether the file is still in the state load() read.
    virtual bool unchangedSinceLoad() = 0;

    // Copies the state load() read to `backup`, unless something is there already: the first
    // backup is never replaced. `made` tells whether this call made it. Changed when the file is
    // no longer in that state.
    virtual StoreResult writeInitialBackup(const std::filesystem::path& backup, bool& made) = 0;

    // Writes the sorted tree in place of the file, only if it is still in the state load() read.
    // The tree is the store's to use up: a store may empty it to make room for writing.
    virtual StoreResult save(BookmarkTree& tree, const ReplaceHooks& hooks) = 0;

    // Whether `backup` holds bookmarks this store can put back (codes 5, 3, 4 as for load()).
    virtual StoreResult checkBackup(const std::filesystem::path& backup) = 0;
    // Puts the backup in place of the file; the backup is used up.
    virtual StoreResult restoreBackup(const std::filesystem::path& backup) = 0;
};

enum class BookmarksFormat { Unknown, Safari, Chromium, Firefox };

// The format of a bookmarks file, told by its contents (Unknown for a file that cannot be read
// or that is none of them).
BookmarksFormat detectFormat(const std::filesystem::path& file);

// The store for the bookmarks file `file` (links resolved), told by its contents (by those of
// `sample` when the file's own are none the engine knows, as for a restore over a damaged file);
// `givenPath` is the path as the user named it.
std::unique_ptr<BookmarkStore> openStore(const std::filesystem::path& file, const std::filesystem::path& givenPath,
                                         const StoreOptions& options = {}, const std::filesystem::path& sample = {});

// Where the one-time initial backup of a bookmarks file goes unless the user says otherwise:
// Safari's in the application folder under the name it has always had; every other profile's
// under a name of its own, so that two profiles never share one.
std::filesystem::path defaultBackupFor(const std::filesystem::path& bookmarksFile);

}  // namespace orvane
