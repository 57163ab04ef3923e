// Reader of binary property lists ("bplist00").
//
// Layout: an 8-byte header, the objects, a table of their offsets, and a 32-byte trailer that
// says how wide offsets and object references are, how many objects there are, which one is the
// root and where the offset table starts. Every number taken from the file is checked before use,
// with arithmetic that cannot overflow, and the file must end exactly after the trailer.
//
// The tree is built without recursion: a stack of open containers, at most kMaxDepth deep.
// Scalars referenced many times (dictionary keys above all) are built once and shared. A
// container referenced from several places (plistlib writes one whenever a script puts one
// object in two places) is read as Apple's reader reads it into mutable containers: every
// reference gets a copy of its own. A container met again on the path to itself is a cycle. The
// copies are bounded: a chain of containers that each reference the next twice would expand to
// 2^n objects from a few hundred bytes, so when a file shares containers (or aliases offsets)
// its expanded size is worked out first, without building anything, and refused above the
// file's size plus kSharingAllowance; a count of what is built holds the same bound throughout.
#include <array>
#include <cstring>
#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

#include "binary_format.h"
#include "codec.h"
#include "utf.h"

namespace orvane::plist {
namespace {

constexpr std::size_t kHeaderSize = 8;
constexpr std::size_t kTrailerSize = 32;
// Up to this many entries, duplicate dictionary keys are found by a linear scan.
constexpr std::size_t kLinearKeyCheck = 16;
// How many objects the copies of shared containers may add to what the file's bytes can hold
// without sharing (each reference takes at least a byte): far more than any script's sharing,
// far less than an expansion bomb, and quick to build.
constexpr std::uint64_t kSharingAllowance = std::uint64_t{1} << 22;

double readDouble(const std::uint8_t* p) {
    std::uint64_t bits = readBE(p, 8);
    double d;
    std::memcpy(&d, &bits, sizeof d);
    return d;
}

double readFloat(const std::uint8_t* p) {
    auto bits = static_cast<std::uint32_t>(readBE(p, 4));
    float f;
    std::memcpy(&f, &bits, sizeof f);
    return f;
}

// Set bits in a word, without the library call that baseline x86-64 makes of a popcount.
inline std::size_t bitsSet(std::uint64_t w) {
    w -= (w >> 1) & 0x5555555555555555ull;
    w = (w & 0x3333333333333333ull) + ((w >> 2) & 0x3333333333333333ull);
    w = (w + (w >> 4)) & 0x0F0F0F0F0F0F0F0Full;
    return static_cast<std::size_t>((w * 0x0101010101010101ull) >> 56);
}

std::string hex2(std::uint8_t b) {
    static const char* digits = "0123456789abcdef";
    return {'0', 'x', digits[b >> 4], digits[b & 15]};
}

class BinaryReader {
public:
    explicit BinaryReader(std::span<const std::uint8_t> bytes) : data_(bytes.data()), size_(bytes.size()) {}

    ReadResult read() {
        ReadResult result;
        result.format = Format::Binary;
        if (!readTrailer() || !checkOffsetTable()) {
            result.status = std::move(status_);
            return result;
        }
        findSharedObjects();
        if (mayExpand_ && !checkExpansion()) {
            result.status = std::move(status_);
            return result;
        }
        Value root = build(topObject_);
        if (!status_.ok()) {
            result.status = std::move(status_);
            return result;
        }
        result.value = std::move(root);
        return result;
    }

private:
    struct Frame {
        Value container;
        std::uint64_t object;
        std::uint64_t refs;   // file offset of the first reference
        std::uint64_t count;  // entries (a dictionary has 2 * count references)
        std::uint64_t next = 0;
        std::unordered_set<std::string_view>* keys = nullptr;  // for large dictionaries
    };

    bool fail(std::uint64_t offset, std::string message) {
        if (status_.ok()) status_ = ParseStatus::atByte(offset, std::move(message));
        return false;
    }

