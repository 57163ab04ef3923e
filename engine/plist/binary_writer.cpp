// Writer of binary property lists ("bplist00"), in the layout Apple's reader requires: header,
// objects, offset table and 32-byte trailer, nothing else.
//
// Objects are numbered depth first, a container before its children and a dictionary's keys
// before its values, so the root is object 0. Equal scalars (same type, same bytes) are written
// once and shared; containers never are, even when the tree shares one. Offsets and references
// take the smallest of 1, 2, 4 or 8 bytes that holds the largest value.
#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "codec.h"
#include "utf.h"

namespace orvane::plist {
namespace {

unsigned byteCount(std::uint64_t n) {
    if (n < (1ull << 8)) return 1;
    if (n < (1ull << 16)) return 2;
    if (n < (1ull << 32)) return 4;
    return 8;
}

std::uint64_t bitsOf(double d) {
    std::uint64_t u;
    std::memcpy(&u, &d, sizeof u);
    return u;
}

bool isContainer(const Value& v) { return v.isArray() || v.isDictionary(); }

// Buffers output for the sink and counts the bytes written, which are the objects' offsets.
class Output {
public:
    explicit Output(Sink& sink) : sink_(sink), buffer_(new char[kChunk]) {}
    ~Output() { flush(); }
    void byte(std::uint8_t b) {
        if (used_ == kChunk) flush();
        buffer_[used_++] = static_cast<char>(b);
    }
    void bytes(const void* p, std::size_t n) {
        const char* src = static_cast<const char*>(p);
        while (n > 0) {
            if (used_ == kChunk) flush();
            std::size_t take = std::min(n, kChunk - used_);
            std::memcpy(buffer_.get() + used_, src, take);
            used_ += take, src += take, n -= take;
        }
    }
    // Widths are 1, 2, 4 or 8: every reference and offset goes through here.
    void bigEndian(std::uint64_t v, unsigned width) {
        if (kChunk - used_ < 8) flush();
        const std::uint64_t be = __builtin_bswap64(v << (8 * (8 - width)));
        std::memcpy(buffer_.get() + used_, &be, 8);  // only `width` bytes count; the rest is overwritten
        used_ += width;
    }
    void flush() {
        if (used_ > 0) sink_.write(buffer_.get(), used_);
        position_ += used_;
        used_ = 0;
    }
    std::uint64_t position() const { return position_ + used_; }
    std::string& scratch() { return scratch_; }

private:
    static constexpr std::size_t kChunk = 256 * 1024;
    Sink& sink_;
    std::unique_ptr<char[]> buffer_;
    std::size_t used_ = 0;
    std::string scratch_;
    std::uint64_t position_ = 0;
};

// A quick hash of a byte run, eight bytes at a time; std::hash is several times slower here.
std::uint64_t hashBytes(const void* p, std::size_t n, std::uint64_t seed) {
    const auto* b = static_cast<const unsigned char*>(p);
    std::uint64_t h = seed ^ (n * 0x9e3779b97f4a7c15ull);
    auto mix = [&](std::uint64_t w) {
        h ^= w;
        h *= 0xbf58476d1ce4e5b9ull;
        h ^= h >> 31;
    };
    for (; n >= 8; b += 8, n -= 8) {
        std::uint64_t w;
        std::memcpy(&w, b, 8);
        mix(w);
    }
    std::uint64_t tail = 0;
    std::memcpy(&tail, b, n);
    mix(tail);
    h *= 0x94d049bb133111ebull;
    return h ^ (h >> 29);
}

// Finds an earlier object with the same scalar value. Open addressing over object numbers, with
// part of the hash kept beside each number so most probes never touch the value itself.
class ScalarTable {
public:
    explicit ScalarTable(const std::vector<const Value*>& objects) : objects_(objects), slots_(1024) {}

    // Answers the object number of an equal scalar already seen, or records `candidate`.
    std::uint32_t findOrAdd(const Value& v, std::uint32_t candidate) {
        // Most repeats are one shared string (the keys of every bookmark): an identity hit skips
        // hashing and probing. The tree does not change while it is written, so addresses hold.
        const void* id = v.identity();
        Recent* recent = id ? &recent_[(reinterpret_cast<std::uintptr_t>(id) >> 4) % recent_.size()] : nullptr;
        if (recent && recent->id == id) return recent->object;
        std::uint32_t found = lookup(v, candidate);
        if (recent) *recent = {id, found};
        return found;
    }

private:
    std::uint32_t lookup(const Value& v, std::uint32_t candidate) {
        if (10 * (used_ + 1) > 7 * slots_.size()) grow();
        const auto tag = static_cast<std::uint32_t>(hashOf(v));
        const std::size_t mask = slots_.size() - 1;
        for (std::size_t i = tag & mask;; i = (i + 1) & mask) {
            Slot& slot = slots_[i];
            if (slot.object == 0) {
                slot = {tag, candidate + 1};
                ++used_;
                return candidate;
            }
            // 1 and 1.0, true and 1 stay apart: equality is by type and exact bits.
            if (slot.tag == tag && *objects_[slot.object - 1] == v) return slot.object - 1;
        }
    }

