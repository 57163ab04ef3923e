#include "stores/initial_backup.h"

#include <sys/stat.h>
#include <algorithm>

#include "files/application_folder.h"
#include "files/atomic_file.h"
#include "files/paths.h"
#include "files/replace_item.h"
#include "support/error_codes.h"
#include "stores/chromium/chromium_browsers.h"
#include "support/digest.h"

namespace orvane {
namespace fs = std::filesystem;

StoreResult writeFirstBackup(const fs::path& backup, bool& made, const std::function<StoreResult()>& write) {
    made = false;
    struct stat st;
    if (::lstat(backup.c_str(), &st) == 0) return {};
    std::error_code error;
    if (backup.has_parent_path()) {
        fs::create_directories(backup.parent_path(), error);
        if (error)
            return StoreResult::failed(
                OVErrorCannotWriteBackup,
                "cannot create the folder " + backup.parent_path().string() + ": " + error.message());
    }
    StoreResult written = write();
    made = written.done();
    return written;
}

StoreResult moveBackupInPlace(const fs::path& file, const fs::path& backup) {
    ReplaceOperations system;
    std::string reason;
    if (!replaceItemAtPath(file, backup, system, &reason)) return StoreResult::failed(OVErrorCannotWrite, reason);
    return {};
}

StoreResult copyIfStill(const fs::path& file, const FileIdentity& identity, const fs::path& backup) {
    FileSnapshot now;
    if (IoError read = readSnapshot(file, now); !read.ok())
        return StoreResult::failed(OVErrorCannotWriteBackup, read.message);
    if (!now.settled || now.identity != identity) return StoreResult::changed();
    if (IoError written = writeBytesAtomically(backup, now.bytes, keepingPermissions(now.permissions)); !written.ok())
        return StoreResult::failed(OVErrorCannotWriteBackup, written.message);
    return {};
}

fs::path defaultBackupFor(const fs::path& bookmarksFile) {
    const BookmarksFormat format = detectFormat(bookmarksFile);
    if (format == BookmarksFormat::Safari || format == BookmarksFormat::Unknown) return initialBackupFilename();
    // "chromium-Default-1a2b3c4d.json": the browser, the profile's folder, and part of a digest
    // of the file's full path, which tells profiles of the same name apart.
    const fs::path file = resolveLinks(fs::absolute(bookmarksFile));
    Md5 digest;
    digest.update(file.string());
    std::string name;
    if (format == BookmarksFormat::Chromium) {
        const auto browser = chromium::browserOwning(file);
        name = std::string(browser ? browser->id : "chromium") + "-" + file.parent_path().filename().string();
    } else {
        name = "firefox-" + file.parent_path().filename().string();
    }
    std::replace_if(
        name.begin(), name.end(), [](char c) { return c == '/' || c == ' '; }, '_');
    return applicationFolder() / "Initial Copies" /
           (name + "-" + digest.hexDigest().substr(0, 8) + (format == BookmarksFormat::Chromium ? ".json" : ".sqlite"));
}

}  // namespace orvane
