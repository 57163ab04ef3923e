// The new file that atomic writes fill before it takes the place of its target. Where the file
// system allows, it has no name at all until it is complete, so a writer killed halfway leaves
// nothing behind; it is then linked under a temporary name and renamed over the target at once,
// with the signals that ask a process to stop held back for that instant. Where the file system
// has no unnamed files, it is named from the start and those signals are held back until the
// rename or the removal. The next write beside the same target removes the temporary files of
// writers that are gone.
#pragma once

#include <csignal>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "files/file_identity.h"

namespace orvane {

struct IoError;

// Seams for tests: what runs around a conditional replacement, where another program's save
// would be hardest to notice.
struct ReplaceHooks {
    std::function<void()> beforeSwap;  // between the last look at the target and the swap
    std::function<void()> afterSwap;   // right after the swap, before the displaced file is looked at
};

// Holds back hang-up, interrupt, quit and terminate in the calling thread while it lives: one that
// arrives meanwhile takes effect when the scope ends, after the file operations in it.
class DeferredTermination {
public:
    DeferredTermination();
    ~DeferredTermination();
    DeferredTermination(const DeferredTermination&) = delete;
    DeferredTermination& operator=(const DeferredTermination&) = delete;

private:
    sigset_t previous_;
};

// ".NAME.orvane-PID-NUMBER": the temporary name a writer in this process gives a new file beside
// the target NAME.
std::string temporaryName(const std::string& targetName, unsigned long number);

// Removes from `folder` the temporary files for `targetName` whose writer is gone: the process
// named in them no longer runs, or, for names without a process (left by earlier versions), they
// are more than an hour old. Files of other names, and anything that is not a regular file, stay.
void removeStaleTemporaries(const std::filesystem::path& folder, const std::string& targetName);

class NewFile {
public:
    enum class Naming {
        UnnamedUntilComplete,  // named only where the file system has no unnamed files
        NamedFromStart,        // what such a file system gets; tests choose it to try that road
    };

    NewFile() = default;
    // Closes the file, and removes it when it still has a temporary name.
    ~NewFile();
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    // Creates the file in the folder of `target`, the file it is to replace.
    IoError create(const std::filesystem::path& target, Naming naming = Naming::UnnamedUntilComplete);
    int fd() const { return fd_; }
    // Whether the file has a name yet (it has from the start where it could not be unnamed).
    bool named() const { return !name_.empty(); }
    // Closes the complete file and renames it over the target; on failure it is removed.
    IoError replaceTarget();
    // The same, but only while the target is still `expected` (what was read): a save made by
    // another program since stays at the target, the new file is removed, and the answer says
    // targetChanged. The new file is exchanged with the target in one step and the file it
    // displaced is looked at before it is removed, so a save that lands between the last look and
    // the exchange is put back. Where the file system cannot exchange, the last look is made just
    // before an ordinary rename.
    IoError replaceTargetIfStill(const FileIdentity& expected, const ReplaceHooks& hooks = {});

private:
    IoError nameAndClose();  // gives the complete file its temporary name and closes it
    // After an exchange that displaced another program's save (now at our temporary name): puts
    // the newest save back at the target and removes what is left over.
    void putBackAfterExchange(const FileIdentity& ours);

    int fd_ = -1;
    std::filesystem::path target_, folder_;
    std::filesystem::path name_;                   // the temporary name while the file has one
    std::optional<DeferredTermination> deferred_;  // while a temporary name exists
};

}  // namespace orvane
