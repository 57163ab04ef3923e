// The jobs every front end runs: sort a bookmarks file, tell what a sort would do without doing
// it, and put the initial backup back. Each works on the file's store (stores/bookmark_store.h),
// so one code path serves every format.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "support/error_codes.h"
#include "stores/bookmark_store.h"
#include "tree/sort_options.h"
#include "tree/sort_report.h"

namespace orvane {

struct JobRequest {
    JobRequest() = default;
    JobRequest(std::filesystem::path file, std::optional<std::filesystem::path> backup = std::nullopt,
               SortOptions options = {}, StoreOptions store = {})
        : bookmarksFile(std::move(file)), backupFile(std::move(backup)), options(options), store(store) {}

    std::filesystem::path bookmarksFile;  // a link is followed; the file it names is replaced
    // The one-time initial backup: written before the first write ever, never replaced, and what
    // a restore puts back. None: a sort writes no backup.
    std::optional<std::filesystem::path> backupFile;
    SortOptions options;
    StoreOptions store;
};

struct JobResult {
    std::uint32_t code = OVErrorSuccess;  // support/error_codes.h
    // Why a read, backup, write or replacement failed, as the system or the reader said it, with
    // the file it concerns; empty on success.
    std::string reason;
    SortReport report;     // what the sort did (or, for a preview, would do)
    bool written = false;  // the file was replaced (not so when it was in order already)
    FileHolder holder;     // who held the file when the job gave up with code 8
    std::string browser;   // whose bookmarks file it is: "Safari", "Chromium", ...
};

// What a sort would do now, found the way the sort finds it, with nothing written.
struct Preview {
    JobResult result;           // the code the sort would stop with, and its report
    std::string cannotReplace;  // why the file could not be replaced; empty when it could
    bool backupExists = false;  // the initial backup is there already and would be kept
    FileHolder holder;          // someone using the file right now
};

// Seams for tests.
struct JobHooks {
    // Replaces the pause while another program holds the file for a moment.
    std::function<void(std::chrono::milliseconds)> sleep;
    // Runs after each pass has read and sorted the file, before the job looks at it again.
    std::function<void(int pass)> afterSort;
    // Run around the replacement of the file.
    ReplaceHooks replace;
};

// Loads, cleans and sorts the file and writes it back when the order changed, after the initial
// backup. While another program holds the file for a moment it waits, and when the file changes
// meanwhile it starts over, at most ten passes in all (then code 8); a browser that holds the
// profile for as long as it runs stops the job at once with code 8. The file is replaced only if
// it is still the file that was read: another program's save is never overwritten.
JobResult sortBookmarks(const JobRequest& request, const JobHooks& hooks = {});

Preview previewSort(const JobRequest& request);

// Checks that the backup holds bookmarks the file's store can read (codes 5, 3, 4 naming the
// backup) and that the file may be replaced (6), then puts the backup in the file's place; the
// backup is used up. 2 when there is no file to replace, 1 when there is no backup.
JobResult restoreInitialBackup(const JobRequest& request);

}  // namespace orvane
