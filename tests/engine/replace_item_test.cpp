// Replacing one file by another: both strategies on real files, and the recovery of the atomic
// strategy through operations that fail on purpose.
#include <gtest/gtest.h>

#include "files/replace_item.h"
#include "support/log.h"
#include "test_support.h"

namespace orvane {
namespace {

namespace fs = std::filesystem;
using namespace test;

// The system's operations, but without an atomic replace: the exchange strategy.
struct ExchangeOnly : ReplaceOperations {
    bool hasAtomicReplace() const override { return false; }
};

TEST(ReplaceItem, BothStrategiesPutTheReplacementInPlaceAndUseItUp) {
    ReplaceOperations atomic;
    ExchangeOnly exchange;
    for (ReplaceOperations* operations : std::initializer_list<ReplaceOperations*>{&atomic, &exchange}) {
        TempDir dir;
        const fs::path first = dir / "Bookmarks \u00E9t\u00E9 %20.plist", second = dir / "Initial Copy.plist";
        writeFile(first, "old");
        writeFile(second, "new");
        EXPECT_TRUE(replaceItemAtPath(first, second, *operations));
        EXPECT_EQ(readText(first), "new");
        EXPECT_FALSE(fs::exists(second));

        // No replacement: nothing happens to the first file.
        EXPECT_FALSE(replaceItemAtPath(first, dir / "missing", *operations));
        EXPECT_EQ(readText(first), "new");
    }
}

// Fails the replace after "moving the old file aside", as some platforms do.
struct FailingOperations : ReplaceOperations {
    fs::path aside;
    bool moveBackFails = false, removeFails = false;
    std::optional<ReplaceFailure> replaceItem(const fs::path& item, const fs::path&) override {
        fs::rename(item, aside);
        return ReplaceFailure{"disk on fire", aside};
    }
    std::string moveItem(const fs::path& from, const fs::path& to) override {
        return moveBackFails ? "permission denied" : ReplaceOperations::moveItem(from, to);
    }
    bool removeItem(const fs::path& path) override { return !removeFails && ReplaceOperations::removeItem(path); }
};

TEST(ReplaceItem, AFailedReplaceBringsTheOldFileBackOrSaysWhereItIs) {
    TempDir dir;
    const fs::path first = dir / "Bookmarks.plist", second = dir / "backup.plist";
    std::vector<std::string> lines;
    ScopedLogSink sink([&](std::string_view line) { lines.emplace_back(line); });

    FailingOperations operations;
    operations.aside = dir / "aside";
    writeFile(first, "old");
    writeFile(second, "new");
    EXPECT_FALSE(replaceItemAtPath(first, second, operations));
    EXPECT_EQ(readText(first), "old");
    EXPECT_TRUE(lines.empty());

    operations.moveBackFails = true;
    EXPECT_FALSE(replaceItemAtPath(first, second, operations));
    EXPECT_FALSE(fs::exists(first));
    EXPECT_EQ(readText(operations.aside), "old");
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(
        lines[0],
        "-[NSFileManager(ReplaceItemWithItem) replaceItemAtPath:withItemAtPath:] Error while trying to restore the original "
        "file (currently at \u201C" +
            operations.aside.string() + "\u201D) reason: permission denied");

    // Exchange done, deletion failed: the replacement stands, the old contents linger, false.
    struct : ExchangeOnly {
        bool removeItem(const fs::path&) override { return false; }
    } stuck;
    writeFile(first, "old");
    EXPECT_FALSE(replaceItemAtPath(first, second, stuck));
    EXPECT_EQ(readText(first), "new");
    EXPECT_EQ(readText(second), "old");
}

}  // namespace
}  // namespace orvane
