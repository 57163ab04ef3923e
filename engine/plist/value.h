// The one property-list value type of the engine.
//
// A Value is one word: a small scalar, or a counted reference to a heap object tagged with its kind.
// Dictionaries and arrays are mutable in place and shared between copies of a Value, so a
// shallow copy of a dictionary shares its children with the original. Strings and data are
// immutable and shared too; "changing" a string means storing a new Value.
//
// Strings hold UTF-8. A UTF-16 string with an unpaired surrogate is kept as the generalised
// UTF-8 (WTF-8) encoding of that surrogate, so it is written back with the same code units.
//
// Readers make their objects in an Arena (arena.h); objects made in code come from the heap.
// Either kind is used and released the same way.
//
// Reference counts are not atomic: a tree belongs to one thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <new>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

#include "arena.h"

namespace orvane::plist {

// The longest string (in UTF-8 bytes) or data a Value holds. Readers refuse longer ones; building
// one in code throws std::length_error, as std::string does past its max_size.
inline constexpr std::size_t kMaxBlobSize = UINT32_MAX;

// The most elements an array or dictionary holds. Readers refuse larger ones; growing one past it
// in code throws std::length_error.
inline constexpr std::size_t kMaxContainerSize = (std::size_t{1} << 31) - 1;

enum class Type : std::uint8_t { Null, Boolean, Integer, Real, Date, String, Data, Uid, Array, Dictionary };

class Array;
class Dictionary;
class Key;

namespace detail {
// The reference count of a heap object. Its top bit says that the object lives in an arena.
struct Counted {
    std::uint32_t refs = 1;
};
inline constexpr std::uint32_t kInArena = 1u << 31;
inline constexpr std::uint32_t kCountMask = kInArena - 1;
// Strings and data keep their bytes right behind this header: one allocation each. A 32-bit
// size keeps the header to 8 bytes; the hundreds of thousands of strings in a large bookmarks
// file make that worth it.
struct StringRep : Counted {
    std::uint32_t size;
    char* bytes() { return reinterpret_cast<char*>(this + 1); }
};
struct DataRep : Counted {
    std::uint32_t size;
    std::uint8_t* bytes() { return reinterpret_cast<std::uint8_t*>(this + 1); }
};
template <class Container, class Element>
Container* makeContainer(std::size_t capacity, Arena* arena);
}  // namespace detail

class Value {
public:
    Value() noexcept = default;
    ~Value() { release(); }
    Value(const Value& other) noexcept : w_(other.w_) { retain(); }
    Value(Value&& other) noexcept : w_(other.w_) { other.w_ = 0; }
    Value& operator=(const Value& other) noexcept;
    Value& operator=(Value&& other) noexcept;

    static Value boolean(bool b);
    static Value integer(std::int64_t i);
    // Values above INT64_MAX are kept as unsigned; smaller ones become ordinary integers.
    static Value unsignedInteger(std::uint64_t u);
    static Value real(double d);
    // Seconds since 2001-01-01T00:00:00Z, the property-list epoch.
    static Value date(double secondsSince2001);
    static Value string(std::string_view utf8, Arena* arena = nullptr);
    static Value data(std::span<const std::uint8_t> bytes, Arena* arena = nullptr);
    static Value uid(std::uint64_t u);
    // A new, empty container with room for `capacity` elements.
    static Value array(std::size_t capacity = 0, Arena* arena = nullptr);
    static Value dictionary(std::size_t capacity = 0, Arena* arena = nullptr);

    Type type() const {
        static constexpr Type kTypes[] = {Type::Null,       Type::String, Type::Data,    Type::Array,
                                          Type::Dictionary, Type::Null,   Type::Integer, Type::Null};
        if (tag() == kBox) return boxedType();
        if (tag() == kSmall) return (w_ & kSmallUid) ? Type::Uid : Type::Boolean;
        return kTypes[tag()];
    }
    bool isNull() const { return w_ == 0; }
    bool isString() const { return tag() == kString; }
    bool isArray() const { return tag() == kArray; }
    bool isDictionary() const { return tag() == kDictionary; }

    // Accessors answer a neutral value (false, 0, empty) when the type does not match.
    bool asBool() const { return (w_ & 0xF) == kSmall && (w_ & 0x10); }
    std::int64_t asInt64() const {
        return static_cast<std::int64_t>(asUInt64());
    }                                // unsigned values above INT64_MAX wrap
    std::uint64_t asUInt64() const;  // the integer's 64-bit pattern
    bool isBigUnsigned() const;
    double asReal() const;
    double asDate() const;
    std::uint64_t asUid() const;
    std::string_view asString() const {
        if (tag() != kString) return {};
        auto* rep = static_cast<detail::StringRep*>(heap());
        return {rep->bytes(), rep->size};
    }
    std::span<const std::uint8_t> asData() const {
        if (tag() != kData) return {};
        auto* rep = static_cast<detail::DataRep*>(heap());
        return {rep->bytes(), rep->size};
    }

