// The engine object. One is made per job: configure its file names and options, run
// sortBookmarks() or restoreBackedUpBookmarks(), read the code, throw the object away. The node
// methods read and change bookmark nodes (property-list dictionaries) in place.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "conditional_insert.h"
#include "ov_error.h"
#include "plist/value.h"
#include "sort_report.h"

namespace orvane {

class TitleCollator;

enum BookmarkNodeType : int {
    BookmarkNodeTypeNone = 0,
    BookmarkNodeTypeLeaf = 1,
    BookmarkNodeTypeList = 2,
    BookmarkNodeTypeProxy = 3,
};

// A modification time at the file system's full resolution.
struct FileTime {
    std::int64_t seconds = 0;
    std::int64_t nanoseconds = 0;
    bool operator==(const FileTime&) const = default;
};

// Where the engine looks for Safari's bookmarks unless told otherwise.
inline constexpr std::string_view kDefaultBookmarksFilename = "~/Library/Safari/Bookmarks.plist";

// A path with a leading "~" (alone or followed by "/") replaced by the user's home folder.
std::filesystem::path expandTilde(std::string_view path);

class Orvane {
public:
    Orvane();
    ~Orvane();
    Orvane(const Orvane&) = delete;
    Orvane& operator=(const Orvane&) = delete;

    // --- Bookmark nodes -----------------------------------------------------------------------

    // The node's "Title", else the "title" of its "URIDictionary", else nothing (Null).
    plist::Value titleFromBookmarkNode(const plist::Value& node) const;
    // Sets "title" in the node's "URIDictionary" when it has one, otherwise the node's "Title".
    // Reading prefers "Title" and writing prefers "URIDictionary" on purpose: a node with both
    // keeps reading its "Title" after a rename.
    void setTitle(const plist::Value& title, const plist::Value& node) const;
    BookmarkNodeType typeFromBookmarkNode(const plist::Value& node) const;
    // Bookmarks (leaves) below the node; folders do not count themselves, proxies count 0.
    std::size_t numberOfBookmarksInDictionary(const plist::Value& node) const;
    // The first direct child of the root whose "Title" is "BookmarksBar" / "BookmarksMenu".
    plist::Value bookmarksBarDictionaryFromBookmarksFileRootNode(const plist::Value& root) const;
    plist::Value bookmarksMenuDictionaryFromBookmarksFileRootNode(const plist::Value& root) const;

    // The root of the property list in the file, or Null when it cannot be read or parsed (the
    // reason goes to the log only).
    plist::Value bookmarksDictionaryWithFilename(const std::filesystem::path& path) const;
    bool verifyThatDictionaryIsBookmarksFileRootNode(const plist::Value& root) const;
    // True when "WebBookmarkFileVersion" reads as an integer below 2; a missing key reads as 0.
    bool verifyThatDictionaryHasCorrectVersionWithRootNode(const plist::Value& root) const;

    // --- Validation: cleans one region of the tree in place ----------------------------------

    // Removes broken bookmarks, empty folders and (with removeDuplicates) repeated addresses
    // under the region's root, and names untitled and (with renameSamenamed) same-named entries.
    // The region's root itself always stays.
    void validateBookmarksInRootNode(const plist::Value& root);
    // True when the caller should remove the node; a folder first cleans its own children.
    bool isFaultyBookmarkNode(const plist::Value& node, StringSet& duplicateURLs);
    void validateBookmarkNodeTitle(const plist::Value& node, StringSet& duplicateTitles);
    plist::Value nameForUntitledBookmarkNode() const;
    // A hook for a future dead-link check: no address counts as dead yet.
    bool isStaleResource(std::string_view url) const;
    void updateWebBookmarkUUIDInDictionary(const plist::Value& node) const;

    // --- Sorting --------------------------------------------------------------------------------

    // The root to write, with `didSort` telling whether it differs from the loaded one. Null when
    // the root has children but no Bookmarks Bar or no Bookmarks Menu: such a file is not
    // supported and must be left alone.
    plist::Value sortBookmarksWithRootDictionary(const plist::Value& root, bool& didSort);
    // The node with its subtree sorted: the node itself for a hidden folder or a node without
    // "Children", otherwise a new node with a new "Children" array.
    plist::Value sortBookmarksInDictionary(const plist::Value& node);
    // A new array with the same nodes in sorted order: proxies first, then (with
    // arrangeFoldersAtTop) folders, bookmarks and untyped entries, each by title in the user's
    // locale, case ignored. Entries that compare equal keep their order.
    plist::Value sortedArrayFromBookmarkChildArray(const plist::Value& children);
    // Same shape and the same "WebBookmarkUUID"s; a node without one never equals anything.
    bool areBookmarksEqualInDictionary(const plist::Value& a, const plist::Value& b) const;
    // Puts the bar and the menu in place of the root's children of those titles (or appends
    // them) and answers the root; false in `ok` when either folder is absent.
    plist::Value bookmarksDictionaryWithRootNode(const plist::Value& root, const plist::Value& bookmarksBar,
                                                 const plist::Value& bookmarksMenu, bool* ok = nullptr);

