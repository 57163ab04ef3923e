// writeEdited: a plain document written again with an edit, in writeBinary's layout.
//
// writeBinary numbers the objects depth first, a container before its children and a dictionary's
// keys before its values, equal scalars once. Walking the edited document in the same order gives
// the same numbers: the document's scalars are all distinct, so each is numbered where it is
// first met, and a new string equal to one of them takes that one's place. A first walk numbers;
// a second, in the same order, writes each object where it is first met: a scalar of the document
// as its bytes in the file, which writeBinary would write the same; an unchanged container as
// its marker and count from the file and its references renumbered; everything else encoded.
//
// A large file is written by two threads, each a half: the first walk also counts the bytes
// before every object, which it can tell without reading the objects because the document's
// scalars lie back to back (each one's size is the gap to the next in the offset table), and keeps
// where the walk stood when the second half begins; the second thread goes on from there, writing
// at that half's place in the file.
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "binary_document.h"
#include "binary_format.h"

namespace orvane::plist {
namespace {

constexpr std::uint32_t kUnnumbered = UINT32_MAX;

// Writes what it is given at a place in another sink, from the place on.
class PlacedSink final : public Sink {
public:
    PlacedSink(Sink& sink, std::uint64_t at) : sink_(sink), at_(at) {}
    void write(const void* bytes, std::size_t n) override {
        sink_.overwrite(at_, {static_cast<const char*>(bytes), n});
        at_ += n;
    }
    bool failed() const override { return sink_.failed(); }
    std::uint64_t position() const override { return at_; }
    void overwrite(std::uint64_t offset, std::string_view bytes) override { sink_.overwrite(offset, bytes); }

private:
    Sink& sink_;
    std::uint64_t at_;
};

class EditWriter {
public:
    EditWriter(const BinaryDocument& document, const DocumentEdit& edit, std::size_t twoThreadsFrom)
        : document_(document), edit_(edit), madeNumbers_(edit.madeCount(), kUnnumbered), twoThreadsFrom_(twoThreadsFrom) {}

    std::string write(ScalarIndex index, Sink& sink) {
        if (std::string error = resolveStrings(index); !error.empty()) return error;
        index = ScalarIndex();  // not needed any more: its memory serves the tables below
        objectNumbers_.assign(document_.objectCount(), kUnnumbered);
        // The second half begins at the object met once half the document's bytes are counted.
        if (document_.objectCount() >= twoThreadsFrom_ && document_.scalarsAdjoin() && sink.overwritesConcurrently())
            halfway_ = document_.objectAreaSize() / 2;
        Walk numbering;
        walk<false>(numbering, nullptr);  // numbers everything
        const std::uint32_t count = numbering.met;
        refSize_ = byteCount(count);
        offsets_.resize(count);
        Output out(sink);
        out.bytes("bplist00", 8);
        std::uint64_t tableOffset;
        if (second_) {
            // Both halves at once, the second at its place; each fills its own numbers' offsets.
            const std::uint64_t start = 8 + second_->bytes + second_->references * refSize_;
            PlacedSink placed(sink, start);
            std::uint64_t end = 0;
            std::thread other([&] {
                Output rest(placed, start);
                Walk& resumed = second_->walk;
                meet<true>(resumed, second_->item, &rest);
                walkOn<true>(resumed, &rest);
                rest.flush();
                end = rest.position();
            });
            Walk first;
            first.stopAt = second_->walk.met;
            walk<true>(first, &out);
            out.flush();
            other.join();
            if (out.position() != start) return "internal error: the first half ends where the second does not begin";
            tableOffset = end;
        } else {
            Walk writing;
            walk<true>(writing, &out);
            tableOffset = out.position();
        }
        if (tableOffset > UINT32_MAX) return "internal error: the objects written and those numbered differ";
        // The offset table and the trailer follow the last object, wherever it was written from.
        PlacedSink afterObjects(sink, tableOffset);
        Output table(second_ ? static_cast<Sink&>(afterObjects) : sink, tableOffset);
        Output& tail = second_ ? table : out;
        const unsigned offsetSize = byteCount(tableOffset);
        for (const std::uint32_t offset : offsets_) tail.bigEndian(offset, offsetSize);
        static const std::uint8_t unused[6] = {};
        tail.bytes(unused, sizeof unused);
        tail.byte(static_cast<std::uint8_t>(offsetSize));
        tail.byte(static_cast<std::uint8_t>(refSize_));
        tail.bigEndian(count, 8);
        tail.bigEndian(0, 8);  // the root is object 0
        tail.bigEndian(tableOffset, 8);
        tail.flush();
        return sink.failed() ? "the output could not be written" : "";
    }

private:
    // A container being walked: one of the document's as it lies (its references in the file),
    // or one the edit changed or made (its entries in the walk's entries).
    struct Open {
        bool inFile;
        std::uint64_t at;  // the file offset of its references, or its first entry in entries
        std::uint32_t count;
        std::uint32_t next = 0;
    };
    // Where a walk stands: the containers open, the entries of the changed and made ones, how
    // many objects it has met. A writing walk stops short of the object numbered stopAt.
    struct Walk {
        std::vector<Open> open;
        std::vector<OutItem> entries;
        std::uint32_t met = 0;
        std::uint32_t stopAt = UINT32_MAX;
        bool stopped = false;
    };
    // Where the second half begins: the walk as it stood, the object it was about to meet, and
    // the bytes before that object, references apart (their width is known only at the end).
    struct SecondHalf {
        Walk walk;
        OutItem item;
        std::uint64_t bytes = 0;
        std::uint64_t references = 0;
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
    // where it is first met. A container met now is opened, its entries to be walked next.
    template <bool kWriting>
    void meet(Walk& walk, OutItem item, Output* out) {
        std::uint32_t& number = numberOf(item);
        if constexpr (kWriting) {
            if (number < walk.met) return;  // met before
            if (number == walk.stopAt) {
                walk.stopped = true;
                return;
            }
            offsets_[number] = static_cast<std::uint32_t>(out->position());
            ++walk.met;
        } else {
            if (number != kUnnumbered && number < walk.met) return;  // met before
            if (halfway_ && !second_ && bytes_ + references_ * document_.referenceSize() >= halfway_)
                second_ = SecondHalf{walk, item, bytes_, references_};
            number = walk.met++;
        }
        if (item.kind == OutItem::String) {
            if constexpr (kWriting)
                out->bytes(stringBytes_[item.index].data(), stringBytes_[item.index].size());
            else
                bytes_ += stringBytes_[item.index].size();
            return;
        }
        if (item.kind == OutItem::Object && !document_.isContainer(item.index)) {
            if constexpr (kWriting) {
                const std::span<const std::uint8_t> bytes = document_.encoded(item.index);
                out->bytes(bytes.data(), bytes.size());
            } else if (halfway_) {
                bytes_ += document_.scalarSize(item.index);
            }
            return;
        }
        open<kWriting>(walk, item, out);
    }

