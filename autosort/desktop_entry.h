// The part of the desktop entry file format that autostart items need: the keys of the
// "[Desktop Entry]" group, and a program path in an Exec line with its quoting and escapes.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>

namespace orvane {

using DesktopEntryKeys = std::map<std::string, std::string, std::less<>>;

// The keys of the "[Desktop Entry]" group with their values unescaped; of a key given twice,
// the first value counts.
DesktopEntryKeys desktopEntryKeys(std::string_view text);

// Whether a boolean value is true ("true", or the older "1").
bool isTrueValue(std::string_view value);

// The program an unescaped Exec value runs: its first word with the quoting undone. Empty when
// there is none or its quote is not closed.
std::string execProgram(std::string_view exec);

// A string value escaped for the file.
std::string escapedValue(std::string_view value);

// The Exec value, escaped for the file, that runs `program` with no arguments; quoted when the
// path holds a blank or another character reserved by the format.
std::string execValue(std::string_view program);

}  // namespace orvane
