// The application controller: it owns the main window's binding and the parts that act (the Sort
// and Restore commands, the automatic mode's control), connects them to the window's controls,
// runs the launch sequence, and defers the work that the sort service asks for until it is idle.
// Everything runs on the main thread; the sort job runs synchronously inside its command.
#pragma once

#include <QObject>

#include "alert_sheet.h"
#include "auto_sort_control.h"
#include "bookmarks_chooser.h"
#include "bookmarks_files.h"
#include "busy_count.h"
#include "platform.h"
#include "restore_command.h"
#include "sort_command.h"
#include "window_binding.h"

namespace orvane {

class MainWindow;

class AppDelegate final : public QObject {
    Q_OBJECT
public:
    explicit AppDelegate(Platform platform, QObject* parent = nullptr);
    ~AppDelegate() override;

    MainWindow* window() const { return &binding_.window(); }
    WindowBinding& windowBinding() { return binding_; }
    AutoSortControl& autoSortControl() { return autoSort_; }
    RestoreCommand& restoreCommand() { return restore_; }
    AlertSheet& alertSheet() { return alerts_; }
    BookmarksChooser& bookmarksChooser() { return chooser_; }

    // Start-up, in its fixed order: the helper is asked to quit, the application folder stored for
    // it and the sort service offered before the window shows with the bookmarks files found; then
    // the Safari check (for Safari's file only) and the helper's report, each of which may show an
    // alert.
    void applicationDidFinishLaunching();
    // At every launch: a missing or outdated Safari is asked to be updated.
    void initialLaunchCheck();

    // The sort service's entry: stamps the call and brings the window forward. It never fails;
    // the sort it asks for follows through sortWhenIdle().
    void serviceCalled();
    // Runs the Sort command, or asks to quit, once the controller is idle: at once from the event
    // loop, or when the launch sequence, an open alert or a running command has finished, never
    // inside another alert. Requests made meanwhile give one sort; a quit comes after the sort.
    void sortWhenIdle();
    void terminateWhenIdle();

    // Asks to quit: the application ends (terminated() is emitted) unless the automatic mode's
    // rules refuse. Answers whether it ended; a second request after that is harmless.
    bool terminate();

public slots:
    // The Sort button's action: the command, then the quit that ends a service run or a
    // successful sort in the automatic mode.
    void sortBookmarks();

signals:
    // The application has agreed to end; the program leaves its event loop.
    void terminated();

private:
    void connectControls();
    void runRequestedWorkSoon();

    SafariWorld& safari_;
    ServicesProvider& services_;
    BusyCount busy_;
    WindowBinding binding_;
    AlertSheet alerts_;
    BookmarksFileLocator locator_;
    BookmarksChooser chooser_;
    AutoSortControl autoSort_;
    SortCommand sort_;
    RestoreCommand restore_;
    bool sortRequested_ = false;
    bool terminateRequested_ = false;
    bool terminated_ = false;
};

}  // namespace orvane
