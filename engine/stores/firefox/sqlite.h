// A thin hold on SQLite: a connection and a statement that close themselves, and errors as text.
#pragma once

#include <sqlite3.h>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace orvane::sqlite {

class Database {
public:
    Database() = default;
    ~Database() { close(); }
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    // Opens an existing database; "" or why not.
    std::string open(const std::filesystem::path& path, bool readOnly);
    // Opens a database, making an empty one when there is none; "" or why not.
    std::string create(const std::filesystem::path& path);
    void close();
    bool isOpen() const { return db_ != nullptr; }
    sqlite3* get() const { return db_; }

    // Runs SQL that returns no rows; "" or SQLite's reason.
    std::string exec(std::string_view sql);
    std::string lastError() const { return db_ ? sqlite3_errmsg(db_) : "no database"; }
    int lastCode() const { return db_ ? sqlite3_errcode(db_) : SQLITE_MISUSE; }
    // The single integer the query answers, or nothing.
    std::optional<std::int64_t> integer(std::string_view sql);

private:
    std::string openWith(const std::filesystem::path& path, int flags);

    sqlite3* db_ = nullptr;
};

class Statement {
public:
    Statement(Database& db, std::string_view sql);
    ~Statement() { sqlite3_finalize(stmt_); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    bool ok() const { return stmt_ != nullptr; }
    Statement& bind(int index, std::int64_t value);
    Statement& bind(int index, std::string_view text);
    Statement& bindNull(int index);
    // SQLITE_ROW, SQLITE_DONE, or an error code.
    int step() { return sqlite3_step(stmt_); }
    // Steps to the end and resets for the next binding; false on an error.
    bool run();
    std::int64_t integer(int column) const { return sqlite3_column_int64(stmt_, column); }
    bool isNull(int column) const { return sqlite3_column_type(stmt_, column) == SQLITE_NULL; }
    std::string_view text(int column) const;

private:
    sqlite3_stmt* stmt_ = nullptr;
};

}  // namespace orvane::sqlite
