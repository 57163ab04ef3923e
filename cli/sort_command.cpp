// orvane-cli sort: the sort job on a bookmarks file, or with --dry-run the engine's preview of
// what the job would change.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <iterator>
#include <optional>
#include <string>

#include "cli.h"
#include "files/paths.h"
#include "job/messages.h"
#include "job/sort_job.h"
#include "json_writer.h"
#include "stores/safari/default_file.h"

namespace orvane::cli {
namespace {
namespace fs = std::filesystem;

const char* kHelp =
    "usage: orvane-cli sort [OPTIONS] [FILE | --browser ID[:PROFILE]]\n"
    "\n"
    "Sorts the bookmarks file FILE (default: ~/Library/Safari/Bookmarks.plist): Safari's\n"
    "Bookmarks.plist, the Bookmarks file of a Chromium-family browser (Chromium, Chrome, Edge,\n"
    "Brave, Vivaldi, Opera) or the places.sqlite of a Firefox-family browser (Firefox, LibreWolf,\n"
    "Floorp, Waterfox), told by its contents. Every folder is sorted by title, case ignored,\n"
    "proxies first; broken bookmarks and empty folders are dropped and untitled entries named. The\n"
    "file is written back (Safari's as a binary property list, a browser's as the browser writes it)\n"
    "only when its order changed, and before the first write ever it is copied to the initial\n"
    "backup, which is never overwritten. While Safari's \"lock\" item exists beside the file the sort\n"
    "waits, for at most about 3 seconds; while a browser runs with the profile, nothing is sorted.\n"
    "\n"
    "Options:\n"
    "  --folders-at-top, --no-folders-at-top         folders ahead of bookmarks (default on)\n"
    "  --remove-duplicates, --no-remove-duplicates   drop repeated addresses (default on)\n"
    "  --rename-samenamed, --no-rename-samenamed     give same-named entries distinct names\n"
    "                                                (default on)\n"
    "  --sort-bookmarks-bar, --no-sort-bookmarks-bar sort the Bookmarks Bar itself (default off)\n"
    "  --backup PATH     the initial backup (default: $XDG_DATA_HOME/Orvane/\n"
    "                    Bookmarks (Initial Copy).plist for Safari's file, and a file of its own in\n"
    "                    $XDG_DATA_HOME/Orvane/Initial Copies/ for each browser profile;\n"
    "                    XDG_DATA_HOME being ~/.local/share unless set)\n"
    "  --no-backup       write no backup\n"
    "  --browser ID[:PROFILE]\n"
    "                    sort that browser profile's bookmarks (its default profile without\n"
    "                    PROFILE; see 'orvane-cli browsers')\n"
    "  --ignore-sync     sort a Chromium profile whose bookmarks the browser syncs with an\n"
    "                    account, although sync will not carry the new order to other devices\n"
    "                    and may undo it\n"
    "  -n, --dry-run     write nothing; report what a sort would remove, rename and reorder\n"
    "  --json            with --dry-run: the report as JSON, for scripts\n"
    "  -h, --help        show this help\n"
    "\n"
    "Exit status: 0 sorted, or already in order; 1 FILE not found; 3 not a bookmarks file;\n"
    "4 bookmarks file of a newer version; 5 FILE unreadable; 6 FILE (or standard output) not\n"
    "written; 7 backup not written; 8 Safari or the browser is using the file; 64 usage error;\n"
    "70 FILE has no Bookmarks Bar or no Bookmarks Menu, and was left unchanged; 71 the browser\n"
    "syncs these bookmarks with an account (see --ignore-sync), and FILE was left unchanged.\n";

constexpr const char* kAlreadyInOrder =
    "Nothing changed: the bookmarks were already in order, so the file was not written.";
constexpr std::string_view kUnsupported =
    "The bookmarks file has no Bookmarks Bar or Bookmarks Menu; it was left unchanged.";

struct Invocation {
    SortOptions options;
    bool backup = true;
    bool dryRun = false;
    bool json = false;
    bool ignoreSync = false;
    std::optional<std::string> browser;
    std::optional<std::string> backupPath;
    std::optional<std::string> file;
};

int usage(const std::string& message) {
    printError("sort: " + message + "; see 'orvane-cli sort --help'");
    return ExitUsage;
}

// The job's message for a failure, with what the job's own text cannot say: why the file could
// not be read or written, where the backup was to go and why it failed, and who holds the file.
int reportFailure(const JobResult& result, const fs::path& file, const fs::path& backup) {
    const std::uint32_t code = result.code;
    if (code == kOVUnsupportedBookmarksFile) {
        printError(kUnsupported);
        return static_cast<int>(code);
    }
    if (code == kOVSyncedBookmarks) {
        printError(result.reason);
        return static_cast<int>(code);
    }
    reportJobResult(code, messageForUser(code, file.string(), result.browser));
    if ((code == OVErrorCannotRead || code == OVErrorCannotWrite) && !result.reason.empty()) printError(result.reason);
    if (code == OVErrorCannotWriteBackup)
        printError("the backup \u201C" + backup.string() + "\u201D could not be written" +
                   (result.reason.empty() ? "" : ": " + result.reason));
    // A lock left behind by a crashed Safari blocks every sort until someone removes it.
    if (code == OVErrorFileBusy && result.holder.kind == FileHolder::Writing)
        printError(result.holder.who + "'s \u201Clock\u201D item is at \u201C" + result.holder.where.string() +
                   "\u201D");
    if (code == OVErrorFileBusy && result.holder.kind == FileHolder::Running) printError(result.reason);
    return static_cast<int>(code);
}

std::string inQuotes(std::string_view title) { return "\u201C" + printable(title) + "\u201D"; }

// What the engine's preview found, without writing anything.
int dryRun(const JobRequest& request, const fs::path& file, const fs::path& backup) {
    const Preview preview = previewSort(request);
    if (preview.result.code != OVErrorSuccess) return reportFailure(preview.result, file, backup);
    const SortReport& report = preview.result.report;

    std::printf("%s (dry run, nothing written):\n", printable(file.string()).c_str());
    std::printf("  broken bookmarks removed: %zu\n", report.brokenBookmarksRemoved);
    std::printf("  duplicates removed: %zu\n", report.duplicatesRemoved);
    std::printf("  empty folders removed: %zu\n", report.emptyFoldersRemoved);
    std::printf("  folders reordered: %zu\n", report.foldersReordered);
    std::printf("  entries renamed: %zu\n", report.renames.size());
    for (const SortReport::Rename& rename : report.renames)
        std::printf("    %s \u2192 %s\n", rename.from.empty() ? "(untitled)" : inQuotes(rename.from).c_str(),
                    inQuotes(rename.to).c_str());

    // The job writes only when the order changed: removals and new names alone do not count, and
    // the next sort that does write makes them again.
    const bool cleanups = report.brokenBookmarksRemoved || report.duplicatesRemoved || report.emptyFoldersRemoved ||
                          !report.renames.empty();
    std::string verdict;
    if (!report.wouldWrite) {
        verdict = cleanups ? "no, it is in order (removals and renames alone are not saved)" : "no, it is in order";
    } else if (!preview.cannotReplace.empty()) {
        verdict = "no: " + preview.cannotReplace + " (a sort would stop with status 6)";
    } else if (!request.backupFile) {
        verdict = "yes, without a backup";
    } else {
        verdict = preview.backupExists
                      ? "yes; the initial backup \u201C" + backup.string() + "\u201D exists and is kept"
                      : "yes, after copying it to the initial backup \u201C" + backup.string() + "\u201D";
    }
    // The job reads nothing while Safari's lock exists: it waits, and gives up if the lock stays.
    if (preview.holder.kind == FileHolder::Running)
        verdict = "not now: " + preview.holder.who +
                  " is running with this profile, so a sort would stop with status 8; once it has quit: " + verdict;
    if (preview.holder.kind == FileHolder::Writing)
        verdict = "not now: " + preview.holder.who + "'s \u201Clock\u201D item exists at \u201C" +
                  preview.holder.where.string() +
                  "\u201D, so a sort would wait for it up to about 3 seconds and stop with status 8 if it stays; "
                  "once it is gone: " +
                  verdict;
    std::printf("  file written: %s\n", printable(verdict).c_str());
    return ExitOk;
}

// The same preview for scripts.
int dryRunAsJson(const JobRequest& request, const fs::path& file, const fs::path& backup) {
    const Preview preview = previewSort(request);
    if (preview.result.code != OVErrorSuccess) return reportFailure(preview.result, file, backup);
    const SortReport& report = preview.result.report;
    const BookmarksFormat format = detectFormat(file);

    JsonWriter json(stdout);
    json.beginObject();
    json.key("file").string(file.string());
    json.key("format").string(format == BookmarksFormat::Chromium  ? "chromium"
                              : format == BookmarksFormat::Firefox ? "firefox"
                                                                   : "safari");
    json.key("browser").string(preview.result.browser);
    json.key("broken_bookmarks_removed").number(report.brokenBookmarksRemoved);
    json.key("duplicates_removed").number(report.duplicatesRemoved);
    json.key("empty_folders_removed").number(report.emptyFoldersRemoved);
    json.key("folders_reordered").number(report.foldersReordered);
    json.key("renames").beginArray();
    for (const SortReport::Rename& rename : report.renames) {
        json.beginObject();
        json.key("from").string(rename.from);
        json.key("to").string(rename.to);
        json.endObject();
    }
    json.endArray();
    json.key("order_changed").boolean(report.wouldWrite);
    json.key("would_write")
        .boolean(report.wouldWrite && preview.cannotReplace.empty() && preview.holder.kind == FileHolder::Nobody);
    json.key("cannot_replace");
    preview.cannotReplace.empty() ? json.null() : json.string(preview.cannotReplace);
    json.key("held_by");
    if (preview.holder.kind == FileHolder::Nobody) {
        json.null();
    } else {
        json.beginObject();
        json.key("who").string(preview.holder.who);
        json.key("how").string(preview.holder.kind == FileHolder::Running ? "running" : "writing");
        json.key("where").string(preview.holder.where.string());
        json.endObject();
    }
    json.key("backup");
    if (!request.backupFile) {
        json.null();
    } else {
        json.beginObject();
        json.key("path").string(backup.string());
        json.key("exists").boolean(preview.backupExists);
        json.endObject();
    }
    json.endObject();
    return ExitOk;
}

}  // namespace

int runSort(const Args& args) {
    Invocation call;
    const struct {
        std::string_view name;
        bool SortOptions::*flag;
    } switches[] = {
        {"folders-at-top", &SortOptions::foldersAtTop},
        {"remove-duplicates", &SortOptions::removeDuplicates},
        {"rename-samenamed", &SortOptions::renameSamenamed},
        {"sort-bookmarks-bar", &SortOptions::sortBookmarksBar},
    };
    bool noBackupGiven = false, optionsEnded = false;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string_view a = args[i];
        if (optionsEnded || a.size() < 2 || a[0] != '-') {
            if (a == "-") return usage("FILE cannot be standard input: the sort writes the file back");
            if (call.file) return usage("only one FILE may be given");
            call.file = std::string(a);
            continue;
        }
        if (a == "--") {
            optionsEnded = true;
        } else if (a == "-h" || a == "--help") {
            std::fputs(kHelp, stdout);
            return ExitOk;
        } else if (a == "--browser" || a.starts_with("--browser=")) {
            const std::string_view value = a != "--browser" ? a.substr(10) : i + 1 < args.size() ? args[++i] : "";
            if (value.empty()) return usage("--browser needs an ID or ID:PROFILE");
            call.browser = std::string(value);
        } else if (a == "--ignore-sync") {
            call.ignoreSync = true;
        } else if (a == "-n" || a == "--dry-run") {
            call.dryRun = true;
        } else if (a == "--json") {
            call.json = true;
        } else if (a == "--no-backup") {
            noBackupGiven = true;
            call.backup = false;
        } else if (a == "--backup" || a.starts_with("--backup=")) {
            std::string_view value;
            if (a != "--backup") {
                value = a.substr(9);
            } else if (i + 1 < args.size()) {
                value = args[++i];
            } else {
                return usage("--backup needs a PATH");
            }
            if (value.empty()) return usage("--backup needs a PATH");
            call.backupPath = std::string(value);
        } else {
            const bool on = !a.starts_with("--no-");
            const std::string_view name = a.substr(on ? 2 : 5);
            const auto* match =
                std::find_if(std::begin(switches), std::end(switches), [&](const auto& s) { return s.name == name; });
            if (!a.starts_with("--") || match == std::end(switches))
                return usage("unknown option '" + std::string(a) + "'");
            call.options.*match->flag = on;
        }
    }
    if (noBackupGiven && call.backupPath) return usage("--backup and --no-backup cannot be combined");
    if (call.browser && call.file) return usage("give either FILE or --browser, not both");
    if (call.browser && !(call.file = browserProfileFile("sort", *call.browser))) return ExitUsage;
    if (call.json && !call.dryRun) return usage("--json goes with --dry-run");

    const fs::path file = expandTilde(call.file ? *call.file : safari::kDefaultBookmarksFile);
    const fs::path backup = call.backupPath ? expandTilde(*call.backupPath) : defaultBackupFor(file);
    // An existing item at the backup path counts as the backup already made, so a folder there
    // would mean a sort with no backup at all.
    if (struct stat st; call.backupPath && ::stat(backup.c_str(), &st) == 0 && !S_ISREG(st.st_mode))
        return usage("--backup names " + std::string(S_ISDIR(st.st_mode) ? "a folder" : "something other than a file") +
                     ", \u201C" + backup.string() + "\u201D; give the path of the backup file itself");

    JobRequest request(file, call.backup ? std::optional<fs::path>(backup) : std::nullopt, call.options);
    request.store.ignoreSync = call.ignoreSync;
    if (call.dryRun) return call.json ? dryRunAsJson(request, file, backup) : dryRun(request, file, backup);
    const JobResult result = sortBookmarks(request);
    if (result.code != OVErrorSuccess) return reportFailure(result, file, backup);
    // The job's message speaks of a file saved, which is not so when it was already in order.
    return reportJobResult(result.code, result.written ? messageForUser(result.code, file.string()) : kAlreadyInOrder);
}

}  // namespace orvane::cli