    // Eight bytes a slot: the table is the writer's largest structure after the tree itself.
    struct Slot {
        std::uint32_t tag = 0;     // the hash's low 32 bits, which also place the slot
        std::uint32_t object = 0;  // object number + 1; 0 marks an empty slot
    };

    static std::uint64_t hashOf(const Value& v) {
        const std::uint64_t seed = static_cast<std::uint64_t>(v.type()) << 56;
        switch (v.type()) {
        case Type::String: return hashBytes(v.asString().data(), v.asString().size(), seed);
        case Type::Data: return hashBytes(v.asData().data(), v.asData().size(), seed);
        case Type::Real: {
            std::uint64_t bits = bitsOf(v.asReal());
            return hashBytes(&bits, 8, seed);
        }
        case Type::Date: {
            std::uint64_t bits = bitsOf(v.asDate());
            return hashBytes(&bits, 8, seed);
        }
        case Type::Uid: {
            std::uint64_t u = v.asUid();
            return hashBytes(&u, 8, seed);
        }
        default: {
            std::uint64_t u = v.asUInt64() ^ (v.asBool() ? 1 : 0) ^ (v.isBigUnsigned() ? 2 : 0);
            return hashBytes(&u, 8, seed);
        }
        }
    }

    void grow() {
        std::vector<Slot> old(slots_.size() * 2);
        old.swap(slots_);
        const std::size_t mask = slots_.size() - 1;
        for (const Slot& slot : old) {
            if (slot.object == 0) continue;
            std::size_t i = slot.tag & mask;
            while (slots_[i].object != 0) i = (i + 1) & mask;
            slots_[i] = slot;
        }
    }

    struct Recent {
        const void* id = nullptr;
        std::uint32_t object = 0;
    };

    const std::vector<const Value*>& objects_;
    std::vector<Slot> slots_;
    std::size_t used_ = 0;
    std::array<Recent, 1024> recent_{};
};

class BinaryWriter {
public:
    std::string write(const Value& root, Sink& sink) {
        if (std::string error = flatten(root); !error.empty()) return error;
        const std::uint64_t count = objects_.size();
        const unsigned refSize = byteCount(count);
        {
            Output out(sink);
            out.bytes("bplist00", 8);
            for (std::uint64_t i = 0; i < count; ++i) {
                const std::uint64_t offset = out.position();
                if (std::string error = writeObject(out, i, refSize); !error.empty()) return error;
                objectSlots_[i] = offset;  // the container's refs are written; its slot now keeps the offset
                if (sink.failed()) return "the output could not be written";
            }
            const std::uint64_t tableOffset = out.position();
            const unsigned offsetSize = byteCount(tableOffset);
            for (std::uint64_t off : objectSlots_) out.bigEndian(off, offsetSize);
            static const std::uint8_t unused[6] = {};
            out.bytes(unused, sizeof unused);  // five unused bytes and the sort version, 0
            out.byte(static_cast<std::uint8_t>(offsetSize));
            out.byte(static_cast<std::uint8_t>(refSize));
            out.bigEndian(count, 8);
            out.bigEndian(0, 8);  // the root is always object 0
            out.bigEndian(tableOffset, 8);
        }
        return sink.failed() ? "the output could not be written" : "";
    }

private:
    struct Open {
        const Value* container;
        std::size_t refsBase;  // where its children's object numbers go in refs_
        std::size_t count;     // children to number: a dictionary's keys, then its values
        std::size_t next = 0;
    };

