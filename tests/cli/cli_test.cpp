#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include "bookmark_trees.h"
#include "places_db.h"

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

test::RunResult cli(std::vector<std::string> args, std::string_view input = {},
                    const std::vector<std::string>& env = {}) {
    args.insert(args.begin(), test::cliPath());
    return test::run(args, input, env);
}

plist::Value parse(const std::string& bytes) { return plist::readPropertyList(test::bytesOf(bytes)).value; }

void expectIn(const std::string& out, const std::vector<std::string>& parts) {
    for (const std::string& part : parts) EXPECT_NE(out.find(part), std::string::npos) << part << " not in:\n" << out;
}

// Unsorted, with one of each thing a sort cleans up in the menu: a bookmark without an address,
// an address found twice (the copy in "Zoo" is the one dropped), an empty folder, an untitled
// bookmark and two bookmarks named "Weather" (the first becomes "Weather 2").
const plist::Value& messyRoot() {
    using namespace test;
    static const plist::Value root = bookmarksRoot({
        proxy("History"),
        folder("BookmarksBar",
               {bookmark("Zebra", "https://zebra.example/"), bookmark("Apple", "https://apple.example/")}),
        folder("BookmarksMenu",
               {bookmark("Weather", "https://weather.example/"), bookmark("Broken", ""),
                folder("Zoo", {bookmark("Lion", "https://lion.example/"), bookmark("Tiger", "https://tiger.example/")}),
                bookmark("Weather", "https://weather.example/week"), bookmark("Lion again", "https://lion.example/"),
                folder("Empty", {}),
                withUUID(D({{"WebBookmarkType", S("WebBookmarkTypeLeaf")},
                            {"URLString", S("https://untitled.example/")},
                            {"URIDictionary", plist::Value::dictionary()}}))}),
    });
    return root;
}

// A scratch home folder holding the messy bookmarks file: HOME and XDG_DATA_HOME point into it, so that the default
// backup lands here and never in the real home folder. With `xdgDataHome` false, XDG_DATA_HOME is empty and the data
// folder falls back to ~/.local/share.
struct Sandbox {
    explicit Sandbox(bool xdgDataHome = true)
        : env{"HOME=" + (dir / "home").string(), "XDG_DATA_HOME=" + (xdgDataHome ? (dir / "data").string() : "")},
          initialBackup((xdgDataHome ? dir / "data" : dir / "home" / ".local" / "share") / "Orvane" /
                        "Bookmarks (Initial Copy).plist") {
        test::writeFile(file, original);
    }
    test::RunResult cli(std::vector<std::string> args) const { return ::cli(std::move(args), {}, env); }
    // orvane-cli run through `wrapper`: a shell that redirects its output, a deadline, another user.
    test::RunResult cliThrough(std::vector<std::string> wrapper, const std::vector<std::string>& args) const {
        wrapper.push_back(test::cliPath());
        wrapper.insert(wrapper.end(), args.begin(), args.end());
        return test::run(wrapper, {}, env);
    }
    fs::path operator/(std::string_view name) const { return dir / name; }

    test::TempDir dir;
    std::vector<std::string> env;
    fs::path initialBackup, file = dir / "Bookmarks.plist";
    std::string original = test::toXml(messyRoot());
};

// The titles in the Bookmarks Bar and the Bookmarks Menu of the file.
using Titles = std::pair<std::vector<std::string>, std::vector<std::string>>;
Titles barAndMenu(const fs::path& path) {
    const plist::Value root = plist::readPropertyList(test::readFile(path)).value;
    return {test::titlesIn(safari::childTitled(root, "BookmarksBar")),
            test::titlesIn(safari::childTitled(root, "BookmarksMenu"))};
}

}  // namespace

TEST(Cli, ConvertsBetweenFormatsThroughFilesAndPipes) {
    test::TempDir dir;
    const fs::path xml = dir / "in.plist", binary = dir / "out.plist";
    test::writeFile(xml, kBookmarks);
    const plist::Value original = parse(kBookmarks);
    ASSERT_FALSE(original.isNull());

    auto r = cli({"convert", "-o", binary.string(), xml.string()});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    const std::string bytes = test::readText(binary);
    EXPECT_EQ(bytes.substr(0, 8), "bplist00");
    EXPECT_TRUE(plist::readBinary(test::bytesOf(bytes)).value == original);

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
    expectIn(r.out, {"\nHistory  (proxy)\n", "\nBookmarks Bar/\n  Café  <https://cafe.example/>\n",
                     "\ncom.apple.ReadingList/  (hidden)\n", "1 bookmark in 2 folders"});
}

