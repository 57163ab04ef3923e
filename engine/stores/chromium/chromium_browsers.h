// The browsers of Chromium's family that keep their bookmarks in Chromium's "Bookmarks" file,
// where each keeps its profiles, and the names of their programs.
#pragma once

#include <filesystem>
#include <optional>
#include <span>
#include <string_view>

namespace orvane::chromium {

struct Browser {
    std::string_view id;                         // "google-chrome", as orvane-cli names it
    std::string_view name;                       // "Google Chrome", for people
    std::string_view configFolder;               // under $XDG_CONFIG_HOME
    std::string_view flatpakId;                  // under ~/.var/app, "" when there is none
    std::span<const std::string_view> programs;  // the browser process's executable names
};

std::span<const Browser> browsers();

// The file's path from the root, with "." and ".." worked out: a name relative to the working
// folder ("Bookmarks", "./Bookmarks") tells nothing of the folders the profile lies in, which
// name the browser and hold its lock. As it was when the working folder is unknown.
std::filesystem::path wholePath(const std::filesystem::path& file);

// The browser whose configuration folder holds `bookmarksFile`, told by the folder's name;
// nothing for a file elsewhere.
std::optional<Browser> browserOwning(const std::filesystem::path& bookmarksFile);
// The browser whose program has this executable name.
std::optional<Browser> browserRunning(std::string_view executableName);

}  // namespace orvane::chromium
