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

#include "binary_format.h"
#include "codec.h"
#include "hash.h"
#include "utf.h"

namespace orvane::plist {
namespace {

// One object to number: a value, or a dictionary's key (a string held as a Key). Kept as one
// word, the low bit telling a Key from a Value.
class Item {
public:
    explicit Item(const Value& v) : bits_(reinterpret_cast<std::uintptr_t>(&v)) {}
    explicit Item(const Key& k) : bits_(reinterpret_cast<std::uintptr_t>(&k) | 1) {}
    Item() = default;

    bool isKey() const { return bits_ & 1; }
    const Value& value() const { return *reinterpret_cast<const Value*>(bits_); }
    const Key& key() const { return *reinterpret_cast<const Key*>(bits_ & ~std::uintptr_t{1}); }
    Type type() const { return isKey() ? Type::String : value().type(); }
    std::string_view string() const { return isKey() ? key().asString() : value().asString(); }
    const void* identity() const { return isKey() ? key().identity() : value().identity(); }
    const void* address() const { return reinterpret_cast<const void*>(bits_ & ~std::uintptr_t{1}); }

    // Same type, same bytes: a key equals a string value of the same text.
    bool operator==(const Item& other) const {
        const Type t = type();
        if (t != other.type()) return false;
        if (t == Type::String) return string() == other.string();
        return value() == other.value();
    }

private:
    std::uintptr_t bits_ = 0;
};

// Finds an earlier object with the same scalar value. Open addressing over object numbers, with
// part of the hash kept beside each number so most probes never touch the value itself.
class ScalarTable {
public:
    explicit ScalarTable(const std::vector<Item>& objects) : objects_(objects), slots_(1024) {}

    // Sizes the table for `scalars` distinct scalars, so that it need not grow: growing holds
    // the old and the new table at once. Any size will do, not only powers of two, so the table
    // is no larger than its load needs.
    void reserve(std::size_t scalars) {
        const std::size_t size = std::max<std::size_t>(1024, scalars + scalars / 2);
        if (size > slots_.size()) slots_.assign(size, Slot{});
    }

    // Starts loading the slot where `item` will be looked up. The table is larger than the
    // processor's caches and the scalars of a large tree are mostly new to it, so nearly every
    // lookup would otherwise wait for memory.
    void prefetch(Item item) const {
        const void* id = item.identity();
        if (id && recent_[(reinterpret_cast<std::uintptr_t>(id) >> 4) % recent_.size()].id == id) return;
        __builtin_prefetch(&slots_[home(static_cast<std::uint32_t>(hashOf(item)))]);
    }

    // Answers the object number of an equal scalar already seen, or records `candidate`.
    std::uint32_t findOrAdd(Item item, std::uint32_t candidate) {
        // Most repeats are one shared string (the keys of every bookmark): an identity hit skips
        // hashing and probing. The tree does not change while it is written, so addresses hold.
        const void* id = item.identity();
        Recent* recent = id ? &recent_[(reinterpret_cast<std::uintptr_t>(id) >> 4) % recent_.size()] : nullptr;
        if (recent && recent->id == id) return recent->object;
        const std::uint32_t found = lookup(item, candidate, static_cast<std::uint32_t>(hashOf(item)));
        if (recent) *recent = {id, found};
        return found;
    }

private:
    std::uint32_t lookup(Item item, std::uint32_t candidate, std::uint32_t tag) {
        if (4 * (used_ + 1) > 3 * slots_.size()) grow();
        for (std::size_t i = home(tag);; i = next(i)) {
            Slot& slot = slots_[i];
            if (slot.object == 0) {
                slot = {tag, candidate + 1};
                ++used_;
                return candidate;
            }
            // 1 and 1.0, true and 1 stay apart: equality is by type and exact bits.
            if (slot.tag == tag && objects_[slot.object - 1] == item) return slot.object - 1;
        }
    }

    // Eight bytes a slot: the table is the writer's largest structure.
    struct Slot {
        std::uint32_t tag = 0;     // the hash's low 32 bits, which also place the slot
        std::uint32_t object = 0;  // object number + 1; 0 marks an empty slot
    };

