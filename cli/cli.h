// Shared pieces of orvane-cli's commands: exit codes, error lines, reading the input file,
// showing a job's result.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "support/error_codes.h"
#include "plist/codec.h"

namespace orvane::cli {

// Exit codes of the converter and the printer (the sort job's codes come from the engine).
enum Exit : int {
    ExitOk = 0,
    ExitNotBookmarks = 3,
    ExitUnreadable = 5,
    ExitUnwritable = 6,
    ExitUsage = 64,
};

using Args = std::vector<std::string_view>;

int runConvert(const Args& args);
int runPrint(const Args& args);
int runSort(const Args& args);
int runRestore(const Args& args);
int runBrowsers(const Args& args);

// The bookmarks file of the browser profile "ID" or "ID:PROFILE"; nothing, after saying on
// standard error which browsers and profiles exist, when there is no such profile.
std::optional<std::string> browserProfileFile(std::string_view command, std::string_view choice);

// Prints "orvane-cli: <message>" to standard error, one line.
void printError(std::string_view message);

// Reads and parses a property list from a file, or from standard input for "-". On failure
// `why` says why, naming the file, and the value is Null.
plist::ReadResult readPropertyListFile(std::string_view path, std::string& why);
// The same, printing why on failure.
plist::ReadResult loadPropertyList(std::string_view path);

// Flushes standard output at the end of a command. When anything written there was lost (a full
// disk, a closed pipe), prints why and answers ExitUnwritable in place of a success; a command
// that failed keeps its own status.
int finishStandardOutput(int status);

// Prints a job's message: on standard output for 0, otherwise on standard error with one
// "orvane-cli: " line per paragraph. Answers the code, which is also the exit status.
int reportJobResult(std::uint32_t code, std::string_view message);

// Writes UTF-8 text for a terminal: control characters and unpaired surrogates become U+FFFD.
std::string printable(std::string_view text);

}  // namespace orvane::cli
