#include <gtest/gtest.h>

#include <sys/stat.h>

#include "files/atomic_file.h"
#include "stores/safari/bookmarks_plist.h"
#include "support/log.h"
#include "test_support.h"

using namespace orvane;
using orvane::plist::Format;
using orvane::plist::Value;
namespace fs = std::filesystem;

namespace {

constexpr const char* kXmlBookmarks = R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict><key>Children</key><array/><key>WebBookmarkFileVersion</key><integer>1</integer>
<key>WebBookmarkType</key><string>WebBookmarkTypeList</string></dict></plist>
)";

struct CapturedLog {
    std::vector<std::string> lines;
    ScopedLogSink scope{[this](std::string_view line) { lines.emplace_back(line); }};
};

std::size_t entriesIn(const fs::path& folder) {
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
}

}  // namespace

TEST(BookmarksPlist, ReadsAnyFormatButWritesBinary) {
    test::TempDir dir;
    const fs::path xml = dir / "Bookmarks.plist";
    // With a byte-order mark, as some editors save it: still XML, not OpenStep text.
    test::writeFile(xml, std::string("\xEF\xBB\xBF") + kXmlBookmarks);
    const plist::ReadResult read = safari::readBookmarksPlist(test::readFile(xml));
    ASSERT_TRUE(read) << read.status.description();
    EXPECT_EQ(read.format, Format::Xml);

    ASSERT_TRUE(safari::writeBookmarksPlist(xml, read.value).ok());
    EXPECT_EQ(test::readText(xml).substr(0, 8), "bplist00");
    EXPECT_TRUE(safari::readBookmarksPlist(test::readFile(xml)).value == read.value);
}

TEST(BookmarksPlist, ParseFailuresAreLoggedWithTheReasonAndFormat) {
    CapturedLog log;
    plist::ReadResult read = safari::readBookmarksPlist({});
    EXPECT_FALSE(read);
    ASSERT_EQ(log.lines.size(), 1u);
    EXPECT_EQ(log.lines[0], "-[BookmarksDocument readFromData:ofType:error:] Error reading plist: " +
                                read.status.description() + ", format: 0");
    EXPECT_NE(read.status.description().find("empty"), std::string::npos);
    EXPECT_EQ(safari::readFailure("B.plist", read), "B.plist: not a valid property list: " + read.status.description());

    // A broken binary file names its format in the log line and the reason.
    read = safari::readBookmarksPlist(test::bytesOf("bplist00 and then nothing useful"));
    EXPECT_NE(log.lines.back().find(", format: 200"), std::string::npos);
    EXPECT_EQ(safari::readFailure("B.plist", read).rfind("B.plist: not a valid binary property list: byte ", 0), 0u);
}

TEST(BookmarksPlist, SerialisationFailuresAreLoggedAndLeaveTheFileAlone) {
    CapturedLog log;
    test::TempDir dir;
    const fs::path target = dir / "Bookmarks.plist";
    test::writeFile(target, "original");
    const IoError error =
        safari::writeBookmarksPlist(target, test::D({{"Broken", Value()}}));  // a null cannot be serialised
    EXPECT_FALSE(error.ok());
    ASSERT_FALSE(log.lines.empty());
    EXPECT_EQ(log.lines.back().rfind("-[BookmarksDocument dataOfType:error:] Error writing to file: ", 0), 0u);
    EXPECT_EQ(test::readText(target), "original");
    EXPECT_EQ(entriesIn(dir.path()), 1u) << "the temporary file was left behind";
}

TEST(AtomicWrite, KeepsPermissionsFollowsLinksAndNeverLeavesHalfAFile) {
    test::TempDir dir;
    const fs::path real = dir / "real.plist", link = dir / "Bookmarks.plist";
    test::writeFile(real, "old contents");
    ASSERT_EQ(::chmod(real.c_str(), 0640), 0);
    fs::create_symlink("real.plist", link);

    auto produce = [](std::string text) {
        return [text](plist::Sink& sink) {
            sink.write(text);
            return std::string();
        };
    };
    ASSERT_TRUE(writeFileAtomically(link, produce("new contents")).ok());
    EXPECT_TRUE(fs::is_symlink(link));
    EXPECT_EQ(test::readText(real), "new contents");
    EXPECT_EQ(fs::status(real).permissions() & fs::perms::mask, fs::perms(0640));
    EXPECT_EQ(entriesIn(dir.path()), 2u);

    // A producer that fails midway: the old file stays whole and no temporary file remains.
    const IoError failed = writeFileAtomically(link, [](plist::Sink& sink) {
        sink.write(std::string_view("partial"));
        return std::string("gave up");
    });
    EXPECT_FALSE(failed.ok());
    EXPECT_EQ(failed.message, "gave up");
    EXPECT_EQ(test::readText(real), "new contents");
    EXPECT_EQ(entriesIn(dir.path()), 2u);

    // Targets that cannot be replaced report the path and the reason.
    fs::create_directory(dir / "folder");
    IoError overFolder = writeFileAtomically(dir / "folder", produce("x"));
    EXPECT_NE(overFolder.errnum, 0);
    EXPECT_NE(overFolder.message.find("folder"), std::string::npos);
    EXPECT_FALSE(writeFileAtomically(dir / "no" / "such" / "place.plist", produce("x")).ok());
    EXPECT_EQ(entriesIn(dir.path()), 3u);
}
