// The one-time initial backup every store keeps: where it goes, and the steps every format takes
// the same way.
#pragma once

#include <filesystem>
#include <functional>

#include "files/file_identity.h"
#include "stores/bookmark_store.h"

namespace orvane {

// Makes the first backup at `backup` with `write`, in a folder made for it, unless something is
// there already: an existing backup is never replaced, because it keeps the bookmarks as they
// were before the first sort. `made` tells whether `write` made it.
StoreResult writeFirstBackup(const std::filesystem::path& backup, bool& made,
                             const std::function<StoreResult()>& write);

// Copies `file` to `backup` whole, if the file is still the one read (`identity`): the backup
// must hold what was read and sorted. Changed when it is not.
StoreResult copyIfStill(const std::filesystem::path& file, const FileIdentity& identity,
                        const std::filesystem::path& backup);

// Puts a backup file in place of `file` in one step (files/replace_item.h); the backup is used up.
StoreResult moveBackupInPlace(const std::filesystem::path& file, const std::filesystem::path& backup);

}  // namespace orvane
