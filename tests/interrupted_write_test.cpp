// The atomic write under faults: writers killed or asked to stop halfway, leftovers of writers
// that are gone, files the caller may not write, and files that are not regular files.
#include <gtest/gtest.h>

#include <csignal>
#include <cstring>
#include <grp.h>
#include <set>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "atomic_file.h"
#include "bookmark_trees.h"
#include "new_file.h"

namespace orvane {
namespace {

namespace fs = std::filesystem;
using namespace test;

std::set<std::string> namesIn(const fs::path& folder) {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder)) names.insert(entry.path().filename().string());
    return names;
}

// Passes writes on until `threshold` bytes have gone through, then tells the parent through `ready`
// and waits for the signal that ends the process.
struct StallingSink final : plist::Sink {
    StallingSink(plist::Sink& out, std::size_t threshold, int ready) : out(out), threshold(threshold), ready(ready) {}
    void write(const void* bytes, std::size_t n) override {
        out.write(bytes, n);
        if ((passed += n) < threshold) return;
        if (::write(ready, "!", 1) != 1) std::_Exit(3);
        for (;;) ::pause();
    }
    using Sink::write;
    plist::Sink& out;
    std::size_t threshold, passed = 0;
    int ready;
};

// Runs `job` in a child process, sends it `signal` once it says it is ready (through the pipe
// it is given), and answers how it ended: the signal that ended it, or 100 + its exit status.
template <typename Job>
int runAndSignal(Job job, int signal) {
    int ready[2];
    if (::pipe(ready) != 0) return -1;
    const pid_t child = ::fork();
    if (child == 0) {
        ::close(ready[0]);
        std::_Exit(job(ready[1]));
    }
    ::close(ready[1]);
    char byte;
    if (signal && ::read(ready[0], &byte, 1) == 1) ::kill(child, signal);
    ::close(ready[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFSIGNALED(status) ? WTERMSIG(status) : 100 + WEXITSTATUS(status);
}

TEST(InterruptedWrite, AWriterKilledOrStoppedHalfwayLeavesTheOldFileAndNothingElse) {
    TempDir dir;
    const fs::path target = dir / "Bookmarks.plist";
    writeFile(target, "old contents");
    // A generated file of some 700 KB, so that the writer is stopped long before its end.
    const plist::Value tree = bookmarksRoot({});
    for (int i = 0; i < 5000; ++i)
        tree.asDictionary()->find("Children")->asArray()->append(bookmark("Bookmark " + std::to_string(i), "https://" + std::to_string(i) + ".example/"));

    for (int signal : {SIGKILL, SIGTERM, SIGINT, SIGHUP}) {
        SCOPED_TRACE(strsignal(signal));
        const int ended = runAndSignal(
            [&](int ready) {
                const IoError error = writeFileAtomically(target, [&](plist::Sink& sink) {
                    StallingSink stalling(sink, 64 * 1024, ready);
                    return plist::writeBinary(tree, stalling);
                });
                return error.ok() ? 0 : 1;
            },
            signal);
        EXPECT_EQ(ended, signal);
        EXPECT_EQ(readText(target), "old contents");
        EXPECT_EQ(namesIn(dir.path()), std::set<std::string>{"Bookmarks.plist"});
    }
}

// Where the file system has no unnamed files the new file has a name for the whole write: a
// request to stop then waits until the file is in place, or gone.
TEST(InterruptedWrite, ANamedNewFileHoldsBackStopRequestsUntilItIsInPlaceOrGone) {
    TempDir dir;
    const fs::path target = dir / "Bookmarks.plist";
    for (bool complete : {true, false}) {
        writeFile(target, "old");
        const int ended = runAndSignal(
            [&](int) {
                NewFile file;
                if (!file.create(target, NewFile::Naming::NamedFromStart).ok() || !file.named()) return 1;
                ::raise(SIGTERM);
                if (::write(file.fd(), "new", 3) != 3) return 2;
                if (complete && !file.replaceTarget().ok()) return 3;
                return 0;  // the file goes with the scope, and the signal takes effect after it
            },
            0);
        EXPECT_EQ(ended, SIGTERM);
        EXPECT_EQ(readText(target), complete ? "new" : "old");
        EXPECT_EQ(namesIn(dir.path()), std::set<std::string>{"Bookmarks.plist"});
    }
}

TEST(InterruptedWrite, TheNextWriteRemovesLeftoversWhoseWriterIsGone) {
    TempDir dir;
    const pid_t gone = ::fork();
    if (gone == 0) std::_Exit(0);
    ::waitpid(gone, nullptr, 0);
    const std::string mine = ".Bookmarks.plist.orvane-" + std::to_string(::getpid()) + "-1";
    const std::string dead = ".Bookmarks.plist.orvane-" + std::to_string(gone) + "-2";
    const std::set<std::string> kept{"Bookmarks.plist", mine, ".Bookmarks.plist.orvane-77", ".Other.plist.orvane-" + std::to_string(gone) + "-3",
                                     ".Bookmarks.plist.orvane-" + std::to_string(gone) + "-x"};
    for (const std::string& name : kept) writeFile(dir / name, "x");
    writeFile(dir / dead, "left by a killed writer");
    writeFile(dir / ".Bookmarks.plist.orvane-12345", "left by an earlier version");
    fs::last_write_time(dir / ".Bookmarks.plist.orvane-12345", fs::file_time_type::clock::now() - std::chrono::hours(2));

    ASSERT_TRUE(writeFileAtomically(dir / "Bookmarks.plist", [](plist::Sink& sink) { sink.write(std::string_view("new")); return std::string(); }).ok());
    EXPECT_EQ(namesIn(dir.path()), kept);
}

// Runs `job` in a child process as the user nobody when the tests run as root (who may write any
// file), and answers its exit status.
template <typename Job>
int asOrdinaryUser(Job job) {
    const pid_t child = ::fork();
    if (child == 0) {
        if (::geteuid() == 0 && (::setgroups(0, nullptr) != 0 || ::setgid(65534) != 0 || ::setuid(65534) != 0)) std::_Exit(99);
        std::_Exit(job());
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(InterruptedWrite, FilesTheCallerMayNotWriteAreRefusedAndOthersKeepTheirOwner) {
    TempDir dir;
    ASSERT_EQ(::chmod(dir.path().c_str(), 0777), 0);  // a folder anyone may change, like /tmp without its sticky bit
    const fs::path readOnly = dir / "read-only.plist", others = dir / "others.plist";
    writeFile(readOnly, "read-only");
    writeFile(others, "someone else's");
    ::chmod(readOnly.c_str(), 0444);
    const bool root = ::geteuid() == 0;
    if (root) {
        ASSERT_EQ(::chown(readOnly.c_str(), 65534, 65534), 0);
    }
    auto produce = [](plist::Sink& sink) { sink.write(std::string_view("new")); return std::string(); };
    for (const fs::path& file : root ? std::vector<fs::path>{readOnly, others} : std::vector<fs::path>{readOnly}) {
        SCOPED_TRACE(file.filename().string());
        const std::string before = readText(file);
        EXPECT_EQ(asOrdinaryUser([&] {
                      const IoError error = writeFileAtomically(file, produce);
                      return error.errnum == EACCES && error.message == "cannot replace " + file.string() + ": Permission denied" ? 0 : 1;
                  }),
                  0);
        EXPECT_EQ(readText(file), before);
    }
    EXPECT_EQ(namesIn(dir.path()), (std::set<std::string>{"read-only.plist", "others.plist"}));

    // Root replacing nobody's file leaves it nobody's.
    if (!root) GTEST_SKIP() << "owners can only be tried as root";
    ::chmod(readOnly.c_str(), 0640);
    ASSERT_TRUE(writeFileAtomically(readOnly, produce).ok());
    struct stat st;
    ASSERT_EQ(::stat(readOnly.c_str(), &st), 0);
    EXPECT_EQ(st.st_uid, 65534u);
    EXPECT_EQ(st.st_gid, 65534u);
    EXPECT_EQ(st.st_mode & 07777, 0640u);
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
