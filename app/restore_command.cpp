#include "restore_command.h"

#include <QAction>
#include <QFileInfo>
#include <QMenu>

#include "alert_sheet.h"
#include "bookmarks_files.h"
#include "busy_count.h"
#include "job/sort_job.h"
#include "platform.h"
#include "settings.h"

namespace orvane {
namespace {
constexpr int kRestoreInitialBackupTag = 101;
}

RestoreCommand::RestoreCommand(AlertPresenter& presenter, AlertSheet& alerts, BookmarksFileLocator& locator,
                               BusyCount& busy)
    : presenter_(presenter), alerts_(alerts), locator_(locator), busy_(busy) {}

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
    const bool confirmed = presenter_.confirmCritical(
        tr("You are about to restore the initial backup of your bookmarks"), message, tr("Cancel"), tr("OK"));
    if (!confirmed) return;
    const std::optional<QString> file = locator_.filenameToUse();
    if (!file) return;

    // A restore has no sort options: the backup goes back as it was written.
    JobRequest request;
    request.bookmarksFile = file->toStdString();
    request.backupFile = initialBackupPathFor(*file).toStdString();
    const QString title = tr("Restoring the initial backup of your bookmarks.");
    if (orvane::restoreInitialBackup(request).code == OVErrorSuccess)
        alerts_.show(title, tr("The initial backup of your bookmarks have now been restored."));
    else
        alerts_.show(title, tr("Unfortionately the initial backup of your bookmarks could not be restored. Please "
                               "verify that you have read and write privilages for the file “%@.”")
                                .replace(QLatin1StringView("%@"), *file));
}

}  // namespace orvane