// Draws the outline again from print --json, the way print draws it, so that a test can compare
// the two: then the JSON holds every entry the outline shows, with its kind, title and address.
// Then prints the titles, exactly as decoded, in Python's ASCII notation.
const char* const kOutlineFromJson = R"PY(
import json, sys
doc = json.load(open(sys.argv[1], encoding="utf-8"))
titles = []
def shown(text):
    return "".join("\ufffd" if ord(c) < 0x20 or ord(c) == 0x7f or 0xd800 <= ord(c) <= 0xdfff else c for c in text)
def walk(nodes, depth):
    for n in nodes:
        kind, title = n["kind"], n.get("title")
        titles.append(title)
        named = shown(title or "") or "(untitled)"
        if kind == "folder":
            line = (n.get("label") or shown(title or "") or "(untitled folder)") + "/" + ("  (hidden)" if n.get("hidden") else "")
        elif kind == "bookmark":
            line = named + "  <" + shown(n["url"] or "") + ">"
        elif kind == "pinned":
            line = named + ("  (proxy)" if doc["format"] == "safari" else "  (query)")
        elif kind == "separator":
            line = "----"
        else:
            line = "(" + n["note"] + ")" if title is None and n["note"].startswith("not a") else named + "  (" + n["note"] + ")"
        print("  " * depth + line)
        walk(n.get("children", []), depth + 1)
print(doc["file"], doc["format"], doc["browser"])
walk(doc["children"], 0)
print(ascii(titles))
)PY";

// The outline's lines, without its first line (the file) and its last (the counts).
std::string outlineBody(const std::string& out) {
    const std::size_t first = out.find('\n') + 1, last = out.rfind('\n', out.size() - 2) + 1;
    return out.substr(first, last - first);
}

TEST(Cli, PrintsAsJsonEveryEntryTheOutlineShowsWithTitlesExact) {
    if (test::python3().empty()) GTEST_SKIP() << "no python3 to read the JSON";
    using namespace test;
    test::TempDir dir;
    const fs::path safariFile = dir / "Bookmarks.plist", json = dir / "out.json", script = dir / "outline.py";
    test::writeFile(script, kOutlineFromJson);
    plist::Value odd = D({{"WebBookmarkType", S("WebBookmarkTypeFuture")}, {"Title", S("From a newer Safari")}});
    const plist::Value root = bookmarksRoot({
        proxy("History"),
        folder("BookmarksBar",
               {bookmark("Quote \" backslash \\ tab \t line\nend \x01", "https://odd.example/?a=\"b\""),
                bookmark("Half a surrogate \xED\xA0\xBD and \xF0\x9F\x98\x80", "https://surrogate.example/"),
                folder("", {})}),
        folder("BookmarksMenu", {bookmark("Caf\u00E9 \u65E5\u672C", "https://cafe.example/"), odd, S("a bare string")}),
        hidden(folder("com.apple.ReadingList", {})),
    });
    test::writeFile(safariFile, toBinary(root));

    const auto chromium = fs::path(ORVANE_SOURCE_DIR) / "tests" / "data" / "chromium" / "written-by-chromium.json";
    for (const fs::path& file : {safariFile, chromium}) {
        SCOPED_TRACE(file.filename().string());
        const auto text = cli({"print", file.string()});
        const auto asJson = cli({"print", "--json", file.string()});
        ASSERT_EQ(text.exitCode, 0) << text.err;
        ASSERT_EQ(asJson.exitCode, 0) << asJson.err;
        test::writeFile(json, asJson.out);
        const auto drawn = test::run({test::python3(), script.string(), json.string()});
        ASSERT_EQ(drawn.exitCode, 0) << drawn.err << asJson.out;
        const std::string header = file.string() + (file == chromium ? " chromium Chromium\n" : " safari Safari\n");
        ASSERT_EQ(drawn.out.substr(0, header.size()), header);
        EXPECT_EQ(outlineBody(drawn.out), outlineBody(text.out)) << asJson.out;
        if (file == safariFile)
            expectIn(drawn.out, {"'Quote \" backslash \\\\ tab \\t line\\nend \\x01'",
                                 "'Half a surrogate \\ud83d and \\U0001f600'", "'Caf\\xe9 \\u65e5\\u672c'",
                                 "None, 'com.apple.ReadingList']"});
    }

    // The same from standard input, and the usual refusals.
    auto r = cli({"print", "--json", "-"}, toBinary(root));
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(r.out.rfind("{\n  \"file\": \"-\",\n  \"format\": \"safari\",", 0), 0u) << r.out;
    r = cli({"print", "--json", (dir / "missing.plist").string()});
    EXPECT_EQ(r.exitCode, 5);
    EXPECT_EQ(r.out, "");
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
        {{"sort", "--bogus", good.string()}, 64, "--bogus"},
        {{"sort", good.string(), good.string()}, 64, "one FILE"},
        {{"sort", "--backup"}, 64, "--backup needs a PATH"},
        {{"sort", "--no-backup", "--backup", good.string()}, 64, "cannot be combined"},
        {{"restore", "--no-backup", good.string()}, 64, "--no-backup"},
        {{"convert", (dir / "missing.plist").string()}, 5, "missing.plist"},
        {{"print", garbage.string()}, 5, "garbage.plist: not a valid XML property list: line 1"},
        {{"print", array.string()}, 3, "array.plist: not a bookmarks file"},
        {{"convert", "-o", (dir / "no" / "dir.plist").string(), good.string()}, 6, "dir.plist"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.args.empty() ? "(no arguments)" : c.args[0] + " " + (c.args.size() > 1 ? c.args[1] : ""));
        const auto r = cli(c.args);
        EXPECT_EQ(r.exitCode, c.exitCode) << r.err;
        EXPECT_NE(r.err.find(c.mention), std::string::npos) << r.err;
        if (c.exitCode != 64) {
            EXPECT_EQ(r.err.find('\n'), r.err.size() - 1) << "not one line: " << r.err;
        }
    }
    EXPECT_FALSE(fs::exists(dir / "no"));

    for (const std::string command : {"convert", "print", "sort", "restore"}) {
        const auto r = cli({command, "--help"});
        EXPECT_EQ(r.exitCode, 0);
        EXPECT_NE(r.out.find("orvane-cli " + command), std::string::npos);
    }
}

