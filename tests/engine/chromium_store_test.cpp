// Chromium's Bookmarks file: read and written back as the browser writes it, sorted by the same
// rules as Safari's with the browsers' additions, never while the browser runs with the profile,
// never when its sync would undo the sort.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <csignal>
#include <regex>

#include "job/sort_job.h"
#include "stores/chromium/chromium_json.h"
#include "stores/chromium/chromium_store.h"
#include "stores/chromium/profile_lock.h"
#include "support/digest.h"
#include "test_support.h"
#include "tree/sorting.h"
#include "tree/title_collator.h"

namespace orvane {
namespace {

namespace fs = std::filesystem;
using namespace test;

const fs::path kWrittenByChromium = ORVANE_SOURCE_DIR "/tests/data/chromium/written-by-chromium.json";

// An entry as Chromium writes it; `name` of nullptr leaves the key out.
std::string url(int id, const char* name, const char* address, const std::string& extra = "") {
    std::string entry = R"({"date_added": "13300000000000000", "guid": "00000000-0000-4000-8000-)" +
                        std::string(12 - std::to_string(id).size(), '0') + std::to_string(id) + R"(", "id": ")" +
                        std::to_string(id) + R"(", "type": "url", "url": ")" + address + "\"" + extra;
    if (name) entry += R"(, "name": ")" + std::string(name) + "\"";
    return entry + "}";
}
std::string folder(int id, const char* name, const std::string& children) {
    return R"({"children": [)" + children +
           R"(], "date_added": "13300000000000000", "date_modified": "13300000000000001", "guid": "00000000-0000-4000-8000-)" +
           std::string(12 - std::to_string(id).size(), '0') + std::to_string(id) + R"(", "id": ")" +
           std::to_string(id) + R"(", "name": ")" + name + R"(", "type": "folder"})";
}
std::string profile(const std::string& bar, const std::string& other, const std::string& synced,
                    const std::string& extra = "") {
    return R"({"checksum": "0", )" + extra + R"("roots": {"bookmark_bar": )" + folder(1, "Bookmarks bar", bar) +
           R"(, "other": )" + folder(2, "Other bookmarks", other) + R"(, "synced": )" +
           folder(3, "Mobile bookmarks", synced) + R"(}, "version": 1})";
}

// The file's contents as the engine's JSON reader reads them, written back with no change.
std::string rewritten(const std::string& text) {
    FileBytes bytes(text.begin(), text.end());
    json::Document document;
    EXPECT_EQ(document.parse(bytes), "");
    plist::StringSink sink;
    EXPECT_EQ(json::writeChromiumStyle(document, {}, sink), "");
    return sink.out;
}

// The names of the entries of a root ("bookmark_bar", ...) or, within it, of its folder of a name.
std::vector<std::string> namesAt(const std::string& text, const char* root, const char* folderName = nullptr) {
    FileBytes bytes(text.begin(), text.end());
    json::Document d;
    EXPECT_EQ(d.parse(bytes), "");
    json::ValueId at = *d.find(*d.find(d.root(), "roots"), root);
    if (folderName)
        for (std::size_t i = 0; i < d.size(*d.find(at, "children")); ++i)
            if (const json::ValueId child = d.elements(*d.find(at, "children"))[i];
                d.text(*d.find(child, "name")) == folderName)
                at = child;
    const json::ValueId children = *d.find(at, "children");
    std::vector<std::string> names;
    for (std::size_t i = 0; i < d.size(children); ++i) {
        const json::ValueId* name = d.find(d.elements(children)[i], "name");
        names.emplace_back(name ? d.text(*name) : "<none>");
    }
    return names;
}

// Works in `folder` for as long as it lives, as a user who names the file from inside it.
class WorkingIn {
public:
    explicit WorkingIn(const fs::path& folder) : before_(fs::current_path()) { fs::current_path(folder); }
    ~WorkingIn() { fs::current_path(before_); }

private:
    fs::path before_;
};

std::string checksumOf(const std::string& text) {
    const std::smatch match = [&] {
        std::smatch m;
        std::regex_search(text, m, std::regex("\"checksum\": \"([0-9a-f]+)\""));
        return m;
    }();
    return match[1];
}

