// A service call that arrives within one second of the end of launching (either side, the bound
// included) is taken to be why the program was launched.
#pragma once

#include <QDateTime>
#include <cmath>
#include <optional>

namespace orvane {

inline bool isServiceCallInterval(const std::optional<QDateTime>& startup, const std::optional<QDateTime>& call) {
    if (!call || !startup || !startup->isValid() || !call->isValid()) return false;
    return std::abs(startup->msecsTo(*call)) <= 1000;
}

}  // namespace orvane
