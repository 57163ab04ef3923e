#include "binary_document.h"

#include <algorithm>
#include <cstring>

#include "binary_format.h"
#include "hash.h"
#include "utf.h"

namespace orvane::plist {
namespace {

constexpr std::size_t kHeaderSize = 8;
constexpr std::size_t kTrailerSize = 32;

bool allBelow0x80(const std::uint8_t* p, std::uint64_t n) {
    return utf::isAscii({reinterpret_cast<const char*>(p), static_cast<std::size_t>(n)});
}

}  // namespace

Type BinaryDocument::typeOfMarker(std::uint8_t marker) {
    switch (marker >> 4) {
    case 0x0: return Type::Boolean;
    case 0x1: return Type::Integer;
    case 0x2: return Type::Real;
    case 0x3: return Type::Date;
    case 0x4: return Type::Data;
    case 0x5:
    case 0x6: return Type::String;
    case 0x8: return Type::Uid;
    case 0xA: return Type::Array;
    case 0xD: return Type::Dictionary;
    default: return Type::Null;
    }
}

// Checks one object as readBinary would read it and writeBinary would write it again; answers
// where a container's references or a string's or data's bytes start, and how many there are.
bool BinaryDocument::checkObject(ObjectId object, std::uint64_t& payload, std::uint64_t& n) const {
    const std::uint64_t at = offsetOf(object);
    const std::uint8_t marker = data_[at];
    const std::uint8_t kind = marker >> 4, low = marker & 0x0F;
    const std::uint64_t room = tableOffset_ - at - 1;  // bytes after the marker
    // The count after a marker, as the writer writes it: in the marker below 15, else as the
    // smallest integer object that holds it.
    auto readCount = [&] {
        if (low != 0x0F) {
            n = low;
            payload = at + 1;
            return true;
        }
        if (room < 1) return false;
        const std::uint8_t intMarker = data_[at + 1];
        if ((intMarker & 0xF0) != 0x10 || (intMarker & 0x0F) > 3) return false;
        const unsigned width = 1u << (intMarker & 0x0F);
        if (width > room - 1) return false;
        n = readBE(data_ + at + 2, width);
        payload = at + 2 + width;
        return n >= 15 && byteCount(n) == width;
    };
    // `units` of `unit` bytes that end inside the object area.
    auto fits = [&](std::uint64_t units, std::uint64_t unit) {
        return payload <= tableOffset_ && units <= (tableOffset_ - payload) / unit && units <= kMaxBlobSize / 3;
    };
    switch (kind) {
    case 0x0: return marker == 0x08 || marker == 0x09;
    case 0x1: {
        if (low > 4) return false;
        const unsigned width = 1u << low;
        if (width > room) return false;
        if (width == 16) return readBE(data_ + at + 1, 8) == 0 && readBE(data_ + at + 9, 8) > INT64_MAX;
        const std::uint64_t v = readBE(data_ + at + 1, width);
        return width == 8 ? static_cast<std::int64_t>(v) < 0 || byteCount(v) == 8 : byteCount(v) == width;
    }
    case 0x2: return low == 3 && room >= 8;  // 4-byte reals are written back in 8
    case 0x3: return marker == 0x33 && room >= 8;
    case 0x4: return readCount() && fits(n, 1);
    case 0x5: return readCount() && fits(n, 1) && allBelow0x80(data_ + payload, n);
    case 0x6: {
        if (!readCount() || !fits(n, 2)) return false;
        // Written back as ASCII when every unit is below 0x80.
        for (std::uint64_t i = 0; i < n; ++i)
            if (data_[payload + 2 * i] != 0 || data_[payload + 2 * i + 1] >= 0x80) return true;
        return false;
    }
    case 0x8: {
        const unsigned width = low + 1u;
        if (width > room || width > 8) return false;
        const std::uint64_t uid = readBE(data_ + at + 1, width);
        return uid <= UINT32_MAX && byteCount(uid) == width;
    }
    case 0xA:
    case 0xD: {
        if (!readCount()) return false;
        const std::uint64_t refs = kind == 0xD ? 2 * n : n;
        return n <= kMaxContainerSize && fits(refs, refSize_);
    }
    default: return false;
    }
}

bool BinaryDocument::open(std::span<const std::uint8_t> bytes) {
    data_ = bytes.data();
    size_ = bytes.size();
    // The trailer, as readBinary checks it.
    if (size_ < kHeaderSize + 1 + kTrailerSize || size_ >= (std::uint64_t{1} << 32)) return false;
    if (std::memcmp(data_, "bplist0", 7) != 0 || data_[7] < '0' || data_[7] > '9') return false;
    const std::uint8_t* t = data_ + size_ - kTrailerSize;
    offsetSize_ = t[6];
    refSize_ = t[7];
    numObjects_ = readBE(t + 8, 8);
    const std::uint64_t top = readBE(t + 16, 8);
    tableOffset_ = readBE(t + 24, 8);
    const std::uint64_t trailerAt = size_ - kTrailerSize;
    if (offsetSize_ < 1 || offsetSize_ > 8 || refSize_ < 1 || refSize_ > 8 || numObjects_ < 1 ||
        numObjects_ >= kNoObject || top >= numObjects_ || tableOffset_ < kHeaderSize + 1 || tableOffset_ >= trailerAt)
        return false;
    const std::uint64_t tableBytes = trailerAt - tableOffset_;
    if (numObjects_ > tableBytes / offsetSize_ || numObjects_ * offsetSize_ != tableBytes) return false;
    if (refSize_ < 8 && numObjects_ > (std::uint64_t{1} << (8 * refSize_))) return false;
    // Offsets rising through the object area: no object under two numbers.
    std::uint64_t previous = 0;
    for (ObjectId i = 0; i < numObjects_; ++i) {
        const std::uint64_t off = offsetOf(i);
        if (off < kHeaderSize || off >= tableOffset_ || off <= previous) return false;
        previous = off;
    }
    root_ = static_cast<ObjectId>(top);
    return walk();
}

// Visits every object the root reaches, depth first without recursion, checking each once.
bool BinaryDocument::walk() {
    std::vector<std::uint64_t>& seen = reached_;
    seen.assign((numObjects_ + 63) / 64, 0);
    containers_.assign(seen.size(), 0);
    containerCount_ = 0;
    scalarsAdjoin_ = true;
    auto firstVisit = [&](ObjectId object) {
        std::uint64_t& word = seen[object / 64];
        const std::uint64_t bit = std::uint64_t{1} << (object % 64);
        const bool first = !(word & bit);
        word |= bit;
        return first;
    };
    struct Open {
        std::uint64_t refs;
        std::uint64_t count;  // references: a dictionary's keys and values
        std::uint64_t next;
    };
    std::vector<Open> stack;
    std::vector<ObjectId> keys;
    auto enter = [&](ObjectId object) {
        const std::uint8_t kind = data_[offsetOf(object)] >> 4;
        const bool container = kind == 0xA || kind == 0xD;
        // A scalar met again was checked when first met; a container met again is not plain.
        if (!firstVisit(object)) return !container;
        std::uint64_t payload = 0, n = 0;
        if (!checkObject(object, payload, n)) return false;
        if (!container) {
            if (scalarsAdjoin_ && encoded(object).size() != scalarSize(object)) scalarsAdjoin_ = false;
            return true;
        }
        if (stack.size() + 1 >= kMaxDepth) return false;
        containers_[object / 64] |= std::uint64_t{1} << (object % 64);
        ++containerCount_;
        if (kind == 0xD) {
            // Keys are strings, each once.
            keys.clear();
            for (std::uint64_t i = 0; i < n; ++i) {
                const ObjectId key = refAt(payload + i * refSize_);
                if (key >= numObjects_) return false;
                const std::uint8_t keyKind = data_[offsetOf(key)] >> 4;
                if (keyKind != 0x5 && keyKind != 0x6) return false;
                keys.push_back(key);
            }
            if (n <= 16) {
                for (std::size_t i = 1; i < keys.size(); ++i)
                    for (std::size_t j = 0; j < i; ++j)
                        if (keys[i] == keys[j]) return false;
            } else {
                std::sort(keys.begin(), keys.end());
                if (std::adjacent_find(keys.begin(), keys.end()) != keys.end()) return false;
            }
        }
        stack.push_back({payload, kind == 0xD ? 2 * n : n, 0});
        return true;
    };
    if (!enter(root_)) return false;
    while (!stack.empty()) {
        Open& top = stack.back();
        if (top.next == top.count) {
            stack.pop_back();
            continue;
        }
        const ObjectId child = refAt(top.refs + top.next++ * refSize_);
        if (child >= numObjects_ || !enter(child)) return false;
    }
    return true;
}

template <class Slot>
struct ScalarIndex::Table {
    static constexpr bool kNarrow = sizeof(Slot) == 4;
    static Slot slot(std::uint32_t tag, ObjectId object) {
        if constexpr (kNarrow)
            return (object + 1) << 8 | (tag & 0xFF);
        else
            return std::uint64_t{object + 1u} << 32 | tag;
    }
    static ObjectId objectOf(Slot slot) { return static_cast<ObjectId>((kNarrow ? slot >> 8 : slot >> 32) - 1); }
    static bool sameTag(Slot slot, std::uint32_t tag) {
        return kNarrow ? (slot & 0xFF) == (tag & 0xFF) : static_cast<std::uint32_t>(slot) == tag;
    }
    static std::size_t home(std::uint32_t tag, std::size_t size) {
        return static_cast<std::size_t>((std::uint64_t{tag} * size) >> 32);
    }
};

bool ScalarIndex::build(const BinaryDocument& document, const std::atomic<bool>& stop, bool wide) {
    std::size_t scalars = 0;
    for (ObjectId object = 0; object < document.objectCount(); ++object)
        scalars += document.isReached(object) && !document.isContainer(object);
    if (!wide && document.objectCount() < (std::size_t{1} << 24) - 1) return build(document, stop, scalars, narrow_);
    return build(document, stop, scalars, wide_);
}

template <class Slot>
bool ScalarIndex::build(const BinaryDocument& document, const std::atomic<bool>& stop, std::size_t scalars,
                        std::vector<Slot>& slots) {
    using T = Table<Slot>;
    // Two slots for every three scalars: probes stay short, and the table small.
    slots.assign(std::max<std::size_t>(64, scalars + scalars / 2), Slot{});
    for (ObjectId object = 0; object < document.objectCount(); ++object) {
        if (!document.isReached(object) || document.isContainer(object)) continue;
        if ((object & 0xFFF) == 0 && stop) break;
        const std::span<const std::uint8_t> bytes = document.encoded(object);
        const auto tag = static_cast<std::uint32_t>(hashBytes(bytes.data(), bytes.size()));
        for (std::size_t i = T::home(tag, slots.size());; i = i + 1 == slots.size() ? 0 : i + 1) {
            Slot& slot = slots[i];
            if (slot == 0) {
                slot = T::slot(tag, object);
                break;
            }
            if (T::sameTag(slot, tag) && std::ranges::equal(document.encoded(T::objectOf(slot)), bytes)) {
                std::vector<Slot>().swap(slots);
                return false;
            }
        }
    }
    if (stop) std::vector<Slot>().swap(slots);
    return !slots.empty();
}

ObjectId ScalarIndex::find(const BinaryDocument& document, std::span<const std::uint8_t> bytes) const {
    return narrow_.empty() ? find(document, bytes, wide_) : find(document, bytes, narrow_);
}

template <class Slot>
ObjectId ScalarIndex::find(const BinaryDocument& document, std::span<const std::uint8_t> bytes,
                           const std::vector<Slot>& slots) const {
    using T = Table<Slot>;
    if (slots.empty()) return kNoObject;
    const auto tag = static_cast<std::uint32_t>(hashBytes(bytes.data(), bytes.size()));
    for (std::size_t i = T::home(tag, slots.size());; i = i + 1 == slots.size() ? 0 : i + 1) {
        const Slot slot = slots[i];
        if (slot == 0) return kNoObject;
        if (T::sameTag(slot, tag) && std::ranges::equal(document.encoded(T::objectOf(slot)), bytes))
            return T::objectOf(slot);
    }
}

std::span<const std::uint8_t> BinaryDocument::encoded(ObjectId object) const {
    const std::uint64_t at = offsetOf(object);
    const std::uint8_t marker = data_[at];
    std::uint64_t size = 1;
    switch (marker >> 4) {
    case 0x1: size += std::uint64_t{1} << (marker & 0x0F); break;
    case 0x2:
    case 0x3: size += 8; break;
    case 0x8: size += (marker & 0x0F) + 1u; break;
    case 0x4:
    case 0x5:
    case 0x6: {
        const std::uint64_t n = count(object);
        size = payloadOf(object) - at + ((marker >> 4) == 0x6 ? 2 * n : n);
        break;
    }
    default: break;
    }
    return {data_ + at, static_cast<std::size_t>(size)};
}

bool BinaryDocument::equals(ObjectId string, std::string_view text) const {
    const std::uint8_t kind = data_[offsetOf(string)] >> 4;
    if (kind == 0x5) {
        const std::size_t n = count(string);
        return n == text.size() && std::memcmp(data_ + payloadOf(string), text.data(), n) == 0;
    }
    if (kind != 0x6) return false;
    std::string scratch;
    return this->text(string, scratch) == text;
}

ObjectId BinaryDocument::find(ObjectId dictionary, std::string_view key) const {
    if (type(dictionary) != Type::Dictionary) return kNoObject;
    const std::size_t n = count(dictionary);
    const std::uint64_t refs = payloadOf(dictionary);
    for (std::size_t i = 0; i < n; ++i)
        if (equals(refAt(refs + i * refSize_), key)) return refAt(refs + (n + i) * refSize_);
    return kNoObject;
}

std::string_view BinaryDocument::text(ObjectId string, std::string& scratch) const {
    const std::size_t n = count(string);
    const auto* p = data_ + payloadOf(string);
    if ((data_[offsetOf(string)] >> 4) == 0x5) return {reinterpret_cast<const char*>(p), n};
    scratch.clear();
    utf::appendUtf16(scratch, p, n, true);
    return scratch;
}

std::vector<Value> BinaryDocument::valuesByObject(const Value& root) const {
    // The tree has the document's shape: entries in the same order, none left out.
    std::vector<Value> values(numObjects_);
    std::vector<std::pair<ObjectId, Value>> pending{{root_, root}};
    while (!pending.empty()) {
        auto [object, value] = std::move(pending.back());
        pending.pop_back();
        if (const Array* array = value.asArray()) {
            for (std::size_t i = 0; i < array->size(); ++i) pending.emplace_back(element(object, i), (*array)[i]);
        } else if (const Dictionary* dictionary = value.asDictionary()) {
            const auto entries = dictionary->entries();
            for (std::size_t i = 0; i < entries.size(); ++i) {
                pending.emplace_back(key(object, i), Value::string(entries[i].key.asString()));
                pending.emplace_back(this->value(object, i), entries[i].value);
            }
        }
        values[object] = std::move(value);
    }
    return values;
}

Value BinaryDocument::scalar(ObjectId object) const {
    // As readBinary reads each kind; the file is plain, so every check has passed.
    const std::uint64_t at = offsetOf(object);
    const std::uint8_t marker = data_[at];
    const auto bitsAt = [&](std::uint64_t offset) {
        const std::uint64_t bits = readBE(data_ + offset, 8);
        double d;
        std::memcpy(&d, &bits, sizeof d);
        return d;
    };
    switch (marker >> 4) {
    case 0x0: return Value::boolean(marker == 0x09);
    case 0x1: {
        const unsigned width = 1u << (marker & 0x0F);
        if (width == 16) return Value::unsignedInteger(readBE(data_ + at + 9, 8));
        return Value::integer(static_cast<std::int64_t>(readBE(data_ + at + 1, width)));
    }
    case 0x2: return Value::real(bitsAt(at + 1));
    case 0x3: return Value::date(bitsAt(at + 1));
    case 0x4: return Value::data({data_ + payloadOf(object), count(object)});
    case 0x5:
    case 0x6: {
        std::string scratch;
        return Value::string(text(object, scratch));
    }
    case 0x8: return Value::uid(readBE(data_ + at + 1, (marker & 0x0F) + 1u));
    default: return {};
    }
}

}  // namespace orvane::plist