TEST(CliSort, SortsOnceKeepsTheFirstBackupAndLeavesASortedFileAlone) {
    Sandbox box;
    auto r = box.cli({"sort", box.file.string()});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(r.out, "The bookmarks file was opened, sorted and saved.\n");
    EXPECT_EQ(test::readText(box.initialBackup), box.original);
    EXPECT_EQ(test::readText(box.file).substr(0, 8), "bplist00");
    // By default folders lead, duplicates go, same names are told apart and the bar keeps its order.
    EXPECT_EQ(barAndMenu(box.file),
              Titles({"Zebra", "Apple"}, {"Zoo", "https://untitled.example/", "Lion again", "Weather", "Weather 2"}));

    const auto sortedAt = fs::last_write_time(box.file);
    r = box.cli({"sort", box.file.string()});
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(r.out, "Nothing changed: the bookmarks were already in order, so the file was not written.\n");
    EXPECT_EQ(fs::last_write_time(box.file), sortedAt);

    // Every option the other way round; the backup still holds the file as the first sort found it.
    test::writeFile(box.file, test::toBinary(messyRoot()));
    r = box.cli({"sort", "--sort-bookmarks-bar", "--no-folders-at-top", "--no-remove-duplicates",
                 "--no-rename-samenamed", box.file.string()});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(barAndMenu(box.file),
              Titles({"Apple", "Zebra"}, {"https://untitled.example/", "Lion again", "Weather", "Weather", "Zoo"}));
    EXPECT_EQ(test::readText(box.initialBackup), box.original);

    // Without a backup nothing is copied, even when there is no backup yet.
    fs::remove(box.initialBackup);
    test::writeFile(box.file, box.original);
    r = box.cli({"sort", "--no-backup", box.file.string()});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_NE(test::readText(box.file), box.original);
    EXPECT_FALSE(fs::exists(box.initialBackup));
}

TEST(CliSort, DryRunWritesNothingAndReportsWhatASortWouldDo) {
    Sandbox box;
    auto r = box.cli({"sort", "--dry-run", box.file.string()});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(test::readText(box.file), box.original);
    EXPECT_FALSE(fs::exists(box.initialBackup));
    expectIn(r.out, {"broken bookmarks removed: 1\n", "duplicates removed: 1\n", "empty folders removed: 1\n",
                     "folders reordered: 1\n", "entries renamed: 2\n",
                     "(untitled) \u2192 \u201Chttps://untitled.example/\u201D\n",
                     "\u201CWeather\u201D \u2192 \u201CWeather 2\u201D\n",
                     "file written: yes, after copying it to the initial backup \u201C" + box.initialBackup.string()});

    r = box.cli({"sort", "-n", "--no-remove-duplicates", "--no-rename-samenamed", "--sort-bookmarks-bar", "--no-backup",
                 box.file.string()});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    expectIn(r.out, {"duplicates removed: 0\n", "folders reordered: 2\n", "entries renamed: 1\n",
                     "file written: yes, without a backup\n"});

    ASSERT_EQ(box.cli({"sort", box.file.string()}).exitCode, 0);
    r = box.cli({"sort", "--dry-run", box.file.string()});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    expectIn(r.out, {"folders reordered: 0\n", "file written: no"});
}

