#include <gtest/gtest.h>

#include "orvane.h"
#include "test_support.h"

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
    const auto ofType = [](const char* type) { return D({{"WebBookmarkType", S(type)}}); };
    const std::pair<Value, BookmarkNodeType> types[] = {{leaf("x"), BookmarkNodeTypeLeaf},
                                                        {folder("x", {}), BookmarkNodeTypeList},
                                                        {ofType("WebBookmarkTypeProxy"), BookmarkNodeTypeProxy},
                                                        {ofType("webbookmarktypeleaf"), BookmarkNodeTypeNone},
                                                        {D({}), BookmarkNodeTypeNone},
                                                        {S("WebBookmarkTypeLeaf"), BookmarkNodeTypeNone}};
    for (const auto& [node, type] : types) EXPECT_EQ(engine.typeFromBookmarkNode(node), type) << toXml(node);

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
    const std::pair<Value, bool> roots[] = {
        {folder("", {}), true}, {leaf("x"), false}, {D({}), false}, {A({folder("", {})}), false}};
    for (const auto& [node, isRoot] : roots)
        EXPECT_EQ(engine.verifyThatDictionaryIsBookmarksFileRootNode(node), isRoot) << toXml(node);

    auto versioned = [](Value v) { return D({{"WebBookmarkFileVersion", std::move(v)}}); };
    const std::pair<Value, bool> versions[] = {{versioned(I(1)), true},
                                               {versioned(I(2)), false},
                                               {versioned(I(-5)), true},
                                               {D({}), true},
                                               {versioned(S(" 3 apples")), false},
                                               {versioned(S("one")), true},
                                               {versioned(Value::real(1.9)), true}};
    for (const auto& [node, correct] : versions)
        EXPECT_EQ(engine.verifyThatDictionaryHasCorrectVersionWithRootNode(node), correct) << toXml(node);
}
