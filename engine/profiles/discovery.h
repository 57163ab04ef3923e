// Finding the bookmarks of every browser profile the user has, so that nobody needs to know
// where a browser keeps them: Safari's file, the profiles of Chromium's family (each a folder of
// the browser's configuration folder that holds a "Bookmarks" file, named in "Local State"),
// and those of Firefox's family (listed in "profiles.ini", the default one named in
// "installs.ini"), in the places where distributions, Snap and Flatpak put them.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orvane {

struct BrowserProfile {
    std::string browser;      // the browser's id: "safari", "chromium", "google-chrome", "firefox", ...
    std::string browserName;  // for people: "Google Chrome"
    std::string name;         // the profile's name as the browser shows it: "Work", "default-release"
    std::string folder;       // the profile's folder name: "Profile 1"
    std::filesystem::path bookmarksFile;
    bool isDefault = false;  // the profile the browser opens unless told otherwise
};

struct Discovery {
    std::vector<BrowserProfile> profiles;  // Safari first, then Firefox's family, then Chromium's
    std::vector<std::string> problems;     // files that could not be read, each with its reason
};

// Looks in the home folder (HOME) and the configuration folder (XDG_CONFIG_HOME).
Discovery discoverProfiles();

// The profile "ID" (its browser's default one) or "ID:PROFILE" (by name or folder name) names;
// nothing, with `why` listing what exists, when there is none.
std::optional<BrowserProfile> findProfile(const Discovery& found, std::string_view choice, std::string& why);

// The browser ids discovery knows, in the order it lists them.
std::vector<std::string_view> browserIds();

}  // namespace orvane