    // The container this value refers to, or nullptr for any other type.
    Array* asArray() const { return isArray() ? reinterpret_cast<Array*>(w_ & ~kTagMask) : nullptr; }
    Dictionary* asDictionary() const {
        return isDictionary() ? reinterpret_cast<Dictionary*>(w_ & ~kTagMask) : nullptr;
    }

    // True when both refer to the very same heap object (or are equal scalars).
    bool isSameObject(const Value& other) const;

    // Structural equality: same types, same contents, dictionaries in any key order.
    // Reals and dates compare by bit pattern, so NaN equals itself and 0.0 differs from -0.0.
    friend bool operator==(const Value& a, const Value& b);

    // Stable address of the heap object (strings, data, containers, and numbers too large to be
    // held in the value itself), for identity maps; nullptr for the others.
    const void* identity() const { return isHeap() ? heap() : nullptr; }

private:
    friend class Key;

    // One word: a pointer to a heap object with its kind in the three low bits, or a small
    // scalar held in place. Reals, dates and the rare integers and UIDs that do not fit are
    // "boxes" on the heap.
    enum : std::uint64_t { kString = 1, kData = 2, kArray = 3, kDictionary = 4, kBox = 5, kInt = 6, kSmall = 7 };
    static constexpr std::uint64_t kTagMask = 7;
    // kSmall: bit 3 clear for a boolean (its value in bit 4), set for a UID (its value in the
    // upper 32 bits).
    static constexpr std::uint64_t kSmallUid = 8;

    std::uint64_t tag() const { return w_ & kTagMask; }
    bool isHeap() const { return tag() >= kString && tag() <= kBox; }
    detail::Counted* heap() const { return reinterpret_cast<detail::Counted*>(w_ & ~kTagMask); }
    Type boxedType() const;
    static Value fromHeap(const detail::Counted* object, std::uint64_t tag);
    void release() noexcept {
        if (isHeap()) releaseHeap();
    }
    void releaseHeap() noexcept;
    void retain() const noexcept {
        if (isHeap()) ++heap()->refs;
    }

    std::uint64_t w_ = 0;
};

static_assert(sizeof(Value) == 8, "Value is meant to stay one word");

// A dictionary key: always a string, held like a string Value in half the space. Dictionaries
// hold hundreds of thousands of keys, nearly all of them a few shared strings.
class Key {
public:
    explicit Key(std::string_view text);
    // Shares the string of a string Value; any other value is taken as the empty string.
    explicit Key(const Value& string);
    Key(const Key& other) noexcept;
    Key(Key&& other) noexcept : rep_(other.rep_) { other.rep_ = nullptr; }
    Key& operator=(const Key& other) noexcept;
    Key& operator=(Key&& other) noexcept;
    ~Key();

    std::string_view asString() const;
    Value toValue() const;
    bool isSameObject(const Key& other) const { return rep_ == other.rep_; }
    bool isSameObject(const Value& other) const { return other.isString() && other.heap() == rep(); }
    // Stable address of the string, for identity maps.
    const void* identity() const { return rep_; }

private:
    const detail::Counted* rep() const;
    detail::StringRep* rep_;  // nullptr only after a move
};

namespace detail {

// The elements of a container: a pointer, a count and a capacity, 16 bytes in all. The storage
// is either the container's own tail, made with it in one piece (the top bit of the capacity
// says so), or a block of its own on the heap.
template <class T>
class Elements {
public:
    Elements() = default;
    Elements(T* tail, std::uint32_t capacity) : data_(tail), capacity_(capacity | kTail) {}
    Elements(const Elements&) = delete;
    Elements& operator=(const Elements&) = delete;
    ~Elements();

    std::size_t size() const { return size_; }
    std::size_t capacity() const { return capacity_ & ~kTail; }
    T* begin() const { return data_; }
    T* end() const { return data_ + size_; }
    T& operator[](std::size_t i) const { return data_[i]; }

    void push_back(T&& item);
    void insert(std::size_t index, T&& item);
    void erase(std::size_t index);
    void reserve(std::size_t n);
    void clear();
    // Replaces the elements by copies of `items`.
    void assign(std::span<const T> items);

private:
    static constexpr std::uint32_t kTail = 1u << 31;
    void grow(std::size_t atLeast);

