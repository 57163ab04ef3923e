#include "atomic_file.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <random>
#include <sys/stat.h>
#include <unistd.h>

namespace orvane {
namespace fs = std::filesystem;

namespace {

IoError errnoError(const std::string& what, const fs::path& path, int errnum) {
    return {errnum, what + " " + path.string() + ": " + std::strerror(errnum)};
}

// Closes the descriptor when the scope ends, and removes the file unless told to keep it.
class TempFile {
public:
    TempFile(int fd, fs::path path) : fd_(fd), path_(std::move(path)) {}
    ~TempFile() {
        if (fd_ >= 0) ::close(fd_);
        if (!kept_) ::unlink(path_.c_str());
    }
    TempFile(const TempFile&) = delete;
    TempFile& operator=(const TempFile&) = delete;
    int fd() const { return fd_; }
    const fs::path& path() const { return path_; }
    int close() {
        int rc = ::close(fd_);
        fd_ = -1;
        return rc;
    }
    void keep() { kept_ = true; }

private:
    int fd_;
    fs::path path_;
    bool kept_ = false;
};

// What a file that is not a regular file is, for messages.
std::string notRegular(const fs::path& path, mode_t mode, const char* verb) {
    const char* kind = S_ISDIR(mode)    ? "a folder"
                       : S_ISFIFO(mode) ? "a FIFO (named pipe)"
                       : S_ISSOCK(mode) ? "a socket"
                       : S_ISCHR(mode)  ? "a character device"
                       : S_ISBLK(mode)  ? "a block device"
                                        : "something else";
    return std::string("cannot ") + verb + " " + path.string() + ": it is " + kind + ", not a regular file";
}

// A regular file open for reading, closed when the scope ends.
struct ReadableFile {
    int fd = -1;
    struct stat st {};
    ReadableFile() = default;
    ReadableFile(const ReadableFile&) = delete;
    ReadableFile& operator=(const ReadableFile&) = delete;
    ~ReadableFile() {
        if (fd >= 0) ::close(fd);
    }
    // `verb` says what the caller does with it, for the error: "cannot copy x: it is a folder, ...".
    IoError open(const fs::path& path, const char* verb) {
        // Opening a FIFO waits for a writer and opening a device may act on it: look first, and
        // open without waiting in case the file is swapped meanwhile.
        if (::stat(path.c_str(), &st) != 0) return errnoError("cannot open", path, errno);
        if (!S_ISREG(st.st_mode)) return {EINVAL, notRegular(path, st.st_mode, verb)};
        fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
        if (fd < 0) return errnoError("cannot open", path, errno);
        if (::fstat(fd, &st) != 0) return errnoError("cannot read", path, errno);
        if (!S_ISREG(st.st_mode)) return {EINVAL, notRegular(path, st.st_mode, verb)};
        if (const int flags = ::fcntl(fd, F_GETFL); flags >= 0) ::fcntl(fd, F_SETFL, flags & ~O_NONBLOCK);
        return {};
    }
};

}  // namespace

void DescriptorSink::write(const void* bytes, std::size_t n) {
    const char* p = static_cast<const char*>(bytes);
    while (n > 0 && errnum_ == 0) {
        ssize_t w = ::write(fd_, p, n);
        if (w < 0) {
            if (errno != EINTR) errnum_ = errno;
            continue;
        }
        p += w;
        n -= static_cast<std::size_t>(w);
    }
}

IoError readWholeFile(const fs::path& path, std::vector<std::uint8_t>& out) {
    ReadableFile file;
    if (IoError error = file.open(path, "read"); !error.ok()) return error;
    const int fd = file.fd;
    const struct stat& st = file.st;
    // Read straight into the result; keep going past the size seen if the file grows meanwhile.
    out.resize(static_cast<std::size_t>(st.st_size) + 1);
    std::size_t used = 0;
    for (;;) {
        if (used == out.size()) out.resize(out.size() * 2);
        ssize_t n = ::read(fd, out.data() + used, out.size() - used);
        if (n < 0) {
            if (errno == EINTR) continue;
            return errnoError("cannot read", path, errno);
        }
        if (n == 0) break;
        used += static_cast<std::size_t>(n);
    }
    out.resize(used);
    return {};
}

fs::path resolveLinks(const fs::path& path) {
    fs::path current = path;
    for (int hops = 0; hops < 40; ++hops) {
        struct stat st;
        if (::lstat(current.c_str(), &st) != 0 || !S_ISLNK(st.st_mode)) return current;
        std::string target(static_cast<std::size_t>(st.st_size > 0 ? st.st_size : PATH_MAX), '\0');
        ssize_t n = ::readlink(current.c_str(), target.data(), target.size());
        if (n < 0) return current;
        target.resize(static_cast<std::size_t>(n));
        fs::path next(target);
        current = next.is_absolute() ? next : (current.parent_path() / next).lexically_normal();
    }
    return current;
}

IoError writeFileAtomically(const fs::path& path, const Producer& produce, std::optional<unsigned> permissions) {
    const fs::path target = resolveLinks(path);
    const fs::path folder = target.has_parent_path() ? target.parent_path() : fs::path(".");
    if (struct stat old; ::stat(target.c_str(), &old) == 0 && !S_ISREG(old.st_mode))
        return {EINVAL, notRegular(target, old.st_mode, "replace")};

    int fd = -1;
    fs::path tempPath;
    std::random_device random;
    for (int attempt = 0; attempt < 16 && fd < 0; ++attempt) {
        std::string name = ".";
        name.append(target.filename().string()).append(".orvane-").append(std::to_string(random() % 1000000000));
        tempPath = folder / name;
        fd = ::open(tempPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd < 0 && errno != EEXIST) return errnoError("cannot create a new file beside", target, errno);
    }
    if (fd < 0) return errnoError("cannot create a new file beside", target, EEXIST);
    TempFile temp(fd, tempPath);

    DescriptorSink sink(fd);
    if (std::string error = produce(sink); !error.empty()) {
        if (sink.failed()) return errnoError("cannot write", tempPath, sink.errnum());
        return {0, error};
    }
    if (sink.failed()) return errnoError("cannot write", tempPath, sink.errnum());

    struct stat st;
    if (!permissions && ::stat(target.c_str(), &st) == 0) permissions = st.st_mode & 07777;
    if (permissions && ::fchmod(fd, static_cast<mode_t>(*permissions)) != 0)
        return errnoError("cannot set the permissions of", tempPath, errno);
    if (::fsync(fd) != 0) return errnoError("cannot flush", tempPath, errno);
    if (temp.close() != 0) return errnoError("cannot close", tempPath, errno);
    if (::rename(tempPath.c_str(), target.c_str()) != 0) return errnoError("cannot replace", target, errno);
    temp.keep();

    // Make the rename itself durable; a failure here leaves a complete file either way.
    if (int dir = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); dir >= 0) {
        ::fsync(dir);
        ::close(dir);
    }
    return {};
}

IoError copyFileAtomically(const fs::path& from, const fs::path& to) {
    ReadableFile file;
    if (IoError error = file.open(from, "copy"); !error.ok()) return error;
    const int fd = file.fd;
    int readError = 0;
    IoError result = writeFileAtomically(
        to,
        [&](plist::Sink& sink) -> std::string {
            std::vector<char> buffer(1 << 16);
            for (;;) {
                const ssize_t n = ::read(fd, buffer.data(), buffer.size());
                if (n < 0 && errno == EINTR) continue;
                if (n < 0) {
                    readError = errno;
                    return "cannot read " + from.string() + ": " + std::strerror(errno);
                }
                if (n == 0 || sink.failed()) return "";
                sink.write(buffer.data(), static_cast<std::size_t>(n));
            }
        },
        file.st.st_mode & 07777);
    if (readError != 0) result.errnum = readError;
    return result;
}

}  // namespace orvane
