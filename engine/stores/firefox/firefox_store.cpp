#include "stores/firefox/firefox_store.h"

#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <chrono>
#include <map>
#include <set>

#include "support/error_codes.h"
#include "stores/firefox/places_backup.h"
#include "stores/initial_backup.h"

namespace orvane::firefox {
namespace fs = std::filesystem;

namespace {

constexpr std::uint32_t kNoRecord = UINT32_MAX;
constexpr int kTypeBookmark = 1, kTypeFolder = 2, kTypeSeparator = 3;
constexpr std::int64_t kSyncStatusNormal = 2;
// How long a statement waits for a lock another connection holds before giving up.
constexpr int kBusyMilliseconds = 2000;

struct RegionRoot {
    std::string_view guid, label;
};
constexpr RegionRoot kRegions[] = {{"toolbar_____", "Bookmarks Toolbar"},
                                   {"menu________", "Bookmarks Menu"},
                                   {"unfiled_____", "Other Bookmarks"},
                                   {"mobile______", "Mobile Bookmarks"}};

// What Firefox writes as a change's time: now, in microseconds, to the millisecond.
std::int64_t nowPRTime() {
    const auto ms =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::system_clock::now().time_since_epoch());
    return ms.count() * 1000;
}

// The browser of Firefox's family a profile belongs to, told by where it lies.
std::string browserOf(const fs::path& file) {
    const std::string path = file.string();
    if (path.find("/.librewolf/") != std::string::npos || path.find("/librewolf/") != std::string::npos)
        return "LibreWolf";
    if (path.find("/.floorp/") != std::string::npos) return "Floorp";
    if (path.find("/.waterfox/") != std::string::npos) return "Waterfox";
    return "Firefox";
}

StoreResult sqlFailure(std::uint32_t code, const fs::path& file, const std::string& what, sqlite::Database& db) {
    return StoreResult::failed(code, file.string() + ": " + what + ": " + db.lastError());
}

}  // namespace

FirefoxStore::FirefoxStore(fs::path file, const StoreOptions& options)
    : file_(std::move(file)),
      options_(options),
      browser_(browserOf(file_)),
      lock_(file_.parent_path().empty() ? "." : file_.parent_path()) {}

FirefoxStore::~FirefoxStore() { endTransaction(); }

void FirefoxStore::endTransaction() {
    if (inTransaction_) db_.exec("ROLLBACK");
    inTransaction_ = false;
    db_.close();
    lock_.release();
}

FileHolder FirefoxStore::holder() {
    const std::optional<pid_t> pid = lock_.holder();
    if (!pid) return {};
    // The "lock" link names the process, which the automatic mode waits for; .parentlock does not.
    const fs::path link = file_.parent_path() / "lock";
    struct stat st;
    return {FileHolder::Running, browser_ + (*pid > 0 ? " (process " + std::to_string(*pid) + ")" : ""),
            ::lstat(link.c_str(), &st) == 0 && S_ISLNK(st.st_mode) ? link : file_.parent_path() / ".parentlock"};
}

StoreResult FirefoxStore::openChecked(sqlite::Database& db, const fs::path& path, bool readOnly) const {
    if (std::string why = db.open(path, readOnly); !why.empty())
        return StoreResult::failed(OVErrorCannotRead, path.string() + ": " + why);
    sqlite3_busy_timeout(db.get(), kBusyMilliseconds);
    const std::optional<std::int64_t> tables = db.integer(
        "SELECT count(*) FROM sqlite_master WHERE type = 'table' AND name IN "
        "('moz_bookmarks', 'moz_places', 'moz_bookmarks_deleted', 'moz_keywords')");
    if (!tables && (db.lastCode() == SQLITE_BUSY || db.lastCode() == SQLITE_LOCKED))
        return StoreResult::failed(OVErrorFileBusy, path.string() +
                                                        ": the database is locked by another program, such as " +
                                                        browser_ + " running with this profile");
    if (!tables) return sqlFailure(OVErrorCannotRead, path, "cannot read the database", db);
    if (*tables != 4)
        return StoreResult::failed(OVErrorNotBookmarksFile,
                                   path.string() + ": an SQLite database, but not a Firefox places database");
    const std::int64_t version = db.integer("PRAGMA user_version").value_or(0);
    if (std::find(std::begin(kTestedSchemaVersions), std::end(kTestedSchemaVersions), version) ==
        std::end(kTestedSchemaVersions))
        return StoreResult::failed(OVErrorUnknownVersion,
                                   path.string() + ": a places database of schema version " + std::to_string(version) +
                                       ", which this program has not been tested with (it knows version " +
                                       std::to_string(kTestedSchemaVersions[0]) + ")");
    return {};
}

