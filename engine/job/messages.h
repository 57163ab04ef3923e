// The texts of the job's codes, in the user's language (support/translation.h). Both tables keep
// their historical gaps on purpose: the short table answers the success text for 0 and for every
// unknown code, and the long one has no entry for 2, which therefore reads as an unknown error
// with its number.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace orvane {

// One sentence about the outcome ("Could not read the bookmark plist file.").
std::string shortMessage(std::uint32_t code);
// What to tell the user, with the file's name where the text has a place for it. A busy file
// (code 8) names the browser whose file it is; Safari's text stays as it always was.
std::string messageForUser(std::uint32_t code, std::string_view filename, std::string_view browser = "Safari");

}  // namespace orvane
