#pragma once

#include <string>

namespace orvane {

// A new random (version 4) UUID as 36 characters, 8-4-4-4-12 upper-case hexadecimal digits.
std::string stringWithUUID();

}  // namespace orvane
