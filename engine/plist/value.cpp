#include "value.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <stdexcept>

namespace orvane::plist {

namespace detail {
// Room for an object of `bytes` bytes: from the arena when there is one and the object fits a
// chunk, else from the heap. The returned object's count is 1, marked when it is in the arena.
void* allocateObject(std::size_t bytes, Arena* arena, bool& inArena) {
    void* mem = arena ? arena->allocate(bytes) : nullptr;
    inArena = mem != nullptr;
    return mem ? mem : ::operator new(bytes);
}

void freeObject(Counted* object) {
    if (object->refs & kInArena)
        Arena::release(object);
    else
        ::operator delete(object);
}

template <class Rep>
Rep* makeBlob(const void* src, std::size_t n, Arena* arena) {
    if (n > kMaxBlobSize) throw std::length_error("property-list strings and data are limited to 4 GiB");
    bool inArena;
    auto* rep = new (allocateObject(sizeof(Rep) + n, arena, inArena)) Rep();
    if (inArena) rep->refs |= kInArena;
    rep->size = static_cast<std::uint32_t>(n);
    if (n) std::memcpy(rep->bytes(), src, n);
    return rep;
}

// A container with room for `capacity` elements right behind it, made in one piece.
template <class Container, class Element>
Container* makeContainer(std::size_t capacity, Arena* arena) {
    if (capacity == 0 || capacity > (Arena::kMaxObject - sizeof(Container)) / sizeof(Element)) {
        bool inArena;
        auto* c = new (allocateObject(sizeof(Container), arena, inArena)) Container();
        if (inArena) c->refs |= kInArena;
        if (capacity) c->reserve(capacity);
        return c;
    }
    bool inArena;
    void* mem = allocateObject(sizeof(Container) + capacity * sizeof(Element), arena, inArena);
    auto* tail = reinterpret_cast<Element*>(static_cast<std::byte*>(mem) + sizeof(Container));
    auto* c = new (mem) Container(tail, static_cast<std::uint32_t>(capacity));
    if (inArena) c->refs |= kInArena;
    return c;
}
}  // namespace detail

using detail::DataRep;
using detail::StringRep;

namespace {
// An empty string is common (keys, blank titles); share one, never freed.
StringRep* emptyString() {
    static StringRep* rep = [] {
        auto* r = detail::makeBlob<StringRep>(nullptr, 0, nullptr);
        r->refs = 1u << 30;
        return r;
    }();
    return rep;
}

StringRep* stringRep(std::string_view utf8, Arena* arena) {
    if (utf8.empty()) {
        StringRep* rep = emptyString();
        ++rep->refs;
        return rep;
    }
    return detail::makeBlob<StringRep>(utf8.data(), utf8.size(), arena);
}

void releaseString(StringRep* rep) {
    if (rep && (--rep->refs & detail::kCountMask) == 0) {
        rep->~StringRep();
        detail::freeObject(rep);
    }
}
}  // namespace

// --- Value ---------------------------------------------------------------------------------------

namespace detail {
// A scalar too large to be held in a Value: a real, a date, an integer beyond 61 bits or a UID
// beyond 32 bits.
struct Box : Counted {
    Type type;
    bool big;  // an integer above INT64_MAX
    union {
        std::uint64_t u;
        double d;
    };
};
}  // namespace detail

using detail::Box;

namespace {
// Integers from -2^60 to 2^60 - 1 are held in the value itself.
constexpr std::int64_t kInlineIntMin = -(std::int64_t{1} << 60);
constexpr std::int64_t kInlineIntMax = (std::int64_t{1} << 60) - 1;

Box* makeBox(Type type, std::uint64_t bits, bool big = false) {
    auto* box = new Box();
    box->type = type;
    box->big = big;
    box->u = bits;
    return box;
}

std::uint64_t bitsOf(double d) {
    std::uint64_t u;
    std::memcpy(&u, &d, sizeof u);
    return u;
}
}  // namespace

Value Value::fromHeap(const detail::Counted* object, std::uint64_t tag) {
    Value v;
    v.w_ = reinterpret_cast<std::uintptr_t>(object) | tag;
    return v;
}

Value& Value::operator=(const Value& other) noexcept {
    const std::uint64_t w = other.w_;  // `other` may be this value
    other.retain();
    release();
    w_ = w;
    return *this;
}

Value& Value::operator=(Value&& other) noexcept {
    if (this != &other) {
        release();
        w_ = other.w_;
        other.w_ = 0;
    }
    return *this;
}

void Value::releaseHeap() noexcept {
    detail::Counted* object = heap();
    const std::uint64_t kind = tag();
    w_ = 0;
    if ((--object->refs & detail::kCountMask) != 0) return;
    switch (kind) {
    case kString: static_cast<StringRep*>(object)->~StringRep(); break;
    case kData: static_cast<DataRep*>(object)->~DataRep(); break;
    case kArray: static_cast<Array*>(object)->~Array(); break;
    case kDictionary: static_cast<Dictionary*>(object)->~Dictionary(); break;
    case kBox: static_cast<Box*>(object)->~Box(); break;
    default: break;
    }
    detail::freeObject(object);
}

Type Value::boxedType() const { return static_cast<const Box*>(heap())->type; }

Value Value::boolean(bool b) {
    Value v;
    v.w_ = kSmall | (b ? 0x10 : 0);
    return v;
}

Value Value::integer(std::int64_t i) {
    if (i < kInlineIntMin || i > kInlineIntMax)
        return fromHeap(makeBox(Type::Integer, static_cast<std::uint64_t>(i)), kBox);
    Value v;
    v.w_ = (static_cast<std::uint64_t>(i) << 3) | kInt;
    return v;
}

Value Value::unsignedInteger(std::uint64_t u) {
    if (u > static_cast<std::uint64_t>(INT64_MAX)) return fromHeap(makeBox(Type::Integer, u, true), kBox);
    return integer(static_cast<std::int64_t>(u));
}

Value Value::real(double d) { return fromHeap(makeBox(Type::Real, bitsOf(d)), kBox); }

Value Value::date(double secondsSince2001) { return fromHeap(makeBox(Type::Date, bitsOf(secondsSince2001)), kBox); }

Value Value::string(std::string_view utf8, Arena* arena) { return fromHeap(stringRep(utf8, arena), kString); }

Value Value::data(std::span<const std::uint8_t> bytes, Arena* arena) {
    return fromHeap(detail::makeBlob<DataRep>(bytes.data(), bytes.size(), arena), kData);
}

Value Value::uid(std::uint64_t u) {
    if (u > UINT32_MAX) return fromHeap(makeBox(Type::Uid, u), kBox);
    Value v;
    v.w_ = (u << 32) | kSmallUid | kSmall;
    return v;
}

Value Value::array(std::size_t capacity, Arena* arena) {
    return fromHeap(detail::makeContainer<Array, Value>(capacity, arena), kArray);
}

Value Value::dictionary(std::size_t capacity, Arena* arena) {
    return fromHeap(detail::makeContainer<Dictionary, Dictionary::Entry>(capacity, arena), kDictionary);
}

std::uint64_t Value::asUInt64() const {
    if (tag() == kInt) return static_cast<std::uint64_t>(static_cast<std::int64_t>(w_) >> 3);
    if (tag() == kBox && static_cast<const Box*>(heap())->type == Type::Integer)
        return static_cast<const Box*>(heap())->u;
    return 0;
}

bool Value::isBigUnsigned() const { return tag() == kBox && static_cast<const Box*>(heap())->big; }

double Value::asReal() const {
    return tag() == kBox && static_cast<const Box*>(heap())->type == Type::Real ? static_cast<const Box*>(heap())->d
                                                                                : 0.0;
}

double Value::asDate() const {
    return tag() == kBox && static_cast<const Box*>(heap())->type == Type::Date ? static_cast<const Box*>(heap())->d
                                                                                : 0.0;
}

std::uint64_t Value::asUid() const {
    if ((w_ & (kTagMask | kSmallUid)) == (kSmall | kSmallUid)) return w_ >> 32;
    if (tag() == kBox && static_cast<const Box*>(heap())->type == Type::Uid) return static_cast<const Box*>(heap())->u;
    return 0;
}

bool Value::isSameObject(const Value& other) const {
    if (w_ == other.w_) return true;
    // Boxed scalars count as the same object when they hold the same scalar.
    if (tag() != kBox || other.tag() != kBox) return false;
    const auto* a = static_cast<const Box*>(heap());
    const auto* b = static_cast<const Box*>(other.heap());
    return a->type == b->type && a->big == b->big && a->u == b->u;
}

bool operator==(const Value& a, const Value& b) {
    const Type type = a.type();
    if (type != b.type()) return false;
    switch (type) {
    case Type::String: return a.asString() == b.asString();
    case Type::Data: return std::ranges::equal(a.asData(), b.asData());
    case Type::Array: return std::ranges::equal(a.asArray()->items(), b.asArray()->items());
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
    default: return a.isSameObject(b);
    }
}

// --- Key ----------------------------------------------------------------------------------------

Key::Key(std::string_view text) : rep_(stringRep(text, nullptr)) {}

Key::Key(const Value& string) {
    if (string.isString()) {
        rep_ = static_cast<StringRep*>(string.heap());
        ++rep_->refs;
    } else {
        rep_ = stringRep({}, nullptr);
    }
}

Key::Key(const Key& other) noexcept : rep_(other.rep_) {
    if (rep_) ++rep_->refs;
}

Key& Key::operator=(const Key& other) noexcept {
    if (other.rep_) ++other.rep_->refs;
    releaseString(rep_);
    rep_ = other.rep_;
    return *this;
}

Key& Key::operator=(Key&& other) noexcept {
    if (this != &other) {
        releaseString(rep_);
        rep_ = other.rep_;
        other.rep_ = nullptr;
    }
    return *this;
}

Key::~Key() { releaseString(rep_); }

std::string_view Key::asString() const {
    return rep_ ? std::string_view(rep_->bytes(), rep_->size) : std::string_view();
}

const detail::Counted* Key::rep() const { return rep_; }

Value Key::toValue() const {
    if (!rep_) return Value::string({});
    ++rep_->refs;
    return Value::fromHeap(rep_, Value::kString);
}

// --- Dictionary ---------------------------------------------------------------------------------

const Value* Dictionary::find(std::string_view key) const {
    for (const Entry& e : entries_)
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
    entries_.push_back({Key(key), std::move(value)});
}

void Dictionary::set(const Key& key, Value value) {
    if (Value* existing = find(key.asString())) {
        *existing = std::move(value);
        return;
    }
    entries_.push_back({key, std::move(value)});
}

bool Dictionary::remove(std::string_view key) {
    for (std::size_t i = 0; i < entries_.size(); ++i) {
        if (entries_[i].key.asString() == key) {
            entries_.erase(i);
            return true;
        }
    }
    return false;
}

Value shallowCopy(const Value& v) {
    if (const Array* a = v.asArray()) {
        Value copy = Value::array(a->size());
        copy.asArray()->assign(a->items());
        return copy;
    }
    if (const Dictionary* d = v.asDictionary()) {
        Value copy = Value::dictionary(d->size());
        copy.asDictionary()->assign(d->entries());
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
