// Sorting: the order within a folder, hidden folders and the bar, separators, and the change
// test that keeps a sorted file from being written again.
#include <gtest/gtest.h>

#include "tree/sorting.h"
#include "tree/title_collator.h"
#include "tree/validation.h"
#include "tree_builder.h"

namespace orvane {
namespace {

using namespace test;

SortOptions foldersFirst(bool on) {
    SortOptions options;
    options.foldersAtTop = on;
    return options;
}

TEST(Sorting, FolderOrderByKindAndTitle) {
    const TitleCollator collator;
    for (const bool first : {false, true}) {
        TreeBuilder b;
        const NodeId mixed =
            b.folder("f", {b.bookmark("Alpha", "https://a.example/"), b.folder("zeta", {}), b.pinned("History"),
                           b.bookmark("cherry", "https://c.example/"), b.bookmark("apple", "https://ap.example/"),
                           b.bookmark("Banana", "https://b.example/")});
        const std::vector<NodeId> before = b.entries(mixed);
        sortRegion(b.tree, {mixed, false}, foldersFirst(first), collator);
        EXPECT_EQ(b.titlesIn(mixed), first ? (Titles{"History", "zeta", "Alpha", "apple", "Banana", "cherry"})
                                           : (Titles{"History", "Alpha", "apple", "Banana", "cherry", "zeta"}));
        const std::span<const NodeId> kept = b.tree.childrenBeforeSort(mixed);
        EXPECT_EQ(std::vector<NodeId>(kept.begin(), kept.end()), before);  // what the change test compares with
    }

    // Entries of unknown kind come after bookmarks; titles equal apart from case keep their order,
    // however many there are.
    TreeBuilder b;
    const NodeId other = b.tree.add([&] {
        TreeNode node;
        node.title = b.tree.keep("aaa");
        node.hasTitle = true;
        return node;
    }());
    std::vector<NodeId> ties{other};
    for (int i = 0; i < 40; ++i)
        ties.push_back(b.bookmark(i % 2 ? "b" : "B", "https://" + std::to_string(i) + ".example/"));
    const NodeId folder = b.folder("f", {});
    b.tree.setChildren(folder, ties);
    sortRegion(b.tree, {folder, false}, foldersFirst(true), collator);
    EXPECT_TRUE(std::equal(ties.begin() + 1, ties.end(), b.tree.children(folder).begin()));
    EXPECT_EQ(b.tree.children(folder).back(), other);

    // Titles alike for longer than the first part of their keys are told apart by the rest.
    const NodeId weather = b.folder("w", {b.bookmark("Weather forecast for Zurich", "https://z.example/"),
                                          b.bookmark("weather forecast for berlin", "https://b.example/"),
                                          b.bookmark("Weather forecast", "https://w.example/"),
                                          b.bookmark("WEATHER FORECAST FOR ZURICH", "https://z2.example/"),
                                          b.bookmark("Weather forecast for Amsterdam", "https://a.example/"),
                                          b.bookmark("Weather forecast for Zürich", "https://z3.example/")});
    sortRegion(b.tree, {weather, false}, foldersFirst(true), collator);
    EXPECT_EQ(b.titlesIn(weather), (Titles{"Weather forecast", "Weather forecast for Amsterdam",
                                           "weather forecast for berlin", "Weather forecast for Zurich",
                                           "WEATHER FORECAST FOR ZURICH", "Weather forecast for Z\u00FCrich"}));
}

// Titles equal under the collator keep the order they had, however many entries there are and
// however they are interleaved with others: both where the first part of the keys decides and
// where long titles alike at the start are told apart by the rest of their keys.
TEST(Sorting, EqualTitlesKeepTheirOrderAmongManyEntries) {
    const TitleCollator collator;
    const std::vector<Titles> groups{
        {"apple", "Apple", "APPLE"},
        {"banana", "BANANA", "Banana"},
        {"Weather forecast for Berlin", "weather forecast for berlin", "WEATHER FORECAST FOR BERLIN"},
        {"Weather forecast for Zurich", "WEATHER FORECAST FOR ZURICH", "weather forecast for zurich"},
        {"zebra", "Zebra", "ZEBRA"},
    };
    // The two weather groups share the first part of their keys, so that the rest is made and
    // compared for some thirty entries at once.
    const TitleCollator::KeyHead berlin = collator.keyHead(groups[2][0]), zurich = collator.keyHead(groups[3][0]);
    ASSERT_EQ(berlin.bytes, zurich.bytes);
    ASSERT_FALSE(berlin.complete || zurich.complete);

    TreeBuilder b;
    std::vector<NodeId> entries;
    std::vector<std::vector<NodeId>> byGroup(groups.size());
    for (int i = 0; i < 72; ++i) {
        // Groups in the order 0 2 4 1 3, then again, so each tie is split up by the others.
        const std::size_t group = static_cast<std::size_t>(i * 7 % 5);
        const std::string& title = groups[group][static_cast<std::size_t>(i / 5 % 3)];
        const NodeId id = b.bookmark(title, "https://" + std::to_string(i) + ".example/");
        entries.push_back(id);
        byGroup[group].push_back(id);
    }
    const NodeId folder = b.folder("f", {});
    b.tree.setChildren(folder, entries);
    std::vector<NodeId> expected;
    for (const std::vector<NodeId>& ids : byGroup) expected.insert(expected.end(), ids.begin(), ids.end());
    sortRegion(b.tree, {folder, false}, SortOptions{}, collator);
    EXPECT_EQ(b.entries(folder), expected);
}

TEST(Sorting, TitlesCollateByLocaleIgnoringCaseButNotAccents) {
    TitleCollator root("C");
    EXPECT_EQ(root.compare("apple", "APPLE"), 0);
    EXPECT_NE(root.compare("resume", "r\u00E9sum\u00E9"), 0);
    EXPECT_LT(root.compare("a", "B"), 0);
    // Swedish puts å after z; German keeps ä beside a.
    EXPECT_GT(TitleCollator("sv_SE.UTF-8").compare("\u00E5r", "zebra"), 0);
    EXPECT_LT(TitleCollator("de_DE").compare("\u00E4rger", "zebra"), 0);
    EXPECT_EQ(TitleCollator("sv_SE").localeName(), "sv_SE");
}

TEST(Sorting, SubfoldersAreSortedExceptHiddenOnesAndTheBarUnlessAsked) {
    const TitleCollator collator;
    TreeBuilder b;
    const NodeId sub = b.folder("a", {b.bookmark("d", "https://d.example/"), b.bookmark("c", "https://c.example/")});
    const NodeId hidden =
        b.hidden(b.folder("Hidden", {b.bookmark("z", "https://z.example/"), b.bookmark("y", "https://y.example/")}));
    const NodeId menu = b.folder("BookmarksMenu", {b.bookmark("b", "https://b.example/"), hidden, sub});
    SortReport report;
    sortRegion(b.tree, {menu, false}, foldersFirst(false), collator, &report);
    EXPECT_EQ(b.titlesIn(menu), (Titles{"a", "b", "Hidden"}));
    EXPECT_EQ(b.titlesIn(sub), (Titles{"c", "d"}));
    EXPECT_EQ(b.titlesIn(hidden), (Titles{"z", "y"}));
    EXPECT_EQ(report.foldersReordered, 2u);

    // Safari's files: a folder titled "BookmarksBar", at any depth, keeps its own order unless the
    // bar is sorted. Browsers: only the bar region's root does.
    for (const bool safari : {true, false}) {
        for (const bool sortBar : {false, true}) {
            SCOPED_TRACE(std::to_string(safari) + std::to_string(sortBar));
            TreeBuilder t;
            if (safari) t.tree.rules.barTitle = "BookmarksBar";
            const NodeId inner = t.folder(
                "BookmarksBar", {t.bookmark("y", "https://y.example/"), t.bookmark("x", "https://x.example/")});
            const NodeId f =
                t.folder("f", {t.bookmark("2", "https://2.example/"), t.bookmark("1", "https://1.example/")});
            const NodeId bar = t.folder("BookmarksBar", {t.bookmark("b", "https://b.example/"), inner,
                                                         t.bookmark("a", "https://a.example/"), f});
            SortOptions options;
            options.sortBookmarksBar = sortBar;
            sortRegion(t.tree, {bar, true}, options, collator);
            EXPECT_EQ(t.titlesIn(bar),
                      sortBar ? (Titles{"BookmarksBar", "f", "a", "b"}) : (Titles{"b", "BookmarksBar", "a", "f"}));
            EXPECT_EQ(t.titlesIn(inner), safari && !sortBar ? (Titles{"y", "x"}) : (Titles{"x", "y"}));
            EXPECT_EQ(t.titlesIn(f), (Titles{"1", "2"}));
        }
    }
}

TEST(Sorting, SeparatorsStayAndEachRunIsSortedOnItsOwn) {
    TreeBuilder b;
    const NodeId folder =
        b.folder("menu", {b.bookmark("c", "https://c.example/"), b.bookmark("a", "https://a.example/"), b.separator(),
                          b.separator(), b.bookmark("z", "https://z.example/"), b.pinned("query"), b.separator(),
                          b.bookmark("b", "https://b.example/")});
    sortRegion(b.tree, {folder, false}, SortOptions{}, TitleCollator());
    EXPECT_EQ(b.titlesIn(folder), (Titles{"a", "c", "---", "---", "query", "z", "---", "b"}));
}

TEST(Sorting, OnlyAChangedOrderCountsAsAChange) {
    const TitleCollator collator;
    SortOptions options;
    // Validation alone (an empty folder and a duplicate removed) is not a change.
    TreeBuilder b;
    const NodeId bar = b.folder("BookmarksBar", {b.bookmark("a", "https://a.example/"), b.folder("Empty", {}),
                                                 b.bookmark("b", "https://a.example/")});
    b.tree.regions = {{bar, true}, {b.folder("BookmarksMenu", {b.bookmark("m", "https://m.example/")}), false}};
    SortReport report;
    EXPECT_FALSE(sortTree(b.tree, options, collator, &report));
    EXPECT_FALSE(report.wouldWrite);
    EXPECT_EQ(b.titlesIn(bar), Titles{"b"});  // cleaned in place all the same
    EXPECT_EQ(report.duplicatesRemoved + report.emptyFoldersRemoved, 2u);

    // A new order is; the same entries in that order are not.
    for (const bool sorted : {false, true}) {
        TreeBuilder c;
        const NodeId menu = c.folder("BookmarksMenu", {c.bookmark(sorted ? "a" : "b", "https://1.example/"),
                                                       c.bookmark(sorted ? "b" : "a", "https://2.example/")});
        c.tree.regions = {{menu, false}};
        EXPECT_EQ(sortTree(c.tree, options, collator, &report), !sorted);
        EXPECT_EQ(report.wouldWrite, !sorted);
    }

    // Without identities every tree counts as changed, even one in order.
    TreeBuilder d;
    const NodeId plain = d.folder("r", {d.bookmark("a", "https://a.example/")});
    d.tree[d.tree.children(plain)[0]].hasIdentity = false;
    d.tree.regions = {{plain, false}};
    EXPECT_TRUE(sortTree(d.tree, options, collator));
}

// A large tree's folders are sorted on two threads: every folder ends as sorting it alone puts
// it, and every folder that moved is noted once, with the order it had.
TEST(Sorting, LargeTreeSortsEachFolderAsAloneAndNotesEveryMove) {
    const TitleCollator collator;
    SortOptions options;
    options.renameSamenamed = false;  // the titles stay as made, to compare with the folders sorted alone
    TreeBuilder whole, alone;
    std::vector<NodeId> folders, single;
    for (int f = 0; f < 60; ++f) {
        std::vector<NodeId> entries, copies;
        for (int i = 0; i < 90; ++i) {
            // Titles with ties, case and non-ASCII ones, folders every few entries, and now and
            // then a folder already in order.
            const std::string title = f % 7 == 0 ? std::string(1, static_cast<char>('a' + i % 26)) + std::to_string(i)
                                                 : (i % 5 == 0 ? "Caf\u00E9 " : "Item ") + std::to_string((i * 37 + f) % 50);
            const std::string url = "https://" + std::to_string(f) + "-" + std::to_string(i) + ".example/";
            entries.push_back(i % 11 == 0 ? whole.folder(title, {whole.bookmark("x", url)}) : whole.bookmark(title, url));
            copies.push_back(i % 11 == 0 ? alone.folder(title, {alone.bookmark("x", url)}) : alone.bookmark(title, url));
        }
        folders.push_back(whole.folder("F" + std::to_string(f), {}));
        whole.tree.setChildren(folders.back(), entries);
        single.push_back(alone.folder("F" + std::to_string(f), {}));
        alone.tree.setChildren(single.back(), copies);
    }
    const NodeId root = whole.folder("BookmarksMenu", {});
    whole.tree.setChildren(root, folders);
    whole.tree.regions = {{root, false}};
    std::vector<std::vector<NodeId>> before;
    for (const NodeId folder : folders) before.push_back(whole.entries(folder));
    SortReport report;
    EXPECT_TRUE(sortTree(whole.tree, options, collator, &report));
    std::size_t moved = 0;
    for (std::size_t f = 0; f < folders.size(); ++f) {
        SCOPED_TRACE(f);
        sortRegion(alone.tree, {single[f], false}, options, collator);
        EXPECT_EQ(whole.titlesIn(folders[f]), alone.titlesIn(single[f]));
        const std::span<const NodeId> kept = whole.tree.childrenBeforeSort(folders[f]);
        EXPECT_EQ(std::vector<NodeId>(kept.begin(), kept.end()), before[f]);
        EXPECT_EQ(whole.tree[folders[f]].reordered, whole.entries(folders[f]) != before[f]);
        moved += whole.tree[folders[f]].reordered;
    }
    EXPECT_GT(moved, 40u);
    EXPECT_EQ(report.foldersReordered, moved + (whole.tree[root].reordered ? 1 : 0));
}

TEST(Sorting, ChangeTestComparesShapesAndIdentitiesOnly) {
    TreeBuilder b;
    const NodeId x = b.bookmark("x", "https://x.example/");
    const NodeId a = b.folder("f", {x});
    const NodeId renamed = b.folder("other", {x});
    b.tree[renamed].identity = b.tree[a].identity;
    const NodeId longer = b.folder("f", {x, b.bookmark("y", "https://y.example/")});
    b.tree[longer].identity = b.tree[a].identity;
    EXPECT_TRUE(isSameOrder(b.tree, a, renamed));
    EXPECT_FALSE(isSameOrder(b.tree, a, longer));
    // A list of entries and none at all differ; no entries on either side do not.
    const NodeId noList = b.bookmark("f", "https://f.example/");
    b.tree[noList].identity = b.tree[a].identity;
    EXPECT_FALSE(isSameOrder(b.tree, a, noList));
    EXPECT_TRUE(isSameOrder(b.tree, noList, noList));
    // Without an identity an entry equals nothing, not even itself.
    const NodeId anonymous = b.bookmark("n", "https://n.example/");
    b.tree[anonymous].hasIdentity = false;
    EXPECT_FALSE(isSameOrder(b.tree, anonymous, anonymous));
    // Hidden folders with one identity are equal whatever they hold.
    const NodeId hiddenA = b.hidden(b.folder("h", {b.bookmark("1", "https://1.example/")}));
    const NodeId hiddenB = b.hidden(b.folder("h", {}));
    b.tree[hiddenB].identity = b.tree[hiddenA].identity;
    EXPECT_TRUE(isSameOrder(b.tree, hiddenA, hiddenB));
}

}  // namespace
}  // namespace orvane
