// Paths as people write them.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace orvane {

// The user's home folder: HOME, else the password database's entry, else "/".
std::string homeFolder();

// A path with a leading "~" (alone or followed by "/") replaced by the user's home folder.
std::filesystem::path expandTilde(std::string_view path);

}  // namespace orvane
