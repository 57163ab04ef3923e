#include "files/new_file.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <charconv>
#include <climits>
#include <ctime>
#include <random>
#include <string_view>

#include "files/atomic_file.h"

namespace orvane {
namespace fs = std::filesystem;

namespace {

constexpr std::string_view kMarker = ".orvane-";
// Earlier versions named the file for the whole write and put no process in the name; no write
// takes this long, so such a file is a leftover.
constexpr std::time_t kOldNamesStaleAfter = 60 * 60;

// An unnamed file is linked into place through its entry in /proc, which needs no privilege.
bool canNameUnnamedFiles() { return ::access("/proc/self/fd", X_OK) == 0; }

unsigned long randomNumber() {
    std::random_device random;
    return random() % 1000000000;
}

// The writer's process id in the tail "PID-NUMBER" of a temporary name, 0 for the tail "NUMBER"
// of earlier versions, -1 for any other tail.
long writerIn(std::string_view tail) {
    auto number = [](std::string_view s, long& value) {
        if (s.empty() || s.size() > 10 || !std::all_of(s.begin(), s.end(), [](char c) { return c >= '0' && c <= '9'; }))
            return false;
        std::from_chars(s.data(), s.data() + s.size(), value);
        return true;
    };
    long pid = 0, ignored = 0;
    const std::size_t dash = tail.find('-');
    if (dash == std::string_view::npos) return number(tail, ignored) ? 0 : -1;
    if (!number(tail.substr(0, dash), pid) || !number(tail.substr(dash + 1), ignored) || pid <= 0 || pid > INT_MAX)
        return -1;
    return pid;
}

}  // namespace

DeferredTermination::DeferredTermination() {
    sigset_t stop;
    sigemptyset(&stop);
    for (int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM}) sigaddset(&stop, signal);
    ::pthread_sigmask(SIG_BLOCK, &stop, &previous_);
}

DeferredTermination::~DeferredTermination() { ::pthread_sigmask(SIG_SETMASK, &previous_, nullptr); }

std::string temporaryName(const std::string& targetName, unsigned long number) {
    std::string name = ".";
    name.append(targetName)
        .append(kMarker)
        .append(std::to_string(::getpid()))
        .append("-")
        .append(std::to_string(number));
    return name;
}

void removeStaleTemporaries(const fs::path& folder, const std::string& targetName) {
    const std::string prefix = "." + targetName + std::string(kMarker);
    DIR* dir = ::opendir(folder.c_str());
    if (!dir) return;
    const int dirFd = ::dirfd(dir);
    const std::time_t now = std::time(nullptr);
    while (const dirent* entry = ::readdir(dir)) {
        const std::string_view name = entry->d_name;
        if (!name.starts_with(prefix)) continue;
        const long writer = writerIn(name.substr(prefix.size()));
        struct stat st;
        if (writer < 0 || ::fstatat(dirFd, entry->d_name, &st, AT_SYMLINK_NOFOLLOW) != 0 || !S_ISREG(st.st_mode))
            continue;
        // A process that runs but is not ours to signal (EPERM) still counts as the writer.
        const bool gone = writer > 0 ? ::kill(static_cast<pid_t>(writer), 0) != 0 && errno == ESRCH
                                     : now - st.st_mtime > kOldNamesStaleAfter;
        if (gone) ::unlinkat(dirFd, entry->d_name, 0);
    }
    ::closedir(dir);
}

NewFile::~NewFile() {
    if (fd_ >= 0) ::close(fd_);
    if (named()) ::unlink(name_.c_str());
    deferred_.reset();  // only once no temporary name is left
}

IoError NewFile::create(const fs::path& target, Naming naming) {
    target_ = target;
    folder_ = target.has_parent_path() ? target.parent_path() : fs::path(".");
    if (naming == Naming::UnnamedUntilComplete && canNameUnnamedFiles()) {
        fd_ = ::open(folder_.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0666);
        if (fd_ >= 0) return {};
        // This is how a file system (or a kernel) without unnamed files answers; other errors are
        // the folder's own and would stop a named file too.
        if (errno != EOPNOTSUPP && errno != EISDIR && errno != EINVAL)
            return errnoError("cannot create a new file beside", target, errno);
    }
    deferred_.emplace();
    int error = EEXIST;
    for (int attempt = 0; attempt < 16 && fd_ < 0 && error == EEXIST; ++attempt) {
        fs::path name = folder_ / temporaryName(target.filename().string(), randomNumber());
        fd_ = ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd_ >= 0)
            name_ = std::move(name);
        else
            error = errno;
    }
    if (fd_ >= 0) return {};
    deferred_.reset();
    return errnoError("cannot create a new file beside", target, error);
}

