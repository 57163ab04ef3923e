// writeEdited: a plain document written again with an edit, in writeBinary's layout.
//
// writeBinary numbers the objects depth first, a container before its children and a dictionary's
// keys before its values, equal scalars once. Walking the edited document in the same order gives
// the same numbers: the document's scalars are all distinct, so each is numbered where it is
// first met, and a new string equal to one of them takes that one's place. A first walk numbers;
// a second, in the same order, writes each object where it is first met: a scalar of the document
// as its bytes in the file, which writeBinary would write the same; an unchanged container as
// its marker and count from the file and its references renumbered; everything else encoded.
#include <string>
#include <vector>

#include "binary_document.h"
#include "binary_format.h"
#include "huge_pages.h"

namespace orvane::plist {
namespace {

constexpr std::uint32_t kUnnumbered = UINT32_MAX;

class EditWriter {
public:
    EditWriter(const BinaryDocument& document, const DocumentEdit& edit)
        : document_(document), edit_(edit), madeNumbers_(edit.madeCount(), kUnnumbered) {}

    std::string write(ScalarIndex index, Sink& sink) {
        if (std::string error = resolveStrings(index); !error.empty()) return error;
        index = ScalarIndex();  // not needed any more: its memory serves the tables below
        objectNumbers_.reserve(document_.objectCount());
        adviseHugePages(objectNumbers_.data(), objectNumbers_.capacity() * sizeof(std::uint32_t));
        objectNumbers_.assign(document_.objectCount(), kUnnumbered);
        walk<false>(nullptr);  // numbers everything
        const std::uint32_t count = met_;
        refSize_ = byteCount(count);
        offsets_.reserve(count);
        adviseHugePages(offsets_.data(), offsets_.capacity() * sizeof(std::uint32_t));
        Output out(sink);
        out.bytes("bplist00", 8);
        walk<true>(&out);
        const std::uint64_t tableOffset = out.position();
        if (offsets_.size() != count || tableOffset > UINT32_MAX)
            return "internal error: the objects written and those numbered differ";
        const unsigned offsetSize = byteCount(tableOffset);
        for (const std::uint32_t offset : offsets_) out.bigEndian(offset, offsetSize);
        static const std::uint8_t unused[6] = {};
        out.bytes(unused, sizeof unused);
        out.byte(static_cast<std::uint8_t>(offsetSize));
        out.byte(static_cast<std::uint8_t>(refSize_));
        out.bigEndian(count, 8);
        out.bigEndian(0, 8);  // the root is object 0
        out.bigEndian(tableOffset, 8);
        out.flush();
        return sink.failed() ? "the output could not be written" : "";
    }

private:
    // A container being walked: one of the document's as it lies (its references in the file),
    // or one the edit changed or made (its entries in entries_).
    struct Open {
        bool inFile;
        std::uint64_t at;  // the file offset of its references, or its first entry in entries_
        std::uint32_t count;
        std::uint32_t next = 0;
    };

    // Each new string as it is written, or the document's equal scalar, or an equal new string
    // before it.
    std::string resolveStrings(const ScalarIndex& index) {
        const std::span<const std::string> strings = edit_.strings();
        strings_.resize(strings.size());
        stringNumbers_.assign(strings.size(), kUnnumbered);
        stringBytes_.resize(strings.size());
        for (std::size_t i = 0; i < strings.size(); ++i) {
            if (!utf::isValid(strings[i])) return "a string is not valid UTF-8 and cannot be written";
            appendEncodedString(stringBytes_[i], strings[i]);
            const std::span<const std::uint8_t> bytes(reinterpret_cast<const std::uint8_t*>(stringBytes_[i].data()),
                                                      stringBytes_[i].size());
            if (const ObjectId same = index.find(document_, bytes); same != kNoObject) {
                strings_[i] = OutItem::object(same);
                continue;
            }
            strings_[i] = {OutItem::String, static_cast<std::uint32_t>(i)};
            for (std::size_t j = 0; j < i; ++j)
                if (strings_[j].kind == OutItem::String && strings[j] == strings[i]) {
                    strings_[i] = strings_[j];
                    break;
                }
        }
        return {};
    }

    OutItem resolve(OutItem item) const { return item.kind == OutItem::String ? strings_[item.index] : item; }
    std::uint32_t& numberOf(OutItem item) {
        switch (item.kind) {
        case OutItem::Object: return objectNumbers_[item.index];
        case OutItem::String: return stringNumbers_[item.index];
        default: return madeNumbers_[item.index];
        }
    }

