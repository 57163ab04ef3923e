// The sort job and the file operations around it: the lock and date probes, the one-time backup,
// the write and the restore.
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstdlib>
#include <thread>

#include "atomic_file.h"
#include "bookmarks_document.h"
#include "orvane.h"
#include "replace_item.h"
#include "title_collator.h"

namespace orvane {
namespace fs = std::filesystem;

namespace {

constexpr int kPasses = 10;
constexpr std::chrono::milliseconds kLockedPause{300};

bool itemExists(const fs::path& path) {
    struct stat st;
    return ::stat(path.c_str(), &st) == 0;
}

std::string homeFolder() {
    if (const char* home = std::getenv("HOME"); home && *home) return home;
    if (const passwd* entry = ::getpwuid(::getuid()); entry && entry->pw_dir) return entry->pw_dir;
    return "/";
}

// There is no desktop service to tell of a changed folder here.
void noteFileSystemChanged(const fs::path&) {}

}  // namespace

fs::path expandTilde(std::string_view path) {
    if (path == "~") return homeFolder();
    if (path.starts_with("~/")) return fs::path(homeFolder()) / path.substr(2);
    return fs::path(path);
}

Orvane::Orvane() = default;
Orvane::~Orvane() = default;

std::optional<fs::path> Orvane::bookmarksFilename() {
    if (!bookmarksFilename_) bookmarksFilename_ = expandTilde(kDefaultBookmarksFilename);
    if (!itemExists(*bookmarksFilename_)) return std::nullopt;
    return bookmarksFilename_;
}

void Orvane::setBookmarksFilename(std::optional<std::string_view> path) {
    bookmarksFilename_ = path ? std::optional<fs::path>(expandTilde(*path)) : std::nullopt;
}

std::optional<fs::path> Orvane::backupFilename() {
    if (!backupFilename_) {
        const std::optional<fs::path> bookmarks = bookmarksFilename();
        if (!bookmarks) return std::nullopt;
        backupFilename_ = fs::path(bookmarks->string() + ".bak");
    }
    return backupFilename_;
}

void Orvane::setBackupFilename(std::optional<std::string_view> path) {
    backupFilename_ = path ? std::optional<fs::path>(expandTilde(*path)) : std::nullopt;
}

std::optional<FileTime> Orvane::bookmarksFileModificationDate() {
    const std::optional<fs::path> path = bookmarksFilename();
    struct stat st;
    if (!path || ::stat(path->c_str(), &st) != 0) return std::nullopt;
    return FileTime{st.st_mtim.tv_sec, st.st_mtim.tv_nsec};
}

bool Orvane::isBookmarksFileLocked() {
    const std::optional<fs::path> path = bookmarksFilename();
    if (!path) return false;
    return itemExists(path->parent_path() / "lock");
}

std::uint32_t Orvane::sortBookmarks() {
    const std::optional<fs::path> found = bookmarksFilename();
    if (!found) return OVErrorFileNotFound;
    const fs::path path = *found;  // the same path is read, backed up and written

    std::optional<FileTime> readDate;
    plist::Value sortedRoot;
    for (int pass = 1;; ++pass) {
        if (isBookmarksFileLocked()) {
            // Safari is writing; what an earlier pass read and sorted is kept.
            if (sleep_)
                sleep_(kLockedPause);
            else
                std::this_thread::sleep_for(kLockedPause);
        } else {
            readDate = bookmarksFileModificationDate();
            const plist::Value root = bookmarksDictionaryWithFilename(path);
            if (root.isNull()) return OVErrorCannotRead;
            if (!verifyThatDictionaryIsBookmarksFileRootNode(root)) return OVErrorNotBookmarksFile;
            if (!verifyThatDictionaryHasCorrectVersionWithRootNode(root)) return OVErrorUnknownVersion;
            bool didSort = true;
            sortedRoot = sortBookmarksWithRootDictionary(root, didSort);
            if (sortedRoot.isNull()) return kOVUnsupportedBookmarksFile;
            if (!didSort) return OVErrorSuccess;
            if (passObserver_) passObserver_(pass);
        }
        // Unchanged since it was read: the sorted tree is current. A locked pass compares with
        // the date of the last pass that read the file.
        if (readDate && readDate == bookmarksFileModificationDate()) break;
        if (pass == kPasses) return OVErrorFileBusy;
    }

    if (writeBackupFile_ && !writeBackupFileForFilename(path)) return OVErrorCannotWriteBackup;
    updateWebBookmarkUUIDInDictionary(sortedRoot);
    if (sortedRoot.isNull()) return OVErrorSuccess;
    return writeBookmarksToFileWithDictionary(sortedRoot, path) ? OVErrorSuccess : OVErrorCannotWrite;
}

std::uint32_t Orvane::sortBookmarksInFileWithName(std::string_view path) {
    setBookmarksFilename(path);
    return sortBookmarks();
}

void Orvane::sortBookmarks(const void*, std::string_view, std::string& error) {
    if (const std::uint32_t code = sortBookmarks(); code != OVErrorSuccess) error = stringFromOVError(code);
}

bool Orvane::writeBackupFileForFilename(const fs::path& path) {
    const std::optional<fs::path> backup = backupFilename();
    if (!backup) return false;
    // An existing backup is never replaced: it keeps the bookmarks as they were before the
    // first sort.
    struct stat st;
    if (::lstat(backup->c_str(), &st) == 0) return true;
    if (!itemExists(path)) return true;
    std::error_code error;
    if (backup->has_parent_path()) {
        fs::create_directories(backup->parent_path(), error);
        if (error) {
            lastFileError_ = "cannot create the folder " + backup->parent_path().string() + ": " + error.message();
            return false;
        }
    }
    const IoError copied = copyFileAtomically(path, *backup);
    lastFileError_ = copied.message;
    return copied.ok();
}

bool Orvane::writeBookmarksToFileWithDictionary(const plist::Value& root, const fs::path& path) const {
    BookmarksDocument document;
    document.setBookmarksDictionary(root);
    DocumentError error;
    const bool written = document.writeToURL(path, "plist", &error);
    lastFileError_ = written ? "" : error.localizedDescription;
    noteFileSystemChanged(path.parent_path());
    return written;
}

std::uint32_t Orvane::restoreBackedUpBookmarks() {
    const std::optional<fs::path> bookmarks = bookmarksFilename();
    if (!bookmarks) return OVErrorOutputFileNotFound;
    const std::optional<fs::path> backup = backupFilename();
    if (!backup) return OVErrorFileNotFound;
    struct stat st;
    if (::lstat(backup->c_str(), &st) != 0) return OVErrorFileNotFound;
    // A link at the bookmarks path stays a link: the file it names is the one replaced.
    ReplaceOperations system;
    lastFileError_.clear();
    return replaceItemAtPath(resolveLinks(*bookmarks), *backup, system, &lastFileError_) ? OVErrorSuccess
                                                                                         : OVErrorCannotWrite;
}

}  // namespace orvane