    bool readTrailer() {
        if (size_ < kHeaderSize + 1 + kTrailerSize)
            return fail(
                0, "too short for a binary property list (" + std::to_string(size_) + " bytes; at least 41 needed)");
        if (std::memcmp(data_, "bplist0", 7) != 0 || data_[7] < '0' || data_[7] > '9')
            return fail(0, "not a binary property list of version 00 (bad header)");
        const std::uint8_t* t = data_ + size_ - kTrailerSize;
        const std::uint64_t trailerAt = size_ - kTrailerSize;
        offsetSize_ = t[6];
        refSize_ = t[7];
        numObjects_ = readBE(t + 8, 8);
        topObject_ = readBE(t + 16, 8);
        tableOffset_ = readBE(t + 24, 8);
        if (offsetSize_ < 1 || offsetSize_ > 8)
            return fail(trailerAt + 6,
                        "offset size " + std::to_string(offsetSize_) + " in the trailer is not 1 to 8 bytes");
        if (refSize_ < 1 || refSize_ > 8)
            return fail(trailerAt + 7,
                        "object reference size " + std::to_string(refSize_) + " in the trailer is not 1 to 8 bytes");
        if (numObjects_ < 1) return fail(trailerAt + 8, "the trailer says the file holds no objects");
        if (topObject_ >= numObjects_)
            return fail(trailerAt + 16, "the root object " + std::to_string(topObject_) + " is not among the " +
                                            std::to_string(numObjects_) + " objects");
        if (tableOffset_ < kHeaderSize + 1 || tableOffset_ >= trailerAt)
            return fail(trailerAt + 24, "the offset table would start at byte " + std::to_string(tableOffset_) +
                                            ", outside the file's " + std::to_string(size_) + " bytes");
        // The table must fill exactly the space between its start and the trailer.
        const std::uint64_t tableBytes = trailerAt - tableOffset_;
        if (numObjects_ > tableBytes / offsetSize_ || numObjects_ * offsetSize_ != tableBytes)
            return fail(tableOffset_, "the offset table holds " + std::to_string(tableBytes) + " bytes, but " +
                                          std::to_string(numObjects_) + " offsets of " + std::to_string(offsetSize_) +
                                          " bytes are announced");
        if (refSize_ < 8 && numObjects_ > (std::uint64_t{1} << (8 * refSize_)))
            return fail(trailerAt + 7, "references of " + std::to_string(refSize_) + " bytes cannot name all " +
                                           std::to_string(numObjects_) + " objects");
        return true;
    }

    std::uint64_t offsetOf(std::uint64_t object) const {
        return readBE(data_ + tableOffset_ + object * offsetSize_, offsetSize_);
    }

    bool checkOffsetTable() {
        std::uint64_t previous = 0;
        for (std::uint64_t i = 0; i < numObjects_; ++i) {
            std::uint64_t off = offsetOf(i);
            if (off < kHeaderSize || off >= tableOffset_)
                return fail(tableOffset_ + i * offsetSize_, "object " + std::to_string(i) +
                                                                " is said to start at byte " + std::to_string(off) +
                                                                ", outside the object area");
            // Offsets out of order may alias one container under several numbers.
            if (off <= previous) mayExpand_ = true;
            previous = off;
        }
        expansionLimit_ = size_ + kSharingAllowance;
        refBudget_ = expansionLimit_;
        return true;
    }

    bool isContainer(std::uint64_t object) const {
        const std::uint8_t kind = data_[offsetOf(object)] >> 4;
        return kind == 0xA || kind == 0xD;
    }

    // Where a container's references start and how many there are (keys and values of a
    // dictionary alike); false when its count or extent is broken, which building reports where
    // it meets it.
    bool referencesOf(std::uint64_t object, std::uint64_t& refs, std::uint64_t& n) {
        const std::uint64_t at = offsetOf(object);
        const std::uint8_t marker = data_[at];
        const std::uint64_t per = (marker >> 4) == 0xD ? 2 : 1;
        std::uint64_t count = 0;
        ParseStatus quiet;
        std::swap(quiet, status_);  // a failure here is not the file's first error yet
        const bool ok = readCount(object, at, marker, count, refs) && count <= UINT64_MAX / per / refSize_ &&
                        fits(object, at, refs, count * per, refSize_, "");
        std::swap(quiet, status_);
        n = count * per;
        return ok;
    }

