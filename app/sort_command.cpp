#include "sort_command.h"

#include <QApplication>
#include <QPushButton>

#include "alert_sheet.h"
#include "auto_sort_control.h"
#include "bookmarks_files.h"
#include "busy_count.h"
#include "job/messages.h"
#include "job/sort_job.h"
#include "safari_bug.h"
#include "settings.h"
#include "window_binding.h"

namespace orvane {
namespace {

// Locks the window for one job and unlocks it however the job ends.
class WindowLock {
public:
    explicit WindowLock(WindowBinding& window) : window_(window) {
        window_.lockGUI(true);
        // The job blocks the event loop: show the disabled button and a busy pointer before it starts.
        window_.sortBookmarksButton()->repaint();
        QApplication::setOverrideCursor(Qt::WaitCursor);
    }
    ~WindowLock() {
        QApplication::restoreOverrideCursor();
        window_.lockGUI(false);
    }
    WindowLock(const WindowLock&) = delete;
    WindowLock& operator=(const WindowLock&) = delete;

private:
    WindowBinding& window_;
};

}  // namespace

SortCommand::SortCommand(AlertSheet& alerts, BookmarksFileLocator& locator, SafariWorld& safari, WindowBinding& window,
                         const AutoSortControl& autoSort, BusyCount& busy)
    : alerts_(alerts), locator_(locator), safari_(safari), window_(window), autoSort_(autoSort), busy_(busy) {}

bool SortCommand::sortBookmarks() {
    BusyCount::Scope busy(busy_);
    const std::optional<QString> file = locator_.filenameToUse();
    if (!file) return false;
    const JobRequest request(file->toStdString(), initialBackupPathFor(*file).toStdString(), Settings::sortOptions());
    std::uint32_t code;
    {
        WindowLock lock(window_);
        code = orvane::sortBookmarks(request).code;
    }
    if (code == OVErrorSuccess) safariBug_refreshSafari(safari_);
    const bool serviceCall = autoSort_.wasServiceCall();
    if (code != OVErrorSuccess || (!serviceCall && !Settings::autoSortMode())) showResult(alerts_, code);
    return serviceCall || (code == OVErrorSuccess && Settings::autoSortMode());
}

void SortCommand::showResult(AlertSheet& alerts, std::uint32_t code) {
    QString title = tr("The bookmarks could not be sorted");
    QString filename = Settings::bookmarksFilename();
    switch (code) {
    case OVErrorSuccess: title = tr("The bookmarks are now sorted"); break;
    case OVErrorFileNotFound:
    case OVErrorNotBookmarksFile: Settings::setBookmarksFilename(QString()); break;
    case OVErrorCannotWriteBackup: filename = initialBackupPathFor(filename); break;
    default: break;
    }
    QString message;
    if (code == kOVUnsupportedBookmarksFile)
        message = tr("The bookmarks file “%@” has no Bookmarks Bar or no Bookmarks Menu, so it was left as it was.")
                      .replace(QLatin1StringView("%@"), filename);
    else
        message = QString::fromStdString(messageForUser(code, filename.toStdString()));
    alerts.show(title, message);
}

}  // namespace orvane
