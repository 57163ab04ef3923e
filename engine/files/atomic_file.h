// Whole-file reading, and writing that never leaves a file half written: the new contents go to
// a new file beside the target (new_file.h), are flushed to disk, take the target's permission
// bits, owner, group and extended attributes and are renamed over it. A symbolic link at the
// target path is followed, so the link stays a link and the file it points to gets the new
// contents.
#pragma once

#include <unistd.h>
#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "files/file_bytes.h"
#include "files/file_identity.h"
#include "files/new_file.h"
#include "plist/codec.h"

namespace orvane {

struct IoError {
    int errnum = 0;       // errno of the failing call, 0 when none
    std::string message;  // "cannot open /x/y: No such file or directory"
    // A conditional write found the target changed since it was read, and left it alone.
    bool targetChanged = false;
    bool ok() const { return message.empty(); }
};

// "what path: strerror(errnum)", with errnum kept.
IoError errnoError(const std::string& what, const std::filesystem::path& path, int errnum);

// Writes to an open descriptor; after the first failure it writes nothing more and keeps errno.
class DescriptorSink final : public plist::Sink {
public:
    explicit DescriptorSink(int fd) : fd_(fd) {}
    void write(const void* bytes, std::size_t n) override;
    using Sink::write;
    bool failed() const override { return errnum_ != 0; }
    std::uint64_t position() const override { return position_; }
    void overwrite(std::uint64_t offset, std::string_view bytes) override;
    bool overwritesConcurrently() const override { return true; }
    int errnum() const { return errnum_; }

private:
    static constexpr std::uint64_t kWritebackStep = 4 * 1024 * 1024;
    int fd_;
    std::atomic<int> errnum_ = 0;  // two threads may write
    std::uint64_t position_ = 0;
    std::uint64_t started_ = 0;  // written back from here on: the disk has been asked for what is before
};

// Reads the whole file; refuses folders and other files that are not regular files, without
// opening FIFOs or devices, so that nothing waits for a writer that never comes.
IoError readWholeFile(const std::filesystem::path& path, std::vector<std::uint8_t>& out);

// A file's bytes and which file they came from. `settled` is false when the file changed while it
// was read (another program writing it in place): the bytes may then be a mix of two versions.
struct FileSnapshot {
    FileBytes bytes;
    FileIdentity identity;  // as it was before reading
    unsigned permissions = 0;
    bool settled = true;
};
IoError readSnapshot(const std::filesystem::path& path, FileSnapshot& out);

// The file a path finally names once every symbolic link on the way is followed (the path as
// given when it names nothing yet). Gives up after 40 links, as the kernel does.
std::filesystem::path resolveLinks(const std::filesystem::path& path);

// Writes what `produce` puts into the sink (it answers "" or why it failed) to `path` atomically.
// On any failure, or when the process is killed meanwhile, the target is left as it was and no
// new file remains. An existing target must be a regular file the caller may write: a file its
// owner made read-only, or another user's file, is refused even where the folder would let it
// be replaced. The new file keeps the old one's owner and group where the caller may give them
// (the group alone otherwise).
using Producer = std::function<std::string(plist::Sink&)>;
struct WriteOptions {
    // The new file's mode bits; by default the target's, when it exists.
    std::optional<unsigned> permissions;
    // Replace the target only while it is still this file (NewFile::replaceTargetIfStill); the
    // answer says targetChanged when it is not.
    std::optional<FileIdentity> onlyIfStill;
    ReplaceHooks hooks;
    // Puts the complete new file on disk before it is renamed over the target, so that a crash
    // just after the rename cannot leave an empty or partial file there; answers as fsync(2).
    // Tests wrap it to see that it runs, on which file and when; it is never empty.
    std::function<int(int fd)> flush = ::fsync;
};
IoError writeFileAtomically(const std::filesystem::path& path, const Producer& produce,
                            const WriteOptions& options = {});
// Options that give the new file these mode bits.
WriteOptions keepingPermissions(unsigned permissions);
// Writes the given bytes the same way.
IoError writeBytesAtomically(const std::filesystem::path& path, std::span<const std::uint8_t> bytes,
                             const WriteOptions& options = {});

// Copies a regular file the same way, so a copy is complete or absent; it keeps the source's
// permission bits.
IoError copyFileAtomically(const std::filesystem::path& from, const std::filesystem::path& to);

}  // namespace orvane
