#include "files/file_identity.h"

#include <sys/stat.h>
#include <thread>

namespace orvane {

FileIdentity identityOf(const struct stat& st) {
    constexpr std::int64_t kBillion = 1'000'000'000;
    return {st.st_dev, st.st_ino, static_cast<std::int64_t>(st.st_size),
            static_cast<std::int64_t>(st.st_mtim.tv_sec) * kBillion + st.st_mtim.tv_nsec,
            static_cast<std::int64_t>(st.st_ctim.tv_sec) * kBillion + st.st_ctim.tv_nsec};
}

std::optional<FileIdentity> identityOf(const std::filesystem::path& path) {
    struct stat st;
    if (::stat(path.c_str(), &st) != 0) return std::nullopt;
    return identityOf(st);
}

std::optional<FileIdentity> identityOfEntry(const std::filesystem::path& path) {
    struct stat st;
    if (::lstat(path.c_str(), &st) != 0) return std::nullopt;
    return identityOf(st);
}

bool changesWithin(const std::filesystem::path& path, const FileIdentity& identity, std::chrono::milliseconds time) {
    constexpr std::chrono::milliseconds kStep{10};
    for (std::chrono::milliseconds waited{0};; waited += kStep) {
        if (identityOf(path) != identity) return true;
        if (waited >= time) return false;
        std::this_thread::sleep_for(kStep);
    }
}

}  // namespace orvane
