// orvane-cli sort: the sort job on a bookmarks file, or with --dry-run a report of what the job
// would change, made from the same loading, validation and sorting without writing anything.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <iterator>
#include <optional>
#include <string>

#include "application_folder.h"
#include "atomic_file.h"
#include "cli.h"

namespace orvane::cli {
namespace {
namespace fs = std::filesystem;

const char* kHelp =
    "usage: orvane-cli sort [OPTIONS] [FILE]\n"
    "\n"
    "Sorts the Safari bookmarks file FILE (default: ~/Library/Safari/Bookmarks.plist): every\n"
    "folder by title, case ignored, proxies first; broken bookmarks and empty folders are dropped\n"
    "and untitled entries named. The file is written back (as a binary property list) only when\n"
    "its order changed, and before the first write ever it is copied to the initial backup, which\n"
    "is never overwritten. While Safari's \"lock\" item exists beside the file the sort waits, for\n"
    "at most about 3 seconds.\n"
    "\n"
    "Options:\n"
    "  --folders-at-top, --no-folders-at-top         folders ahead of bookmarks (default on)\n"
    "  --remove-duplicates, --no-remove-duplicates   drop repeated addresses (default on)\n"
    "  --rename-samenamed, --no-rename-samenamed     give same-named entries distinct names\n"
    "                                                (default on)\n"
    "  --sort-bookmarks-bar, --no-sort-bookmarks-bar sort the Bookmarks Bar itself (default off)\n"
    "  --backup PATH     the initial backup (default: $XDG_DATA_HOME/Orvane/\n"
    "                    Bookmarks (Initial Copy).plist, XDG_DATA_HOME being ~/.local/share\n"
    "                    unless set)\n"
    "  --no-backup       write no backup\n"
    "  -n, --dry-run     write nothing; report what a sort would remove, rename and reorder\n"
    "  -h, --help        show this help\n"
    "\n"
    "Exit status: 0 sorted, or already in order; 1 FILE not found; 3 not a bookmarks file;\n"
    "4 bookmarks file of a newer version; 5 FILE unreadable; 6 FILE (or standard output) not\n"
    "written; 7 backup not written; 8 Safari is using the file; 64 usage error; 70 FILE has no\n"
    "Bookmarks Bar or no Bookmarks Menu, and was left unchanged.\n";

constexpr const char* kAlreadyInOrder =
    "Nothing changed: the bookmarks were already in order, so the file was not written.";
constexpr std::string_view kUnsupported =
    "The bookmarks file has no Bookmarks Bar or Bookmarks Menu; it was left unchanged.";

struct SortOptions {
    bool foldersAtTop = true;
    bool removeDuplicates = true;
    bool renameSamenamed = true;
    bool sortBookmarksBar = false;
    bool backup = true;
    bool dryRun = false;
    std::optional<std::string> backupPath;
    std::optional<std::string> file;
};

int usage(const std::string& message) {
    printError("sort: " + message + "; see 'orvane-cli sort --help'");
    return ExitUsage;
}

// Safari's lock item beside the file.
fs::path lockOf(const fs::path& file) {
    std::error_code ignored;
    return fs::absolute(file, ignored).parent_path() / "lock";
}

// The job's message for a failure, with what the job's own text cannot say: why the file could
// not be read or written, where the backup was to go and why it failed, and where Safari's lock
// item is.
int reportFailure(const Orvane& engine, std::uint32_t code, const fs::path& file, const fs::path& backup) {
    if (code == kOVUnsupportedBookmarksFile) {
        printError(kUnsupported);
        return static_cast<int>(code);
    }
    reportJobResult(code, Orvane::stringFromOVError(code, file.string()));
    if (code == OVErrorCannotRead) loadPropertyList(file.string());  // prints the reason, naming the file
    if (code == OVErrorCannotWrite && !engine.lastFileError().empty()) printError(engine.lastFileError());
    if (code == OVErrorCannotWriteBackup)
        printError("the backup \u201C" + backup.string() + "\u201D could not be written" +
                   (engine.lastFileError().empty() ? "" : ": " + engine.lastFileError()));
    // A lock left behind by a crashed Safari blocks every sort until someone removes it.
    std::error_code ignored;
    if (const fs::path lock = lockOf(file); code == OVErrorFileBusy && fs::exists(lock, ignored))
        printError("Safari's \u201Clock\u201D item is at \u201C" + lock.string() + "\u201D");
    return static_cast<int>(code);
}

std::string inQuotes(std::string_view title) { return "\u201C" + printable(title) + "\u201D"; }

// Loads, checks and sorts in memory as the job's first pass does, and prints what the engine
// counted; the file and the backup are left alone.
int dryRun(Orvane& engine, const fs::path& file, const SortOptions& options, const fs::path& backup) {
    SortReport report;
    engine.setReport(&report);
    std::uint32_t code = OVErrorSuccess;
    plist::Value root;
    bool didSort = false;
    if (!engine.bookmarksFilename())
        code = OVErrorFileNotFound;
    else if (root = engine.bookmarksDictionaryWithFilename(file); root.isNull())
        code = OVErrorCannotRead;
    else if (!engine.verifyThatDictionaryIsBookmarksFileRootNode(root))
        code = OVErrorNotBookmarksFile;
    else if (!engine.verifyThatDictionaryHasCorrectVersionWithRootNode(root))
        code = OVErrorUnknownVersion;
    else if (engine.sortBookmarksWithRootDictionary(root, didSort).isNull())
        code = kOVUnsupportedBookmarksFile;
    if (code != OVErrorSuccess) return reportFailure(engine, code, file, backup);

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
    struct stat st;
    if (!report.wouldWrite) {
        verdict = cleanups ? "no, it is in order (removals and renames alone are not saved)" : "no, it is in order";
    } else if (const fs::path target = resolveLinks(file);
               ::faccessat(AT_FDCWD, target.c_str(), W_OK, AT_EACCESS) != 0) {
        verdict = "no: " + errnoError("cannot replace", target, errno).message + " (a sort would stop with status 6)";
    } else if (!options.backup) {
        verdict = "yes, without a backup";
    } else {
        verdict = ::lstat(backup.c_str(), &st) == 0
                      ? "yes; the initial backup \u201C" + backup.string() + "\u201D exists and is kept"
                      : "yes, after copying it to the initial backup \u201C" + backup.string() + "\u201D";
    }
    // The job reads nothing while Safari's lock exists: it waits, and gives up if the lock stays.
    if (engine.isBookmarksFileLocked())
        verdict =
            "not now: Safari's \u201Clock\u201D item exists at \u201C" + lockOf(file).string() +
            "\u201D, so a sort would wait for it up to about 3 seconds and stop with status 8 if it stays; once it is gone: " +
            verdict;
    std::printf("  file written: %s\n", printable(verdict).c_str());
    return ExitOk;
}

}  // namespace

int runSort(const Args& args) {
    SortOptions options;
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
            if (options.file) return usage("only one FILE may be given");
            options.file = std::string(a);
            continue;
        }
        if (a == "--") {
            optionsEnded = true;
        } else if (a == "-h" || a == "--help") {
            std::fputs(kHelp, stdout);
            return ExitOk;
        } else if (a == "-n" || a == "--dry-run") {
            options.dryRun = true;
        } else if (a == "--no-backup") {
            noBackupGiven = true;
            options.backup = false;
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
            options.backupPath = std::string(value);
        } else {
            const bool on = !a.starts_with("--no-");
            const std::string_view name = a.substr(on ? 2 : 5);
            const auto* match =
                std::find_if(std::begin(switches), std::end(switches), [&](const auto& s) { return s.name == name; });
            if (!a.starts_with("--") || match == std::end(switches))
                return usage("unknown option '" + std::string(a) + "'");
            options.*match->flag = on;
        }
    }
    if (noBackupGiven && options.backupPath) return usage("--backup and --no-backup cannot be combined");

    const fs::path file = expandTilde(options.file ? *options.file : kDefaultBookmarksFilename);
    const fs::path backup = options.backupPath ? expandTilde(*options.backupPath) : initialBackupFilename();
    // An existing item at the backup path counts as the backup already made, so a folder there
    // would mean a sort with no backup at all.
    if (struct stat st; options.backupPath && ::stat(backup.c_str(), &st) == 0 && !S_ISREG(st.st_mode))
        return usage("--backup names " + std::string(S_ISDIR(st.st_mode) ? "a folder" : "something other than a file") +
                     ", \u201C" + backup.string() + "\u201D; give the path of the backup file itself");

    Orvane engine;
    engine.setBookmarksFilename(file.string());
    engine.setBackupFilename(backup.string());
    engine.setArrangeFoldersAtTop(options.foldersAtTop);
    engine.setRemoveDuplicates(options.removeDuplicates);
    engine.setRenameSamenamed(options.renameSamenamed);
    engine.setSortBookmarksBar(options.sortBookmarksBar);
    engine.setWriteBackupFile(options.backup);

    if (options.dryRun) return dryRun(engine, file, options, backup);
    SortReport report;
    engine.setReport(&report);
    const std::uint32_t code = engine.sortBookmarks();
    if (code != OVErrorSuccess) return reportFailure(engine, code, file, backup);
    // The job's message speaks of a file saved, which is not so when it was already in order.
    return reportJobResult(code, report.wouldWrite ? Orvane::stringFromOVError(code, file.string()) : kAlreadyInOrder);
}

}  // namespace orvane::cli
