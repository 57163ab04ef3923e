// The sort job on files: its codes, the backup, when it writes and when it does not, waiting for
// Safari's lock and starting over when the file changes underneath it; and the restore.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <cstdlib>

#include "bookmark_trees.h"
#include "files/paths.h"
#include "job/sort_job.h"

namespace orvane {
namespace {

namespace fs = std::filesystem;
using namespace test;

// One tree, so that every use has the same identities.
const plist::Value& unsortedRoot() {
    static const plist::Value root = bookmarksRoot(
        {proxy("History"),
         folder("BookmarksBar", {bookmark("b", "https://b.example/"), bookmark("a", "https://a.example/")}),
         folder("BookmarksMenu", {bookmark("z", "https://z.example/"), bookmark("y", "https://y.example/")}),
         bookmark("Loose", "https://loose.example/")});
    return root;
}

void writeTree(const fs::path& path, const plist::Value& root) { writeFile(path, toBinary(root)); }

plist::Value readTree(const fs::path& path) {
    plist::ReadResult r = plist::readPropertyList(readFile(path));
    EXPECT_TRUE(r) << r.status.description();
    return r.value;
}

// Moves a file's date on, as another writer would.
void touch(const fs::path& path, fs::file_time_type::duration by) {
    fs::last_write_time(path, fs::last_write_time(path) + by);
}

// A job for `dir`/Bookmarks.plist with the desktop application's settings, and no sleeping; the
// file gets the unsorted tree, in binary, when `unsorted` asks for it.
struct Job {
    explicit Job(const TempDir& dir, bool unsorted = false)
        : file(dir / "Bookmarks.plist"), backup(dir / "Orvane" / "deeper" / "Initial Copy.plist") {
        request = {file, backup, SortOptions{}};
        hooks.sleep = [this](std::chrono::milliseconds) { ++sleeps; };
        if (unsorted) writeTree(file, unsortedRoot());
    }
    JobResult sort() { return sortBookmarks(request, hooks); }
    std::uint32_t code() { return sort().code; }
    fs::path file, backup;
    JobRequest request;
    JobHooks hooks;
    int sleeps = 0;
};

TEST(SortJob, SortsOnceBacksUpOnceAndLeavesASortedFileAlone) {
    TempDir dir;
    Job job(dir);
    const std::string original = toXml(unsortedRoot());
    writeFile(job.file, original);
    ::chmod(job.file.c_str(), 0640);

    EXPECT_EQ(job.code(), OVErrorSuccess);
    // The backup holds the file as it was, with its permission bits, in a folder made for it.
    EXPECT_EQ(readText(job.backup), original);
    EXPECT_EQ(fs::status(job.backup).permissions(), fs::status(job.file).permissions());
    EXPECT_EQ(fs::status(job.file).permissions() & fs::perms::all, fs::perms(0640));

    // Written back in binary, sorted, with a fresh identity for the root.
    EXPECT_EQ(readText(job.file).substr(0, 8), "bplist00");
    const plist::Value sorted = readTree(job.file);
    EXPECT_EQ(titlesIn(sorted), (Titles{"History", "BookmarksBar", "BookmarksMenu", "Loose"}));
    EXPECT_EQ(titlesIn(childrenOf(sorted)[2]), (Titles{"y", "z"}));
    const std::string_view uuid = sorted.asDictionary()->find("WebBookmarkUUID")->asString();
    EXPECT_EQ(uuid.size(), 36u);
    EXPECT_NE(uuid, unsortedRoot().asDictionary()->find("WebBookmarkUUID")->asString());

    // Sorted already: nothing is written, not even the file's date changes.
    const fs::file_time_type before = fs::last_write_time(job.file);
    EXPECT_EQ(Job(dir).code(), OVErrorSuccess);
    EXPECT_TRUE(fs::last_write_time(job.file) == before);

    // An existing backup is never replaced, however old.
    EXPECT_EQ(Job(dir, /*unsorted=*/true).code(), OVErrorSuccess);
    EXPECT_EQ(readText(job.backup), original);
}

// Folders may nest 254 deep, the Bookmarks Menu included: each takes a dictionary and an array
// of the 512 levels a property list may have, and the deepest bookmark two more. One more is
// refused as unreadable and left alone.
TEST(SortJob, FoldersNestAtMost254Deep) {
    TempDir dir;
    for (int depth : {254, 255}) {
        SCOPED_TRACE(depth);
        const std::string list = "<key>WebBookmarkType</key><string>WebBookmarkTypeList</string>";
        std::string xml = "<plist><dict>" + list + "<key>Children</key><array><dict>" + list +
                          "<key>Title</key><string>BookmarksBar</string><key>Children</key><array/></dict>";
        for (int level = 0; level < depth; ++level)
            xml += "<dict>" + list + "<key>Title</key><string>" + (level ? "F" : "BookmarksMenu") +
                   "</string><key>Children</key><array>";
        for (const char* title : {"b", "a"})
            xml +=
                "<dict><key>WebBookmarkType</key><string>WebBookmarkTypeLeaf</string><key>URLString</key><string>https://" +
                std::string(title) + ".example/</string><key>URIDictionary</key><dict><key>title</key><string>" +
                title + "</string></dict></dict>";
        for (int level = 0; level < depth; ++level) xml += "</array></dict>";
        xml += "</array></dict></plist>";
        Job job(dir);
        writeFile(job.file, xml);
        EXPECT_EQ(job.code(), depth == 254 ? OVErrorSuccess : OVErrorCannotRead);
        EXPECT_EQ(readText(job.file).substr(0, 8), depth == 254 ? "bplist00" : "<plist><");
    }
}

TEST(SortJob, CodesForFilesItCannotUse) {
    TempDir dir;
    EXPECT_EQ(Job(dir).code(), OVErrorFileNotFound);

    const std::pair<std::string, std::uint32_t> cases[] = {
        {"not a property list", OVErrorCannotRead},
        {toXml(A({})), OVErrorNotBookmarksFile},
        {toXml(D({{"WebBookmarkType", S("WebBookmarkTypeLeaf")}})), OVErrorNotBookmarksFile},
        {toXml(D({{"WebBookmarkType", S("WebBookmarkTypeList")}, {"WebBookmarkFileVersion", I(2)}})),
         OVErrorUnknownVersion},
        {toXml(bookmarksRoot(
             {folder("BookmarksBar", {bookmark("b", "https://b.example/"), bookmark("a", "https://a.example/")})})),
         kOVUnsupportedBookmarksFile}};
    for (const auto& [contents, code] : cases) {
        Job attempt(dir);
        writeFile(attempt.file, contents);
        EXPECT_EQ(attempt.code(), code) << contents;
        EXPECT_EQ(readText(attempt.file), contents);
        EXPECT_FALSE(fs::exists(attempt.backup));
    }

    // A backup that cannot be made stops the job before the file is touched.
    Job blocked(dir, /*unsorted=*/true);
    writeFile(dir / "plain file", "x");
    blocked.request.backupFile = dir / "plain file" / "backup.plist";
    const JobResult refused = blocked.sort();
    EXPECT_EQ(refused.code, OVErrorCannotWriteBackup);
    EXPECT_NE(refused.reason.find("plain file"), std::string::npos) << refused.reason;
    EXPECT_EQ(toBinary(readTree(blocked.file)), toBinary(unsortedRoot()));
}

TEST(SortJob, WaitsWhileLockedAndStartsOverWhenTheFileChanges) {
    TempDir dir;
    {  // Locked throughout: ten pauses, then busy, and the file untouched.
        Job job(dir, /*unsorted=*/true);
        writeFile(dir / "lock", "");
        EXPECT_EQ(job.code(), OVErrorFileBusy);
        EXPECT_EQ(job.sleeps, 10);
        EXPECT_EQ(toBinary(readTree(job.file)), toBinary(unsortedRoot()));
        fs::remove(dir / "lock");
    }
    {  // Locked only after the first pass has read and sorted the unchanged file: that result is written.
        Job job(dir, /*unsorted=*/true);
        job.hooks.afterSort = [&](int) { writeFile(dir / "lock", ""); };
        EXPECT_EQ(job.code(), OVErrorSuccess);
        EXPECT_EQ(job.sleeps, 0);
        EXPECT_EQ(titlesIn(childrenOf(readTree(job.file))[2]), (Titles{"y", "z"}));
        fs::remove(dir / "lock");
    }
    {  // Changed by someone else during every pass: busy after ten passes.
        Job job(dir, /*unsorted=*/true);
        int passes = 0;
        job.hooks.afterSort = [&](int) {
            ++passes;
            touch(job.file, std::chrono::nanoseconds(1000));
        };
        EXPECT_EQ(job.code(), OVErrorFileBusy);
        EXPECT_EQ(passes, 10);
    }
    {  // Changed once, during the first pass: the second pass reads the new contents.
        Job job(dir, /*unsorted=*/true);
        job.hooks.afterSort = [&](int pass) {
            if (pass != 1) return;
            writeTree(job.file, bookmarksRoot({folder("BookmarksBar", {}),
                                               folder("BookmarksMenu", {bookmark("2", "https://2.example/"),
                                                                        bookmark("1", "https://1.example/")})}));
            touch(job.file, std::chrono::seconds(1));
        };
        EXPECT_EQ(job.code(), OVErrorSuccess);
        EXPECT_EQ(titlesIn(childrenOf(readTree(job.file))[1]), (Titles{"1", "2"}));
    }
}

TEST(SortJob, RestoreChecksTheBackupThenPutsItBackAndUsesItUp) {
    TempDir dir;
    Job job(dir);
    EXPECT_EQ(restoreInitialBackup(job.request).code, OVErrorOutputFileNotFound);
    writeTree(dir / "real.plist", unsortedRoot());
    const std::string sorted = readText(dir / "real.plist");
    fs::create_symlink("real.plist", job.file);
    EXPECT_EQ(restoreInitialBackup(job.request).code, OVErrorFileNotFound);

    // A backup that a sort could not read back never replaces the bookmarks: damaged, not a
    // bookmarks file, of a newer version, or not a file at all.
    fs::create_directories(job.backup.parent_path());
    const std::pair<std::string, std::uint32_t> damaged[] = {
        {"bplist00" + std::string(42, '\xff'), OVErrorCannotRead},
        {toXml(A({})), OVErrorNotBookmarksFile},
        {toXml(D({{"WebBookmarkType", S("WebBookmarkTypeList")}, {"WebBookmarkFileVersion", I(2)}})),
         OVErrorUnknownVersion}};
    for (const auto& [contents, code] : damaged) {
        writeFile(job.backup, contents);
        const JobResult refused = restoreInitialBackup(job.request);
        EXPECT_EQ(refused.code, code) << contents;
        EXPECT_NE(refused.reason.find(job.backup.string()), std::string::npos) << refused.reason;
        EXPECT_EQ(readText(dir / "real.plist"), sorted);
        EXPECT_EQ(readText(job.backup), contents);
    }
    fs::remove(job.backup);
    fs::create_directory(job.backup);
    EXPECT_EQ(restoreInitialBackup(job.request).code, OVErrorCannotRead);
    EXPECT_TRUE(fs::is_directory(job.backup));
    fs::remove(job.backup);

    const std::string initial = toXml(unsortedRoot());
    writeFile(job.backup, initial);
    EXPECT_EQ(restoreInitialBackup(job.request).code, OVErrorSuccess);
    EXPECT_FALSE(fs::exists(job.backup));
    EXPECT_TRUE(fs::is_symlink(job.file));  // the link stays; the file it names is replaced
    EXPECT_EQ(readText(dir / "real.plist"), initial);
}

TEST(SortJob, PathsAndMissingFiles) {
    TempDir dir;
    const char* oldHome = std::getenv("HOME");
    const std::string savedHome = oldHome ? oldHome : "";
    ::setenv("HOME", dir.path().c_str(), 1);
    EXPECT_EQ(expandTilde("~/other.plist"), dir / "other.plist");
    EXPECT_EQ(expandTilde("~"), dir.path());
    EXPECT_EQ(expandTilde("~x/other.plist"), fs::path("~x/other.plist"));
    oldHome ? ::setenv("HOME", savedHome.c_str(), 1) : ::unsetenv("HOME");

    const JobResult missing = sortBookmarks({dir / "missing.plist", std::nullopt, {}});
    EXPECT_EQ(missing.code, OVErrorFileNotFound);
    EXPECT_NE(missing.reason.find("missing.plist"), std::string::npos);
    EXPECT_FALSE(fs::exists(dir / "missing.plist"));
}

}  // namespace
}  // namespace orvane
