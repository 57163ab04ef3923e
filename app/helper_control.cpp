// The helper program of the automatic mode: where it is, starting and stopping it, its login
// item, and the failures it leaves behind for the next launch.
#include <QCheckBox>
#include <QCoreApplication>
#include <QFileInfo>

#include "app_delegate.h"
#include "bus_names.h"
#include "helper_codes.h"
#include "log.h"
#include "login_item.h"
#include "orvane.h"
#include "settings.h"

namespace orvane {
namespace {

// How the messages name the helper.
constexpr char kHelperName[] = "OrvaneHelper.app";

}  // namespace

QString AppDelegate::helperExecutablePath() const {
    const QString folder = executableFolder_.isEmpty() ? QCoreApplication::applicationDirPath() : executableFolder_;
    return folder + QLatin1StringView("/orvane-helper");
}

std::optional<QString> AppDelegate::helperApplicationPath() const {
    const QString path = helperExecutablePath();
    if (!QFileInfo(path).isExecutable() || QFileInfo(path).isDir()) return std::nullopt;
    return path;
}

bool AppDelegate::startHelperApplication() {
    const QString title = tr("Cannot automatically sort your bookmarks");
    const std::optional<QString> path = helperApplicationPath();
    if (!path) {
        showAlertSheetWithTitle(title, tr("Something seems to be fataly wrong with the program‘s main "
                                          "file.\n\nPlease reinstall the application to remidy this problem."));
        return false;
    }
    QString reason;
    if (launchApplicationWithPath(*path, &reason)) return true;
    // Without a reason from the system, the one fixed text that is never translated.
    if (reason.isEmpty()) reason = QStringLiteral("Cannot launch OrvaneHelper.app");
    showAlertSheetWithTitle(title,
                            tr("The operating system says: %@\n\nIf this problem remains after restarting your "
                               "computer, then please reinstall the application."),
                            {reason});
    return false;
}

bool AppDelegate::stopHelperApplication() { return quitApplicationWithBundleID(QString::fromLatin1(kHelperBusName)); }

bool AppDelegate::addHelperApplicationAsLoginItem() {
    constexpr char kFunction[] = "-[AppDelegate addHelperApplicationAsLoginItem]";
    const std::optional<QString> path = helperApplicationPath();
    if (!path) {
        logLine(kFunction, "Cannot find the application, will not add an unresolved URL to the login items.");
        return false;
    }
    if (LoginItem::addLoginItemWithPath(*path, true)) return true;
    logLine(kFunction, std::string("Could not add ") + kHelperName + " to the user‘s login items.");
    showAlertSheetWithTitle(tr("Automatic sorting error"),
                            tr("Cannot add %@ to your login items. The automatic bookmark sorting will therefor "
                               "unfortunately not be enabled by itself the next time you log in to OS X."),
                            {QString::fromLatin1(kHelperName)});
    return false;
}

bool AppDelegate::removeHelperApplicationFromLoginItems() {
    // The item is looked for where the helper belongs, also when it is no longer there.
    if (LoginItem::removeLoginItemWithPath(helperExecutablePath())) return true;
    logLine("-[AppDelegate removeHelperApplicationFromLoginItems]",
            std::string("Could not remove ") + kHelperName + " from the user‘s login items.");
    return false;
}

void AppDelegate::toggleAutoSortMode(QCheckBox* sender) {
    updateSortBookmarksButtonTitle();
    if (sender->isChecked())
        addHelperApplicationAsLoginItem();
    else
        removeHelperApplicationFromLoginItems();
}

void AppDelegate::handleHelperApplicationError() {
    const std::optional<QVariant> stored = Settings::storedObjectForKey(keys::LastHelperError);
    if (!stored) return;
    // Each failure is reported once, whatever happens next.
    Settings::removeObject(keys::LastHelperError);
    const auto code = static_cast<std::uint32_t>(stored->toLongLong());
    if (code == 0) return;
    if (code == kHelperAsksForUpdateCheck) {
        platform_.updater.checkForUpdates();
        return;
    }
    if (Orvane::isOrvaneError(code)) {
        showOrvaneError(code);
        return;
    }
    const QString title = tr("Automatic sorting error");
    if (code == kHelperClearedError) return;
    if (code == kHelperCannotWatch)
        return void(
            showAlertSheetWithTitle(title, tr("Could not begin watching the bookmarks file for modification "
                                              "events.\n\nThis problem is very rare. A restart of your computer "
                                              "will probably solve the error.")));
    // Any other code is unknown to the engine too, which words it the same way, number included.
    showAlertSheetWithTitle(title, QString::fromStdString(Orvane::stringFromOVError(code, {})));
}

}  // namespace orvane
