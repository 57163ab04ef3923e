#include "stores/firefox/places_backup.h"

#include <sys/stat.h>
#include <cerrno>
#include <cstring>
#include <random>
#include <span>

#include "files/new_file.h"

namespace orvane::firefox {
namespace fs = std::filesystem;

namespace {

// A new identity as Firefox makes them: nine random bytes in URL-safe Base64, twelve characters.
void makeGuid(sqlite3_context* context, int, sqlite3_value**) {
    static constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
    std::random_device random;
    char guid[12];
    for (int group = 0; group < 3; ++group) {
        const unsigned bits = random() & 0xFFFFFFu;
        for (int i = 0; i < 4; ++i) guid[group * 4 + i] = kAlphabet[(bits >> (18 - 6 * i)) & 63];
    }
    sqlite3_result_text(context, guid, sizeof guid, SQLITE_TRANSIENT);
}

// The pages of the saved bookmarks and keywords, by their id in the backup and in the database;
// pages the database no longer has (history is forgotten once no bookmark holds a page) are
// put back with their origins.
constexpr const char* kRestorePages[] = {
    "CREATE TEMP TABLE saved_page (saved_id INTEGER PRIMARY KEY, id INTEGER)",
    "INSERT INTO saved_page (saved_id, id) "
    "SELECT h.id, (SELECT m.id FROM main.moz_places m WHERE m.url_hash = h.url_hash AND m.url = h.url) "
    "FROM saved.moz_places h "
    "WHERE h.id IN (SELECT fk FROM saved.moz_bookmarks UNION SELECT place_id FROM saved.moz_keywords)",
    "INSERT OR IGNORE INTO main.moz_origins (prefix, host, frecency, recalc_frecency, recalc_alt_frecency) "
    "SELECT o.prefix, o.host, o.frecency, 1, 1 FROM saved.moz_origins o WHERE o.id IN "
    "(SELECT h.origin_id FROM saved.moz_places h JOIN saved_page s ON s.saved_id = h.id WHERE s.id IS NULL)",
    "INSERT INTO main.moz_places (url, title, rev_host, hidden, frecency, guid, url_hash, description, "
    "preview_image_url, site_name, origin_id, recalc_frecency, alt_frecency, recalc_alt_frecency) "
    "SELECT h.url, h.title, h.rev_host, h.hidden, h.frecency, "
    "CASE WHEN h.guid IS NULL OR EXISTS (SELECT 1 FROM main.moz_places g WHERE g.guid = h.guid) "
    "THEN orvane_make_guid() ELSE h.guid END, "
    "h.url_hash, h.description, h.preview_image_url, h.site_name, "
    "(SELECT m.id FROM main.moz_origins m JOIN saved.moz_origins so ON so.prefix = m.prefix AND so.host = m.host "
    "WHERE so.id = h.origin_id), 1, h.alt_frecency, 1 "
    "FROM saved.moz_places h JOIN saved_page s ON s.saved_id = h.id WHERE s.id IS NULL",
    "UPDATE saved_page SET id = (SELECT m.id FROM saved.moz_places h JOIN main.moz_places m "
    "ON m.url_hash = h.url_hash AND m.url = h.url WHERE h.id = saved_page.saved_id) WHERE id IS NULL",
};

// The bookmarks themselves, with the ids, positions and times they had. Every item is new to
// Sync and no tombstone is left, as after Firefox's own restore.
constexpr const char* kRestoreBookmarks[] = {
    "DELETE FROM main.moz_items_annos",
    "DELETE FROM main.moz_keywords",
    "DELETE FROM main.moz_bookmarks",
    "DELETE FROM main.moz_bookmarks_deleted",
    "INSERT INTO main.moz_bookmarks (id, type, fk, parent, position, title, keyword_id, folder_type, dateAdded, "
    "lastModified, guid, syncStatus, syncChangeCounter) "
    "SELECT b.id, b.type, s.id, b.parent, b.position, b.title, b.keyword_id, b.folder_type, b.dateAdded, "
    "b.lastModified, b.guid, 1, 1 FROM saved.moz_bookmarks b LEFT JOIN saved_page s ON s.saved_id = b.fk",
    "INSERT INTO main.moz_keywords (id, keyword, place_id, post_data) "
    "SELECT k.id, k.keyword, s.id, k.post_data FROM saved.moz_keywords k JOIN saved_page s ON s.saved_id = k.place_id",
    "INSERT OR IGNORE INTO main.moz_anno_attributes (name) SELECT name FROM saved.moz_anno_attributes",
    "INSERT INTO main.moz_items_annos (item_id, anno_attribute_id, content, flags, expiration, type, dateAdded, "
    "lastModified) "
    "SELECT a.item_id, (SELECT m.id FROM main.moz_anno_attributes m JOIN saved.moz_anno_attributes sa "
    "ON sa.name = m.name WHERE sa.id = a.anno_attribute_id), a.content, a.flags, a.expiration, a.type, "
    "a.dateAdded, a.lastModified FROM saved.moz_items_annos a",
    // Each page's count of the bookmarks and keywords that hold it, as Firefox keeps it; a page
    // whose count changed has its frecency recomputed.
    "WITH counted AS (SELECT p.id, (SELECT count(*) FROM main.moz_bookmarks b WHERE b.fk = p.id) + "
    "(SELECT count(*) FROM main.moz_keywords k WHERE k.place_id = p.id) AS n FROM main.moz_places p "
    "WHERE p.foreign_count > 0 OR p.id IN (SELECT id FROM saved_page)) "
    "UPDATE main.moz_places SET foreign_count = counted.n, "
    "recalc_frecency = (substr(url, 1, 6) <> 'place:'), recalc_alt_frecency = (substr(url, 1, 6) <> 'place:') "
    "FROM counted WHERE counted.id = moz_places.id AND counted.n <> moz_places.foreign_count",
    "DROP TABLE saved_page",
};

// Sync is told as after Firefox's own restore: the bookmarks' sync identity and time are
// forgotten, and an account that synced them has its server copy replaced by the restored tree,
// not merged with it. A profile that never synced gets no such order, which would otherwise wipe
// an account's bookmarks the first time it signs in.
constexpr const char* kRestoreSync[] = {
    "INSERT OR REPLACE INTO main.moz_meta (key, value) SELECT 'sync/bookmarks/wipeRemote', 1 "
    "WHERE EXISTS (SELECT 1 FROM main.moz_meta WHERE key = 'sync/bookmarks/syncId')",
    "DELETE FROM main.moz_meta WHERE key IN ('sync/bookmarks/syncId', 'sync/bookmarks/lastSync')",
};

}  // namespace

std::string copyDatabase(sqlite::Database& source, const fs::path& original, const fs::path& backup) {
    // Made under a temporary name and renamed into place, so that a backup is whole or absent.
    const fs::path temporary = backup.parent_path() / temporaryName(backup.filename().string(), 1);
    std::error_code error;
    fs::remove(temporary, error);
    std::string why;
    {
        sqlite::Database copy;
        why = copy.create(temporary);
        if (why.empty()) {
            if (sqlite3_backup* step = sqlite3_backup_init(copy.get(), "main", source.get(), "main"); !step) {
                why = copy.lastError();
            } else {
                const int done = sqlite3_backup_step(step, -1);
                sqlite3_backup_finish(step);
                if (done != SQLITE_DONE) why = sqlite3_errstr(done);
            }
        }
        // One file without a log beside it, readable by itself.
        if (why.empty()) why = copy.exec("PRAGMA journal_mode = DELETE");
    }
    struct stat st;
    if (why.empty() && ::stat(original.c_str(), &st) == 0) ::chmod(temporary.c_str(), st.st_mode & 07777);
    if (why.empty() && ::rename(temporary.c_str(), backup.c_str()) != 0) why = std::strerror(errno);
    if (!why.empty()) {
        for (const char* suffix : {"", "-journal", "-wal", "-shm"}) fs::remove(temporary.string() + suffix, error);
        return why;
    }
    return {};
}

std::string restoreBookmarks(sqlite::Database& db, const fs::path& backup) {
    sqlite3_create_function(db.get(), "orvane_make_guid", 0, SQLITE_UTF8, nullptr, makeGuid, nullptr, nullptr);
    {
        sqlite::Statement attach(db, "ATTACH DATABASE ? AS saved");
        if (!attach.ok() || !attach.bind(1, backup.string()).run()) return db.lastError();
    }
    std::string why = db.exec("BEGIN IMMEDIATE");
    using Steps = std::span<const char* const>;
    for (const Steps steps : {Steps(kRestorePages), Steps(kRestoreBookmarks), Steps(kRestoreSync)})
        for (const char* step : steps)
            if (why.empty()) why = db.exec(step);
    if (why.empty()) why = db.exec("COMMIT");
    if (!why.empty()) db.exec("ROLLBACK");
    db.exec("DETACH DATABASE saved");
    return why;
}

}  // namespace orvane::firefox
