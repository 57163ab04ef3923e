#include "app_delegate.h"

#include <QAction>
#include <QCheckBox>
#include <QMenu>
#include <QPushButton>
#include <QTimer>
#include <utility>

#include "files/application_folder.h"
#include "main_window.h"
#include "safari_bug.h"
#include "settings.h"
#include "ui_MainWindow.h"

namespace orvane {

AppDelegate::AppDelegate(Platform platform, QObject* parent)
    : QObject(parent),
      safari_(platform.safari),
      services_(platform.services),
      busy_([this] {
          if (sortRequested_ || terminateRequested_) runRequestedWorkSoon();
      }),
      binding_(platform.workspace),
      alerts_(platform.alerts, binding_.window(), busy_),
      locator_(alerts_, platform.files, binding_.window()),
      chooser_(*binding_.window().ui().bookmarksChooser, locator_),
      autoSort_(platform.workspace, platform.updater, platform.clock, alerts_, binding_),
      sort_(alerts_, locator_, platform.safari, binding_, autoSort_, busy_, jobs_),
      restore_(alerts_, locator_, binding_, busy_, jobs_) {
    connectControls();
}

AppDelegate::~AppDelegate() {
    // Nobody waits on a program that is gone.
    answerSortRequests(waitingForSort_);
}

void AppDelegate::connectControls() {
    Ui::MainWindow& ui = binding_.window().ui();
    connect(ui.sortBookmarksButton, &QPushButton::clicked, this, &AppDelegate::sortBookmarks);
    connect(ui.sortBookmarksMenuItem, &QAction::triggered, this, &AppDelegate::sortBookmarks);
    connect(ui.restoreInitialBackupMenuItem, &QAction::triggered, this, &AppDelegate::restoreInitialBackup);
    connect(ui.quitMenuItem, &QAction::triggered, this, &AppDelegate::terminate);
    for (QMenu* menu : {ui.fileMenu, ui.helpMenu})
        connect(menu, &QMenu::aboutToShow, this, [this, menu] { restore_.menuNeedsUpdate(menu); });
    // Clicked comes after toggled, with which the box has already stored its setting.
    connect(ui.autoSortModeCheckBox, &QCheckBox::clicked, this, [this](bool on) { autoSort_.toggleAutoSortMode(on); });
    binding_.window().setCloseHandler([this] { return terminate(); });
}

void AppDelegate::applicationDidFinishLaunching() {
    BusyCount::Scope launching(busy_);
    autoSort_.noteLaunch();
    binding_.updateSortBookmarksButtonTitle();
    autoSort_.stopHelperApplication();
    Settings::setApplicationFolder(QString::fromStdString(applicationFolder().string()));
    if (services_.provideServices(*this) == ServiceOffer::OfferedByAnotherOrvane) {
        emit runsElsewhere();
        return;
    }
    // The file is chosen before Safari's check, which concerns Safari's file only.
    chooser_.refresh();
    binding_.openWindow();
    initialLaunchCheck();
    binding_.sortBookmarksButton()->setEnabled(true);
    binding_.autoSortModeCheckBox()->setEnabled(true);
    // The keyboard starts on the window's one action, now that it can be pressed.
    binding_.sortBookmarksButton()->setFocus(Qt::ActiveWindowFocusReason);
    autoSort_.handleHelperApplicationError();
}

void AppDelegate::initialLaunchCheck() {
    // A browser profile has nothing to do with Safari, whose version then does not matter.
    if (!isSafariFile(Settings::bookmarksFilename())) return;
    if (!safariBug_isSafariOutdated(safari_)) return;
    alerts_.show(
        tr("Please update Safari"),
        tr("The currently installed version of Safari is quite old. Apple has released newer and much more stable "
           "versions since then.\n\nPlease update Safari by choosing “Software Update...” from the "
           "“Apple” (\uF8FF) menu (it is a free update and it will make your browsing experience "
           "better.)\n\nThank you!"));
}

void AppDelegate::sortBookmarks() {
    // The window's menu and keys reach here while a job runs; one job at a time.
    if (jobs_.isRunning()) return;
    // The quit follows inside the command's busy time, so that a request that came meanwhile runs after it.
    BusyCount::Scope busy(busy_);
    std::vector<std::function<void()>> answered = std::move(waitingForSort_);
    waitingForSort_.clear();
    const bool quit = sort_.sortBookmarks([&] { answerSortRequests(answered); });
    if (terminateAfterJob_)
        terminateIfAskedDuringJob();
    else if (quit)
        terminate();
}

void AppDelegate::restoreInitialBackup() {
    if (jobs_.isRunning()) return;
    restore_.restoreInitialBackup();
    terminateIfAskedDuringJob();
}

void AppDelegate::terminateIfAskedDuringJob() {
    if (std::exchange(terminateAfterJob_, false)) terminate();
}

bool AppDelegate::terminate() {
    if (terminated_) return true;  // a second request while the event loop winds down
    if (jobs_.isRunning()) {
        // A job that waits for a lock stops waiting; one that writes is not cut off half way.
        jobs_.cancel();
        terminateAfterJob_ = true;
        return false;
    }
    if (!autoSort_.applicationShouldTerminate()) return false;
    binding_.saveFrame();
    terminated_ = true;
    answerSortRequests(waitingForSort_);
    emit terminated();
    return true;
}

void AppDelegate::answerSortRequests(std::vector<std::function<void()>>& requests) {
    for (const std::function<void()>& answer : std::exchange(requests, {}))
        if (answer) answer();
}

void AppDelegate::serviceCalled() {
    // Nothing is read from the request and no error is ever reported: the caller only starts the
    // sort, whose outcome is the Sort command's to show.
    autoSort_.noteServiceCall();
    binding_.bringForward();
}

void AppDelegate::sortWhenIdle(std::function<void()> sorted) {
    if (terminated_) {
        if (sorted) sorted();
        return;
    }
    waitingForSort_.push_back(std::move(sorted));
    sortRequested_ = true;
    if (busy_.isIdle()) runRequestedWorkSoon();
}

void AppDelegate::activate() { binding_.bringForward(); }

void AppDelegate::terminateWhenIdle() {
    terminateRequested_ = true;
    if (busy_.isIdle()) runRequestedWorkSoon();
}

void AppDelegate::runRequestedWorkSoon() {
    // From the event loop, not from inside the scope that ends: an alert's caller or the launch
    // sequence still has to return first.
    QTimer::singleShot(0, this, [this] {
        if (!busy_.isIdle()) return;
        if (std::exchange(sortRequested_, false))
            sortBookmarks();  // a quit asked for meanwhile follows when the command is done
        else if (std::exchange(terminateRequested_, false))
            terminate();
    });
}

}  // namespace orvane