StoreResult FirefoxStore::load(BookmarkTree& tree) {
    endTransaction();
    // The browser's own lock, held until the end: it cannot start while the tree is read and written.
    if (!options_.readOnly && !lock_.acquire())
        return StoreResult::failed(OVErrorFileBusy, browser_ + " started with this profile meanwhile");
    if (StoreResult opened = openChecked(db_, file_, options_.readOnly); !opened.done()) return opened;
    // A read transaction: one state of the database throughout, which the backup copies too.
    if (!db_.exec("BEGIN").empty()) return sqlFailure(OVErrorCannotRead, file_, "cannot begin a transaction", db_);
    inTransaction_ = true;
    return readTree(tree);
}

StoreResult FirefoxStore::readTree(BookmarkTree& tree) {
    tree.rules.keepsEmptyTitles = true;
    rows_.clear();
    readChildren_.clear();
    parentOf_.clear();
    sqlite::Statement rows(db_,
                           "SELECT b.id, b.type, b.parent, b.position, b.title, b.guid, b.syncStatus, b.fk, h.url "
                           "FROM moz_bookmarks b LEFT JOIN moz_places h ON h.id = b.fk "
                           "ORDER BY b.parent, b.position, b.id");
    if (!rows.ok()) return sqlFailure(OVErrorCannotRead, file_, "cannot read the bookmarks", db_);
    std::map<std::int64_t, std::vector<std::uint32_t>> childrenOf;  // by parent id, in order
    std::map<std::string, std::uint32_t, std::less<>> byGuid;
    int step;
    while ((step = rows.step()) == SQLITE_ROW) {
        Row row;
        row.id = rows.integer(0);
        row.type = static_cast<int>(rows.integer(1));
        row.parent = rows.integer(2);
        row.position = rows.integer(3);
        row.syncStatus = rows.integer(6);
        row.place = rows.isNull(7) ? 0 : rows.integer(7);
        TreeNode node;
        node.record = static_cast<std::uint32_t>(rows_.size());
        node.hasTitle = !rows.isNull(4);
        if (node.hasTitle) node.title = tree.keep(rows.text(4));
        node.identity = tree.keep(rows.text(5));
        node.hasIdentity = !rows.isNull(5);
        node.hasUrl = !rows.isNull(8);
        if (node.hasUrl) node.url = tree.keep(rows.text(8));
        switch (row.type) {
        case kTypeBookmark:
            node.kind = tree.text(node.url).starts_with("place:") ? NodeKind::Pinned : NodeKind::Bookmark;
            break;
        case kTypeFolder: node.kind = NodeKind::Folder; break;
        case kTypeSeparator: node.kind = NodeKind::Separator; break;
        default: node.kind = NodeKind::Other; break;
        }
        node.hasChildList = node.namesChildren = row.type == kTypeFolder;
        byGuid.emplace(std::string(tree.text(node.identity)), node.record);
        childrenOf[row.parent].push_back(node.record);
        parentOf_[row.id] = row.parent;
        rows_.push_back(row);
        tree.add(node);  // tree ids and records are the same numbers here
    }
    if (step != SQLITE_DONE) return sqlFailure(OVErrorCannotRead, file_, "cannot read the bookmarks", db_);
    readChildren_.resize(rows_.size());
    for (std::uint32_t record = 0; record < rows_.size(); ++record)
        if (const auto it = childrenOf.find(rows_[record].id);
            it != childrenOf.end() && rows_[record].type == kTypeFolder) {
            readChildren_[record] = it->second;
            tree.setChildren(record, it->second);
        }
    if (const auto tags = byGuid.find("tags________"); tags != byGuid.end()) tagsRoot_ = rows_[tags->second].id;
    for (const RegionRoot& region : kRegions) {
        const auto root = byGuid.find(region.guid);
        if (root == byGuid.end() || rows_[root->second].type != kTypeFolder) continue;
        tree.regions.emplace_back(root->second, region.guid == kRegions[0].guid, region.label);
    }
    if (tree.regions.empty())
        return StoreResult::failed(OVErrorNotBookmarksFile,
                                   file_.string() + ": a places database without its bookmark roots");
    return {};
}

StoreResult FirefoxStore::writeInitialBackup(const fs::path& backup, bool& made) {
    if (!inTransaction_) return StoreResult::changed();
    return writeFirstBackup(backup, made, [&] {
        if (std::string why = copyDatabase(db_, file_, backup); !why.empty())
            return StoreResult::failed(OVErrorCannotWriteBackup,
                                       "cannot copy " + file_.string() + " to " + backup.string() + ": " + why);
        return StoreResult();
    });
}

