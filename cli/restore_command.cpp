// orvane-cli restore: puts the initial backup back in place of the bookmarks file.
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>
#include <optional>
#include <string>

#include "application_folder.h"
#include "atomic_file.h"
#include "cli.h"

namespace orvane::cli {
namespace {
namespace fs = std::filesystem;

const char* kHelp =
    "usage: orvane-cli restore [--backup PATH] [FILE]\n"
    "\n"
    "Puts the initial backup that the first sort made back in place of the bookmarks file FILE\n"
    "(default: ~/Library/Safari/Bookmarks.plist), in one atomic step. The backup is used up: it\n"
    "no longer exists afterwards, and the next sort that writes makes a new one.\n"
    "\n"
    "Options:\n"
    "  --backup PATH   the backup to restore (default: $XDG_DATA_HOME/Orvane/\n"
    "                  Bookmarks (Initial Copy).plist, XDG_DATA_HOME being ~/.local/share\n"
    "                  unless set)\n"
    "  -h, --help      show this help\n"
    "\n"
    "Exit status: 0 restored; 1 no backup; 2 FILE not found; 6 FILE not replaced;\n"
    "64 usage error.\n";

// Answered for success instead of the job's success text, which speaks of a sort.
constexpr std::string_view kRestored = "The initial backup of your bookmarks have now been restored.";

int usage(const std::string& message) {
    printError("restore: " + message + "; see 'orvane-cli restore --help'");
    return ExitUsage;
}

}  // namespace

int runRestore(const Args& args) {
    std::optional<std::string> file, backupPath;
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

    const fs::path target = expandTilde(file ? *file : kDefaultBookmarksFilename);
    const fs::path backup = backupPath ? expandTilde(*backupPath) : initialBackupFilename();
    Orvane engine;
    engine.setBookmarksFilename(target.string());
    engine.setBackupFilename(backup.string());
    // A rename needs only the folders' permission; the bookmarks file must be one the user may change.
    if (engine.bookmarksFilename() && ::faccessat(AT_FDCWD, resolveLinks(target).c_str(), W_OK, AT_EACCESS) != 0) {
        const int errnum = errno;
        reportJobResult(OVErrorCannotWrite, Orvane::stringFromOVError(OVErrorCannotWrite, target.string()));
        printError(errnoError("cannot replace", resolveLinks(target), errnum).message);
        return OVErrorCannotWrite;
    }
    const std::uint32_t code = engine.restoreBackedUpBookmarks();
    switch (code) {
    case OVErrorSuccess: return reportJobResult(code, kRestored);
    // The job's text for 1 speaks of "the bookmarks file": here the file not found is the backup.
    case OVErrorFileNotFound: return reportJobResult(code, Orvane::stringFromOVError(code, backup.string()));
    case OVErrorOutputFileNotFound:
        // The job's text for 2 is the unknown-error text, which does not say what is missing.
        reportJobResult(code, Orvane::stringFromOVError(code, target.string()));
        printError("restore: there is no bookmarks file at \u201C" + target.string() + "\u201D to put the backup in place of");
        return static_cast<int>(code);
    default:
        reportJobResult(code, Orvane::stringFromOVError(code, target.string()));
        if (!engine.lastFileError().empty()) printError(engine.lastFileError());
        return static_cast<int>(code);
    }
}

}  // namespace orvane::cli
