// Putting one file in place of another without a moment in which neither exists, and without
// losing the first when the replacement fails. Used to restore the bookmarks from the backup.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace orvane {

// Why the platform's replace failed and, when it had already moved the old item aside, where
// that item now lies.
struct ReplaceFailure {
    std::string description;
    std::optional<std::filesystem::path> originalItemLocation;
};

// The file operations the replacement needs, behind one small interface so that tests can make
// any of them fail.
class ReplaceOperations {
public:
    virtual ~ReplaceOperations() = default;
    // Whether the platform replaces atomically; when not, the contents are exchanged instead.
    virtual bool hasAtomicReplace() const { return true; }
    // Puts `with` in place of `item`; nothing on success.
    virtual std::optional<ReplaceFailure> replaceItem(const std::filesystem::path& item,
                                                      const std::filesystem::path& with);
    // Moves an item; "" on success, otherwise why not.
    virtual std::string moveItem(const std::filesystem::path& from, const std::filesystem::path& to);
    // Swaps the two names' files, each name keeping its place.
    virtual bool exchangeObjects(const std::filesystem::path& a, const std::filesystem::path& b);
    virtual bool removeItem(const std::filesystem::path& path);
};

// Replaces the item at `path` by the one at `withPath`, which is used up: true when the
// replacement now stands at `path` and nothing remains at `withPath`. On failure `reason`, when
// given, says what the system answered.
bool replaceItemAtPath(const std::filesystem::path& path, const std::filesystem::path& withPath);
bool replaceItemAtPath(const std::filesystem::path& path, const std::filesystem::path& withPath,
                       ReplaceOperations& operations, std::string* reason = nullptr);

}  // namespace orvane
