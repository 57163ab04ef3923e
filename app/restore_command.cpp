// Putting Safari's bookmarks back as they were before the first sort, from the initial copy.
#include <QAction>
#include <QFileInfo>
#include <QMenu>

#include "app_delegate.h"
#include "orvane.h"

namespace orvane {
namespace {
constexpr int kRestoreInitialBackupTag = 101;
}

bool AppDelegate::canRestoreInitialBackup() { return QFileInfo::exists(backupFilename()); }

void AppDelegate::menuNeedsUpdate(QMenu* menu) {
    // Checked each time the menu opens, so the item follows the file with no notification.
    for (QAction* item : menu->actions())
        if (item->property("tag").toInt() == kRestoreInitialBackupTag) item->setEnabled(canRestoreInitialBackup());
}

void AppDelegate::restoreInitialBackup() {
    BusyScope busy(*this);
    const bool confirmed = platform_.alerts.confirmCritical(
        tr("You are about to restore the initial backup of your bookmarks"),
        tr("This action will restore Safari’s bookmarks as they were before running this program for the first "
           "time.\n\nPlease note that this action will also remove and/or restore any bookmarks that you may have "
           "added or removed since initially running this program.\n\nWould you like to restore your initial backup?"),
        tr("Cancel"), tr("OK"));
    if (!confirmed) return;

    QString title, message;
    {
        Orvane job;
        if (!setupOrvane(job, true)) return;
        title = tr("Restoring the initial backup of your bookmarks.");
        if (job.restoreBackedUpBookmarks() == OVErrorSuccess) {
            message = tr("The initial backup of your bookmarks have now been restored.");
        } else {
            // The job names the file only while it exists; a vanished one is still the one meant.
            const std::optional<std::filesystem::path> bookmarks = job.bookmarksFilename();
            const QString filename = bookmarks ? QString::fromStdString(bookmarks->string()) : bookmarksFilename();
            message = tr("Unfortionately the initial backup of your bookmarks could not be restored. Please verify "
                         "that you have read and write privilages for the file “%@.”")
                          .replace(QLatin1StringView("%@"), filename);
        }
    }
    showAlertSheetWithTitle(title, message);
}

}  // namespace orvane