    std::string limitText() const {
        return std::to_string(expansionLimit_) + " objects, the limit for a file of " + std::to_string(size_) +
               " bytes (its size plus " + std::to_string(kSharingAllowance) + ")";
    }

    // Works out, without building, how many objects the tree holds once every shared container
    // is copied for each reference, and fails at the first container whose copies pass the
    // limit. Depth first without recursion; each container is counted once and its count reused.
    // Cycles, broken containers and nesting too deep end the count early: building reports them.
    bool checkExpansion() {
        std::vector<std::uint64_t> expanded(numObjects_, 0);  // valid once state is 2
        std::vector<std::uint8_t> state(numObjects_, 0);      // 0 not reached, 1 on the path, 2 counted
        struct Step {
            std::uint64_t object, refs, n, next, total;
        };
        std::vector<Step> path;
        auto enter = [&](std::uint64_t object) {
            std::uint64_t refs = 0, n = 0;
            if (!referencesOf(object, refs, n)) return false;
            state[object] = 1;
            path.push_back({object, refs, n, 0, 1});
            return true;
        };
        if (!isContainer(topObject_) || !enter(topObject_)) return true;
        while (!path.empty()) {
            Step& step = path.back();
            if (step.total > expansionLimit_)
                return fail(
                    offsetOf(step.object),
                    "object " + std::to_string(step.object) +
                        ": copying its shared arrays and dictionaries for every reference would make more than " +
                        limitText());
            if (step.next == step.n) {
                const std::uint64_t object = step.object, total = step.total;
                expanded[object] = total;
                state[object] = 2;
                path.pop_back();
                if (!path.empty()) path.back().total += total;
                continue;
            }
            const std::uint64_t target = refAt(step.refs + step.next++ * refSize_);
            if (target >= numObjects_) return true;
            if (!isContainer(target)) {
                ++step.total;
            } else if (state[target] == 2) {
                step.total += expanded[target];
            } else if (state[target] == 1 || path.size() >= kMaxDepth || !enter(target)) {
                return true;
            }
        }
        return true;
    }

    // Counts the references to every object, up to two, so that only objects referenced more
    // than once are kept for sharing while the tree is built: holding every object's value until
    // the end would cost a word per object. Containers whose counts or references are broken are
    // skipped here; building reports them where it meets them.
    void findSharedObjects() {
        std::vector<std::uint8_t> counts(numObjects_, 0);
        for (std::uint64_t object = 0; object < numObjects_; ++object) {
            std::uint64_t payload = 0, n = 0;
            if (!isContainer(object) || !referencesOf(object, payload, n)) continue;
            for (std::uint64_t i = 0; i < n; ++i) {
                const std::uint64_t target = refAt(payload + i * refSize_);
                if (target < numObjects_ && counts[target] < 2) ++counts[target];
            }
        }
        // A bit per object marks the shared ones; their place in sharedCache_ is the number of
        // marked objects before them, counted a word at a time.
        const std::size_t words = static_cast<std::size_t>((numObjects_ + 63) / 64);
        sharedBits_.assign(words, 0);
        sharedBefore_.assign(words, 0);
        std::size_t shared = 0;
        for (std::size_t w = 0; w < words; ++w) {
            sharedBefore_[w] = shared;
            for (std::size_t bit = 0; bit < 64 && w * 64 + bit < numObjects_; ++bit)
                if (counts[w * 64 + bit] > 1) {
                    if (isContainer(w * 64 + bit))
                        mayExpand_ = true;  // copied, not shared: never marked
                    else
                        sharedBits_[w] |= std::uint64_t{1} << bit;
                }
            shared += bitsSet(sharedBits_[w]);
        }
        sharedCache_.resize(shared);
        onPath_.assign(words, 0);
    }

    // The cache slot of a scalar referenced more than once, or nullptr.
    Value* sharedSlot(std::uint64_t object) {
        const std::uint64_t word = sharedBits_[object / 64];
        const std::uint64_t bit = std::uint64_t{1} << (object % 64);
        if (!(word & bit)) return nullptr;
        return &sharedCache_[sharedBefore_[object / 64] + bitsSet(word & (bit - 1))];
    }

