#include "files/atomic_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <cerrno>
#include <climits>
#include <cstring>

#include "files/new_file.h"

namespace orvane {
namespace fs = std::filesystem;

namespace {

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

// Someone replacing another user's file (root, or a member of the file's group where its mode
// lets the group write) gives the new file the old one's owner and group; a caller who may not
// give files away keeps at least the group when it is one of the caller's.
void keepOwnerAndGroup(int fd, const struct stat& old) {
    struct stat now;
    if (::fstat(fd, &now) == 0 && now.st_uid == old.st_uid && now.st_gid == old.st_gid) return;
    if (::fchown(fd, old.st_uid, old.st_gid) == 0) return;
    // Failing that too, the new file keeps the caller's group and is written all the same.
    const int groupOnly = ::fchown(fd, static_cast<uid_t>(-1), old.st_gid);
    static_cast<void>(groupOnly);
}

// Extended attributes travel with the contents (tags, a desktop's notes on the file). What the
// new file cannot take (another namespace, a file system without them) is left behind quietly.
void keepExtendedAttributes(const fs::path& from, int to) {
    const ssize_t size = ::listxattr(from.c_str(), nullptr, 0);
    if (size <= 0) return;
    std::vector<char> names(static_cast<std::size_t>(size));
    const ssize_t listed = ::listxattr(from.c_str(), names.data(), names.size());
    if (listed <= 0) return;
    std::vector<char> value;
    for (std::size_t at = 0; at < static_cast<std::size_t>(listed); at += std::strlen(names.data() + at) + 1) {
        const char* name = names.data() + at;
        const ssize_t length = ::getxattr(from.c_str(), name, nullptr, 0);
        if (length < 0) continue;
        value.resize(static_cast<std::size_t>(length));
        if (::getxattr(from.c_str(), name, value.data(), value.size()) != length) continue;
        ::fsetxattr(to, name, value.data(), value.size(), 0);
    }
}

}  // namespace

WriteOptions keepingPermissions(unsigned permissions) {
    WriteOptions options;
    options.permissions = permissions;
    return options;
}

IoError errnoError(const std::string& what, const fs::path& path, int errnum) {
    return {errnum, what + " " + path.string() + ": " + std::strerror(errnum)};
}

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
        position_ += static_cast<std::uint64_t>(w);
    }
    // The disk starts on what is written while the rest is made, so that the flush before the
    // rename waits only for the end. A hint: durability still rests on that flush.
    if (position_ - started_ >= kWritebackStep) {
        ::sync_file_range(fd_, static_cast<off_t>(started_), static_cast<off_t>(position_ - started_),
                          SYNC_FILE_RANGE_WRITE);
        started_ = position_;
    }
}

void DescriptorSink::overwrite(std::uint64_t offset, std::string_view bytes) {
    for (std::size_t done = 0; done < bytes.size() && errnum_ == 0;) {
        const ssize_t w = ::pwrite(fd_, bytes.data() + done, bytes.size() - done, static_cast<off_t>(offset + done));
        if (w < 0) {
            if (errno != EINTR) errnum_ = errno;
            continue;
        }
        done += static_cast<std::size_t>(w);
    }
    // A large part written at its place (by a writer that writes two parts at once) is started
    // on at once too, as write() starts on what it writes.
    if (bytes.size() >= kWritebackStep / 16)
        ::sync_file_range(fd_, static_cast<off_t>(offset), static_cast<off_t>(bytes.size()), SYNC_FILE_RANGE_WRITE);
}

namespace {

// Reads an open file to its end, room made for the size it had when opened (and a byte more, to
// see the end at once) and more if it grows meanwhile.
template <class Bytes>
IoError readAll(const ReadableFile& file, const fs::path& path, Bytes& bytes) {
    bytes.clear();
    bytes.resize(static_cast<std::size_t>(file.st.st_size) + 1);
    std::size_t used = 0;
    for (;;) {
        if (used == bytes.size()) bytes.resize(bytes.size() * 2);
        const ssize_t n = ::read(file.fd, bytes.data() + used, bytes.size() - used);
        if (n < 0) {
            if (errno == EINTR) continue;
            return errnoError("cannot read", path, errno);
        }
        if (n == 0) break;
        used += static_cast<std::size_t>(n);
    }
    bytes.resize(used);
    return {};
}

}  // namespace

IoError readSnapshot(const fs::path& path, FileSnapshot& out) {
    ReadableFile file;
    if (IoError error = file.open(path, "read"); !error.ok()) return error;
    out.identity = identityOf(file.st);
    out.permissions = file.st.st_mode & 07777;
    if (IoError error = readAll(file, path, out.bytes); !error.ok()) return error;
    struct stat after;
    out.settled = ::fstat(file.fd, &after) == 0 && identityOf(after) == out.identity;
    return {};
}

IoError readWholeFile(const fs::path& path, std::vector<std::uint8_t>& out) {
    ReadableFile file;
    if (IoError error = file.open(path, "read"); !error.ok()) return error;
    return readAll(file, path, out);
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

IoError writeFileAtomically(const fs::path& path, const Producer& produce, const WriteOptions& options) {
    const fs::path target = resolveLinks(path);
    struct stat old;
    const bool replacing = ::stat(target.c_str(), &old) == 0;
    if (replacing) {
        // Renaming over a file needs only the folder's permission; the file's own mode says
        // whether its owner lets the caller change it.
        if (!S_ISREG(old.st_mode)) return {EINVAL, notRegular(target, old.st_mode, "replace")};
        if (::faccessat(AT_FDCWD, target.c_str(), W_OK, AT_EACCESS) != 0)
            return errnoError("cannot replace", target, errno);
    }
    removeStaleTemporaries(target.has_parent_path() ? target.parent_path() : fs::path("."), target.filename().string());

    NewFile file;
    if (IoError error = file.create(target); !error.ok()) return error;
    DescriptorSink sink(file.fd());
    if (std::string error = produce(sink); !error.empty()) {
        if (sink.failed()) return errnoError("cannot write", target, sink.errnum());
        return {0, error};
    }
    if (sink.failed()) return errnoError("cannot write", target, sink.errnum());

    std::optional<unsigned> permissions = options.permissions;
    if (replacing) {
        keepOwnerAndGroup(file.fd(), old);
        keepExtendedAttributes(target, file.fd());
        if (!permissions) permissions = old.st_mode & 07777;
    }
    // After the owner, whose change clears the set-user and set-group bits.
    if (permissions && ::fchmod(file.fd(), static_cast<mode_t>(*permissions)) != 0)
        return errnoError("cannot set the permissions of the new file beside", target, errno);
    if (options.flush(file.fd()) != 0) return errnoError("cannot flush", target, errno);
    if (IoError error =
            options.onlyIfStill ? file.replaceTargetIfStill(*options.onlyIfStill, options.hooks) : file.replaceTarget();
        !error.ok())
        return error;

    // Make the rename itself durable; a failure here leaves a complete file either way.
    const fs::path folder = target.has_parent_path() ? target.parent_path() : fs::path(".");
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
        keepingPermissions(file.st.st_mode & 07777));
    if (readError != 0) result.errnum = readError;
    return result;
}

IoError writeBytesAtomically(const fs::path& path, std::span<const std::uint8_t> bytes,
                             const WriteOptions& options) {
    return writeFileAtomically(
        path,
        [&](plist::Sink& sink) {
            sink.write(bytes.data(), bytes.size());
            return std::string();
        },
        options);
}

}  // namespace orvane
