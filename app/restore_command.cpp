#include "restore_command.h"

#include <QAction>
#include <QFileInfo>
#include <QMenu>

#include "alert_sheet.h"
#include "bookmarks_files.h"
#include "busy_count.h"
#include "job/sort_job.h"
#include "job_runner.h"
#include "settings.h"
#include "support/log.h"
#include "window_binding.h"

namespace orvane {
namespace {
constexpr int kRestoreInitialBackupTag = 101;
}

RestoreCommand::RestoreCommand(AlertSheet& alerts, BookmarksFileLocator& locator, WindowBinding& window,
                               BusyCount& busy, JobRunner& jobs)
    : alerts_(alerts), locator_(locator), window_(window), busy_(busy), jobs_(jobs) {}

bool RestoreCommand::canRestoreInitialBackup() const {
    return QFileInfo::exists(initialBackupPathFor(Settings::bookmarksFilename()));
}

void RestoreCommand::menuNeedsUpdate(QMenu* menu) const {
    for (QAction* item : menu->actions())
        if (item->property("tag").toInt() == kRestoreInitialBackupTag) item->setEnabled(canRestoreInitialBackup());
}

void RestoreCommand::restoreInitialBackup() {
    BusyCount::Scope busy(busy_);
    const QString browser = browserNameFor(Settings::bookmarksFilename());
    const QString message =
        browser == QLatin1StringView("Safari")
            ? tr("This action will restore Safari’s bookmarks as they were before running this program for the first "
                 "time.\n\nPlease note that this action will also remove and/or restore any bookmarks that you may "
                 "have added or removed since initially running this program.\n\nWould you like to restore your "
                 "initial backup?")
            : tr("This action will restore %1’s bookmarks as they were before running this program for the first "
                 "time.\n\nPlease note that this action will also remove and/or restore any bookmarks that you may "
                 "have added or removed since initially running this program.\n\nWould you like to restore your "
                 "initial backup?")
                  .arg(browser);
    const bool confirmed = alerts_.confirm(tr("You are about to restore the initial backup of your bookmarks"), message,
                                           tr("Cancel"), tr("OK"));
    if (!confirmed) return;
    const std::optional<QString> file = locator_.filenameToUse();
    if (!file) return;

    // A restore has no sort options: the backup goes back as it was written.
    JobRequest request;
    request.bookmarksFile = file->toStdString();
    request.backupFile = initialBackupPathFor(*file).toStdString();
    const QString title = tr("Restoring the initial backup of your bookmarks.");
    JobResult result;
    {
        const WindowBinding::BusyWindow busyWindow(window_, false);
        result = jobs_.run([&request](const JobHooks&) { return orvane::restoreInitialBackup(request); });
    }
    if (result.code == OVErrorSuccess) {
        if (!jobs_.wasCancelled())
            alerts_.show(title, tr("The initial backup of your bookmarks have now been restored."));
        return;
    }
    logLine("-[AppDelegate restoreInitialBackup:]", "The restore of " + request.backupFile->string() + " over " +
                                                        request.bookmarksFile.string() + " failed with code " +
                                                        std::to_string(result.code) + ": " + result.reason);
    if (jobs_.wasCancelled()) return;
    alerts_.show(title,
                 tr("Unfortionately the initial backup of your bookmarks could not be restored. Please verify that "
                    "you have read and write privilages for the file “%@.”")
                     .replace(QLatin1StringView("%@"), *file),
                 {}, QString::fromStdString(result.reason));
}

}  // namespace orvane
