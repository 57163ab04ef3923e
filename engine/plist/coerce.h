// The number or truth a value stands for, read the way Foundation's intValue and boolValue read a
// number or its text. Settings and preferences written by hand often hold "1" or "YES" where a
// number or a boolean belongs.
#pragma once

#include "plist/value.h"

namespace orvane {

// Integers as they are, reals truncated, booleans 0 or 1, strings by their leading integer,
// anything else 0.
long long integerValue(const plist::Value& value);
// True booleans, non-zero numbers, and strings that begin (after blanks) with Y, y, T, t or a
// non-zero digit.
bool boolValue(const plist::Value& value);

}  // namespace orvane
