#include "safari_bug.h"

#include <QStringList>

#include "files/atomic_file.h"
#include "plist/codec.h"
#include "plist/coerce.h"
#include "support/log.h"

namespace orvane {

bool isSafariVersionOutdated(const std::optional<QString>& shortVersion) {
    if (!shortVersion) return true;
    const QStringList parts = shortVersion->split(QLatin1Char('.'));
    // Like intValue: the leading integer of each part, 0 when there is none.
    auto part = [&](qsizetype i) {
        return i < parts.size() ? integerValue(plist::Value::string(parts[i].toStdString())) : 0;
    };
    const long long major = part(0), minor = part(1), patch = part(2);
    if (major != 5) return major < 5;
    if (minor <= 0) return true;
    return minor == 1 && patch <= 0;
}

bool safariBug_isSafariOutdated(SafariWorld& safari) { return isSafariVersionOutdated(safari.bundleShortVersion()); }

bool safariBug_isTheBookmarksBarVisisble(SafariWorld& safari) {
    const std::filesystem::path path = safari.preferencesFilename().toStdString();
    std::error_code ec;
    if (!std::filesystem::exists(path, ec)) return true;

    std::vector<std::uint8_t> bytes;
    plist::ReadResult result;
    if (IoError error = readWholeFile(path, bytes); !error.ok())
        result.status = plist::ParseStatus::atByte(0, error.message);
    else
        result = plist::readPropertyList(bytes);
    if (result) {
        const plist::Dictionary* preferences = result.value.asDictionary();
        const plist::Value* show = preferences ? preferences->find("ShowFavoritesBar") : nullptr;
        return show && boolValue(*show);
    }
    logLine("BOOL safariBug_isTheBookmarksBarVisisble()",
            "Could not read Safari‘s preferences: " + result.status.description() +
                ", format: " + std::to_string(static_cast<long>(result.format)));
    return true;
}

void safariBug_activateApplications(SafariWorld& safari, const QList<RunningApplication>& applications) {
    for (const RunningApplication& application : applications) safari.activate(application);
    safari.sleepForTimeInterval(0.1);
    safari.activateCurrentApplication();
}

void safariBug_refreshSafari(SafariWorld& safari) {
    const QList<RunningApplication> running = safari.runningApplicationsWithBundleIdentifier(kSafariBundleIdentifier);
    // In this order, so that the preferences are read only when the other two tests pass.
    if (!running.isEmpty() && safariBug_isSafariOutdated(safari) && safariBug_isTheBookmarksBarVisisble(safari))
        safariBug_activateApplications(safari, running);
}

}  // namespace orvane
