#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <utility>

#include "orvane.h"

using orvane::Orvane;
using orvane::plist::Value;
using namespace orvane;

namespace {

Value dict(std::initializer_list<std::pair<const char*, Value>> entries) {
    Value d = Value::dictionary();
    for (const auto& [k, v] : entries) d.asDictionary()->set(k, v);
    return d;
}
Value str(const char* s) { return Value::string(s); }
Value list(std::initializer_list<Value> items) {
    Value a = Value::array();
    for (const auto& v : items) a.asArray()->append(v);
    return a;
}
Value leaf(const char* title) {
    return dict({{"WebBookmarkType", str("WebBookmarkTypeLeaf")}, {"URIDictionary", dict({{"title", str(title)}})}});
}
Value folder(const char* title, std::initializer_list<Value> children) {
    return dict({{"WebBookmarkType", str("WebBookmarkTypeList")}, {"Title", str(title)}, {"Children", list(children)}});
}

}  // namespace

TEST(BookmarkNode, TitlesAreReadFromTitleFirstAndWrittenToTheUriDictionaryFirst) {
    Orvane engine;
    EXPECT_EQ(engine.titleFromBookmarkNode(leaf("Apple")).asString(), "Apple");
    Value untitled = dict({{"WebBookmarkType", str("WebBookmarkTypeLeaf")}, {"URIDictionary", Value::dictionary()}});
    EXPECT_TRUE(engine.titleFromBookmarkNode(untitled).isNull());

    // A folder without "Title" but with a URI dictionary takes the title from there.
    Value oddFolder = dict({{"WebBookmarkType", str("WebBookmarkTypeList")}, {"URIDictionary", dict({{"title", str("Inner")}})}});
    EXPECT_EQ(engine.titleFromBookmarkNode(oddFolder).asString(), "Inner");

    // With both keys, a rename goes to the URI dictionary and reading still answers "Title".
    Value both = leaf("Inner");
    both.asDictionary()->set("Title", str("Outer"));
    engine.setTitle(str("Renamed"), both);
    EXPECT_EQ(engine.titleFromBookmarkNode(both).asString(), "Outer");
    EXPECT_EQ(both.asDictionary()->find("URIDictionary")->asDictionary()->find("title")->asString(), "Renamed");

    Value plain = folder("Old", {});
    engine.setTitle(str("New"), plain);
    EXPECT_EQ(engine.titleFromBookmarkNode(plain).asString(), "New");
}

TEST(BookmarkNode, TypesCountsAndSpecialFolders) {
    Orvane engine;
    EXPECT_EQ(engine.typeFromBookmarkNode(leaf("x")), BookmarkNodeTypeLeaf);
    EXPECT_EQ(engine.typeFromBookmarkNode(folder("x", {})), BookmarkNodeTypeList);
    EXPECT_EQ(engine.typeFromBookmarkNode(dict({{"WebBookmarkType", str("WebBookmarkTypeProxy")}})), BookmarkNodeTypeProxy);
    EXPECT_EQ(engine.typeFromBookmarkNode(dict({{"WebBookmarkType", str("webbookmarktypeleaf")}})), BookmarkNodeTypeNone);
    EXPECT_EQ(engine.typeFromBookmarkNode(dict({})), BookmarkNodeTypeNone);
    EXPECT_EQ(engine.typeFromBookmarkNode(str("WebBookmarkTypeLeaf")), BookmarkNodeTypeNone);

    Value proxy = dict({{"WebBookmarkType", str("WebBookmarkTypeProxy")}, {"Title", str("History")}});
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
    EXPECT_FALSE(engine.verifyThatDictionaryIsBookmarksFileRootNode(dict({})));
    EXPECT_FALSE(engine.verifyThatDictionaryIsBookmarksFileRootNode(list({folder("", {})})));

    auto withVersion = [](Value v) { return dict({{"WebBookmarkFileVersion", std::move(v)}}); };
    EXPECT_TRUE(engine.verifyThatDictionaryHasCorrectVersionWithRootNode(withVersion(Value::integer(1))));
    EXPECT_FALSE(engine.verifyThatDictionaryHasCorrectVersionWithRootNode(withVersion(Value::integer(2))));
    EXPECT_TRUE(engine.verifyThatDictionaryHasCorrectVersionWithRootNode(withVersion(Value::integer(-5))));
    EXPECT_TRUE(engine.verifyThatDictionaryHasCorrectVersionWithRootNode(dict({})));
    EXPECT_FALSE(engine.verifyThatDictionaryHasCorrectVersionWithRootNode(withVersion(str(" 3 apples"))));
    EXPECT_TRUE(engine.verifyThatDictionaryHasCorrectVersionWithRootNode(withVersion(str("one"))));
    EXPECT_TRUE(engine.verifyThatDictionaryHasCorrectVersionWithRootNode(withVersion(Value::real(1.9))));
}
