#include "job_runner.h"

#include <QEventLoop>
#include <QThread>

#include <pthread.h>
#include <condition_variable>
#include <csignal>
#include <mutex>

namespace orvane {
namespace {

// Holds back the signals that ask the program to stop, on the GUI thread for the life of a job:
// the engine holds them back on its own thread while it replaces a file, and the kernel would
// otherwise hand them to the GUI thread and end the program half way. One that came meanwhile
// takes effect when the job is over. A worker thread starts with its creator's mask, so it holds
// them back too.
class HeldTermination {
public:
    HeldTermination() {
        sigset_t held;
        sigemptyset(&held);
        for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM}) sigaddset(&held, signal);
        pthread_sigmask(SIG_BLOCK, &held, &previous_);
    }
    ~HeldTermination() { pthread_sigmask(SIG_SETMASK, &previous_, nullptr); }
    HeldTermination(const HeldTermination&) = delete;
    HeldTermination& operator=(const HeldTermination&) = delete;

private:
    sigset_t previous_;
};

}  // namespace

// The job's pauses while another program holds the file: a wait that cancel() cuts short.
struct JobRunner::Pause {
    std::mutex mutex;
    std::condition_variable wake;
    bool cancelled = false;
    bool waiting = false;

    void sleep(std::chrono::milliseconds duration) {
        std::unique_lock lock(mutex);
        waiting = true;
        wake.wait_for(lock, duration, [this] { return cancelled; });
        waiting = false;
    }
};

JobRunner::JobRunner(QObject* parent) : QObject(parent) {}

JobRunner::~JobRunner() = default;

JobResult JobRunner::run(const Job& job) {
    auto pause = std::make_shared<Pause>();
    pause_ = pause;
    running_ = true;
    cancelled_ = false;
    JobHooks hooks = testHooks_;
    hooks.sleep = [pause](std::chrono::milliseconds duration) { pause->sleep(duration); };
    emit started();

    JobResult result;
    {
        const HeldTermination held;
        std::unique_ptr<QThread> worker(QThread::create([&] { result = job(hooks); }));
        QEventLoop loop;
        connect(worker.get(), &QThread::finished, &loop, &QEventLoop::quit);
        worker->start();
        loop.exec();
        // The loop also ends when the application is told to quit from inside it; the job does not.
        worker->wait();
    }

    running_ = false;
    emit finished();
    return result;
}

void JobRunner::cancel() {
    if (!running_) return;
    cancelled_ = true;
    const std::lock_guard lock(pause_->mutex);
    pause_->cancelled = true;
    pause_->wake.notify_all();
}

bool JobRunner::isWaitingForLock() const {
    if (!running_) return false;
    const std::lock_guard lock(pause_->mutex);
    return pause_->waiting;
}

}  // namespace orvane