// The dry run's report for scripts: the same numbers, renames and verdict as the text, in JSON
// that Python reads, and still nothing written.
TEST(CliSort, DryRunAsJsonGivesScriptsTheSameReport) {
    if (test::python3().empty()) GTEST_SKIP() << "no python3 to read the JSON";
    Sandbox box;
    const std::string fields = R"(import json, sys
r = json.load(sys.stdin)
print(sorted(r))
for key in sorted(r):
    if key not in ("file", "backup", "held_by"): print(key, r[key])
print("backup", None if r["backup"] is None else (r["backup"]["path"] == sys.argv[1], r["backup"]["exists"]))
print("held_by", r["held_by"] and (r["held_by"]["who"], r["held_by"]["how"], r["held_by"]["where"].endswith("/lock")))
print(r["file"] == sys.argv[2])
)";
    const auto report = [&](std::vector<std::string> args) {
        const auto r = box.cli(std::move(args));
        EXPECT_EQ(r.exitCode, 0) << r.err;
        const auto py =
            test::run({test::python3(), "-c", fields, box.initialBackup.string(), box.file.string()}, r.out);
        EXPECT_EQ(py.exitCode, 0) << py.err << r.out;
        return py.out;
    };
    std::string out = report({"sort", "--dry-run", "--json", box.file.string()});
    EXPECT_EQ(test::readText(box.file), box.original);
    EXPECT_FALSE(fs::exists(box.initialBackup));
    EXPECT_EQ(out,
              "['backup', 'broken_bookmarks_removed', 'browser', 'cannot_replace', 'duplicates_removed', "
              "'empty_folders_removed', 'file', 'folders_reordered', 'format', 'held_by', 'order_changed', 'renames', "
              "'would_write']\n"
              "broken_bookmarks_removed 1\nbrowser Safari\ncannot_replace None\nduplicates_removed 1\n"
              "empty_folders_removed 1\nfolders_reordered 1\nformat safari\norder_changed True\n"
              "renames [{'from': '', 'to': 'https://untitled.example/'}, {'from': 'Weather', 'to': 'Weather 2'}]\n"
              "would_write True\nbackup (True, False)\nheld_by None\nTrue\n");

    // Without a backup, and while Safari's lock says it is writing: no write now, and who holds it.
    fs::create_directory(box / "lock");
    out = report({"sort", "-n", "--json", "--no-backup", box.file.string()});
    expectIn(out,
             {"order_changed True\n", "would_write False\n", "backup None\n", "held_by ('Safari', 'writing', True)\n"});
    fs::remove(box / "lock");

    ASSERT_EQ(box.cli({"sort", box.file.string()}).exitCode, 0);
    out = report({"sort", "--json", "--dry-run", box.file.string()});
    expectIn(out, {"folders_reordered 0\n", "order_changed False\n", "would_write False\n", "renames []\n",
                   "backup (True, True)\n"});

    const auto r = box.cli({"sort", "--json", box.file.string()});
    EXPECT_EQ(r.exitCode, 64);
    EXPECT_NE(r.err.find("--json goes with --dry-run"), std::string::npos) << r.err;
}

TEST(CliSort, FailuresExitWithTheJobsCodeAndLeaveTheFileAsItWas) {
    Sandbox box;
    using namespace test;
    const std::string noMenu = toXml(bookmarksRoot(
        {folder("BookmarksBar", {bookmark("b", "https://b.example/"), bookmark("a", "https://a.example/")})}));
    const std::string newer = toXml(
        D({{"WebBookmarkType", S("WebBookmarkTypeList")}, {"WebBookmarkFileVersion", I(2)}, {"Children", A({})}}));
    struct Case {
        std::string name, contents;
        std::vector<std::string> options;
        int exitCode;
        std::string mention;
    } cases[] = {
        {"missing.plist",
         "",
         {},
         1,
         "The bookmarks file \u201C" + (box / "missing.plist").string() + "\u201D could not be located."},
        {"missing.plist", "", {"--dry-run"}, 1, "missing.plist\u201D could not be located."},
        {"array.plist", "(a, b)", {}, 3, "array.plist\u201D is not a bookmarks file."},
        {"newer.plist", newer, {"-n"}, 4, "newer.plist\u201D is a bookmarks file, but the version is too advanced."},
        {"garbage.plist",
         "<plist><dict><key>a</key></dict></plist>",
         {},
         5,
         "could not be read. Please verify that you have read and write access to the file.\norvane-cli: " +
             (box / "garbage.plist").string() + ": not a valid XML property list: line 1"},
        {"nomenu.plist",
         noMenu,
         {},
         70,
         "orvane-cli: The bookmarks file has no Bookmarks Bar or Bookmarks Menu; it was left unchanged.\n"},
        {"nomenu.plist", noMenu, {"--dry-run"}, 70, "has no Bookmarks Bar or Bookmarks Menu"},
        {"backup.plist",
         box.original,
         {"--backup", (box / "backup.plist" / "under-a-file.plist").string()},
         7,
         "A backup for the bookmarks file \u201C" + (box / "backup.plist").string() + "\u201D could not be created."},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name + (c.options.empty() ? "" : " " + c.options[0]));
        const fs::path file = box / c.name;
        if (c.exitCode != 1) writeFile(file, c.contents);
        std::vector<std::string> args{"sort"};
        args.insert(args.end(), c.options.begin(), c.options.end());
        args.push_back(file.string());
        const auto r = box.cli(args);
        EXPECT_EQ(r.exitCode, c.exitCode) << r.err;
        EXPECT_EQ(r.out, "");
        EXPECT_NE(r.err.find(c.mention), std::string::npos) << r.err;
        if (c.exitCode != 1) {
            EXPECT_EQ(test::readText(file), c.contents);
        }
        EXPECT_FALSE(fs::exists(box.initialBackup));
    }

    // Safari's lock beside the file: the job waits its ten passes (about 3 s), then gives up.
    fs::create_directories(box / "lock");
    const auto r = box.cli({"sort", box.file.string()});
    EXPECT_EQ(r.exitCode, 8);
    EXPECT_EQ(r.err,
              "orvane-cli: Safari is currently using the bookmarks file, please wait a while before sorting.\n"
              "orvane-cli: Safari's \u201Clock\u201D item is at \u201C" +
                  (box / "lock").string() + "\u201D\n");
    EXPECT_EQ(test::readText(box.file), box.original);
}

