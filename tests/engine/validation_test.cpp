// Cleaning a region in place: what is removed, what is kept, what is renamed.
#include <gtest/gtest.h>

#include "tree/validation.h"
#include "tree_builder.h"

namespace orvane {
namespace {

using namespace test;

SortOptions only(bool removeDuplicates, bool renameSamenamed) {
    SortOptions options;
    options.removeDuplicates = removeDuplicates;
    options.renameSamenamed = renameSamenamed;
    return options;
}

TEST(Validation, RemovesBrokenBookmarksEmptyFoldersAndEarlierDuplicates) {
    TreeBuilder b;
    const NodeId noAddress = b.bookmark("No address", "");
    b.tree[noAddress].hasUrl = false;
    const NodeId sub = b.folder("Sub", {b.bookmark("Last", "https://a.example/")});
    const NodeId region = b.folder(
        "BookmarksMenu",
        {b.bookmark("First", "https://a.example/"),
         b.folder("Blank only", {b.bookmark("Blank", " \t\u3000"), b.folder("Inner", {b.bookmark("Blank too", "  ")})}),
         b.folder("Empty", {}), noAddress, b.bookmark("Newline is not blank", "\n"),
         b.bookmark("Case differs", "https://A.example/"), b.bookmark("Leading blank", " https://a.example/"), sub,
         b.untitled(b.pinned(""))});
    validateRegion(b.tree, region, only(true, false));
    EXPECT_EQ(b.titlesIn(region), (Titles{"Newline is not blank", "Case differs", "Leading blank", "Sub", "No Name"}));
    EXPECT_EQ(b.titlesIn(sub), Titles{"Last"});  // the last of the duplicates stays
    EXPECT_TRUE(b.tree[region].childrenChanged);

    // Without duplicate removal only the broken entries go; the region's root stays even empty.
    TreeBuilder keep;
    const NodeId both = keep.folder(
        "BookmarksBar", {keep.bookmark("x", "https://a.example/"), keep.bookmark("y", "https://a.example/")});
    validateRegion(keep.tree, both, only(false, false));
    EXPECT_EQ(keep.tree.children(both).size(), 2u);
    EXPECT_FALSE(keep.tree[both].childrenChanged);
    const NodeId blank = keep.folder("BookmarksBar", {keep.bookmark("x", " ")});
    validateRegion(keep.tree, blank, only(false, false));
    EXPECT_TRUE(keep.tree.children(blank).empty());
}

TEST(Validation, DuplicateAddressesAreFoundWithinARegionOnly) {
    TreeBuilder b;
    const NodeId bar = b.folder("BookmarksBar", {b.bookmark("News", "https://news.example/")});
    const NodeId one =
        b.folder("One", {b.bookmark("News", "https://news.example/"), b.bookmark("Other", "https://o.example/")});
    const NodeId two = b.folder("Two", {b.bookmark("News again", "https://news.example/")});
    const NodeId menu = b.folder("BookmarksMenu", {one, two});
    validateRegion(b.tree, bar, only(true, false));
    validateRegion(b.tree, menu, only(true, false));
    EXPECT_EQ(b.tree.children(bar).size(), 1u);
    EXPECT_EQ(b.titlesIn(one), Titles{"Other"});
    EXPECT_EQ(b.titlesIn(two), Titles{"News again"});
}

TEST(Validation, SameNamedEntriesAreRenamedFromTheLastBackwards) {
    TreeBuilder b;
    const NodeId three = b.folder(
        "f", {b.bookmark("News", "https://1.example/"), b.folder("News", {b.bookmark("x", "https://x.example/")}),
              b.bookmark("News", "https://3.example/")});
    validateRegion(b.tree, three, only(false, true));
    EXPECT_EQ(b.titlesIn(three), (Titles{"News 2 3", "News 2", "News"}));
    EXPECT_TRUE(b.tree[b.tree.children(three)[0]].titleChanged);
    EXPECT_FALSE(b.tree[b.tree.children(three)[2]].titleChanged);

    const NodeId taken =
        b.folder("f", {b.bookmark("News 2", "https://1.example/"), b.bookmark("News", "https://2.example/"),
                       b.bookmark("News", "https://3.example/")});
    validateRegion(b.tree, taken, only(false, true));
    EXPECT_EQ(b.titlesIn(taken), (Titles{"News 2 2", "News 2", "News"}));

    // Equal titles in different folders, and titles differing in case, are left alone.
    const NodeId a = b.folder("A", {b.bookmark("Same", "https://1.example/")});
    const NodeId apart = b.folder(
        "f", {a, b.folder("B", {b.bookmark("Same", "https://2.example/")}), b.bookmark("same", "https://3.example/")});
    validateRegion(b.tree, apart, only(false, true));
    EXPECT_EQ(b.titlesIn(apart), (Titles{"A", "B", "same"}));
    EXPECT_EQ(b.titlesIn(a), Titles{"Same"});

    // Where a new title is stored away from where it is read, the rules go on seeing the old one,
    // and even a title kept as it is moves there.
    const NodeId hidden = b.bookmark("News", "https://1.example/");
    b.tree[hidden].newTitleIsRead = false;
    const NodeId unseen = b.folder("f", {hidden, b.bookmark("News", "https://2.example/")});
    validateRegion(b.tree, unseen, only(false, true));
    EXPECT_EQ(b.titlesIn(unseen), (Titles{"News", "News"}));
    EXPECT_EQ(b.tree.newTitle(hidden), "News 2");
    const NodeId alone = b.bookmark("Alone", "https://1.example/");
    b.tree[alone].newTitleIsRead = false;
    validateRegion(b.tree, b.folder("f", {alone}), only(false, true));
    EXPECT_TRUE(b.tree[alone].titleChanged);
    EXPECT_EQ(b.tree.newTitle(alone), "Alone");
}

TEST(Validation, UntitledEntriesAreNamedEvenWithoutRenaming) {
    TreeBuilder b;
    const NodeId region =
        b.folder("r", {b.bookmark("Dup", "https://1.example/"), b.bookmark("Dup", "https://2.example/"),
                       b.untitled(b.bookmark("", "https://untitled.example/")),
                       b.untitled(b.folder("", {b.bookmark("a", "https://a.example/")}))});
    validateRegion(b.tree, region, only(false, false));
    EXPECT_EQ(b.titlesIn(region), (Titles{"Dup", "Dup", "https://untitled.example/", "No Name"}));

    // A fallback name is not entered into the folder's titles, so it renames nobody.
    const NodeId noName = b.folder("r", {b.pinned("No Name"), b.untitled(b.pinned(""))});
    validateRegion(b.tree, noName, only(false, true));
    EXPECT_EQ(b.titlesIn(noName), (Titles{"No Name", "No Name"}));
}

TEST(Validation, BrowserProfilesKeepBlankTitlesAndSeparators) {
    TreeBuilder b;
    b.tree.rules.keepsEmptyTitles = true;
    const NodeId onlySeparators = b.folder("Lines", {b.separator(), b.separator()});
    const NodeId region = b.folder(
        "toolbar", {b.bookmark("", "https://1.example/"), b.bookmark("", "https://2.example/"), b.separator(),
                    b.bookmark("x", "https://x.example/"), b.bookmark("x", "https://y.example/"), onlySeparators});
    validateRegion(b.tree, region, only(true, true));
    // Blank titles stay blank; separators are neither removed nor titled, and a folder of
    // separators is not empty.
    EXPECT_EQ(b.titlesIn(region), (Titles{"", "", "---", "x 2", "x", "Lines"}));
    EXPECT_EQ(b.titlesIn(onlySeparators), (Titles{"---", "---"}));
}

TEST(Validation, ReportCountsWhatWasRemovedAndRenamed) {
    TreeBuilder b;
    SortReport report;
    validateRegion(b.tree,
                   b.folder("r", {b.bookmark("A", "https://a.example/"), b.bookmark("B", " "), b.folder("E", {}),
                                  b.bookmark("A", "https://a.example/"), b.bookmark("A", "https://b.example/")}),
                   only(true, true), &report);
    EXPECT_EQ(report.brokenBookmarksRemoved, 1u);
    EXPECT_EQ(report.duplicatesRemoved, 1u);
    EXPECT_EQ(report.emptyFoldersRemoved, 1u);
    ASSERT_EQ(report.renames.size(), 1u);
    EXPECT_EQ(report.renames[0].from, "A");
    EXPECT_EQ(report.renames[0].to, "A 2");

    SortReport emptyRegion;
    validateRegion(b.tree, b.folder("r", {}), only(true, true), &emptyRegion);
    EXPECT_EQ(emptyRegion.emptyFoldersRemoved, 0u);  // the region's own root is never removed
}

}  // namespace
}  // namespace orvane
