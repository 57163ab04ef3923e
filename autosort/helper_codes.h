// What orvane-helper leaves in the setting "LastHelperError" for orvane's next launch, besides
// the sort job's own codes (0 to 8, 70, 71) when a sort it ran itself failed.
#pragma once

#include <cstdint>

namespace orvane {

inline constexpr std::uint32_t kHelperClearedError = 100;        // nothing to tell the user
inline constexpr std::uint32_t kHelperCannotWatch = 101;         // the bookmarks file could not be watched
inline constexpr std::uint32_t kHelperAsksForUpdateCheck = 103;  // orvane should look for an update

}  // namespace orvane
