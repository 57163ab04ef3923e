#include <gtest/gtest.h>

#include <string>

#include "plist/codec.h"
#include "test_support.h"

using namespace orvane;
namespace fs = std::filesystem;

namespace {

constexpr const char* kBookmarks = R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict><key>Children</key><array>
	<dict><key>Title</key><string>History</string><key>WebBookmarkType</key><string>WebBookmarkTypeProxy</string></dict>
	<dict><key>Children</key><array><dict>
		<key>URIDictionary</key><dict><key>title</key><string>Caf&#233;</string></dict>
		<key>URLString</key><string>https://cafe.example/</string><key>WebBookmarkType</key><string>WebBookmarkTypeLeaf</string>
	</dict></array><key>Title</key><string>BookmarksBar</string><key>WebBookmarkType</key><string>WebBookmarkTypeList</string></dict>
	<dict><key>Children</key><array/><key>ShouldOmitFromUI</key><true/>
		<key>Title</key><string>com.apple.ReadingList</string><key>WebBookmarkType</key><string>WebBookmarkTypeList</string></dict>
</array><key>WebBookmarkFileVersion</key><integer>1</integer><key>WebBookmarkType</key><string>WebBookmarkTypeList</string></dict>
</plist>
)";

test::RunResult cli(std::vector<std::string> args, std::string_view input = {}) {
    args.insert(args.begin(), test::cliPath());
    return test::run(args, input);
}

plist::Value parse(const std::string& bytes) { return plist::readPropertyList(test::bytesOf(bytes)).value; }

}  // namespace

TEST(Cli, ConvertsBetweenFormatsThroughFilesAndPipes) {
    test::TempDir dir;
    const fs::path xml = dir / "in.plist", binary = dir / "out.plist";
    test::writeFile(xml, kBookmarks);
    const plist::Value original = parse(kBookmarks);
    ASSERT_FALSE(original.isNull());

    auto r = cli({"convert", "-o", binary.string(), xml.string()});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    auto bytes = test::readFile(binary);
    EXPECT_EQ(std::string(bytes.begin(), bytes.begin() + 8), "bplist00");
    EXPECT_TRUE(plist::readBinary(bytes).value == original);

    r = cli({"convert", "--format", "xml", binary.string()});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(r.out.rfind("<?xml", 0), 0u);
    EXPECT_TRUE(parse(r.out) == original);

    // Standard input in, binary to a pipe out (not a terminal, so it is allowed).
    r = cli({"convert", "-"}, kBookmarks);
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_TRUE(parse(r.out) == original);
}

TEST(Cli, PrintsAnOutlineWithSpecialFoldersNamed) {
    test::TempDir dir;
    test::writeFile(dir / "b.plist", kBookmarks);
    auto r = cli({"print", (dir / "b.plist").string()});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_NE(r.out.find("\nHistory  (proxy)\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("\nBookmarks Bar/\n  Café  <https://cafe.example/>\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("\ncom.apple.ReadingList/  (hidden)\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("1 bookmark in 2 folders"), std::string::npos) << r.out;
}

TEST(Cli, FailuresExitWithTheirCodeAndOneLineNamingTheFile) {
    test::TempDir dir;
    const fs::path garbage = dir / "garbage.plist", array = dir / "array.plist", good = dir / "good.plist";
    test::writeFile(garbage, "<plist><dict><key>a</key></dict></plist>");
    test::writeFile(array, "(a, b)");
    test::writeFile(good, kBookmarks);

    struct Case {
        std::vector<std::string> args;
        int exitCode;
        std::string mention;
    } cases[] = {
        {{}, 64, "usage"},
        {{"frobnicate"}, 64, "frobnicate"},
        {{"convert"}, 64, "FILE"},
        {{"convert", "--format", "json", good.string()}, 64, "json"},
        {{"convert", "--bogus", good.string()}, 64, "--bogus"},
        {{"print", good.string(), good.string()}, 64, "one FILE"},
        {{"convert", (dir / "missing.plist").string()}, 5, "missing.plist"},
        {{"print", garbage.string()}, 5, "garbage.plist: not a valid XML property list: line 1"},
        {{"print", array.string()}, 3, "array.plist: not a bookmarks file"},
        {{"convert", "-o", (dir / "no" / "dir.plist").string(), good.string()}, 6, "dir.plist"},
    };
    for (const Case& c : cases) {
        auto r = cli(c.args);
        std::string label = c.args.empty() ? "(no arguments)" : c.args[0] + " " + (c.args.size() > 1 ? c.args[1] : "");
        EXPECT_EQ(r.exitCode, c.exitCode) << label << ": " << r.err;
        EXPECT_NE(r.err.find(c.mention), std::string::npos) << label << ": " << r.err;
        if (c.exitCode != 64) {
            EXPECT_EQ(r.err.find('\n'), r.err.size() - 1) << "not one line: " << r.err;
        }
    }
    EXPECT_FALSE(fs::exists(dir / "no"));

    for (const char* command : {"convert", "print"}) {
        auto r = cli({command, "--help"});
        EXPECT_EQ(r.exitCode, 0);
        EXPECT_NE(r.out.find(std::string("orvane-cli ") + command), std::string::npos);
    }
}
