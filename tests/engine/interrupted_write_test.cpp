// The atomic write under faults: writers killed or asked to stop halfway, leftovers of writers
// that are gone, and someone else's file replaced.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "bookmark_trees.h"
#include "files/atomic_file.h"
#include "files/new_file.h"

namespace orvane {
namespace {

namespace fs = std::filesystem;
using namespace test;

std::set<std::string> namesIn(const fs::path& folder) {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder)) names.insert(entry.path().filename().string());
    return names;
}

// Passes writes on until 64 KiB have gone through, then tells the parent through `ready` and
// waits for the signal that ends the process.
struct StallingSink final : plist::Sink {
    StallingSink(plist::Sink& out, int ready) : out(out), ready(ready) {}
    void write(const void* bytes, std::size_t n) override {
        out.write(bytes, n);
        if ((passed += n) < 64 * 1024) return;
        if (::write(ready, "!", 1) != 1) std::_Exit(3);
        for (;;) ::pause();
    }
    using Sink::write;
    std::uint64_t position() const override { return out.position(); }
    void overwrite(std::uint64_t offset, std::string_view bytes) override { out.overwrite(offset, bytes); }
    plist::Sink& out;
    int ready;
    std::size_t passed = 0;
};

// Runs `job` in a child process, sends it `signal` (if any) once it writes to the pipe it is
// given, and answers how it ended: the signal that ended it, or 100 + its exit status.
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
    if (char byte; signal && ::read(ready[0], &byte, 1) == 1) ::kill(child, signal);
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
        tree.asDictionary()
            ->find("Children")
            ->asArray()
            ->append(bookmark("Bookmark " + std::to_string(i), "https://" + std::to_string(i) + ".example/"));

    for (int signal : {SIGKILL, SIGTERM, SIGINT, SIGHUP}) {
        SCOPED_TRACE(strsignal(signal));
        auto write = [&](int ready) {
            return writeFileAtomically(target,
                                       [&](plist::Sink& sink) {
                                           StallingSink stalling(sink, ready);
                                           return plist::writeBinary(tree, stalling);
                                       })
                .ok();
        };
        EXPECT_EQ(runAndSignal(write, signal), signal);
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
        auto write = [&](int) {
            NewFile file;
            if (!file.create(target, NewFile::Naming::NamedFromStart).ok() || !file.named()) return 1;
            ::raise(SIGTERM);
            if (::write(file.fd(), "new", 3) != 3 || (complete && !file.replaceTarget().ok())) return 2;
            return 0;  // the file goes with the scope, and the signal takes effect after it
        };
        EXPECT_EQ(runAndSignal(write, 0), SIGTERM);
        EXPECT_EQ(readText(target), complete ? "new" : "old");
        EXPECT_EQ(namesIn(dir.path()), std::set<std::string>{"Bookmarks.plist"});
    }
}

TEST(InterruptedWrite, TheNextWriteRemovesLeftoversWhoseWriterIsGone) {
    TempDir dir;
    const pid_t gone = ::fork();
    if (gone == 0) std::_Exit(0);
    ::waitpid(gone, nullptr, 0);
    const std::string prefix = ".Bookmarks.plist.orvane-", dead = std::to_string(gone);
    const std::set<std::string> kept{"Bookmarks.plist", prefix + std::to_string(::getpid()) + "-1", prefix + "77",
                                     ".Other.plist.orvane-" + dead + "-3", prefix + dead + "-x"};
    for (const std::string& name : kept) writeFile(dir / name, "x");
    writeFile(dir / (prefix + dead + "-2"), "left by a killed writer");
    writeFile(dir / (prefix + "12345"), "left by an earlier version");
    fs::last_write_time(dir / (prefix + "12345"), fs::file_time_type::clock::now() - std::chrono::hours(2));

    ASSERT_TRUE(writeFileAtomically(dir / "Bookmarks.plist", [](plist::Sink& sink) {
                    sink.write(std::string_view("new"));
                    return std::string();
                }).ok());
    EXPECT_EQ(namesIn(dir.path()), kept);
}

// A crash just after the rename must find the new contents at the path, not an empty file: the
// new file, complete and with its permissions, is flushed to disk before it takes the target's
// place, in either kind of replacement. A flush that fails, as on a disk error, leaves the target
// as it was.
TEST(InterruptedWrite, TheNewFileIsOnDiskBeforeItTakesTheTargetsPlace) {
    TempDir dir;
    const fs::path target = dir / "Bookmarks.plist";
    const std::vector<std::uint8_t> contents(100 * 1024, 'n');
    for (const bool conditional : {false, true}) {
        SCOPED_TRACE(conditional ? "only while unchanged" : "unconditional");
        writeFile(target, "old contents");
        ASSERT_EQ(::chmod(target.c_str(), 0604), 0);
        std::vector<std::string> events;
        struct stat flushed {};
        WriteOptions options;
        if (conditional) {
            options.onlyIfStill = identityOf(target);
            options.hooks.beforeSwap = [&] { events.push_back("swap"); };
        }
        options.flush = [&](int fd) {
            events.push_back("flush");
            EXPECT_EQ(::fstat(fd, &flushed), 0);
            EXPECT_EQ(readText(target), "old contents");
            return ::fsync(fd);
        };
        ASSERT_TRUE(writeBytesAtomically(target, contents, options).ok());
        const std::vector<std::string> order =
            conditional ? std::vector<std::string>{"flush", "swap"} : std::vector<std::string>{"flush"};
        EXPECT_EQ(events, order);
        struct stat now;
        ASSERT_EQ(::stat(target.c_str(), &now), 0);
        EXPECT_EQ(flushed.st_ino, now.st_ino);  // the file now at the path, not another one
        EXPECT_EQ(static_cast<std::size_t>(flushed.st_size), contents.size());
        EXPECT_EQ(flushed.st_mode & 07777, 0604u);
    }

    writeFile(target, "old contents");
    WriteOptions failing;
    failing.flush = [](int) {
        errno = EIO;
        return -1;
    };
    const IoError error = writeBytesAtomically(target, contents, failing);
    EXPECT_EQ(error.errnum, EIO);
    EXPECT_NE(error.message.find("cannot flush"), std::string::npos);
    EXPECT_EQ(readText(target), "old contents");
    EXPECT_EQ(namesIn(dir.path()), std::set<std::string>{"Bookmarks.plist"});
}

// Root replacing another user's file leaves it that user's. (Refusing a file the caller may not
// write is tried through orvane-cli.)
TEST(InterruptedWrite, AReplacedFileKeepsItsOwnerAndGroup) {
    if (::geteuid() != 0) GTEST_SKIP() << "only root may give a file to another user";
    TempDir dir;
    const fs::path file = dir / "Bookmarks.plist";
    writeFile(file, "old");
    ASSERT_EQ(::chown(file.c_str(), 65534, 65534), 0);
    ASSERT_EQ(::chmod(file.c_str(), 0640), 0);
    ASSERT_TRUE(writeFileAtomically(file, [](plist::Sink& sink) {
                    sink.write(std::string_view("new"));
                    return std::string();
                }).ok());
    struct stat st;
    ASSERT_EQ(::stat(file.c_str(), &st), 0);
    EXPECT_EQ(std::make_tuple(st.st_uid, st.st_gid, st.st_mode & 07777), std::make_tuple(65534u, 65534u, 0640u));
}

}  // namespace
}  // namespace orvane
