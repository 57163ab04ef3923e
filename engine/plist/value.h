// The one property-list value type of the engine.
//
// A Value is 16 bytes: a type tag and either a scalar or a counted reference to a heap object.
// Dictionaries and arrays are mutable in place and shared between copies of a Value, so a
// shallow copy of a dictionary shares its children with the original. Strings and data are
// immutable and shared too; "changing" a string means storing a new Value.
//
// Strings hold UTF-8. A UTF-16 string with an unpaired surrogate is kept as the generalised
// UTF-8 (WTF-8) encoding of that surrogate, so it is written back with the same code units.
//
// Reference counts are not atomic: a tree belongs to one thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace orvane::plist {

// The longest string (in UTF-8 bytes) or data a Value holds. Readers refuse longer ones; building
// one in code throws std::length_error, as std::string does past its max_size.
inline constexpr std::size_t kMaxBlobSize = UINT32_MAX;

enum class Type : std::uint8_t { Null, Boolean, Integer, Real, Date, String, Data, Uid, Array, Dictionary };

class Array;
class Dictionary;

namespace detail {
struct Counted {
    std::uint32_t refs = 1;
};
struct StringRep;
struct DataRep;
}  // namespace detail

class Value {
public:
    Value() noexcept : type_(Type::Null) { bits_.u = 0; }
    ~Value() { release(); }
    Value(const Value& other) noexcept;
    Value(Value&& other) noexcept;
    Value& operator=(const Value& other) noexcept;
    Value& operator=(Value&& other) noexcept;

    static Value boolean(bool b);
    static Value integer(std::int64_t i);
    // Values above INT64_MAX are kept as unsigned; smaller ones become ordinary integers.
    static Value unsignedInteger(std::uint64_t u);
    static Value real(double d);
    // Seconds since 2001-01-01T00:00:00Z, the property-list epoch.
    static Value date(double secondsSince2001);
    static Value string(std::string_view utf8);
    static Value data(std::span<const std::uint8_t> bytes);
    static Value uid(std::uint64_t u);
    static Value array();        // a new, empty array
    static Value dictionary();   // a new, empty dictionary

    Type type() const { return type_; }
    bool isNull() const { return type_ == Type::Null; }
    bool isString() const { return type_ == Type::String; }
    bool isArray() const { return type_ == Type::Array; }
    bool isDictionary() const { return type_ == Type::Dictionary; }

    // Accessors answer a neutral value (false, 0, empty) when the type does not match.
    bool asBool() const { return type_ == Type::Boolean && bits_.b; }
    std::int64_t asInt64() const;          // unsigned values above INT64_MAX wrap
    std::uint64_t asUInt64() const;        // the integer's 64-bit pattern
    bool isBigUnsigned() const { return type_ == Type::Integer && big_; }
    double asReal() const { return type_ == Type::Real ? bits_.d : 0.0; }
    double asDate() const { return type_ == Type::Date ? bits_.d : 0.0; }
    std::uint64_t asUid() const { return type_ == Type::Uid ? bits_.u : 0; }
    std::string_view asString() const;
    std::span<const std::uint8_t> asData() const;

    // The container this value refers to, or nullptr for any other type.
    Array* asArray() const;
    Dictionary* asDictionary() const;

    // True when both refer to the very same heap object (or are equal scalars).
    bool isSameObject(const Value& other) const;

    // Structural equality: same types, same contents, dictionaries in any key order.
    // Reals and dates compare by bit pattern, so NaN equals itself and 0.0 differs from -0.0.
    friend bool operator==(const Value& a, const Value& b);

    // Stable address of the heap object, for identity maps; nullptr for scalars.
    const void* identity() const { return isHeap() ? bits_.p : nullptr; }

private:
    bool isHeap() const { return type_ >= Type::String && type_ != Type::Uid; }
    void release() noexcept;
    void retain() const noexcept;

    Type type_;
    bool big_ = false;
    union {
        bool b;
        std::int64_t i;
        std::uint64_t u;
        double d;
        detail::Counted* p;
    } bits_;
};

static_assert(sizeof(Value) == 16, "Value is meant to stay two words");

class Array : public detail::Counted {
public:
    std::size_t size() const { return items_.size(); }
    bool empty() const { return items_.empty(); }
    Value& operator[](std::size_t i) { return items_[i]; }
    const Value& operator[](std::size_t i) const { return items_[i]; }
    void append(Value v) { items_.push_back(std::move(v)); }
    void insert(std::size_t index, Value v) { items_.insert(items_.begin() + static_cast<std::ptrdiff_t>(index), std::move(v)); }
    void removeAt(std::size_t index) { items_.erase(items_.begin() + static_cast<std::ptrdiff_t>(index)); }
    void reserve(std::size_t n) { items_.reserve(n); }
    void clear() { items_.clear(); }
    std::vector<Value>& items() { return items_; }
    const std::vector<Value>& items() const { return items_; }

private:
    std::vector<Value> items_;
};

class Dictionary : public detail::Counted {
public:
    struct Entry {
        Value key;  // always a string
        Value value;
    };

    std::size_t size() const { return entries_.size(); }
    bool empty() const { return entries_.empty(); }
    // Lookups compare keys exactly (no case folding, no normalisation).
    const Value* find(std::string_view key) const;
    Value* find(std::string_view key);
    bool contains(std::string_view key) const { return find(key) != nullptr; }
    // Replaces the value in place when the key exists, so key order is kept; appends otherwise.
    void set(std::string_view key, Value value);
    void set(const Value& key, Value value);
    bool remove(std::string_view key);
    // For readers that have already dealt with duplicate keys: appends without looking.
    void appendUnchecked(Value key, Value value) { entries_.push_back({std::move(key), std::move(value)}); }
    void reserve(std::size_t n) { entries_.reserve(n); }
    std::vector<Entry>& entries() { return entries_; }
    const std::vector<Entry>& entries() const { return entries_; }

private:
    std::vector<Entry> entries_;
};

// A new container holding the same children as `v` (which are shared, not copied).
// Scalars, strings and data are returned as they are.
Value shallowCopy(const Value& v);

// The name of a type as people read it ("dictionary", "string", ...), for messages.
const char* typeName(Type t);

}  // namespace orvane::plist