    // Marks a container as open on the path from the root, or no longer; false when it already was.
    bool setOnPath(std::uint64_t object, bool on) {
        std::uint64_t& word = onPath_[object / 64];
        const std::uint64_t bit = std::uint64_t{1} << (object % 64);
        const bool was = (word & bit) != 0;
        word = on ? word | bit : word & ~bit;
        return was != on;
    }

    // Reads the element count that follows a marker; sets `payload` to where the elements start.
    bool readCount(std::uint64_t object, std::uint64_t at, std::uint8_t marker, std::uint64_t& count,
                   std::uint64_t& payload) {
        std::uint8_t nibble = marker & 0x0F;
        if (nibble != 0x0F) {
            count = nibble;
            payload = at + 1;
            return true;
        }
        if (at + 1 >= tableOffset_)
            return fail(at, "object " + std::to_string(object) + ": its length runs into the offset table");
        std::uint8_t intMarker = data_[at + 1];
        if ((intMarker & 0xF0) != 0x10 || (intMarker & 0x0F) > 4)
            return fail(at + 1, "object " + std::to_string(object) + ": its length is not an integer object (marker " +
                                    hex2(intMarker) + ")");
        std::uint64_t width = std::uint64_t{1} << (intMarker & 0x0F);
        if (width > tableOffset_ - (at + 2))
            return fail(at + 1, "object " + std::to_string(object) + ": its length runs into the offset table");
        // Only the low 64 bits of a 16-byte length count.
        std::size_t used = width > 8 ? 8 : static_cast<std::size_t>(width);
        count = readBE(data_ + at + 2 + (width - used), used);
        if (count > static_cast<std::uint64_t>(INT64_MAX))
            return fail(at + 1,
                        "object " + std::to_string(object) + ": length " + std::to_string(count) + " is too large");
        payload = at + 2 + width;
        return true;
    }

    // True when `count` units of `unit` bytes starting at `payload` end inside the object area.
    bool fits(std::uint64_t object, std::uint64_t at, std::uint64_t payload, std::uint64_t count, std::uint64_t unit,
              const char* what) {
        if (payload <= tableOffset_ && count <= (tableOffset_ - payload) / unit && count <= kMaxBlobSize / 3)
            return true;  // UTF-16 may grow 3/2 in UTF-8
        return fail(at, "object " + std::to_string(object) + ": " + what + " of " + std::to_string(count) +
                            " elements runs past the end of the object area");
    }

    std::uint64_t refAt(std::uint64_t offset) const { return readBE(data_ + offset, refSize_); }

