// Start-up in its fixed order, and the rules by which the application may quit: in the
// automatic mode quitting hands the watching over to the helper, so it is refused when the
// helper cannot be started.
#include <QCheckBox>
#include <QGuiApplication>
#include <QPushButton>
#include <QScreen>

#include "app_delegate.h"
#include "bus_names.h"
#include "log.h"
#include "main_window.h"
#include "safari_bug.h"
#include "settings.h"

namespace orvane {
namespace {

void centre(QWidget& window) {
    const QScreen* screen = window.screen() ? window.screen() : QGuiApplication::primaryScreen();
    if (!screen) return;
    QRect frame = window.frameGeometry();
    frame.moveCenter(screen->availableGeometry().center());
    window.move(frame.topLeft());
}

}  // namespace

void AppDelegate::applicationDidFinishLaunching() {
    BusyScope launching(*this);
    dateOnStartup_ = platform_.clock.now();
    updateSortBookmarksButtonTitle();
    stopHelperApplication();
    Settings::setObject(keys::ApplicationFolder, applicationFolder());
    platform_.services.provideServices(*this);

    window_->adjustSize();
    centre(*window_);
    // A frame saved under the autosave name replaces the centred one, so the window opens
    // centred only the first time.
    if (const std::optional<QVariant> frame = Settings::storedObjectForKey(keys::MainWindowFrame))
        window_->restoreGeometry(frame->toByteArray());
    window_->show();
    window_->raise();
    window_->activateWindow();

    initialLaunchCheck();
    sortBookmarksButton()->setEnabled(true);
    autoSortModeCheckBox()->setEnabled(true);
    handleHelperApplicationError();
}

void AppDelegate::initialLaunchCheck() {
    if (!safariBug_isSafariOutdated(platform_.safari)) return;
    showAlertSheetWithTitle(
        tr("Please update Safari"),
        tr("The currently installed version of Safari is quite old. Apple has released newer and much more stable "
           "versions since then.\n\nPlease update Safari by choosing “Software Update...” from the "
           "“Apple” (\uF8FF) menu (it is a free update and it will make your browsing experience "
           "better.)\n\nThank you!"));
}

AppDelegate::TerminateReply AppDelegate::applicationShouldTerminate() {
    if (platform_.updater.updateInProgress()) return TerminateNow;
    if (!autoSortMode()) return TerminateNow;
    if (startHelperApplication()) return TerminateNow;

    logLine("-[AppDelegate applicationShouldTerminate:]",
            "Could not start OrvaneHelper.app, automatic storting will not be enabled.");
    // The check box's own action switches the mode off and removes the login item.
    if (autoSortModeCheckBox()->isChecked()) autoSortModeCheckBox()->click();
    return TerminateCancel;
}

void AppDelegate::applicationWillTerminate() { Settings::setObject(keys::MainWindowFrame, window_->saveGeometry()); }

bool AppDelegate::terminate() {
    if (terminated_) return true;  // a second request while the event loop winds down
    if (applicationShouldTerminate() == TerminateCancel) return false;
    applicationWillTerminate();
    terminated_ = true;
    emit terminated();
    return true;
}

bool AppDelegate::quitApplicationWithBundleID(const QString& bundleIdentifier) {
    return platform_.workspace.quitApplication(bundleIdentifier);
}

bool AppDelegate::launchApplicationWithPath(const QString& path, QString* errorDescription) {
    return platform_.workspace.launchApplication(path, errorDescription);
}

}  // namespace orvane
