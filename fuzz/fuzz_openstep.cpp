// Fuzz target of the OpenStep reader, with a round-trip oracle: whatever it reads must come back
// equal through the binary writer and reader, and through XML whenever the XML writer takes it.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string>

#include "plist/codec.h"

namespace {

using namespace orvane::plist;

std::span<const std::uint8_t> bytesOf(const std::string& s) { return {reinterpret_cast<const std::uint8_t*>(s.data()), s.size()}; }

[[noreturn]] void failed(const char* what, const std::string& detail) {
    std::fprintf(stderr, "fuzz_openstep: %s: %s\n", what, detail.c_str());
    std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ReadResult first = readOpenStep({data, size});
    if (!first) {
        if (first.status.line == 0 || !first.value.isNull()) failed("a failed read without a line or with a value", first.status.description());
        return 0;
    }

    // Every value the reader makes (strings, data, arrays, dictionaries at most kMaxDepth deep)
    // is one the binary format holds.
    StringSink binary;
    if (std::string error = writeBinary(first.value, binary); !error.empty()) failed("writeBinary refused", error);
    ReadResult again = readBinary(bytesOf(binary.out));
    if (!again) failed("readBinary refused writeBinary's output", again.status.description());
    if (!(again.value == first.value)) failed("binary round trip", "the value read back differs");

    // XML cannot hold some strings (control characters, lone surrogates); it may refuse those.
    StringSink xml;
    if (writeXml(first.value, xml).empty()) {
        ReadResult back = readXml(bytesOf(xml.out));
        if (!back) failed("readXml refused writeXml's output", back.status.description());
        if (!(back.value == first.value)) failed("XML round trip", "the value read back differs");
    }
    return 0;
}