    template <bool kWriting>
    void open(Walk& walk, OutItem container, Output* out) {
        const std::size_t first = walk.entries.size();
        bool array;
        if (container.kind == OutItem::Object) {
            const ObjectId object = container.index;
            if (!edit_.changes(object, walk.entries)) {
                const std::span<const std::uint8_t> header = document_.header(object);
                array = (header[0] >> 4) == 0xA;
                const std::size_t n = document_.count(object);
                const auto refs = static_cast<std::uint32_t>(array ? n : 2 * n);
                const std::uint64_t at = document_.referencesOf(object);
                walk.open.push_back({true, at, refs});
                // The entries lie all over the file: their loads are started together.
                const unsigned width = document_.referenceSize();
                for (std::uint64_t p = at, end = at + std::uint64_t{refs} * width; p < end; p += width) {
                    const ObjectId entry = document_.referenceAt(p);
                    document_.prefetchOffset(entry);
                    __builtin_prefetch(&objectNumbers_[entry]);
                }
                if constexpr (kWriting) {
                    out->bytes(header.data(), header.size());
                    for (std::uint64_t p = at, end = at + std::uint64_t{refs} * width; p < end; p += width)
                        out->bigEndian(numberOf(resolve(OutItem::object(document_.referenceAt(p)))), refSize_);
                } else {
                    bytes_ += header.size();
                    references_ += refs;
                }
                return;
            }
            array = document_.type(object) == Type::Array;
        } else {
            edit_.made(container, walk.entries);
            array = container.kind == OutItem::MadeArray;
        }
        const auto refs = static_cast<std::uint32_t>(walk.entries.size() - first);
        walk.open.push_back({false, first, refs});
        if constexpr (kWriting) {
            out->marker(array ? 0xA : 0xD, array ? refs : refs / 2);
            for (std::size_t i = first; i < walk.entries.size(); ++i)
                out->bigEndian(numberOf(resolve(walk.entries[i])), refSize_);
        } else {
            bytes_ += 1 + countBytes(array ? refs : refs / 2);
            references_ += refs;
        }
    }

    // Depth first from the root, numbering on the first walk and writing on the second.
    template <bool kWriting>
    void walk(Walk& walk, Output* out) {
        meet<kWriting>(walk, resolve(edit_.root()), out);
        walkOn<kWriting>(walk, out);
    }
    template <bool kWriting>
    void walkOn(Walk& walk, Output* out) {
        while (!walk.open.empty() && !walk.stopped) {
            Open& top = walk.open.back();
            if (top.next == top.count) {
                if (!top.inFile) walk.entries.resize(static_cast<std::size_t>(top.at));
                walk.open.pop_back();
                continue;
            }
            const std::uint32_t i = top.next++;
            const unsigned width = document_.referenceSize();
            if (top.inFile && i + 4 < top.count)
                document_.prefetchObject(document_.referenceAt(top.at + std::uint64_t{i + 4} * width));
            // `top` may move when a container is opened: it is not used after this.
            const OutItem child = top.inFile ? OutItem::object(document_.referenceAt(top.at + std::uint64_t{i} * width))
                                             : resolve(walk.entries[static_cast<std::size_t>(top.at) + i]);
            meet<kWriting>(walk, child, out);
        }
    }

    const BinaryDocument& document_;
    const DocumentEdit& edit_;
    std::vector<std::uint32_t> objectNumbers_, madeNumbers_, stringNumbers_;
    std::vector<OutItem> strings_;
    std::vector<std::string> stringBytes_;
    std::vector<std::uint32_t> offsets_;  // by number: below 4 GiB, as the document is
    unsigned refSize_ = 0;
    std::size_t twoThreadsFrom_;
    // What the first walk counts for the second half: the document's bytes halved (0: one
    // thread writes), and the bytes and references numbered so far.
    std::uint64_t halfway_ = 0, bytes_ = 0, references_ = 0;
    std::optional<SecondHalf> second_;
};

}  // namespace

std::string writeEdited(const BinaryDocument& document, ScalarIndex index, const DocumentEdit& edit, Sink& sink,
                        std::size_t twoThreadsFrom) {
    return EditWriter(document, edit, twoThreadsFrom).write(std::move(index), sink);
}

}  // namespace orvane::plist