    // Meets an object of the written tree: numbers it on the first walk; writes it on the second
    // where it is first met. True when it is a container met now, whose entries are to be walked.
    template <bool kWriting>
    bool meet(OutItem item, Output* out) {
        std::uint32_t& number = numberOf(item);
        if (number != kUnnumbered && number < met_) return false;  // met before
        number = met_++;
        if (item.kind == OutItem::String) {
            if constexpr (kWriting) {
                offsets_.push_back(static_cast<std::uint32_t>(out->position()));
                out->bytes(stringBytes_[item.index].data(), stringBytes_[item.index].size());
            }
            return false;
        }
        if (item.kind == OutItem::Object && !document_.isContainer(item.index)) {
            if constexpr (kWriting) {
                offsets_.push_back(static_cast<std::uint32_t>(out->position()));
                const std::span<const std::uint8_t> bytes = document_.encoded(item.index);
                out->bytes(bytes.data(), bytes.size());
            }
            return false;
        }
        open<kWriting>(item, out);
        return true;
    }

    template <bool kWriting>
    void open(OutItem container, Output* out) {
        const std::size_t first = entries_.size();
        bool array;
        if (container.kind == OutItem::Object) {
            const ObjectId object = container.index;
            if (!edit_.changes(object, entries_)) {
                const std::span<const std::uint8_t> header = document_.header(object);
                array = (header[0] >> 4) == 0xA;
                const std::size_t n = document_.count(object);
                const auto refs = static_cast<std::uint32_t>(array ? n : 2 * n);
                const std::uint64_t at = document_.referencesOf(object);
                open_.push_back({true, at, refs});
                // The entries lie all over the file: their loads are started together.
                const unsigned width = document_.referenceSize();
                for (std::uint64_t p = at, end = at + std::uint64_t{refs} * width; p < end; p += width) {
                    const ObjectId entry = document_.referenceAt(p);
                    document_.prefetchOffset(entry);
                    __builtin_prefetch(&objectNumbers_[entry]);
                }
                if constexpr (kWriting) {
                    offsets_.push_back(static_cast<std::uint32_t>(out->position()));
                    out->bytes(header.data(), header.size());
                    for (std::uint64_t p = at, end = at + std::uint64_t{refs} * width; p < end; p += width)
                        out->bigEndian(numberOf(resolve(OutItem::object(document_.referenceAt(p)))), refSize_);
                }
                return;
            }
            array = document_.type(object) == Type::Array;
        } else {
            edit_.made(container, entries_);
            array = container.kind == OutItem::MadeArray;
        }
        const auto refs = static_cast<std::uint32_t>(entries_.size() - first);
        open_.push_back({false, first, refs});
        if constexpr (kWriting) {
            offsets_.push_back(static_cast<std::uint32_t>(out->position()));
            out->marker(array ? 0xA : 0xD, array ? refs : refs / 2);
            for (std::size_t i = first; i < entries_.size(); ++i)
                out->bigEndian(numberOf(resolve(entries_[i])), refSize_);
        }
    }

    // Depth first from the root, numbering on the first walk and writing on the second.
    template <bool kWriting>
    void walk(Output* out) {
        met_ = 0;
        entries_.clear();
        meet<kWriting>(resolve(edit_.root()), out);
        while (!open_.empty()) {
            Open& top = open_.back();
            if (top.next == top.count) {
                if (!top.inFile) entries_.resize(static_cast<std::size_t>(top.at));
                open_.pop_back();
                continue;
            }
            const std::uint32_t i = top.next++;
            const unsigned width = document_.referenceSize();
            if (top.inFile && i + 4 < top.count)
                document_.prefetchObject(document_.referenceAt(top.at + std::uint64_t{i + 4} * width));
            // `top` may move when a container is opened: it is not used after this.
            const OutItem child = top.inFile ? OutItem::object(document_.referenceAt(top.at + std::uint64_t{i} * width))
                                             : resolve(entries_[static_cast<std::size_t>(top.at) + i]);
            meet<kWriting>(child, out);
        }
    }

    const BinaryDocument& document_;
    const DocumentEdit& edit_;
    std::vector<std::uint32_t> objectNumbers_, madeNumbers_, stringNumbers_;
    std::vector<OutItem> strings_;
    std::vector<std::string> stringBytes_;
    std::vector<OutItem> entries_;  // the entries of the open changed and made containers
    std::vector<Open> open_;
    std::vector<std::uint32_t> offsets_;  // by number: below 4 GiB, as the document is
    std::uint32_t met_ = 0;
    unsigned refSize_ = 0;
};

}  // namespace

std::string writeEdited(const BinaryDocument& document, ScalarIndex index, const DocumentEdit& edit, Sink& sink) {
    return EditWriter(document, edit).write(std::move(index), sink);
}

}  // namespace orvane::plist
