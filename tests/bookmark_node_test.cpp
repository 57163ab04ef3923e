#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <utility>

#include "orvane.h"
#include "test_support.h"

using orvane::Orvane;
using orvane::plist::Value;
using namespace orvane;
using namespace orvane::test;

namespace {

Value leaf(const char* title) {
    return D({{"WebBookmarkType", S("WebBookmarkTypeLeaf")}, {"URIDictionary", D({{"title", S(title)}})}});
}
Value folder(const char* title, std::initializer_list<Value> children) {
    return D({{"WebBookmarkType", S("WebBookmarkTypeList")}, {"Title", S(title)}, {"Children", A(children)}});
}

}  // namespace

TEST(BookmarkNode, TitlesAreReadFromTitleFirstAndWrittenToTheUriDictionaryFirst) {
    Orvane engine;
    EXPECT_EQ(engine.titleFromBookmarkNode(leaf("Apple")).asString(), "Apple");
    Value untitled = D({{"WebBookmarkType", S("WebBookmarkTypeLeaf")}, {"URIDictionary", Value::dictionary()}});
    EXPECT_TRUE(engine.titleFromBookmarkNode(untitled).isNull());

    // A folder without "Title" but with a URI dictionary takes the title from there.
    Value oddFolder = D({{"WebBookmarkType", S("WebBookmarkTypeList")}, {"URIDictionary", D({{"title", S("Inner")}})}});
    EXPECT_EQ(engine.titleFromBookmarkNode(oddFolder).asString(), "Inner");

    // With both keys, a rename goes to the URI dictionary and reading still answers "Title".
    Value both = leaf("Inner");
    both.asDictionary()->set("Title", S("Outer"));
    engine.setTitle(S("Renamed"), both);
    EXPECT_EQ(engine.titleFromBookmarkNode(both).asString(), "Outer");
    EXPECT_EQ(both.asDictionary()->find("URIDictionary")->asDictionary()->find("title")->asString(), "Renamed");

    Value plain = folder("Old", {});
    engine.setTitle(S("New"), plain);
    EXPECT_EQ(engine.titleFromBookmarkNode(plain).asString(), "New");
}

TEST(BookmarkNode, TypesCountsAndSpecialFolders) {
    Orvane engine;
    EXPECT_EQ(engine.typeFromBookmarkNode(leaf("x")), BookmarkNodeTypeLeaf);
    EXPECT_EQ(engine.typeFromBookmarkNode(folder("x", {})), BookmarkNodeTypeList);
    EXPECT_EQ(engine.typeFromBookmarkNode(D({{"WebBookmarkType", S("WebBookmarkTypeProxy")}})), BookmarkNodeTypeProxy);
    EXPECT_EQ(engine.typeFromBookmarkNode(D({{"WebBookmarkType", S("webbookmarktypeleaf")}})), BookmarkNodeTypeNone);
    EXPECT_EQ(engine.typeFromBookmarkNode(D({})), BookmarkNodeTypeNone);
    EXPECT_EQ(engine.typeFromBookmarkNode(S("WebBookmarkTypeLeaf")), BookmarkNodeTypeNone);

    Value proxy = D({{"WebBookmarkType", S("WebBookmarkTypeProxy")}, {"Title", S("History")}});
    Value firstBar = folder("BookmarksBar", {leaf("a")});
    Value root = folder("", {proxy, folder("Stuff", {leaf("a"), leaf("b"), leaf("c")}), folder("Empty", {}), firstBar,
                             folder("BookmarksBar", {}), folder("Deeper", {folder("BookmarksMenu", {})})});
    EXPECT_EQ(engine.numberOfBookmarksInDictionary(root), 4u);
    EXPECT_EQ(engine.numberOfBookmarksInDictionary(folder("Stuff", {leaf("a"), leaf("b"), leaf("c")})), 3u);
    EXPECT_TRUE(engine.bookmarksBarDictionaryFromBookmarksFileRootNode(root).isSameObject(firstBar));
    EXPECT_TRUE(engine.bookmarksMenuDictionaryFromBookmarksFileRootNode(root).isNull());
}

TEST(BookmarkNode, RootAndVersionChecks) {
    Orvane engine;
    EXPECT_TRUE(engine.verifyThatDictionaryIsBookmarksFileRootNode(folder("", {})));
    EXPECT_FALSE(engine.verifyThatDictionaryIsBookmarksFileRootNode(leaf("x")));
    EXPECT_FALSE(engine.verifyThatDictionaryIsBookmarksFileRootNode(D({})));
    EXPECT_FALSE(engine.verifyThatDictionaryIsBookmarksFileRootNode(A({folder("", {})})));

    auto withVersion = [](Value v) { return D({{"WebBookmarkFileVersion", std::move(v)}}); };
    EXPECT_TRUE(engine.verifyThatDictionaryHasCorrectVersionWithRootNode(withVersion(Value::integer(1))));
    EXPECT_FALSE(engine.verifyThatDictionaryHasCorrectVersionWithRootNode(withVersion(Value::integer(2))));
    EXPECT_TRUE(engine.verifyThatDictionaryHasCorrectVersionWithRootNode(withVersion(Value::integer(-5))));
    EXPECT_TRUE(engine.verifyThatDictionaryHasCorrectVersionWithRootNode(D({})));
    EXPECT_FALSE(engine.verifyThatDictionaryHasCorrectVersionWithRootNode(withVersion(S(" 3 apples"))));
    EXPECT_TRUE(engine.verifyThatDictionaryHasCorrectVersionWithRootNode(withVersion(S("one"))));
    EXPECT_TRUE(engine.verifyThatDictionaryHasCorrectVersionWithRootNode(withVersion(Value::real(1.9))));
}
