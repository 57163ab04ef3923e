#include "places_db.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <csignal>
#include <stdexcept>

#include "test_support.h"

namespace orvane::test {
namespace {

constexpr std::int64_t kAdded = 1764000000000000;  // every entry's dateAdded and lastModified

}  // namespace

PlacesDb::PlacesDb(const std::filesystem::path& file, Open open) {
    if (std::string why = open == Create ? db_.create(file) : db_.open(file, false); !why.empty())
        throw std::runtime_error(file.string() + ": " + why);
    if (open == Create) exec(readText(ORVANE_SOURCE_DIR "/tests/data/firefox/places-v86.sql"));
    // Test databases need not survive a power cut; waiting for the disk only slows the tests.
    exec("PRAGMA synchronous = OFF");
}

void PlacesDb::exec(std::string_view sql) {
    if (std::string why = db_.exec(sql); !why.empty()) throw std::runtime_error(why + " in: " + std::string(sql));
}

std::int64_t PlacesDb::integer(std::string_view sql) {
    const std::optional<std::int64_t> value = db_.integer(sql);
    if (!value) throw std::runtime_error(db_.lastError() + " in: " + std::string(sql));
    return *value;
}

std::string PlacesDb::text(std::string_view sql) {
    sqlite::Statement statement(db_, sql);
    if (!statement.ok() || statement.step() != SQLITE_ROW) throw std::runtime_error(db_.lastError());
    return std::string(statement.text(0));
}

std::int64_t PlacesDb::page(std::string_view url) {
    sqlite::Statement existing(db_, "SELECT id FROM moz_places WHERE url = ?");
    existing.bind(1, url);
    if (existing.step() == SQLITE_ROW) return existing.integer(0);
    const std::string_view host = url.substr(url.find("//") == std::string_view::npos ? 0 : url.find("//") + 2);
    sqlite::Statement origin(db_,
                             "INSERT OR IGNORE INTO moz_origins (prefix, host, frecency) VALUES ('https://', ?, 1)");
    origin.bind(1, host.substr(0, host.find('/'))).run();
    sqlite::Statement insert(db_,
                             "INSERT INTO moz_places (url, guid, url_hash, frecency, origin_id) VALUES "
                             "(?1, ?2, length(?1) * 7919 + unicode(?1), 1, "
                             "(SELECT id FROM moz_origins WHERE host = ?3))");
    const std::string guid = "page" + std::to_string(integer("SELECT coalesce(max(id), 0) + 1 FROM moz_places"));
    insert.bind(1, url).bind(2, std::string(12 - guid.size(), '_') + guid).bind(3, host.substr(0, host.find('/')));
    if (!insert.run()) throw std::runtime_error(db_.lastError());
    return sqlite3_last_insert_rowid(db_.get());
}

std::int64_t PlacesDb::add(std::int64_t parent, int type, std::optional<std::int64_t> place,
                           std::optional<std::string_view> title, int syncStatus) {
    sqlite::Statement insert(db_,
                             "INSERT INTO moz_bookmarks (type, fk, parent, position, title, dateAdded, lastModified, "
                             "guid, syncStatus, syncChangeCounter) VALUES (?1, ?2, ?3, "
                             "(SELECT count(*) FROM moz_bookmarks WHERE parent = ?3), ?4, ?5, ?5, ?6, ?7, 1)");
    const std::string guid = "item" + std::to_string(integer("SELECT max(id) + 1 FROM moz_bookmarks"));
    insert.bind(1, type)
        .bind(3, parent)
        .bind(5, kAdded)
        .bind(6, std::string(12 - guid.size(), '_') + guid)
        .bind(7, syncStatus);
    place ? insert.bind(2, *place) : insert.bindNull(2);
    title ? insert.bind(4, *title) : insert.bindNull(4);
    if (!insert.run()) throw std::runtime_error(db_.lastError());
    const std::int64_t id = sqlite3_last_insert_rowid(db_.get());
    if (place) exec("UPDATE moz_places SET foreign_count = foreign_count + 1 WHERE id = " + std::to_string(*place));
    return id;
}

std::int64_t PlacesDb::folder(std::int64_t parent, std::optional<std::string_view> title, int syncStatus) {
    return add(parent, 2, std::nullopt, title, syncStatus);
}

std::int64_t PlacesDb::bookmark(std::int64_t parent, std::optional<std::string_view> title, std::string_view url,
                                int syncStatus) {
    return add(parent, 1, page(url), title, syncStatus);
}

std::int64_t PlacesDb::separator(std::int64_t parent, int syncStatus) {
    return add(parent, 3, std::nullopt, std::nullopt, syncStatus);
}

void PlacesDb::keyword(std::string_view keyword, std::string_view url) {
    const std::int64_t place = page(url);
    sqlite::Statement insert(db_, "INSERT INTO moz_keywords (keyword, place_id) VALUES (?, ?)");
    if (!insert.bind(1, keyword).bind(2, place).run()) throw std::runtime_error(db_.lastError());
    exec("UPDATE moz_places SET foreign_count = foreign_count + 1 WHERE id = " + std::to_string(place));
}

std::vector<std::string> PlacesDb::titles(std::int64_t folder) {
    sqlite::Statement rows(db_, "SELECT type, title FROM moz_bookmarks WHERE parent = ? ORDER BY position");
    rows.bind(1, folder);
    std::vector<std::string> titles;
    while (rows.step() == SQLITE_ROW)
        titles.emplace_back(rows.integer(0) == 3 ? "-" : rows.isNull(1) ? "<null>" : std::string(rows.text(1)));
    return titles;
}

FirefoxRunning::FirefoxRunning(const std::filesystem::path& profile) {
    int ready[2];
    if (::pipe(ready) != 0) throw std::runtime_error("cannot make a pipe");
    pid_ = ::fork();
    if (pid_ == 0) {
        const int fd = ::open((profile / ".parentlock").c_str(), O_RDWR | O_CREAT, 0644);
        struct flock lock {};
        lock.l_type = F_WRLCK;
        lock.l_whence = SEEK_SET;
        ::fcntl(fd, F_SETLK, &lock);
        (void)!::write(ready[1], "x", 1);
        ::pause();
        ::_exit(0);
    }
    char x;
    const bool locked = pid_ > 0 && ::read(ready[0], &x, 1) == 1;
    ::close(ready[0]);
    ::close(ready[1]);
    if (!locked) throw std::runtime_error("the stand-in for Firefox did not start");
}

void FirefoxRunning::kill() {
    if (pid_ <= 0) return;
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
    pid_ = -1;
}

std::vector<std::string> incoherence(PlacesDb& db) {
    // Each query counts what one of Firefox's own checks would repair.
    static constexpr std::pair<const char*, const char*> kChecks[] = {
        {"positions not 0..n-1 in a folder",
         "SELECT count(*) FROM (SELECT parent, count(*) AS n, min(position) AS lo, max(position) AS hi, "
         "count(DISTINCT position) AS d FROM moz_bookmarks GROUP BY parent) WHERE lo <> 0 OR hi <> n - 1 OR d <> n"},
        {"a page's foreign_count is not its bookmarks and keywords",
         "SELECT count(*) FROM moz_places p WHERE foreign_count <> "
         "(SELECT count(*) FROM moz_bookmarks WHERE fk = p.id) + (SELECT count(*) FROM moz_keywords WHERE place_id = p.id)"},
        {"a tombstone for an item that exists",
         "SELECT count(*) FROM moz_bookmarks_deleted d JOIN moz_bookmarks b ON b.guid = d.guid"},
        {"an item modified before it was added", "SELECT count(*) FROM moz_bookmarks WHERE lastModified < dateAdded"},
        {"an item whose parent is gone",
         "SELECT count(*) FROM moz_bookmarks b WHERE b.id <> 1 AND NOT EXISTS (SELECT 1 FROM moz_bookmarks p WHERE p.id = b.parent)"},
        {"a bookmark whose page is gone",
         "SELECT count(*) FROM moz_bookmarks b WHERE b.type = 1 AND NOT EXISTS (SELECT 1 FROM moz_places p WHERE p.id = b.fk)"},
        {"a keyword whose page is gone",
         "SELECT count(*) FROM moz_keywords k WHERE NOT EXISTS (SELECT 1 FROM moz_places p WHERE p.id = k.place_id)"},
        {"an annotation whose item is gone",
         "SELECT count(*) FROM moz_items_annos a WHERE NOT EXISTS (SELECT 1 FROM moz_bookmarks b WHERE b.id = a.item_id)"},
    };
    std::vector<std::string> found;
    for (const auto& [what, query] : kChecks)
        if (const std::int64_t n = db.integer(query); n != 0) found.push_back(std::to_string(n) + " × " + what);
    return found;
}

}  // namespace orvane::test
