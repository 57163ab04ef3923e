#include "sort_command.h"

#include "alert_sheet.h"
#include "auto_sort_control.h"
#include "bookmarks_files.h"
#include "busy_count.h"
#include "job/messages.h"
#include "job/sort_job.h"
#include "job_runner.h"
#include "safari_bug.h"
#include "settings.h"
#include "support/log.h"
#include "window_binding.h"

namespace orvane {

SortCommand::SortCommand(AlertSheet& alerts, BookmarksFileLocator& locator, SafariWorld& safari, WindowBinding& window,
                         const AutoSortControl& autoSort, BusyCount& busy, JobRunner& jobs)
    : alerts_(alerts),
      locator_(locator),
      safari_(safari),
      window_(window),
      autoSort_(autoSort),
      busy_(busy),
      jobs_(jobs) {}

bool SortCommand::sortBookmarks(const std::function<void()>& jobDone) {
    BusyCount::Scope busy(busy_);
    // Whoever waits for this sort hears of it once the job is over, also when none runs.
    const auto done = [&jobDone] {
        if (jobDone) jobDone();
    };
    const std::optional<QString> file = locator_.filenameToUse();
    if (!file) {
        done();
        return false;
    }
    const JobRequest request(file->toStdString(), initialBackupPathFor(*file).toStdString(), Settings::sortOptions());
    JobResult result;
    {
        const WindowBinding::BusyWindow locked(window_, true);
        result = jobs_.run([&request](const JobHooks& hooks) { return orvane::sortBookmarks(request, hooks); });
    }
    done();
    const std::uint32_t code = result.code;
    // A job cut short by closing the window ends as if the wait had run out; the log says which.
    if (code != OVErrorSuccess)
        logLine("-[AppDelegate sortBookmarks:]",
                "The sort of " + request.bookmarksFile.string() +
                    (jobs_.wasCancelled() ? " stopped when Orvane was closed, with code " : " failed with code ") +
                    std::to_string(code) + ": " + result.reason);
    // Closed or quit while it ran: the user has gone, and the program ends once the job has.
    if (jobs_.wasCancelled()) return false;
    // Safari's workarounds concern Safari's file only.
    if (code == OVErrorSuccess && isSafariFile(*file)) safariBug_refreshSafari(safari_);
    const bool serviceCall = autoSort_.wasServiceCall();
    // The automatic mode's helper waits for a browser that runs with the profile to quit, and has
    // the change sorted then: nobody needs to hear that the browser is in use.
    if (code == OVErrorFileBusy && result.holder.kind == FileHolder::Running && serviceCall && Settings::autoSortMode())
        logLine("-[AppDelegate sortBookmarks:]", result.reason + "; it is sorted once the browser has quit.");
    else if (code != OVErrorSuccess || (!serviceCall && !Settings::autoSortMode()))
        showResult(alerts_, code, *file, QString::fromStdString(result.browser), detailsOf(result, *file));
    return serviceCall || (code == OVErrorSuccess && Settings::autoSortMode());
}

QString SortCommand::detailsOf(const JobResult& result, const QString& file) {
    if (result.code != OVErrorSuccess) return QString::fromStdString(result.reason);
    return result.written
               ? tr("The file “%1” was written in its new order.").arg(file)
               : tr("Nothing changed: the bookmarks were already in order, so the file “%1” was not written.")
                     .arg(file);
}

void SortCommand::showResult(AlertSheet& alerts, std::uint32_t code, const std::optional<QString>& file,
                             const QString& browser, const QString& details) {
    const QString stored = Settings::bookmarksFilename();
    const QString sorted = file.value_or(stored);
    // Who held the file is the job's to say; whose file it is, the file's.
    const QString whose = code == OVErrorFileBusy && !browser.isEmpty() ? browser : browserNameFor(sorted);
    const bool safari = whose == QLatin1StringView("Safari");
    QString title = tr("The bookmarks could not be sorted");
    QString filename = sorted;
    switch (code) {
    case OVErrorSuccess: title = tr("The bookmarks are now sorted"); break;
    case OVErrorFileNotFound:
    case OVErrorNotBookmarksFile:
        // Unless another file was chosen meanwhile, which stays chosen.
        if (stored == sorted) Settings::setBookmarksFilename(QString());
        break;
    case OVErrorCannotWriteBackup: filename = initialBackupPathFor(sorted); break;
    default: break;
    }
    QString message;
    if (code == kOVUnsupportedBookmarksFile)
        message = tr("The bookmarks file “%@” has no Bookmarks Bar or no Bookmarks Menu, so it was left as it was.")
                      .replace(QLatin1StringView("%@"), filename);
    else if (code == kOVSyncedBookmarks)
        message = tr("%1 syncs these bookmarks with your account: sync would undo a sort made outside it and bring "
                     "removed bookmarks back, so the bookmarks file “%2” was left as it was.")
                      .arg(whose, filename);
    else if (code == OVErrorNotBookmarksFile && !safari)
        message = tr("The file “%1” is not a bookmarks file. Please locate and select %2’s bookmarks file.")
                      .arg(filename, whose);
    else
        message = QString::fromStdString(messageForUser(code, filename.toStdString(), whose.toStdString()));
    alerts.show(title, message, {}, details);
}

}  // namespace orvane
