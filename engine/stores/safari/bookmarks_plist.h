// Reading and writing a bookmarks property list. Any of the three formats is read; what is
// written is always binary, whatever was read, as Safari itself writes it.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <span>
#include <string>
#include <string_view>

#include "files/atomic_file.h"
#include "plist/codec.h"

namespace orvane::safari {

// Parses the bytes; a failure is also logged, with the reason and the format the bytes were
// taken to be.
plist::ReadResult readBookmarksPlist(std::span<const std::uint8_t> bytes);

// Why a property list could not be read: "NAME: not a valid XML property list: line 3: ...".
std::string readFailure(std::string_view name, const plist::ReadResult& result);

// Writes the tree over the file as a binary property list, atomically (atomic_file.h). A tree
// that cannot be serialised is logged and leaves the file alone.
IoError writeBookmarksPlist(const std::filesystem::path& path, const plist::Value& root,
                            const WriteOptions& options = {});
// The same, with `write` serialising into the new file; it answers "" or why it could not.
IoError writeBookmarksPlist(const std::filesystem::path& path, const std::function<std::string(plist::Sink&)>& write,
                            const WriteOptions& options = {});

}  // namespace orvane::safari
