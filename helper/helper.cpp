#include "helper.h"

#include <QCoreApplication>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QSettings>
#include <utility>

#include "bus_names.h"
#include "files/application_folder.h"
#include "helper_codes.h"
#include "job/messages.h"
#include "job/sort_job.h"
#include "settings.h"
#include "stores/bookmark_store.h"
#include "support/log.h"

namespace orvane {
namespace {

constexpr char kClass[] = "OrvaneHelper";
// Starting Orvane through the bus, its launch and a sort of a very large file fit well within this.
constexpr int kCallTimeoutMs = 120'000;

// The helper's own memory between its short lives, apart from Orvane's settings.
QSettings helperState() { return QSettings(QSettings::NativeFormat, QSettings::UserScope, kOrganizationName, kClass); }

Backoff loadBackoff() {
    QSettings state = helperState();
    Backoff backoff;
    if (const QDateTime last = state.value("LastSortRequest").toDateTime(); last.isValid()) backoff.lastRequest = last;
    backoff.waitMs = state.value("BackoffWait", 0).toLongLong();
    return backoff;
}

void saveBackoff(const Backoff& backoff) {
    QSettings state = helperState();
    if (backoff.lastRequest) state.setValue("LastSortRequest", *backoff.lastRequest);
    state.setValue("BackoffWait", backoff.waitMs);
}

void log(const char* method, const std::string& message) {
    logLine(std::string("-[OrvaneHelper ") + method + "]", message);
}

}  // namespace

bool isServiceUnreachable(const QDBusError& error) {
    if (error.type() == QDBusError::Disconnected || error.type() == QDBusError::ServiceUnknown) return true;
    // No owner and nothing to start it, or the bus found the service's file but could not start the program.
    return error.name() == QLatin1StringView("org.freedesktop.DBus.Error.NameHasNoOwner") ||
           error.name().startsWith(QLatin1StringView("org.freedesktop.DBus.Error.Spawn."));
}

std::filesystem::path initialBackupFromSettings(const std::filesystem::path& bookmarksFile) {
    // In the folder Orvane last told us of; the same one it would compute, unless it never ran.
    const std::filesystem::path backup = defaultBackupFor(bookmarksFile);
    const QString folder = Settings::applicationFolder();
    if (folder.isEmpty()) return backup;
    return std::filesystem::path(folder.toStdString()) / backup.lexically_relative(applicationFolder());
}

JobResult runSortJobFromSettings() {
    const std::filesystem::path file = Settings::bookmarksFilename().toStdString();
    return sortBookmarks(JobRequest(file, initialBackupFromSettings(file), Settings::sortOptions()));
}

Helper::Helper(QDBusConnection bus, QObject* parent)
    : QObject(parent),
      bus_(std::move(bus)),
      backoff_(loadBackoff()),
      now_([] { return QDateTime::currentDateTimeUtc(); }) {
    wait_.setSingleShot(true);
    connect(&wait_, &QTimer::timeout, this, &Helper::requestSort);
    connect(&release_, &ProfileRelease::released, this, &Helper::browserQuit);
}

Helper::~Helper() = default;

bool Helper::start() {
    const QString path = Settings::bookmarksFilename();
    events_ = std::make_unique<ZELEvents>(path, this);
    if (!events_->startWithLatency(Settings::bookmarksUpdateLatency())) {
        log("start", "Could not begin watching " + path.toStdString() + " for changes.");
        Settings::setLastHelperError(kHelperCannotWatch);
        return false;
    }
    // A change may have come while the browser held the profile and no helper ran (Orvane then
    // left it alone): whether one did is seen when the browser quits.
    waitForBrowser("start");
    changedWhileHeld_ = false;
    return true;
}

void Helper::incomingEvent(ZELEvents&, std::uint32_t, std::uint64_t) {
    // The request under way, or the one waited for, covers this change: Orvane reads the file
    // only after it has answered.
    if (requestInFlight_ || wait_.isActive()) return;
    changedWhileHeld_ = true;
    if (release_.isWaiting() || waitForBrowser("incomingEvent:")) return;
    changedWhileHeld_ = false;
    changed();
}

bool Helper::waitForBrowser(const char* method) {
    if (!release_.waitIfHeld(Settings::bookmarksFilename())) return false;
    log(method, release_.holder().toStdString() +
                    " is running with the profile; its bookmarks are looked at again when it quits.");
    return true;
}

void Helper::browserQuit() {
    const bool changed = std::exchange(changedWhileHeld_, false);
    if (!changed) {
        // Nothing was seen to change: sort only what a sort would change.
        const std::filesystem::path file = Settings::bookmarksFilename().toStdString();
        const Preview preview = previewSort(JobRequest(file, std::nullopt, Settings::sortOptions()));
        if (preview.result.code != OVErrorSuccess || !preview.result.report.wouldWrite) return;
    }
    log("browserQuit", release_.holder().toStdString() + " has quit; the bookmarks are sorted now.");
    this->changed();
}

void Helper::changed() {
    const qint64 wait = backoff_.waitBeforeRequest(now_());
    saveBackoff(backoff_);
    if (wait == 0) return requestSort();
    log("incomingEvent:", "The bookmarks file changed again right after it was sorted; waiting " +
                              std::to_string(wait / 1000) +
                              " s before sorting it, so as not to fight whoever rewrites it.");
    wait_.start(static_cast<int>(wait));
}

void Helper::requestSort() {
    backoff_.noteRequest(now_());
    saveBackoff(backoff_);
    if (!bus_.isConnected()) return sortHere();

    QDBusMessage call =
        QDBusMessage::createMethodCall(QString::fromLatin1(kOrvaneBusName), QString::fromLatin1(kOrvaneObjectPath),
                                       QString::fromLatin1(kOrvaneInterface), QStringLiteral("SortBookmarks"));
    call << QString();
    requestInFlight_ = true;
    auto* watcher = new QDBusPendingCallWatcher(bus_.asyncCall(call, kCallTimeoutMs), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
        watcher->deleteLater();
        requestInFlight_ = false;
        const QDBusPendingReply<QString> reply = *watcher;
        if (reply.isError() && isServiceUnreachable(reply.error())) {
            log("requestSort", "Orvane's sort service cannot be reached (" + reply.error().message().toStdString() +
                                   "); sorting here.");
            sortHere();
        } else {
            if (reply.isError())
                log("requestSort", "Orvane's sort service failed: " + reply.error().message().toStdString());
            else if (!reply.value().isEmpty())
                log("requestSort", "Orvane could not sort: " + reply.value().toStdString());
            emit sortRequestFinished();
        }
        if (quitRequested_) QCoreApplication::quit();
    });
}

void Helper::quitWhenAnswered() {
    if (requestInFlight_)
        quitRequested_ = true;
    else
        QCoreApplication::quit();
}

void Helper::sortHere() {
    // The job's own write is not a change to sort again.
    events_->pause();
    const JobResult result = runSortJobFromSettings();
    events_->unPause();
    const std::uint32_t code = result.code;
    // The browser came back before the sort could begin: the sort waits for it again.
    if (code == OVErrorFileBusy && result.holder.kind == FileHolder::Running) {
        changedWhileHeld_ = true;
        if (waitForBrowser("sortHere")) {
            emit sortRequestFinished();
            return;
        }
    }
    if (code != OVErrorSuccess) {
        log("sortHere",
            "The sort failed with code " + std::to_string(code) + ": " + shortMessage(code) + " " + result.reason);
        Settings::setLastHelperError(code);
    }
    emit sortRequestFinished();
}

}  // namespace orvane
