// Fuzz target of the XML reader, with the shared round-trip oracle.
#include "round_trip.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace orvane;
    plist::ReadResult result = plist::readXml({data, size});
    if (result.format != plist::Format::Xml) fuzz::fail("fuzz_xml", "the XML reader must report the XML format");
    if (!result)
        fuzz::checkFailure("fuzz_xml", result, true);
    else
        fuzz::checkRoundTrips("fuzz_xml", result.value, true);
    return 0;
}