TEST(CliRestore, PutsTheBackupBackAndConsumesIt) {
    Sandbox box(/*xdgDataHome=*/false);
    ASSERT_EQ(box.cli({"sort", box.file.string()}).exitCode, 0);
    ASSERT_TRUE(fs::exists(box.initialBackup));

    auto r = box.cli({"restore", box.file.string()});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(r.out, "The initial backup of your bookmarks have now been restored.\n");
    EXPECT_EQ(test::readText(box.file), box.original);
    EXPECT_FALSE(fs::exists(box.initialBackup));

    r = box.cli({"restore", box.file.string()});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.err, "orvane-cli: restore: there is no backup at \u201C" + box.initialBackup.string() +
                         "\u201D; the first sort that changes the bookmarks file makes one\n");
    EXPECT_EQ(test::readText(box.file), box.original);

    test::writeFile(box / "other.plist", "backup");
    r = box.cli({"restore", "--backup", (box / "other.plist").string(), (box / "missing.plist").string()});
    EXPECT_EQ(r.exitCode, 2);
    EXPECT_EQ(r.err, "orvane-cli: restore: there is no bookmarks file at \u201C" + (box / "missing.plist").string() +
                         "\u201D to put the backup in place of\n");
    EXPECT_TRUE(fs::exists(box / "other.plist"));

    // A backup that is not a bookmarks file of a known version never replaces the bookmarks.
    const struct {
        std::string contents;
        int exitCode;
        std::string says;
    } backups[] = {
        {"backup", 3, "is not a bookmarks file; nothing was restored\n"},
        {test::toXml(
             test::D({{"WebBookmarkType", test::S("WebBookmarkTypeList")}, {"WebBookmarkFileVersion", test::I(2)}})),
         4, "is a bookmarks file of a newer version"},
        {"bplist00", 5,
         "could not be read; nothing was restored\norvane-cli: " + (box / "other.plist").string() +
             ": not a valid binary"},
    };
    for (const auto& b : backups) {
        test::writeFile(box / "other.plist", b.contents);
        r = box.cli({"restore", "--backup", (box / "other.plist").string(), box.file.string()});
        EXPECT_EQ(r.exitCode, b.exitCode);
        EXPECT_NE(
            r.err.find("orvane-cli: restore: the backup \u201C" + (box / "other.plist").string() + "\u201D " + b.says),
            std::string::npos)
            << r.err;
        EXPECT_EQ(test::readText(box.file), box.original);
        EXPECT_EQ(test::readText(box / "other.plist"), b.contents);
    }
}

