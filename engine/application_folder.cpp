#include "application_folder.h"

#include <cstdlib>

#include "orvane.h"

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

std::filesystem::path initialBackupFilename() { return applicationFolder() / "Bookmarks (Initial Copy).plist"; }

}  // namespace orvane