StoreResult FirefoxStore::save(BookmarkTree& tree, const ReplaceHooks& hooks) {
    if (!inTransaction_ || options_.readOnly) return StoreResult::changed();
    // The first write takes the write lock, which SQLite refuses when another program committed
    // since the tree was read (or keeps the lock longer than the wait): the sort starts over.
    if (!db_.exec("UPDATE moz_bookmarks SET position = position WHERE 0").empty()) {
        const bool busy = db_.lastCode() == SQLITE_BUSY || db_.lastCode() == SQLITE_LOCKED;
        StoreResult failed = sqlFailure(OVErrorCannotWrite, file_, "cannot begin the changes", db_);
        endTransaction();
        return busy ? StoreResult::changed() : failed;
    }
    const std::int64_t now = nowPRTime();
    // The rows still in the tree; the others in a region were removed by the rules.
    std::vector<bool> kept(rows_.size());
    for (const Region& region : tree.regions) {
        std::vector<NodeId> pending{region.root};
        while (!pending.empty()) {
            const NodeId id = pending.back();
            pending.pop_back();
            kept[id] = true;
            const std::span<const NodeId> children = tree.children(id);
            pending.insert(pending.end(), children.begin(), children.end());
        }
    }
    bool ok = true;
    auto run = [&](sqlite::Statement& statement) { ok = statement.run() && ok; };
    sqlite::Statement tombstone(db_, "INSERT OR REPLACE INTO moz_bookmarks_deleted (guid, dateRemoved) VALUES (?, ?)");
    sqlite::Statement unreference(
        db_,
        "UPDATE moz_places SET foreign_count = foreign_count - 1, recalc_frecency = (substr(url, 1, 6) <> 'place:'), "
        "recalc_alt_frecency = (substr(url, 1, 6) <> 'place:') WHERE id = ?");
    sqlite::Statement dropAnnos(db_, "DELETE FROM moz_items_annos WHERE item_id = ?");
    sqlite::Statement drop(db_, "DELETE FROM moz_bookmarks WHERE id = ?");
    sqlite::Statement move(db_, "UPDATE moz_bookmarks SET position = ? WHERE id = ?");
    sqlite::Statement reorder(db_, "UPDATE moz_bookmarks SET position = ?, lastModified = ? WHERE id = ?");
    sqlite::Statement touch(db_, "UPDATE moz_bookmarks SET lastModified = ? WHERE id = ?");
    sqlite::Statement count(db_, "UPDATE moz_bookmarks SET syncChangeCounter = syncChangeCounter + ? WHERE id = ?");
    sqlite::Statement retitle(db_,
                              "UPDATE moz_bookmarks SET title = NULLIF(?, ''), lastModified = ?, "
                              "syncChangeCounter = syncChangeCounter + 1 WHERE id = ?");
    for (sqlite::Statement* statement :
         {&tombstone, &unreference, &dropAnnos, &drop, &move, &reorder, &touch, &count, &retitle})
        if (!statement->ok()) return sqlFailure(OVErrorCannotWrite, file_, "cannot prepare the changes", db_);

    // Removals, as Bookmarks.remove makes them: a tombstone for what Sync knows, the page's count
    // of references, the row.
    std::set<std::int64_t> unreferencedPlaces;
    for (const Region& region : tree.regions) {
        std::vector<NodeId> pending{region.root};
        while (!pending.empty()) {
            const NodeId id = pending.back();
            pending.pop_back();
            for (const std::uint32_t child : readChildren_[id]) {
                pending.push_back(child);
                if (kept[child]) continue;
                const Row& row = rows_[child];
                if (row.syncStatus == kSyncStatusNormal) run(tombstone.bind(1, tree.identity(child)).bind(2, now));
                if (row.type == kTypeBookmark && row.place != 0) {
                    run(unreference.bind(1, row.place));
                    unreferencedPlaces.insert(row.place);
                }
                run(dropAnnos.bind(1, row.id));
                run(drop.bind(1, row.id));
            }
        }
    }
    // A keyword goes with the last real bookmark of its page (tag entries do not count).
    sqlite::Statement stillBookmarked(
        db_,
        "SELECT count(*) FROM moz_bookmarks b JOIN moz_bookmarks p ON b.parent = p.id WHERE b.fk = ? AND p.parent <> ?");
    sqlite::Statement dropKeywords(db_, "DELETE FROM moz_keywords WHERE place_id = ?");
    sqlite::Statement uncount(db_, "UPDATE moz_places SET foreign_count = foreign_count - ? WHERE id = ?");
    for (const std::int64_t place : unreferencedPlaces) {
        stillBookmarked.bind(1, place).bind(2, tagsRoot_);
        const bool bookmarked = stillBookmarked.step() == SQLITE_ROW && stillBookmarked.integer(0) > 0;
        stillBookmarked.run();
        if (bookmarked) continue;
        run(dropKeywords.bind(1, place));
        if (const int keywords = sqlite3_changes(db_.get()); keywords > 0)
            run(uncount.bind(1, keywords).bind(2, place));
    }

    // Folders whose entries changed: renumbered 0..n-1, as a removal renumbers them, or stamped
    // and renumbered throughout, as Bookmarks.reorder does. Either way the folder and its
    // ancestors take the change's time, and the folder's counter rises once for the removals and
    // once for the new order, which is what makes Sync upload its list of children; separators
    // at or after a removed entry rise too.
    std::set<std::int64_t> stamped;
    for (NodeId id = 0; id < tree.size(); ++id) {
        const TreeNode& node = tree[id];
        if (!kept[id] || !node.childrenChanged) continue;
        const std::span<const NodeId> children = tree.children(id);
        for (std::size_t i = 0; i < children.size(); ++i) {
            const Row& row = rows_[children[i]];
            if (node.reordered)
                run(reorder.bind(1, static_cast<std::int64_t>(i)).bind(2, now).bind(3, row.id));
            else if (row.position != static_cast<std::int64_t>(i))
                run(move.bind(1, static_cast<std::int64_t>(i)).bind(2, row.id));
        }
        // Each removal counts for every separator after it, which moved.
        std::int64_t removed = 0;
        for (const std::uint32_t child : readChildren_[id]) {
            if (!kept[child])
                ++removed;
            else if (removed > 0 && rows_[child].type == kTypeSeparator)
                run(count.bind(1, removed).bind(2, rows_[child].id));
        }
        run(count.bind(1, (removed > 0 ? 1 : 0) + (node.reordered ? 1 : 0)).bind(2, rows_[id].id));
        for (std::int64_t folder = rows_[id].id; folder != 0 && stamped.insert(folder).second;) {
            run(touch.bind(1, now).bind(2, folder));
            const auto parent = parentOf_.find(folder);
            folder = parent == parentOf_.end() ? 0 : parent->second;
        }
    }
    // New titles, as Bookmarks.update gives them: stamped, and counted for Sync.
    for (NodeId id = 0; id < tree.size(); ++id) {
        const TreeNode& node = tree[id];
        if (kept[id] && node.titleChanged && node.newTitleIsRead)
            run(retitle.bind(1, tree.newTitle(id)).bind(2, now).bind(3, rows_[id].id));
    }
    if (!ok) return sqlFailure(OVErrorCannotWrite, file_, "cannot write the changes", db_);
    if (hooks.beforeSwap) hooks.beforeSwap();
    if (!db_.exec("COMMIT").empty()) return sqlFailure(OVErrorCannotWrite, file_, "cannot commit the changes", db_);
    inTransaction_ = false;
    // Into the database file itself, so that it holds the sort even where the log is dropped.
    db_.exec("PRAGMA wal_checkpoint(TRUNCATE)");
    endTransaction();
    return {};
}

