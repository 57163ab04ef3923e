// orvane-cli restore: puts the initial backup back in place of the bookmarks file.
#include <cstdio>
#include <optional>
#include <string>

#include "cli.h"
#include "files/paths.h"
#include "job/sort_job.h"
#include "stores/safari/default_file.h"

namespace orvane::cli {
namespace {
namespace fs = std::filesystem;

const char* kHelp =
    "usage: orvane-cli restore [--backup PATH] [FILE | --browser ID[:PROFILE]]\n"
    "\n"
    "Puts the initial backup that the first sort made back in place of the bookmarks file FILE\n"
    "(default: ~/Library/Safari/Bookmarks.plist), in one atomic step. The backup is used up: it\n"
    "no longer exists afterwards, and the next sort that writes makes a new one. Nothing is\n"
    "replaced unless the backup reads as a bookmarks file of a version the sort knows, and FILE\n"
    "is a file you may write. For a Firefox profile the bookmarks of the backup (with their\n"
    "keywords) replace those of places.sqlite, and the history stays as it is now.\n"
    "\n"
    "Options:\n"
    "  --backup PATH   the backup to restore (default: $XDG_DATA_HOME/Orvane/\n"
    "                  Bookmarks (Initial Copy).plist, XDG_DATA_HOME being ~/.local/share\n"
    "                  unless set)\n"
    "  --browser ID[:PROFILE]\n"
    "                  restore that browser profile's bookmarks (see 'orvane-cli browsers')\n"
    "  -h, --help      show this help\n"
    "\n"
    "Exit status: 0 restored; 1 no backup; 2 FILE not found; 3 the backup is not a bookmarks\n"
    "file; 4 the backup is a bookmarks file of a newer version; 5 the backup cannot be read or is\n"
    "not a property list; 6 FILE not replaced; 8 the browser is running with the profile; 64 usage\n"
    "error.\n";

// Answered for success instead of the job's success text, which speaks of a sort.
constexpr std::string_view kRestored = "The initial backup of your bookmarks have now been restored.";

int usage(const std::string& message) {
    printError("restore: " + message + "; see 'orvane-cli restore --help'");
    return ExitUsage;
}

}  // namespace

int runRestore(const Args& args) {
    std::optional<std::string> file, backupPath, browser;
    bool optionsEnded = false;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string_view a = args[i];
        if (optionsEnded || a.size() < 2 || a[0] != '-') {
            if (a == "-") return usage("FILE cannot be standard input: the backup replaces a file");
            if (file) return usage("only one FILE may be given");
            file = std::string(a);
        } else if (a == "--") {
            optionsEnded = true;
        } else if (a == "-h" || a == "--help") {
            std::fputs(kHelp, stdout);
            return ExitOk;
        } else if (a == "--browser" || a.starts_with("--browser=")) {
            const std::string_view value = a != "--browser" ? a.substr(10) : i + 1 < args.size() ? args[++i] : "";
            if (value.empty()) return usage("--browser needs an ID or ID:PROFILE");
            browser = std::string(value);
        } else if (a == "--backup" || a.starts_with("--backup=")) {
            std::string_view value;
            if (a != "--backup")
                value = a.substr(9);
            else if (i + 1 < args.size())
                value = args[++i];
            if (value.empty()) return usage("--backup needs a PATH");
            backupPath = std::string(value);
        } else {
            return usage("unknown option '" + std::string(a) + "'");
        }
    }

    if (browser && file) return usage("give either FILE or --browser, not both");
    if (browser && !(file = browserProfileFile("restore", *browser))) return ExitUsage;
    const fs::path target = expandTilde(file ? *file : safari::kDefaultBookmarksFile);
    const fs::path backup = backupPath ? expandTilde(*backupPath) : defaultBackupFor(target);
    const JobResult result = restoreInitialBackup(JobRequest(target, backup));
    const std::string theBackup = "restore: the backup \u201C" + backup.string() + "\u201D ";
    switch (result.code) {
    case OVErrorSuccess: return reportJobResult(result.code, kRestored);
    // The job's texts for these speak of the bookmarks file, or of an unknown error.
    case OVErrorFileNotFound:
        printError("restore: there is no backup at \u201C" + backup.string() +
                   "\u201D; the first sort that changes the bookmarks file makes one");
        break;
    case OVErrorOutputFileNotFound:
        printError("restore: there is no bookmarks file at \u201C" + target.string() +
                   "\u201D to put the backup in place of");
        break;
    case OVErrorCannotRead:
        printError(theBackup + "could not be read; nothing was restored");
        printError(result.reason);
        break;
    case OVErrorNotBookmarksFile:
        printError(theBackup + "is not a bookmarks file; nothing was restored");
        printError(result.reason);
        break;
    case OVErrorUnknownVersion:
        printError(theBackup + "is a bookmarks file of a newer version; nothing was restored");
        printError(result.reason);
        break;
    case OVErrorFileBusy: printError("restore: " + result.reason + "; quit it first. Nothing was restored."); break;
    default:
        printError("restore: the bookmarks file \u201C" + target.string() +
                   "\u201D could not be replaced by the backup; nothing was restored");
        if (!result.reason.empty()) printError(result.reason);
        break;
    }
    return static_cast<int>(result.code);
}

}  // namespace orvane::cli
