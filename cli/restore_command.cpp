// orvane-cli restore: puts the initial backup back in place of the bookmarks file.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstdio>
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
    "no longer exists afterwards, and the next sort that writes makes a new one. Nothing is\n"
    "replaced unless the backup reads as a bookmarks file of a version the sort knows, and FILE\n"
    "is a file you may write.\n"
    "\n"
    "Options:\n"
    "  --backup PATH   the backup to restore (default: $XDG_DATA_HOME/Orvane/\n"
    "                  Bookmarks (Initial Copy).plist, XDG_DATA_HOME being ~/.local/share\n"
    "                  unless set)\n"
    "  -h, --help      show this help\n"
    "\n"
    "Exit status: 0 restored; 1 no backup; 2 FILE not found; 3 the backup is not a bookmarks\n"
    "file; 4 the backup is a bookmarks file of a newer version; 5 the backup cannot be read or is\n"
    "not a property list; 6 FILE not replaced; 64 usage error.\n";

// Answered for success instead of the job's success text, which speaks of a sort.
constexpr std::string_view kRestored = "The initial backup of your bookmarks have now been restored.";

int usage(const std::string& message) {
    printError("restore: " + message + "; see 'orvane-cli restore --help'");
    return ExitUsage;
}

// The checks of loading and verifying that a sort makes of the bookmarks file, made of the
// backup: the job's code for what is wrong, or 0 when it may be restored.
int checkBackup(const Orvane& engine, const fs::path& backup) {
    std::string why;
    const plist::ReadResult read = readPropertyListFile(backup.string(), why);
    auto refuse = [&](OVError code, std::string_view problem) {
        printError("restore: the backup \u201C" + backup.string() + "\u201D " + std::string(problem) +
                   "; nothing was restored");
        if (!why.empty()) printError(why);
        return static_cast<int>(code);
    };
    if (!read) return refuse(OVErrorCannotRead, "could not be read");
    if (!engine.verifyThatDictionaryIsBookmarksFileRootNode(read.value))
        return refuse(OVErrorNotBookmarksFile, "is not a bookmarks file (its root is not a folder)");
    if (!engine.verifyThatDictionaryHasCorrectVersionWithRootNode(read.value))
        return refuse(OVErrorUnknownVersion, "is a bookmarks file of a newer version");
    return OVErrorSuccess;
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
    // The engine's restore puts whatever is at the backup path in place; a mistyped --backup must
    // not replace the bookmarks with some other file, so the backup is loaded and checked first,
    // as a sort checks the bookmarks file, and the bookmarks file must be one the user may change.
    struct stat st;
    if (engine.bookmarksFilename() && ::lstat(backup.c_str(), &st) == 0) {
        if (const int refused = checkBackup(engine, backup); refused != OVErrorSuccess) return refused;
        if (::faccessat(AT_FDCWD, resolveLinks(target).c_str(), W_OK, AT_EACCESS) != 0) {
            const int errnum = errno;
            printError("restore: the bookmarks file \u201C" + target.string() +
                       "\u201D could not be replaced by the backup; nothing was restored");
            printError(errnoError("cannot replace", resolveLinks(target), errnum).message);
            return OVErrorCannotWrite;
        }
    }
    const std::uint32_t code = engine.restoreBackedUpBookmarks();
    switch (code) {
    case OVErrorSuccess: return reportJobResult(code, kRestored);
    // The job's texts for these speak of the bookmarks file, or of an unknown error.
    case OVErrorFileNotFound:
        printError("restore: there is no backup at \u201C" + backup.string() +
                   "\u201D; the first sort that changes the bookmarks file makes one");
        return static_cast<int>(code);
    case OVErrorOutputFileNotFound:
        printError("restore: there is no bookmarks file at \u201C" + target.string() +
                   "\u201D to put the backup in place of");
        return static_cast<int>(code);
    default:
        printError("restore: the bookmarks file \u201C" + target.string() +
                   "\u201D could not be replaced by the backup");
        if (!engine.lastFileError().empty()) printError(engine.lastFileError());
        return static_cast<int>(code);
    }
}

}  // namespace orvane::cli
