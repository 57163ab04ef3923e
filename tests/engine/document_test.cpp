#include <gtest/gtest.h>

#include <sys/stat.h>

#include "atomic_file.h"
#include "bookmarks_document.h"
#include "log.h"
#include "orvane.h"
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

TEST(BookmarksDocument, ReadsAnyFormatButWritesBinaryWhenNewlyMade) {
    test::TempDir dir;
    const fs::path xml = dir / "Bookmarks.plist";
    // With a byte-order mark, as some editors save it: still XML, not OpenStep text.
    test::writeFile(xml, std::string("\xEF\xBB\xBF") + kXmlBookmarks);

    BookmarksDocument reader;
    EXPECT_EQ(reader.propertyListFormat(), Format::Binary);
    DocumentError error;
    ASSERT_TRUE(reader.readFromURL(xml, "", &error)) << error.localizedDescription;
    EXPECT_EQ(reader.propertyListFormat(), Format::Xml);

    // The writer is a new document: the format read is not carried over.
    BookmarksDocument writer;
    writer.setBookmarksDictionary(reader.bookmarksDictionary());
    ASSERT_TRUE(writer.writeToURL(xml, "plist", &error)) << error.localizedDescription;
    EXPECT_EQ(test::readText(xml).substr(0, 8), "bplist00");
    EXPECT_TRUE(Orvane().bookmarksDictionaryWithFilename(xml) == reader.bookmarksDictionary());
}

TEST(BookmarksDocument, ParseFailuresAreLoggedAndReportedAsMinus19) {
    CapturedLog log;
    BookmarksDocument document;
    DocumentError error;
    EXPECT_FALSE(document.readFromData({}, "", &error));
    EXPECT_EQ(error.domain, kOSStatusErrorDomain);
    EXPECT_EQ(error.code, -19);
    EXPECT_NE(error.localizedDescription.find("empty"), std::string::npos);
    ASSERT_EQ(log.lines.size(), 1u);
    EXPECT_EQ(log.lines[0], "-[BookmarksDocument readFromData:ofType:error:] Error reading plist: " +
                                error.localizedDescription + ", format: 0");
    EXPECT_TRUE(document.bookmarksDictionary().isNull());

    // A broken binary file names its format in the log line.
    EXPECT_FALSE(document.readFromData(test::bytesOf("bplist00 and then nothing useful"), "", &error));
    EXPECT_NE(log.lines.back().find(", format: 200"), std::string::npos);

    // A missing file fails without a parser message, and the loader answers nothing.
    test::TempDir dir;
    EXPECT_FALSE(document.readFromURL(dir / "missing.plist", "", &error));
    EXPECT_EQ(error.domain, kPOSIXErrorDomain);
    EXPECT_TRUE(Orvane().bookmarksDictionaryWithFilename(dir / "missing.plist").isNull());
}

TEST(BookmarksDocument, SerialisationFailuresAreLoggedAndLeaveTheFileAlone) {
    CapturedLog log;
    test::TempDir dir;
    const fs::path target = dir / "Bookmarks.plist";
    test::writeFile(target, "original");

    BookmarksDocument document;
    document.setBookmarksDictionary(test::D({{"Broken", Value()}}));  // a null cannot be serialised
    DocumentError error;
    EXPECT_FALSE(document.dataOfType("plist", &error).has_value());
    EXPECT_FALSE(error.localizedDescription.empty());
    ASSERT_FALSE(log.lines.empty());
    EXPECT_EQ(log.lines.back().rfind("-[BookmarksDocument dataOfType:error:] Error writing to file: ", 0), 0u);

    EXPECT_FALSE(document.writeToURL(target, "plist", &error));
    EXPECT_EQ(error.domain, kCocoaErrorDomain);
    EXPECT_EQ(test::readText(target), "original");
    EXPECT_EQ(entriesIn(dir.path()), 1u) << "the temporary file was left behind";

    document.setPropertyListFormat(Format::OpenStep);
    document.setBookmarksDictionary(Value::dictionary());
    EXPECT_FALSE(document.dataOfType("plist", &error).has_value());
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
