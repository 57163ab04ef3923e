// Conversions between the engine's UTF-8 strings and UTF-16 code units.
//
// Strings are kept as generalised UTF-8 (WTF-8): an unpaired surrogate is encoded like any
// other code point in three bytes (ED A0..BF xx). Paired surrogates always become one
// four-byte sequence, so UTF-16 -> UTF-8 -> UTF-16 gives back the same code units.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace orvane::plist::utf {

// Appends the WTF-8 encoding of one code point (0..0x10FFFF, surrogates included).
void appendCodePoint(std::string& out, std::uint32_t cp);

// Appends UTF-16 code units read big- or little-endian from `bytes` (2 * units bytes).
void appendUtf16(std::string& out, const std::uint8_t* bytes, std::size_t units, bool bigEndian);

// Decodes the next code point of WTF-8 text at `pos`, advancing `pos`. Answers false on a
// malformed sequence (bad lead byte, truncated, overlong, above U+10FFFF) and leaves `pos`.
bool nextCodePoint(std::string_view s, std::size_t& pos, std::uint32_t& cp);

// True when `s` is well-formed WTF-8 (lone surrogates allowed).
bool isValid(std::string_view s);

// True when every byte is below 0x80.
bool isAscii(std::string_view s);

// The number of UTF-16 code units `s` encodes to. `s` must be valid.
std::size_t utf16Length(std::string_view s);

// Appends `s` as UTF-16 big-endian bytes. `s` must be valid.
void appendUtf16BE(std::string& out, std::string_view s);

}  // namespace orvane::plist::utf
