#include "profile_release.h"

#include <QSocketNotifier>
#include <QSysInfo>
#include <QTimer>

#include <sys/inotify.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <cerrno>
#include <climits>
#include <filesystem>
#include <optional>

#include "stores/bookmark_store.h"

namespace orvane {
namespace fs = std::filesystem;

namespace {

// The lock's folder events that change what its name holds.
constexpr std::uint32_t kLockEvents =
    IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;

class Descriptor {
public:
    explicit Descriptor(int fd = -1) : fd_(fd) {}
    ~Descriptor() {
        if (fd_ >= 0) ::close(fd_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return fd_; }
    void reset(int fd) {
        if (fd_ >= 0) ::close(fd_);
        fd_ = fd;
    }

private:
    int fd_;
};

// The process a lock names: Chromium's "HOSTNAME-PID", Firefox's "ADDRESS:+PID". Nothing for a
// lock that is no link or names none.
std::optional<pid_t> processOfLock(const fs::path& lock) {
    char target[PATH_MAX];
    const ssize_t n = ::readlink(lock.c_str(), target, sizeof target);
    if (n <= 0) return std::nullopt;
    const std::string text(target, static_cast<std::size_t>(n));
    const std::size_t at = text.find_last_of("-+");
    if (at == std::string::npos || at + 1 == text.size()) return std::nullopt;
    // A number of another computer that shares the folder is no process here.
    if (text[at] == '-' && text.substr(0, at) != QSysInfo::machineHostName().toStdString()) return std::nullopt;
    long pid = 0;
    for (std::size_t i = at + 1; i < text.size(); ++i) {
        if (text[i] < '0' || text[i] > '9' || pid > INT_MAX / 10) return std::nullopt;
        pid = pid * 10 + (text[i] - '0');
    }
    return pid > 0 ? std::optional(static_cast<pid_t>(pid)) : std::nullopt;
}

std::optional<FileHolder> runningHolderOf(const QString& bookmarksFile) {
    const fs::path path = bookmarksFile.toStdString();
    std::error_code error;
    if (!fs::exists(path, error)) return std::nullopt;
    const FileHolder holder = openStore(path, path)->holder();
    if (holder.kind != FileHolder::Running) return std::nullopt;
    return holder;
}

}  // namespace

// The two descriptors the kernel wakes the wait through, and their notifiers.
struct ProfileRelease::Watch {
    Descriptor inotify{::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)};
    Descriptor process;  // a pidfd, readable once the process has ended
    std::string lockName;
    std::unique_ptr<QSocketNotifier> lockChanged, processEnded;

    // Reads what the kernel queued; true when the lock itself (or its whole folder) changed. The
    // browser's other files in the folder come and go all day and change nothing.
    bool lockEventsRead() {
        alignas(inotify_event) char buffer[16 * (sizeof(inotify_event) + NAME_MAX + 1)];
        bool relevant = false;
        for (;;) {
            const ssize_t n = ::read(inotify.get(), buffer, sizeof buffer);
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) return relevant;
            for (ssize_t offset = 0; offset < n;) {
                const auto* event = reinterpret_cast<const inotify_event*>(buffer + offset);
                offset += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
                relevant = relevant || (event->len > 0 && lockName == event->name) ||
                           (event->mask & (IN_DELETE_SELF | IN_MOVE_SELF | IN_IGNORED | IN_Q_OVERFLOW));
            }
        }
    }
};

ProfileRelease::ProfileRelease(QObject* parent) : QObject(parent) {}

ProfileRelease::~ProfileRelease() = default;

QString ProfileRelease::runningHolder(const QString& bookmarksFile) {
    const std::optional<FileHolder> holder = runningHolderOf(bookmarksFile);
    return holder ? QString::fromStdString(holder->who) : QString();
}

bool ProfileRelease::waitIfHeld(const QString& bookmarksFile) {
    cancel();
    file_ = bookmarksFile;
    const std::optional<FileHolder> holder = runningHolderOf(bookmarksFile);
    if (!holder) return false;
    holder_ = QString::fromStdString(holder->who);

    auto watch = std::make_unique<Watch>();
    if (watch->inotify.get() >= 0 && !holder->where.empty() &&
        ::inotify_add_watch(watch->inotify.get(), holder->where.parent_path().c_str(), kLockEvents) >= 0) {
        watch->lockName = holder->where.filename().string();
        watch->lockChanged = std::make_unique<QSocketNotifier>(watch->inotify.get(), QSocketNotifier::Read);
        connect(watch->lockChanged.get(), &QSocketNotifier::activated, this, [this] {
            if (watch_->lockEventsRead()) wake();
        });
    }
    // Without pidfds (before Linux 5.3) a killed browser is noticed at the lock folder's next change.
    if (const std::optional<pid_t> pid = processOfLock(holder->where)) {
        watch->process.reset(static_cast<int>(::syscall(SYS_pidfd_open, *pid, 0)));
        if (watch->process.get() >= 0) {
            watch->processEnded = std::make_unique<QSocketNotifier>(watch->process.get(), QSocketNotifier::Read);
            connect(watch->processEnded.get(), &QSocketNotifier::activated, this, &ProfileRelease::wake);
        }
    }
    watch_ = std::move(watch);
    // The browser may have quit while the watch was being set up, with nothing left to wake it.
    QTimer::singleShot(0, this, [this] {
        if (watch_ && !runningHolderOf(file_)) wake();
    });
    return true;
}

void ProfileRelease::cancel() { watch_.reset(); }

void ProfileRelease::wake() {
    if (!watch_) return;
    watch_.reset();
    // Held still (another copy of the browser took the profile, or another file of the folder
    // changed): wait on the new holder.
    if (waitIfHeld(file_)) return;
    emit released();
}

}  // namespace orvane
