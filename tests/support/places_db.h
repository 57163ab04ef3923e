// A Firefox places database for tests, made from the schema Firefox creates, with bookmarks added
// in code as Firefox adds them (a page per address, counted in its foreign_count).
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "stores/firefox/sqlite.h"

namespace orvane::test {

class PlacesDb {
public:
    // The root folders Firefox makes, by their ids.
    static constexpr std::int64_t kMenu = 2, kToolbar = 3, kTags = 4, kUnfiled = 5, kMobile = 6;
    static constexpr int kNew = 1, kNormal = 2;  // syncStatus

    enum Open { Create, Existing };
    // Makes the database at `file` with no bookmarks yet, or opens the one there.
    explicit PlacesDb(const std::filesystem::path& file, Open open = Create);
    // Closes the connection; the database stays.
    void close() { db_.close(); }

    // Each adds an entry at the end of `parent` and answers its id; a title of nullopt is NULL.
    std::int64_t folder(std::int64_t parent, std::optional<std::string_view> title, int syncStatus = kNormal);
    std::int64_t bookmark(std::int64_t parent, std::optional<std::string_view> title, std::string_view url,
                          int syncStatus = kNormal);
    std::int64_t separator(std::int64_t parent, int syncStatus = kNormal);
    void keyword(std::string_view keyword, std::string_view url);

    // The titles of a folder's entries by position ("-" for a separator, "<null>" for NULL).
    std::vector<std::string> titles(std::int64_t folder);
    std::int64_t integer(std::string_view sql);
    std::string text(std::string_view sql);
    void exec(std::string_view sql);

private:
    std::int64_t page(std::string_view url);
    std::int64_t add(std::int64_t parent, int type, std::optional<std::int64_t> page,
                     std::optional<std::string_view> title, int syncStatus);

    sqlite::Database db_;
};

// A process that holds a profile as a running Firefox does, with an fcntl write lock on its
// ".parentlock", from construction until kill() or destruction.
class FirefoxRunning {
public:
    explicit FirefoxRunning(const std::filesystem::path& profile);
    ~FirefoxRunning() { kill(); }
    FirefoxRunning(const FirefoxRunning&) = delete;
    FirefoxRunning& operator=(const FirefoxRunning&) = delete;
    int pid() const { return pid_; }
    // Ends the process as a crash would, leaving its lock file behind.
    void kill();

private:
    int pid_ = -1;
};

// What Firefox's own coherence checks would find to fix, one line each; empty when nothing.
std::vector<std::string> incoherence(PlacesDb& db);

}  // namespace orvane::test
