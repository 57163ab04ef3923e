#include "job/sort_job.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <thread>

#include "files/atomic_file.h"
#include "files/paths.h"
#include "tree/sorting.h"
#include "tree/title_collator.h"

namespace orvane {
namespace fs = std::filesystem;

namespace {

constexpr int kPasses = 10;
constexpr std::chrono::milliseconds kHeldPause{300};

bool itemExists(const fs::path& path) {
    struct stat st;
    return ::stat(path.c_str(), &st) == 0;
}

JobResult failed(std::uint32_t code, std::string reason) {
    JobResult result;
    result.code = code;
    result.reason = std::move(reason);
    return result;
}

JobResult fromStore(const StoreResult& store, std::string_view browser) {
    JobResult result = failed(store.code, store.reason);
    result.browser = browser;
    return result;
}

std::string heldBy(const FileHolder& holder) {
    if (holder.kind == FileHolder::Running)
        return holder.who + " is running with this profile (its lock is " + holder.where.string() + ")";
    return holder.who + "'s \u201Clock\u201D item stayed at " + holder.where.string();
}

// Why the caller could not replace the file, or "" when it can.
std::string whyNotReplaceable(const fs::path& file) {
    if (::faccessat(AT_FDCWD, file.c_str(), W_OK, AT_EACCESS) == 0) return {};
    return errnoError("cannot replace", file, errno).message;
}

}  // namespace

JobResult sortBookmarks(const JobRequest& request, const JobHooks& hooks) {
    if (!itemExists(request.bookmarksFile))
        return failed(OVErrorFileNotFound, "no file at " + request.bookmarksFile.string());
    // The same file is read, backed up and written, even if the link to it changes meanwhile.
    const fs::path file = resolveLinks(request.bookmarksFile);
    const std::unique_ptr<BookmarkStore> store = openStore(file, request.bookmarksFile, request.store);
    const TitleCollator collator;

    JobResult result;
    result.browser = store->browserName();
    BookmarkTree tree;
    bool sorted = false;  // `tree` holds a sort of what the store read last
    FileHolder holder;
    for (int pass = 1;; ++pass) {
        holder = store->holder();
        if (holder.kind == FileHolder::Running) {
            result.code = OVErrorFileBusy;
            result.reason = heldBy(holder);
            result.holder = holder;
            return result;
        }
        if (holder.kind == FileHolder::Writing) {
            // What an earlier pass read and sorted is kept.
            hooks.sleep ? hooks.sleep(kHeldPause) : std::this_thread::sleep_for(kHeldPause);
        } else {
            tree = BookmarkTree();
            const StoreResult loaded = store->load(tree);
            if (loaded.status == StoreResult::Failed) return fromStore(loaded, result.browser);
            sorted = loaded.done();
            if (sorted) {
                if (!sortTree(tree, request.options, collator, &result.report)) return result;
                if (hooks.afterSort) hooks.afterSort(pass);
            }
        }
        // Unchanged since it was read: the sorted tree is current.
        if (sorted && store->unchangedSinceLoad()) {
            bool backupMade = false;
            StoreResult saved;
            if (request.backupFile) saved = store->writeInitialBackup(*request.backupFile, backupMade);
            if (saved.status == StoreResult::Failed) return fromStore(saved, result.browser);
            if (saved.done()) saved = store->save(tree, hooks.replace);
            if (saved.status == StoreResult::Failed) return fromStore(saved, result.browser);
            if (saved.done()) {
                result.written = true;
                return result;
            }
            // Another program saved meanwhile. The backup must hold what the pass that writes
            // has read, so the one made from this pass goes too.
            if (backupMade) ::unlink(request.backupFile->c_str());
            sorted = false;
        }
        if (pass == kPasses) break;
    }
    JobResult busy = failed(OVErrorFileBusy, holder.kind == FileHolder::Nobody
                                                 ? file.string() + " kept changing while it was being sorted"
                                                 : heldBy(holder));
    busy.holder = holder;
    busy.browser = result.browser;
    return busy;
}

Preview previewSort(const JobRequest& request) {
    Preview preview;
    if (!itemExists(request.bookmarksFile)) {
        preview.result = failed(OVErrorFileNotFound, "no file at " + request.bookmarksFile.string());
        return preview;
    }
    const fs::path file = resolveLinks(request.bookmarksFile);
    StoreOptions readOnly = request.store;
    readOnly.readOnly = true;
    const std::unique_ptr<BookmarkStore> store = openStore(file, request.bookmarksFile, readOnly);
    preview.holder = store->holder();
    preview.result.browser = store->browserName();
    BookmarkTree tree;
    StoreResult loaded = StoreResult::changed();
    for (int pass = 1; pass <= kPasses && loaded.status == StoreResult::Changed; ++pass) {
        tree = BookmarkTree();
        loaded = store->load(tree);
    }
    if (loaded.status == StoreResult::Failed) {
        preview.result = fromStore(loaded, store->browserName());
        return preview;
    }
    if (loaded.status == StoreResult::Changed) {
        preview.result = failed(OVErrorFileBusy, file.string() + " kept changing while it was being read");
        return preview;
    }
    sortTree(tree, request.options, TitleCollator(), &preview.result.report);
    if (preview.result.report.wouldWrite) preview.cannotReplace = whyNotReplaceable(file);
    struct stat st;
    preview.backupExists = request.backupFile && ::lstat(request.backupFile->c_str(), &st) == 0;
    return preview;
}

JobResult restoreInitialBackup(const JobRequest& request) {
    if (!itemExists(request.bookmarksFile))
        return failed(OVErrorOutputFileNotFound, "no bookmarks file at " + request.bookmarksFile.string());
    struct stat st;
    if (!request.backupFile || ::lstat(request.backupFile->c_str(), &st) != 0)
        return failed(OVErrorFileNotFound,
                      "no backup at " + (request.backupFile ? request.backupFile->string() : std::string("(none)")));
    // A link at the bookmarks path stays a link: the file it names is the one replaced.
    const fs::path file = resolveLinks(request.bookmarksFile);
    const std::unique_ptr<BookmarkStore> store =
        openStore(file, request.bookmarksFile, request.store, *request.backupFile);
    // A browser running with the profile would write over the restored bookmarks, or read them
    // half changed.
    if (const FileHolder holder = store->holder(); holder.kind == FileHolder::Running) {
        JobResult busy = fromStore(StoreResult::failed(OVErrorFileBusy, heldBy(holder)), store->browserName());
        busy.holder = holder;
        return busy;
    }
    // Nothing is replaced by a backup that a sort could not read back.
    if (const StoreResult checked = store->checkBackup(*request.backupFile); !checked.done())
        return fromStore(checked, store->browserName());
    if (std::string why = whyNotReplaceable(file); !why.empty()) return failed(OVErrorCannotWrite, why);
    if (const StoreResult restored = store->restoreBackup(*request.backupFile); !restored.done())
        return fromStore(restored, store->browserName());
    JobResult restored;
    restored.browser = store->browserName();
    return restored;
}

}  // namespace orvane
