// Writing a JSON document back the way Chromium's JSONWriter pretty-prints its bookmarks file:
// keys sorted, three spaces per level, a list on one line ("[ a, b ]", "[  ]" when empty), "<"
// as \u003C, text that is not UTF-8 as U+FFFD, and a line break at the end. A file Chromium
// wrote comes out byte for byte as it went in.
#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "plist/codec.h"
#include "stores/chromium/json_document.h"

namespace orvane::json {

// A member to write in place of the one of that key, or in addition when there is none.
struct Replacement {
    std::string_view key;
    bool isText = true;
    std::string_view text;          // the string to write, when isText
    std::vector<ValueId> elements;  // otherwise an array of these values
    // Where the text's first byte went in the output, for a text written as a stand-in of the
    // same length and overwritten once the real one is known.
    mutable std::uint64_t writtenAt = 0;
};
// The replacements, by the object they belong to.
using Edits = std::unordered_map<ValueId, std::vector<Replacement>>;

// Writes the document with the edits applied; "" or why it could not be written.
std::string writeChromiumStyle(const Document& document, const Edits& edits, plist::Sink& sink);

// Chromium's quoting of one string.
void appendQuoted(std::string& out, std::string_view text);
// The UTF-16 little-endian bytes Chromium makes of UTF-8 text, as its checksum reads titles.
void appendUtf16LE(std::string& out, std::string_view text);

}  // namespace orvane::json
