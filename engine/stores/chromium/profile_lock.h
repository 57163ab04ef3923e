// Whether a running browser of Chromium's family holds a profile. The browser marks its
// user-data folder (the folder above the profiles; Opera's profile folder itself) with a
// symbolic link "SingletonLock" whose target is "HOSTNAME-PID", and removes it when it quits.
// A lock of a process that is gone (or whose number another program now has) is left by a
// crash and holds nothing; a lock from another computer sharing the folder counts as held, as
// the browser itself counts it.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace orvane::chromium {

struct ProfileHolder {
    std::string browser;         // "Chromium", "Google Chrome", ...
    std::string where;           // "process 1234", or "the computer HOST"
    std::filesystem::path lock;  // the "SingletonLock" link
};

// The holder of the profile whose bookmarks file this is, or nothing when none holds it.
std::optional<ProfileHolder> profileHolder(const std::filesystem::path& bookmarksFile);

// The host name the browser writes into its lock.
std::string hostName();

}  // namespace orvane::chromium
