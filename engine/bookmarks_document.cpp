#include "bookmarks_document.h"

#include "atomic_file.h"
#include "log.h"

namespace orvane {

namespace {
void setError(DocumentError* error, std::string_view domain, long code, std::string description) {
    if (error) *error = DocumentError{std::string(domain), code, std::move(description)};
}
}  // namespace

bool BookmarksDocument::readFromData(std::span<const std::uint8_t> data, std::string_view, DocumentError* error) {
    plist::ReadResult result = plist::readPropertyList(data);
    if (!result) {
        const std::string description = result.status.description();
        logLine("-[BookmarksDocument readFromData:ofType:error:]",
                "Error reading plist: " + description + ", format: " + std::to_string(static_cast<int>(result.format)));
        setError(error, kOSStatusErrorDomain, kReadErrorCode, description);
        return false;
    }
    bookmarksDictionary_ = std::move(result.value);
    propertyListFormat_ = result.format;
    return true;
}

std::string BookmarksDocument::serialize(plist::Sink& sink) const {
    std::string failure;
    switch (propertyListFormat_) {
    case plist::Format::Binary: failure = plist::writeBinary(bookmarksDictionary_, sink); break;
    case plist::Format::Xml: failure = plist::writeXml(bookmarksDictionary_, sink); break;
    case plist::Format::OpenStep: failure = "the OpenStep format can be read but not written"; break;
    case plist::Format::Unknown: failure = "no property-list format was chosen for writing"; break;
    }
    if (!failure.empty()) logLine("-[BookmarksDocument dataOfType:error:]", "Error writing to file: " + failure);
    return failure;
}

std::optional<std::vector<std::uint8_t>> BookmarksDocument::dataOfType(std::string_view, DocumentError* error) const {
    plist::StringSink sink;
    if (std::string failure = serialize(sink); !failure.empty()) {
        setError(error, kCocoaErrorDomain, kPropertyListWriteInvalidError, failure);
        return std::nullopt;
    }
    return std::vector<std::uint8_t>(sink.out.begin(), sink.out.end());
}

bool BookmarksDocument::readFromURL(const std::filesystem::path& path, std::string_view typeName,
                                    DocumentError* error) {
    std::vector<std::uint8_t> bytes;
    if (IoError io = readWholeFile(path, bytes); !io.ok()) {
        setError(error, kPOSIXErrorDomain, io.errnum, io.message);
        return false;
    }
    return readFromData(bytes, typeName, error);
}

bool BookmarksDocument::writeToURL(const std::filesystem::path& path, std::string_view, DocumentError* error) const {
    // Serialising straight into the new file gives the same bytes as dataOfType without holding
    // a second copy of the whole file in memory.
    bool serializerFailed = false;
    IoError io = writeFileAtomically(path, [&](plist::Sink& sink) {
        std::string failure = serialize(sink);
        serializerFailed = !failure.empty() && !sink.failed();
        return failure;
    });
    if (io.ok()) return true;
    if (serializerFailed)
        setError(error, kCocoaErrorDomain, kPropertyListWriteInvalidError, io.message);
    else
        setError(error, kPOSIXErrorDomain, io.errnum, io.message);
    return false;
}

}  // namespace orvane
