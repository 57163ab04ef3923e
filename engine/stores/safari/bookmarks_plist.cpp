#include "stores/safari/bookmarks_plist.h"

#include "support/log.h"

namespace orvane::safari {

plist::ReadResult readBookmarksPlist(std::span<const std::uint8_t> bytes) {
    plist::ReadResult result = plist::readPropertyList(bytes);
    if (!result)
        logLine("-[BookmarksDocument readFromData:ofType:error:]",
                "Error reading plist: " + result.status.description() +
                    ", format: " + std::to_string(static_cast<int>(result.format)));
    return result;
}

std::string readFailure(std::string_view name, const plist::ReadResult& result) {
    const std::string kind = result.format == plist::Format::Unknown
                                 ? "property list"
                                 : std::string(plist::formatName(result.format)) + " property list";
    return std::string(name) + ": not a valid " + kind + ": " + result.status.description();
}

IoError writeBookmarksPlist(const std::filesystem::path& path, const plist::Value& root, const WriteOptions& options) {
    return writeBookmarksPlist(
        path, [&](plist::Sink& sink) { return plist::writeBinary(root, sink); }, options);
}

IoError writeBookmarksPlist(const std::filesystem::path& path, const std::function<std::string(plist::Sink&)>& write,
                            const WriteOptions& options) {
    // Serialising straight into the new file: no second copy of the whole file in memory.
    return writeFileAtomically(
        path,
        [&](plist::Sink& sink) {
            std::string failure = write(sink);
            if (!failure.empty())
                logLine("-[BookmarksDocument dataOfType:error:]", "Error writing to file: " + failure);
            return failure;
        },
        options);
}

}  // namespace orvane::safari
