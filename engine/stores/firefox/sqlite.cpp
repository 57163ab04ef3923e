#include "stores/firefox/sqlite.h"

namespace orvane::sqlite {

std::string Database::open(const std::filesystem::path& path, bool readOnly) {
    return openWith(path, readOnly ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE);
}

std::string Database::create(const std::filesystem::path& path) {
    return openWith(path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
}

std::string Database::openWith(const std::filesystem::path& path, int flags) {
    close();
    if (sqlite3_open_v2(path.c_str(), &db_, flags | SQLITE_OPEN_NOMUTEX, nullptr) == SQLITE_OK) return {};
    std::string why = lastError();
    close();
    return why;
}

void Database::close() {
    if (db_) sqlite3_close_v2(db_);
    db_ = nullptr;
}

std::string Database::exec(std::string_view sql) {
    char* error = nullptr;
    if (sqlite3_exec(db_, std::string(sql).c_str(), nullptr, nullptr, &error) == SQLITE_OK) return {};
    std::string why = error ? error : lastError();
    sqlite3_free(error);
    return why;
}

std::optional<std::int64_t> Database::integer(std::string_view sql) {
    Statement statement(*this, sql);
    if (!statement.ok() || statement.step() != SQLITE_ROW) return std::nullopt;
    return statement.integer(0);
}

Statement::Statement(Database& db, std::string_view sql) {
    if (sqlite3_prepare_v2(db.get(), sql.data(), static_cast<int>(sql.size()), &stmt_, nullptr) != SQLITE_OK)
        stmt_ = nullptr;
}

Statement& Statement::bind(int index, std::int64_t value) {
    sqlite3_bind_int64(stmt_, index, value);
    return *this;
}

Statement& Statement::bind(int index, std::string_view text) {
    sqlite3_bind_text(stmt_, index, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
    return *this;
}

Statement& Statement::bindNull(int index) {
    sqlite3_bind_null(stmt_, index);
    return *this;
}

bool Statement::run() {
    int code;
    while ((code = sqlite3_step(stmt_)) == SQLITE_ROW) {}
    sqlite3_reset(stmt_);
    sqlite3_clear_bindings(stmt_);
    return code == SQLITE_DONE;
}

std::string_view Statement::text(int column) const {
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(stmt_, column));
    return text ? std::string_view(text, static_cast<std::size_t>(sqlite3_column_bytes(stmt_, column)))
                : std::string_view();
}

}  // namespace orvane::sqlite
