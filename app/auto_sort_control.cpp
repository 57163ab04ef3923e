#include "auto_sort_control.h"

#include <QCheckBox>
#include <QFileInfo>

#include "alert_sheet.h"
#include "bus_names.h"
#include "helper_codes.h"
#include "support/error_codes.h"
#include "job/messages.h"
#include "login_item.h"
#include "platform.h"
#include "service_call.h"
#include "settings.h"
#include "sort_command.h"
#include "support/log.h"
#include "window_binding.h"

namespace orvane {
namespace {

// How the messages name the helper.
constexpr char kHelperName[] = "OrvaneHelper.app";

}  // namespace

AutoSortControl::AutoSortControl(Workspace& workspace, Updater& updater, Clock& clock, AlertSheet& alerts,
                                 WindowBinding& window)
    : workspace_(workspace), updater_(updater), clock_(clock), alerts_(alerts), window_(window) {}

QString AutoSortControl::helperExecutablePath() const {
    const QString folder = executableFolder_.isEmpty() ? QCoreApplication::applicationDirPath() : executableFolder_;
    return folder + QLatin1StringView("/orvane-helper");
}

std::optional<QString> AutoSortControl::helperApplicationPath() const {
    const QString path = helperExecutablePath();
    if (!QFileInfo(path).isExecutable() || QFileInfo(path).isDir()) return std::nullopt;
    return path;
}

bool AutoSortControl::startHelperApplication() {
    const QString title = tr("Cannot automatically sort your bookmarks");
    const std::optional<QString> path = helperApplicationPath();
    if (!path) {
        alerts_.show(title, tr("Something seems to be fataly wrong with the program‘s main "
                               "file.\n\nPlease reinstall the application to remidy this problem."));
        return false;
    }
    QString reason;
    if (workspace_.launchApplication(*path, &reason)) return true;
    // Without a reason from the system, the one fixed text that is never translated.
    if (reason.isEmpty()) reason = QStringLiteral("Cannot launch OrvaneHelper.app");
    alerts_.show(title,
                 tr("The operating system says: %@\n\nIf this problem remains after restarting your "
                    "computer, then please reinstall the application."),
                 {reason});
    return false;
}

bool AutoSortControl::stopHelperApplication() {
    return workspace_.quitApplication(QString::fromLatin1(kHelperBusName));
}

bool AutoSortControl::addHelperApplicationAsLoginItem() {
    constexpr char kFunction[] = "-[AppDelegate addHelperApplicationAsLoginItem]";
    const std::optional<QString> path = helperApplicationPath();
    if (!path) {
        logLine(kFunction, "Cannot find the application, will not add an unresolved URL to the login items.");
        return false;
    }
    if (LoginItem::addLoginItemWithPath(*path, true)) return true;
    logLine(kFunction, std::string("Could not add ") + kHelperName + " to the user‘s login items.");
    alerts_.show(tr("Automatic sorting error"),
                 tr("Cannot add %@ to your login items. The automatic bookmark sorting will therefor "
                    "unfortunately not be enabled by itself the next time you log in to OS X."),
                 {QString::fromLatin1(kHelperName)});
    return false;
}

bool AutoSortControl::removeHelperApplicationFromLoginItems() {
    // The item is looked for where the helper belongs, also when it is no longer there.
    if (LoginItem::removeLoginItemWithPath(helperExecutablePath())) return true;
    logLine("-[AppDelegate removeHelperApplicationFromLoginItems]",
            std::string("Could not remove ") + kHelperName + " from the user‘s login items.");
    return false;
}

void AutoSortControl::toggleAutoSortMode(bool on) {
    window_.updateSortBookmarksButtonTitle();
    if (on)
        addHelperApplicationAsLoginItem();
    else
        removeHelperApplicationFromLoginItems();
}

void AutoSortControl::handleHelperApplicationError() {
    const std::optional<std::uint32_t> stored = Settings::lastHelperError();
    if (!stored) return;
    // Each failure is reported once, whatever happens next.
    Settings::clearLastHelperError();
    const std::uint32_t code = *stored;
    if (code == 0) return;
    if (code == kHelperAsksForUpdateCheck) {
        updater_.checkForUpdates();
        return;
    }
    // The job's own refusals (a file it does not support, synced bookmarks) are told as when
    // the window's sort meets them.
    if (isEngineCode(code) || code == kOVUnsupportedBookmarksFile || code == kOVSyncedBookmarks) {
        SortCommand::showResult(alerts_, code);
        return;
    }
    const QString title = tr("Automatic sorting error");
    if (code == kHelperClearedError) return;
    if (code == kHelperCannotWatch) {
        alerts_.show(title, tr("Could not begin watching the bookmarks file for modification events.\n\nThis "
                               "problem is very rare. A restart of your computer will probably solve the error."));
        return;
    }
    // Any other code is unknown to the engine too, which words it the same way, number included.
    alerts_.show(title, QString::fromStdString(messageForUser(code, {})));
}

void AutoSortControl::noteLaunch() { dateOnStartup_ = clock_.now(); }

void AutoSortControl::noteServiceCall() { dateOnServiceCall_ = clock_.now(); }

bool AutoSortControl::wasServiceCall() const { return isServiceCallInterval(dateOnStartup_, dateOnServiceCall_); }

bool AutoSortControl::applicationShouldTerminate() {
    if (updater_.updateInProgress()) return true;
    if (!Settings::autoSortMode()) return true;
    if (startHelperApplication()) return true;

    logLine("-[AppDelegate applicationShouldTerminate:]",
            "Could not start OrvaneHelper.app, automatic storting will not be enabled.");
    // The check box's own action switches the mode off and removes the login item.
    if (QCheckBox* box = window_.autoSortModeCheckBox(); box->isChecked()) box->click();
    return false;
}

}  // namespace orvane
