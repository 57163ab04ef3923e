// The application controller: it owns the main window's binding and the parts that act (the Sort
// and Restore commands, the automatic mode's control), connects them to the window's controls,
// runs the launch sequence, and defers the work that the sort service asks for until it is idle.
// Everything runs on the main thread but the engine's jobs, which run on a worker thread while the
// command that started them waits in an event loop of its own, so the window never freezes.
#pragma once

#include <QObject>
#include <functional>
#include <vector>

#include "alert_sheet.h"
#include "auto_sort_control.h"
#include "bookmarks_chooser.h"
#include "bookmarks_files.h"
#include "busy_count.h"
#include "job_runner.h"
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
    JobRunner& jobRunner() { return jobs_; }
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
    // `sorted` runs once the sort made for this request has ended (before its alert), or when the
    // program ends before.
    void sortWhenIdle(std::function<void()> sorted = {});
    void terminateWhenIdle();
    // Another launch of Orvane found this one running: the window comes to the front.
    void activate();

    // Asks to quit: the application ends (terminated() is emitted) unless the automatic mode's
    // rules refuse. Answers whether it ended; a second request after that is harmless. While a
    // job runs, a job that waits for a lock stops waiting, a job that writes finishes, and the
    // request is answered once it has ended.
    bool terminate();

public slots:
    // The Sort button's action: the command, then the quit that ends a service run or a
    // successful sort in the automatic mode.
    void sortBookmarks();

signals:
    // The application has agreed to end; the program leaves its event loop.
    void terminated();
    // Orvane runs already, and has been asked to come forward: this launch ends without a window.
    void runsElsewhere();

private:
    void connectControls();
    void runRequestedWorkSoon();
    void restoreInitialBackup();
    // Ends a quit that was asked for while a job ran.
    void terminateIfAskedDuringJob();
    void answerSortRequests(std::vector<std::function<void()>>& requests);

    SafariWorld& safari_;
    ServicesProvider& services_;
    BusyCount busy_;
    JobRunner jobs_;
    WindowBinding binding_;
    AlertSheet alerts_;
    BookmarksFileLocator locator_;
    BookmarksChooser chooser_;
    AutoSortControl autoSort_;
    SortCommand sort_;
    RestoreCommand restore_;
    bool sortRequested_ = false;
    std::vector<std::function<void()>> waitingForSort_;
    bool terminateRequested_ = false;
    bool terminateAfterJob_ = false;
    bool terminated_ = false;
};

}  // namespace orvane