    // Numbers every object and records each container's children, without recursion.
    std::string flatten(const Value& root) {
        ScalarTable scalars(objects_);
        std::vector<Open> stack;
        auto number = [&](const Value& v, std::uint32_t& out) -> std::string {
            if (v.isNull()) return "a null value cannot be written to a property list";
            if (objects_.size() >= UINT32_MAX) return "too many objects for one property list";
            auto candidate = static_cast<std::uint32_t>(objects_.size());
            if (!isContainer(v)) {
                objects_.push_back(&v);
                out = scalars.findOrAdd(v, candidate);
                if (out != candidate) objects_.pop_back();
                return {};
            }
            if (stack.size() >= kMaxDepth)
                return "arrays and dictionaries are nested more than " + std::to_string(kMaxDepth) + " deep (or contain themselves)";
            objects_.push_back(&v);
            objectSlots_.resize(objects_.size(), 0);
            std::size_t n = v.isArray() ? v.asArray()->size() : 2 * v.asDictionary()->size();
            objectSlots_[candidate] = refs_.size();
            refs_.resize(refs_.size() + n);
            stack.push_back({&v, objectSlots_[candidate], n});
            out = candidate;
            return {};
        };
        std::uint32_t rootNumber;
        if (std::string error = number(root, rootNumber); !error.empty()) return error;
        while (!stack.empty()) {
            Open& top = stack.back();
            if (top.next == top.count) {
                stack.pop_back();
                continue;
            }
            const std::size_t i = top.next++;
            const std::size_t slot = top.refsBase + i;
            const Value* child;
            if (const Array* a = top.container->asArray()) {
                child = &(*a)[i];
            } else {
                const auto& entries = top.container->asDictionary()->entries();
                const std::size_t n = entries.size();
                child = i < n ? &entries[i].key : &entries[i - n].value;
                if (i < n && !child->isString()) return "a dictionary key is not a string";
            }
            std::uint32_t childNumber;
            if (std::string error = number(*child, childNumber); !error.empty()) return error;
            refs_[slot] = childNumber;
        }
        objectSlots_.resize(objects_.size(), 0);
        return {};
    }

    void writeCount(Output& out, std::uint8_t kind, std::uint64_t count) {
        if (count < 15) {
            out.byte(static_cast<std::uint8_t>(kind << 4 | count));
            return;
        }
        out.byte(static_cast<std::uint8_t>(kind << 4 | 0x0F));
        writeUnsigned(out, count);
    }

    void writeUnsigned(Output& out, std::uint64_t v) {
        unsigned width = byteCount(v);
        static const std::uint8_t markers[9] = {0, 0x10, 0x11, 0, 0x12, 0, 0, 0, 0x13};
        out.byte(markers[width]);
        out.bigEndian(v, width);
    }

    std::string writeObject(Output& out, std::uint64_t index, unsigned refSize) {
        const Value& v = *objects_[index];
        switch (v.type()) {
        case Type::Null: return "a null value cannot be written to a property list";
        case Type::Boolean: out.byte(v.asBool() ? 0x09 : 0x08); break;
        case Type::Integer:
            if (v.isBigUnsigned()) {
                out.byte(0x14);  // values from 2^63 up need the 16-byte form to stay unsigned
                out.bigEndian(0, 8);
                out.bigEndian(v.asUInt64(), 8);
            } else if (v.asInt64() < 0) {
                out.byte(0x13);
                out.bigEndian(v.asUInt64(), 8);
            } else {
                writeUnsigned(out, v.asUInt64());
            }
            break;
        case Type::Real:
            out.byte(0x23);
            out.bigEndian(bitsOf(v.asReal()), 8);
            break;
        case Type::Date:
            out.byte(0x33);
            out.bigEndian(bitsOf(v.asDate()), 8);
            break;
        case Type::Data:
            writeCount(out, 0x4, v.asData().size());
            out.bytes(v.asData().data(), v.asData().size());
            break;
        case Type::String: {
            std::string_view s = v.asString();
            if (utf::isAscii(s)) {
                writeCount(out, 0x5, s.size());
                out.bytes(s.data(), s.size());
                break;
            }
            if (!utf::isValid(s)) return "a string is not valid UTF-8 and cannot be written";
            std::string& units = out.scratch();
            units.clear();
            utf::appendUtf16BE(units, s);
            writeCount(out, 0x6, units.size() / 2);
            out.bytes(units.data(), units.size());
            break;
        }
        case Type::Uid: {
            unsigned width = byteCount(v.asUid());
            out.byte(static_cast<std::uint8_t>(0x80 | (width - 1)));
            out.bigEndian(v.asUid(), width);
            break;
        }
        case Type::Array:
        case Type::Dictionary: {
            const std::size_t n = v.isArray() ? v.asArray()->size() : v.asDictionary()->size();
            const std::size_t refs = v.isArray() ? n : 2 * n;
            writeCount(out, v.isArray() ? 0xA : 0xD, n);
            const std::size_t base = objectSlots_[index];
            for (std::size_t k = 0; k < refs; ++k) out.bigEndian(refs_[base + k], refSize);
            break;
        }
        }
        return {};
    }

    std::vector<const Value*> objects_;
    // By object number: first where a container's children start in refs_, then, once the object
    // is written, its offset in the file. One array serves both to keep the writer small.
    std::vector<std::uint64_t> objectSlots_;
    std::vector<std::uint32_t> refs_;
};

}  // namespace

std::string writeBinary(const Value& root, Sink& sink) { return BinaryWriter().write(root, sink); }

}  // namespace orvane::plist
