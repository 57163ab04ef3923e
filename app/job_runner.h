// The engine's jobs off the GUI thread. A job can take seconds (a file of a million bookmarks, or
// the wait while Safari holds its lock), and a window whose event loop stops that long cannot be
// moved, resized or repainted and is taken for hung. The job runs on a worker thread while the
// GUI thread's event loop keeps running; the caller waits for its result in a local event loop,
// so the commands read as if the job ran in place.
#pragma once

#include <QObject>
#include <functional>
#include <memory>

#include "job/sort_job.h"

namespace orvane {

class JobRunner final : public QObject {
    Q_OBJECT
public:
    using Job = std::function<JobResult(const JobHooks& hooks)>;

    explicit JobRunner(QObject* parent = nullptr);
    ~JobRunner() override;

    // Runs `job` on a worker thread and returns its result once it has ended, whatever the event
    // loop did meanwhile. One job at a time: the caller checks isRunning() first.
    JobResult run(const Job& job);
    bool isRunning() const { return running_; }

    // Asks the running job to stop waiting for another program's lock: its remaining pauses are
    // skipped, so it ends at once (with the code for a busy file, unless the lock has gone). A job
    // that reads or writes goes on to its end, so a file is never left half replaced.
    void cancel();
    // Whether the job that ran last was asked to stop.
    bool wasCancelled() const { return cancelled_; }
    // Whether the running job is waiting for a lock at this moment.
    bool isWaitingForLock() const;

    // Hooks that tests add to every job: the pass's afterSort and the replacement's.
    void setTestHooks(JobHooks hooks) { testHooks_ = std::move(hooks); }

signals:
    void started();
    void finished();

private:
    struct Pause;
    std::shared_ptr<Pause> pause_;
    JobHooks testHooks_;
    bool running_ = false;
    bool cancelled_ = false;
};

}  // namespace orvane