StoreResult FirefoxStore::checkBackup(const fs::path& backup) {
    struct stat st;
    if (::stat(backup.c_str(), &st) != 0 || !S_ISREG(st.st_mode))
        return StoreResult::failed(OVErrorCannotRead, backup.string() + ": not a regular file");
    sqlite::Database copy;
    if (StoreResult opened = openChecked(copy, backup, true); !opened.done()) return opened;
    const std::optional<std::int64_t> roots = copy.integer(
        "SELECT count(*) FROM moz_bookmarks WHERE guid IN ('root________', 'toolbar_____', 'menu________')");
    if (!roots || *roots != 3)
        return StoreResult::failed(OVErrorNotBookmarksFile, backup.string() + ": a places database without its roots");
    return {};
}

StoreResult FirefoxStore::restoreBackup(const fs::path& backup) {
    endTransaction();
    if (!lock_.acquire()) return StoreResult::failed(OVErrorFileBusy, browser_ + " is running with this profile");
    if (StoreResult opened = openChecked(db_, file_, false); !opened.done()) {
        endTransaction();
        return opened;
    }
    const std::string why = restoreBookmarks(db_, backup);
    if (why.empty()) db_.exec("PRAGMA wal_checkpoint(TRUNCATE)");
    endTransaction();
    if (!why.empty())
        return StoreResult::failed(OVErrorCannotWrite, "cannot restore the bookmarks of " + file_.string() + " from " +
                                                           backup.string() + ": " + why);
    // The backup is used up, as a restore always uses it up.
    std::error_code error;
    for (const char* suffix : {"", "-journal", "-wal", "-shm"}) fs::remove(backup.string() + suffix, error);
    return {};
}

}  // namespace orvane::firefox
