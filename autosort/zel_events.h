// Watches one file for changes and tells a delegate about them, gathered into batches over a
// latency, on the event loop of the thread that started watching. The helper watches Safari's
// bookmarks file with it and asks Orvane to sort when the file changed.
#pragma once

#include <QString>
#include <cstdint>
#include <memory>
#include <utility>

namespace orvane {

class ZELEvents;

// Hears about the changes; a delegate that does not override incomingEvent hears nothing.
class ZELEventsDelegate {
public:
    virtual ~ZELEventsDelegate() = default;
    // `flags` is the inotify event mask (IN_CLOSE_WRITE, IN_MOVED_TO, ..., or IN_Q_OVERFLOW when
    // the kernel dropped events and the file may have changed unseen); `eventId` numbers the
    // watcher's events from 1 upwards, across restarts.
    virtual void incomingEvent(ZELEvents& /*events*/, std::uint32_t /*flags*/, std::uint64_t /*eventId*/) {}
};

class ZELEvents {
public:
    // Inactive until started; coalescing on, not paused. The delegate is not owned.
    ZELEvents(QString path, ZELEventsDelegate* delegate);
    // Stops. The delegate may stop, pause or restart the watcher from its callback, but must
    // not destroy it there.
    ~ZELEvents();
    ZELEvents(const ZELEvents&) = delete;
    ZELEvents& operator=(const ZELEvents&) = delete;

    // startWithLatency(1.0).
    bool start();
    // Replaces any watch by a new one on the calling thread's event loop. The first change after
    // a quiet time starts the latency; the changes made until it has passed form one batch.
    // False, and inactive, when the path's folder cannot be watched or the thread has no event
    // loop.
    bool startWithLatency(double seconds);
    // Ends watching; a batch still gathering is dropped.
    void stop();
    // While paused nothing is delivered: changes made meanwhile, and a batch still gathering,
    // are dropped, not delivered at unPause. Only a watching watcher can be paused.
    void pause();
    void unPause();
    // Hands one event to the delegate.
    void incomingEventWithFlags(std::uint32_t flags, std::uint64_t eventId);

    const QString& path() const { return path_; }
    // Takes effect at the next start.
    void setPath(QString path) { path_ = std::move(path); }
    ZELEventsDelegate* delegate() const { return delegate_; }
    void setDelegate(ZELEventsDelegate* delegate) { delegate_ = delegate; }
    // When true, a batch is delivered as its first event alone: the receiver only needs to know
    // that something changed.
    bool coaleseSimultaneousEvents() const { return coaleseEvents_; }
    void setCoaleseSimultaneousEvents(bool coalese) { coaleseEvents_ = coalese; }
    bool isPaused() const { return isPaused_; }
    // True exactly while a watch exists, paused or not.
    bool isActive() const { return watch_ != nullptr; }

private:
    struct Watch;
    void readEvents(bool keep);
    void deliverBatch();

    QString path_;
    ZELEventsDelegate* delegate_;
    bool coaleseEvents_ = true;
    bool isPaused_ = false;
    std::uint64_t lastEventId_ = 0;
    std::uint64_t watchesStarted_ = 0;
    std::unique_ptr<Watch> watch_;
};

}  // namespace orvane
