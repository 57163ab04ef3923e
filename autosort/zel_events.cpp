#include "zel_events.h"

#include <QAbstractEventDispatcher>
#include <QFile>
#include <QSocketNotifier>
#include <QTimer>

#include <sys/inotify.h>
#include <unistd.h>
#include <cerrno>
#include <climits>
#include <cmath>
#include <filesystem>
#include <optional>
#include <utility>
#include <vector>

#include "files/atomic_file.h"

namespace orvane {
namespace fs = std::filesystem;

namespace {

// Browsers and our own engine save a file by writing a new one beside it and renaming that over
// it, so a watch on the file itself would stay on the replaced inode and hear nothing more. The
// watch is on the folder instead, filtered to the file's name, and these are the folder events
// that change what the name holds:
// - IN_CLOSE_WRITE: a writer that wrote in place is done. IN_MODIFY is left out: it comes with
//   every write(2), while the file is still half written, and the close follows anyway.
// - IN_MOVED_TO: a file was renamed to the name (the atomic replacement).
// - IN_CREATE: the name was created afresh.
// - IN_DELETE, IN_MOVED_FROM: the file went away; whoever listens should look again.
// IN_ATTRIB is left out: a change of mode, owner or times alone leaves the contents as they were.
constexpr std::uint32_t kFolderEvents = IN_CLOSE_WRITE | IN_MOVED_TO | IN_CREATE | IN_DELETE | IN_MOVED_FROM;

// Owns an inotify descriptor.
class InotifyDescriptor {
public:
    InotifyDescriptor() : fd_(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {}
    InotifyDescriptor(InotifyDescriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    ~InotifyDescriptor() {
        if (fd_ >= 0) ::close(fd_);
    }
    InotifyDescriptor& operator=(InotifyDescriptor&&) = delete;
    int get() const { return fd_; }

private:
    int fd_;
};

struct Event {
    std::uint32_t flags;
    std::uint64_t id;
};

// The folder to watch and the name to look for in it. A symbolic link is followed to the file it
// names, because that is where a save by rename happens (our engine writes through links too).
std::optional<std::pair<fs::path, QByteArray>> watchedFolderAndName(const QString& path) {
    if (path.isEmpty()) return std::nullopt;
    std::error_code error;
    fs::path file = fs::absolute(fs::path(QFile::encodeName(path).toStdString()), error).lexically_normal();
    if (error) return std::nullopt;
    if (!file.has_filename()) file = file.parent_path();  // "/a/b/" names "b"
    file = resolveLinks(file);
    if (!file.has_filename() || !file.has_parent_path()) return std::nullopt;  // "/" has no folder
    return std::pair{file.parent_path(), QByteArray::fromStdString(file.filename().string())};
}

int latencyMilliseconds(double seconds) {
    if (!(seconds > 0)) return 0;  // NaN included
    const double ms = seconds * 1000.0;
    return ms >= INT_MAX ? INT_MAX : static_cast<int>(std::lround(ms));
}

}  // namespace

// One running watch: the descriptor, its notifier and the latency timer. The notifier and the
// timer belong to the thread that created them, so events are read and delivered there. They are
// destroyed before the descriptor is closed.
struct ZELEvents::Watch {
    Watch(InotifyDescriptor descriptor, int wd, QByteArray name, int latency)
        : fd(std::move(descriptor)), wd(wd), name(std::move(name)), notifier(fd.get(), QSocketNotifier::Read) {
        timer.setSingleShot(true);
        timer.setInterval(latency);
    }
    InotifyDescriptor fd;
    int wd;
    QByteArray name;
    QSocketNotifier notifier;
    QTimer timer;
    std::vector<Event> batch;
};

ZELEvents::ZELEvents(QString path, ZELEventsDelegate* delegate) : path_(std::move(path)), delegate_(delegate) {}

ZELEvents::~ZELEvents() { stop(); }

bool ZELEvents::start() { return startWithLatency(1.0); }

bool ZELEvents::startWithLatency(double seconds) {
    stop();
    ++watchesStarted_;
    // Without an event loop on this thread nothing could ever be delivered.
    if (!QAbstractEventDispatcher::instance()) return false;
    const auto target = watchedFolderAndName(path_);
    if (!target) return false;
    InotifyDescriptor fd;
    if (fd.get() < 0) return false;
    const int wd = ::inotify_add_watch(fd.get(), target->first.c_str(), kFolderEvents | IN_ONLYDIR);
    if (wd < 0) return false;
    auto watch = std::make_unique<Watch>(std::move(fd), wd, target->second, latencyMilliseconds(seconds));
    // Both connections end with the objects they come from, so a stopped watch calls nothing.
    QObject::connect(&watch->notifier, &QSocketNotifier::activated, &watch->notifier, [this] { readEvents(true); });
    QObject::connect(&watch->timer, &QTimer::timeout, &watch->timer, [this] { deliverBatch(); });
    watch_ = std::move(watch);
    isPaused_ = false;
    return true;
}

void ZELEvents::stop() {
    if (!watch_) return;
    watch_.reset();
    isPaused_ = false;
}

void ZELEvents::pause() {
    if (isPaused_ || !watch_) return;
    // The kernel keeps queueing meanwhile; unPause reads that away unseen.
    watch_->notifier.setEnabled(false);
    watch_->timer.stop();
    watch_->batch.clear();
    isPaused_ = true;
}

void ZELEvents::unPause() {
    if (isPaused_ && watch_) {
        readEvents(false);
        watch_->notifier.setEnabled(true);
    }
    isPaused_ = false;
}

void ZELEvents::incomingEventWithFlags(std::uint32_t flags, std::uint64_t eventId) {
    if (delegate_) delegate_->incomingEvent(*this, flags, eventId);
}

// Reads everything the kernel has queued; `keep` adds the file's events to the batch, and the
// first event after a quiet time starts the latency.
void ZELEvents::readEvents(bool keep) {
    Watch& watch = *watch_;
    alignas(inotify_event) char buffer[16 * (sizeof(inotify_event) + NAME_MAX + 1)];
    for (;;) {
        const ssize_t n = ::read(watch.fd.get(), buffer, sizeof buffer);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;  // EAGAIN: all read
        for (ssize_t offset = 0; offset < n;) {
            const auto* event = reinterpret_cast<const inotify_event*>(buffer + offset);
            offset += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
            // An overflow lost events, perhaps the file's own: report it as a change.
            const bool wanted =
                (event->wd == watch.wd && event->len > 0 && watch.name == event->name) || (event->mask & IN_Q_OVERFLOW);
            if (keep && wanted) watch.batch.push_back({event->mask, ++lastEventId_});
        }
    }
    if (!watch.batch.empty() && !watch.timer.isActive()) watch.timer.start();
}

void ZELEvents::deliverBatch() {
    std::vector<Event> batch;
    batch.swap(watch_->batch);
    if (batch.empty()) return;
    if (coaleseEvents_) return incomingEventWithFlags(batch.front().flags, batch.front().id);
    const std::uint64_t started = watchesStarted_;
    for (const Event& event : batch) {
        // A delegate that paused, stopped or restarted the watcher wants no more of this batch.
        if (isPaused_ || !watch_ || watchesStarted_ != started) break;
        incomingEventWithFlags(event.flags, event.id);
    }
}

}  // namespace orvane
