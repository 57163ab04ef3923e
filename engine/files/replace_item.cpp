#include "files/replace_item.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "files/atomic_file.h"
#include "support/log.h"

namespace orvane {
namespace fs = std::filesystem;

std::optional<ReplaceFailure> ReplaceOperations::replaceItem(const fs::path& item, const fs::path& with) {
    if (::rename(with.c_str(), item.c_str()) == 0) return std::nullopt;
    if (errno != EXDEV)
        return ReplaceFailure{"cannot move " + with.string() + " to " + item.string() + ": " + std::strerror(errno),
                              std::nullopt};
    // On another file system the replacement is copied beside the item and renamed over it, so
    // the item is still never absent. The copy left behind at `with` is then removed; if that
    // fails the bookmarks are back all the same.
    if (IoError copied = copyFileAtomically(with, item); !copied.ok())
        return ReplaceFailure{copied.message, std::nullopt};
    ::unlink(with.c_str());
    return std::nullopt;
}

std::string ReplaceOperations::moveItem(const fs::path& from, const fs::path& to) {
    if (::rename(from.c_str(), to.c_str()) == 0) return "";
    return std::strerror(errno);
}

bool ReplaceOperations::exchangeObjects(const fs::path& a, const fs::path& b) {
    return ::renameat2(AT_FDCWD, a.c_str(), AT_FDCWD, b.c_str(), RENAME_EXCHANGE) == 0;
}

bool ReplaceOperations::removeItem(const fs::path& path) {
    std::error_code error;
    return fs::remove(path, error) && !error;
}

bool replaceItemAtPath(const fs::path& path, const fs::path& withPath) {
    ReplaceOperations system;
    return replaceItemAtPath(path, withPath, system);
}

bool replaceItemAtPath(const fs::path& path, const fs::path& withPath, ReplaceOperations& operations,
                       std::string* reason) {
    auto failed = [reason](std::string why) {
        if (reason) *reason = std::move(why);
        return false;
    };
    try {
        if (operations.hasAtomicReplace()) {
            std::optional<ReplaceFailure> failure = operations.replaceItem(path, withPath);
            if (!failure) return true;
            if (!failure->originalItemLocation) return failed(failure->description);  // the old file never moved
            // The old file was moved aside before the failure: put it back.
            const std::string moveError = operations.moveItem(*failure->originalItemLocation, path);
            if (!moveError.empty())
                logLine("-[NSFileManager(ReplaceItemWithItem) replaceItemAtPath:withItemAtPath:]",
                        "Error while trying to restore the original file (currently at \u201C" +
                            failure->originalItemLocation->string() + "\u201D) reason: " + moveError);
            return failed(moveError.empty() ? failure->description : moveError);
        }
        struct stat st;
        if (::lstat(path.c_str(), &st) != 0) return failed(errnoError("cannot find", path, errno).message);
        if (::lstat(withPath.c_str(), &st) != 0) return failed(errnoError("cannot find", withPath, errno).message);
        if (!operations.exchangeObjects(withPath, path))
            return failed(errnoError("cannot exchange " + withPath.string() + " and", path, errno).message);
        // The first path now holds the replacement and the second the old contents.
        if (!operations.removeItem(withPath)) return failed(errnoError("cannot remove", withPath, errno).message);
        return true;
    } catch (const std::exception& e) {
        // The replacement answers with a boolean; a throwing file operation is one more failure.
        return failed(e.what());
    } catch (...) {
        return failed("the file operation failed");
    }
}

}  // namespace orvane
