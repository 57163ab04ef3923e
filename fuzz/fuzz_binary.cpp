// Fuzz target of the binary reader, with the shared round-trip oracle, and of the copying
// writer: whatever the reader of plain files (plist/binary_document.h) takes for plain must read,
// and copying it must give the bytes reading and writing gives.
#include "plist/binary_document.h"
#include "round_trip.h"

namespace {

// An edit that changes nothing: every object is copied.
class NoEdit final : public orvane::plist::DocumentEdit {
public:
    explicit NoEdit(orvane::plist::ObjectId root) : root_(root) {}
    orvane::plist::OutItem root() const override { return orvane::plist::OutItem::object(root_); }
    bool changes(orvane::plist::ObjectId, std::vector<orvane::plist::OutItem>&) const override { return false; }
    void made(orvane::plist::OutItem, std::vector<orvane::plist::OutItem>&) const override {}
    std::size_t madeCount() const override { return 0; }
    std::span<const std::string> strings() const override { return {}; }

private:
    orvane::plist::ObjectId root_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace orvane;
    plist::ReadResult result = plist::readBinary({data, size});
    if (result.format != plist::Format::Binary)
        fuzz::fail("fuzz_binary", "the binary reader must report the binary format");
    if (!result)
        fuzz::checkFailure("fuzz_binary", result, false);
    else
        fuzz::checkRoundTrips("fuzz_binary", result.value, false);

    plist::BinaryDocument document;
    if (!document.open({data, size})) return 0;
    if (!result) fuzz::fail("fuzz_binary", "a file taken for plain does not read", result.status.description());
    plist::ScalarIndex index, wide;
    const std::atomic<bool> never = false;
    const bool distinct = index.build(document, never);
    // Both widths of slot find every scalar where it is, or both find two equal.
    if (wide.build(document, never, true) != distinct)
        fuzz::fail("fuzz_binary", "the index's two widths disagree on whether the scalars are distinct");
    if (!distinct) return 0;
    for (plist::ObjectId object = 0; object < document.objectCount(); ++object) {
        if (!document.isReached(object) || document.isContainer(object)) continue;
        if (index.find(document, document.encoded(object)) != object || wide.find(document, document.encoded(object)) != object)
            fuzz::fail("fuzz_binary", "the index does not find a scalar where it is");
    }
    plist::StringSink copied, written;
    if (!plist::writeEdited(document, std::move(index), NoEdit(document.root()), copied).empty())
        fuzz::fail("fuzz_binary", "a plain file could not be copied");
    plist::writeBinary(result.value, written);
    if (copied.out != written.out) fuzz::fail("fuzz_binary", "copying a plain file differs from writing what it reads");
    return 0;
}
