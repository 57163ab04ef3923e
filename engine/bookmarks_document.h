// The one class through which a bookmarks property list is read and written. It is only a
// reader and writer: it shows nothing.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "plist/codec.h"

namespace orvane {

inline constexpr std::string_view kOSStatusErrorDomain = "NSOSStatusErrorDomain";
inline constexpr std::string_view kPOSIXErrorDomain = "NSPOSIXErrorDomain";
inline constexpr std::string_view kCocoaErrorDomain = "NSCocoaErrorDomain";
// What the serialiser reports when a tree cannot be written as a property list.
inline constexpr long kPropertyListWriteInvalidError = 3851;
// What a failed parse reports in kOSStatusErrorDomain.
inline constexpr long kReadErrorCode = -19;

struct DocumentError {
    std::string domain;
    long code = 0;
    std::string localizedDescription;
};

class BookmarksDocument {
public:
    BookmarksDocument() = default;

    const plist::Value& bookmarksDictionary() const { return bookmarksDictionary_; }
    void setBookmarksDictionary(plist::Value value) { bookmarksDictionary_ = std::move(value); }
    // The format of the data last read, and the one used for writing; binary for a new document.
    plist::Format propertyListFormat() const { return propertyListFormat_; }
    void setPropertyListFormat(plist::Format format) { propertyListFormat_ = format; }

    // Parses any of the three formats. The type name is ignored.
    bool readFromData(std::span<const std::uint8_t> data, std::string_view typeName, DocumentError* error);
    // Serialises bookmarksDictionary in propertyListFormat; nothing when that fails.
    std::optional<std::vector<std::uint8_t>> dataOfType(std::string_view typeName, DocumentError* error) const;

    // Reads the file's bytes and hands them to readFromData.
    bool readFromURL(const std::filesystem::path& path, std::string_view typeName, DocumentError* error);
    // Writes the serialised tree over the file through a new file and a rename (atomic_file.h).
    bool writeToURL(const std::filesystem::path& path, std::string_view typeName, DocumentError* error) const;

    static std::string windowNibName() { return ""; }
    static bool autosavesInPlace() { return true; }

private:
    // Serialises into `sink`; "" on success, otherwise the serialiser's reason (already logged).
    std::string serialize(plist::Sink& sink) const;

    plist::Value bookmarksDictionary_;
    plist::Format propertyListFormat_ = plist::Format::Binary;
};

}  // namespace orvane
