#include "files/paths.h"

#include <pwd.h>
#include <unistd.h>
#include <cstdlib>

namespace orvane {

std::string homeFolder() {
    if (const char* home = std::getenv("HOME"); home && *home) return home;
    if (const passwd* entry = ::getpwuid(::getuid()); entry && entry->pw_dir) return entry->pw_dir;
    return "/";
}

std::filesystem::path expandTilde(std::string_view path) {
    if (path == "~") return homeFolder();
    if (path.starts_with("~/")) return std::filesystem::path(homeFolder()) / path.substr(2);
    return std::filesystem::path(path);
}

}  // namespace orvane
