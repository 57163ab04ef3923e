// Cleaning a region in place: what is removed, what is kept, what is renamed.
#include <gtest/gtest.h>

#include "bookmark_trees.h"
#include "log.h"

namespace orvane {
namespace {

using namespace test;

// `region` after `engine` has cleaned it in place.
plist::Value validated(Orvane& engine, const plist::Value& region) {
    engine.validateBookmarksInRootNode(region);
    return region;
}

TEST(Validation, RemovesBrokenBookmarksEmptyFoldersAndEarlierDuplicates) {
    Orvane engine;
    engine.setRemoveDuplicates(true);
    plist::Value noAddress = bookmark("No address", "");
    noAddress.asDictionary()->remove("URLString");
    const plist::Value region = validated(
        engine,
        folder("BookmarksMenu",
               {bookmark("First", "https://a.example/"),
                folder("Blank only", {bookmark("Blank", " \t\u3000"), folder("Inner", {bookmark("Blank too", "  ")})}),
                folder("Empty", {}), noAddress, bookmark("Newline is not blank", "\n"),
                bookmark("Case differs", "https://A.example/"), bookmark("Leading blank", " https://a.example/"),
                folder("Sub", {bookmark("Last", "https://a.example/")}),
                withUUID(D({{"WebBookmarkType", S("WebBookmarkTypeProxy")}}))}));
    EXPECT_EQ(titlesIn(region), (Titles{"Newline is not blank", "Case differs", "Leading blank", "Sub", "No Name"}));
    EXPECT_EQ(titlesIn(childrenOf(region)[3]), Titles{"Last"});  // the last of the duplicates stays

    // Without duplicate removal only the broken entries go; the region's root stays even empty.
    Orvane keepAll;
    const plist::Value both =
        folder("BookmarksBar", {bookmark("x", "https://a.example/"), bookmark("y", "https://a.example/")});
    EXPECT_EQ(childrenOf(validated(keepAll, both)).size(), 2u);
    EXPECT_TRUE(childrenOf(validated(keepAll, folder("BookmarksBar", {bookmark("x", " ")}))).empty());
}

TEST(Validation, DuplicateAddressesAreFoundWithinARegionOnly) {
    Orvane engine;
    engine.setRemoveDuplicates(true);
    const plist::Value bar = validated(engine, folder("BookmarksBar", {bookmark("News", "https://news.example/")}));
    const plist::Value menu =
        validated(engine, folder("BookmarksMenu", {folder("One", {bookmark("News", "https://news.example/"),
                                                                  bookmark("Other", "https://o.example/")}),
                                                   folder("Two", {bookmark("News again", "https://news.example/")})}));
    EXPECT_EQ(childrenOf(bar).size(), 1u);
    EXPECT_EQ(titlesIn(childrenOf(menu)[0]), Titles{"Other"});
    EXPECT_EQ(titlesIn(childrenOf(menu)[1]), Titles{"News again"});
}

TEST(Validation, SameNamedEntriesAreRenamedFromTheLastBackwards) {
    Orvane engine;
    engine.setRenameSamenamed(true);
    const plist::Value three = validated(engine, folder("f", {bookmark("News", "https://1.example/"),
                                                              folder("News", {bookmark("x", "https://x.example/")}),
                                                              bookmark("News", "https://3.example/")}));
    EXPECT_EQ(titlesIn(three), (Titles{"News 2 3", "News 2", "News"}));
    // The bookmark's new title goes into its URI dictionary, the folder's into "Title".
    EXPECT_EQ(childrenOf(three)[0].asDictionary()->find("URIDictionary")->asDictionary()->find("title")->asString(),
              "News 2 3");

    const plist::Value taken =
        folder("f", {bookmark("News 2", "https://1.example/"), bookmark("News", "https://2.example/"),
                     bookmark("News", "https://3.example/")});
    EXPECT_EQ(titlesIn(validated(engine, taken)), (Titles{"News 2 2", "News 2", "News"}));

    // Equal titles in different folders, and titles differing in case, are left alone.
    const plist::Value apart = validated(engine, folder("f", {folder("A", {bookmark("Same", "https://1.example/")}),
                                                              folder("B", {bookmark("Same", "https://2.example/")}),
                                                              bookmark("same", "https://3.example/")}));
    EXPECT_EQ(titlesIn(apart), (Titles{"A", "B", "same"}));
    EXPECT_EQ(titlesIn(childrenOf(apart)[0]), Titles{"Same"});
}

TEST(Validation, UntitledEntriesAreNamedEvenWithoutRenaming) {
    Orvane engine;  // renameSamenamed off
    plist::Value untitled = bookmark("", "https://untitled.example/");
    untitled.asDictionary()->find("URIDictionary")->asDictionary()->remove("title");
    plist::Value untitledFolder = folder("x", {bookmark("a", "https://a.example/")});
    untitledFolder.asDictionary()->remove("Title");
    const plist::Value region = folder(
        "r", {bookmark("Dup", "https://1.example/"), bookmark("Dup", "https://2.example/"), untitled, untitledFolder});
    EXPECT_EQ(titlesIn(validated(engine, region)), (Titles{"Dup", "Dup", "https://untitled.example/", "No Name"}));

    // A fallback name is not entered into the folder's titles, so it renames nobody.
    Orvane renaming;
    renaming.setRenameSamenamed(true);
    const plist::Value noName = withUUID(D({{"WebBookmarkType", S("WebBookmarkTypeProxy")}}));
    EXPECT_EQ(titlesIn(validated(renaming, folder("r", {proxy("No Name"), noName}))), (Titles{"No Name", "No Name"}));
}

TEST(Validation, ReportCountsWhatWasRemovedAndRenamed) {
    Orvane engine;
    engine.setRemoveDuplicates(true);
    engine.setRenameSamenamed(true);
    SortReport report;
    engine.setReport(&report);
    engine.validateBookmarksInRootNode(
        folder("r", {bookmark("A", "https://a.example/"), bookmark("B", " "), folder("E", {}),
                     bookmark("A", "https://a.example/"), bookmark("A", "https://b.example/")}));
    EXPECT_EQ(report.brokenBookmarksRemoved, 1u);
    EXPECT_EQ(report.duplicatesRemoved, 1u);
    EXPECT_EQ(report.emptyFoldersRemoved, 1u);
    ASSERT_EQ(report.renames.size(), 1u);
    EXPECT_EQ(report.renames[0].from, "A");
    EXPECT_EQ(report.renames[0].to, "A 2");

    SortReport emptyRegion;
    engine.setReport(&emptyRegion);
    engine.validateBookmarksInRootNode(folder("r", {}));
    EXPECT_EQ(emptyRegion.emptyFoldersRemoved, 0u);  // the region's own root is never removed
}

}  // namespace
}  // namespace orvane
