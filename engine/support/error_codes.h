// The codes that the sort job and the restore answer. 9 is reserved and never produced; codes
// from 10 up belong to other parts of the system (the helper's reports).
#pragma once

#include <cstdint>

namespace orvane {

enum OVError : std::uint32_t {
    OVErrorSuccess = 0,
    OVErrorFileNotFound = 1,        // the bookmarks file (sort) or the backup (restore) is missing
    OVErrorOutputFileNotFound = 2,  // restore: the bookmarks file to replace is missing
    OVErrorNotBookmarksFile = 3,    // the root is not a folder
    OVErrorUnknownVersion = 4,      // "WebBookmarkFileVersion" of 2 or more
    OVErrorCannotRead = 5,
    OVErrorCannotWrite = 6,
    OVErrorCannotWriteBackup = 7,
    OVErrorFileBusy = 8,  // kept changing or stayed locked: Safari is using it
};

// Whether a code is the engine's (0 to 9) rather than another part's; 0 counts too, so callers
// test for success first.
inline bool isEngineCode(std::uint64_t code) { return code < 10; }

// Not one of the codes above: the file has children at its root but no Bookmarks Bar or no
// Bookmarks Menu, which the sort does not support, so nothing was written. isOrvaneError()
// answers false for it, so callers cannot mistake it for a code with a message of its own.
inline constexpr std::uint32_t kOVUnsupportedBookmarksFile = 70;

// Not one of the codes above either: the browser syncs the bookmarks with an account, so a sort
// made outside it would be undone or duplicated by sync; nothing was written.
inline constexpr std::uint32_t kOVSyncedBookmarks = 71;

}  // namespace orvane
