#include "backoff.h"

#include <algorithm>

namespace orvane {

qint64 Backoff::waitBeforeRequest(const QDateTime& now) {
    const bool quickReturn =
        lastRequest && lastRequest->msecsTo(now) >= 0 && lastRequest->msecsTo(now) < kQuickReturnMs;
    waitMs = quickReturn ? std::min(waitMs == 0 ? kFirstWaitMs : waitMs * 2, kLongestWaitMs) : 0;
    return waitMs;
}

}  // namespace orvane
