// Where Orvane keeps files of its own: the application folder in the user's data folder, and the
// initial backup of the bookmarks file in it. Plain functions with no dependency on the command
// line, so that the desktop application and the helper use the same paths.
#pragma once

#include <filesystem>

namespace orvane {

// "$XDG_DATA_HOME/Orvane", with XDG_DATA_HOME taken as "~/.local/share" when it is unset, empty or
// not an absolute path. Computed afresh on every call; the folder is not created here (the sort
// job creates it when it first writes the backup).
std::filesystem::path applicationFolder();

// "Bookmarks (Initial Copy).plist" in the application folder: the backup that a sort writes once
// and a restore puts back.
std::filesystem::path initialBackupFilename();
// The same file in another application folder (the one orvane-helper is told of).
std::filesystem::path initialBackupFilename(const std::filesystem::path& applicationFolder);

}  // namespace orvane
