#include "stores/chromium/profile_lock.h"

#include <signal.h>
#include <unistd.h>
#include <cerrno>
#include <climits>
#include <system_error>

#include "stores/chromium/chromium_browsers.h"

namespace orvane::chromium {
namespace fs = std::filesystem;

namespace {

std::optional<std::string> readLink(const fs::path& path) {
    char target[PATH_MAX];
    const ssize_t n = ::readlink(path.c_str(), target, sizeof target);
    if (n <= 0) return std::nullopt;
    return std::string(target, static_cast<std::size_t>(n));
}

// The process's program, its executable's name without " (deleted)" when it was replaced by an
// update since it started.
std::string programOf(pid_t pid) {
    std::string exe = readLink("/proc/" + std::to_string(pid) + "/exe").value_or("");
    if (const std::size_t deleted = exe.rfind(" (deleted)"); deleted != std::string::npos && deleted + 10 == exe.size())
        exe.resize(deleted);
    return fs::path(exe).filename().string();
}

// Whether the process has a file open in the folder: a browser of a name we do not know still
// keeps its profile's databases open.
bool hasFilesOpenIn(pid_t pid, const fs::path& folder) {
    std::error_code error;
    const std::string prefix = fs::weakly_canonical(folder, error).string() + "/";
    for (const auto& entry : fs::directory_iterator("/proc/" + std::to_string(pid) + "/fd", error)) {
        const std::optional<std::string> target = readLink(entry.path());
        if (target && target->starts_with(prefix)) return true;
    }
    return false;
}

std::optional<ProfileHolder> holderOf(const fs::path& userData, const fs::path& bookmarksFile) {
    const fs::path lock = userData / "SingletonLock";
    const std::optional<std::string> target = readLink(lock);
    if (!target) return std::nullopt;
    // "HOSTNAME-PID": the host name may hold dashes, the process number does not.
    const std::size_t dash = target->rfind('-');
    if (dash == std::string::npos || dash == 0) return std::nullopt;
    const std::string host = target->substr(0, dash);
    long pid = 0;
    try {
        pid = std::stol(target->substr(dash + 1));
    } catch (...) {
        return std::nullopt;
    }
    const std::string owner(browserOwning(bookmarksFile).value_or(browsers().front()).name);
    if (host != hostName()) return ProfileHolder{owner, "the computer " + host, lock};
    if (pid <= 0 || pid > INT_MAX) return std::nullopt;
    if (::kill(static_cast<pid_t>(pid), 0) != 0 && errno == ESRCH) return std::nullopt;
    const std::string program = programOf(static_cast<pid_t>(pid));
    const std::optional<Browser> running = browserRunning(program);
    if (!running && !hasFilesOpenIn(static_cast<pid_t>(pid), userData)) return std::nullopt;
    const std::string name = browserOwning(bookmarksFile) ? owner : running ? std::string(running->name) : program;
    return ProfileHolder{name, "process " + std::to_string(pid), lock};
}

}  // namespace

std::string hostName() {
    char name[HOST_NAME_MAX + 1] = {};
    if (::gethostname(name, sizeof name - 1) != 0) return {};
    return name;
}

std::optional<ProfileHolder> profileHolder(const fs::path& bookmarksFile) {
    // The profile's folder, and the user-data folder above it.
    const fs::path profile = wholePath(bookmarksFile).parent_path();
    for (const fs::path& folder : {profile, profile.parent_path()})
        if (std::optional<ProfileHolder> holder = holderOf(folder, bookmarksFile)) return holder;
    return std::nullopt;
}

}  // namespace orvane::chromium