// Files with both special folders are sorted into a file plistlib reads, and a second sort leaves
// them alone; files without a Bookmarks Menu are refused and left byte for byte as they were.
static void sortsEveryFileOrLeavesItUntouched(const std::vector<fs::path>& files) {
    if (test::python3().empty()) GTEST_SKIP() << "no python3 to run plistlib";
    Sandbox box;
    const std::string countLeaves = R"(import plistlib, sys
def leaves(node):
    if node.get("WebBookmarkType") == "WebBookmarkTypeLeaf": return 1
    return sum(leaves(child) for child in node.get("Children", []))
print(leaves(plistlib.load(open(sys.argv[1], "rb"))))
)";
    int sorted = 0, refused = 0;
    for (const fs::path& real : files) {
        const std::string name = real.filename().string();
        SCOPED_TRACE(name);
        const fs::path file = box / name, backup = box / (name + ".backup");
        fs::copy_file(real, file);
        const std::string original = test::readText(file);
        const plist::Value loaded = parse(original);
        const bool supported = !safari::childTitled(loaded, "BookmarksBar").isNull() &&
                               !safari::childTitled(loaded, "BookmarksMenu").isNull();
        auto r = box.cli({"sort", "--backup", backup.string(), file.string()});
        ++(supported ? sorted : refused);
        if (!supported) {
            EXPECT_EQ(r.exitCode, 70) << r.err;
            EXPECT_EQ(test::readText(file), original);
            EXPECT_FALSE(fs::exists(backup));
            continue;
        }
        ASSERT_EQ(r.exitCode, 0) << r.err;
        const auto py = test::run({test::python3(), "-c", countLeaves, file.string()});
        ASSERT_EQ(py.exitCode, 0) << py.err;
        EXPECT_EQ(py.out, std::to_string(test::bookmarksIn(parse(test::readText(file)))) + "\n");

        const auto sortedAt = fs::last_write_time(file);
        r = box.cli({"sort", "--backup", backup.string(), file.string()});
        EXPECT_EQ(r.exitCode, 0) << r.err;
        EXPECT_NE(r.out.find("Nothing changed"), std::string::npos) << r.out;
        EXPECT_EQ(fs::last_write_time(file), sortedAt);
    }
    EXPECT_GT(sorted, 0);
    EXPECT_GT(refused, 0);
}

TEST(CliSort, SortsEveryOwnSafariFileOrLeavesItUntouched) {
    sortsEveryFileOrLeavesItUntouched(test::ownSafariFiles().bookmarks);
}

TEST(CliSort, SortsEveryRealFileOrLeavesItUntouched) {
    ORVANE_SKIP_WITHOUT_REAL_FILES();
    sortsEveryFileOrLeavesItUntouched(test::realSafariFiles().bookmarks);
}

// The faults probing found: output that cannot be written, FIFOs, "--", a folder named as the
// backup, Safari's lock during a dry run.
TEST(CliFaults, NoFailureIsSilentAndNothingWaitsForever) {
    Sandbox box;
    const std::string file = box.file.string(), fifo = (box / "fifo.plist").string();
    for (const std::vector<std::string>& args : {std::vector<std::string>{"print", file},
                                                 {"sort", "--dry-run", file},
                                                 {"convert", "--format", "xml", file},
                                                 {"sort", "--help"}}) {
        SCOPED_TRACE(args[0] + " " + args[1]);
        const auto r = box.cliThrough({"/bin/sh", "-c", "exec \"$0\" \"$@\" >/dev/full"}, args);
        EXPECT_EQ(r.exitCode, 6);
        EXPECT_NE(r.err.find("orvane-cli: cannot write standard output: No space left on device\n"), std::string::npos)
            << r.err;
    }

    // Opening a FIFO waits for a writer: it is refused unopened, as input and as output alike.
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    for (const std::vector<std::string>& args : {std::vector<std::string>{"print", fifo},
                                                 {"sort", fifo},
                                                 {"sort", "-n", fifo},
                                                 {"convert", fifo},
                                                 {"convert", "-o", fifo, file}}) {
        SCOPED_TRACE(args[0] + " " + args[1]);
        const auto r = box.cliThrough({"/usr/bin/timeout", "60"}, args);  // a generous deadline, not a measure
        const bool output = args[1] == "-o";
        EXPECT_EQ(r.exitCode, output ? 6 : 5);
        EXPECT_NE(r.err.find((output ? "cannot replace " : "cannot read ") + fifo +
                             ": it is a FIFO (named pipe), not a regular file\n"),
                  std::string::npos)
            << r.err;
    }

    for (const std::string command : {"print", "convert"})
        EXPECT_EQ(box.cli({command, "--", file}).exitCode, 0) << command;

    fs::create_directory(box / "folder");
    auto r = box.cli({"sort", "--backup", (box / "folder").string(), file});
    EXPECT_EQ(r.exitCode, 64);
    EXPECT_NE(r.err.find("--backup names a folder"), std::string::npos) << r.err;
    EXPECT_EQ(test::readText(box.file), box.original);
    EXPECT_TRUE(fs::is_empty(box / "folder"));

    fs::create_directory(box / "lock");
    r = box.cli({"sort", "--dry-run", file});
    EXPECT_EQ(r.exitCode, 0);
    expectIn(
        r.out,
        {"file written: not now: Safari's \u201Clock\u201D item exists at \u201C" + (box / "lock").string() +
         "\u201D, so a sort would wait for it up to about 3 seconds and stop with status 8 if it stays; once it is gone: yes"});
}

