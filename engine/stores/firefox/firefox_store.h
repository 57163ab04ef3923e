// Firefox's places.sqlite (and that of LibreWolf, Floorp and Waterfox): the bookmarks are rows of
// moz_bookmarks, their addresses in moz_places. Four regions: "toolbar_____" (the Bookmarks Bar
// region), "menu________", "unfiled_____" and "mobile______"; the root and the tags folder are
// never touched. Separators stay where they are, and saved queries ("place:" addresses) lead
// their folder as Safari's proxies do.
//
// The tree is read in one transaction and written in the same one: SQLite refuses the write when
// another program committed in between, and the sort starts over. The profile's lock is held
// throughout, so the browser cannot start meanwhile. The changes are made as Firefox's own
// Bookmarks code makes them (positions, timestamps, sync counters, tombstones, foreign counts),
// because Firefox runs its triggers on its own connection only.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <unordered_map>
#include <vector>

#include "stores/bookmark_store.h"
#include "stores/firefox/profile_lock.h"
#include "stores/firefox/sqlite.h"

namespace orvane::firefox {

// The places.sqlite schema versions this program was tested with (Firefox ESR 153 writes 86).
inline constexpr std::int64_t kTestedSchemaVersions[] = {86};

class FirefoxStore final : public BookmarkStore {
public:
    FirefoxStore(std::filesystem::path file, const StoreOptions& options);
    ~FirefoxStore() override;

    std::string_view browserName() const override { return browser_; }
    FileHolder holder() override;
    StoreResult load(BookmarkTree& tree) override;
    // Whether the transaction load() began is still open; save() finds out whether another
    // program wrote meanwhile.
    bool unchangedSinceLoad() override { return inTransaction_; }
    StoreResult writeInitialBackup(const std::filesystem::path& backup, bool& made) override;
    // `hooks.beforeSwap` runs before the commit.
    StoreResult save(BookmarkTree& tree, const ReplaceHooks& hooks) override;
    StoreResult checkBackup(const std::filesystem::path& backup) override;
    StoreResult restoreBackup(const std::filesystem::path& backup) override;

private:
    // One row of moz_bookmarks, by the record of its tree node.
    struct Row {
        std::int64_t id = 0, parent = 0, place = 0;
        std::int64_t syncStatus = 0;
        int type = 0;
        std::int64_t position = 0;
    };
    // Opens the database and checks its schema: a Failed result, or nothing wrong.
    StoreResult openChecked(sqlite::Database& db, const std::filesystem::path& path, bool readOnly) const;
    StoreResult readTree(BookmarkTree& tree);
    void endTransaction();

    std::filesystem::path file_;
    StoreOptions options_;
    std::string browser_;
    ProfileLock lock_;
    sqlite::Database db_;
    bool inTransaction_ = false;
    std::vector<Row> rows_;
    std::vector<std::vector<std::uint32_t>> readChildren_;     // each row's children as read, by record
    std::unordered_map<std::int64_t, std::int64_t> parentOf_;  // every row's parent, by id
    std::int64_t tagsRoot_ = 0;
};

}  // namespace orvane::firefox
