// The atomic write under faults: files that are not regular files.
#include <gtest/gtest.h>

#include <csignal>
#include <set>
#include <sys/stat.h>
#include <unistd.h>

#include "atomic_file.h"
#include "test_support.h"

namespace orvane {
namespace {

namespace fs = std::filesystem;
using namespace test;

std::set<std::string> namesIn(const fs::path& folder) {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder)) names.insert(entry.path().filename().string());
    return names;
}

TEST(InterruptedWrite, FifosAndDevicesAreRefusedWithoutWaiting) {
    TempDir dir;
    const fs::path fifo = dir / "Bookmarks.plist";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    std::vector<std::uint8_t> bytes;
    // Opening a FIFO for reading waits for a writer; the reader must not even try. Should it
    // wait all the same, the alarm ends the test instead of leaving it hanging.
    ::alarm(60);
    IoError error = readWholeFile(fifo, bytes);
    ::alarm(0);
    EXPECT_EQ(error.message, "cannot read " + fifo.string() + ": it is a FIFO (named pipe), not a regular file");
    error = copyFileAtomically("/dev/zero", dir / "copy.plist");
    EXPECT_EQ(error.message, "cannot copy /dev/zero: it is a character device, not a regular file");
    // Nor is anything that is not a regular file replaced by one.
    error = writeFileAtomically(fifo, [](plist::Sink&) { return std::string(); });
    EXPECT_EQ(error.message, "cannot replace " + fifo.string() + ": it is a FIFO (named pipe), not a regular file");
    EXPECT_EQ(namesIn(dir.path()), std::set<std::string>{"Bookmarks.plist"});
}

}  // namespace
}  // namespace orvane