// A file the user may not write is refused with the system's reason, by sort, its dry run and
// restore alike. Root may write anything, so as root the commands run as nobody.
TEST(CliFaults, FilesTheUserMayNotChangeAreRefusedWithTheReason) {
    Sandbox box;
    ASSERT_EQ(::chmod(box.dir.path().c_str(), 0777), 0);
    ASSERT_EQ(::chmod(box.file.c_str(), 0444), 0);
    auto cli = [&](const std::vector<std::string>& args) {
        if (::geteuid() != 0) return box.cli(args);
        return box.cliThrough({"/usr/bin/setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"}, args);
    };
    const std::string reason = "orvane-cli: cannot replace " + box.file.string() + ": Permission denied\n";
    auto r = cli({"sort", box.file.string()});
    EXPECT_EQ(r.exitCode, 6);
    EXPECT_EQ(r.err, "orvane-cli: The bookmarks file \u201C" + box.file.string() +
                         "\u201D could not be saved. Please verify that you have read and write access to the file.\n" +
                         reason);
    r = cli({"sort", "--dry-run", box.file.string()});
    expectIn(r.out, {"file written: no: cannot replace " + box.file.string() +
                     ": Permission denied (a sort would stop with status 6)"});
    r = cli({"restore", box.file.string()});  // the failed sort left its backup
    EXPECT_EQ(r.exitCode, 6);
    EXPECT_NE(r.err.find(reason), std::string::npos) << r.err;
    EXPECT_EQ(test::readText(box.file), box.original);
    EXPECT_TRUE(fs::exists(box.initialBackup));
}

// plistlib writes an object that a script put in two places once; Apple's reader gives each place
// a copy, and so do we (binary_test tries the bound that an expansion bomb passes).
TEST(CliFaults, AFolderThatPlistlibWroteForTwoPlacesIsReadTwice) {
    if (test::python3().empty()) GTEST_SKIP() << "no python3 to run plistlib";
    Sandbox box;
    const auto py = test::run({test::python3(), "-c", R"(import plistlib, sys
leaf = {"WebBookmarkType": "WebBookmarkTypeLeaf", "URLString": "https://b.example/", "URIDictionary": {"title": "b"}}
shared = {"WebBookmarkType": "WebBookmarkTypeList", "Title": "Shared", "Children": [leaf, dict(leaf, URLString="https://a.example/", URIDictionary={"title": "a"})]}
bar = {"WebBookmarkType": "WebBookmarkTypeList", "Title": "BookmarksBar", "Children": [shared]}
menu = {"WebBookmarkType": "WebBookmarkTypeList", "Title": "BookmarksMenu", "Children": [shared]}
plistlib.dump({"WebBookmarkType": "WebBookmarkTypeList", "Children": [bar, menu]}, open(sys.argv[1], "wb"), fmt=plistlib.FMT_BINARY)
)",
                               box.file.string()});
    ASSERT_EQ(py.exitCode, 0) << py.err;

    auto r = box.cli({"print", box.file.string()});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    expectIn(r.out, {"Bookmarks Bar/\n  Shared/\n    b  <https://b.example/>\n",
                     "Bookmarks Menu/\n  Shared/\n    b  <https://b.example/>\n"});
    r = box.cli({"sort", "--no-backup", box.file.string()});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    r = box.cli({"print", box.file.string()});
    expectIn(r.out, {"Bookmarks Bar/\n  Shared/\n    a  <https://a.example/>\n    b",
                     "Bookmarks Menu/\n  Shared/\n    a  <https://a.example/>\n    b"});
}

// A Chromium profile's file, told by its contents: printed by its roots, previewed, sorted with
// the profile's own backup, refused while its bookmarks are synced; the exit codes as for Safari.
TEST(CliChromium, PrintsPreviewsSortsAndRefusesSyncedBookmarks) {
    Sandbox box;
    const fs::path file = box / "chromium" / "Default" / "Bookmarks";
    fs::create_directories(file.parent_path());
    const std::string entries = R"([{"id": "4", "guid": "g4", "type": "url", "name": "b", "url": "https://b.example/"},
                                    {"id": "5", "guid": "g5", "type": "url", "name": "a", "url": "https://a.example/"}])";
    const auto profile = [&](const std::string& extra) {
        return R"({"checksum": "x", )" + extra + R"("roots": {
            "bookmark_bar": {"children": [], "id": "1", "guid": "r1", "name": "Bookmarks bar", "type": "folder"},
            "other": {"children": )" +
               entries + R"(, "id": "2", "guid": "r2", "name": "Other bookmarks", "type": "folder"},
            "synced": {"children": [], "id": "3", "guid": "r3", "name": "Mobile bookmarks", "type": "folder"}}, "version": 1})";
    };
    test::writeFile(file, profile(""));
    auto r = box.cli({"print", file.string()});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    expectIn(r.out, {": Chromium bookmarks file\n", "Bookmarks Bar/\nOther Bookmarks/\n  b  <https://b.example/>\n",
                     "Mobile Bookmarks/\n2 bookmarks in 0 folders\n"});
    r = box.cli({"sort", "--dry-run", file.string()});
    expectIn(r.out, {"folders reordered: 1\n", "file written: yes, after copying it to the initial backup"});
    r = box.cli({"sort", file.string()});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_LT(test::readText(file).find("\"a\""), test::readText(file).find("\"b\""));
    EXPECT_FALSE(fs::exists(box.initialBackup));  // the profile has a backup of its own
    EXPECT_EQ(fs::directory_iterator(box / "data" / "Orvane" / "Initial Copies")
                  ->path()
                  .filename()
                  .string()
                  .rfind("chromium-Default-", 0),
              0u);

    const std::string synced = profile(R"("sync_metadata": "CgQ=", )");
    test::writeFile(file, synced);
    r = box.cli({"sort", file.string()});
    EXPECT_EQ(r.exitCode, 71);
    EXPECT_NE(r.err.find("Chromium syncs these bookmarks"), std::string::npos) << r.err;
    EXPECT_EQ(test::readText(file), synced);
    EXPECT_EQ(box.cli({"sort", "--ignore-sync", file.string()}).exitCode, 0);
}

