// Where Safari keeps its bookmarks unless the user says otherwise: what the programs and the
// profile finder need of Safari without the store itself.
#pragma once

#include <string_view>

namespace orvane::safari {

inline constexpr std::string_view kDefaultBookmarksFile = "~/Library/Safari/Bookmarks.plist";

}  // namespace orvane::safari
