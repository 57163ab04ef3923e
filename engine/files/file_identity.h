// Which file a path names and in what state, told apart at the file system's full resolution: a
// save by another program changes at least one of these, even within one clock tick (the change
// time moves with every write, and a rename brings another inode).
#pragma once

#include <sys/stat.h>
#include <sys/types.h>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>

namespace orvane {

struct FileIdentity {
    dev_t device = 0;
    ino_t inode = 0;
    std::int64_t size = 0;
    std::int64_t modified = 0;  // nanoseconds since the epoch
    std::int64_t changed = 0;   // the inode's change time, nanoseconds since the epoch

    bool operator==(const FileIdentity&) const = default;
    // The same file with the same contents, the change time aside: renaming a file moves its
    // change time, so after an exchange only this can be compared.
    bool sameContents(const FileIdentity& other) const {
        return device == other.device && inode == other.inode && size == other.size && modified == other.modified;
    }
};

FileIdentity identityOf(const struct stat& st);
// The identity of what the path names (links followed), or nothing when it names nothing.
std::optional<FileIdentity> identityOf(const std::filesystem::path& path);
// The same without following a link at the path itself.
std::optional<FileIdentity> identityOfEntry(const std::filesystem::path& path);

// Whether the file at the path stops being `identity` within `time`, looked at every few
// milliseconds: a file that would not parse may be another program's save caught half-way.
bool changesWithin(const std::filesystem::path& path, const FileIdentity& identity, std::chrono::milliseconds time);

}  // namespace orvane
