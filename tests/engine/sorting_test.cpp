// Sorting trees: the order within a folder, the three regions and the root, and the change test
// that keeps a sorted file from being written again.
#include <gtest/gtest.h>

#include "bookmark_trees.h"
#include "title_collator.h"

namespace orvane {
namespace {

using namespace test;

TEST(Sorting, FolderOrderByKindAndTitle) {
    Orvane engine;
    const auto orderOf = [&](const plist::Value& a) {
        return titlesIn(D({{"Children", engine.sortedArrayFromBookmarkChildArray(a)}}));
    };
    const plist::Value mixed = A({bookmark("Alpha", "https://a.example/"), folder("zeta", {}), proxy("History"),
                                  bookmark("cherry", "https://c.example/"), bookmark("apple", "https://ap.example/"),
                                  bookmark("Banana", "https://b.example/")});
    EXPECT_EQ(orderOf(mixed), (Titles{"History", "Alpha", "apple", "Banana", "cherry", "zeta"}));
    engine.setArrangeFoldersAtTop(true);
    EXPECT_EQ(orderOf(mixed), (Titles{"History", "zeta", "Alpha", "apple", "Banana", "cherry"}));
    EXPECT_EQ(titlesIn(D({{"Children", mixed}}))[0], "Alpha");  // the input array is left as it was

    // Untyped entries come after bookmarks; titles equal apart from case keep their order.
    const plist::Value untyped = withUUID(D({{"Title", S("aaa")}}));
    const plist::Value ties = A({untyped, bookmark("b", "https://1.example/"), bookmark("B", "https://2.example/"),
                                 bookmark("b", "https://3.example/")});
    const plist::Value sorted = engine.sortedArrayFromBookmarkChildArray(ties);
    for (std::size_t i = 0; i < 3; ++i) EXPECT_TRUE((*sorted.asArray())[i].isSameObject((*ties.asArray())[i + 1])) << i;
    EXPECT_TRUE((*sorted.asArray())[3].isSameObject(untyped));

    // Titles alike for longer than the first part of their keys are told apart by the rest.
    EXPECT_EQ(
        orderOf(A({bookmark("Weather forecast for Zurich", "https://z.example/"),
                   bookmark("weather forecast for berlin", "https://b.example/"),
                   bookmark("Weather forecast", "https://w.example/"),
                   bookmark("WEATHER FORECAST FOR ZURICH", "https://z2.example/"),
                   bookmark("Weather forecast for Amsterdam", "https://a.example/"),
                   bookmark("Weather forecast for Zürich", "https://z3.example/")})),
        (Titles{"Weather forecast", "Weather forecast for Amsterdam", "weather forecast for berlin",
                "Weather forecast for Zurich", "WEATHER FORECAST FOR ZURICH", "Weather forecast for Z\u00FCrich"}));
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
    Orvane engine;
    const plist::Value menu =
        folder("BookmarksMenu",
               {bookmark("b", "https://b.example/"),
                hidden(folder("Hidden", {bookmark("z", "https://z.example/"), bookmark("y", "https://y.example/")})),
                folder("a", {bookmark("d", "https://d.example/"), bookmark("c", "https://c.example/")})});
    const plist::Value sortedMenu = engine.sortBookmarksInDictionary(menu);
    EXPECT_FALSE(sortedMenu.isSameObject(menu));
    EXPECT_EQ(titlesIn(sortedMenu), (Titles{"a", "b", "Hidden"}));
    EXPECT_EQ(titlesIn(childrenOf(sortedMenu)[0]), (Titles{"c", "d"}));
    EXPECT_EQ(titlesIn(childrenOf(sortedMenu)[2]), (Titles{"z", "y"}));
    EXPECT_EQ(titlesIn(menu), (Titles{"b", "Hidden", "a"}));  // the loaded node is not changed

    // A folder titled "BookmarksBar", at any depth, keeps its own order unless the bar is sorted.
    const plist::Value bar =
        folder("BookmarksBar",
               {bookmark("b", "https://b.example/"),
                folder("BookmarksBar", {bookmark("y", "https://y.example/"), bookmark("x", "https://x.example/")}),
                folder("f", {bookmark("2", "https://2.example/"), bookmark("1", "https://1.example/")})});
    const plist::Value keptBar = engine.sortBookmarksInDictionary(bar);
    EXPECT_EQ(titlesIn(keptBar), (Titles{"b", "BookmarksBar", "f"}));
    EXPECT_EQ(titlesIn(childrenOf(keptBar)[1]), (Titles{"y", "x"}));
    EXPECT_EQ(titlesIn(childrenOf(keptBar)[2]), (Titles{"1", "2"}));
    engine.setSortBookmarksBar(true);
    EXPECT_EQ(titlesIn(engine.sortBookmarksInDictionary(bar)), (Titles{"b", "BookmarksBar", "f"}));
    EXPECT_EQ(titlesIn(childrenOf(engine.sortBookmarksInDictionary(bar))[1]), (Titles{"x", "y"}));
}

TEST(Sorting, WholeFileKeepsSpecialEntriesFirstAndPutsTheFoldersBack) {
    for (const bool foldersFirst : {false, true}) {
        SCOPED_TRACE(foldersFirst);
        Orvane engine;
        engine.setArrangeFoldersAtTop(foldersFirst);
        plist::Value root =
            bookmarksRoot({folder("Zed", {bookmark("z", "https://z.example/")}), folder("BookmarksBar", {}),
                           proxy("History"), bookmark("Alpha", "https://a.example/"), folder("BookmarksMenu", {}),
                           folder("Beta", {bookmark("b", "https://b.example/")})});
        root.asDictionary()->set("Sync", S("kept"));
        bool didSort = false;
        const plist::Value sorted = engine.sortBookmarksWithRootDictionary(root, didSort);
        ASSERT_TRUE(didSort);
        EXPECT_EQ(titlesIn(sorted), foldersFirst
                                        ? (Titles{"BookmarksBar", "History", "BookmarksMenu", "Beta", "Zed", "Alpha"})
                                        : (Titles{"BookmarksBar", "History", "BookmarksMenu", "Alpha", "Beta", "Zed"}));
        // The other root keys keep their values and places.
        EXPECT_EQ(sorted.asDictionary()->entries().back().key.asString(), "Sync");
        EXPECT_EQ(sorted.asDictionary()->entries().front().key.asString(), "WebBookmarkType");

        // The result is in order: sorting it again changes nothing.
        EXPECT_TRUE(engine.sortBookmarksWithRootDictionary(sorted, didSort).isSameObject(sorted));
        EXPECT_FALSE(didSort);
    }
}

TEST(Sorting, NothingToWriteWhenOnlyValidationChangedSomething) {
    Orvane engine;
    engine.setRemoveDuplicates(true);
    plist::Value root = bookmarksRoot({folder("BookmarksBar", {bookmark("a", "https://a.example/"), folder("Empty", {}),
                                                               bookmark("b", "https://a.example/")}),
                                       folder("BookmarksMenu", {bookmark("m", "https://m.example/")})});
    bool didSort = true;
    EXPECT_TRUE(engine.sortBookmarksWithRootDictionary(root, didSort).isSameObject(root));
    EXPECT_FALSE(didSort);
    EXPECT_EQ(titlesIn(childrenOf(root)[0]), Titles{"b"});  // cleaned in place all the same

    // Empty or missing children: the root as it is.
    for (plist::Value bare : {bookmarksRoot({}), D({{"WebBookmarkType", S("WebBookmarkTypeList")}})}) {
        didSort = true;
        EXPECT_TRUE(engine.sortBookmarksWithRootDictionary(bare, didSort).isSameObject(bare));
        EXPECT_FALSE(didSort);
    }
    // Without a Bookmarks Menu there is nothing the sort can give back.
    plist::Value noMenu = bookmarksRoot(
        {folder("BookmarksBar", {bookmark("b", "https://b.example/"), bookmark("a", "https://a.example/")})});
    EXPECT_TRUE(engine.sortBookmarksWithRootDictionary(noMenu, didSort).isNull());
    EXPECT_FALSE(didSort);
}

TEST(Sorting, ChangeTestComparesShapesAndIdentitiesOnly) {
    Orvane engine;
    const plist::Value a = folder("f", {bookmark("x", "https://x.example/")});
    plist::Value renamed = plist::shallowCopy(a), longer = plist::shallowCopy(a);
    renamed.asDictionary()->set("Title", S("other"));
    longer.asDictionary()->set("Children", A({childrenOf(a)[0], bookmark("y", "https://y.example/")}));
    EXPECT_TRUE(engine.areBookmarksEqualInDictionary(a, renamed));
    EXPECT_FALSE(engine.areBookmarksEqualInDictionary(a, longer));
    // Without an identity a node equals nothing, not even itself.
    const plist::Value anonymous = D({{"WebBookmarkType", S("WebBookmarkTypeLeaf")}});
    EXPECT_FALSE(engine.areBookmarksEqualInDictionary(anonymous, anonymous));
    // Hidden folders with one identity are equal whatever they hold.
    const plist::Value hiddenA = hidden(folder("h", {bookmark("1", "https://1.example/")}));
    plist::Value hiddenB = plist::shallowCopy(hiddenA);
    hiddenB.asDictionary()->set("Children", A({}));
    EXPECT_TRUE(engine.areBookmarksEqualInDictionary(hiddenA, hiddenB));
}

TEST(Sorting, SpecialFoldersReplaceTheirNamesakesOrAreAppended) {
    Orvane engine;
    const plist::Value bar = folder("BookmarksBar", {}), menu = folder("BookmarksMenu", {});
    plist::Value root = bookmarksRoot(
        {folder("BookmarksMenu", {}), proxy("p"), folder("BookmarksMenu", {}), folder("BookmarksBar", {})});
    bool ok = false;
    engine.bookmarksDictionaryWithRootNode(root, bar, menu, &ok);
    EXPECT_TRUE(ok);
    EXPECT_TRUE(childrenOf(root)[0].isSameObject(menu));
    EXPECT_TRUE(childrenOf(root)[2].isSameObject(menu));  // a second one met before both are placed
    EXPECT_TRUE(childrenOf(root)[3].isSameObject(bar));

    plist::Value empty = bookmarksRoot({});
    engine.bookmarksDictionaryWithRootNode(empty, bar, menu, &ok);
    ASSERT_EQ(childrenOf(empty).size(), 2u);
    EXPECT_TRUE(childrenOf(empty)[0].isSameObject(bar));
    engine.bookmarksDictionaryWithRootNode(bookmarksRoot({}), bar, plist::Value(), &ok);
    EXPECT_FALSE(ok);
}

}  // namespace
}  // namespace orvane