    T* data_ = nullptr;
    std::uint32_t size_ = 0;
    std::uint32_t capacity_ = 0;
};

}  // namespace detail

class Array : public detail::Counted {
public:
    std::size_t size() const { return items_.size(); }
    bool empty() const { return items_.size() == 0; }
    Value& operator[](std::size_t i) { return items_[i]; }
    const Value& operator[](std::size_t i) const { return items_[i]; }
    void append(Value v) { items_.push_back(std::move(v)); }
    void insert(std::size_t index, Value v) { items_.insert(index, std::move(v)); }
    void removeAt(std::size_t index) { items_.erase(index); }
    void reserve(std::size_t n) { items_.reserve(n); }
    void clear() { items_.clear(); }
    // Replaces the elements by `items` (shared, not copied).
    void assign(std::span<const Value> items) { items_.assign(items); }
    std::span<Value> items() { return {items_.begin(), items_.size()}; }
    std::span<const Value> items() const { return {items_.begin(), items_.size()}; }

private:
    template <class C, class E>
    friend C* detail::makeContainer(std::size_t, Arena*);
    Array() = default;
    Array(Value* tail, std::uint32_t capacity) : items_(tail, capacity) {}
    detail::Elements<Value> items_;
};

class Dictionary : public detail::Counted {
public:
    struct Entry {
        Key key;
        Value value;
    };

    std::size_t size() const { return entries_.size(); }
    bool empty() const { return entries_.size() == 0; }
    // Lookups compare keys exactly (no case folding, no normalisation).
    const Value* find(std::string_view key) const;
    Value* find(std::string_view key);
    bool contains(std::string_view key) const { return find(key) != nullptr; }
    // Replaces the value in place when the key exists, so key order is kept; appends otherwise.
    void set(std::string_view key, Value value);
    void set(const Key& key, Value value);
    bool remove(std::string_view key);
    // For readers that have already dealt with duplicate keys: appends without looking.
    void appendUnchecked(Key key, Value value) { entries_.push_back({std::move(key), std::move(value)}); }
    void reserve(std::size_t n) { entries_.reserve(n); }
    // Replaces the entries by `entries` (keys and values shared, not copied).
    void assign(std::span<const Entry> entries) { entries_.assign(entries); }
    std::span<Entry> entries() { return {entries_.begin(), entries_.size()}; }
    std::span<const Entry> entries() const { return {entries_.begin(), entries_.size()}; }

private:
    template <class C, class E>
    friend C* detail::makeContainer(std::size_t, Arena*);
    Dictionary() = default;
    Dictionary(Entry* tail, std::uint32_t capacity) : entries_(tail, capacity) {}
    detail::Elements<Entry> entries_;
};

static_assert(sizeof(Array) == 24 && sizeof(Dictionary) == 24 && sizeof(Dictionary::Entry) == 16);

// --- Elements: defined here so that readers' appends are inlined ------------------------------

namespace detail {

template <class T>
Elements<T>::~Elements() {
    clear();
    if (!(capacity_ & kTail)) ::operator delete(data_);
}

template <class T>
void Elements<T>::grow(std::size_t atLeast) {
    if (atLeast > kMaxContainerSize)
        throw std::length_error("a property-list container is limited to 2^31 - 1 elements");
    std::size_t wanted = capacity() < 4 ? 4 : capacity() * 2;
    if (wanted < atLeast) wanted = atLeast;
    if (wanted > kMaxContainerSize) wanted = kMaxContainerSize;
    T* fresh = static_cast<T*>(::operator new(wanted * sizeof(T)));
    for (std::uint32_t i = 0; i < size_; ++i) {
        new (fresh + i) T(std::move(data_[i]));
        data_[i].~T();
    }
    // A tail made with the container stays with it, unused, until the container goes.
    if (!(capacity_ & kTail)) ::operator delete(data_);
    data_ = fresh;
    capacity_ = static_cast<std::uint32_t>(wanted);
}

template <class T>
void Elements<T>::push_back(T&& item) {
    if (size_ == capacity()) grow(std::size_t{size_} + 1);
    new (data_ + size_) T(std::move(item));
    ++size_;
}

template <class T>
void Elements<T>::insert(std::size_t index, T&& item) {
    if (index >= size_) return push_back(std::move(item));
    if (size_ == capacity()) grow(std::size_t{size_} + 1);
    new (data_ + size_) T(std::move(data_[size_ - 1]));
    for (std::size_t i = size_ - 1; i > index; --i) data_[i] = std::move(data_[i - 1]);
    data_[index] = std::move(item);
    ++size_;
}

template <class T>
void Elements<T>::erase(std::size_t index) {
    if (index >= size_) return;
    for (std::size_t i = index; i + 1 < size_; ++i) data_[i] = std::move(data_[i + 1]);
    data_[--size_].~T();
}

template <class T>
void Elements<T>::reserve(std::size_t n) {
    if (n > capacity()) grow(n);
}

template <class T>
void Elements<T>::clear() {
    while (size_ > 0) data_[--size_].~T();
}

template <class T>
void Elements<T>::assign(std::span<const T> items) {
    if (items.data() == data_) return;
    clear();
    reserve(items.size());
    for (const T& item : items) new (data_ + size_++) T(item);
}

}  // namespace detail

// A new container holding the same children as `v` (which are shared, not copied).
// Scalars, strings and data are returned as they are.
Value shallowCopy(const Value& v);

// The name of a type as people read it ("dictionary", "string", ...), for messages.
const char* typeName(Type t);

}  // namespace orvane::plist
