// The oracle the fuzz targets share. A reader may refuse input, but must say why; whatever it
// accepts must survive our writers: binary always, XML whenever the XML writer takes the tree.
#pragma once

#include <string>

#include "plist/codec.h"

namespace orvane::fuzz {

[[noreturn]] void fail(const char* target, const char* what, const std::string& detail = {});

// A failed read gives no value and a message; text formats also name a line.
void checkFailure(const char* target, const plist::ReadResult& result, bool textFormat);

// The binary trip gives an equal tree and writing that again gives the same bytes. The XML trip
// must read back; it must also be equal and a fixed point when `xmlExact` (binary dates may hold
// fractions of a second that XML drops).
void checkRoundTrips(const char* target, const plist::Value& value, bool xmlExact);

}  // namespace orvane::fuzz
