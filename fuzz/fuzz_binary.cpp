// Fuzz target of the binary reader, with the shared round-trip oracle.
#include "round_trip.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace orvane;
    plist::ReadResult result = plist::readBinary({data, size});
    if (result.format != plist::Format::Binary)
        fuzz::fail("fuzz_binary", "the binary reader must report the binary format");
    if (!result)
        fuzz::checkFailure("fuzz_binary", result, false);
    else
        fuzz::checkRoundTrips("fuzz_binary", result.value, false);
    return 0;
}
