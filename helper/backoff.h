// When the bookmarks file changes again right after each sort (a sync service writing its own
// order back, say), sorting at once would only start a tug of war. The helper then waits before
// asking, doubling the wait each time the file comes back quickly, up to five minutes; a change
// that comes after a quiet spell is sorted at once again.
#pragma once

#include <QDateTime>
#include <optional>

namespace orvane {

struct Backoff {
    // A change within this long of the last sort request counts as coming right back.
    static constexpr qint64 kQuickReturnMs = 30'000;
    static constexpr qint64 kFirstWaitMs = 5'000;
    static constexpr qint64 kLongestWaitMs = 300'000;

    std::optional<QDateTime> lastRequest;
    qint64 waitMs = 0;  // the wait used for the last request, 0 when it went at once

    // How long to wait before asking for a sort of a change seen at `now`; updates the wait.
    qint64 waitBeforeRequest(const QDateTime& now);
    void noteRequest(const QDateTime& now) { lastRequest = now; }
};

}  // namespace orvane
