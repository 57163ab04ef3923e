#include "codec.h"

#include <algorithm>

namespace orvane::plist {

const char* formatName(Format f) {
    switch (f) {
    case Format::OpenStep: return "OpenStep";
    case Format::Xml: return "XML";
    case Format::Binary: return "binary";
    case Format::Unknown: break;
    }
    return "unknown";
}

std::string ParseStatus::description() const {
    if (ok()) return {};
    if (line > 0) return "line " + std::to_string(line) + ": " + message;
    return "byte " + std::to_string(offset) + ": " + message;
}

ParseStatus ParseStatus::atByte(std::uint64_t offset, std::string message) {
    ParseStatus s;
    s.message = std::move(message);
    s.offset = offset;
    return s;
}

ParseStatus ParseStatus::atLine(std::uint64_t line, std::uint64_t offset, std::string message) {
    ParseStatus s;
    s.message = std::move(message);
    s.offset = offset;
    s.line = line;
    return s;
}

namespace {
bool startsWith(std::span<const std::uint8_t> bytes, std::string_view prefix) {
    return bytes.size() >= prefix.size() &&
           std::equal(prefix.begin(), prefix.end(), bytes.begin(),
                      [](char p, std::uint8_t b) { return static_cast<std::uint8_t>(p) == b; });
}
}  // namespace

Format detectFormat(std::span<const std::uint8_t> bytes) {
    if (startsWith(bytes, "bplist")) return Format::Binary;
    // Byte-order marks and UTF-16 without one (a NUL among the first two bytes) are XML here:
    // the text reader decodes them itself.
    if (startsWith(bytes, "\xEF\xBB\xBF") || startsWith(bytes, "\xFE\xFF") || startsWith(bytes, "\xFF\xFE") ||
        (bytes.size() >= 2 && (bytes[0] == 0 || bytes[1] == 0)))
        return Format::Xml;
    auto it = std::find_if(bytes.begin(), bytes.end(),
                           [](std::uint8_t c) { return c != ' ' && c != '\t' && c != '\r' && c != '\n'; });
    if (it == bytes.end()) return Format::Unknown;
    auto rest = bytes.subspan(static_cast<std::size_t>(it - bytes.begin()));
    // "<" opens both an XML tag and OpenStep data ("<0fab>", "<dead beef>"); only a declaration,
    // a comment or one of the property-list element names makes it XML.
    if (rest.size() >= 2 && rest[0] == '<') {
        if (rest[1] == '?' || rest[1] == '!') return Format::Xml;
        std::size_t n = 1;
        while (n < rest.size() && ((rest[n] >= 'a' && rest[n] <= 'z') || (rest[n] >= 'A' && rest[n] <= 'Z'))) ++n;
        std::string_view name(reinterpret_cast<const char*>(rest.data()) + 1, n - 1);
        static constexpr std::string_view kTags[] = {"plist", "dict",    "array", "string", "key",  "data",
                                                     "date",  "integer", "real",  "true",   "false"};
        bool ends = n == rest.size() || rest[n] == '>' || rest[n] == '/' || rest[n] == ' ' || rest[n] == '\t' ||
                    rest[n] == '\r' || rest[n] == '\n';
        if (ends && std::find(std::begin(kTags), std::end(kTags), name) != std::end(kTags)) return Format::Xml;
    }
    return Format::OpenStep;
}

ReadResult readPropertyList(std::span<const std::uint8_t> bytes) {
    if (bytes.empty()) {
        ReadResult r;
        r.status = ParseStatus::atByte(0, "the file is empty");
        return r;
    }
    switch (detectFormat(bytes)) {
    case Format::Binary: return readBinary(bytes);
    case Format::Xml: return readXml(bytes);
    case Format::OpenStep: return readOpenStep(bytes);
    case Format::Unknown: break;
    }
    ReadResult r;
    r.status = ParseStatus::atLine(1, 0, "the file holds only blank space, no property list");
    return r;
}

}  // namespace orvane::plist
