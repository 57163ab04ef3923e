#include "round_trip.h"

#include <cstdio>
#include <cstdlib>

namespace orvane::fuzz {
namespace {
constexpr std::size_t kLargestXmlTrip = 1 << 20;

std::span<const std::uint8_t> bytesOf(const std::string& s) {
    return {reinterpret_cast<const std::uint8_t*>(s.data()), s.size()};
}
}  // namespace

void fail(const char* target, const char* what, const std::string& detail) {
    std::fprintf(stderr, "%s: %s%s%s\n", target, what, detail.empty() ? "" : ": ", detail.c_str());
    std::abort();
}

void checkFailure(const char* target, const plist::ReadResult& result, bool textFormat) {
    if (result.status.message.empty() || !result.value.isNull() || (textFormat && result.status.line == 0))
        fail(target, "a failed read must explain itself, name where, and give no value", result.status.description());
}

void checkRoundTrips(const char* target, const plist::Value& value, bool xmlExact) {
    if (value.isNull()) fail(target, "a successful read gave no value");

    plist::StringSink binary;
    if (std::string error = plist::writeBinary(value, binary); !error.empty())
        fail(target, "cannot write what was read as binary", error);
    plist::ReadResult fromBinary = plist::readBinary(bytesOf(binary.out));
    if (!fromBinary) fail(target, "cannot read our own binary output", fromBinary.status.description());
    if (!(fromBinary.value == value)) fail(target, "the binary round trip changed the tree");
    plist::StringSink rewritten;
    if (std::string error = plist::writeBinary(fromBinary.value, rewritten); !error.empty())
        fail(target, "cannot rewrite our own binary", error);
    if (rewritten.out != binary.out) fail(target, "writing our own binary again changed its bytes");

    // A few hundred bytes that share arrays may read as millions of values, within the readers'
    // bound: the binary trip above has checked them, and an XML trip of them only takes the
    // fuzzer's time.
    if (binary.out.size() > kLargestXmlTrip) return;
    // Not every tree fits in XML (control characters, lone surrogates, years past 9999).
    plist::StringSink xml;
    if (!plist::writeXml(value, xml).empty()) return;
    plist::ReadResult fromXml = plist::readXml(bytesOf(xml.out));
    if (!fromXml) fail(target, "cannot read our own XML", fromXml.status.description());
    if (!xmlExact) return;
    if (!(fromXml.value == value)) fail(target, "the XML round trip changed the tree");
    plist::StringSink xmlAgain;
    if (std::string error = plist::writeXml(fromXml.value, xmlAgain); !error.empty())
        fail(target, "cannot rewrite our own XML", error);
    if (xmlAgain.out != xml.out) fail(target, "writing our own XML again changed its bytes");
}

}  // namespace orvane::fuzz
