// The one-time initial copy of a places database, and putting its bookmarks back.
//
// The copy is the whole database, made page by page through SQLite from within the transaction
// the sort reads in: a copy of the file's bytes would miss what the write-ahead log holds, or catch
// half of a commit. A restore puts back the bookmarks only (with their keywords and annotations)
// and keeps the history the browser gathered since, as Firefox's own restore from a backup does.
#pragma once

#include <filesystem>
#include <string>

#include "stores/firefox/sqlite.h"

namespace orvane::firefox {

// Writes a copy of the database `source` reads to `backup`, whole or not at all, with the
// permissions of `original`; "" or why not.
std::string copyDatabase(sqlite::Database& source, const std::filesystem::path& original,
                         const std::filesystem::path& backup);

// Replaces the bookmarks of `db` (open, without a transaction) by those of the database `backup`,
// in one transaction, and tells Sync about it as Firefox's restore does; "" or why not.
std::string restoreBookmarks(sqlite::Database& db, const std::filesystem::path& backup);

}  // namespace orvane::firefox
