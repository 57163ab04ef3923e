// Fuzz target of the OpenStep reader, with the shared round-trip oracle.
#include "round_trip.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace orvane;
    plist::ReadResult result = plist::readOpenStep({data, size});
    if (result.format != plist::Format::OpenStep)
        fuzz::fail("fuzz_openstep", "the OpenStep reader must report its format");
    if (!result)
        fuzz::checkFailure("fuzz_openstep", result, true);
    else
        fuzz::checkRoundTrips("fuzz_openstep", result.value, true);
    return 0;
}