    // --- The sort job -------------------------------------------------------------------------

    // The bookmarks file, or nothing when no file or folder exists at it right now.
    std::optional<std::filesystem::path> bookmarksFilename();
    void setBookmarksFilename(std::optional<std::string_view> path);
    // The initial backup; unless set, the bookmarks file's path plus ".bak", fixed on first use.
    std::optional<std::filesystem::path> backupFilename();
    void setBackupFilename(std::optional<std::string_view> path);

    bool arrangeFoldersAtTop() const { return arrangeFoldersAtTop_; }
    void setArrangeFoldersAtTop(bool on) { arrangeFoldersAtTop_ = on; }
    bool removeDuplicates() const { return removeDuplicates_; }
    void setRemoveDuplicates(bool on) { removeDuplicates_ = on; }
    bool renameSamenamed() const { return renameSamenamed_; }
    void setRenameSamenamed(bool on) { renameSamenamed_ = on; }
    bool sortBookmarksBar() const { return sortBookmarksBar_; }
    void setSortBookmarksBar(bool on) { sortBookmarksBar_ = on; }
    bool writeBackupFile() const { return writeBackupFile_; }
    void setWriteBackupFile(bool on) { writeBackupFile_ = on; }

    // Loads, validates and sorts the bookmarks file and writes it back when its order changed,
    // waiting while Safari's "lock" item exists and starting over when the file changes
    // meanwhile. Answers an OVError code, or kOVUnsupportedBookmarksFile.
    std::uint32_t sortBookmarks();
    std::uint32_t sortBookmarksInFileWithName(std::string_view path);
    // The service-style entry: on failure the short message goes into `error`.
    void sortBookmarks(const void* pasteboard, std::string_view userData, std::string& error);
    // Moves the backup into the bookmarks file's place; the backup is used up.
    std::uint32_t restoreBackedUpBookmarks();

    std::optional<FileTime> bookmarksFileModificationDate();
    bool isBookmarksFileLocked();
    // Copies the bookmarks file to backupFilename unless a backup already exists there.
    bool writeBackupFileForFilename(const std::filesystem::path& path);
    bool writeBookmarksToFileWithDictionary(const plist::Value& root, const std::filesystem::path& path) const;

    // --- Messages -----------------------------------------------------------------------------

    static std::string stringFromOVError(std::uint32_t code);
    static std::string stringFromOVError(std::uint32_t code, std::string_view filename);
    static bool isOrvaneError(std::uint64_t code) { return code < 10; }

    // --- For tests and front ends --------------------------------------------------------------

    // What validation and sorting did, counted while set; nothing is counted by default.
    void setReport(SortReport* report) { report_ = report; }
    // Why the last backup, write or replacement of this object failed, as the system said it
    // ("cannot replace /x/Bookmarks.plist: Permission denied"); empty when none failed. The codes
    // stay as they are: this is for front ends that can show a second line.
    const std::string& lastFileError() const { return lastFileError_; }
    // Replaces the 0.3-second sleep between passes while the file is locked.
    void setSleepFunction(std::function<void(std::chrono::milliseconds)> sleep) { sleep_ = std::move(sleep); }
    // Called after each pass has read and sorted the file, before the date is probed again.
    void setPassObserver(std::function<void(int pass)> observer) { passObserver_ = std::move(observer); }

private:
    const TitleCollator& collator();

    std::optional<std::filesystem::path> bookmarksFilename_;
    std::optional<std::filesystem::path> backupFilename_;
    bool arrangeFoldersAtTop_ = false;
    bool removeDuplicates_ = false;
    bool renameSamenamed_ = false;
    bool sortBookmarksBar_ = false;
    bool writeBackupFile_ = false;

    std::unique_ptr<TitleCollator> collator_;
    SortReport* report_ = nullptr;
    std::function<void(std::chrono::milliseconds)> sleep_;
    std::function<void(int)> passObserver_;
    mutable std::string lastFileError_;  // written by the const write as well
};

// The integer a value stands for, read the way a number or its text would be: integers as they
// are, reals truncated, booleans 0 or 1, strings by their leading integer, anything else 0.
long long integerValue(const plist::Value& value);
// The truth a value stands for: true booleans, non-zero numbers, and strings that begin (after
// blanks) with Y, y, T, t or a non-zero digit.
bool boolValue(const plist::Value& value);

}  // namespace orvane
