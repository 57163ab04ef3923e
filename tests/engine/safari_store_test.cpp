// Safari's bookmarks file: reading its nodes, the regions the store makes of it, and the root
// it writes back.
#include <gtest/gtest.h>

#include "bookmark_trees.h"
#include "support/error_codes.h"
#include "stores/safari/safari_store.h"
#include "tree/sorting.h"
#include "tree/title_collator.h"

namespace orvane {
namespace {

using namespace test;
using plist::Value;

Value leaf(const char* title) {
    return D({{"WebBookmarkType", S("WebBookmarkTypeLeaf")}, {"URIDictionary", D({{"title", S(title)}})}});
}
Value list(const char* title, std::initializer_list<Value> children) {
    return D({{"WebBookmarkType", S("WebBookmarkTypeList")}, {"Title", S(title)}, {"Children", A(children)}});
}

// A root as the store would write it after a sort with `options`, and whether it would.
struct Sorted {
    StoreResult loaded;
    bool changed = false;
    Value root;
};
Sorted sortThroughStore(const Value& root, const SortOptions& options = {}) {
    TempDir dir;
    writeFile(dir / "Bookmarks.plist", toBinary(root));
    safari::SafariStore store(dir / "Bookmarks.plist", dir / "Bookmarks.plist");
    BookmarkTree tree;
    Sorted sorted;
    sorted.loaded = store.load(tree);
    if (!sorted.loaded.done()) return sorted;
    sorted.changed = sortTree(tree, options, TitleCollator());
    sorted.root = store.sortedRoot(tree);
    return sorted;
}

TEST(SafariNodes, TitlesAreReadFromTitleFirstAndWrittenToTheUriDictionaryFirst) {
    EXPECT_EQ(safari::titleOf(leaf("Apple")).asString(), "Apple");
    Value untitled = D({{"WebBookmarkType", S("WebBookmarkTypeLeaf")}, {"URIDictionary", Value::dictionary()}});
    EXPECT_TRUE(safari::titleOf(untitled).isNull());
    EXPECT_TRUE(safari::newTitleIsRead(untitled));

    // A folder without "Title" but with a URI dictionary takes the title from there.
    Value oddFolder = D({{"WebBookmarkType", S("WebBookmarkTypeList")}, {"URIDictionary", D({{"title", S("Inner")}})}});
    EXPECT_EQ(safari::titleOf(oddFolder).asString(), "Inner");

    // With both keys, a rename goes to the URI dictionary and reading still answers "Title".
    Value both = leaf("Inner");
    both.asDictionary()->set("Title", S("Outer"));
    EXPECT_FALSE(safari::newTitleIsRead(both));
    safari::setTitle(both, S("Renamed"));
    EXPECT_EQ(safari::titleOf(both).asString(), "Outer");
    EXPECT_EQ(both.asDictionary()->find("URIDictionary")->asDictionary()->find("title")->asString(), "Renamed");

    Value plain = list("Old", {});
    safari::setTitle(plain, S("New"));
    EXPECT_EQ(safari::titleOf(plain).asString(), "New");
}

TEST(SafariNodes, KindsSpecialFoldersRootAndVersion) {
    const auto ofType = [](const char* type) { return D({{"WebBookmarkType", S(type)}}); };
    const std::pair<Value, NodeKind> kinds[] = {{leaf("x"), NodeKind::Bookmark},
                                                {list("x", {}), NodeKind::Folder},
                                                {ofType("WebBookmarkTypeProxy"), NodeKind::Pinned},
                                                {ofType("webbookmarktypeleaf"), NodeKind::Other},
                                                {D({}), NodeKind::Other},
                                                {S("WebBookmarkTypeLeaf"), NodeKind::Other}};
    for (const auto& [node, kind] : kinds) EXPECT_EQ(safari::kindOf(node), kind) << toXml(node);

    const Value firstBar = list("BookmarksBar", {leaf("a")});
    const Value root = list("", {firstBar, list("BookmarksBar", {}), list("Deeper", {list("BookmarksMenu", {})})});
    EXPECT_TRUE(safari::childTitled(root, "BookmarksBar").isSameObject(firstBar));
    EXPECT_TRUE(safari::childTitled(root, "BookmarksMenu").isNull());

    const std::pair<Value, bool> roots[] = {
        {list("", {}), true}, {leaf("x"), false}, {D({}), false}, {A({list("", {})}), false}};
    for (const auto& [node, isRoot] : roots) EXPECT_EQ(safari::isBookmarksFileRoot(node), isRoot) << toXml(node);
    auto versioned = [](Value v) { return D({{"WebBookmarkFileVersion", std::move(v)}}); };
    const std::pair<Value, bool> versions[] = {{versioned(I(1)), true},
                                               {versioned(I(2)), false},
                                               {versioned(I(-5)), true},
                                               {D({}), true},
                                               {versioned(S(" 3 apples")), false},
                                               {versioned(S("one")), true},
                                               {versioned(Value::real(1.9)), true}};
    for (const auto& [node, correct] : versions) EXPECT_EQ(safari::hasKnownVersion(node), correct) << toXml(node);
}

TEST(SafariStore, KeepsSpecialEntriesFirstAndPutsTheFoldersBack) {
    for (const bool foldersFirst : {false, true}) {
        SCOPED_TRACE(foldersFirst);
        SortOptions options;
        options.foldersAtTop = foldersFirst;
        Value root =
            bookmarksRoot({folder("Zed", {bookmark("z", "https://z.example/")}), folder("BookmarksBar", {}),
                           proxy("History"), bookmark("Alpha", "https://a.example/"), folder("BookmarksMenu", {}),
                           folder("Beta", {bookmark("b", "https://b.example/")})});
        root.asDictionary()->set("Sync", S("kept"));
        const Sorted sorted = sortThroughStore(root, options);
        ASSERT_TRUE(sorted.changed);
        EXPECT_EQ(titlesIn(sorted.root),
                  foldersFirst ? (Titles{"BookmarksBar", "History", "BookmarksMenu", "Beta", "Zed", "Alpha"})
                               : (Titles{"BookmarksBar", "History", "BookmarksMenu", "Alpha", "Beta", "Zed"}));
        // The other root keys keep their values and places.
        EXPECT_EQ(sorted.root.asDictionary()->entries().back().key.asString(), "Sync");
        EXPECT_EQ(sorted.root.asDictionary()->entries().front().key.asString(), "WebBookmarkType");

        // The result is in order: sorting it again changes nothing.
        const Sorted again = sortThroughStore(sorted.root, options);
        EXPECT_FALSE(again.changed);
    }
}

TEST(SafariStore, SpecialFoldersReplaceTheirNamesakesOrAreAppended) {
    // A second folder of a special title met before both are placed is replaced by the first.
    const Value root = bookmarksRoot(
        {folder("BookmarksMenu", {bookmark("b", "https://b.example/"), bookmark("a", "https://a.example/")}),
         proxy("p"), folder("BookmarksMenu", {bookmark("lost", "https://l.example/")}), folder("BookmarksBar", {})});
    const Sorted sorted = sortThroughStore(root);
    ASSERT_TRUE(sorted.changed);
    EXPECT_EQ(titlesIn(sorted.root), (Titles{"BookmarksMenu", "p", "BookmarksMenu", "BookmarksBar"}));
    EXPECT_EQ(titlesIn(childrenOf(sorted.root)[0]), (Titles{"a", "b"}));
    EXPECT_EQ(childrenOf(sorted.root)[2], childrenOf(sorted.root)[0]);

    // Empty or missing children: nothing to sort. No Bookmarks Menu: a shape the sort refuses.
    for (const Value& bare : {bookmarksRoot({}), D({{"WebBookmarkType", S("WebBookmarkTypeList")}})}) {
        const Sorted nothing = sortThroughStore(bare);
        EXPECT_TRUE(nothing.loaded.done());
        EXPECT_FALSE(nothing.changed);
    }
    const Sorted noMenu =
        sortThroughStore(bookmarksRoot({folder("BookmarksBar", {bookmark("b", "https://b.example/")})}));
    EXPECT_EQ(noMenu.loaded.code, kOVUnsupportedBookmarksFile);
    EXPECT_NE(noMenu.loaded.reason.find("no Bookmarks Bar or no Bookmarks Menu"), std::string::npos);
}

// A binary property list put together by hand, each object given as its encoding with one-byte
// references: writers that do not share equal scalars make such files.
std::string handMadeBinary(const std::vector<std::string>& objects) {
    std::string file = "bplist00";
    std::string offsets;
    for (const std::string& object : objects) {
        offsets.push_back(static_cast<char>(file.size()));
        file += object;
    }
    const std::size_t table = file.size();
    file += offsets;
    std::string trailer(32, '\0');
    trailer[6] = trailer[7] = 1;  // one-byte offsets and references
    trailer[15] = static_cast<char>(objects.size());
    trailer[31] = static_cast<char>(table);
    return file + trailer;
}
std::string ascii(const std::string& text) {
    if (text.size() < 15) return static_cast<char>(0x50 | text.size()) + text;
    return std::string("\x5F\x10") + static_cast<char>(text.size()) + text;
}
std::string refs(char marker, std::initializer_list<int> objects) {
    std::string encoded(1, marker);
    for (const int object : objects) encoded.push_back(static_cast<char>(object));
    return encoded;
}

// Files whose scalars are not all distinct are read in place but written from values, whose
// writer shares equal scalars: both ways give the same bytes, whether the sort changed the
// file or not.
TEST(SafariStore, FilesWithEqualScalarsAreWrittenAsFromValues) {
    const std::vector<std::string> sortable = {
        refs('\xD2', {1, 2, 3, 4}),  // root: WebBookmarkType, Children
        ascii("WebBookmarkType"),
        ascii("Children"),
        ascii("WebBookmarkTypeList"),
        refs('\xA4', {5, 9, 13, 18}),
        refs('\xD3', {1, 6, 2, 3, 7, 8}),
        ascii("Title"),
        ascii("BookmarksBar"),
        refs('\xA0', {}),
        refs('\xD3', {1, 6, 2, 3, 10, 11}),
        ascii("BookmarksMenu"),
        refs('\xA0', {}),
        ascii("unused"),
        refs('\xD3', {1, 6, 14, 15, 16, 17}),
        ascii("URLString"),
        ascii("WebBookmarkTypeLeaf"),
        ascii("b"),
        ascii("https://b.example/"),
        // The same type again, as its own object.
        refs('\xD3', {1, 6, 14, 19, 20, 21}),
        ascii("WebBookmarkTypeLeaf"),
        ascii("a"),
        ascii("https://a.example/"),
    };
    const std::vector<std::string> noEntries = {
        refs('\xD2', {1, 2, 3, 4}),   ascii("WebBookmarkType"),     ascii("Note"),
        ascii("WebBookmarkTypeList"), ascii("WebBookmarkTypeList"),
    };
    for (const auto& objects : {sortable, noEntries}) {
        TempDir dir;
        writeFile(dir / "Bookmarks.plist", handMadeBinary(objects));
        std::string bytes[2];
        for (const bool copyThrough : {true, false}) {
            safari::SafariStore store(dir / "Bookmarks.plist", dir / "Bookmarks.plist", copyThrough);
            BookmarkTree tree;
            const StoreResult loaded = store.load(tree);
            ASSERT_TRUE(loaded.done()) << loaded.reason;
            EXPECT_EQ(store.readInPlace(), copyThrough);
            EXPECT_EQ(sortTree(tree, {}, TitleCollator()), objects.size() == sortable.size());
            plist::StringSink sink;
            ASSERT_EQ(store.writeSorted(tree, std::string("ID"), sink), "");
            bytes[copyThrough] = sink.out;
        }
        EXPECT_EQ(bytes[true], bytes[false]);
        if (objects.size() == sortable.size()) {
            const Value written = plist::readBinary(bytesOf(bytes[true])).value;
            EXPECT_EQ(titlesIn(written), (Titles{"BookmarksBar", "BookmarksMenu", "a", "b"}));
        }
    }
}

}  // namespace
}  // namespace orvane
