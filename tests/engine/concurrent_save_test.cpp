// Another program saving the bookmarks file while it is sorted: its save is never lost, the file
// is always whole, and the backup holds what the writing pass read.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>
#include <atomic>
#include <random>
#include <thread>

#include "bookmark_trees.h"
#include "job/sort_job.h"

namespace orvane {
namespace {

namespace fs = std::filesystem;
using namespace test;

enum class Writer { Rename, InPlace };

// The file as another program would save it: what is there now, plus one bookmark.
std::string withBookmark(const fs::path& file, const std::string& url) {
    const plist::ReadResult read = plist::readPropertyList(readFile(file));
    EXPECT_TRUE(read) << read.status.description();
    const plist::Value menu = safari::childTitled(read.value, "BookmarksMenu");
    menu.asDictionary()->find("Children")->asArray()->append(bookmark("Added", url));
    return toBinary(read.value);
}

void save(Writer writer, const fs::path& file, const std::string& bytes) {
    if (writer == Writer::Rename) {
        writeFile(file.string() + ".other-program", bytes);
        ASSERT_EQ(::rename((file.string() + ".other-program").c_str(), file.c_str()), 0);
        return;
    }
    const int fd = ::open(file.c_str(), O_WRONLY | O_TRUNC);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(::write(fd, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    ::close(fd);
}

// Whether the file is whole and has the address: in a binary file an ASCII string lies as it is.
bool holds(const fs::path& file, const std::string& url) {
    const std::vector<std::uint8_t> bytes = readFile(file);
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    return plist::readPropertyList(bytes) && text.find(url) != std::string_view::npos;
}

plist::Value sampleRoot(int bookmarks) {
    plist::Value menu = folder("BookmarksMenu", {});
    plist::Array& items = *menu.asDictionary()->find("Children")->asArray();
    for (int i = bookmarks; i > 0; --i) {
        plist::Value sub = folder("Folder " + std::to_string(i % 50), {});
        items.append(bookmark("Bookmark " + std::to_string(i), "https://" + std::to_string(i) + ".example/"));
        if (i % 100 == 0) items.append(sub);
    }
    return bookmarksRoot({folder("BookmarksBar", {bookmark("b", "https://b.example/")}), menu});
}

TEST(ConcurrentSave, ASaveJustBeforeTheReplacementIsKeptAndSorted) {
    for (const Writer writer : {Writer::Rename, Writer::InPlace}) {
        SCOPED_TRACE(writer == Writer::Rename ? "rename" : "in place");
        TempDir dir;
        const fs::path file = dir / "Bookmarks.plist", backup = dir / "backup.plist";
        writeFile(file, toBinary(sampleRoot(30)));
        JobHooks hooks;
        int saves = 0;
        hooks.replace.beforeSwap = [&] {
            if (saves++ == 0) save(writer, file, withBookmark(file, "https://added.example/"));
        };
        const JobResult result = sortBookmarks({file, backup, SortOptions{}}, hooks);
        EXPECT_EQ(result.code, OVErrorSuccess) << result.reason;
        EXPECT_TRUE(result.written);
        EXPECT_EQ(saves, 2);  // the second pass read the other program's save and wrote it sorted
        EXPECT_TRUE(holds(file, "https://added.example/"));
        const plist::Value sorted = plist::readPropertyList(readFile(file)).value;
        EXPECT_EQ(titlesIn(safari::childTitled(sorted, "BookmarksMenu")).front(), "Added");
        // The backup is what the writing pass read: the other program's save.
        EXPECT_TRUE(holds(backup, "https://added.example/"));
        EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), fs::directory_iterator()), 2);
    }
}

TEST(ConcurrentSave, ASaveNewerStillThanTheDisplacedOneStaysAtThePath) {
    for (const Writer writer : {Writer::Rename, Writer::InPlace}) {
        SCOPED_TRACE(writer == Writer::Rename ? "rename" : "in place");
        TempDir dir;
        const fs::path file = dir / "Bookmarks.plist";
        writeFile(file, toBinary(sampleRoot(30)));
        JobHooks hooks;
        int swaps = 0;
        hooks.replace.beforeSwap = [&] {
            if (swaps == 0) save(Writer::Rename, file, withBookmark(file, "https://first.example/"));
        };
        // Right after the exchange, before the displaced file is looked at: a second save lands
        // on the sorted file, renamed over it or written into it.
        hooks.replace.afterSwap = [&] {
            if (swaps++ == 0) save(writer, file, withBookmark(file, "https://second.example/"));
        };
        const JobResult result = sortBookmarks({file, std::nullopt, SortOptions{}}, hooks);
        EXPECT_EQ(result.code, OVErrorSuccess) << result.reason;
        EXPECT_TRUE(holds(file, "https://second.example/"));
        EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), fs::directory_iterator()), 1);
    }
}

// Real concurrency: another program saves at a random moment while sorts run, by renaming a new
// file over the bookmarks or by rewriting them in place; or a second sort runs.
TEST(ConcurrentSave, StressNothingSavedIsLostAndTheFileIsAlwaysWhole) {
    TempDir dir;
    const fs::path file = dir / "Bookmarks.plist";
    const std::string unsorted = toBinary(sampleRoot(5000));
    std::mt19937 random(20261125);
    const auto started = std::chrono::steady_clock::now();
    writeFile(file, unsorted);
    sortBookmarks({file, std::nullopt, SortOptions{}});
    const auto oneSort = std::chrono::steady_clock::now() - started;
    for (int run = 0; run < 10; ++run) {
        for (const Writer writer : {Writer::Rename, Writer::InPlace}) {
            SCOPED_TRACE(std::to_string(run) + (writer == Writer::Rename ? " rename" : " in place"));
            writeFile(file, unsorted);
            const std::string url = "https://run" + std::to_string(run) + ".example/";
            const std::string bytes = withBookmark(file, url);
            const auto delay = std::uniform_int_distribution<long>(
                0, std::chrono::duration_cast<std::chrono::microseconds>(oneSort).count())(random);
            std::thread other([&] {
                std::this_thread::sleep_for(std::chrono::microseconds(delay));
                save(writer, file, bytes);
            });
            const JobResult result = sortBookmarks({file, std::nullopt, SortOptions{}});
            other.join();
            EXPECT_TRUE(result.code == OVErrorSuccess || result.code == OVErrorFileBusy)
                << result.code << result.reason;
            EXPECT_TRUE(holds(file, url));
        }
        // Two sorts at once: the file stays whole, and sorting it again finds it in order.
        writeFile(file, unsorted);
        std::thread second([&] { sortBookmarks({file, std::nullopt, SortOptions{}}); });
        sortBookmarks({file, std::nullopt, SortOptions{}});
        second.join();
        ASSERT_TRUE(plist::readPropertyList(readFile(file)));
        EXPECT_FALSE(sortBookmarks({file, std::nullopt, SortOptions{}}).written);
    }
}

}  // namespace
}  // namespace orvane