    static std::uint64_t hashOf(Item item) {
        const Type type = item.type();
        const std::uint64_t seed = static_cast<std::uint64_t>(type) << 56;
        if (type == Type::String) return hashBytes(item.string().data(), item.string().size(), seed);
        const Value& v = item.value();
        switch (type) {
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

    // The slot a tag starts probing at: the tag scaled to the table's size.
    std::size_t home(std::uint32_t tag) const {
        return static_cast<std::size_t>((std::uint64_t{tag} * slots_.size()) >> 32);
    }
    std::size_t next(std::size_t i) const { return i + 1 == slots_.size() ? 0 : i + 1; }

    void grow() {
        std::vector<Slot> old(slots_.size() * 2);
        old.swap(slots_);
        for (const Slot& slot : old) {
            if (slot.object == 0) continue;
            std::size_t i = home(slot.tag);
            while (slots_[i].object != 0) i = next(i);
            slots_[i] = slot;
        }
    }

    struct Recent {
        const void* id = nullptr;
        std::uint32_t object = 0;
    };

    const std::vector<Item>& objects_;
    std::vector<Slot> slots_;
    std::size_t used_ = 0;
    std::array<Recent, 1024> recent_{};
};

// Object numbers stored in as few bytes as the largest possible one needs: the references of a
// large tree are its writer's second largest table.
class PackedNumbers {
public:
    void setWidth(unsigned width) { width_ = width < 4 ? width : 4; }
    std::size_t size() const { return bytes_.size() / width_; }
    void reserve(std::size_t n) { bytes_.reserve(n * width_); }
    void resize(std::size_t n) { bytes_.resize(n * width_); }
    void set(std::size_t i, std::uint32_t v) {
        std::uint8_t* p = bytes_.data() + i * width_;
        for (unsigned k = 0; k < width_; ++k, v >>= 8) p[k] = static_cast<std::uint8_t>(v);
    }
    std::uint32_t get(std::size_t i) const {
        const std::uint8_t* p = bytes_.data() + i * width_;
        std::uint32_t v = 0;
        for (unsigned k = width_; k-- > 0;) v = v << 8 | p[k];
        return v;
    }

private:
    unsigned width_ = 4;
    std::vector<std::uint8_t> bytes_;
};

// Writes in two passes. The first numbers the objects depth first, a container before its
// children and a dictionary's keys before its values, equal scalars once, as Apple's writer does;
// it checks every value, notes each container's children's numbers and counts the file's exact
// size. The second writes the objects in the order of their numbers.
class BinaryWriter {
public:
    std::string write(const Value& root, Sink& sink) {
        if (!reserveFor(root)) return "too many objects for one property list";
        if (std::string error = number(root); !error.empty()) return error;
        const std::uint64_t count = objects_.size();
        const unsigned refSize = byteCount(count);
        const std::uint64_t tableOffset =
            8 + objectBytes_ + refs_.size() * refSize;  // refs_.size(): references, not bytes
        const unsigned offsetSize = byteCount(tableOffset);

        Output out(sink);
        out.bytes("bplist00", 8);
        std::size_t ref = 0;
        for (std::uint64_t i = 0; i < count; ++i) {
            // A sorted tree is written in another order than it lies in memory, which defeats
            // the processor's own prefetching: fetch ahead, the value first, then what it holds.
            if (i + 16 < count) __builtin_prefetch(objects_[i + 16].address());
            if (i + 8 < count) __builtin_prefetch(objects_[i + 8].identity());
            const Item item = objects_[i];
            if (!isContainerItem(item)) {
                writeScalar(out, item);
            } else {
                const Value& container = item.value();
                const std::size_t n = childCount(container);
                out.marker(container.isArray() ? 0xA : 0xD, container.isArray() ? n : n / 2);
                for (const std::size_t end = ref + n; ref < end; ++ref) out.bigEndian(refs_.get(ref), refSize);
            }
            if ((i & 0xFFF) == 0 && out.failed()) return "the output could not be written";
        }
        if (out.position() != tableOffset) return "internal error: the objects took other room than counted";
        // The offsets are not kept while writing: each object's size is worked out again, which
        // costs less than a table of them.
        std::uint64_t offset = 8;
        for (std::uint64_t i = 0; i < count; ++i) {
            out.bigEndian(offset, offsetSize);
            const Item item = objects_[i];
            offset += isContainerItem(item) ? containerSize(item.value(), refSize) : scalarSize(item);
        }
        static const std::uint8_t unused[6] = {};
        out.bytes(unused, sizeof unused);  // five unused bytes and the sort version, 0
        out.byte(static_cast<std::uint8_t>(offsetSize));
        out.byte(static_cast<std::uint8_t>(refSize));
        out.bigEndian(count, 8);
        out.bigEndian(0, 8);  // the root is always object 0
        out.bigEndian(tableOffset, 8);
        out.flush();
        return sink.failed() ? "the output could not be written" : "";
    }

private:
    struct Frame {
        const Value* container;
        std::size_t refs;  // where its children's numbers go in refs_
        std::size_t count;
        std::size_t next = 0;
    };

    // Sizes the tables from a count of the tree's values, so that none of them grows while the
    // tree is numbered: growing holds the old and the new table at once. A reservation beyond
    // what is used costs address space, not memory.
    bool reserveFor(const Value& root) {
        std::uint64_t containers = 0, scalars = 0, children = 0;
        // Depth first like the numbering, and cut off where the numbering gives up, so that a
        // tree that contains itself is counted in bounded time too.
        struct Open {
            const Value* container;
            std::size_t next;
        };
        std::vector<Open> stack;
        auto open = [&](const Value& v) {
            ++containers;
            children += childCount(v);
            if (stack.size() < kMaxDepth) stack.push_back({&v, 0});
        };
        if (!isContainerItem(Item(root))) return true;
        open(root);
        while (!stack.empty() && containers + scalars < UINT32_MAX) {
            Open& top = stack.back();
            if (top.next == childCount(*top.container)) {
                stack.pop_back();
                continue;
            }
            const Item child = childAt(*top.container, top.next++);
            if (isContainerItem(child))
                open(child.value());
            else
                ++scalars;
        }
        // A tree that shares containers deeply can hold more values than a property list can number.
        if (containers + scalars >= UINT32_MAX) return false;
        objects_.reserve(containers + scalars);
        // No object number reaches the count of values in the tree.
        const std::uint64_t most = containers + scalars;
        refs_.setWidth(most < (1u << 8) ? 1 : most < (1u << 16) ? 2 : most < (1u << 24) ? 3 : 4);
        refs_.reserve(children);
        // Keys are nearly all a few shared strings: values are what the table mostly holds.
        scalars_.reserve(std::min<std::uint64_t>(scalars, children / 2 + 64));
        return true;
    }

    // The n-th child of a container: for a dictionary, its keys and then its values.
    static Item childAt(const Value& container, std::size_t n) {
        if (const Array* a = container.asArray()) return Item((*a)[n]);
        const auto entries = container.asDictionary()->entries();
        return n < entries.size() ? Item(entries[n].key) : Item(entries[n - entries.size()].value);
    }
    static std::size_t childCount(const Value& container) {
        if (const Array* a = container.asArray()) return a->size();
        return 2 * container.asDictionary()->size();
    }
    static bool isContainerItem(Item item) { return item.type() == Type::Array || item.type() == Type::Dictionary; }

    // Numbers every object and records each container's children, without recursion.
    std::string number(const Value& root) {
        std::vector<Frame> stack;
        std::uint32_t rootNumber;
        if (std::string error = numberItem(Item(root), stack, rootNumber); !error.empty()) return error;
        while (!stack.empty()) {
            Frame& top = stack.back();
            if (top.next == top.count) {
                stack.pop_back();
                continue;
            }
            const std::size_t i = top.next++;
            const std::size_t slot = top.refs + i;
            const Item child = childAt(*top.container, i);
            std::uint32_t childNumber;
            // `top` may move when a container is pushed: it is not used after this.
            if (std::string error = numberItem(child, stack, childNumber); !error.empty()) return error;
            refs_.set(slot, childNumber);
        }
        return {};
    }

    std::string numberItem(Item item, std::vector<Frame>& stack, std::uint32_t& number) {
        if (objects_.size() >= UINT32_MAX) return "too many objects for one property list";
        const auto candidate = static_cast<std::uint32_t>(objects_.size());
        if (isContainerItem(item)) {
            if (stack.size() >= kMaxDepth)
                return "arrays and dictionaries are nested more than " + std::to_string(kMaxDepth) +
                       " deep (or contain themselves)";
            const Value& container = item.value();
            const std::size_t n = childCount(container);
            objects_.push_back(item);
            objectBytes_ += containerSize(container, 0);
            // Start loading what its children hold, so that the waits for memory overlap.
            for (std::size_t i = 0; i < n; ++i) __builtin_prefetch(childAt(container, i).identity());
            for (std::size_t i = 0; i < n; ++i)
                if (const Item child = childAt(container, i); !isContainerItem(child)) scalars_.prefetch(child);
            stack.push_back({&container, refs_.size(), n});
            refs_.resize(refs_.size() + n);
            number = candidate;
            return {};
        }
        if (!item.isKey() && item.value().isNull()) return "a null value cannot be written to a property list";
        number = scalars_.findOrAdd(item, candidate);
        if (number != candidate) return {};
        const std::uint64_t size = scalarSize(item);
        if (size == 0) return "a string is not valid UTF-8 and cannot be written";
        objects_.push_back(item);
        objectBytes_ += size;
        return {};
    }

    // A container's bytes: its marker and count, and its references of `refSize` bytes each.
    static std::uint64_t containerSize(const Value& container, unsigned refSize) {
        const std::size_t n = childCount(container);
        return 1 + countBytes(container.isArray() ? n : n / 2) + n * refSize;
    }

    // A scalar's bytes in the file; 0 for a string that is not valid UTF-8 and cannot be written.
    static std::uint64_t scalarSize(Item item) {
        if (item.type() == Type::String) {
            const std::string_view s = item.string();
            if (utf::isAscii(s)) return 1 + countBytes(s.size()) + s.size();
            if (!utf::isValid(s)) return 0;
            const std::uint64_t units = utf::utf16Length(s);
            return 1 + countBytes(units) + 2 * units;
        }
        const Value& v = item.value();
        switch (v.type()) {
        case Type::Boolean: return 1;
        case Type::Integer:
            if (v.isBigUnsigned()) return 17;
            if (v.asInt64() < 0) return 9;
            return 1 + byteCount(v.asUInt64());
        case Type::Real:
        case Type::Date: return 9;
        case Type::Data: return 1 + countBytes(v.asData().size()) + v.asData().size();
        case Type::Uid: return 1 + byteCount(v.asUid());
        default: return 0;
        }
    }

    void writeScalar(Output& out, Item item) {
        if (item.type() == Type::String) {
            const std::string_view s = item.string();
            std::string& encoded = out.scratch();
            encoded.clear();
            appendEncodedString(encoded, s);
            out.bytes(encoded.data(), encoded.size());
            return;
        }
        const Value& v = item.value();
        switch (v.type()) {
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
                out.unsignedInteger(v.asUInt64());
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
            out.marker(0x4, v.asData().size());
            out.bytes(v.asData().data(), v.asData().size());
            break;
        case Type::Uid: {
            unsigned width = byteCount(v.asUid());
            out.byte(static_cast<std::uint8_t>(0x80 | (width - 1)));
            out.bigEndian(v.asUid(), width);
            break;
        }
        default: break;  // containers are written by open(); nulls were refused when counting
        }
    }

    std::vector<Item> objects_;  // by object number
    ScalarTable scalars_{objects_};
    PackedNumbers refs_;             // the children's numbers of every container, in object order
    std::uint64_t objectBytes_ = 0;  // the objects' bytes apart from references
};

}  // namespace

std::string writeBinary(const Value& root, Sink& sink) { return BinaryWriter().write(root, sink); }

}  // namespace orvane::plist
