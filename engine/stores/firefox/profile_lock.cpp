#include "stores/firefox/profile_lock.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>
#include <cerrno>
#include <climits>
#include <string>

namespace orvane::firefox {

ProfileLock::~ProfileLock() {
    if (fd_ >= 0) ::close(fd_);
}

int ProfileLock::openLockFile(bool create) {
    if (fd_ < 0) fd_ = ::open((folder_ / ".parentlock").c_str(), O_RDWR | O_CLOEXEC | (create ? O_CREAT : 0), 0644);
    return fd_;
}

std::optional<pid_t> ProfileLock::holder() {
    if (held_) return std::nullopt;
    if (openLockFile(false) >= 0) {
        struct flock lock {};
        lock.l_type = F_WRLCK;
        lock.l_whence = SEEK_SET;
        if (::fcntl(fd_, F_GETLK, &lock) == 0 && lock.l_type != F_UNLCK) return lock.l_pid;
        return std::nullopt;
    }
    // No fcntl lock to look at: a link "ADDRESS:PID" (without "+") and a live process.
    char target[PATH_MAX];
    const ssize_t n = ::readlink((folder_ / "lock").c_str(), target, sizeof target - 1);
    if (n <= 0) return std::nullopt;
    const std::string link(target, static_cast<std::size_t>(n));
    const std::size_t colon = link.rfind(':');
    if (colon == std::string::npos || link.compare(colon + 1, 1, "+") == 0) return std::nullopt;
    const long pid = std::strtol(link.c_str() + colon + 1, nullptr, 10);
    if (pid <= 0 || pid > INT_MAX) return std::nullopt;
    if (::kill(static_cast<pid_t>(pid), 0) != 0 && errno == ESRCH) return std::nullopt;
    return static_cast<pid_t>(pid);
}

bool ProfileLock::acquire() {
    if (held_) return true;
    if (openLockFile(true) < 0) return true;  // a folder we may not write: nothing to lock
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    held_ = ::fcntl(fd_, F_SETLK, &lock) == 0;
    return held_;
}

void ProfileLock::release() {
    if (!held_) return;
    struct flock lock {};
    lock.l_type = F_UNLCK;
    lock.l_whence = SEEK_SET;
    ::fcntl(fd_, F_SETLK, &lock);
    held_ = false;
}

}  // namespace orvane::firefox
