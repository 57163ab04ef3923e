// orvane-helper's work: watch the bookmarks file and, after each batch of changes, ask Orvane's
// sort service to sort it (which starts Orvane when it is not running). Orvane asks the helper
// to quit when it starts and starts a new one when it quits, so a helper lives from one sort to
// the next. When the service cannot be reached at all, the helper runs the sort job itself.
// A browser profile is never sorted while its browser runs with it: a change made meanwhile is
// sorted once, when the browser has quit.
#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QTimer>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>

#include "backoff.h"
#include "job/sort_job.h"
#include "profile_release.h"
#include "zel_events.h"

class QDBusError;

namespace orvane {

// True when the error means that nobody offers the sort service and the bus cannot start it,
// as opposed to a service that was reached and failed.
bool isServiceUnreachable(const QDBusError& error);

// The initial backup of the bookmarks file in the application folder that Orvane's settings name.
std::filesystem::path initialBackupFromSettings(const std::filesystem::path& bookmarksFile);

// The sort job as orvane-helper runs it when Orvane cannot: the file, options and application
// folder from Orvane's settings, the initial backup always on.
JobResult runSortJobFromSettings();

class Helper final : public QObject, public ZELEventsDelegate {
    Q_OBJECT
public:
    explicit Helper(QDBusConnection bus, QObject* parent = nullptr);
    ~Helper() override;

    // Starts watching the file that the settings name; false (and "LastHelperError" set to the
    // code for it) when the file cannot be watched. When a browser holds the profile, the file is
    // looked at again when it quits, and sorted if it is out of order.
    bool start();
    // Whether a sort waits for the browser that holds the profile to quit.
    bool waitsForBrowser() const { return release_.isWaiting(); }
    // Replaces the clock, for tests.
    void setClock(std::function<QDateTime()> now) { now_ = std::move(now); }
    const Backoff& backoff() const { return backoff_; }
    void incomingEvent(ZELEvents& events, std::uint32_t flags, std::uint64_t eventId) override;
    // Orvane asks the helper to quit as it starts, before it can answer the request that started
    // it; a request still on its way is dropped by the bus when its sender goes. So the helper
    // quits once that answer has come.
    void quitWhenAnswered();

signals:
    // One request has been answered (or has failed, or the job ran here); for tests and the
    // benchmark.
    void sortRequestFinished();

private:
    void changed();
    void requestSort();
    void sortHere();
    void browserQuit();
    // Leaves the sort for when the browser that holds the profile quits; false when none holds it.
    bool waitForBrowser(const char* method);

    QDBusConnection bus_;
    std::unique_ptr<ZELEvents> events_;
    Backoff backoff_;
    QTimer wait_;
    ProfileRelease release_;
    bool changedWhileHeld_ = false;
    bool requestInFlight_ = false;
    bool quitRequested_ = false;
    std::function<QDateTime()> now_;
};

}  // namespace orvane
