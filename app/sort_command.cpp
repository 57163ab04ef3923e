// The Sort command: find the bookmarks file (or ask for it), run one sort job with the window
// locked, and say how it went.
#include <QApplication>
#include <QFileInfo>
#include <QPushButton>

#include "app_delegate.h"
#include "main_window.h"
#include "orvane.h"
#include "safari_bug.h"
#include "settings.h"

namespace orvane {
namespace {

// Locks the window for one job and unlocks it however the job ends.
class WindowLock {
public:
    explicit WindowLock(AppDelegate& controller) : controller_(controller) {
        controller_.lockGUI(true);
        // The job blocks the event loop: show the disabled button and a busy pointer before it starts.
        controller_.sortBookmarksButton()->repaint();
        QApplication::setOverrideCursor(Qt::WaitCursor);
    }
    ~WindowLock() {
        QApplication::restoreOverrideCursor();
        controller_.lockGUI(false);
    }
    WindowLock(const WindowLock&) = delete;
    WindowLock& operator=(const WindowLock&) = delete;

private:
    AppDelegate& controller_;
};

}  // namespace

std::optional<QString> AppDelegate::filenameToUse() {
    const QString stored = bookmarksFilename();
    // Anything at the path counts, as the job's own check does: a folder there is refused later
    // with a message that names it, rather than by asking the user again.
    if (QFileInfo::exists(stored)) return stored;

    showAlertSheetWithTitle(tr("Cannot locate the bookmarks file"),
                            tr("The bookmarks file is not located in its usual place.\n\nPlease locate and select "
                               "Safari’s bookmarks file in the next dialog (it’s usually named: Bookmarks.plist.)"));
    const QString start = QFileInfo(QString::fromStdString(expandTilde(kDefaultBookmarksFilename).string())).path();
    const std::optional<QString> chosen =
        platform_.files.chooseFile(window_.get(), start, tr("Property lists (*.plist)"));
    if (!chosen) return std::nullopt;
    setBookmarksFilename(*chosen);
    return chosen;
}

void AppDelegate::setupOrvane(Orvane& job, const std::optional<QString>& filename) {
    Settings::applySortOptions(job);
    job.setBackupFilename(backupFilename().toStdString());
    if (filename)
        job.setBookmarksFilename(filename->toStdString());
    else
        job.setBookmarksFilename(std::nullopt);
    job.setWriteBackupFile(true);
}

bool AppDelegate::setupOrvane(Orvane& job, bool askForFilenameIfNeeded) {
    std::optional<QString> filename;
    if (askForFilenameIfNeeded) {
        filename = filenameToUse();
        if (!filename) return false;
    }
    setupOrvane(job, filename);
    return true;
}

void AppDelegate::sortBookmarks() {
    BusyScope busy(*this);
    std::uint32_t code;
    {
        Orvane job;
        if (!setupOrvane(job, true)) return;
        WindowLock lock(*this);
        code = job.sortBookmarks();
    }
    if (code == OVErrorSuccess) safariBug_refreshSafari(platform_.safari);
    const bool serviceCall = wasServiceCall();
    if (code != OVErrorSuccess || (!serviceCall && !autoSortMode())) showOrvaneError(code);
    if (serviceCall || (code == OVErrorSuccess && autoSortMode())) terminate();
}

void AppDelegate::showOrvaneError(std::uint32_t code) {
    QString title = tr("The bookmarks could not be sorted");
    QString filename = bookmarksFilename();
    switch (code) {
    case OVErrorSuccess: title = tr("The bookmarks are now sorted"); break;
    case OVErrorFileNotFound:
    case OVErrorNotBookmarksFile: setBookmarksFilename(QString()); break;  // the next Sort asks for the file
    case OVErrorCannotWriteBackup: filename = backupFilename(); break;
    default: break;
    }
    QString message;
    if (code == kOVUnsupportedBookmarksFile)
        message = tr("The bookmarks file “%@” has no Bookmarks Bar or no Bookmarks Menu, so it was left as it was.")
                      .replace(QLatin1StringView("%@"), filename);
    else
        message = QString::fromStdString(Orvane::stringFromOVError(code, filename.toStdString()));
    showAlertSheetWithTitle(title, message);
}

}  // namespace orvane