IoError NewFile::nameAndClose() {
    if (!named()) {
        // From here until the rename the file has a name that a kill would leave behind.
        deferred_.emplace();
        const std::string self = "/proc/self/fd/" + std::to_string(fd_);
        int error = EEXIST;
        for (int attempt = 0; attempt < 16 && !named() && error == EEXIST; ++attempt) {
            fs::path name = folder_ / temporaryName(target_.filename().string(), randomNumber());
            if (::linkat(AT_FDCWD, self.c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) == 0)
                name_ = std::move(name);
            else
                error = errno;
        }
        if (!named()) return errnoError("cannot name the new file beside", target_, error);
    }
    const int closed = ::close(fd_);
    fd_ = -1;
    if (closed != 0) return errnoError("cannot close the new file beside", target_, errno);
    return {};
}

IoError NewFile::replaceTarget() {
    if (IoError error = nameAndClose(); !error.ok()) return error;
    if (::rename(name_.c_str(), target_.c_str()) != 0) return errnoError("cannot replace", target_, errno);
    name_.clear();
    deferred_.reset();
    return {};
}

namespace {

IoError targetChanged(const fs::path& target) {
    IoError changed{ESTALE, "another program saved " + target.string() + " while it was being sorted"};
    changed.targetChanged = true;
    return changed;
}

bool exchange(const fs::path& a, const fs::path& b) {
    return ::renameat2(AT_FDCWD, a.c_str(), AT_FDCWD, b.c_str(), RENAME_EXCHANGE) == 0;
}

}  // namespace

void NewFile::putBackAfterExchange(const FileIdentity& ours) {
    // Our temporary name holds the other program's save, the target ours. A save newer still may
    // land at the target meanwhile, by a rename or by rewriting our file in place: it stays
    // there, and the one it superseded goes.
    const std::optional<FileIdentity> atTarget = identityOfEntry(target_);
    if (atTarget && atTarget->sameContents(ours)) {
        if (!exchange(name_, target_)) {
            if (::rename(name_.c_str(), target_.c_str()) == 0) name_.clear();
        } else if (const std::optional<FileIdentity> atName = identityOfEntry(name_);
                   atName && atName->inode != ours.inode) {
            // The newer save reached the target between the look and the exchange, and the
            // exchange moved it here; the older one is at the target now.
            if (::rename(name_.c_str(), target_.c_str()) == 0) name_.clear();
        }
    }
    // What is left at our name is our own file, or a save that a newer one superseded.
    if (!name_.empty()) ::unlink(name_.c_str());
    name_.clear();
}

IoError NewFile::replaceTargetIfStill(const FileIdentity& expected, const ReplaceHooks& hooks) {
    struct stat st;
    if (::fstat(fd_, &st) != 0) return errnoError("cannot read the new file beside", target_, errno);
    const FileIdentity ours = identityOf(st);
    if (IoError error = nameAndClose(); !error.ok()) return error;
    if (identityOf(target_) != expected) return targetChanged(target_);
    if (hooks.beforeSwap) hooks.beforeSwap();
    if (!exchange(name_, target_)) {
        const int error = errno;
        if (error != EINVAL && error != ENOSYS && error != EOPNOTSUPP)
            return errnoError("cannot replace", target_, error);
        // No exchange on this file system: the look just before the rename is the last word.
        if (identityOf(target_) != expected) return targetChanged(target_);
        if (::rename(name_.c_str(), target_.c_str()) != 0) return errnoError("cannot replace", target_, errno);
        name_.clear();
        deferred_.reset();
        return {};
    }
    if (hooks.afterSwap) hooks.afterSwap();
    // The exchange moved the change time of the displaced file: compare the rest.
    const std::optional<FileIdentity> displaced = identityOfEntry(name_);
    if (!displaced || !displaced->sameContents(expected)) {
        putBackAfterExchange(ours);
        deferred_.reset();
        return targetChanged(target_);
    }
    ::unlink(name_.c_str());
    name_.clear();
    deferred_.reset();
    return {};
}

}  // namespace orvane
