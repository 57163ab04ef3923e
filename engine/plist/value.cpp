#include "value.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <stdexcept>

namespace orvane::plist {

namespace detail {
// Strings and data keep their bytes right behind the header: one allocation each.
// A 32-bit size keeps the header to 8 bytes; the hundreds of thousands of strings in a large
// bookmarks file make that worth it.
struct StringRep : Counted {
    std::uint32_t size;
    char* bytes() { return reinterpret_cast<char*>(this + 1); }
};
struct DataRep : Counted {
    std::uint32_t size;
    std::uint8_t* bytes() { return reinterpret_cast<std::uint8_t*>(this + 1); }
};

template <class Rep>
Rep* makeBlob(const void* src, std::size_t n) {
    if (n > kMaxBlobSize) throw std::length_error("property-list strings and data are limited to 4 GiB");
    void* mem = ::operator new(sizeof(Rep) + n);
    auto* rep = new (mem) Rep();
    rep->size = static_cast<std::uint32_t>(n);
    if (n) std::memcpy(rep->bytes(), src, n);
    return rep;
}
}  // namespace detail

using detail::DataRep;
using detail::StringRep;

namespace {
// An empty string is common (keys, blank titles); share one, never freed.
StringRep* emptyString() {
    static StringRep* rep = [] {
        auto* r = detail::makeBlob<StringRep>(nullptr, 0);
        r->refs = 1u << 30;
        return r;
    }();
    return rep;
}
}  // namespace

Value::Value(const Value& other) noexcept : type_(other.type_), big_(other.big_), bits_(other.bits_) { retain(); }

Value::Value(Value&& other) noexcept : type_(other.type_), big_(other.big_), bits_(other.bits_) {
    other.type_ = Type::Null;
    other.bits_.u = 0;
}

Value& Value::operator=(const Value& other) noexcept {
    if (this != &other) {
        other.retain();
        release();
        type_ = other.type_;
        big_ = other.big_;
        bits_ = other.bits_;
    }
    return *this;
}

Value& Value::operator=(Value&& other) noexcept {
    if (this != &other) {
        release();
        type_ = other.type_;
        big_ = other.big_;
        bits_ = other.bits_;
        other.type_ = Type::Null;
        other.bits_.u = 0;
    }
    return *this;
}

void Value::retain() const noexcept {
    if (isHeap()) ++bits_.p->refs;
}

void Value::release() noexcept {
    if (!isHeap()) return;
    if (--bits_.p->refs != 0) return;
    switch (type_) {
    case Type::String: {
        auto* rep = static_cast<StringRep*>(bits_.p);
        rep->~StringRep();
        ::operator delete(rep);
        break;
    }
    case Type::Data: {
        auto* rep = static_cast<DataRep*>(bits_.p);
        rep->~DataRep();
        ::operator delete(rep);
        break;
    }
    case Type::Array: delete static_cast<Array*>(bits_.p); break;
    case Type::Dictionary: delete static_cast<Dictionary*>(bits_.p); break;
    default: break;
    }
    type_ = Type::Null;
}

Value Value::boolean(bool b) {
    Value v;
    v.type_ = Type::Boolean;
    v.bits_.b = b;
    return v;
}

Value Value::integer(std::int64_t i) {
    Value v;
    v.type_ = Type::Integer;
    v.bits_.i = i;
    return v;
}

Value Value::unsignedInteger(std::uint64_t u) {
    Value v;
    v.type_ = Type::Integer;
    v.bits_.u = u;
    v.big_ = u > static_cast<std::uint64_t>(INT64_MAX);
    return v;
}

Value Value::real(double d) {
    Value v;
    v.type_ = Type::Real;
    v.bits_.d = d;
    return v;
}

Value Value::date(double secondsSince2001) {
    Value v;
    v.type_ = Type::Date;
    v.bits_.d = secondsSince2001;
    return v;
}

Value Value::string(std::string_view utf8) {
    Value v;
    v.type_ = Type::String;
    if (utf8.empty()) {
        StringRep* rep = emptyString();
        ++rep->refs;
        v.bits_.p = rep;
    } else {
        v.bits_.p = detail::makeBlob<StringRep>(utf8.data(), utf8.size());
    }
    return v;
}

Value Value::data(std::span<const std::uint8_t> bytes) {
    Value v;
    v.type_ = Type::Data;
    v.bits_.p = detail::makeBlob<DataRep>(bytes.data(), bytes.size());
    return v;
}

Value Value::uid(std::uint64_t u) {
    Value v;
    v.type_ = Type::Uid;
    v.bits_.u = u;
    return v;
}

Value Value::array() {
    Value v;
    v.type_ = Type::Array;
    v.bits_.p = new Array();
    return v;
}

Value Value::dictionary() {
    Value v;
    v.type_ = Type::Dictionary;
    v.bits_.p = new Dictionary();
    return v;
}

std::int64_t Value::asInt64() const { return type_ == Type::Integer ? bits_.i : 0; }
std::uint64_t Value::asUInt64() const { return type_ == Type::Integer ? bits_.u : 0; }

std::string_view Value::asString() const {
    if (type_ != Type::String) return {};
    auto* rep = static_cast<StringRep*>(bits_.p);
    return {rep->bytes(), rep->size};
}

std::span<const std::uint8_t> Value::asData() const {
    if (type_ != Type::Data) return {};
    auto* rep = static_cast<DataRep*>(bits_.p);
    return {rep->bytes(), rep->size};
}

Array* Value::asArray() const { return type_ == Type::Array ? static_cast<Array*>(bits_.p) : nullptr; }
Dictionary* Value::asDictionary() const { return type_ == Type::Dictionary ? static_cast<Dictionary*>(bits_.p) : nullptr; }

bool Value::isSameObject(const Value& other) const {
    return type_ == other.type_ && big_ == other.big_ && bits_.u == other.bits_.u;
}

bool operator==(const Value& a, const Value& b) {
    if (a.type_ != b.type_) return false;
    switch (a.type_) {
    case Type::Null: return true;
    case Type::Boolean: return a.bits_.b == b.bits_.b;
    case Type::Integer: return a.bits_.u == b.bits_.u && a.big_ == b.big_;
    case Type::Real:
    case Type::Date:
    case Type::Uid: return a.bits_.u == b.bits_.u;
    case Type::String: return a.asString() == b.asString();
    case Type::Data: return std::ranges::equal(a.asData(), b.asData());
    case Type::Array: {
        const auto& x = a.asArray()->items();
        const auto& y = b.asArray()->items();
        return x == y;
    }
    case Type::Dictionary: {
        const Dictionary& x = *a.asDictionary();
        const Dictionary& y = *b.asDictionary();
        if (x.size() != y.size()) return false;
        for (const auto& e : x.entries()) {
            const Value* other = y.find(e.key.asString());
            if (!other || !(e.value == *other)) return false;
        }
        return true;
    }
    }
    return false;
}

const Value* Dictionary::find(std::string_view key) const {
    for (const auto& e : entries_)
        if (e.key.asString() == key) return &e.value;
    return nullptr;
}

Value* Dictionary::find(std::string_view key) {
    return const_cast<Value*>(static_cast<const Dictionary*>(this)->find(key));
}

void Dictionary::set(std::string_view key, Value value) {
    if (Value* existing = find(key)) {
        *existing = std::move(value);
        return;
    }
    entries_.push_back({Value::string(key), std::move(value)});
}

void Dictionary::set(const Value& key, Value value) {
    if (Value* existing = find(key.asString())) {
        *existing = std::move(value);
        return;
    }
    entries_.push_back({key, std::move(value)});
}

bool Dictionary::remove(std::string_view key) {
    auto it = std::find_if(entries_.begin(), entries_.end(), [&](const Entry& e) { return e.key.asString() == key; });
    if (it == entries_.end()) return false;
    entries_.erase(it);
    return true;
}

Value shallowCopy(const Value& v) {
    if (const Array* a = v.asArray()) {
        Value copy = Value::array();
        copy.asArray()->items() = a->items();
        return copy;
    }
    if (const Dictionary* d = v.asDictionary()) {
        Value copy = Value::dictionary();
        copy.asDictionary()->entries() = d->entries();
        return copy;
    }
    return v;
}

const char* typeName(Type t) {
    switch (t) {
    case Type::Null: return "null";
    case Type::Boolean: return "boolean";
    case Type::Integer: return "integer";
    case Type::Real: return "real";
    case Type::Date: return "date";
    case Type::String: return "string";
    case Type::Data: return "data";
    case Type::Uid: return "UID";
    case Type::Array: return "array";
    case Type::Dictionary: return "dictionary";
    }
    return "unknown";
}

}  // namespace orvane::plist