    // Builds a scalar, or an empty container whose children the caller fills in.
    Value buildObject(std::uint64_t object, Frame* frame) {
        const std::uint64_t at = offsetOf(object);
        const std::uint8_t marker = data_[at];
        const std::uint8_t kind = marker >> 4;
        const std::uint8_t low = marker & 0x0F;
        auto where = [object] { return "object " + std::to_string(object); };
        auto need = [&](std::uint64_t n) {
            return n <= tableOffset_ - at - 1 || fail(at, where() + ": its value runs past the end of the object area");
        };
        switch (kind) {
        case 0x0:
            if (marker == 0x08 || marker == 0x09) return Value::boolean(marker == 0x09);
            fail(at, where() + ": marker " + hex2(marker) +
                         (marker == 0 ? " (null) is not a property-list value" : " is not valid"));
            return {};
        case 0x1: {
            if (low > 4) {
                fail(at, where() + ": integers of " + std::to_string(1u << low) + " bytes are not supported");
                return {};
            }
            std::uint64_t width = std::uint64_t{1} << low;
            if (!need(width)) return {};
            if (width == 16) return Value::unsignedInteger(readBE(data_ + at + 9, 8));  // low 64 bits, unsigned
            // 1-, 2- and 4-byte integers are unsigned, 8-byte ones signed: the cast covers both.
            return Value::integer(static_cast<std::int64_t>(readBE(data_ + at + 1, static_cast<std::size_t>(width))));
        }
        case 0x2:
            if (low == 2 && need(4)) return Value::real(readFloat(data_ + at + 1));
            if (low == 3 && need(8)) return Value::real(readDouble(data_ + at + 1));
            fail(at, where() + ": real of marker " + hex2(marker) + " is not 4 or 8 bytes");
            return {};
        case 0x3:
            if (marker == 0x33 && need(8)) return Value::date(readDouble(data_ + at + 1));
            fail(at, where() + ": date of marker " + hex2(marker) + " is not an 8-byte date");
            return {};
        case 0x4: {
            std::uint64_t count, payload;
            if (!readCount(object, at, marker, count, payload) || !fits(object, at, payload, count, 1, "data"))
                return {};
            return Value::data({data_ + payload, static_cast<std::size_t>(count)}, &arena_);
        }
        case 0x5: {
            std::uint64_t count, payload;
            if (!readCount(object, at, marker, count, payload) || !fits(object, at, payload, count, 1, "a string"))
                return {};
            std::string_view text(reinterpret_cast<const char*>(data_ + payload), static_cast<std::size_t>(count));
            if (utf::isAscii(text)) return Value::string(text, &arena_);
            // Bytes above 0x7F in an "ASCII" string are Latin-1, as Apple's reader takes them.
            std::string converted;
            converted.reserve(text.size() * 2);
            for (char c : text) utf::appendCodePoint(converted, static_cast<std::uint8_t>(c));
            return Value::string(converted, &arena_);
        }
        case 0x6: {
            std::uint64_t count, payload;
            if (!readCount(object, at, marker, count, payload) ||
                !fits(object, at, payload, count, 2, "a UTF-16 string"))
                return {};
            std::string& text = scratch_;
            text.clear();
            utf::appendUtf16(text, data_ + payload, static_cast<std::size_t>(count), true);
            return Value::string(text, &arena_);
        }
        case 0x8: {
            std::uint64_t width = std::uint64_t{low} + 1;
            if (!need(width)) return {};
            std::uint64_t uid = readBE(data_ + at + 1, static_cast<std::size_t>(width));
            if (uid > UINT32_MAX) {
                fail(at, where() + ": UID " + std::to_string(uid) + " is larger than 32 bits");
                return {};
            }
            return Value::uid(uid);
        }
        case 0xA:
        case 0xD: {
            std::uint64_t count, payload;
            if (!readCount(object, at, marker, count, payload)) return {};
            const std::uint64_t refs = kind == 0xD ? 2 : 1;
            const char* what = kind == 0xD ? "a dictionary" : "an array";
            // A count whose references would not fit in 64 bits cannot fit in the file either.
            if (count > UINT64_MAX / refs / refSize_) {
                fail(at, where() + ": " + what + " of " + std::to_string(count) +
                             " elements runs past the end of the object area");
                return {};
            }
            if (!fits(object, at, payload, count * refs, refSize_, what)) return {};
            if (count > kMaxContainerSize) {
                fail(at, where() + ": " + what + " of " + std::to_string(count) +
                             " elements is more than a property list may hold");
                return {};
            }
            if (count > refBudget_) {
                fail(
                    at,
                    where() +
                        ": with shared arrays and dictionaries copied for every reference, the file would hold more than " +
                        limitText());
                return {};
            }
            refBudget_ -= count;
            const auto capacity = static_cast<std::size_t>(count);
            Value container = kind == 0xD ? Value::dictionary(capacity, &arena_) : Value::array(capacity, &arena_);
            *frame = Frame{container, object, payload, count};
            return container;
        }
        case 0xC: fail(at, where() + ": sets are not supported in property lists"); return {};
        default: fail(at, where() + ": unknown object marker " + hex2(marker)); return {};
        }
    }

