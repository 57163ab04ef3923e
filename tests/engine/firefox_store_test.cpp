// Firefox's places.sqlite: sorted by the same rules as Safari's file with the browsers' additions,
// changed as Firefox's own code changes bookmarks, in one transaction, never while Firefox runs.
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>
#include <csignal>

#include "support/error_codes.h"
#include "job/sort_job.h"
#include "places_db.h"
#include "stores/bookmark_store.h"
#include "test_support.h"

namespace orvane {
namespace {

namespace fs = std::filesystem;
using namespace test;
using Strings = std::vector<std::string>;
using P = PlacesDb;

constexpr std::int64_t kAdded = 1764000000000000;

JobResult sort(const fs::path& file, SortOptions options = {}, const fs::path& backup = {}) {
    return sortBookmarks(JobRequest(file, backup.empty() ? std::nullopt : std::optional(backup), options));
}

std::int64_t counter(PlacesDb& db, std::int64_t id) {
    return db.integer("SELECT syncChangeCounter FROM moz_bookmarks WHERE id = " + std::to_string(id));
}
std::int64_t modified(PlacesDb& db, std::int64_t id) {
    return db.integer("SELECT lastModified FROM moz_bookmarks WHERE id = " + std::to_string(id));
}

TEST(FirefoxStore, SortsEachRunBetweenSeparatorsAndStampsWhatChanged) {
    TempDir dir;
    const fs::path file = dir / "places.sqlite";
    PlacesDb db(file);
    db.bookmark(P::kMenu, "delta", "https://d.example/");
    db.bookmark(P::kMenu, "Charlie", "https://c.example/");
    db.separator(P::kMenu);
    db.bookmark(P::kMenu, "bravo", "https://b.example/");
    db.bookmark(P::kMenu, "Most Visited", "place:sort=8&maxResults=10");
    const std::int64_t folder = db.folder(P::kMenu, "Alpha");
    db.bookmark(folder, "z", "https://z.example/");
    db.bookmark(folder, "y", "https://y.example/");
    const std::int64_t quiet = db.folder(P::kMenu, "Quiet");
    const std::int64_t inOrder = db.bookmark(quiet, "in order", "https://q.example/");
    db.separator(P::kMenu);
    db.separator(P::kMenu);  // a run of nothing between two separators
    db.bookmark(P::kToolbar, "Zulu", "https://zulu.example/");
    db.bookmark(P::kToolbar, "Alpha", "https://alpha.example/");
    db.bookmark(P::kTags, "tagged", "https://t.example/");
    db.bookmark(P::kTags, "also tagged", "https://t.example/");
    const std::string kOnlySeparators = "only separators";
    db.separator(db.folder(P::kUnfiled, kOnlySeparators));
    db.close();

    const JobResult result = sort(file);
    ASSERT_EQ(result.code, OVErrorSuccess) << result.reason;
    EXPECT_TRUE(result.written);
    EXPECT_EQ(result.browser, "Firefox");

    PlacesDb after(file, PlacesDb::Existing);
    EXPECT_EQ(after.titles(P::kMenu),
              (Strings{"Charlie", "delta", "-", "Most Visited", "Alpha", "Quiet", "bravo", "-", "-"}));
    EXPECT_EQ(after.titles(folder), (Strings{"y", "z"}));
    EXPECT_EQ(after.titles(P::kToolbar), (Strings{"Zulu", "Alpha"}));  // the bar keeps its own order
    EXPECT_EQ(after.titles(P::kTags), (Strings{"tagged", "also tagged"}));
    EXPECT_EQ(after.titles(P::kUnfiled), (Strings{kOnlySeparators}));
    EXPECT_EQ(incoherence(after), Strings{});

    // Reordered folders and their ancestors carry the change's time; the folders count it for Sync.
    EXPECT_EQ(counter(after, P::kMenu), 2);
    EXPECT_EQ(counter(after, folder), 2);
    EXPECT_GT(modified(after, P::kMenu), kAdded);
    EXPECT_GT(modified(after, 1), kAdded);
    EXPECT_EQ(counter(after, quiet), 1);
    EXPECT_EQ(modified(after, inOrder), kAdded);
    EXPECT_EQ(counter(after, P::kToolbar), 1);
    EXPECT_EQ(modified(after, P::kToolbar), kAdded);
    EXPECT_EQ(after.integer("SELECT count(*) FROM moz_bookmarks WHERE parent = 2 AND lastModified = " +
                            std::to_string(modified(after, P::kMenu))),
              9);
    after.close();

    SortOptions bar;
    bar.sortBookmarksBar = true;
    ASSERT_EQ(sort(file, bar).code, OVErrorSuccess);
    PlacesDb barSorted(file, PlacesDb::Existing);
    EXPECT_EQ(barSorted.titles(P::kToolbar), (Strings{"Alpha", "Zulu"}));
}

TEST(FirefoxStore, RemovesAsFirefoxRemovesAndRetitlesAsItUpdates) {
    TempDir dir;
    const fs::path file = dir / "places.sqlite";
    PlacesDb db(file);
    const std::int64_t first = db.bookmark(P::kMenu, "twice", "https://dup.example/");
    const std::int64_t separator = db.separator(P::kMenu);
    db.bookmark(P::kMenu, "twice again", "https://dup.example/");
    const std::int64_t fresh = db.bookmark(P::kMenu, "new, never synced", "https://dup.example/", P::kNew);
    const std::int64_t blank = db.bookmark(P::kMenu, "blank", "  ");
    db.keyword("kw", "  ");
    db.keyword("dup", "https://dup.example/");
    const std::int64_t empty = db.folder(P::kMenu, "empty");
    const std::int64_t untitled = db.bookmark(P::kUnfiled, std::nullopt, "https://untitled.example/");
    const std::int64_t nameless = db.folder(P::kUnfiled, std::nullopt);
    db.bookmark(nameless, "inside", "https://inside.example/");
    db.bookmark(P::kUnfiled, "", "https://icon-only.example/");
    db.bookmark(P::kUnfiled, "", "https://icon-only-2.example/");
    const std::int64_t news = db.bookmark(P::kUnfiled, "News", "https://news-1.example/");
    db.bookmark(P::kUnfiled, "News", "https://news-2.example/");
    db.close();

    SortOptions options;
    options.removeDuplicates = true;
    options.renameSamenamed = true;
    const JobResult result = sort(file, options);
    ASSERT_EQ(result.code, OVErrorSuccess) << result.reason;
    PlacesDb after(file, PlacesDb::Existing);
    EXPECT_EQ(incoherence(after), Strings{});

    // The last duplicate stays; a synced item removed leaves a tombstone, a new one does not.
    EXPECT_EQ(after.titles(P::kMenu), (Strings{"-", "new, never synced"}));
    EXPECT_EQ(after.integer("SELECT count(*) FROM moz_bookmarks WHERE fk = (SELECT id FROM moz_places WHERE "
                            "url = 'https://dup.example/')"),
              1);
    EXPECT_EQ(after.integer("SELECT id FROM moz_bookmarks WHERE parent = 2 AND type = 1"), fresh);
    EXPECT_EQ(after.integer("SELECT count(*) FROM moz_bookmarks_deleted"), 4);  // "twice", "twice again", blank, empty
    EXPECT_EQ(after.integer("SELECT count(*) FROM moz_bookmarks_deleted WHERE guid = (SELECT guid FROM moz_bookmarks "
                            "WHERE id = " +
                            std::to_string(fresh) + ")"),
              0);
    EXPECT_EQ(after.integer("SELECT count(*) FROM moz_bookmarks WHERE id IN (" + std::to_string(first) + ", " +
                            std::to_string(blank) + ", " + std::to_string(empty) + ")"),
              0);
    // A keyword goes with the last bookmark of its page, and stays while one is left.
    EXPECT_EQ(after.text("SELECT group_concat(keyword) FROM moz_keywords"), "dup");
    EXPECT_EQ(after.integer("SELECT foreign_count FROM moz_places WHERE url = '  '"), 0);
    // The folder counts the removals once; the separator after one of them counts its move.
    EXPECT_EQ(counter(after, P::kMenu), 2);
    EXPECT_EQ(counter(after, separator), 2);

    // NULL titles take their address or "No Name" and are written; empty titles are never renamed.
    EXPECT_EQ(after.titles(P::kUnfiled), (Strings{"No Name", "", "", "https://untitled.example/", "News", "News 2"}));
    EXPECT_EQ(counter(after, untitled), 2);
    EXPECT_GT(modified(after, untitled), kAdded);
    EXPECT_EQ(counter(after, news), 2);
    EXPECT_EQ(after.text("SELECT title FROM moz_bookmarks WHERE id = " + std::to_string(nameless)), "No Name");
}

TEST(FirefoxStore, WritesNothingWhenInOrderAndRefusesUnknownDatabases) {
    TempDir dir;
    const fs::path file = dir / "places.sqlite";
    {
        PlacesDb db(file);
        db.bookmark(P::kMenu, "a", "https://a.example/");
        db.bookmark(P::kMenu, "b", "https://b.example/");
        db.exec("PRAGMA wal_checkpoint(TRUNCATE)");
    }
    const std::string before = readText(file);
    const JobResult result = sort(file);
    EXPECT_EQ(result.code, OVErrorSuccess);
    EXPECT_FALSE(result.written);
    EXPECT_EQ(readText(file), before);

    {
        PlacesDb db(file, PlacesDb::Existing);
        db.exec("PRAGMA user_version = 999");
    }
    EXPECT_EQ(sort(file).code, OVErrorUnknownVersion);
    const fs::path other = dir / "other.sqlite";
    {
        sqlite::Database db;
        ASSERT_EQ(db.create(other), "");
        ASSERT_EQ(db.exec("CREATE TABLE notes (text)"), "");
    }
    const JobResult notPlaces = sort(other);
    EXPECT_EQ(notPlaces.code, OVErrorNotBookmarksFile);
    EXPECT_NE(notPlaces.reason.find("not a Firefox places database"), std::string::npos) << notPlaces.reason;
}

// Another program's bookmark added while the tree is sorted is in what is written.
TEST(FirefoxStore, KeepsWhatAnotherProgramWritesDuringTheSort) {
    TempDir dir;
    const fs::path file = dir / "places.sqlite";
    {
        PlacesDb db(file);
        db.bookmark(P::kMenu, "b", "https://b.example/");
        db.bookmark(P::kMenu, "a", "https://a.example/");
    }
    int passes = 0;
    JobHooks hooks;
    hooks.afterSort = [&](int pass) {
        passes = pass;
        if (pass == 1)
            PlacesDb(file, PlacesDb::Existing).bookmark(P::kMenu, "c, added meanwhile", "https://c.example/");
    };
    const JobResult result = sortBookmarks(JobRequest(file, dir / "backup.sqlite"), hooks);
    ASSERT_EQ(result.code, OVErrorSuccess) << result.reason;
    EXPECT_EQ(passes, 2);
    PlacesDb db(file, PlacesDb::Existing);
    EXPECT_EQ(db.titles(P::kMenu), (Strings{"a", "b", "c, added meanwhile"}));
    // The backup holds what the pass that wrote had read.
    PlacesDb backup(dir / "backup.sqlite", PlacesDb::Existing);
    EXPECT_EQ(backup.titles(P::kMenu), (Strings{"b", "a", "c, added meanwhile"}));
}

TEST(FirefoxStore, ChangesNothingWhileFirefoxHoldsTheProfile) {
    TempDir dir;
    const fs::path file = dir / "places.sqlite";
    {
        PlacesDb db(file);
        db.bookmark(P::kMenu, "b", "https://b.example/");
        db.bookmark(P::kMenu, "a", "https://a.example/");
    }
    FirefoxRunning firefox(dir.path());
    const int browser = firefox.pid();
    const JobResult held = sort(file);
    EXPECT_EQ(held.code, OVErrorFileBusy);
    EXPECT_NE(held.reason.find("Firefox (process " + std::to_string(browser) + ") is running with this profile"),
              std::string::npos)
        << held.reason;
    EXPECT_EQ(restoreInitialBackup(JobRequest(file, dir / "backup.sqlite")).code, OVErrorFileNotFound);
    {
        PlacesDb db(file, PlacesDb::Existing);
        EXPECT_EQ(db.titles(P::kMenu), (Strings{"b", "a"}));
    }
    firefox.kill();
    // What the dead browser left behind does not block.
    fs::create_symlink("127.0.0.1:+" + std::to_string(browser), dir / "lock");
    EXPECT_EQ(sort(file).code, OVErrorSuccess);
    PlacesDb db(file, PlacesDb::Existing);
    EXPECT_EQ(db.titles(P::kMenu), (Strings{"a", "b"}));
}

TEST(FirefoxStore, KillDuringTheWriteLeavesTheDatabaseAsBeforeOrAsAfter) {
    TempDir dir;
    const fs::path file = dir / "places.sqlite";
    Strings before;
    {
        PlacesDb db(file);
        db.exec("BEGIN");
        for (int i = 0; i < 2000; ++i) {
            const std::string title = std::to_string((i * 7919) % 2000);
            db.bookmark(P::kMenu, title, "https://" + title + ".example/");
        }
        db.exec("COMMIT");
        before = db.titles(P::kMenu);
    }
    Strings after = before;
    std::sort(after.begin(), after.end());
    // Killed just before the commit, then at moments spread over the whole sort.
    for (int attempt = 0; attempt < 12; ++attempt) {
        const pid_t child = ::fork();
        if (child == 0) {
            JobHooks hooks;
            if (attempt == 0) hooks.replace.beforeSwap = [] { ::raise(SIGKILL); };
            sortBookmarks(JobRequest(file, std::nullopt), hooks);
            ::_exit(0);
        }
        if (attempt > 0) {
            ::usleep(static_cast<useconds_t>(attempt * 4000));
            ::kill(child, SIGKILL);
        }
        int status = 0;
        ::waitpid(child, &status, 0);
        PlacesDb db(file, PlacesDb::Existing);
        const Strings now = db.titles(P::kMenu);
        EXPECT_TRUE(now == before || now == after) << "attempt " << attempt;
        EXPECT_EQ(incoherence(db), Strings{}) << "attempt " << attempt;
        if (attempt == 0) {
            EXPECT_EQ(now, before);
        }
        if (now == after) break;
    }
}

TEST(FirefoxStore, RestoresTheBookmarksOfTheBackupAndKeepsTheHistory) {
    TempDir dir;
    const fs::path file = dir / "profile" / "places.sqlite";
    const fs::path backup = dir / "copies" / "firefox-profile.sqlite";
    fs::create_directories(file.parent_path());
    {
        PlacesDb db(file);
        db.bookmark(P::kMenu, "b", "https://b.example/");
        db.bookmark(P::kMenu, "a", "https://a.example/");
        db.bookmark(P::kMenu, "a again", "https://a.example/");
        db.keyword("a", "https://a.example/");
        db.exec("INSERT INTO moz_meta VALUES ('sync/bookmarks/syncId', 'abc'), ('sync/bookmarks/lastSync', 5)");
    }
    SortOptions options;
    options.removeDuplicates = true;
    const JobResult sorted = sort(file, options, backup);
    ASSERT_EQ(sorted.code, OVErrorSuccess) << sorted.reason;
    {
        PlacesDb db(file, PlacesDb::Existing);
        EXPECT_EQ(db.titles(P::kMenu), (Strings{"a again", "b"}));
        // Since the sort: a page visited, and a bookmark whose page then went from history.
        db.exec(
            "INSERT INTO moz_places (url, guid, url_hash, visit_count) VALUES ('https://visited.example/', "
            "'visited_____', 1, 3)");
        db.exec("UPDATE moz_bookmarks SET fk = NULL WHERE title = 'b'");
        db.exec("DELETE FROM moz_places WHERE url = 'https://b.example/'");
    }
    ASSERT_EQ(restoreInitialBackup(JobRequest(file, backup)).code, OVErrorSuccess);
    EXPECT_FALSE(fs::exists(backup));
    PlacesDb db(file, PlacesDb::Existing);
    EXPECT_EQ(db.titles(P::kMenu), (Strings{"b", "a", "a again"}));
    EXPECT_EQ(incoherence(db), Strings{});
    EXPECT_EQ(db.integer("SELECT visit_count FROM moz_places WHERE url = 'https://visited.example/'"), 3);
    EXPECT_EQ(db.integer("SELECT foreign_count FROM moz_places WHERE url = 'https://a.example/'"), 3);
    EXPECT_EQ(db.text("SELECT p.url FROM moz_bookmarks b JOIN moz_places p ON p.id = b.fk WHERE b.title = 'b'"),
              "https://b.example/");
    EXPECT_EQ(db.text("SELECT group_concat(keyword) FROM moz_keywords"), "a");
    // Sync is told to replace the server's copy by the restored tree.
    EXPECT_EQ(db.integer("SELECT count(*) FROM moz_bookmarks WHERE syncStatus <> 1 OR syncChangeCounter <> 1"), 0);
    EXPECT_EQ(db.integer("SELECT count(*) FROM moz_bookmarks_deleted"), 0);
    EXPECT_EQ(db.text("SELECT group_concat(key) FROM moz_meta WHERE key LIKE 'sync/bookmarks/%'"),
              "sync/bookmarks/wipeRemote");
}

}  // namespace
}  // namespace orvane