TEST(ChromiumStore, WritesWhatChromiumWroteByteForByteAndComputesItsChecksum) {
    const std::string original = readText(kWrittenByChromium);
    EXPECT_EQ(rewritten(original), original);
    // Escapes as the browser writes them: "<" and the line separators always, control characters
    // as \u00XX, text that is not UTF-8 as U+FFFD; an empty list and object in its layout.
    EXPECT_EQ(
        rewritten("{\"a\": \"<\\u2028\\u0001\\t\\\"\\\\ \xFF\", \"b\": [], \"c\": {}, \"d\": [ 1.50, true, null ]}"),
        "{\n   \"a\": \"\\u003C\\u2028\\u0001\\t\\\"\\\\ \xEF\xBF\xBD\",\n   \"b\": [  ],\n   \"c\": {\n   },\n"
        "   \"d\": [ 1.50, true, null ]\n}\n");

    TempDir dir;
    writeFile(dir / "Bookmarks", original);
    chromium::ChromiumStore store(dir / "Bookmarks", {});
    BookmarkTree tree;
    ASSERT_TRUE(store.load(tree).done());
    EXPECT_EQ(store.checksum(tree, false), checksumOf(original));
    // The digests themselves, against known values.
    Md5 md5;
    md5.update("The quick brown fox jumps over the lazy dog");
    EXPECT_EQ(md5.hexDigest(), "9e107d9d372bb6826bd81d3542a419d6");
    Sha256 sha;
    sha.update("abc");
    EXPECT_EQ(sha.hexDigest(), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

TEST(ChromiumStore, SortsEachRootByTheRulesAndKeepsEverythingElse) {
    TempDir dir;
    const fs::path file = dir / "Bookmarks";
    const std::string meta = R"(, "meta_info": {"power_bookmark_meta": ""}, "unknown_future_key": [1, {"x": "<"}])";
    writeFile(
        file,
        profile(url(10, "b", "https://b.example/") + "," + url(11, "a", "https://a.example/") + "," +
                    folder(12, "Sub", url(13, "z", "https://z.example/") + "," + url(14, "y", "https://y.example/")),
                url(20, "", "https://blank1.example/") + "," + url(21, "", "https://blank2.example/") + "," +
                    url(22, nullptr, "https://unnamed.example/") + "," + url(23, "Same", "https://dup.example/", meta) +
                    "," + folder(24, "Empty", "") + "," + url(25, "Same", "https://dup.example/") + "," +
                    url(26, "Same", "https://other.example/") + "," + url(27, "   ", "  "),
                "", R"("sync_metadata": "", )"));
    const JobResult result = sortBookmarks(JobRequest(file));
    ASSERT_EQ(result.code, OVErrorSuccess) << result.reason;
    EXPECT_EQ(result.browser, "Chromium");
    const std::string sorted = readText(file);
    // The bar keeps its own order and sorts its folders; the other roots are sorted through.
    EXPECT_EQ(namesAt(sorted, "bookmark_bar"), (std::vector<std::string>{"b", "a", "Sub"}));
    EXPECT_EQ(namesAt(sorted, "bookmark_bar", "Sub"), (std::vector<std::string>{"y", "z"}));
    // Blank names stay blank, a missing one becomes the address, the earlier duplicate goes (with
    // its keys), same names are told apart, the empty folder and the broken bookmark go.
    EXPECT_EQ(namesAt(sorted, "other"),
              (std::vector<std::string>{"", "", "https://unnamed.example/", "Same", "Same 2"}));
    EXPECT_EQ(sorted.find("power_bookmark_meta"), std::string::npos);
    EXPECT_EQ(checksumOf(sorted), [&] {
        chromium::ChromiumStore store(file, {});
        BookmarkTree tree;
        EXPECT_TRUE(store.load(tree).done());
        return store.checksum(tree, false);
    }());
    // Ids, guids, dates, the roots' names and keys the sort does not know stay as they were.
    for (const char* kept : {"\"id\": \"26\"", "00000000-0000-4000-8000-000000000026", "13300000000000001",
                             "\"name\": \"Other bookmarks\"", "\"sync_metadata\": \"\""})
        EXPECT_NE(sorted.find(kept), std::string::npos) << kept;
    EXPECT_EQ(rewritten(sorted), sorted);

    // In order now: a second sort leaves the file byte for byte; the bar sorted when asked.
    const auto before = fs::last_write_time(file);
    EXPECT_FALSE(sortBookmarks(JobRequest(file)).written);
    EXPECT_EQ(readText(file), sorted);
    EXPECT_EQ(fs::last_write_time(file), before);
    SortOptions bar;
    bar.sortBookmarksBar = true;
    ASSERT_EQ(sortBookmarks(JobRequest(file, std::nullopt, bar)).code, OVErrorSuccess);
    EXPECT_EQ(namesAt(readText(file), "bookmark_bar"), (std::vector<std::string>{"Sub", "a", "b"}));
}

TEST(ChromiumStore, NeverWhileTheBrowserHoldsTheProfileNorWhenSyncWouldUndoIt) {
    TempDir dir;
    const fs::path profileDir = dir / "chromium" / "Default", file = profileDir / "Bookmarks";
    fs::create_directories(profileDir);
    const std::string unsorted =
        profile("", url(10, "b", "https://b.example/") + "," + url(11, "a", "https://a.example/"), "");
    writeFile(file, unsorted);
    writeFile(profileDir / "History", "");
    const fs::path lock = dir / "chromium" / "SingletonLock";

    // A live process that keeps a file of the profile open, as a browser does; it says when.
    int opened[2];
    ASSERT_EQ(::pipe(opened), 0);
    const pid_t browser = ::fork();
    if (browser == 0) {
        const int fd = ::open((profileDir / "History").c_str(), O_RDONLY);
        if (fd < 0 || ::write(opened[1], "!", 1) != 1) ::_exit(1);
        ::pause();
        ::_exit(0);
    }
    char signal;
    ASSERT_EQ(::read(opened[0], &signal, 1), 1);
    ::close(opened[0]);
    ::close(opened[1]);
    fs::create_symlink(chromium::hostName() + "-" + std::to_string(browser), lock);
    JobResult result = sortBookmarks(JobRequest(file));
    EXPECT_EQ(result.code, OVErrorFileBusy);
    EXPECT_EQ(result.holder.kind, FileHolder::Running);
    EXPECT_NE(result.reason.find("Chromium (process " + std::to_string(browser) + ")"), std::string::npos)
        << result.reason;
    EXPECT_EQ(readText(file), unsorted);
    {
        // Named from inside the profile, the file still has the lock in the folder above.
        WorkingIn profileFolder(profileDir);
        for (const char* name : {"Bookmarks", "./Bookmarks"}) {
            result = sortBookmarks(JobRequest(name));
            EXPECT_EQ(result.code, OVErrorFileBusy) << name;
            EXPECT_EQ(result.holder.where, lock) << name;
        }
    }
    EXPECT_EQ(readText(file), unsorted);
    // Another computer sharing the folder holds it too, whatever runs here.
    fs::remove(lock);
    fs::create_symlink("elsewhere.example-" + std::to_string(browser), lock);
    EXPECT_EQ(sortBookmarks(JobRequest(file)).code, OVErrorFileBusy);
    // The lock of a process that is gone holds nothing.
    ::kill(browser, SIGKILL);
    ::waitpid(browser, nullptr, 0);
    fs::remove(lock);
    fs::create_symlink(chromium::hostName() + "-" + std::to_string(browser), lock);
    EXPECT_EQ(sortBookmarks(JobRequest(file)).code, OVErrorSuccess);

    // Bookmarks the browser syncs: refused with the reason and the way on, unless the user says so.
    const std::string synced =
        profile("", url(10, "b", "https://b.example/") + "," + url(11, "a", "https://a.example/"), "",
                R"("sync_metadata": "CgQIARAB", )");
    writeFile(file, synced);
    result = sortBookmarks(JobRequest(file));
    EXPECT_EQ(result.code, kOVSyncedBookmarks);
    EXPECT_NE(result.reason.find("--ignore-sync"), std::string::npos);
    EXPECT_EQ(readText(file), synced);
    JobRequest anyway(file);
    anyway.store.ignoreSync = true;
    EXPECT_EQ(sortBookmarks(anyway).code, OVErrorSuccess);
}

TEST(ChromiumStore, BackupsPerProfileRestoreAndTheEncryptedCopy) {
    TempDir dir;
    ::setenv("XDG_DATA_HOME", (dir / "data").c_str(), 1);
    const fs::path work = dir / "google-chrome" / "Work" / "Bookmarks",
                   other = dir / "google-chrome" / "Default" / "Bookmarks";
    for (const fs::path& file : {work, other}) {
        fs::create_directories(file.parent_path());
        writeFile(file, profile("", url(10, "b", "https://b.example/") + "," + url(11, "a", "https://a.example/"), ""));
    }
    EXPECT_NE(defaultBackupFor(work), defaultBackupFor(other));
    EXPECT_EQ(defaultBackupFor(work).parent_path(), dir / "data" / "Orvane" / "Initial Copies");
    EXPECT_EQ(defaultBackupFor(work).filename().string().rfind("google-chrome-Work-", 0), 0u);

    const std::string original = readText(work);
    writeFile(work.parent_path() / "EncryptedBookmarks2", "v10 encrypted");
    ASSERT_EQ(sortBookmarks(JobRequest(work, defaultBackupFor(work))).code, OVErrorSuccess);
    EXPECT_EQ(readText(defaultBackupFor(work)), original);
    // The browser could prefer its encrypted copy to the sorted file: it is moved aside.
    EXPECT_FALSE(fs::exists(work.parent_path() / "EncryptedBookmarks2"));
    EXPECT_EQ(readText(work.parent_path() / "EncryptedBookmarks2.orvane-moved-aside"), "v10 encrypted");

    // A damaged backup is refused; the good one is put back.
    writeFile(dir / "damaged.json", "{\"roots\": ");
    EXPECT_EQ(restoreInitialBackup(JobRequest(work, dir / "damaged.json")).code, OVErrorCannotRead);
    EXPECT_EQ(restoreInitialBackup(JobRequest(work, defaultBackupFor(work))).code, OVErrorSuccess);
    EXPECT_EQ(readText(work), original);

    // Named from inside the profile, the file is still known as Chrome's, and its encrypted copy
    // is still moved aside.
    writeFile(work.parent_path() / "EncryptedBookmarks", "v10 encrypted");
    {
        WorkingIn profileFolder(work.parent_path());
        const JobResult result = sortBookmarks(JobRequest("Bookmarks"));
        EXPECT_EQ(result.code, OVErrorSuccess) << result.reason;
        EXPECT_EQ(result.browser, "Google Chrome");
    }
    EXPECT_NE(readText(work), original);
    EXPECT_FALSE(fs::exists(work.parent_path() / "EncryptedBookmarks"));
    ::unsetenv("XDG_DATA_HOME");
}

}  // namespace
}  // namespace orvane