    // Resolves a reference read at file offset `from`: a shared scalar, a new container (pushed
    // on the stack), or a failure.
    bool resolve(std::uint64_t from, std::vector<Frame>& stack, Value& out) {
        std::uint64_t object = refAt(from);
        if (object >= numObjects_)
            return fail(from, "reference to object " + std::to_string(object) + ", but the file has only " +
                                  std::to_string(numObjects_) + " objects");
        const bool container = isContainer(object);
        if (container && !setOnPath(object, true))
            return fail(from, "object " + std::to_string(object) + " contains itself (a reference cycle)");
        Value* cached = container ? nullptr : sharedSlot(object);
        if (cached && !cached->isNull()) {
            out = *cached;
            return true;
        }
        Frame frame;
        Value v = buildObject(object, &frame);
        if (v.isNull()) return false;
        if (cached) *cached = v;
        if (container) {
            if (stack.size() >= kMaxDepth)
                return fail(offsetOf(object),
                            "arrays and dictionaries are nested more than " + std::to_string(kMaxDepth) + " deep");
            stack.push_back(std::move(frame));
        }
        out = std::move(v);
        return true;
    }

    Value build(std::uint64_t top) {
        std::vector<Frame> stack;
        std::vector<std::unique_ptr<std::unordered_set<std::string_view>>> keySets;
        Frame rootFrame;
        Value root = buildObject(top, &rootFrame);
        if (root.isNull()) return {};
        if (root.isArray() || root.isDictionary()) {
            setOnPath(top, true);
            stack.push_back(std::move(rootFrame));
        }
        while (!stack.empty()) {
            Frame& f = stack.back();
            if (f.next == f.count) {
                setOnPath(f.object, false);
                stack.pop_back();
                continue;
            }
            const std::uint64_t i = f.next++;
            if (Array* array = f.container.asArray()) {
                Value child;
                // `resolve` may push, which moves `f`: take what we need first.
                if (!resolve(f.refs + i * refSize_, stack, child)) return {};
                array->append(std::move(child));
                continue;
            }
            Dictionary* dict = f.container.asDictionary();
            const std::uint64_t keyRef = f.refs + i * refSize_;
            const std::uint64_t valueRef = f.refs + (f.count + i) * refSize_;
            Value key;
            std::uint64_t keyObject = refAt(keyRef);
            if (keyObject < numObjects_) {
                std::uint8_t marker = data_[offsetOf(keyObject)];
                if ((marker >> 4) != 0x5 && (marker >> 4) != 0x6)
                    return fail(keyRef, "dictionary key object " + std::to_string(keyObject) + " is not a string"),
                           Value();
            }
            if (!resolve(keyRef, stack, key)) return {};
            if (f.count > kLinearKeyCheck && !f.keys) {
                keySets.push_back(std::make_unique<std::unordered_set<std::string_view>>());
                f.keys = keySets.back().get();
                f.keys->reserve(static_cast<std::size_t>(f.count));
            }
            // The first of two equal keys wins, as in Apple's reader; the value is not read.
            bool duplicate = f.keys ? !f.keys->insert(key.asString()).second : dict->contains(key.asString());
            if (duplicate) continue;
            Value value;
            Value keepKey = key;  // `f` may move when `resolve` pushes
            if (!resolve(valueRef, stack, value)) return {};
            dict->appendUnchecked(Key(keepKey), std::move(value));
        }
        return root;
    }

    const std::uint8_t* data_;
    std::uint64_t size_;
    std::uint64_t offsetSize_ = 0, refSize_ = 0, numObjects_ = 0, topObject_ = 0, tableOffset_ = 0;
    bool mayExpand_ = false;  // some container is shared, or offsets alias one
    std::uint64_t expansionLimit_ = 0;
    std::uint64_t refBudget_ = 0;            // container elements that may still be built
    std::vector<std::uint64_t> sharedBits_;  // a bit per object: referenced more than once
    std::vector<std::size_t> sharedBefore_;  // by word of sharedBits_: shared objects before it
    std::vector<Value> sharedCache_;         // the shared scalars, once built
    std::vector<std::uint64_t> onPath_;      // a bit per object: containers open from the root down
    std::string scratch_;                    // a UTF-16 string being converted
    Arena arena_;
    ParseStatus status_;
};

}  // namespace

ReadResult readBinary(std::span<const std::uint8_t> bytes) { return BinaryReader(bytes).read(); }

}  // namespace orvane::plist