// A Firefox profile's places.sqlite, told by its contents: printed, previewed, sorted, restored,
// and left alone while Firefox runs with the profile.
TEST(CliFirefox, PrintsSortsRestoresAndWaitsForFirefoxToQuit) {
    Sandbox box;
    const fs::path file = box / "firefox" / "abcd.default-esr" / "places.sqlite";
    fs::create_directories(file.parent_path());
    {
        test::PlacesDb db(file);
        db.bookmark(test::PlacesDb::kMenu, "b", "https://b.example/");
        db.separator(test::PlacesDb::kMenu);
        db.bookmark(test::PlacesDb::kToolbar, "z", "https://z.example/");
        db.bookmark(test::PlacesDb::kToolbar, "y", "https://y.example/");
    }
    const auto menu = [&] { return test::PlacesDb(file, test::PlacesDb::Existing).titles(test::PlacesDb::kToolbar); };
    auto r = box.cli({"print", file.string()});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    expectIn(r.out, {": Firefox bookmarks file\nBookmarks Toolbar/\n  z  <https://z.example/>\n",
                     "Bookmarks Menu/\n  b  <https://b.example/>\n  ----\nOther Bookmarks/\nMobile Bookmarks/\n"});
    r = box.cli({"sort", "--dry-run", "--sort-bookmarks-bar", file.string()});
    expectIn(r.out, {"folders reordered: 1\n", "Initial Copies/firefox-abcd.default-esr-"});
    EXPECT_EQ(menu(), (std::vector<std::string>{"z", "y"}));

    test::FirefoxRunning firefox(file.parent_path());
    r = box.cli({"sort", "--sort-bookmarks-bar", file.string()});
    EXPECT_EQ(r.exitCode, 8);
    EXPECT_NE(r.err.find("Firefox is currently using the bookmarks file"), std::string::npos) << r.err;
    EXPECT_EQ(menu(), (std::vector<std::string>{"z", "y"}));
    firefox.kill();

    r = box.cli({"sort", "--sort-bookmarks-bar", file.string()});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(menu(), (std::vector<std::string>{"y", "z"}));
    r = box.cli({"restore", file.string()});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(menu(), (std::vector<std::string>{"z", "y"}));
}

// The profiles of a home folder, listed for scripts and taken by name instead of a path.
TEST(CliBrowsers, ListsProfilesAndFindsThemByName) {
    Sandbox box;
    const fs::path chrome = box / "config" / "google-chrome";
    fs::create_directories(chrome / "Profile 1");
    test::writeFile(chrome / "Local State", R"({"profile": {"info_cache": {"Profile 1": {"name": "Work"}}}})");
    test::writeFile(chrome / "Profile 1" / "Bookmarks", box.original);
    const auto cliHere = [&](std::vector<std::string> args) {
        std::vector<std::string> env = box.env;
        env.push_back("XDG_CONFIG_HOME=" + (box / "config").string());
        return ::cli(std::move(args), {}, env);
    };
    auto r = cliHere({"browsers"});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(r.out, "google-chrome\tWork\t" + (chrome / "Profile 1" / "Bookmarks").string() + "\n");
    r = cliHere({"print", "--browser", "google-chrome:Work"});
    EXPECT_EQ(r.exitCode, 0) << r.err;
    r = cliHere({"sort", "--dry-run", "--browser", "google-chrome:Home"});
    EXPECT_EQ(r.exitCode, 64);
    EXPECT_NE(r.err.find("no profile \"Home\" of google-chrome; it has: Work"), std::string::npos) << r.err;
    EXPECT_EQ(cliHere({"restore", "--browser", "firefox", box.file.string()}).exitCode, 64);
}
