// Putting Safari's bookmarks back as they were before the first sort, from the initial backup:
// the menu item that offers it while the backup exists, the confirmation, and the restore. The
// engine checks that the backup holds bookmarks before anything is replaced, so a damaged backup
// leaves the bookmarks file as it was.
#pragma once

#include <QCoreApplication>

class QMenu;

namespace orvane {

class AlertSheet;
class BookmarksFileLocator;
class BusyCount;
class JobRunner;
class WindowBinding;

class RestoreCommand {
    // The texts stay in the context under which the catalogues have always translated them.
    Q_DECLARE_TR_FUNCTIONS(orvane::AppDelegate)
public:
    RestoreCommand(AlertSheet& alerts, BookmarksFileLocator& locator, WindowBinding& window, BusyCount& busy,
                   JobRunner& jobs);

    bool canRestoreInitialBackup() const;
    // Enables the menu's item tagged 101 while the backup exists. Asked each time the menu opens,
    // so the item follows the file with no notification.
    void menuNeedsUpdate(QMenu* menu) const;
    // Asks first (Cancel is the default), then restores, off the GUI thread, and says how it went.
    void restoreInitialBackup();

private:
    AlertSheet& alerts_;
    BookmarksFileLocator& locator_;
    WindowBinding& window_;
    BusyCount& busy_;
    JobRunner& jobs_;
};

}  // namespace orvane
