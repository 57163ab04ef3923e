// Fuzz target for the XML reader and writer. A failed read must explain itself with a line and
// give no value. Whatever the reader accepts must survive the binary writer and reader unchanged,
// and, when the XML writer can hold it, our own XML must read back to an equal tree and be a
// fixed point of read-then-write.
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
    std::fprintf(stderr, "fuzz_xml: %s%s%s\n", what, detail.empty() ? "" : ": ", detail.c_str());
    std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ReadResult first = readXml({data, size});
    if (first.format != Format::Xml) failure("the XML reader must report the XML format", "");
    if (!first) {
        if (first.status.message.empty() || first.status.line == 0 || !first.value.isNull())
            failure("a failed read must explain itself, name a line and give no value", first.status.description());
        return 0;
    }
    if (first.value.isNull()) failure("a successful read gave no value", "");

    // Binary holds everything the XML reader can produce (same depth limit, any string).
    StringSink binary;
    if (std::string error = writeBinary(first.value, binary); !error.empty()) failure("cannot write what was read as binary", error);
    ReadResult fromBinary = readBinary(bytesOf(binary.out));
    if (!fromBinary) failure("cannot read the binary form of what was read", fromBinary.status.description());
    if (!(fromBinary.value == first.value)) failure("the binary round trip changed the tree", "");

    // Not every tree fits in XML (a character reference to a control character, a lone
    // surrogate, a year past 9999); what the writer accepts must read back equal.
    StringSink xml;
    if (!writeXml(first.value, xml).empty()) return 0;
    ReadResult second = readXml(bytesOf(xml.out));
    if (!second) failure("cannot read our own XML", second.status.description());
    if (!(second.value == first.value)) failure("the XML round trip changed the tree", "");
    StringSink rewritten;
    if (std::string error = writeXml(second.value, rewritten); !error.empty()) failure("cannot rewrite our own XML", error);
    if (rewritten.out != xml.out) failure("writing our own XML again changed its bytes", "");
    return 0;
}
