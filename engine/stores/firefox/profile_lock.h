// Whether a browser of Firefox's family runs with a profile, and keeping it from starting while
// the profile's bookmarks are written. The browser holds an fcntl write lock on the whole of the
// profile's ".parentlock" for as long as it runs; the kernel drops it when the browser ends, even
// when it is killed. The "lock" link beside it says less: it survives an ordinary quit, and only
// one without a "+" (a file system without fcntl locks) is worth a look at its process.
#pragma once

#include <sys/types.h>
#include <filesystem>
#include <optional>

namespace orvane::firefox {

class ProfileLock {
public:
    explicit ProfileLock(std::filesystem::path profileFolder) : folder_(std::move(profileFolder)) {}
    ~ProfileLock();
    ProfileLock(const ProfileLock&) = delete;
    ProfileLock& operator=(const ProfileLock&) = delete;

    // The process of another program that holds the profile (0 when it cannot be told), or nothing.
    std::optional<pid_t> holder();
    // Takes the lock the browser takes, so that it cannot start until release(); false when
    // another process holds it.
    bool acquire();
    void release();

private:
    int openLockFile(bool create);

    std::filesystem::path folder_;
    int fd_ = -1;  // one descriptor only: closing any descriptor of the file drops the lock
    bool held_ = false;
};

}  // namespace orvane::firefox
