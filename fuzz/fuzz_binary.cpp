// Fuzz target for the binary reader and writer. Whatever the reader accepts, the binary writer
// must write back to an equal tree, and our own output must be a fixed point of read-then-write.
// The XML writer must cope with the same tree, and its output must read back.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "plist/codec.h"

namespace {

using namespace orvane::plist;

std::span<const std::uint8_t> bytesOf(const std::string& s) { return {reinterpret_cast<const std::uint8_t*>(s.data()), s.size()}; }

[[noreturn]] void failure(const char* what, const std::string& detail) {
    std::fprintf(stderr, "fuzz_binary: %s%s%s\n", what, detail.empty() ? "" : ": ", detail.c_str());
    std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ReadResult first = readBinary({data, size});
    if (!first) {
        if (first.status.message.empty() || !first.value.isNull()) failure("a failed read must explain itself and give no value", "");
        return 0;
    }
    if (first.value.isNull()) failure("a successful read gave no value", "");

    StringSink written;
    if (std::string error = writeBinary(first.value, written); !error.empty()) failure("cannot write what was read", error);
    ReadResult second = readBinary(bytesOf(written.out));
    if (!second) failure("cannot read our own output", second.status.description());
    if (!(second.value == first.value)) failure("binary round trip changed the tree", "");
    StringSink rewritten;
    if (std::string error = writeBinary(second.value, rewritten); !error.empty()) failure("cannot rewrite our own output", error);
    if (rewritten.out != written.out) failure("writing our own output again changed its bytes", "");

    // Not every tree fits in XML (control characters, for one); what the writer accepts must read.
    StringSink xml;
    if (writeXml(first.value, xml).empty()) {
        ReadResult fromXml = readXml(bytesOf(xml.out));
        if (!fromXml) failure("cannot read our own XML", fromXml.status.description());
    }
    return 0;
}
