// Working around Safari: whether the installed Safari is too old to notice a rewritten bookmarks
// file on its own, whether it shows its Bookmarks Bar, and bringing it forward briefly so that
// it reloads the bar after a sort.
#pragma once

#include <QList>
#include <QString>
#include <optional>

#include "platform.h"

namespace orvane {

inline constexpr char kSafariBundleIdentifier[] = "com.apple.Safari";

// True for no version at all and for versions below 5.1.1 ("5.1" and "5.1.0" included); a part
// that is missing or not a number counts as 0.
bool isSafariVersionOutdated(const std::optional<QString>& shortVersion);

// True when Safari is missing or older than 5.1.1.
bool safariBug_isSafariOutdated(SafariWorld& safari);
// True when Safari shows, or may show, its Bookmarks Bar: a missing or unreadable preferences
// file counts as showing it (unreadable also logs why).
bool safariBug_isTheBookmarksBarVisisble(SafariWorld& safari);
// Brings each application forward, waits a tenth of a second, and brings this one back.
void safariBug_activateApplications(SafariWorld& safari, const QList<RunningApplication>& applications);
// After a successful sort: a running, outdated Safari that shows its bar is brought forward.
void safariBug_refreshSafari(SafariWorld& safari);

}  // namespace orvane
