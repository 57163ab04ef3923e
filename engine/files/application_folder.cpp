#include "files/application_folder.h"

#include <cstdlib>

#include "files/paths.h"

namespace orvane {

std::filesystem::path applicationFolder() {
    std::filesystem::path data;
    // The base directory specification tells programs to ignore a relative XDG_DATA_HOME.
    if (const char* xdg = std::getenv("XDG_DATA_HOME"); xdg && *xdg == '/')
        data = xdg;
    else
        data = expandTilde("~/.local/share");
    return data / "Orvane";
}

std::filesystem::path initialBackupFilename(const std::filesystem::path& folder) {
    return folder / "Bookmarks (Initial Copy).plist";
}

std::filesystem::path initialBackupFilename() { return initialBackupFilename(applicationFolder()); }

}  // namespace orvane
